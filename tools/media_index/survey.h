#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/media_index/library.h"
#include "tools/media_index/progress.h"
#include "tools/media_index/walk.h"

/// How the folders differ from what the database knows.
struct Survey {
  std::vector<FoundFile> changed;   ///< to be read: new, or with another time or size
  std::vector<std::string> mounts;  ///< new folders at which another file system begins
  std::set<std::string> gone;       ///< what is known and not there any more
  std::size_t files = 0;
  std::size_t unchanged = 0;
  std::size_t passedOver = 0;  ///< unchanged too, but no items
  bool complete = true;        ///< false: of what is missing, something stays
};

/// Looks at the files below `folders`, without reading them. What is `known` elsewhere is not gone.
///
/// A folder that is missing or has no entry may be a disk that is not there: when it is one of
/// `folders`, or another file system was mounted on it once, what is known below stays, with a
/// warning. So it does where something cannot be looked at. Any other missing folder is gone.
Survey SurveyFolders(const std::vector<std::string>& folders,
                     const std::map<std::string, Library::State>& known, Progress& progress);

/// What is known of the folder at `path`, and below it.
std::set<std::string> KnownBelow(const std::string& path,
                                 const std::map<std::string, Library::State>& known);
