#include <libpq-fe.h>

#include <array>
#include <stdexcept>

#include "tools/media_index/library.h"

namespace {

struct FinishConnection {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};
struct ClearResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ClearResult>;

/// A connection to one of the databases. What it has not committed is undone when it ends.
class Session {
 public:
  Session(const std::string& conninfo, const char* database) {
    const std::string keywords = "connect_timeout=10 " + conninfo;
    // The first "dbname" is spread into the keywords in it; what follows overrides them. Without an
    // encoding, a path is any bytes.
    const std::array<const char*, 4> names = {"dbname", "dbname", "client_encoding", nullptr};
    const std::array<const char*, 4> values = {keywords.c_str(), database, "SQL_ASCII", nullptr};
    connection_.reset(PQconnectdbParams(names.data(), values.data(), 1));
    if (PQstatus(connection_.get()) != CONNECTION_OK) Fail();
  }

  Result Run(const std::string& statement, const std::vector<std::string>& values = {}) {
    std::vector<const char*> texts;
    for (const std::string& value : values) texts.push_back(value.c_str());
    Result result(PQexecParams(connection_.get(), statement.c_str(), static_cast<int>(texts.size()),
                               nullptr, texts.data(), nullptr, nullptr, 0));
    const ExecStatusType status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) Fail();
    return result;
  }

 private:
  [[noreturn]] void Fail() const {
    std::string message = PQerrorMessage(connection_.get());
    message.erase(message.find_last_not_of('\n') + 1);
    throw std::runtime_error(message);
  }

  std::unique_ptr<PGconn, FinishConnection> connection_;
};

/// Connects anew for each operation: the reading of the files between them may take hours.
class PostgresqlLibrary final : public Library {
 public:
  explicit PostgresqlLibrary(const std::string& conninfo) : conninfo_(conninfo) {
    const Session sibling(conninfo_, "video_metadata");  // better no answer now than after hours
  }

  std::map<std::string, State> Files() override {
    std::map<std::string, State> files;
    Session lumetra(conninfo_, "lumetra");
    for (const char* statement : {kPassedOverStatement, kItemsStatement}) {
      const bool item = statement == kItemsStatement;
      if (!item && !RemembersPassedOver(lumetra)) continue;
      const Result rows = lumetra.Run(statement);
      for (int row = 0; row < PQntuples(rows.get()); ++row) {
        files.insert_or_assign(PQgetvalue(rows.get(), row, 0),
                               State{Number(rows.get(), row, 1), Number(rows.get(), row, 2), item});
      }
    }
    return files;
  }

  void Apply(const std::vector<Change>& changes, const std::set<std::string>& gone) override {
    Session lumetra(conninfo_, "lumetra");
    Session sibling(conninfo_, "video_metadata");
    const auto to = [](Session& session) -> Execute {
      return
          [&session](const auto& statement, const auto& values) { session.Run(statement, values); };
    };
    lumetra.Run("BEGIN");
    sibling.Run("BEGIN");
    // Another run waits here; readers do not.
    lumetra.Run("LOCK TABLE music, video IN SHARE ROW EXCLUSIVE MODE");
    UpdateItems("music", MediaKind::kMusic, changes, gone, to(lumetra));
    UpdateItems("video", MediaKind::kVideo, changes, gone, to(lumetra));
    UpdateItems("video_file", MediaKind::kVideo, changes, gone, to(sibling));
    if (RemembersPassedOver(lumetra)) {
      UpdatePassedOver("passed_over", changes, gone, to(lumetra));
    }
    // In this order: `Files` tells what is not yet in "lumetra".
    sibling.Run("COMMIT");
    lumetra.Run("COMMIT");
  }

  void ForEachItem(MediaKind kind, const std::function<void(const Item&)>& visit) override {
    const Result rows = Session(conninfo_, "lumetra").Run(ItemsOf(kind));
    for (int row = 0; row < PQntuples(rows.get()); ++row) {
      const auto text = [&](int column) { return PQgetvalue(rows.get(), row, column); };
      visit({Number(rows.get(), row, 0), text(1), text(2), text(3), text(4),
             Number(rows.get(), row, 5)});
    }
  }

 private:
  static std::int64_t Number(const PGresult* rows, int row, int column) {
    return std::stoll(PQgetvalue(rows, row, column));
  }

  /// A database that an older packaging/postgresql.sql made lacks the table; only the server's
  /// administrator can add it.
  static bool RemembersPassedOver(Session& lumetra) {
    const Result answer = lumetra.Run("SELECT to_regclass('passed_over') IS NOT NULL");
    return std::string(PQgetvalue(answer.get(), 0, 0)) == "t";
  }

  const std::string conninfo_;
};

}  // namespace

std::unique_ptr<Library> OpenPostgresqlLibrary(const std::string& conninfo) {
  return std::make_unique<PostgresqlLibrary>(conninfo);
}
