#pragma once

#include <string>
#include <vector>

/// The entries of an ASX or XSPF playlist, see `PlaylistEntries`.
std::vector<std::string> XmlPlaylistEntries(std::string text);
