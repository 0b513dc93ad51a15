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

/// Who hears what a walk finds. The operations may throw, which ends it.
struct WalkListener {
  std::function<void(const FoundFile&)> found;
  /// Another file system than that of the folder above begins at `folder`.
  std::function<void(const std::string& folder)> mounted;
  /// A folder or file cannot be looked at.
  std::function<void(const std::string& path, const std::string& reason)> unreadable;
  /// A link is not followed, because neither root nor the owner of the walk's folder made it.
  std::function<void(const std::string& link)> refused;
};

/// Tells `listener` of every regular file in `folder` (an absolute path) and below. Names that
/// begin with a dot are passed over; links of root and of the owner of `folder` are followed, and
/// each folder is entered once. What goes away meanwhile counts as not there.
void WalkFolder(const std::string& folder, const WalkListener& listener);
