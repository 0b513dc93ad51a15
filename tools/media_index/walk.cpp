#include "tools/media_index/walk.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

namespace {

/// A file may claim any time; what 64 bits cannot hold is cut.
std::int64_t Nanoseconds(const timespec& time) {
  constexpr std::int64_t kLast = 9'000'000'000;  // seconds, the year 2255
  return std::clamp<std::int64_t>(time.tv_sec, -kLast, kLast) * 1'000'000'000 + time.tv_nsec;
}

/// A link to nowhere is as good as gone; what cannot be looked at is not.
bool IsGone(int error) { return error == ENOENT || error == ENOTDIR || error == ELOOP; }

/// Links decide what is published. Those of others may lead to what only root can read.
bool MayFollow(const std::string& link, uid_t trusted) {
  struct stat facts;
  return lstat(link.c_str(), &facts) != 0 || !S_ISLNK(facts.st_mode) || facts.st_uid == 0 ||
         facts.st_uid == trusted;
}

}  // namespace

void WalkFolder(const std::string& folder, const WalkListener& listener) {
  std::set<std::pair<dev_t, ino_t>> entered;
  struct stat facts;
  if (stat((folder + "/..").c_str(), &facts) != 0) facts.st_dev = 0;
  struct stat library {};
  const uid_t trusted = stat(folder.c_str(), &library) == 0 ? library.st_uid : 0;
  // With the device of the folder above.
  std::vector<std::pair<std::string, dev_t>> waiting{{folder, facts.st_dev}};
  while (!waiting.empty()) {
    const auto [current, deviceAbove] = std::move(waiting.back());
    waiting.pop_back();
    const bool known = stat(current.c_str(), &facts) == 0;
    const dev_t device = known ? facts.st_dev : deviceAbove;
    if (known && !entered.emplace(device, facts.st_ino).second) continue;
    if (device != deviceAbove) listener.mounted(current);
    std::error_code error;
    std::set<std::string> paths;  // sorted, for ids in the order that people expect
    std::filesystem::directory_iterator entry(current, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
      if (!entry->path().filename().string().starts_with('.')) paths.insert(entry->path().string());
    }
    for (const std::string& path : paths) {
      if (stat(path.c_str(), &facts) != 0) {
        if (!IsGone(errno)) listener.unreadable(path, std::strerror(errno));
        continue;
      }
      if (!MayFollow(path, trusted)) {
        listener.refused(path);
        continue;
      }
      if (S_ISDIR(facts.st_mode)) {
        waiting.emplace_back(path, device);
      } else if (S_ISREG(facts.st_mode)) {
        listener.found({path, Nanoseconds(facts.st_mtim), facts.st_size});
      }
    }
    if (error && !IsGone(error.value())) listener.unreadable(current, error.message());
  }
}
