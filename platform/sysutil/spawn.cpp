#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>

#include "platform/sysutil/descriptor.h"
#include "platform/sysutil/sysutil.h"

namespace {

/// The parameters of posix_spawn(3), which report failures as error numbers.
class SpawnParameters {
 public:
  explicit SpawnParameters(int output) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    Check(posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
    Check(posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO));
    Check(posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
  }
  SpawnParameters(const SpawnParameters&) = delete;
  SpawnParameters& operator=(const SpawnParameters&) = delete;
  ~SpawnParameters() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }

  /// Returns the child's id, or -1, also when the program cannot be executed.
  pid_t Spawn(const char* path, const char* const* argv) {
    // The request's environment is the client's and the server's: nothing of it may steer a
    // program that runs as root.
    const char* const environment[] = {"PATH=/usr/bin:/bin", nullptr};
    pid_t child = -1;
    if (error_ == 0) {
      Check(posix_spawn(&child, path, &actions_, &attributes_, const_cast<char* const*>(argv),
                        const_cast<char* const*>(environment)));
    }
    errno = error_;
    return error_ == 0 ? child : -1;
  }

 private:
  void Check(int result) {
    if (error_ == 0) error_ = result;
  }

  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
  int error_ = 0;
};

std::map<std::FILE*, pid_t>& Children() {
  static std::map<std::FILE*, pid_t> children;
  return children;
}

}  // namespace

std::FILE* OLIBCPopenv(const char* path, const char* mode, const char* const* argv) {
  if (std::strcmp(mode, "r") != 0) {
    errno = EINVAL;
    return nullptr;
  }
  Descriptor output;
  Descriptor input;
  if (!OpenPipe(output, input)) return nullptr;
  // What exceeds the system's limits is refused, and the default size then has to do.
  static_cast<void>(fcntl(output.get(), F_SETPIPE_SZ, kPipeSize));

  const pid_t child = SpawnParameters(input.get()).Spawn(path, argv);
  if (child < 0) return nullptr;
  std::FILE* stream = fdopen(output.get(), "r");
  if (stream == nullptr) return nullptr;
  static_cast<void>(output.release());
  std::setvbuf(stream, nullptr, _IONBF, 0);
  Children().emplace(stream, child);
  return stream;
}

int OLIBCPclose(std::FILE* stream) {
  const auto child = Children().extract(stream);
  const int result = std::fclose(stream);
  if (!child.empty()) waitpid(child.mapped(), nullptr, WNOHANG);
  return result;
}
