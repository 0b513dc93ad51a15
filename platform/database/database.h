#pragma once

#include <cstdint>

/// An open connection, and the rows of one query.
struct ORVADBConnection;
struct ORVADBResult;

/// Opens the media database `database` as the database user `user`; the first and third arguments
/// are always null. Which backend answers is the key "mediadb" of the system configuration:
///
/// - `sqlite:DIRECTORY` reads the file DIRECTORY/`database`.db, read-only, opened here and now with
///   the process's present credentials. Waits at most 2 s for a lock.
/// - `postgresql:CONNINFO` asks a PostgreSQL server. CONNINFO holds libpq's keywords, such as
///   `host=/run/postgresql` or `host=nas sslmode=verify-full`; it may be empty. Over a Unix socket
///   the server knows the process by its effective user ("peer" authentication). All has to be over
///   2 s after the call, the queries too; only the look-up of a host name is not limited. What
///   libpq obeys in the environment is for the program to remove at its start.
///
/// Returns a connection for `ORVADBClose`; null, with an error in the log, when there is none.
ORVADBConnection* ORVADBPConnect(const char*, const char* user, const char*, const char* database);

/// Runs one query. Returns 0 and a result for `ORVADBFreeResult`; another value, with an error in
/// the log and `*result` null, when it fails.
int ORVADBExecute(ORVADBConnection* connection, const char* query, ORVADBResult** result);

/// Makes the next row current and stores its number, counted from 0, in `*row`. Returns 0; another
/// value when there is no further row or reading it fails.
int ORVADBFetchRow(ORVADBResult* result, std::int32_t* row);

/// The current row's value in the named column (SQL names: any case) as NUL-terminated text; null
/// when it is NULL, there is no such column or `row` is not the current one. The text belongs to
/// the result and lives until the next fetch.
const char* ORVADBFetchField(ORVADBResult* result, std::int32_t row, const char* column);

/// Releases a result, before its connection. Null is allowed.
void ORVADBFreeResult(ORVADBResult* result);

/// Closes a connection. Null is allowed.
void ORVADBClose(ORVADBConnection* connection);
