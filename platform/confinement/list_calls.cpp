// list_calls FILE: writes the definitions of the filters for system calls, for the build. Making
// them takes longer than all the rest of a converter's confinement.

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/fs.h>
#include <linux/fsverity.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "platform/confinement/call_filters.h"

namespace {

// What a process that only reads, computes and answers does not do; some of it would lead around
// the rules for files. The last ones are younger than libseccomp's names.
constexpr std::array kForbidden = {
    // Files by other ways, and file systems.
    SCMP_SYS(open_by_handle_at), SCMP_SYS(io_uring_setup), SCMP_SYS(mount), SCMP_SYS(umount2),
    SCMP_SYS(fsopen), SCMP_SYS(open_tree), SCMP_SYS(move_mount), SCMP_SYS(pivot_root),
    SCMP_SYS(chroot), SCMP_SYS(unshare), SCMP_SYS(setns), SCMP_SYS(bpf), SCMP_SYS(perf_event_open),
    SCMP_SYS(userfaultfd), SCMP_SYS(inotify_init), SCMP_SYS(inotify_init1), SCMP_SYS(fanotify_init),
    SCMP_SYS(keyctl), SCMP_SYS(add_key), SCMP_SYS(request_key),
    // Changes to files.
    SCMP_SYS(creat), SCMP_SYS(truncate), SCMP_SYS(ftruncate), SCMP_SYS(fallocate), SCMP_SYS(chmod),
    SCMP_SYS(fchmod), SCMP_SYS(fchmodat), SCMP_SYS(chown), SCMP_SYS(fchown), SCMP_SYS(fchownat),
    SCMP_SYS(lchown), SCMP_SYS(setxattr), SCMP_SYS(fsetxattr), SCMP_SYS(lsetxattr),
    SCMP_SYS(removexattr), SCMP_SYS(fremovexattr), SCMP_SYS(lremovexattr), SCMP_SYS(utime),
    SCMP_SYS(utimes), SCMP_SYS(utimensat), SCMP_SYS(futimesat), SCMP_SYS(unlink),
    SCMP_SYS(unlinkat), SCMP_SYS(rename), SCMP_SYS(renameat), SCMP_SYS(renameat2), SCMP_SYS(link),
    SCMP_SYS(linkat), SCMP_SYS(symlink), SCMP_SYS(symlinkat), SCMP_SYS(mkdir), SCMP_SYS(mkdirat),
    SCMP_SYS(mknod), SCMP_SYS(mknodat), SCMP_SYS(rmdir),
    // Other processes, and processes of its own.
    SCMP_SYS(ptrace), SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev), SCMP_SYS(kill),
    SCMP_SYS(tkill), SCMP_SYS(rt_sigqueueinfo), SCMP_SYS(rt_tgsigqueueinfo),
    SCMP_SYS(pidfd_send_signal), SCMP_SYS(pidfd_open), SCMP_SYS(pidfd_getfd), SCMP_SYS(setpriority),
    SCMP_SYS(msgget), SCMP_SYS(shmget), SCMP_SYS(semget), SCMP_SYS(mq_open), SCMP_SYS(shmat),
    SCMP_SYS(shmctl), SCMP_SYS(msgsnd), SCMP_SYS(msgrcv), SCMP_SYS(msgctl), SCMP_SYS(semop),
    SCMP_SYS(semtimedop), SCMP_SYS(semctl), SCMP_SYS(fork), SCMP_SYS(vfork), SCMP_SYS(listen),
    442 /* mount_setattr */, 452 /* fchmodat2 */, 463 /* setxattrat */, 466 /* removexattrat */,
    467 /* open_tree_attr */, 469 /* file_setattr */};
// Their flags lie in memory, where a filter does not see them; libraries then use the older calls.
constexpr std::array kNotThere = {SCMP_SYS(openat2), SCMP_SYS(clone3)};
constexpr std::array<unsigned, 4> kWriting = {O_WRONLY, O_RDWR, O_CREAT, O_TRUNC};
constexpr std::array<unsigned, 3> kAttributes = {FS_IOC_SETFLAGS, FS_IOC_FSSETXATTR,
                                                 FS_IOC_ENABLE_VERITY};
