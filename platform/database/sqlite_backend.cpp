#include <sqlite3.h>
#include <syslog.h>

#include <new>
#include <utility>

#include "platform/database/backend.h"

namespace {

constexpr int kBusyTimeout = 2000;  // milliseconds

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

class SqliteResult final : public ORVADBResult {
 public:
  /// `step` is the outcome of the statement's first step.
  SqliteResult(Statement statement, int step) : statement_(std::move(statement)), step_(step) {}

  bool NextRow() override {
    if (row >= 0) step_ = sqlite3_step(statement_.get());
    return step_ == SQLITE_ROW;
  }

  const char* Field(const char* column) override {
    for (int i = 0; i < sqlite3_column_count(statement_.get()); ++i) {
      if (sqlite3_stricmp(sqlite3_column_name(statement_.get(), i), column) == 0) {
        return reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), i));
      }
    }
    return nullptr;
  }

 private:
  Statement statement_;
  int step_;
};

class SqliteConnection final : public ORVADBConnection {
 public:
  explicit SqliteConnection(Database database) : database_(std::move(database)) {}

  std::unique_ptr<ORVADBResult> Execute(const char* query) override {
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(database_.get(), query, -1, &prepared, nullptr);
    Statement statement(prepared);
    // Without a statement the step only answers that it is misused.
    const int step = sqlite3_step(prepared);
    if (step == SQLITE_ROW || step == SQLITE_DONE) {
      return std::make_unique<SqliteResult>(std::move(statement), step);
    }
    syslog(LOG_ERR, "%s:%d %s", "sqlite_backend", 10, sqlite3_errmsg(database_.get()));
    return nullptr;
  }

 private:
  Database database_;
};

}  // namespace

std::unique_ptr<ORVADBConnection> ConnectSqlite(const std::string& directory,
                                                const std::string& database) {
  const std::string file = directory + "/" + database + ".db";
  sqlite3* opened = nullptr;
  sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
  Database handle(opened);  // which a failure leaves, too, for its message
  if (opened == nullptr) throw std::bad_alloc();
  sqlite3_busy_timeout(opened, kBusyTimeout);
  // The queries run as root; what the file's owner wrote into its schema must not.
  sqlite3_db_config(opened, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  // Opening is lazy: reading the schema makes it happen now, as the user that connects.
  if (sqlite3_exec(opened, "SELECT 1 FROM sqlite_schema", nullptr, nullptr, nullptr) != SQLITE_OK) {
    syslog(LOG_ERR, "%s:%d cannot open %s: %s", "sqlite_backend", 20, file.c_str(),
           sqlite3_errmsg(opened));
    return nullptr;
  }
  return std::make_unique<SqliteConnection>(std::move(handle));
}
