#include "platform/url_parser/station_process.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "platform/module/module.h"
#include "platform/sysutil/descriptor.h"
#include "platform/url_parser/address.h"
#include "platform/url_parser/station_module.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLimit{5000};
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

/// The child's whole life. The module's libraries only start once nothing is left to take.
[[noreturn]] void Resolve(const char* address, int output) noexcept {
  closelog();  // its descriptor goes too
  const int null = open("/dev/null", O_RDWR);
  if (dup2(null, STDIN_FILENO) < 0 || dup2(output, STDOUT_FILENO) < 0 ||
      close_range(STDERR_FILENO + 1, ~0U, 0) != 0 || !DropRoot() || clearenv() != 0) {
    _exit(1);
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  auto* resolve = reinterpret_cast<ResolveStationFunction*>(
      LoadModuleFunction(kStationModule, kResolveStation));
  std::array<char, kLongestAddress + 1> url{};
  if (resolve != nullptr && resolve(address, url.data(), static_cast<int>(url.size())) == 0) {
    static_cast<void>(!write(STDOUT_FILENO, url.data(), std::strlen(url.data())));
  }
  // Not exit: the parent's unwritten output is in this process too.
  _exit(0);
}

/// What the child writes until it ends; nothing when that takes too long or is too much.
std::string Receive(int input, steady_clock::time_point deadline) {
  std::string text;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    pollfd ready{input, POLLIN, 0};
    const int polled = poll(&ready, 1, std::max(0, static_cast<int>(left.count())));
    if (polled < 0 && errno == EINTR) continue;
    if (polled <= 0) return {};
    std::array<char, kLongestAddress + 1> block;
    const ssize_t count = read(input, block.data(), block.size());
    if (count == 0) return text;
    if (count < 0) return {};
    text.append(block.data(), static_cast<std::size_t>(count));
    if (text.size() > kLongestAddress) return {};
  }
}

}  // namespace

std::string ResolveStation(const char* address) {
  const auto deadline = steady_clock::now() + kLimit;
  Descriptor answer;
  Descriptor input;
  if (!OpenPipe(answer, input)) return {};
  const pid_t child = fork();
  if (child == 0) Resolve(address, input.get());
  input.reset();
  std::string found = child < 0 ? std::string() : Receive(answer.get(), deadline);
  if (child > 0) {
    kill(child, SIGKILL);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
  }
  // Who took the child over could answer with a local file, and the converter runs as root.
  return IsNetworkAddress(found) ? found : std::string();
}
