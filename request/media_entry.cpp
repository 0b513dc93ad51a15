// The lookup of the requested item in the media database.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/credentials/credentials.h"
#include "platform/database/database.h"
#include "request/run_as_guard.h"
#include "request/transcoder.h"

namespace {

constexpr LogPosition kConnect{"transcoder", 91};

using Connection = std::unique_ptr<ORVADBConnection, decltype(&ORVADBClose)>;
using Result = std::unique_ptr<ORVADBResult, decltype(&ORVADBFreeResult)>;

/// The database knows its users by the names of the system users that own the packages, so the
/// process is that user while it connects.
Connection ConnectAs(const char* user, const char* database) {
  Connection connection(nullptr, &ORVADBClose);
  IF_RUN_AS(0, 0, kConnect) {
    ResetCredentialsByName(user, 1);
    connection.reset(ORVADBPConnect(nullptr, user, nullptr, database));
    ResetCredentialsByName("root", 1);
  }
  return connection;
}

std::int32_t ToInteger(const char* text) {
  return text == nullptr ? 0 : static_cast<std::int32_t>(std::strtol(text, nullptr, 10));
}

}  // namespace

bool Transcoder::LookupMediaEntry() {
  const Connection connection =
      isVistrel ? ConnectAs("Vistrel", "video_metadata") : ConnectAs("Lumetra", "lumetra");
  if (connection == nullptr) return false;

  std::array<char, 128> query;
  if (isVistrel) {
    std::snprintf(query.data(), query.size(), "SELECT * from video_file where id = %d", id);
  } else {
    std::snprintf(query.data(), query.size(), "SELECT * from %s where id = %d",
                  isVideo ? "video" : "music", id);
  }
  ORVADBResult* rows = nullptr;
  const int executed = ORVADBExecute(connection.get(), query.data(), &rows);
  const Result result(rows, &ORVADBFreeResult);
  std::int32_t row = 0;
  if (executed != 0 || ORVADBFetchRow(result.get(), &row) != 0) return false;

  // A value handed out is good only until the next one is fetched.
  const char* text = ORVADBFetchField(result.get(), row, "path");
  if (text == nullptr) return false;
  std::string foundPath = text;
  channels = ToInteger(ORVADBFetchField(result.get(), row, "channel"));
  sampleRate = ToInteger(ORVADBFetchField(result.get(), row, "frequency"));
  duration = ToInteger(ORVADBFetchField(result.get(), row, "duration"));
  bitsPerSample = isVideo || isVistrel ? 0 : 16;
  path = std::move(foundPath);
  if (const auto dot = path.rfind('.'); dot != std::string::npos) extension = path.substr(dot + 1);
  return true;
}
