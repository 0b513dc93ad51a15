#pragma once

#include <string>

#include "tools/media_index/library.h"

/// The page's data: the whole database as a list for a browser and one for players.
struct Page {
  std::string json;  ///< {"music": [item...], "video": [item...]}, RFC 8259
  std::string m3u;   ///< the music, in UTF-8; addresses relative to the streaming program's folder
};

/// The items stand in the order of their paths. Text that is not UTF-8 is repaired (`ValidUtf8`).
Page MakePage(Library& library);

/// Replaces library.json and music.m3u8 in the existing folder `directory` for everybody to read,
/// each whole at any time. Started as root it does so as the user that owns the folder. Throws
/// `std::runtime_error` when it cannot; then what stood there stays.
void WritePage(const Page& page, const std::string& directory);
