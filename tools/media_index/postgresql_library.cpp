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
    const Result rows = Session(conninfo_, "lumetra").Run(kFilesStatement);
    for (int row = 0; row < PQntuples(rows.get()); ++row) {
      files.insert_or_assign(PQgetvalue(rows.get(), row, 0),
                             State{std::stoll(PQgetvalue(rows.get(), row, 1)),
                                   std::stoll(PQgetvalue(rows.get(), row, 2))});
    }
    return files;
  }

  void Apply(const std::vector<Change>& changes, const std::set<std::string>& gone) override {
    Session lumetra(conninfo_, "lumetra");
    Session sibling(conninfo_, "video_metadata");
    const auto update = [&](Session& session, const std::string& table, MediaKind kind) {
      UpdateTable(table, kind, changes, gone,
                  [&session](const auto& statement, const auto& values) {
                    session.Run(statement, values);
                  });
    };
    lumetra.Run("BEGIN");
    sibling.Run("BEGIN");
    // Another run waits here; readers do not.
    lumetra.Run("LOCK TABLE music, video IN SHARE ROW EXCLUSIVE MODE");
    update(lumetra, "music", MediaKind::kMusic);
    update(lumetra, "video", MediaKind::kVideo);
    update(sibling, "video_file", MediaKind::kVideo);
    // In this order: `Files` tells what is not yet in "lumetra".
    sibling.Run("COMMIT");
    lumetra.Run("COMMIT");
  }

 private:
  const std::string conninfo_;
};

}  // namespace

std::unique_ptr<Library> OpenPostgresqlLibrary(const std::string& conninfo) {
  return std::make_unique<PostgresqlLibrary>(conninfo);
}
