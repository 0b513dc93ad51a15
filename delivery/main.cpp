// The CGI program: one process, one request.

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <exception>
#include <initializer_list>
#include <string_view>

#include "delivery/driver.h"

namespace {

constexpr std::array<std::string_view, 7> kRequestVariables = {
    "CONTENT_LENGTH=", "CONTENT_TYPE=",   "HTTP_IF_RANGE=", "HTTP_RANGE=",
    "QUERY_STRING=",   "REQUEST_METHOD=", "REQUEST_URI="};

/// Whoever starts a set-user-ID program chooses its environment, and libraries obey much of it, as
/// libpq does PGHOST. Only what describes the request stays.
void KeepRequestVariables() {
  char** kept = environ;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    if (std::any_of(kRequestVariables.begin(), kRequestVariables.end(),
                    [&](std::string_view name) { return text.starts_with(name); })) {
      *kept++ = *variable;
    }
  }
  *kept = nullptr;
}

/// Descriptors 0 to 2 are open, whatever the server left closed: nothing else may take their place.
void FillStandardDescriptors() {
  int descriptor;
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor >= 0) close(descriptor);
}

/// A client that left ends the process, and a child that ended can be reaped, also when the server
/// ignores or blocks the signals of that.
void RestoreSignals() {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  for (const int number : {SIGPIPE, SIGTERM, SIGHUP, SIGINT, SIGALRM, SIGCHLD}) {
    std::signal(number, SIG_DFL);
  }
}

}  // namespace

int main() {
  KeepRequestVariables();
  FillStandardDescriptors();
  RestoreSignals();
  try {
    ServeRequest();
  } catch (const std::exception& failure) {
    syslog(LOG_ERR, "%s:%d %s", "main", 10, failure.what());
  }
  return 0;
}
