#pragma once

#include <string>
#include <string_view>
#include <vector>

// Playlists, as pure functions over their text. Any bytes are taken, and time and memory stay
// proportional to them. Text in UTF-16 is no playlist, nor is any other with a NUL in it.

/// The entries of a playlist in playing order, trimmed but otherwise as they are written.
///
/// The format is what the text begins with (a byte order mark and white space aside):
/// - `[playlist]`: PLS, the `FileN` of that section by rising N;
/// - `<`: XML with an element `asx` (the `href` of an `entryref`, or of a `ref` in an `entry`) or
///   `playlist` (XSPF, https://xspf.org/spec: the `location` of a `track`), names in any case;
/// - anything else: PLS when `address`, where the text is from, ends like one; else M3U, every line
///   that is not blank and does not begin with `#`.
///
/// Broken XML counts up to the break; entities that it declares itself are not replaced. A text
/// that was `cut` counts up to the end of its last whole line or tag.
std::vector<std::string> PlaylistEntries(std::string_view text, std::string_view address,
                                         bool cut = false);

/// Whether the text is a playlist of HTTP Live Streaming (RFC 8216), which is itself a stream.
bool IsLiveStreamingPlaylist(std::string_view text);

/// The first of `entries` that is a network address (`IsNetworkAddress`) when it is resolved
/// against the playlist's own address `base` (RFC 3986 section 5). Entries that are playlists again
/// are passed over unless `playlists` is set. Empty when there is none.
std::string FirstAddress(const std::vector<std::string>& entries, const std::string& base,
                         bool playlists);
