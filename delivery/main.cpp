// The CGI program: one process, one request.

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <initializer_list>

#include "delivery/driver.h"

namespace {

/// Descriptors 0 to 2 are open, whatever the server left closed: nothing else may take their place.
void FillStandardDescriptors() {
  int descriptor;
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor >= 0) close(descriptor);
}

/// A client that left ends the process, also when the server ignores or blocks the signals of that.
void RestoreSignals() {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  for (const int number : {SIGPIPE, SIGTERM, SIGHUP, SIGINT, SIGCHLD}) {
    std::signal(number, SIG_DFL);
  }
}

}  // namespace

int main() {
  FillStandardDescriptors();
  RestoreSignals();
  try {
    ServeRequest();
  } catch (const std::exception& failure) {
    syslog(LOG_ERR, "main:%d %s", __LINE__, failure.what());
  }
  return 0;
}
