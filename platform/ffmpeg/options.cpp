#include "platform/ffmpeg/options.h"

#include <initializer_list>

namespace {

using Options = std::vector<std::string>;

void Append(Options& options, std::initializer_list<const char*> more) {
  options.insert(options.end(), more.begin(), more.end());
}

void AppendInput(Options& options, const std::string& input) {
  if (input.starts_with('/')) {
    Append(options, {"-protocol_whitelist", "file", "-i"});
    options.push_back("file:" + input);
  } else {
    // A station sends no faster than it plays: what is analysed first is heard that much later.
    Append(options, {"-analyzeduration", "200000"});
    Append(options, {"-protocol_whitelist", "http,https,tls,tcp,udp,rtp,rtmp,hls", "-i"});
    options.push_back(input);
  }
}

}  // namespace

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
      AppendInput(options, value);
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
