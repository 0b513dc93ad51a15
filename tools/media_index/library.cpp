#include "tools/media_index/library.h"

namespace {

/// Applies the changes to a table whose rows have the values that `row` tells of a file, the path
/// first; the files that have none are not in it.
void Update(const std::string& table, const std::string& store,
            const std::vector<Library::Change>& changes, const std::set<std::string>& gone,
            const std::function<std::vector<std::string>(const Library::Change&)>& row,
            const Execute& execute) {
  const std::string remove = "DELETE FROM " + table + " WHERE path = $1";
  for (const std::string& path : gone) execute(remove, {path});
  for (const Library::Change& change : changes) {
    const std::vector<std::string> values = row(change);
    if (values.empty()) {
      execute(remove, {change.file.path});
    } else {
      execute(store, values);
    }
  }
}

bool IsItem(MediaKind kind) { return kind == MediaKind::kMusic || kind == MediaKind::kVideo; }

}  // namespace

std::string ItemsOf(MediaKind kind) {
  const std::string table = kind == MediaKind::kMusic ? "music" : "video";
  return "SELECT id, path, title, artist, album, duration FROM " + table + " ORDER BY path";
}

void UpdateItems(const std::string& table, MediaKind kind,
                 const std::vector<Library::Change>& changes, const std::set<std::string>& gone,
                 const Execute& execute) {
  const std::string store =
      "INSERT INTO " + table +
      "(path, title, artist, album, channel, frequency, duration, modified, size)"
      " VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9) ON CONFLICT (path) DO UPDATE SET"
      " title = excluded.title, artist = excluded.artist, album = excluded.album,"
      " channel = excluded.channel, frequency = excluded.frequency, duration = excluded.duration,"
      " modified = excluded.modified, size = excluded.size";
  const auto row = [kind](const Library::Change& change) -> std::vector<std::string> {
    const auto& [file, facts] = change;
    if (facts.kind != kind) return {};
    return {file.path,
            facts.title,
            facts.artist,
            facts.album,
            std::to_string(facts.channels),
            std::to_string(facts.frequency),
            std::to_string(facts.duration),
            std::to_string(file.modified),
            std::to_string(file.size)};
  };
  Update(table, store, changes, gone, row, execute);
}

void UpdatePassedOver(const std::string& table, const std::vector<Library::Change>& changes,
                      const std::set<std::string>& gone, const Execute& execute) {
  const std::string store = "INSERT INTO " + table +
                            "(path, modified, size) VALUES ($1, $2, $3) ON CONFLICT (path) DO"
                            " UPDATE SET modified = excluded.modified, size = excluded.size";
  const auto row = [](const Library::Change& change) -> std::vector<std::string> {
    const auto& [file, facts] = change;
    if (IsItem(facts.kind)) return {};
    return {file.path, std::to_string(file.modified), std::to_string(file.size)};
  };
  Update(table, store, changes, gone, row, execute);
}
