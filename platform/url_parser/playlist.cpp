#include "platform/url_parser/playlist.h"

#include <strings.h>
#include <uriparser/Uri.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <utility>

#include "platform/url_parser/address.h"
#include "platform/url_parser/playlist_xml.h"

namespace {

constexpr std::string_view kSpace = " \t\r\n\v\f";
constexpr std::string_view kPls = "[playlist]";

std::string_view Trim(std::string_view text) {
  const auto first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

bool StartsWith(std::string_view text, std::string_view lowerCase) {
  return text.size() >= lowerCase.size() &&
         strncasecmp(text.data(), lowerCase.data(), lowerCase.size()) == 0;
}

/// The text without its byte order mark and the white space around it; empty when it is none.
std::string_view Content(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.find('\0') != std::string_view::npos) return {};
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  return Trim(text);
}

/// Calls `use` with each line that is not blank, trimmed. A carriage return ends a line too.
template <typename Use>
void ForEachLine(std::string_view text, Use use) {
  while (!text.empty()) {
    const auto end = std::min(text.find_first_of("\r\n"), text.size());
    if (const std::string_view line = Trim(text.substr(0, end)); !line.empty()) use(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

std::vector<std::string> PlsEntries(std::string_view text) {
  constexpr std::string_view kFile = "file";
  std::vector<std::pair<unsigned, std::string_view>> files;
  bool inside = false;
  ForEachLine(text, [&](std::string_view line) {
    if (line.front() == '[') inside = StartsWith(line, kPls);
    if (!inside || !StartsWith(line, kFile)) return;
    unsigned number = 0;
    const char* const stop = line.data() + line.size();
    const auto [end, error] = std::from_chars(line.data() + kFile.size(), stop, number);
    const std::string_view rest = Trim({end, static_cast<std::size_t>(stop - end)});
    if (error != std::errc() || !rest.starts_with('=')) return;
    files.emplace_back(number, Trim(rest.substr(1)));
  });
  std::ranges::stable_sort(files, {}, &std::pair<unsigned, std::string_view>::first);
  std::vector<std::string> entries;
  for (const auto& [number, file] : files) entries.emplace_back(file);
  return entries;
}

std::vector<std::string> M3uEntries(std::string_view text) {
  std::vector<std::string> entries;
  ForEachLine(text, [&](std::string_view line) {
    if (line.front() != '#') entries.emplace_back(line);
  });
  return entries;
}

using Uri = std::unique_ptr<UriUriA, decltype(&uriFreeUriMembersA)>;

/// Takes `text` apart into `uri`, which refers to it. Null when it is not a URI.
Uri Parse(const std::string& text, UriUriA& uri) {
  const bool parsed = uriParseSingleUriA(&uri, text.c_str(), nullptr) == URI_SUCCESS;
  return {parsed ? &uri : nullptr, &uriFreeUriMembersA};
}

/// `entry` resolved against `base`; empty when it does not refer to anything.
std::string Resolve(const std::string& entry, const UriUriA& base) {
  UriUriA reference;
  const Uri referenceOwner = Parse(entry, reference);
  if (referenceOwner == nullptr) return {};
  UriUriA address;
  if (uriAddBaseUriA(&address, &reference, &base) != URI_SUCCESS) return {};
  const Uri addressOwner(&address, &uriFreeUriMembersA);
  int size = 0;
  if (uriToStringCharsRequiredA(&address, &size) != URI_SUCCESS) return {};
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  if (uriToStringA(text.data(), &address, size + 1, nullptr) != URI_SUCCESS) return {};
  text.pop_back();
  return text;
}

}  // namespace

std::vector<std::string> PlaylistEntries(std::string_view text, std::string_view address,
                                         bool cut) {
  text = Content(text);
  if (cut) text = text.substr(0, text.find_last_of("\r\n>") + 1);
  if (text.starts_with('<')) {
    std::vector<std::string> entries = XmlPlaylistEntries(std::string(text));
    for (std::string& entry : entries) entry = std::string(Trim(entry));
    return entries;
  }
  const std::string_view path = address.substr(0, address.find_first_of("?#"));
  const bool pls = path.size() >= 4 && StartsWith(path.substr(path.size() - 4), ".pls");
  const bool m3u = StartsWith(text, "#extm3u");
  return StartsWith(text, kPls) || (pls && !m3u) ? PlsEntries(text) : M3uEntries(text);
}

bool IsLiveStreamingPlaylist(std::string_view text) {
  text = Content(text);
  bool live = false;
  if (StartsWith(text, "#extm3u")) {
    ForEachLine(text, [&](std::string_view line) { live |= line.starts_with("#EXT-X-"); });
  }
  return live;
}

std::string FirstAddress(const std::vector<std::string>& entries, const std::string& base,
                         bool playlists) {
  UriUriA baseUri;
  const Uri baseOwner = Parse(base, baseUri);
  for (const std::string& entry : entries) {
    // A complete address stands as it is, even where the standard would have more of it escaped.
    std::string address = entry;
    if (!HasNetworkScheme(entry)) {
      if (entry.empty() || baseOwner == nullptr) continue;
      address = Resolve(entry, baseUri);
    }
    if (IsNetworkAddress(address) && (playlists || !IsPlaylistAddress(address))) return address;
  }
  return {};
}
