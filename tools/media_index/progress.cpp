#include "tools/media_index/progress.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/media_index/text.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kTerminalInterval{100};
constexpr milliseconds kLogInterval{60'000};
constexpr std::size_t kBarWidth = 20;

template <typename... Values>
std::string Format(const char* format, Values... values) {
  std::array<char, 128> text{};
  std::snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

/// Minutes or hours, as clocks show them.
std::string ClockText(long long seconds) {
  if (seconds < 3600) return Format("%lld:%02lld", seconds / 60, seconds % 60);
  return Format("%lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace

std::string TimeText(milliseconds time) {
  const double seconds = static_cast<double>(time.count()) / 1000;
  return seconds < 60 ? Format("%.1f s", seconds) : ClockText(time.count() / 1000);
}

Progress::Progress() : terminal_(isatty(STDERR_FILENO) == 1) {}

milliseconds Progress::elapsed() const {
  return std::chrono::duration_cast<milliseconds>(Clock::now() - start_);
}

bool Progress::IsTime() {
  const Clock::time_point now = Clock::now();
  if (now - shown_ < (terminal_ ? kTerminalInterval : kLogInterval)) return false;
  shown_ = now;
  return true;
}

void Progress::Show(const std::string& text) {
  std::fprintf(stderr, terminal_ ? "\r%s\033[K" : "media-index: %s\n", text.c_str());
  line_ = terminal_;
}

void Progress::Found(std::size_t files) {
  if (IsTime()) Show(Format("%zu files found", files));
}

void Progress::Read(std::size_t files, std::size_t total) {
  if (files == 0) reading_ = Clock::now();
  if ((!terminal_ || (files != 0 && files != total)) && !IsTime()) return;
  const double seconds = std::chrono::duration<double>(Clock::now() - reading_).count();
  const double rate = seconds > 0 ? static_cast<double>(files) / seconds : 0;
  std::string text = Format("%zu of %zu files read", files, total);
  if (rate > 0) {
    const double left = std::min(static_cast<double>(total - files) / rate, 1e9);
    text +=
        Format(", %.1f files/s, %s left", rate, ClockText(static_cast<long long>(left)).c_str());
  }
  if (terminal_) {
    const std::size_t filled = total == 0 ? kBarWidth : files * kBarWidth / total;
    text.insert(0, "[" + std::string(filled, '#') + std::string(kBarWidth - filled, ' ') + "] ");
  }
  Show(text);
}

void Progress::Warn(const std::string& path, const std::string& reason) {
  Clear();
  // A name may hold what a terminal would obey.
  std::fprintf(stderr, "media-index: warning: %s: %s\n", OneLine(path, '?').c_str(),
               reason.c_str());
}

void Progress::Clear() {
  if (line_) std::fputs("\r\033[K", stderr);
  line_ = false;
}
