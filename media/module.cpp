#include "media/module.h"

extern "C" {
#include <libavutil/log.h>
}

#include <sys/prctl.h>
#include <syslog.h>

#include <csignal>
#include <exception>

#include "media/utils.h"
#include "platform/confinement/rights.h"
#include "platform/confinement/sandbox.h"

extern "C" __attribute__((visibility("default"))) SelectAudioTrackFunction LumetraSelectAudioTrack;

int LumetraSelectAudioTrack(const char* path, const char* const* copyList,
                            void (*append)(void* context, const char* argument), void* context) {
  av_log_set_level(AV_LOG_QUIET);  // failures are told in the system's log, not on standard error
  openlog(nullptr, LOG_NDELAY, LOG_USER);  // for once confined there is no socket
  try {
    if (!LimitRoot()) return 0;        // better without a track than with all rights
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // now that no id changes any more, which would take it away
    ConfineTo({.program = {}, .files = {path, "/etc/orvainfo.conf"}});
    std::vector<std::string> copied;
    for (; *copyList != nullptr; ++copyList) copied.emplace_back(*copyList);
    std::vector<std::string> arguments;
    SelectAudioTrack(path, copied, arguments);
    for (const std::string& argument : arguments) append(context, argument.c_str());
    return 0;
  } catch (const std::exception&) {
    return -1;
  }
}
