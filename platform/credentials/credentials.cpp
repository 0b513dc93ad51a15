#include "platform/credentials/credentials.h"

#include <grp.h>
#include <nss.h>
#include <pwd.h>
#include <unistd.h>

#include <cstring>
#include <optional>
#include <vector>

namespace {

using Groups = std::vector<gid_t>;

std::optional<Groups> CurrentGroups() {
  Groups groups(static_cast<std::size_t>(getgroups(0, nullptr)));
  const int count = getgroups(static_cast<int>(groups.size()), groups.data());
  if (count < 0) return std::nullopt;
  groups.resize(static_cast<std::size_t>(count));
  return groups;
}

// The supplementary groups to restore on the way back to root.
std::optional<Groups> groupsBefore;

bool RestoreGroups() {
  if (groupsBefore && setgroups(groupsBefore->size(), groupsBefore->data()) != 0) return false;
  groupsBefore.reset();
  return true;
}

int BecomeRoot() { return seteuid(0) == 0 && setegid(0) == 0 && RestoreGroups() ? 0 : -1; }

}  // namespace

int ResetCredentialsByName(const char* name, int) {
  // The way back depends on nothing that could fail.
  if (std::strcmp(name, "root") == 0) return BecomeRoot();
  const passwd* user = getpwnam(name);
  if (user == nullptr) return -1;

  // The packages' users are the system's own, and so are their groups. Asking further sources costs
  // more than the rest of the lookup: the one of systemd is loaded and asks the service manager.
  __nss_configure_lookup("initgroups", "files");
  const gid_t groupBefore = getegid();
  if (!groupsBefore) groupsBefore = CurrentGroups();
  if (!groupsBefore || initgroups(name, user->pw_gid) != 0) return -1;
  if (setegid(user->pw_gid) == 0 && seteuid(user->pw_uid) == 0) return 0;
  // Still root here: the user id changes last.
  static_cast<void>(setegid(groupBefore) == 0 && RestoreGroups());
  return -1;
}
