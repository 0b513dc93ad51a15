#include "platform/url_parser/station_module.h"

#include <syslog.h>

#include <cstdio>
#include <exception>

#include "platform/confinement/sandbox.h"
#include "platform/url_parser/address.h"
#include "platform/url_parser/fetch.h"
#include "platform/url_parser/playlist.h"

extern "C" __attribute__((visibility("default"))) ResolveStationFunction LumetraResolveStation;

namespace {

using Deadline = std::chrono::steady_clock::time_point;

std::string PlayableAddress(const std::string& playlist, bool nested, Deadline deadline) {
  const std::optional<Fetched> fetched = Fetch(playlist, deadline);
  if (!fetched) return {};
  if (IsLiveStreamingPlaylist(fetched->text)) return playlist;
  const std::string entry = FirstAddress(PlaylistEntries(fetched->text, playlist, fetched->cut),
                                         fetched->address, !nested);
  return IsPlaylistAddress(entry) ? PlayableAddress(entry, true, deadline) : entry;
}

}  // namespace

int LumetraResolveStation(const char* address, char* url, int size) {
  openlog(nullptr, LOG_NDELAY, LOG_USER);  // for once confined there is no socket for it
  try {
    ConfineTo({.program = {}, .files = {}, .network = true});
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    const std::string found = PlayableAddress(address, false, deadline);
    const int length = std::snprintf(url, static_cast<std::size_t>(size), "%s", found.c_str());
    return length > 0 && length < size ? 0 : -1;
  } catch (const std::exception&) {
    return -1;
  }
}
