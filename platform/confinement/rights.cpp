#include "platform/confinement/rights.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <memory>

namespace {

constexpr uid_t kNobody = 65534;  // also where /etc/passwd does not tell
constexpr cap_value_t kReadAnyFile = CAP_DAC_READ_SEARCH;

void LeaveNoTraces() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  setrlimit(RLIMIT_FSIZE, &none);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
}

/// All ids of a set-user-ID program's child become the effective ones: libraries that find them
/// different give up root, and the capability with it, at a time of their own.
bool SettleIds() {
  const uid_t uid = geteuid();
  const gid_t gid = getegid();
  return setresgid(gid, gid, gid) == 0 && setresuid(uid, uid, uid) == 0;
}

bool BecomePackageUser() {
  const passwd* user = getpwnam("Lumetra");
  if (user == nullptr || user->pw_uid == 0) user = getpwnam("nobody");
  const uid_t uid = user == nullptr ? kNobody : user->pw_uid;
  const gid_t gid = user == nullptr ? kNobody : user->pw_gid;
  // Without the right to change groups the user must change all the same.
  const bool groups = setgroups(0, nullptr) == 0 && setresgid(gid, gid, gid) == 0;
  if (setresuid(uid, uid, uid) != 0) return false;
  if (!groups) syslog(LOG_ERR, "%s:%d cannot leave root's groups", "rights", 10);
  return geteuid() != 0 && getuid() != 0;
}

/// No program that is executed can get back another capability than the one to keep.
void NarrowBoundingSet() {
  for (cap_value_t each = 0; prctl(PR_CAPBSET_READ, each) >= 0; ++each) {
    if (each != kReadAnyFile) cap_drop_bound(each);
  }
}

/// Sets the process's capabilities, and for programs that it executes the `ambient` ones of them.
bool KeepOnly(std::initializer_list<cap_value_t> kept, bool ambient) {
  const std::unique_ptr<void, decltype(&cap_free)> owner(cap_init(), &cap_free);
  const auto capabilities = static_cast<cap_t>(owner.get());
  if (capabilities == nullptr) return false;
  for (const cap_value_t each : kept) {
    cap_set_flag(capabilities, CAP_PERMITTED, 1, &each, CAP_SET);
    cap_set_flag(capabilities, CAP_EFFECTIVE, 1, &each, CAP_SET);
    if (ambient) cap_set_flag(capabilities, CAP_INHERITABLE, 1, &each, CAP_SET);
  }
  if (cap_set_proc(capabilities) != 0) return false;
  for (const cap_value_t each : kept) {
    if (ambient && cap_set_ambient(each, CAP_SET) != 0) return false;
  }
  return true;
}

}  // namespace

bool LeaveRoot(const std::string& input) {
  LeaveNoTraces();
  if (geteuid() != 0) return true;

  NarrowBoundingSet();
  prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0);
  if (!SettleIds() || !BecomePackageUser()) {
    syslog(LOG_ERR, "%s:%d cannot leave root: %s", "rights", 20, std::strerror(errno));
    return false;
  }
  // The capabilities are not in effect at this point, so this is what the user may read.
  if (input.empty() || faccessat(AT_FDCWD, input.c_str(), R_OK, AT_EACCESS) == 0 ||
      errno == ENOENT) {
    return KeepOnly({}, false);
  }
  if (KeepOnly({kReadAnyFile}, true)) return true;
  syslog(LOG_ERR, "%s:%d goes on without CAP_DAC_READ_SEARCH: %s", "rights", 30,
         std::strerror(errno));
  return KeepOnly({}, false);
}

bool LimitRoot() {
  LeaveNoTraces();
  if (geteuid() != 0) return true;
  // Without the right to it the ids stay as they are; the capabilities go all the same.
  if (setegid(0) != 0 || !SettleIds()) {
    syslog(LOG_ERR, "%s:%d cannot settle the ids: %s", "rights", 40, std::strerror(errno));
  }
  return KeepOnly({kReadAnyFile}, false) || KeepOnly({}, false);
}

bool LeaveRootFor(uid_t user) {
  if (geteuid() != 0) return true;
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  const passwd* known = getpwuid(user);
  const gid_t gid = known == nullptr ? kNobody : known->pw_gid;
  const bool groups =
      (known == nullptr ? setgroups(0, nullptr) : initgroups(known->pw_name, gid)) == 0;
  NarrowBoundingSet();
  prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0);
  if (groups && setresgid(gid, gid, gid) == 0 && setresuid(user, user, user) == 0 &&
      (KeepOnly({kReadAnyFile}, false) || KeepOnly({}, false))) {
    return true;
  }
  syslog(LOG_ERR, "%s:%d cannot leave root: %s", "rights", 50, std::strerror(errno));
  return false;
}
