#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tools/media_index/facts.h"
#include "tools/media_index/walk.h"

/// The media database, for writing: `music` and `video` of the database lumetra, and `video_file`
/// of video_metadata, the sibling package's view of the videos. `passed_over` of lumetra tells what
/// need not be read again although it is no item, and where file systems were mounted.
///
/// An item keeps its id as long as its path stays in its table; ids are not used again. Failures
/// throw `std::runtime_error` with the database's message.
class Library {
 public:
  struct State {
    std::int64_t modified;
    std::int64_t size;
    bool item;
  };
  struct Item {
    std::int64_t id;
    std::string path;
    std::string title;
    std::string artist;
    std::string album;
    std::int64_t duration;  ///< seconds
  };
  struct Change {
    FoundFile file;
    MediaFacts facts;
  };

  virtual ~Library() = default;

  /// The state of every file in the database, by path.
  virtual std::map<std::string, State> Files() = 0;

  /// Stores `changes` and deletes the rows of the paths in `gone`, all or nothing.
  virtual void Apply(const std::vector<Change>& changes, const std::set<std::string>& gone) = 0;

  /// Calls `visit` for every item of a kind (music or video) in the order of their paths' bytes.
  virtual void ForEachItem(MediaKind kind, const std::function<void(const Item&)>& visit) = 0;
};

/// The size in the row of a folder at which another file system begins, which is no file's.
inline constexpr std::int64_t kMountPoint = -1;

/// Opens the embedded databases in `directory`, an existing folder, and makes what is missing of
/// them. Throws as the operations do.
std::unique_ptr<Library> OpenSqliteLibrary(const std::string& directory);

/// Reaches the databases of the PostgreSQL server that libpq's keywords in `conninfo` tell of; the
/// database user is the one named there, else the system user. packaging/postgresql.sql makes
/// tables and users. The two databases are changed in one transaction each: if the second of them
/// fails, the next run does the same changes again. Throws as the operations do.
std::unique_ptr<Library> OpenPostgresqlLibrary(const std::string& conninfo);

// SQL of both kinds of library.

/// What `Files` asks; the columns of the answers are path, modified and size.
inline constexpr char kItemsStatement[] =
    "SELECT path, modified, size FROM music UNION ALL SELECT path, modified, size FROM video";
inline constexpr char kPassedOverStatement[] = "SELECT path, modified, size FROM passed_over";

/// What `ForEachItem` asks; the columns of the answer are those of `Library::Item`.
std::string ItemsOf(MediaKind kind);

/// Runs a statement with the values for $1, $2 and so on.
using Execute =
    std::function<void(const std::string& statement, const std::vector<std::string>& values)>;

/// Applies the changes to one table of items, which holds the files of `kind`.
void UpdateItems(const std::string& table, MediaKind kind,
                 const std::vector<Library::Change>& changes, const std::set<std::string>& gone,
                 const Execute& execute);

/// Applies the changes to the table of what is no item.
void UpdatePassedOver(const std::string& table, const std::vector<Library::Change>& changes,
                      const std::set<std::string>& gone, const Execute& execute);
