// Stands in for a converter that a crafted file has taken over: tells what it may still do, a line
// each, on standard output. The input is its argument before the last.

#include <fcntl.h>
#include <linux/capability.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

void Tell(const char* what, long result) {
  std::printf("%s=%s\n", what, result >= 0 ? "yes" : strerrorname_np(errno));
}

int Connect() {
  const int channel = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(18081);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return channel < 0 ? -1 : connect(channel, reinterpret_cast<sockaddr*>(&address), sizeof address);
}

}  // namespace

int main(int count, char** values) {
  const char* input = nullptr;
  for (int i = 1; i < count; ++i) {
    if (std::strncmp(values[i], "file:", 5) == 0) input = values[i] + 5;
  }
  uid_t uids[3];
  gid_t gids[3];
  getresuid(&uids[0], &uids[1], &uids[2]);
  getresgid(&gids[0], &gids[1], &gids[2]);
  std::printf("ids=%u %u %u %u %u %u groups=%d\n", uids[0], uids[1], uids[2], gids[0], gids[1],
              gids[2], getgroups(0, nullptr));
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2]{};
  syscall(SYS_capget, &header, data);
  std::printf("capabilities=%x %x no_new_privs=%d\n", data[0].permitted, data[0].effective,
              prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0));
  rlimit core{};
  getrlimit(RLIMIT_CORE, &core);
  int descriptors = 0;
  for (int i = 0; i < 100; ++i) descriptors += fcntl(i, F_GETFD) >= 0;
  std::printf("core=%lu descriptors=%d environment=%s\n", core.rlim_cur, descriptors,
              environ[0] == nullptr || environ[1] != nullptr ? "odd" : environ[0]);
  if (input != nullptr) {
    Tell("input", open(input, O_RDONLY));
    Tell("overwrite", open(input, O_WRONLY | O_TRUNC));
    Tell("truncate", open(input, O_RDONLY | O_TRUNC));
    Tell("chmod", chmod(input, 0777));
    Tell("chmodat", syscall(452 /* fchmodat2 */, AT_FDCWD, input, 0777, 0));
    Tell("unlink", unlink(input));
  }
  Tell("other", open("/etc/shadow", O_RDONLY));
  Tell("create", open("/mnt/open/created", O_WRONLY | O_CREAT, 0666));
  Tell("list", open("/mnt", O_RDONLY | O_DIRECTORY));
  Tell("handle", syscall(SYS_open_by_handle_at, AT_FDCWD, nullptr, O_RDONLY));
  Tell("connect", Connect());
  Tell("local", socket(AF_UNIX, SOCK_STREAM, 0));
  Tell("namespace",
       syscall(SYS_clone, CLONE_NEWUSER | SIGCHLD, nullptr, nullptr, nullptr, nullptr));
  Tell("signal", syscall(SYS_tgkill, getppid(), getppid(), 0));
  Tell("limit", prlimit(getppid(), RLIMIT_CORE, &core, nullptr));
  Tell("root", setuid(0));
  Tell("shell", execl("/bin/sh", "sh", "-c", ":", nullptr));
}
