// Stands at the place of the media server's ffmpeg: leaves root, confines itself to the one
// conversion and becomes the configured ffmpeg, the one that starts at once where it is installed
// (packaging/ffmpeg/build), or the system's.

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include "platform/confinement/rights.h"
#include "platform/confinement/sandbox.h"
#include "platform/ffmpeg/options.h"
#include "platform/sysutil/sysutil.h"

namespace {

constexpr char kFast[] = PACKAGE_DIR "/target/bin/ffmpeg-fast";

/// The converter that the configuration names; empty when it names none.
std::string ConfiguredConverter() {
  std::array<char, 1024> value{};
  const int found =
      OLIBCFileGetKeyValue("/etc/orvainfo.conf", "ffmpeg", value.data(), value.size(), 0);
  return found > 0 ? value.data() : "";
}

}  // namespace

int main(int count, char** values) {
  const std::vector<std::string> arguments(values + std::min(count, 1), values + count);
  std::string program = ConfiguredConverter();
  const std::string input = LocalInput(arguments);
  // Standard error would be the web server's log, to be emptied by whoever takes ffmpeg over.
  if (dup2(open("/dev/null", O_RDWR), STDERR_FILENO) < 0 || chdir("/") != 0) return 1;
  close_range(STDERR_FILENO + 1, ~0U, 0);
  openlog("ffmpeg", LOG_NDELAY, LOG_USER);  // for once confined there may be no socket
  umask(077);
  if (!LeaveRoot(input)) return 1;
  // As the user that will execute it.
  if (program.empty()) program = access(kFast, X_OK) == 0 ? kFast : "/usr/bin/ffmpeg";
  Needs needs{.program = program, .files = {}, .network = input.empty()};
  if (!input.empty()) needs.files.push_back(input);
  ConfineTo(needs);

  std::vector<std::string> options = TranslateOptions(arguments);
  std::vector<char*> started{const_cast<char*>(program.c_str())};
  for (std::string& option : options) started.push_back(option.data());
  started.push_back(nullptr);
  // Variables such as FFREPORT would have files written.
  const char* const environment[] = {"PATH=/usr/bin:/bin", nullptr};
  // When the client has left there is nobody to write to, and a silent station would never write.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  execve(program.c_str(), started.data(), const_cast<char* const*>(environment));
  syslog(LOG_ERR, "%s:%d cannot start %s: %s", "launcher", 10, program.c_str(),
         std::strerror(errno));
  return 127;
}
