#pragma once

#include <cstdint>

/// One byte range of a body.
struct _tag_HTTP_RANGE_SEGMENT {  // NOLINT: the name is the interface's
  std::int64_t start;             ///< offset of the first byte
  std::int64_t end;               ///< offset of the last byte, inclusive
};

class HTTPFileOutputer {
 public:
  /// Reads the request's byte range from the CGI environment (`HTTP_RANGE`) as RFC 9110 section
  /// 14 has it and applies it to a body of `total` bytes. Returns
  /// - above 0: a range applies; `*segments` is a malloc'ed list of the first satisfiable one, to
  ///   be released with free(3), its end clamped to the body;
  /// - 0: no range counts: none was sent, its text is malformed or in another unit, `total` is
  ///   negative, the request has an `HTTP_IF_RANGE` (no validator is ever sent to match it) or a
  ///   method other than GET, or the heap is exhausted;
  /// - below 0: no range can be satisfied.
  /// `*segments` is only set in the first case.
  int SeekHttpRange(_tag_HTTP_RANGE_SEGMENT** segments, long total);
};
