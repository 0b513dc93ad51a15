#include "tools/media_index/library.h"

void UpdateTable(const std::string& table, MediaKind kind,
                 const std::vector<Library::Change>& changes, const std::set<std::string>& gone,
                 const std::function<void(const std::string& statement,
                                          const std::vector<std::string>& values)>& execute) {
  const std::string remove = "DELETE FROM " + table + " WHERE path = $1";
  const std::string store =
      "INSERT INTO " + table +
      "(path, title, artist, album, channel, frequency, duration, modified, size)"
      " VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9) ON CONFLICT (path) DO UPDATE SET"
      " title = excluded.title, artist = excluded.artist, album = excluded.album,"
      " channel = excluded.channel, frequency = excluded.frequency, duration = excluded.duration,"
      " modified = excluded.modified, size = excluded.size";
  for (const std::string& path : gone) execute(remove, {path});
  for (const auto& [file, facts] : changes) {
    if (facts.kind != kind) {
      execute(remove, {file.path});
      continue;
    }
    execute(store,
            {file.path, facts.title, facts.artist, facts.album, std::to_string(facts.channels),
             std::to_string(facts.frequency), std::to_string(facts.duration),
             std::to_string(file.modified), std::to_string(file.size)});
  }
}
