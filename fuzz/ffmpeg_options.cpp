// The arguments of a conversion, one a line, the input first.

#include <sstream>

#include "fuzz/target.h"
#include "platform/ffmpeg/options.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream lines(Text(data, size));
  std::vector<std::string> arguments{"-v", "0", "-i", ""};
  std::getline(lines, arguments.back());
  for (std::string line; std::getline(lines, line);) arguments.push_back(line);
  arguments.insert(arguments.end(), {"-y", "-"});

  const std::vector<std::string> options = TranslateOptions(arguments);
  const std::string& input = arguments[3];
  const bool file = input.starts_with('/');
  Require(options.size() >= 8 && options[3] == "-protocol_whitelist" && options[5] == "-i");
  Require(options[6] == (file ? "file:" + input : input));
  Require((options[4].find("file") != std::string::npos) == file);
  Require(options.front() == "-nostdin" && options.back() == "-");
  return 0;
}
