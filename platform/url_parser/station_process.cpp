#include "platform/url_parser/station_process.h"

#include <grp.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>

#include "platform/module/module.h"
#include "platform/sysutil/answer.h"
#include "platform/url_parser/address.h"
#include "platform/url_parser/station_module.h"

namespace {

constexpr std::chrono::milliseconds kLimit{5000};
constexpr uid_t kNobody = 65534;

bool DropRoot() {
  const bool root = getuid() == 0;
  const uid_t uid = root ? kNobody : getuid();
  const gid_t gid = root ? kNobody : getgid();
  // The groups are those of the real user, so they may stay unless that is root.
  if (root && setgroups(0, nullptr) != 0) return false;
  return setresgid(gid, gid, gid) == 0 && setresuid(uid, uid, uid) == 0 && setuid(0) != 0 &&
         prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
}

/// The module's libraries only start once nothing is left to take.
std::string Resolve(const char* address) {
  if (!DropRoot() || clearenv() != 0) return {};
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  auto* resolve = reinterpret_cast<ResolveStationFunction*>(
      LoadModuleFunction(kStationModule, kResolveStation));
  std::array<char, kLongestAddress + 1> url{};
  const bool resolved =
      resolve != nullptr && resolve(address, url.data(), static_cast<int>(url.size())) == 0;
  return resolved ? url.data() : "";
}

}  // namespace

std::string ResolveStation(const char* address) {
  const std::string found = AnswerOf([address] { return Resolve(address); }, kLimit).value_or("");
  // Who took the process over could answer with a local file.
  return IsNetworkAddress(found) ? found : std::string();
}
