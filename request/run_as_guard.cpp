#include "request/run_as_guard.h"

#include <syslog.h>
#include <unistd.h>

namespace {

constexpr uid_t kKeepUid = static_cast<uid_t>(-1);
constexpr gid_t kKeepGid = static_cast<gid_t>(-1);

bool SwitchEffectiveIds(uid_t uid, gid_t gid) {
  const uid_t currentUid = geteuid();
  const gid_t currentGid = getegid();
  if (currentUid == uid && currentGid == gid) return true;
  // Only root may take any group or user id, so root comes first and the target user last.
  if (currentUid != 0 && currentUid != uid && setresuid(kKeepUid, 0, kKeepUid) < 0) return false;
  if (currentGid != gid && gid != kKeepGid && setresgid(kKeepGid, gid, kKeepGid) != 0) return false;
  if (currentUid != uid && uid != kKeepUid && setresuid(kKeepUid, uid, kKeepUid) != 0) return false;
  return true;
}

}  // namespace

RunAsGuard::RunAsGuard(uid_t uid, gid_t gid, LogPosition at)
    : savedUid_(geteuid()),
      savedGid_(getegid()),
      file_(at.file),
      line_(at.line),
      name_("IF_RUN_AS"),
      ok_(SwitchEffectiveIds(uid, gid)) {
  if (ok_) return;
  syslog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: %s(%d, %d)", file_, line_, name_, static_cast<int>(uid),
         static_cast<int>(gid));
  syslog(LOG_ERR, "%s:%d Permission denied", file_, line_);
}

RunAsGuard::~RunAsGuard() {
  if (SwitchEffectiveIds(savedUid_, savedGid_)) return;
  syslog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: ~%s(%d, %d)", file_, line_, name_,
         static_cast<int>(savedUid_), static_cast<int>(savedGid_));
}
