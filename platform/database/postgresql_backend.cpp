#include <libpq-fe.h>
#include <poll.h>
#include <strings.h>
#include <syslog.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <exception>
#include <utility>

#include "platform/database/backend.h"

extern "C" __attribute__((visibility("default"))) ConnectPostgresqlFunction OrvaConnectPostgresql;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{2};
// Asking for Kerberos would be the one step of connecting that blocks.
constexpr char kDefaults[] = "gssencmode=disable ";

struct FinishConnection {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};
struct ClearResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Connection = std::unique_ptr<PGconn, FinishConnection>;
using Result = std::unique_ptr<PGresult, ClearResult>;

/// A connection with the time that is left for all it does.
class Session {
 public:
  Session(const char* conninfo, const char* user, const char* database) {
    const std::string keywords = std::string(kDefaults) + conninfo;
    // The first "dbname" is spread into the keywords in it; what follows overrides them.
    const std::array<const char*, 4> names = {"dbname", "dbname", "user", nullptr};
    const std::array<const char*, 4> values = {keywords.c_str(), database, user, nullptr};
    connection_.reset(PQconnectStartParams(names.data(), values.data(), 1));
    // By default notices go to standard error, the web server's log.
    PQsetNoticeReceiver(
        connection_.get(), [](void*, const PGresult*) {}, nullptr);
  }

  bool Connect() {
    if (PQstatus(connection_.get()) == CONNECTION_BAD) return false;
    for (auto step = PGRES_POLLING_WRITING; step != PGRES_POLLING_OK;) {
      if (step == PGRES_POLLING_FAILED) return false;
      if (!Await(step == PGRES_POLLING_READING ? POLLIN : POLLOUT)) return false;
      step = PQconnectPoll(connection_.get());
    }
    return PQsetnonblocking(connection_.get(), 1) == 0;
  }

  bool Send(const char* query) { return PQsendQuery(connection_.get(), query) == 1; }

  /// The next result of the query; null after the last one, or when the time is up.
  Result Receive() {
    for (;;) {
      const int unsent = PQflush(connection_.get());
      if (unsent < 0) return nullptr;
      if (unsent == 0 && PQisBusy(connection_.get()) == 0) {
        return Result(PQgetResult(connection_.get()));
      }
      if (!Await(unsent == 0 ? POLLIN : POLLIN | POLLOUT)) return nullptr;
      if (PQconsumeInput(connection_.get()) == 0) return nullptr;
    }
  }

  void LogFailure(int line) const {
    syslog(LOG_ERR, "%s:%d %s%s", "postgresql_backend", line, PQerrorMessage(connection_.get()),
           late_ ? "no answer in time" : "");
  }

 private:
  /// Waits until the server's socket is ready for `events`; false when the time is up.
  bool Await(int events) {
    pollfd socket{PQsocket(connection_.get()), static_cast<short>(events), 0};
    for (;;) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
      late_ = left <= 0;
      if (late_) return false;
      const int ready = poll(&socket, 1, static_cast<int>(left));
      if (ready > 0) return true;
      if (ready < 0 && errno != EINTR) return false;
    }
  }

  const Clock::time_point end_ = Clock::now() + kPatience;
  bool late_ = false;
  Connection connection_;
};

class PostgresqlResult final : public ORVADBResult {
 public:
  explicit PostgresqlResult(Result result) : result_(std::move(result)) {}

  bool NextRow() override { return row + 1 < PQntuples(result_.get()); }

  const char* Field(const char* column) override {
    // Not PQfnumber, which finds only names in lower case.
    for (int i = 0; i < PQnfields(result_.get()); ++i) {
      if (strcasecmp(PQfname(result_.get(), i), column) != 0) continue;
      const bool null = PQgetisnull(result_.get(), row, i) == 1;
      return null ? nullptr : PQgetvalue(result_.get(), row, i);
    }
    return nullptr;
  }

 private:
  Result result_;
};

class PostgresqlConnection final : public ORVADBConnection {
 public:
  explicit PostgresqlConnection(Session session) : session_(std::move(session)) {}

  std::unique_ptr<ORVADBResult> Execute(const char* query) override {
    try {
      Result result = session_.Send(query) ? session_.Receive() : nullptr;
      const ExecStatusType status = PQresultStatus(result.get());  // of null: a fatal error
      if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) {
        while (session_.Receive() != nullptr) continue;
        return std::make_unique<PostgresqlResult>(std::move(result));
      }
      session_.LogFailure(10);
    } catch (const std::exception& failure) {
      syslog(LOG_ERR, "%s:%d %s", "postgresql_backend", 20, failure.what());
    }
    return nullptr;
  }

 private:
  Session session_;
};

}  // namespace

ORVADBConnection* OrvaConnectPostgresql(const char* conninfo, const char* user,
                                        const char* database) {
  try {
    Session session(conninfo, user, database);
    if (session.Connect()) {
      return std::make_unique<PostgresqlConnection>(std::move(session)).release();
    }
    session.LogFailure(30);
  } catch (const std::exception& failure) {
    syslog(LOG_ERR, "%s:%d %s", "postgresql_backend", 40, failure.what());
  }
  return nullptr;
}
