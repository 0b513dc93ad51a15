#pragma once

/// The names of libavformat's input formats that read their file alone, separated by commas, as the
/// option "format_whitelist" takes them. Left out are those that name further files (playlists,
/// patterns, scripts): a media file in disguise must not reach them. Made at build time from the
/// libavformat that is built against.
extern const char kSelfContainedFormats[];
