#include "delivery/audio_track.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <new>
#include <optional>
#include <string_view>

#include "media/module.h"
#include "platform/module/module.h"
#include "platform/sysutil/answer.h"

namespace {

constexpr std::chrono::seconds kLimit{10};
constexpr std::array<std::string_view, 12> kAudioArguments = {
    "-an", "-acodec", "copy", "mp2", "-ab", "128k", "-ar", "44100", "-ac", "2", "-map", "0:v"};

/// Whether the choice of a track can bring this argument. A file that has taken the module over
/// must not choose what else the converter does.
bool IsAudioArgument(std::string_view argument) {
  return std::ranges::find(kAudioArguments, argument) != kAudioArguments.end() ||
         (argument.starts_with("0:") && argument.size() > 2 &&
          argument.find_first_not_of("0123456789", 2) == std::string_view::npos);
}

/// Where the module puts the arguments, each ended by a NUL; a full heap must not throw through its
/// frames.
struct Appender {
  std::string text = {};
  bool failed = false;

  static void Append(void* context, const char* argument) {
    auto* self = static_cast<Appender*>(context);
    try {
      self->text.append(argument).push_back('\0');
    } catch (const std::bad_alloc&) {
      self->failed = true;
    }
  }
};

std::string Select(const std::string& path, const std::vector<std::string>& copyList) {
  auto* select = reinterpret_cast<SelectAudioTrackFunction*>(
      LoadModuleFunction(kMediaModule, kSelectAudioTrack));
  if (select == nullptr) return {};
  std::vector<const char*> copied;
  for (const std::string& codec : copyList) copied.push_back(codec.c_str());
  copied.push_back(nullptr);
  Appender appender;
  if (select(path.c_str(), copied.data(), &Appender::Append, &appender) != 0 || appender.failed) {
    throw std::bad_alloc();
  }
  return appender.text;
}

}  // namespace

void AppendAudioTrackArgs(const std::string& path, const std::vector<std::string>& copyList,
                          std::vector<std::string>& arguments) {
  const std::optional<std::string> answer =
      AnswerOf([&] { return Select(path, copyList); }, kLimit);
  std::vector<std::string> chosen;
  for (std::size_t start = 0; answer && start < answer->size();) {
    chosen.emplace_back(answer->c_str() + start);
    start += chosen.back().size() + 1;
  }
  if (!answer || !std::ranges::all_of(chosen, IsAudioArgument)) {
    syslog(LOG_ERR, "%s:%d no audio track was chosen for [%s]", "audio_track", 10, path.c_str());
    return;
  }
  arguments.insert(arguments.end(), chosen.begin(), chosen.end());
}
