// The privilege guard against a kernel of the test's own: the program's calls for ids and its log
// lines end here.

#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <stdexcept>
#include <string>
#include <vector>

#include "request/run_as_guard.h"

namespace {

struct Kernel {
  uid_t uid = 0;
  gid_t gid = 0;
  bool canBeRoot = true;
  bool refusesGroups = false;
  std::string calls = {};
  std::vector<std::string> log = {};
} kernel;

constexpr uid_t kKeep = static_cast<uid_t>(-1);

void Log(int priority, const char* format, std::va_list arguments) {
  char text[256];
  std::vsnprintf(text, sizeof text, format, arguments);
  kernel.log.push_back(std::to_string(priority) + " " + text);
}

}  // namespace

extern "C" {
uid_t geteuid() noexcept { return kernel.uid; }
gid_t getegid() noexcept { return kernel.gid; }
int setresuid(uid_t real, uid_t effective, uid_t saved) noexcept {
  kernel.calls += (real == kKeep && saved == kKeep ? "u" : "?") + std::to_string(effective) + " ";
  if (effective == 0 && !kernel.canBeRoot) return -1;
  kernel.uid = effective;
  return 0;
}
int setresgid(gid_t real, gid_t effective, gid_t saved) noexcept {
  kernel.calls += (real == kKeep && saved == kKeep ? "g" : "?") + std::to_string(effective) + " ";
  if (kernel.refusesGroups) return -1;
  kernel.gid = effective;
  return 0;
}
void syslog(int priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Log(priority, format, arguments);
  va_end(arguments);
}
void __syslog_chk(int priority, int, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Log(priority, format, arguments);
  va_end(arguments);
}
}

namespace {

constexpr LogPosition kHere{"transcoder", 91};

TEST(RunAsGuard, SwitchesAndReturns) {
  struct Case {
    Kernel before;
    bool runs;
    const char* calls;
    uid_t uidAfter;
    std::vector<std::string> log = {};
  };
  const std::vector<std::string> denied = {"35 transcoder:91 ERROR: IF_RUN_AS(0, 0)",
                                           "3 transcoder:91 Permission denied"};
  std::vector<std::string> deniedForGood = denied;
  deniedForGood.push_back("34 transcoder:91 ERROR: ~IF_RUN_AS(99, 98)");
  const Case cases[] = {
      {{.uid = 0, .gid = 0}, true, "", 0, {}},
      {{.uid = 0, .gid = 98}, true, "g0 g98 ", 0, {}},
      {{.uid = 99, .gid = 98}, true, "u0 g0 u0 g98 u99 ", 99, {}},
      {{.uid = 99, .gid = 98, .canBeRoot = false}, false, "u0 ", 99, denied},
      // The user id has become root's before the group is refused, and goes back.
      {{.uid = 99, .gid = 98, .refusesGroups = true}, false, "u0 g0 u99 ", 99, denied},
  };
  for (const Case& test : cases) {
    kernel = test.before;
    bool ran = false;
    IF_RUN_AS(0, 0, kHere) { ran = kernel.uid == 0 && kernel.gid == 0; }
    EXPECT_EQ(ran, test.runs);
    EXPECT_EQ(kernel.calls, test.calls);
    EXPECT_EQ(kernel.uid, test.uidAfter);
    EXPECT_EQ(kernel.log, test.log);
  }
}

TEST(RunAsGuard, RestoresWhateverHappensInside) {
  kernel = {.uid = 99, .gid = 98};
  IF_RUN_AS(0, 0) {
    kernel.uid = 7;  // as another library may leave it
    kernel.gid = 8;
  }
  EXPECT_EQ(kernel.calls, "u0 g0 u0 u0 g98 u99 ");

  EXPECT_THROW(
      {
        IF_RUN_AS(0, 0) { throw std::runtime_error("inside");
}
}  // namespace
,
      std::runtime_error);
EXPECT_EQ(kernel.uid, 99U);
EXPECT_EQ(kernel.gid, 98U);

IF_RUN_AS(0, 0, kHere) { kernel.refusesGroups = true; }
EXPECT_EQ(kernel.log.back(), "34 transcoder:91 ERROR: ~IF_RUN_AS(99, 98)");
}

TEST(RunAsGuard, NamesItsOwnPlace) {
  kernel = {.uid = 99, .gid = 98, .canBeRoot = false};
  const int line = __LINE__ + 1;
  IF_RUN_AS(0, 0) {}
  char expected[64];
  std::snprintf(expected, sizeof expected, "35 guard_test:%d ERROR: IF_RUN_AS(0, 0)", line);
  EXPECT_EQ(kernel.log.front(), expected);
}

}  // namespace
