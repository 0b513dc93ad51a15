#include "delivery/audio_track.h"

#include <new>

#include "media/module.h"
#include "platform/module/module.h"

namespace {

/// Where the module puts the arguments; a full heap must not throw through its frames.
struct Appender {
  std::vector<std::string>& arguments;
  bool failed = false;

  static void Append(void* context, const char* argument) {
    auto* self = static_cast<Appender*>(context);
    try {
      self->arguments.emplace_back(argument);
    } catch (const std::bad_alloc&) {
      self->failed = true;
    }
  }
};

}  // namespace

void AppendAudioTrackArgs(const std::string& path, const std::vector<std::string>& copyList,
                          std::vector<std::string>& arguments) {
  auto* select = reinterpret_cast<SelectAudioTrackFunction*>(
      LoadModuleFunction(kMediaModule, kSelectAudioTrack));
  if (select == nullptr) return;
  std::vector<const char*> copied;
  for (const std::string& codec : copyList) copied.push_back(codec.c_str());
  copied.push_back(nullptr);
  Appender appender{arguments};
  if (select(path.c_str(), copied.data(), &Appender::Append, &appender) != 0 || appender.failed) {
    throw std::bad_alloc();
  }
}
