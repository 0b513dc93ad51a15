#include "platform/sysutil/answer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <exception>

#include "platform/sysutil/descriptor.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kLargestAnswer = 64 * 1024;
constexpr char kEnd = '\n';  // after a whole answer

bool WriteAll(int output, const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = write(output, text.data() + written, text.size() - written);
    if (count < 0 && errno != EINTR) return false;
    written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  return true;
}

/// The child's whole life. Not exit at its end: the parent's unwritten output is in it too.
[[noreturn]] void Work(const std::function<std::string()>& work, int output,
                       milliseconds limit) noexcept {
  // Should this process's parent be gone when its time is up. A parent-death signal would be
  // quicker, but any change of ids takes it away.
  alarm(static_cast<unsigned>(std::chrono::ceil<std::chrono::seconds>(limit).count()) + 1);
  closelog();  // its descriptor goes too
  const int null = open("/dev/null", O_RDWR);
  if (dup2(null, STDIN_FILENO) < 0 || dup2(output, STDOUT_FILENO) < 0 ||
      close_range(STDERR_FILENO + 1, ~0U, 0) != 0) {
    _exit(1);
  }
  try {
    _exit(WriteAll(STDOUT_FILENO, work() + kEnd) ? 0 : 1);
  } catch (const std::exception&) {
    _exit(1);
  }
}

/// What the child writes until it closes its end; nothing when that takes too long or is too much.
std::optional<std::string> Receive(int input, steady_clock::time_point deadline) {
  std::string text;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    pollfd ready{input, POLLIN, 0};
    const int polled = poll(&ready, 1, std::max(0, static_cast<int>(left.count())));
    if (polled < 0 && errno == EINTR) continue;
    if (polled <= 0) return std::nullopt;
    std::array<char, 4096> block;
    const ssize_t count = read(input, block.data(), block.size());
    if (count == 0) return text;
    if (count < 0) return std::nullopt;
    text.append(block.data(), static_cast<std::size_t>(count));
    if (text.size() > kLargestAnswer) return std::nullopt;
  }
}

}  // namespace

std::optional<std::string> AnswerOf(const std::function<std::string()>& work, milliseconds limit) {
  const auto deadline = steady_clock::now() + limit;
  Descriptor answer;
  Descriptor input;
  if (!OpenPipe(answer, input)) return std::nullopt;
  const pid_t child = fork();
  if (child < 0) return std::nullopt;
  if (child == 0) Work(work, input.get(), limit);
  input.reset();
  std::optional<std::string> found;
  try {
    found = Receive(answer.get(), deadline);
  } catch (const std::exception&) {
    // Without memory for it there is no answer.
  }
  kill(child, SIGKILL);  // it has answered, or never will
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
  if (!found || !found->ends_with(kEnd)) return std::nullopt;
  found->pop_back();
  return found;
}
