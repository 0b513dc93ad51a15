#include "media/utils.h"

#include <strings.h>
#include <syslog.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "media/codec_names.h"
#include "platform/media_argument/media_argument.h"
#include "platform/sysutil/sysutil.h"
#include "request/run_as_guard.h"

namespace {

constexpr LogPosition kOpen{"utils", 157};
constexpr char kConfiguration[] = "/etc/orvainfo.conf";

struct Language {
  const char* system;
  const char* iso639;
};

// The system's language codes and the tags that media files carry for them (ISO 639-2); several
// codes may share a tag. The null row ends the table.
constexpr std::array<Language, 21> LanguageCodeTable{{
    {"enu", "eng"},     {"fre", "fre"}, {"ger", "ger"}, {"ita", "ita"}, {"spn", "spa"},
    {"cht", "chi"},     {"chs", "chi"}, {"jpn", "jpn"}, {"krn", "kor"}, {"ptb", "por"},
    {"rus", "rus"},     {"dan", "dan"}, {"nor", "nor"}, {"sve", "swe"}, {"nld", "nld"},
    {"plk", "por"},     {"ptg", "por"}, {"hun", "hun"}, {"trk", "tur"}, {"csy", "ces"},
    {nullptr, nullptr},
}};

struct CloseInput {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

std::string PreferredLanguage() {
  std::array<char, 32> code{};
  const bool configured =
      OLIBCFileGetKeyValue(kConfiguration, "codepage", code.data(), code.size(), 0) > 0;
  for (const Language* row = LanguageCodeTable.data(); row->system != nullptr; ++row) {
    if (strcasecmp(row->system, configured ? code.data() : "enu") == 0) return row->iso639;
  }
  return "eng";
}

/// The track to carry, or a null value when none can be decoded.
Json::Value ChooseTrack(const Json::Value& streams, const std::string& language) {
  Json::Value candidates(Json::arrayValue);
  for (const Json::Value& stream : streams) {
    if (!stream.isMember("id") || !stream.isMember("codec") || !stream.isMember("language"))
      continue;
    if (!LibOrvaVTE::ArgumentHelper::AbleToDecodeAudioByCodec(stream["codec"].asString())) continue;
    if (stream["language"].asString() == language) return stream;
    candidates.append(stream);
  }
  return candidates.empty() ? Json::Value() : candidates[0];
}

}  // namespace

void AppendAudioMapArgs(const std::string& codec, const std::string& streamId,
                        std::vector<std::string> copyList, std::vector<std::string>& arguments) {
  if (codec.empty() || streamId.empty()) {
    arguments.emplace_back("-an");
    return;
  }
  std::array<char, 128> selector{};
  std::snprintf(selector.data(), selector.size(), "0:%s", streamId.c_str());
  if (std::find(copyList.begin(), copyList.end(), codec) != copyList.end()) {
    arguments.insert(arguments.end(), {"-acodec", "copy"});
  } else {
    arguments.insert(arguments.end(),
                     {"-acodec", "mp2", "-ab", "128k", "-ar", "44100", "-ac", "2"});
  }
  arguments.insert(arguments.end(), {"-map", "0:v", "-map", selector.data()});
}

bool ParseAudioMetadata(const std::string& path, Json::Value& streams) {
  if (path.empty()) {
    syslog(LOG_ERR, "%s:%d Bad parameter", "utils", 152);
    return false;
  }
  AVFormatContext* opened = nullptr;
  int result = -1;
  IF_RUN_AS(0, 0, kOpen) { result = avformat_open_input(&opened, path.c_str(), nullptr, nullptr); }
  if (result < 0) {
    syslog(LOG_ERR, "%s:%d Failed to open file [%s]", "utils", 159, path.c_str());
    return false;
  }
  const std::unique_ptr<AVFormatContext, CloseInput> context(opened);
  if (avformat_find_stream_info(opened, nullptr) < 0) {
    syslog(LOG_ERR, "%s:%d Failed to get stream info [%s]", "utils", 163, path.c_str());
    return false;
  }
  for (unsigned i = 0; i < context->nb_streams; ++i) {
    const AVStream& stream = *context->streams[i];
    if (stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    const AVDictionaryEntry* language = av_dict_get(stream.metadata, "language", nullptr, 0);
    Json::Value description(Json::objectValue);
    description["id"] = std::to_string(i);
    description["language"] = language == nullptr ? "" : language->value;
    description["codec"] = GetCodecName(stream.codecpar->codec_id);
    streams.append(description);
  }
  return true;
}

void SelectAudioTrack(const std::string& path, const std::vector<std::string>& copyList,
                      std::vector<std::string>& arguments) {
  if (path.empty()) {
    syslog(LOG_ERR, "%s:%d Bad parameter", "utils", 198);
    return;
  }
  Json::Value streams(Json::arrayValue);
  if (!ParseAudioMetadata(path, streams)) {
    syslog(LOG_ERR, "%s:%d Failed to parse audio metadata [%s]", "utils", 204, path.c_str());
    return;
  }
  const Json::Value track = ChooseTrack(streams, PreferredLanguage());
  if (track.isNull()) {
    arguments.emplace_back("-an");
    return;
  }
  AppendAudioMapArgs(track["codec"].asString(), track["id"].asString(), copyList, arguments);
}
