#include "platform/confinement/call_rules.h"

#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <vector>

#include "platform/confinement/call_filters.h"

bool ConfineCalls(bool network) {
  const auto made = network ? kNetworkCalls : kLocalCalls;
  std::vector<sock_filter> instructions(made.begin(), made.end());
  for (sock_filter& each : instructions) {
    if (each.k == kOwnProcess) each.k = static_cast<std::uint32_t>(getpid());
  }
  const sock_fprog filter{static_cast<unsigned short>(instructions.size()), instructions.data()};
  return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}
