#include "platform/database/database.h"

#include <syslog.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/database/backend.h"
#include "platform/module/module.h"
#include "platform/sysutil/sysutil.h"

namespace {

constexpr char kConfiguration[] = "/etc/orvainfo.conf";
constexpr std::string_view kSqlite = "sqlite:";
constexpr std::string_view kPostgresql = "postgresql:";
constexpr char kDefault[] = "sqlite:" PACKAGE_DIR "/var";

/// What the configuration names; nothing when it cannot be told, for then the default may be wrong.
std::optional<std::string> ConfiguredDatabase() {
  std::array<char, 1024> value{};
  errno = 0;
  const int found = OLIBCFileGetKeyValue(kConfiguration, "mediadb", value.data(), value.size(), 0);
  if (found > 0) return value.data();
  if (found == 0 || errno == ENOENT) return kDefault;
  syslog(LOG_ERR, "%s:%d cannot read %s: %s", "database", 20, kConfiguration, std::strerror(errno));
  return std::nullopt;
}

ORVADBConnection* ConnectPostgresql(const char* conninfo, const char* user, const char* database) {
  auto* connect = reinterpret_cast<ConnectPostgresqlFunction*>(
      LoadModuleFunction(kPostgresqlModule, kConnectPostgresql));
  return connect == nullptr ? nullptr : connect(conninfo, user, database);
}

}  // namespace

ORVADBConnection* ORVADBPConnect(const char*, const char* user, const char*, const char* database) {
  const std::optional<std::string> found = ConfiguredDatabase();
  if (!found) return nullptr;
  const std::string& configured = *found;
  if (configured.starts_with(kSqlite)) {
    return ConnectSqlite(configured.substr(kSqlite.size()), database).release();
  }
  if (configured.starts_with(kPostgresql)) {
    return ConnectPostgresql(configured.c_str() + kPostgresql.size(), user, database);
  }
  syslog(LOG_ERR, "%s:%d %s: unknown mediadb [%s]", "database", 10, kConfiguration,
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
