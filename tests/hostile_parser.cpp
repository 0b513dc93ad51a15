// Stands in libavformat's place (LD_PRELOAD in ld.so(8)) like a file that has taken it over, and
// tells in the item's title whether it could do anything.

extern "C" {
#include <libavformat/avformat.h>
}

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

extern "C" __attribute__((visibility("default"))) decltype(avformat_open_input) avformat_open_input;

int avformat_open_input(AVFormatContext** context, const char* url, const AVInputFormat* format,
                        AVDictionary** options) {
  if (std::strstr(url, "crash.flac") != nullptr) raise(SIGKILL);
  if (std::strstr(url, "hang.flac") != nullptr) pause();
  auto* real = reinterpret_cast<decltype(&avformat_open_input)>(dlsym(RTLD_NEXT, __func__));
  const int result = real(context, url, format, options);
  const bool free = getuid() == 0 || geteuid() == 0 || open("/etc/passwd", O_RDONLY) >= 0 ||
                    open("/dev/zero", O_RDWR) >= 0 || fork() >= 0 || kill(getppid(), 0) == 0;
  if (result >= 0) av_dict_set(&(*context)->metadata, "title", free ? "free" : "confined", 0);
  return result;
}
