#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/media_index/facts.h"
#include "tools/media_index/walk.h"

/// Reads media files in processes of their own, one for a few files, since they are foreign bytes
/// for a large parser. Such a process is not root; it may read these files, whoever may, and do
/// nothing else (`LeaveRoot`, `ConfineTo`). What it answers is believed to be facts of these files,
/// and of the right form, no more.
class Reader {
 public:
  /// Tries whether such a process can be had; throws `std::runtime_error` when not. What else the
  /// system withholds is logged in one line, and the process goes on without.
  Reader();

  /// The facts of the first of `files`, in order: of one or more, as many as are read in a short
  /// while. Nothing stands for a file on which the process ended, or that took longer than 10 s.
  /// After an interruption there may be no facts at all.
  std::vector<std::optional<MediaFacts>> Read(std::span<const FoundFile> files);

 private:
  std::optional<std::vector<MediaFacts>> ReadApart(std::span<const FoundFile> files);

  std::string unreadable_;  ///< a file that shows that the process needs the right to read any
};
