#pragma once

namespace OrvaAudioUtils {

/// Resolves radio stations to the addresses of their streams.
class UrlParser {
 public:
  /// Stores the NUL-terminated address of `station`'s stream in `url`, a buffer of `size` bytes,
  /// and returns 0; returns -1 when `station` is not resolved or its address does not fit.
  ///
  /// http, https, rtsp, rtmp and mms addresses (RFC 3986, scheme in any case) stand as they are;
  /// one with a line end in it is empty. But an http or https address whose path ends in .pls,
  /// .m3u, .asx or .xspf (in any case) is a playlist: its first playable network entry is the
  /// answer, fetched within 5 s without root. A playlist without one has an empty address, which no
  /// converter can open. So has a station that names anything else with a scheme or a slash, for it
  /// could be a file of this machine. A bare name is not resolved.
  int GetRadioUrl(const char* station, char* url, int size);
};

}  // namespace OrvaAudioUtils
