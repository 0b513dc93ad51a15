// copy_loop FILE: copies what cat puts out with reads and writes, through pipes of 1 MiB.
#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include "platform/sysutil/sysutil.h"

int main(int count, char** values) {
  const char* const cat[] = {"/bin/cat", values[1], nullptr};
  std::FILE* stream = count == 2 ? OLIBCPopenv(cat[0], "r", cat) : nullptr;
  if (stream == nullptr || fcntl(STDOUT_FILENO, F_SETPIPE_SZ, kPipeSize) < 0) return 1;
  std::vector<char> buffer(256 * 1024);
  for (ssize_t size; (size = read(fileno(stream), buffer.data(), buffer.size())) > 0;) {
    for (ssize_t done = 0; done < size;) {
      const ssize_t written = write(STDOUT_FILENO, buffer.data() + done, std::size_t(size - done));
      if (written < 0) return 1;
      done += written;
    }
  }
}
