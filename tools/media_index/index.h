#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/media_index/library.h"
#include "tools/media_index/progress.h"

/// What one run did, in files.
struct Totals {
  std::size_t files = 0;  ///< found
  std::size_t added = 0;
  std::size_t changed = 0;
  std::size_t unchanged = 0;
  std::size_t removed = 0;   ///< items that are none any more
  std::size_t skipped = 0;   ///< no items: not media, or could not be read
  bool complete = true;      ///< false: of what is missing, something stays
  bool interrupted = false;  ///< `Interrupted()`
};

/// Brings the rows of the files in `folders` (absolute paths) up to date; rows of other files stay.
///
/// What is new or changed is stored while the files are read, some hundred or some seconds at a
/// time, and `stored` is called after each time; what is gone is deleted at the end. An interrupted
/// run stores what it has read and deletes nothing; the next one goes on from there.
Totals Index(Library& library, const std::vector<std::string>& folders, Progress& progress,
             const std::function<void()>& stored);

/// Deletes the rows of the files below `folders`.
Totals Forget(Library& library, const std::vector<std::string>& folders);
