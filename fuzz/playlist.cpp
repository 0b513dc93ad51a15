// A playlist, in each format that its address may suggest, whole and cut.

#include "platform/url_parser/playlist.h"

#include "fuzz/target.h"
#include "platform/url_parser/address.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string base = "http://h/a/b?c";
  const std::string text = Text(data, size);
  const bool live = IsLiveStreamingPlaylist(text);
  for (const char* name : {"http://h/a.pls", "http://h/a.m3u"}) {
    for (const bool cut : {false, true}) {
      const std::vector<std::string> entries = PlaylistEntries(text, name, cut);
      std::size_t bytes = 0;
      for (const std::string& entry : entries) bytes += entry.size();
      Require(bytes <= size && (!live || !text.starts_with('<')));
      const std::string any = FirstAddress(entries, base, true);
      const std::string plain = FirstAddress(entries, base, false);
      Require(any.empty() ? plain.empty() : IsNetworkAddress(any));
      Require(plain.empty() || (IsNetworkAddress(plain) && !IsPlaylistAddress(plain)));
      Require(any.empty() || FirstAddress({any}, base, true) == any);
    }
  }
  return 0;
}
