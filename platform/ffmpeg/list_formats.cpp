// list_formats FILE: writes the definition of kSelfContainedFormats, for the build.

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 17> kNamesOtherFiles = {"avisynth",
                                                               "concat",
                                                               "dash",
                                                               "hls",
                                                               "image2",
                                                               "imf",
                                                               "lavfi",
                                                               "mlv",
                                                               "mpjpeg",
                                                               "rtp",
                                                               "rtsp",
                                                               "sap",
                                                               "sdp",
                                                               "tedcaptions",
                                                               "vapoursynth",
                                                               "vobsub",
                                                               "webm_dash_manifest"};

}  // namespace

int main(int count, char** values) {
  if (count != 2 || std::freopen(values[1], "w", stdout) == nullptr) return 1;
  std::puts("#include \"platform/ffmpeg/formats.h\"\n\nconst char kSelfContainedFormats[] =");
  void* position = nullptr;
  const char* separator = "";
  while (const AVInputFormat* format = av_demuxer_iterate(&position)) {
    if (std::find(kNamesOtherFiles.begin(), kNamesOtherFiles.end(), format->name) !=
        kNamesOtherFiles.end()) {
      continue;
    }
    std::printf("    \"%s%s\"\n", separator, format->name);
    separator = ",";
  }
  std::puts("    ;");
}
