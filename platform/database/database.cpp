#include "platform/database/database.h"

#include <syslog.h>

#include <array>
#include <string_view>

#include "platform/database/backend.h"
#include "platform/module/module.h"
#include "platform/sysutil/sysutil.h"

namespace {

constexpr char kConfiguration[] = "/etc/orvainfo.conf";
constexpr std::string_view kSqlite = "sqlite:";
constexpr std::string_view kPostgresql = "postgresql:";
constexpr char kDefault[] = "sqlite:" PACKAGE_DIR "/var";

std::string ConfiguredDatabase() {
  std::array<char, 1024> value{};
  const int found = OLIBCFileGetKeyValue(kConfiguration, "mediadb", value.data(), value.size(), 0);
  return found > 0 ? value.data() : kDefault;
}

ORVADBConnection* ConnectPostgresql(const char* conninfo, const char* user, const char* database) {
  auto* connect = reinterpret_cast<ConnectPostgresqlFunction*>(
      LoadModuleFunction(kPostgresqlModule, kConnectPostgresql));
  return connect == nullptr ? nullptr : connect(conninfo, user, database);
}

}  // namespace

ORVADBConnection* ORVADBPConnect(const char*, const char* user, const char*, const char* database) {
  const std::string configured = ConfiguredDatabase();
  if (configured.starts_with(kSqlite)) {
    return ConnectSqlite(configured.substr(kSqlite.size()), database).release();
  }
  if (configured.starts_with(kPostgresql)) {
    return ConnectPostgresql(configured.c_str() + kPostgresql.size(), user, database);
  }
  syslog(LOG_ERR, "database:%d %s: unknown mediadb [%s]", __LINE__, kConfiguration,
         configured.c_str());
  return nullptr;
}

int ORVADBExecute(ORVADBConnection* connection, const char* query, ORVADBResult** result) {
  *result = connection->Execute(query).release();
  return *result == nullptr ? -1 : 0;
}

int ORVADBFetchRow(ORVADBResult* result, std::int32_t* row) {
  if (!result->NextRow()) return -1;
  *row = ++result->row;
  return 0;
}

const char* ORVADBFetchField(ORVADBResult* result, std::int32_t row, const char* column) {
  return row == result->row ? result->Field(column) : nullptr;
}

void ORVADBFreeResult(ORVADBResult* result) { delete result; }

void ORVADBClose(ORVADBConnection* connection) { delete connection; }
