#include "tools/media_index/facts.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string_view>

#include "platform/ffmpeg/formats.h"
#include "platform/sysutil/descriptor.h"

namespace {

struct CloseInput {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

/// Pictures and texts, which libavformat reads as videos.
bool IsStill(std::string_view format) {
  return format == "image2" || format == "tty" || format.ends_with("_pipe");
}

std::string Tag(const AVDictionary* tags, const char* key) {
  const AVDictionaryEntry* entry = av_dict_get(tags, key, nullptr, 0);
  return entry == nullptr ? "" : entry->value;
}

bool HasVideo(const AVFormatContext& context) {
  return std::any_of(context.streams, context.streams + context.nb_streams, [](const AVStream* s) {
    return s->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
           (s->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
  });
}

/// Why the file cannot be read, whatever is in it; 0 when it can. It may be something else by now
/// than the regular file that was found.
int ReadingError(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat facts;
  if (file.get() < 0 || fstat(file.get(), &facts) != 0) return errno;
  if (!S_ISREG(facts.st_mode)) return ENOENT;
  char byte;
  return read(file.get(), &byte, 1) < 0 ? errno : 0;
}

}  // namespace

MediaFacts ReadFacts(const std::string& path) {
  MediaFacts facts;
  facts.error = ReadingError(path);
  if (facts.error != 0) return facts;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "protocol_whitelist", "file", 0);
  av_dict_set(&options, "format_whitelist", kSelfContainedFormats, 0);
  AVFormatContext* opened = nullptr;
  const int result = avformat_open_input(&opened, ("file:" + path).c_str(), nullptr, &options);
  av_dict_free(&options);
  const std::unique_ptr<AVFormatContext, CloseInput> context(opened);
  const int found = result < 0 ? result : avformat_find_stream_info(opened, nullptr);
  // A disk that fails or a full memory tells nothing of what the file is.
  if (found == AVERROR(EIO) || found == AVERROR(ENOMEM)) facts.error = AVUNERROR(found);
  if (found >= 0 && opened->pb != nullptr && opened->pb->error < 0) facts.error = EIO;
  if (found < 0 || facts.error != 0) return facts;

  const int audio = av_find_best_stream(opened, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
  if (HasVideo(*opened) && !IsStill(opened->iformat->name)) {
    facts.kind = MediaKind::kVideo;
  } else {
    facts.kind = audio >= 0 ? MediaKind::kMusic : MediaKind::kNone;
  }
  const AVDictionary* streamTags = nullptr;  // where Ogg keeps them
  if (audio >= 0) {
    const AVStream& stream = *opened->streams[audio];
    facts.channels = stream.codecpar->ch_layout.nb_channels;
    facts.frequency = stream.codecpar->sample_rate;
    streamTags = stream.metadata;
  }
  if (opened->duration != AV_NOPTS_VALUE) {
    facts.duration = std::max<std::int64_t>(opened->duration / AV_TIME_BASE, 0);
  }
  const auto tag = [&](const char* key) {
    std::string text = Tag(opened->metadata, key);
    return text.empty() ? Tag(streamTags, key) : text;
  };
  facts.title = tag("title");
  if (facts.title.empty()) facts.title = std::filesystem::path(path).stem().string();
  facts.artist = tag("artist");
  facts.album = tag("album");
  return facts;
}
