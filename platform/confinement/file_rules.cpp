#include "platform/confinement/file_rules.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/sysutil/descriptor.h"

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
// Dynamic loaders, which the kernel executes for a program (x86-64, 64-bit and 32-bit ARM, x86).
constexpr std::array kLoaders = {"/lib64/ld-linux-x86-64.so.2", "/lib/ld-linux-aarch64.so.1",
                                 "/lib/ld-linux-armhf.so.3", "/lib/ld-linux.so.2"};
constexpr std::array kRuntimeFiles = {"/etc/ld.so.cache", "/dev/null", "/dev/urandom"};
constexpr std::array kNetworkFiles = {"/etc/resolv.conf",
                                      "/etc/hosts",
                                      "/etc/host.conf",
                                      "/etc/gai.conf",
                                      "/etc/nsswitch.conf",
                                      "/etc/services",
                                      "/etc/ssl",
                                      "/etc/gnutls",
                                      "/usr/share/ca-certificates",
                                      "/usr/local/share/ca-certificates"};

class Landlock {
 public:
  explicit Landlock(bool network) {
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
    ruleset_ = Descriptor(
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0)));
  }

  /// Allows `rights` on the file that `path` leads to, or below it. What is not there needs none.
  void Allow(const std::string& path, std::uint64_t rights) const {
    const Descriptor file(open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat facts;
    if (file.get() < 0 || fstat(file.get(), &facts) != 0) return;
    if (!S_ISDIR(facts.st_mode)) rights &= ~std::uint64_t{LANDLOCK_ACCESS_FS_READ_DIR};
    const landlock_path_beneath_attr rule{rights, file.get()};
    syscall(SYS_landlock_add_rule, ruleset_.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
  }

  bool Restrict() const { return syscall(SYS_landlock_restrict_self, ruleset_.get(), 0) == 0; }

 private:
  Descriptor ruleset_;
};

/// A converter may be a script around the system's: its interpreter is then executed, too.
void AllowInterpreter(const Landlock& landlock, const std::string& program) {
  constexpr char kSpace[] = " \t\r\n";
  std::array<char, 256> line{};  // what the kernel reads of it (execve(2))
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> script(std::fopen(program.c_str(), "re"),
                                                                  &std::fclose);
  if (script == nullptr || std::fgets(line.data(), line.size(), script.get()) == nullptr ||
      line[0] != '#' || line[1] != '!') {
    return;
  }
  char* rest = nullptr;
  for (const char* word = strtok_r(&line[2], kSpace, &rest); word != nullptr;
       word = strtok_r(nullptr, kSpace, &rest)) {
    landlock.Allow(word[0] == '/' ? word : std::string("/usr/bin/") + word, kRunBelow);
  }
  landlock.Allow("/usr/bin/ffmpeg", kRunBelow);
}

}  // namespace

bool ConfineFiles(const Needs& needs) {
  const Landlock landlock(needs.network);
  if (!needs.program.empty()) {
    landlock.Allow(needs.program, kRunBelow);
    AllowInterpreter(landlock, needs.program);
    landlock.Allow(needs.program.substr(0, needs.program.rfind('/')) + "/../lib", kReadBelow);
  }
  for (const char* folder : kLibraries) landlock.Allow(folder, kReadBelow);
  if (!needs.program.empty()) {
    for (const char* loader : kLoaders) landlock.Allow(loader, kRunBelow);
  }
  for (const char* file : kRuntimeFiles) landlock.Allow(file, kRead);
  for (const std::string& file : needs.files) landlock.Allow(file, kRead);
  if (needs.network) {
    for (const char* path : kNetworkFiles) landlock.Allow(path, kReadBelow);
  }
  return landlock.Restrict();
}
