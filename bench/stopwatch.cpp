// Times processes from their start, for measure.py. Each function starts the program argv[0] with
// posix_spawn(3), with standard error closed, and has waited for its end when it returns. Times
// are seconds; a negative one tells that something went wrong.

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/sysutil/descriptor.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

using Clock = std::chrono::steady_clock;
using Texts = const char* const*;

double Since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

pid_t Start(Texts argv, Texts environment, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  posix_spawn(&child, argv[0], &actions, nullptr, const_cast<char* const*>(argv),
              const_cast<char* const*>(environment));
  posix_spawn_file_actions_destroy(&actions);
  return child;
}

bool Succeeded(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return status == 0;
}

/// A program with its output, of which the header block, if it writes one, does not count.
class Output {
 public:
  Output(Texts argv, Texts environment, bool header) : inHeader_(header), start_(Clock::now()) {
    Descriptor input;
    OpenPipe(pipe_, input);
    child_ = Start(argv, environment, input.get());
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() {
    if (child_ < 0) return;
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }

  /// Reads once; false at the end of the output.
  bool Read() {
    static std::array<char, 256 * 1024> buffer;
    const ssize_t count = read(pipe_.get(), buffer.data(), buffer.size());
    if (count <= 0) return false;
    std::string_view text(buffer.data(), static_cast<std::size_t>(count));
    if (inHeader_) {
      if (headerTime < 0) headerTime = Since(start_);
      const auto end = text.find("\r\n\r\n");  // it comes in one piece
      inHeader_ = end == text.npos;
      text.remove_prefix(inHeader_ ? text.size() : end + 4);
    }
    if (!text.empty() && bodyTime < 0) bodyTime = Since(start_);
    bytes += static_cast<long>(text.size());
    return true;
  }
  /// The program's end, when it has come by itself.
  bool Finish() { return Succeeded(std::exchange(child_, -1)); }
  double Elapsed() const { return Since(start_); }
  int descriptor() const { return pipe_.get(); }

  double headerTime = -1;
  double bodyTime = -1;
  long bytes = 0;

 private:
  Descriptor pipe_;
  pid_t child_ = -1;
  bool inHeader_;
  Clock::time_point start_;
};

}  // namespace

/// Until the program has ended, its output dropped.
EXPORTED double WholeRun(Texts argv, Texts environment) {
  const Descriptor null(open("/dev/null", O_WRONLY | O_CLOEXEC));
  const auto start = Clock::now();
  const pid_t child = Start(argv, environment, null.get());
  return Succeeded(child) ? Since(start) : -1;
}

/// Until the first body byte; until the header block in `*header`, if the program writes one.
EXPORTED double FirstByte(Texts argv, Texts environment, bool hasHeader, double* header) {
  Output output(argv, environment, hasHeader);
  while (output.bodyTime < 0 && output.Read()) continue;
  *header = output.headerTime;
  return output.bodyTime;
}

/// Until the program has ended and all of its output is read; how many body bytes, in `*bytes`.
EXPORTED double Drain(Texts argv, Texts environment, bool hasHeader, long* bytes) {
  Output output(argv, environment, hasHeader);
  while (output.Read()) continue;
  *bytes = output.bytes;
  return output.Finish() ? output.Elapsed() : -1;
}

/// The first body bytes of `count` programs at once, in `times`; what they put out is read.
EXPORTED void ManyFirstBytes(Texts argv, Texts environment, bool hasHeader, int count,
                             double* times) {
  std::vector<std::unique_ptr<Output>> outputs;
  std::vector<pollfd> ready;
  for (int i = 0; i < count; ++i) {
    outputs.push_back(std::make_unique<Output>(argv, environment, hasHeader));
    ready.push_back({outputs.back()->descriptor(), POLLIN, 0});
  }
  for (int missing = count; missing > 0;) {
    poll(ready.data(), ready.size(), -1);
    for (std::size_t i = 0; i < outputs.size(); ++i) {
      if (ready[i].fd < 0 || ready[i].revents == 0) continue;
      const bool before = outputs[i]->bodyTime < 0;
      const bool more = outputs[i]->Read();
      if (!more) ready[i].fd = -1;
      if (before && (outputs[i]->bodyTime >= 0 || !more)) --missing;
    }
  }
  for (std::size_t i = 0; i < outputs.size(); ++i) times[i] = outputs[i]->bodyTime;
}
