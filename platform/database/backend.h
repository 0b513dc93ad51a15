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
