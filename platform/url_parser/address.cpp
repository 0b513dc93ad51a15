#include "platform/url_parser/address.h"

#include <strings.h>

#include <algorithm>
#include <array>

namespace {

using Prefixes = std::array<std::string_view, 5>;
constexpr Prefixes kNetworkPrefixes = {"http://", "https://", "rtsp://", "rtmp://", "mms://"};
constexpr std::array<std::string_view, 4> kPlaylistEndings = {".pls", ".m3u", ".asx", ".xspf"};

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view NetworkPrefix(std::string_view text) {
  const auto found = std::ranges::find_if(kNetworkPrefixes, [&](std::string_view prefix) {
    return EqualIgnoringCase(text.substr(0, prefix.size()), prefix);
  });
  return found == kNetworkPrefixes.end() ? std::string_view() : *found;
}

bool IsAddressCharacter(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte > ' ' && byte != 0x7f &&
         std::string_view("\"<>\\").find(character) == std::string_view::npos;
}

}  // namespace

bool HasNetworkScheme(std::string_view text) { return !NetworkPrefix(text).empty(); }

bool IsNetworkAddress(std::string_view text) {
  return text.size() <= kLongestAddress && HasNetworkScheme(text) &&
         std::ranges::all_of(text, IsAddressCharacter);
}

bool IsPlaylistAddress(std::string_view text) {
  const std::string_view prefix = NetworkPrefix(text);
  if (!prefix.starts_with("http")) return false;
  text.remove_prefix(prefix.size());
  text = text.substr(0, text.find_first_of("?#"));
  const auto path = text.find('/');
  if (path == std::string_view::npos) return false;
  text.remove_prefix(path);
  return std::ranges::any_of(kPlaylistEndings, [&](std::string_view ending) {
    return text.size() > ending.size() &&
           EqualIgnoringCase(text.substr(text.size() - ending.size()), ending);
  });
}
