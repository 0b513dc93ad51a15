#include "tools/media_index/owner.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>

#include "platform/confinement/rights.h"
#include "platform/sysutil/descriptor.h"

namespace {

void MakeFile(int folder, const char* name, const char* reader, const struct stat& owner) {
  const Descriptor file(
      openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (file.get() < 0) return;  // it is there, or the database will tell
  const group* found = getgrnam(reader);
  const uid_t user = geteuid() == 0 ? owner.st_uid : geteuid();
  const gid_t gid = geteuid() == 0 ? owner.st_gid : getegid();
  const bool forGroup = found != nullptr && fchown(file.get(), geteuid(), found->gr_gid) == 0;
  // In this order: of another's file only CAP_FOWNER changes the mode.
  fchmod(file.get(), forGroup ? 0640 : 0644);
  static_cast<void>(fchown(file.get(), user, forGroup ? found->gr_gid : gid) == 0);
}

}  // namespace

void ActForOwner(const std::string& directory) {
  const Descriptor folder(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat owner;
  if (folder.get() < 0 || fstat(folder.get(), &owner) != 0) return;  // the database will tell
  MakeFile(folder.get(), "lumetra.db", "Lumetra", owner);
  MakeFile(folder.get(), "video_metadata.db", "Vistrel", owner);
  if (owner.st_uid != 0 && !LeaveRootFor(owner.st_uid)) {
    throw std::runtime_error(directory + ": cannot become its owner");
  }
}
