#pragma once

#include <cstdint>
#include <functional>
#include <string>

/// A regular file, by the state that tells whether it has changed.
struct FoundFile {
  std::string path;       ///< absolute
  std::int64_t modified;  ///< nanoseconds since the epoch
  std::int64_t size;      ///< bytes
};

/// Calls `found` for every regular file in `folder` (an absolute path) and below. Names that begin
/// with a dot are passed over; links are followed, and each folder is entered once. A folder or
/// file that cannot be looked at is reported to `unreadable`, with the reason.
void WalkFolder(
    const std::string& folder, const std::function<void(const FoundFile&)>& found,
    const std::function<void(const std::string& folder, const std::string& reason)>& unreadable);
