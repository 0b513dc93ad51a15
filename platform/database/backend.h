#pragma once

#include <memory>
#include <string>

#include "platform/database/database.h"

/// What a database backend implements. Failures are null or false, with an error in the log.
struct ORVADBResult {
  virtual ~ORVADBResult() = default;
  /// Makes the next row current; the first call, the first row. False when there is none.
  virtual bool NextRow() = 0;
  /// The current row's value, or null. Lives until the next call of either operation.
  virtual const char* Field(const char* column) = 0;

  std::int32_t row = -1;  ///< the current row, kept by `ORVADBFetchRow`
};

struct ORVADBConnection {
  virtual ~ORVADBConnection() = default;
  virtual std::unique_ptr<ORVADBResult> Execute(const char* query) = 0;
};

/// Opens `directory`/`database`.db.
std::unique_ptr<ORVADBConnection> ConnectSqlite(const std::string& directory,
                                                const std::string& database);

/// The PostgreSQL module's one function, in plain C so that the module may have a C++ runtime of
/// its own. Connects to `database` as the database user `user`, whatever the libpq keywords in
/// `conninfo` say of these two (libpq, "Parameter Key Words"). Returns a connection to be deleted,
/// or null; neither the function nor the objects throw.
///
/// Connecting and all queries together take at most 2 s; then the query at hand fails. A host name
/// that the resolver takes long over is not counted: resolver calls block (getaddrinfo(3)); a
/// socket directory or `hostaddr` needs none. libpq's files of the user (.pgpass, .postgresql/) are
/// those of the effective one, if HOME is not set.
extern "C" using ConnectPostgresqlFunction =
    ORVADBConnection * (const char* conninfo, const char* user, const char* database);
inline constexpr char kPostgresqlModule[] = "postgresql.so";
inline constexpr char kConnectPostgresql[] = "OrvaConnectPostgresql";
