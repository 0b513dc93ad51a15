#include <sqlite3.h>

#include <array>
#include <stdexcept>

#include "tools/media_index/library.h"

namespace {

constexpr int kBusyTimeout = 10000;  // milliseconds
constexpr std::array<const char*, 3> kTables = {"main.music", "main.video", "sibling.video_file"};

class Statement {
 public:
  Statement(sqlite3* database, const std::string& text) : database_(database) {
    sqlite3_stmt* prepared = nullptr;
    Check(sqlite3_prepare_v2(database, text.c_str(), -1, &prepared, nullptr));
    statement_.reset(prepared);
  }

  /// Runs the statement with `values` from its start; true when there is a row.
  bool Run(const std::vector<std::string>& values) {
    Check(sqlite3_reset(statement_.get()));
    int index = 0;
    for (const std::string& value : values) {
      Check(sqlite3_bind_text64(statement_.get(), ++index, value.data(), value.size(),
                                SQLITE_TRANSIENT, SQLITE_UTF8));
    }
    return Next();
  }

  bool Next() {
    const int step = sqlite3_step(statement_.get());
    if (step != SQLITE_ROW && step != SQLITE_DONE) Check(step);
    return step == SQLITE_ROW;
  }

  std::string Text(int column) const {
    const void* text = sqlite3_column_blob(statement_.get(), column);
    const int size = sqlite3_column_bytes(statement_.get(), column);
    return text == nullptr ? "" : std::string(static_cast<const char*>(text), std::size_t(size));
  }
  std::int64_t Number(int column) const { return sqlite3_column_int64(statement_.get(), column); }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  void Check(int result) const {
    if (result == SQLITE_OK) return;
    throw std::runtime_error(std::string(sqlite3_db_filename(database_, "main")) + ": " +
                             sqlite3_errmsg(database_));
  }

  sqlite3* database_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

void Run(sqlite3* database, const std::string& text) { Statement(database, text).Run({}); }

/// Ends a transaction: commits when told to, else rolls back.
class Transaction {
 public:
  explicit Transaction(sqlite3* database) : database_(database) {
    Run(database, "BEGIN IMMEDIATE");
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction() {
    if (sqlite3_get_autocommit(database_) == 0) {
      sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
  }
  void Commit() { Run(database_, "COMMIT"); }

 private:
  sqlite3* database_;
};

class SqliteLibrary final : public Library {
 public:
  explicit SqliteLibrary(const std::string& directory);
  std::map<std::string, State> Files() override;
  void Apply(const std::vector<Change>& changes, const std::set<std::string>& gone) override;
  void ForEachItem(MediaKind kind, const std::function<void(const Item&)>& visit) override;

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Close> database_;
};

SqliteLibrary::SqliteLibrary(const std::string& directory) {
  sqlite3* opened = nullptr;
  const int result = sqlite3_open((directory + "/lumetra.db").c_str(), &opened);
  database_.reset(opened);
  if (result != SQLITE_OK) {
    throw std::runtime_error(directory + "/lumetra.db: " + sqlite3_errmsg(opened));
  }
  sqlite3_busy_timeout(opened, kBusyTimeout);
  Statement(opened, "ATTACH ? AS sibling").Run({directory + "/video_metadata.db"});
  // A rollback journal, so that readers need no right to write; they are locked out only for the
  // moment of the commit, for nothing is written before it.
  Run(opened, "PRAGMA cache_spill = OFF");
  Transaction transaction(opened);
  for (const std::string table : kTables) {
    Run(opened,
        "CREATE TABLE IF NOT EXISTS " + table +
            "(id INTEGER PRIMARY KEY AUTOINCREMENT, path TEXT NOT NULL UNIQUE,"
            " title TEXT NOT NULL, artist TEXT NOT NULL, album TEXT NOT NULL,"
            " channel INTEGER NOT NULL, frequency INTEGER NOT NULL,"
            " duration INTEGER NOT NULL, modified INTEGER NOT NULL, size INTEGER NOT NULL)");
  }
  Run(opened,
      "CREATE TABLE IF NOT EXISTS main.passed_over"
      "(path TEXT PRIMARY KEY, modified INTEGER NOT NULL, size INTEGER NOT NULL)");
  transaction.Commit();
}

std::map<std::string, Library::State> SqliteLibrary::Files() {
  std::map<std::string, State> files;
  for (const char* statement : {kPassedOverStatement, kItemsStatement}) {
    const bool item = statement == kItemsStatement;
    Statement query(database_.get(), statement);
    for (bool row = query.Run({}); row; row = query.Next()) {
      files.insert_or_assign(query.Text(0), State{query.Number(1), query.Number(2), item});
    }
  }
  return files;
}

void SqliteLibrary::ForEachItem(MediaKind kind, const std::function<void(const Item&)>& visit) {
  Statement query(database_.get(), ItemsOf(kind));
  for (bool row = query.Run({}); row; row = query.Next()) {
    visit({query.Number(0), query.Text(1), query.Text(2), query.Text(3), query.Text(4),
           query.Number(5)});
  }
}

void SqliteLibrary::Apply(const std::vector<Change>& changes, const std::set<std::string>& gone) {
  const Execute execute = [this](const auto& statement, const auto& values) {
    Statement(database_.get(), statement).Run(values);
  };
  Transaction transaction(database_.get());
  for (const std::string table : kTables) {
    const MediaKind kind = table == "main.music" ? MediaKind::kMusic : MediaKind::kVideo;
    UpdateItems(table, kind, changes, gone, execute);
  }
  UpdatePassedOver("main.passed_over", changes, gone, execute);
  transaction.Commit();
}

}  // namespace

std::unique_ptr<Library> OpenSqliteLibrary(const std::string& directory) {
  return std::make_unique<SqliteLibrary>(directory);
}
