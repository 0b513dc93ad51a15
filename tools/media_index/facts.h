#pragma once

#include <cstdint>
#include <string>

/// What kind of item a file is.
enum class MediaKind {
  kUnreadable,  ///< not a media file that libavformat knows
  kNone,        ///< readable, but nothing to play: a picture, a text, subtitles
  kMusic,
  kVideo,
};

/// What the database tells of a media file.
struct MediaFacts {
  int error = 0;  ///< errno(3) when the file could not be read now: nothing else is known then
  MediaKind kind = MediaKind::kUnreadable;
  std::int64_t channels = 0;   ///< of the best audio stream, 0 without one
  std::int64_t frequency = 0;  ///< its samples per second
  std::int64_t duration = 0;   ///< whole seconds, rounded down; 0 when unknown
  std::string title;           ///< the tag, else the file's name without its extension
  std::string artist;
  std::string album;
};

/// Reads the facts of the media file at `path` with libavformat. The file is read alone: formats
/// that are lists of other files count as unreadable. Parses foreign bytes: see `Reader`.
MediaFacts ReadFacts(const std::string& path);
