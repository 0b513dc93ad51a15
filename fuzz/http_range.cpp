// A body's length, and the Range header on the next line.

#include "platform/http_range/http_range.h"

#include <memory>

#include "fuzz/target.h"

namespace {

int Seek(const std::string& header, long total, _tag_HTTP_RANGE_SEGMENT& segment) {
  std::string variable = "HTTP_RANGE=" + header;
  putenv(variable.data());  // setenv would keep every value
  _tag_HTTP_RANGE_SEGMENT* segments = nullptr;
  const int result = HTTPFileOutputer().SeekHttpRange(&segments, total);
  const std::unique_ptr<_tag_HTTP_RANGE_SEGMENT, decltype(&std::free)> owner(segments, &std::free);
  Require((result > 0) == (segments != nullptr));
  unsetenv("HTTP_RANGE");
  if (result > 0) segment = *segments;
  return result;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = Text(data, size);
  const long total = std::strtol(text.c_str(), nullptr, 10);
  _tag_HTTP_RANGE_SEGMENT segment{};
  const auto line = text.find('\n');
  const std::string header = line == std::string::npos ? "" : text.substr(line + 1);
  const int result = Seek(header, total, segment);
  if (result <= 0) {
    Require(result == 0 || total >= 0);
    return 0;
  }
  Require(0 <= segment.start && segment.start <= segment.end && segment.end < total);
  _tag_HTTP_RANGE_SEGMENT again{};
  Require(Seek("bytes=" + std::to_string(segment.start) + "-" + std::to_string(segment.end), total,
               again) > 0);
  Require(again.start == segment.start && again.end == segment.end);
  return 0;
}
