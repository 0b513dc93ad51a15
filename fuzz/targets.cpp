// The fuzz targets, by name; TARGET is the one to build. Each takes one input and aborts where a
// property does not hold.

#undef NDEBUG
#include <sys/mman.h>

#include <cassert>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "delivery/wav_header.h"
#include "platform/cgi/cgi.h"
#include "platform/http_range/http_range.h"
#include "platform/sysutil/sysutil.h"
#include "platform/url_parser/address.h"
#include "platform/url_parser/playlist.h"
#include "request/item_id.h"

// A body's length, a space and the Range header.
void http_range(const std::string& text) {
  const long total = std::strtol(text.c_str(), nullptr, 10);
  std::string variable = "HTTP_RANGE=" + text.substr(text.find(' ') + 1);
  putenv(variable.data());  // setenv would keep every value
  _tag_HTTP_RANGE_SEGMENT* found = nullptr;
  const int result = HTTPFileOutputer().SeekHttpRange(&found, total);
  unsetenv("HTTP_RANGE");
  assert((result > 0) == (found != nullptr) && (result >= 0 || total >= 0));
  if (found == nullptr) return;
  assert(0 <= found->start && found->start <= found->end && found->end < total);
  std::free(found);
}

// A request URI.
void item_id(const std::string& text) {
  const std::string uri = text.c_str();
  const auto found = uri.find("id=");
  assert(ParseItemId(uri.c_str()) == (found == uri.npos ? 0 : ParseItemId(&uri[found])));
  assert(ParseItemId(("id=-21&" + uri).c_str()) == -21);
}

// A configuration file; the key is "key".
void key_value(const std::string& text) {
  static const std::string file = "/proc/self/fd/" + std::to_string(memfd_create("", 0));
  std::ofstream(file) << text;
  std::vector<char> whole(text.size() + 1, 'x'), cut(4, 'x');
  const auto size = static_cast<int>(whole.size());
  const int found = OLIBCFileGetKeyValue(file.c_str(), "key", whole.data(), size, 0);
  assert(OLIBCFileGetKeyValue(file.c_str(), "key", cut.data(), 4, 0) == found);
  assert(found == 1 || (found == 0 && whole[0] == 'x' && cut[0] == 'x'));
  assert(found == 0 || text.find(whole.data()) != text.npos);
  assert(found == 0 || std::string(whole.data()).substr(0, 3) == cut.data());
}

// The undecoded parameters of a request. The first of a name counts, and what follows is the same.
void parameters(const std::string& text) {
  OrvaCgiParams params, more;
  assert(OrvaCgiParseCGIParam(&params, text.c_str()) == 0);
  assert(OrvaCgiParseCGIParam(&more, ("id=a%3D+b&" + text).c_str()) == 0);
  std::size_t bytes = 0;
  for (const auto& [name, value] : params.values) {
    bytes += name.size() + value.size();
    assert(OrvaCgiGetCGIParam(&params, name.c_str(), 0) == value);
    assert(more.values.at(name) == (name == "id" ? "a= b" : value));
  }
  assert(bytes <= std::strlen(text.c_str()));
}

// A playlist, in each format that its address may suggest, whole and cut.
void playlist(const std::string& text) {
  assert(!IsLiveStreamingPlaylist(text) || !text.starts_with('<'));
  for (const char* name : {"http://h/a.pls", "http://h/a.m3u"})
    for (const bool cut : {false, true}) {
      const std::vector<std::string> entries = PlaylistEntries(text, name, cut);
      std::size_t bytes = 0;
      for (const std::string& entry : entries) bytes += entry.size();
      assert(bytes <= text.size());
      const std::string found = FirstAddress(entries, "http://h/a/b?c", cut);
      assert(found.empty() || (IsNetworkAddress(found) && (cut || !IsPlaylistAddress(found))));
    }
}

// The length of the samples, a space and the head of a WAV stream.
void wav_header(const std::string& text) {
  const std::int64_t length = std::strtol(text.c_str(), nullptr, 10) & (INT64_MAX / 2);
  const std::string rest = text.substr(text.find(' ') + 1);
  const std::vector<unsigned char> head(rest.begin(), rest.end());
  assert(head.size() >= 8 || WavFileLength(head) == static_cast<std::int64_t>(head.size()));
  for (const bool live : {false, true}) {
    std::vector<unsigned char> fixed = head;
    const auto sizes = static_cast<std::size_t>(FixWavHeader(fixed, length, live) - length - 4);
    assert(40 <= sizes && sizes <= 40 + 255 - 16);
    assert(head.size() < sizes + 4 || std::memcmp(&fixed[sizes], &length, 4) == 0);
    for (std::size_t i = 0; i < head.size(); ++i)
      assert(fixed[i] == head[i] || (4 <= i && i < 8) || (sizes <= i && i < sizes + 4));
  }
}

#ifdef FUZZ
extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  TARGET({data, size});
  return 0;
}
#else  // replays the files of a folder
int main(int, char** arguments) {
  assert(!std::filesystem::is_empty(arguments[1]));
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
    std::ifstream file(entry.path(), std::ios::binary);
    TARGET(std::string(std::istreambuf_iterator<char>(file), {}));
  }
}
#endif
