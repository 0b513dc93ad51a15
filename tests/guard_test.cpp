// The privilege guard against a kernel of the test's own: the program's calls for ids end here.

#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <string>

#include "request/run_as_guard.h"

namespace {

struct Kernel {
  uid_t uid;
  gid_t gid;
  std::string refused = {};  // the call that fails
  std::string calls = {};
} kernel;

// Real and saved ids are kept when they are -1.
int Change(const char* kind, id_t real, id_t effective, id_t saved, id_t& current) {
  const std::string call = kind + std::to_string(effective) + " ";
  kernel.calls += (real + 1 == 0 && saved + 1 == 0 ? "" : "not only ") + call;
  if (call == kernel.refused) return -1;
  current = effective;
  return 0;
}

}  // namespace

extern "C" {
uid_t geteuid() noexcept { return kernel.uid; }
gid_t getegid() noexcept { return kernel.gid; }
int setresuid(uid_t r, uid_t e, uid_t s) noexcept { return Change("u", r, e, s, kernel.uid); }
int setresgid(gid_t r, gid_t e, gid_t s) noexcept { return Change("g", r, e, s, kernel.gid); }
}

TEST(RunAsGuard, SwitchesAndReturns) {
  const std::pair<Kernel, const char*> cases[] = {
      {{0, 0}, "run "},
      {{0, 98}, "g0 run g98 "},
      {{99, 98}, "u0 g0 u0 run g98 u99 "},
      {{99, 98, "u0 "}, "u0 "},
      // The user id has become root's before the group is refused, and goes back.
      {{99, 98, "g0 "}, "u0 g0 u99 "}};
  for (const auto& [before, calls] : cases) {
    kernel = before;
    IF_RUN_AS(0, 0) kernel.calls += "run ";
    EXPECT_EQ(kernel.calls, calls);
  }
}

TEST(RunAsGuard, RestoresWhateverHappensInside) {
  kernel = {99, 98};
  EXPECT_ANY_THROW(IF_RUN_AS(0, 0) throw kernel.uid = 7);  // an id as a library may leave it
  EXPECT_EQ(kernel.calls, "u0 g0 u0 u0 g98 u99 ");
  // A failure is logged, here with the place of the guard itself.
  openlog("", LOG_PERROR, LOG_USER);
  testing::internal::CaptureStderr();
  const std::string line = std::to_string(__LINE__ + 1);
  IF_RUN_AS(0, 0) kernel.refused = "g98 ";
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            ": guard_test:" + line + " ERROR: ~IF_RUN_AS(99, 98)\n");
}
