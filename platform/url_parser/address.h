#pragma once

#include <cstddef>
#include <string_view>

/// The bytes that an address may have at most.
inline constexpr std::size_t kLongestAddress = 4095;

/// Whether `text` has the scheme (RFC 3986, in any case) of a network protocol: http, https, rtsp,
/// rtmp or mms.
bool HasNetworkScheme(std::string_view text);

/// Whether `text` could be handed to a converter as a network address: it has such a scheme, fits,
/// and holds none of the characters that no address holds (control characters, space, `"<>\`).
bool IsNetworkAddress(std::string_view text);

/// Whether `text` is an http or https address whose path ends like a playlist's name: .pls, .m3u,
/// .asx or .xspf in any case.
bool IsPlaylistAddress(std::string_view text);
