#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tools/media_index/facts.h"
#include "tools/media_index/walk.h"

/// The embedded media database, for writing: `music` and `video` of lumetra.db, and `video_file` of
/// video_metadata.db, the sibling package's view of the videos.
///
/// An item keeps its id as long as its path stays in its table; ids are not used again. Failures
/// throw `std::runtime_error` with SQLite's message.
class Library {
 public:
  struct State {
    std::int64_t modified;
    std::int64_t size;
  };
  struct Change {
    FoundFile file;
    MediaFacts facts;
  };

  /// Opens the databases in `directory`, an existing folder, and makes what is missing of them.
  explicit Library(const std::string& directory);

  /// The state of every file in the database, by path.
  std::map<std::string, State> Files() const;

  /// Stores `changes` and deletes the rows of the paths in `gone`, all or nothing.
  void Apply(const std::vector<Change>& changes, const std::set<std::string>& gone);

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Close> database_;
};
