#include "tools/media_index/interrupt.h"

#include <csignal>
#include <initializer_list>

namespace {

volatile std::sig_atomic_t came = 0;

}  // namespace

void NoteInterrupts() {
  struct sigaction action {};
  action.sa_handler = [](int signal) { came = signal; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);  // nohup(1)
  }
}

int Interrupted() { return came; }

void EndByInterrupt() {
  if (came == 0) return;
  std::signal(came, SIG_DFL);
  std::raise(came);
}
