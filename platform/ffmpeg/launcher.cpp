// Stands at the place of the media server's ffmpeg and starts the system's in its stead.

#include <grp.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "platform/ffmpeg/options.h"
#include "platform/sysutil/sysutil.h"

namespace {

std::string SystemFfmpeg() {
  std::array<char, 1024> value{};
  const int found =
      OLIBCFileGetKeyValue("/etc/orvainfo.conf", "ffmpeg", value.data(), value.size(), 0);
  return found > 0 ? value.data() : "/usr/bin/ffmpeg";
}

/// Libraries of the system's ffmpeg give up root for good when the ids differ, so they may not.
bool SettleIds() {
  const uid_t uid = geteuid();
  const gid_t gid = getegid();
  return setresgid(gid, gid, gid) == 0 && setresuid(uid, uid, uid) == 0;
}

}  // namespace

int main(int count, char** values) {
  if (!SettleIds()) {
    syslog(LOG_ERR, "ffmpeg:%d cannot settle the ids: %s", __LINE__, std::strerror(errno));
    return 1;
  }
  const std::string program = SystemFfmpeg();
  std::vector<std::string> options = TranslateOptions({values + 1, values + std::max(count, 1)});
  std::vector<char*> arguments{const_cast<char*>(program.c_str())};
  for (std::string& option : options) arguments.push_back(option.data());
  arguments.push_back(nullptr);
  const char* const environment[] = {"PATH=/usr/bin:/bin", nullptr};
  execve(program.c_str(), arguments.data(), const_cast<char* const*>(environment));
  syslog(LOG_ERR, "ffmpeg:%d cannot start %s: %s", __LINE__, program.c_str(), std::strerror(errno));
  return 127;
}
