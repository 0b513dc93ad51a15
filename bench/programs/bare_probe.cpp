// bare_probe FILE: the least that a look at a video's streams takes.
extern "C" {
#include <libavformat/avformat.h>
}

int main(int count, char** values) {
  AVFormatContext* context = nullptr;
  if (count != 2 || avformat_open_input(&context, values[1], nullptr, nullptr) < 0) return 1;
  return avformat_find_stream_info(context, nullptr) < 0 ? 1 : 0;
}
