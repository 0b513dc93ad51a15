#include "platform/url_parser/url_parser.h"

#include <cstdio>
#include <string>
#include <string_view>

#include "platform/url_parser/address.h"
#include "platform/url_parser/station_process.h"

int OrvaAudioUtils::UrlParser::GetRadioUrl(const char* station, char* url, int size) {
  if (size < 1) return -1;
  std::string address;
  if (IsPlaylistAddress(station)) {
    address = ResolveStation(station);
  } else if (HasNetworkScheme(station)) {
    // A line end would let the request that is sent to the station be continued at will.
    if (std::string_view(station).find_first_of("\r\n") == std::string_view::npos)
      address = station;
  } else if (std::string_view(station).find_first_of(":/") == std::string_view::npos) {
    return -1;
  }
  const int length = std::snprintf(url, static_cast<std::size_t>(size), "%s", address.c_str());
  return length < size ? 0 : -1;
}
