#include "platform/http_range/http_range.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

namespace {

using Segment = _tag_HTTP_RANGE_SEGMENT;
using Offset = std::int64_t;

/// Takes a number off the front of `text`; one that is too large counts as the largest.
std::optional<Offset> TakeNumber(std::string_view& text) {
  Offset number = 0;
  if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::result_out_of_range) number = std::numeric_limits<Offset>::max();
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

/// One range against a body of `total` bytes; nothing when its text is malformed. A segment with
/// its end before its start cannot be satisfied.
std::optional<Segment> ParseRange(std::string_view text, Offset total) {
  const std::optional<Offset> first = TakeNumber(text);
  if (text.empty() || text.front() != '-') return std::nullopt;
  text.remove_prefix(1);
  const std::optional<Offset> last = TakeNumber(text);
  if (!text.empty() || (!first && !last)) return std::nullopt;
  if (!first) return Segment{std::max<Offset>(total - *last, 0), *last == 0 ? -1 : total - 1};
  if (last && *last < *first) return std::nullopt;
  return Segment{*first, std::min(last.value_or(total - 1), total - 1)};
}

}  // namespace

int HTTPFileOutputer::SeekHttpRange(Segment** segments, long total) {
  constexpr std::string_view kUnit = "bytes=";
  const char* header = std::getenv("HTTP_RANGE");
  const char* method = std::getenv("REQUEST_METHOD");
  if (method != nullptr && std::strcmp(method, "GET") != 0) return 0;
  if (header == nullptr || std::getenv("HTTP_IF_RANGE") != nullptr || total < 0) return 0;
  if (strncasecmp(header, kUnit.data(), kUnit.size()) != 0) return 0;

  std::string_view rest = header + kUnit.size();
  bool any = false;
  std::optional<Segment> chosen;
  for (bool more = true; more;) {
    const auto comma = rest.find(',');
    const std::string_view text = Trim(rest.substr(0, comma));
    more = comma != std::string_view::npos;
    if (more) rest.remove_prefix(comma + 1);
    if (text.empty()) continue;  // a list may have empty elements
    const std::optional<Segment> segment = ParseRange(text, total);
    if (!segment) return 0;
    any = true;
    if (!chosen && segment->start <= segment->end) chosen = segment;
  }
  if (!any) return 0;
  if (!chosen) return -1;
  *segments = static_cast<Segment*>(std::malloc(sizeof(Segment)));
  if (*segments == nullptr) return 0;
  **segments = *chosen;
  return 1;
}
