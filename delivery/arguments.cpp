// The command lines of the children.

#include <array>

#include "delivery/audio_track.h"
#include "delivery/genericoder.h"
#include "platform/url_parser/url_parser.h"

namespace {

constexpr char kFfmpeg[] = "/var/packages/Lumetra/target/bin/ffmpeg";
constexpr std::size_t kStationUrlBytes = 4096;

std::string StationUrl(const std::string& radio) {
  std::array<char, kStationUrlBytes> url{};
  OrvaAudioUtils::UrlParser parser;
  if (parser.GetRadioUrl(radio.c_str(), url.data(), static_cast<int>(url.size())) == 0) {
    return url.data();
  }
  return radio.substr(0, kStationUrlBytes - 1);
}

}  // namespace

void GeneriCoder::AppendFormatArgs(ArgumentList& arguments) const {
  arguments.insert(arguments.end(), {"-f", isMp3 ? "mp3" : isPcm ? "s16be" : "wav"});
  if (isMp3) arguments.insert(arguments.end(), {"-ab", "128k"});
}

void GeneriCoder::AppendCodecArgs(ArgumentList& arguments) const {
  arguments.insert(arguments.end(), {"-acodec", isMp3   ? "libmp3lame"
                                                : isPcm ? "pcm_s16be"
                                                        : "pcm_s16le"});
}

void GeneriCoder::AppendInfoTagArgs(ArgumentList& arguments) const {
  if (!isPcm && !isMp3) arguments.insert(arguments.end(), {"-write_info_tag", "0"});
}

void GeneriCoder::AppendResampleArgs(ArgumentList& arguments) const {
  if (!downsample) return;
  arguments.insert(arguments.end(), {"-ar", "44100"});
  if (radio.empty()) arguments.insert(arguments.end(), {"-ac", "2"});
}

ArgumentList GeneriCoder::BuildArguments(Delivery delivery) const {
  if (delivery == Delivery::kPassThrough) return {"/bin/cat", path};

  const bool live = delivery == Delivery::kRadio;
  ArgumentList arguments{kFfmpeg, "-v", "0", "-i", live ? StationUrl(radio) : path};
  if (delivery == Delivery::kRemux) {
    std::vector<std::string> copyList;
    if (ac3Copy) copyList.emplace_back("ac3");
    if (aacCopy) copyList.emplace_back("aac");
    arguments.insert(arguments.end(),
                     {"-y", "-vcodec", "copy", "-vbsf", "h264_mp4toannexb", "-copyts"});
    AppendAudioTrackArgs(path, copyList, arguments);
    arguments.insert(arguments.end(), {"-sn", "-f", "mpegts"});
  } else {
    AppendFormatArgs(arguments);
    AppendCodecArgs(arguments);
    AppendInfoTagArgs(arguments);
    AppendResampleArgs(arguments);
  }
  arguments.emplace_back("-");
  return arguments;
}
