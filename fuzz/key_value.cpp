// A configuration file; the key is "key".

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "fuzz/target.h"
#include "platform/sysutil/sysutil.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int file = memfd_create("key_value", 0);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  Require(ftruncate(file, 0) == 0);
  Require(pwrite(file, data, size, 0) == static_cast<ssize_t>(size));

  std::vector<char> whole(size + 1, 'x');
  std::vector<char> cut(4, 'x');
  const int found =
      OLIBCFileGetKeyValue(path.c_str(), "key", whole.data(), static_cast<int>(whole.size()), 0);
  Require(OLIBCFileGetKeyValue(path.c_str(), "key", cut.data(), 4, 0) == found);
  if (found != 1) {
    Require(found == 0 && whole[0] == 'x' && cut[0] == 'x');
    return 0;
  }
  Require(std::memchr(cut.data(), '\0', cut.size()) != nullptr);
  Require(std::strncmp(whole.data(), cut.data(), 3) == 0);
  Require(Text(data, size).find(whole.data()) != std::string::npos);
  return 0;
}
