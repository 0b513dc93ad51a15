#include "platform/module/module.h"

#include <dlfcn.h>
#include <syslog.h>
#include <unistd.h>

#include <string>

namespace {

/// Lowers the effective ids to the real ones while it lives.
class RealIds {
 public:
  RealIds() : uid_(geteuid()), gid_(getegid()) {
    ok_ = setegid(getgid()) == 0 && seteuid(getuid()) == 0;
  }
  RealIds(const RealIds&) = delete;
  RealIds& operator=(const RealIds&) = delete;
  ~RealIds() {
    if (geteuid() == uid_ && getegid() == gid_) return;
    // Through root: from the real ids there is no direct way to ids that are not the saved ones.
    if (seteuid(0) != 0 || setegid(gid_) != 0 || seteuid(uid_) != 0) {
      syslog(LOG_AUTH | LOG_CRIT, "%s:%d cannot return to the ids %d, %d", "module", 10,
             static_cast<int>(uid_), static_cast<int>(gid_));
    }
  }
  bool ok() const { return ok_; }

 private:
  uid_t uid_;
  gid_t gid_;
  bool ok_;
};

}  // namespace

void* LoadModuleFunction(const char* name, const char* symbol) {
  const std::string file = std::string(MODULE_DIR "/") + name;
  const RealIds ids;
  // Lazily: of the many functions of the libraries behind it a request calls few. The module's own
  // symbols are bound at once all the same, as it is linked.
  void* module = ids.ok() ? dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL) : nullptr;
  void* function = module == nullptr ? nullptr : dlsym(module, symbol);
  if (function == nullptr) {
    const char* reason = dlerror();
    syslog(LOG_ERR, "%s:%d cannot load %s: %s", "module", 20, file.c_str(),
           reason == nullptr ? "no permission" : reason);
  }
  return function;
}
