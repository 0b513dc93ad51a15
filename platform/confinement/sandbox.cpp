#include "platform/confinement/sandbox.h"

#include <syslog.h>

#include "platform/confinement/call_rules.h"
#include "platform/confinement/file_rules.h"

void ConfineTo(const Needs& needs) {
  const bool files = ConfineFiles(needs);
  const bool calls = ConfineCalls(needs.network);
  if (files && calls) return;
  syslog(LOG_ERR, "%s:%d goes on without%s%s", "sandbox", 10, files ? "" : " Landlock",
         calls ? "" : " seccomp");
}