constexpr unsigned kFamilies = 64;  // more than there are

class Filter {
 public:
  Filter() : filter_(seccomp_init(SCMP_ACT_ALLOW), &seccomp_release), ok_(filter_ != nullptr) {}

  template <typename... Conditions>
  void Refuse(int call, Conditions... conditions) {
    Add(EPERM, call, conditions...);
  }
  template <typename... Conditions>
  void Add(int error, int call, Conditions... conditions) {
    ok_ = ok_ && seccomp_rule_add(filter_.get(), SCMP_ACT_ERRNO(static_cast<unsigned>(error)), call,
                                  sizeof...(conditions), conditions...) == 0;
  }
  /// Prints the filter as the definition of the array `name`.
  bool Print(const char* name) const {
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::tmpfile(), &std::fclose);
    if (!ok_ || file == nullptr || seccomp_export_bpf(filter_.get(), fileno(file.get())) != 0) {
      return false;
    }
    std::rewind(file.get());
    std::printf("static constexpr sock_filter %sInstructions[] = {\n", name);
    for (sock_filter each; std::fread(&each, sizeof each, 1, file.get()) == 1;) {
      std::printf("    {%u, %u, %u, %u},\n", unsigned{each.code}, unsigned{each.jt},
                  unsigned{each.jf}, each.k);
    }
    std::printf("};\nconst std::span<const sock_filter> %s = %sInstructions;\n", name, name);
    return true;
  }

 private:
  std::unique_ptr<void, decltype(&seccomp_release)> filter_;
  bool ok_;
};

Filter MakeFilter(bool network) {
  Filter filter;
  for (const int call : kForbidden) filter.Refuse(call);
  for (const int call : kNotThere) filter.Add(ENOSYS, call);
  for (const unsigned flag : kWriting) {
    filter.Refuse(SCMP_SYS(open), SCMP_A1(SCMP_CMP_MASKED_EQ, flag, flag));
    filter.Refuse(SCMP_SYS(openat), SCMP_A2(SCMP_CMP_MASKED_EQ, flag, flag));
  }
  for (const unsigned request : kAttributes) {
    filter.Refuse(SCMP_SYS(ioctl), SCMP_A1(SCMP_CMP_MASKED_EQ, 0xffffffff, request));
  }
  // Threads, but no processes, which would outlive the request.
  filter.Refuse(SCMP_SYS(clone), SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, 0));
  filter.Refuse(SCMP_SYS(tgkill), SCMP_A0(SCMP_CMP_NE, kOwnProcess));
  filter.Refuse(SCMP_SYS(prlimit64), SCMP_A0(SCMP_CMP_NE, 0));
  if (!network) {
    filter.Refuse(SCMP_SYS(socket));
    filter.Refuse(SCMP_SYS(socketpair));
    return filter;
  }
  for (unsigned family = 0; family < kFamilies; ++family) {
    if (family == AF_INET || family == AF_INET6 || family == AF_NETLINK) continue;
    filter.Refuse(SCMP_SYS(socket), SCMP_A0(SCMP_CMP_MASKED_EQ, 0xffffffff, family));
  }
  // The resolver asks for the addresses of this machine (NETLINK_ROUTE, which is 0).
  filter.Refuse(SCMP_SYS(socket), SCMP_A0(SCMP_CMP_MASKED_EQ, 0xffffffff, AF_NETLINK),
                SCMP_A2(SCMP_CMP_NE, 0));
  return filter;
}

}  // namespace

int main(int count, char** values) {
  if (count != 2 || std::freopen(values[1], "w", stdout) == nullptr) return 1;
  std::puts("#include \"platform/confinement/call_filters.h\"\n");
  return MakeFilter(false).Print("kLocalCalls") && MakeFilter(true).Print("kNetworkCalls") ? 0 : 1;
}
