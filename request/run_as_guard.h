#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>

/// A place in the sources as log messages name it: the source file's name without folder and
/// extension, and a line. Places that people search their logs for have fixed lines.
struct LogPosition {
  const char* file;
  int line;
};

/// Turns a `__FILE__` into the name that log messages use, at compile time.
template <std::size_t N>
struct SourceStem {
  char text[N] = {};
  consteval SourceStem(const char (&path)[N]) {  // NOLINT: converts a literal on purpose
    std::string_view name(path, N - 1);
    name.remove_prefix(name.find_last_of('/') + 1);  // npos + 1 is 0
    name.substr(0, name.find_last_of('.')).copy(text, N);
  }
};
template <SourceStem stem>
inline constexpr const char* kSourceStem = stem.text;

/// Holds the process's effective user and group ids at requested values while it lives.
///
/// Only effective ids change; real and saved ids stay, so a process whose saved user id is 0 can
/// go to root and back (credentials(7), setresuid(2)). The ids belong to the whole process: for
/// single-threaded use. Use it through `IF_RUN_AS`.
class RunAsGuard {
 public:
  /// Switches to (`uid`, `gid`). On failure `ok()` is false and two lines are logged:
  /// LOG_AUTH|LOG_ERR with the ids asked for, and LOG_ERR "Permission denied".
  RunAsGuard(uid_t uid, gid_t gid, LogPosition at);
  /// The same; `fixed` takes the place of the position that the compiler gave.
  RunAsGuard(uid_t uid, gid_t gid, LogPosition, LogPosition fixed) : RunAsGuard(uid, gid, fixed) {}
  RunAsGuard(const RunAsGuard&) = delete;
  RunAsGuard& operator=(const RunAsGuard&) = delete;

  /// Switches back to the ids at entry, whether or not the entry succeeded. A failure is logged
  /// with LOG_AUTH|LOG_CRIT, and the process goes on with the ids that it has.
  ~RunAsGuard();

  /// True when the process has the requested ids.
  bool ok() const { return ok_; }

 private:
  uid_t savedUid_;
  gid_t savedGid_;
  const char* file_;
  int line_;
  const char* name_;
  bool ok_;
};

/// `IF_RUN_AS(uid, gid) { block }` runs the block with these effective ids, or skips it when they
/// cannot be had. The former ids are back as soon as the block is left, in whatever way. A
/// `LogPosition` as a third argument names the place in the log instead of the current line.
#define IF_RUN_AS(uid, gid, ...)                                                                  \
  if (const RunAsGuard runAsGuard(                                                                \
          (uid), (gid), LogPosition{kSourceStem<__FILE__>, __LINE__} __VA_OPT__(, ) __VA_ARGS__); \
      runAsGuard.ok())
