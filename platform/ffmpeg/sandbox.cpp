#include "platform/ffmpeg/sandbox.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <seccomp.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <memory>

namespace {

/// `landlock_ruleset_attr` of kernels newer than the headers.
struct RulesetAttributes {
  std::uint64_t files;
  std::uint64_t network;
  std::uint64_t scoped;
};

// Access rights by the version of the interface that brought them, from 1.
constexpr std::array<std::uint64_t, 5> kFileRights = {(1 << 13) - 1, 1 << 13, 1 << 14, 0, 1 << 15};
constexpr std::uint64_t kRead = LANDLOCK_ACCESS_FS_READ_FILE;
constexpr std::uint64_t kReadBelow = kRead | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr std::uint64_t kRunBelow = kReadBelow | LANDLOCK_ACCESS_FS_EXECUTE;
constexpr long kNetworkVersion = 4;
constexpr long kScopeVersion = 6;
constexpr std::uint64_t kBindTcp = 1 << 0;
constexpr std::uint64_t kConnectTcp = 1 << 1;
constexpr std::uint64_t kSignalsAndAbstractSockets = (1 << 0) | (1 << 1);

constexpr std::array kLibraries = {"/lib", "/lib64", "/usr/lib", "/usr/lib64", "/usr/local/lib"};
constexpr std::array kNetworkFiles = {
    "/etc/resolv.conf", "/etc/hosts",         "/etc/host.conf",
    "/etc/gai.conf",    "/etc/nsswitch.conf", "/etc/services",
    "/etc/ssl",         "/etc/gnutls",        "/usr/share/ca-certificates"};

class Landlock {
 public:
  Landlock(bool network) {
    const long version =
        syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1) return;
    RulesetAttributes attributes{};
    for (std::size_t i = 0; i < kFileRights.size() && static_cast<long>(i) < version; ++i) {
      attributes.files |= kFileRights[i];
    }
    if (version >= kNetworkVersion)
      attributes.network = network ? kBindTcp : kBindTcp | kConnectTcp;
    if (version >= kScopeVersion) attributes.scoped = kSignalsAndAbstractSockets;
    ruleset_ =
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0));
  }
  Landlock(const Landlock&) = delete;
  Landlock& operator=(const Landlock&) = delete;
  ~Landlock() {
    if (ruleset_ >= 0) close(ruleset_);
  }

  /// Allows `rights` on the file that `path` leads to, or below it. What is not there needs none.
  void Allow(const std::string& path, std::uint64_t rights) const {
    const int file = open(path.c_str(), O_PATH | O_CLOEXEC);
    struct stat facts;
    if (file < 0) return;
    if (fstat(file, &facts) == 0) {
      if (!S_ISDIR(facts.st_mode)) rights &= ~std::uint64_t{LANDLOCK_ACCESS_FS_READ_DIR};
      const landlock_path_beneath_attr rule{rights, file};
      syscall(SYS_landlock_add_rule, ruleset_, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
    }
    close(file);
  }

  bool Restrict() const { return syscall(SYS_landlock_restrict_self, ruleset_, 0) == 0; }

 private:
  int ruleset_ = -1;
};

bool ConfineFiles(const std::string& program, const std::string& input) {
  const Landlock landlock(input.empty());
  landlock.Allow(program, kRunBelow);
  landlock.Allow(program.substr(0, program.rfind('/')) + "/../lib", kRunBelow);
  for (const char* folder : kLibraries) landlock.Allow(folder, kRunBelow);
  landlock.Allow("/etc/ld.so.cache", kRead);
  if (!input.empty()) {
    landlock.Allow(input, kRead);
  } else {
    for (const char* path : kNetworkFiles) landlock.Allow(path, kReadBelow);
  }
  return landlock.Restrict();
}

// What a converter does not do; some of it would lead around the rules above.
constexpr std::array kForbidden = {SCMP_SYS(open_by_handle_at),
                                   SCMP_SYS(io_uring_setup),
                                   SCMP_SYS(ptrace),
                                   SCMP_SYS(process_vm_readv),
                                   SCMP_SYS(process_vm_writev),
                                   SCMP_SYS(kill),
                                   SCMP_SYS(bpf),
                                   SCMP_SYS(perf_event_open),
                                   SCMP_SYS(userfaultfd),
                                   SCMP_SYS(keyctl),
                                   SCMP_SYS(add_key),
                                   SCMP_SYS(request_key),
                                   SCMP_SYS(mount),
                                   SCMP_SYS(umount2),
                                   SCMP_SYS(fsopen),
                                   SCMP_SYS(open_tree),
                                   SCMP_SYS(move_mount),
                                   SCMP_SYS(pivot_root),
                                   SCMP_SYS(chroot),
                                   SCMP_SYS(unshare),
                                   SCMP_SYS(setns),
                                   SCMP_SYS(chmod),
                                   SCMP_SYS(fchmod),
                                   SCMP_SYS(fchmodat),
                                   SCMP_SYS(chown),
                                   SCMP_SYS(fchown),
                                   SCMP_SYS(fchownat),
                                   SCMP_SYS(lchown),
                                   SCMP_SYS(setxattr),
                                   SCMP_SYS(fsetxattr),
                                   SCMP_SYS(lsetxattr),
                                   SCMP_SYS(removexattr),
                                   SCMP_SYS(fremovexattr),
                                   SCMP_SYS(lremovexattr),
                                   SCMP_SYS(utime),
                                   SCMP_SYS(utimes),
                                   SCMP_SYS(utimensat),
                                   SCMP_SYS(futimesat),
                                   SCMP_SYS(unlink),
                                   SCMP_SYS(unlinkat),
                                   SCMP_SYS(rename),
                                   SCMP_SYS(renameat),
                                   SCMP_SYS(renameat2),
                                   SCMP_SYS(link),
                                   SCMP_SYS(linkat),
                                   SCMP_SYS(symlink),
                                   SCMP_SYS(symlinkat),
                                   SCMP_SYS(mkdir),
                                   SCMP_SYS(mkdirat),
                                   SCMP_SYS(mknod),
                                   SCMP_SYS(mknodat),
                                   SCMP_SYS(rmdir),
                                   SCMP_SYS(truncate)};
constexpr std::array kSockets = {SCMP_SYS(socket), SCMP_SYS(socketpair)};

bool ConfineCalls(bool network) {
  const std::unique_ptr<void, decltype(&seccomp_release)> filter(seccomp_init(SCMP_ACT_ALLOW),
                                                                 &seccomp_release);
  if (filter == nullptr) return false;
  const auto forbid = [&](int call) {
    seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(EPERM), call, 0);
  };
  for (const int call : kForbidden) forbid(call);
  if (!network) {
    for (const int call : kSockets) forbid(call);
  }
  return seccomp_load(filter.get()) == 0;
}

}  // namespace

void ConfineTo(const std::string& program, const std::string& input) {
  const bool files = ConfineFiles(program, input);
  const bool calls = ConfineCalls(input.empty());
  if (files && calls) return;
  syslog(LOG_ERR, "%s:%d goes on without%s%s", "sandbox", 10, files ? "" : " Landlock",
         calls ? "" : " seccomp");
}
