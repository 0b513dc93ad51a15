#include "platform/ffmpeg/options.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <initializer_list>
#include <string_view>

#include "platform/ffmpeg/formats.h"

namespace {

using Options = std::vector<std::string>;

struct Scheme {
  std::string_view prefix;
  const char* protocols;  ///< ffmpeg's, that the scheme needs
  const char* timeout;    ///< the name of the option for it
};

constexpr std::array<Scheme, 4> kSchemes{{
    {"rtsp:", "rtsp,rtp,udp,tcp", "-timeout"},
    {"rtmp:", "rtmp,tcp", "-rw_timeout"},
    {"mmsh:", "mmsh,http,tcp", "-rw_timeout"},
    {"", "http,https,tls,tcp", "-rw_timeout"},
}};
constexpr char kSilence[] = "10000000";  // microseconds
// A station sends no faster than it plays: what is analysed first is heard that much later. So no
// waiting for time stamps, which plain audio does not carry. A transport stream's audio may begin
// that much later than its video; less, and it would not be found.
constexpr char kTimestampPackets[] = "0";
constexpr char kAnalysis[] = "1000000";  // microseconds

void Append(Options& options, std::initializer_list<const char*> more) {
  options.insert(options.end(), more.begin(), more.end());
}

void AppendLocalInput(Options& options, const std::string& path) {
  Append(options,
         {"-protocol_whitelist", "file", "-format_whitelist", kSelfContainedFormats, "-i"});
  options.push_back("file:" + path);
}

void AppendNetworkInput(Options& options, std::string address) {
  // ffmpeg knows protocols by their names in lower case, and Microsoft's over HTTP by another one.
  const auto scheme =
      address.begin() + static_cast<std::ptrdiff_t>(std::min(address.find(':'), address.size()));
  std::transform(address.begin(), scheme, address.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (address.starts_with("mms:")) address.replace(0, 4, "mmsh:");
  for (const Scheme& each : kSchemes) {
    if (!address.starts_with(each.prefix)) continue;
    Append(options, {"-protocol_whitelist", each.protocols, each.timeout, kSilence});
    break;
  }
  Append(options, {"-max_ts_probe", kTimestampPackets, "-analyzeduration", kAnalysis, "-i"});
  options.push_back(address);
}

}  // namespace

std::string LocalInput(const Options& arguments) {
  for (std::size_t i = 0; i + 1 < arguments.size(); ++i) {
    if (arguments[i] == "-i") return arguments[i + 1].starts_with('/') ? arguments[i + 1] : "";
  }
  return "";
}

Options TranslateOptions(const Options& arguments) {
  Options options{"-nostdin"};
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& option = arguments[i];
    if (i + 1 == arguments.size()) {
      options.push_back(option);
      break;
    }
    const std::string& value = arguments[i + 1];
    if (option == "-i") {
      value.starts_with('/') ? AppendLocalInput(options, value)
                             : AppendNetworkInput(options, value);
    } else if (option == "-write_info_tag") {
      if (value == "0") Append(options, {"-map_metadata", "-1", "-fflags", "+bitexact"});
    } else if (option == "-vbsf") {
      Append(options, {"-bsf:v", value.c_str()});
    } else if (option == "-map" && value == "0:v") {
      Append(options, {"-map", "0:V"});
    } else if (option == "-f" && (value == "mp3" || value == "s16be" || value == "wav")) {
      Append(options, {"-vn", "-f", value.c_str()});
    } else {
      options.push_back(option);
      continue;  // the next one may be an option of its own
    }
    ++i;
  }
  return options;
}
