#include "platform/url_parser/url_parser.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 5> kNetworkPrefixes = {"http://", "https://", "rtsp://",
                                                              "rtmp://", "mms://"};

bool IsNetworkAddress(const char* station) {
  return std::any_of(kNetworkPrefixes.begin(), kNetworkPrefixes.end(),
                     [&](std::string_view prefix) {
                       return strncasecmp(station, prefix.data(), prefix.size()) == 0;
                     });
}

}  // namespace

int OrvaAudioUtils::UrlParser::GetRadioUrl(const char* station, char* url, int size) {
  if (size < 1) return -1;
  const bool network = IsNetworkAddress(station);
  if (!network && std::string_view(station).find_first_of(":/") == std::string_view::npos)
    return -1;
  const int length =
      std::snprintf(url, static_cast<std::size_t>(size), "%s", network ? station : "");
  return length < size ? 0 : -1;
}
