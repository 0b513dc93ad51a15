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

}  // namespace

void WalkFolder(
    const std::string& folder, const std::function<void(const FoundFile&)>& found,
    const std::function<void(const std::string& folder, const std::string& reason)>& unreadable) {
  std::set<std::pair<dev_t, ino_t>> entered;
  std::vector<std::string> waiting{folder};
  while (!waiting.empty()) {
    const std::string current = std::move(waiting.back());
    waiting.pop_back();
    struct stat facts;
    if (stat(current.c_str(), &facts) == 0 && !entered.emplace(facts.st_dev, facts.st_ino).second) {
      continue;
    }
    std::error_code error;
    std::set<std::string> paths;  // sorted, for ids in the order that people expect
    std::filesystem::directory_iterator entry(current, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
      if (!entry->path().filename().string().starts_with('.')) paths.insert(entry->path().string());
    }
    for (const std::string& path : paths) {
      if (stat(path.c_str(), &facts) != 0) {
        // A link to nowhere is as good as gone; what cannot be looked at is not.
        if (errno != ENOENT && errno != ELOOP) unreadable(path, std::strerror(errno));
        continue;
      }
      if (S_ISDIR(facts.st_mode)) {
        waiting.push_back(path);
      } else if (S_ISREG(facts.st_mode)) {
        found({path, Nanoseconds(facts.st_mtim), facts.st_size});
      }
    }
    if (error) unreadable(current, error.message());
  }
}
