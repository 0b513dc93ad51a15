#pragma once

#include <chrono>
#include <cstddef>
#include <string>

/// What a person reads while media-index runs, on standard error: on a terminal one line that tells
/// how far it is, elsewhere such a line a minute. Warnings stand on lines of their own.
class Progress {
 public:
  Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { Clear(); }

  /// So many files were found until now.
  void Found(std::size_t files);
  /// So many of `total` files have been read, the first ones since the first call.
  void Read(std::size_t files, std::size_t total);
  void Warn(const std::string& path, const std::string& reason);
  /// Takes the line away.
  void Clear();

  /// The time since the start.
  std::chrono::milliseconds elapsed() const;

 private:
  bool IsTime();
  void Show(const std::string& text);

  using Clock = std::chrono::steady_clock;
  const bool terminal_;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point shown_ = start_;
  Clock::time_point reading_ = start_;
  bool line_ = false;  ///< stands on the terminal
};

/// A time as people read it: "0.4 s", "1:05" minutes or "2:01:05" hours.
std::string TimeText(std::chrono::milliseconds time);
