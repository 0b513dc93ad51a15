// The child process whose standard output becomes the body.

#include <array>

#include "platform/sysutil/sysutil.h"
#include "request/run_as_guard.h"
#include "request/transcoder.h"

namespace {

constexpr LogPosition kStart{"transcoder", 254};
constexpr std::size_t kArgumentSlots = 200;  // the last one for the null pointer

}  // namespace

int Transcoder::StartChild(const ArgumentList& arguments) {
  if (arguments.size() < 2 || arguments.size() >= kArgumentSlots) {
    CloseChild();
    return -1;
  }
  std::array<const char*, kArgumentSlots> argv{};
  for (std::size_t i = 0; i < arguments.size(); ++i) argv[i] = arguments[i].c_str();

  IF_RUN_AS(0, 0, kStart) { childStream = OLIBCPopenv(argv[0], "r", argv.data()); }
  if (childStream != nullptr) {
    readBuffer.reset(
        static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(readBufferSize))));
  }
  if (readBuffer == nullptr) {
    CloseChild();
    return -1;
  }
  return 0;
}

std::int32_t Transcoder::Read(void* data, std::int32_t size) {
  if (!IsOpen() || data == nullptr || size < 1) return 0;
  const std::size_t count = std::fread(data, 1, static_cast<std::size_t>(size), childStream);
  if (count == 0) Close();
  return static_cast<std::int32_t>(count);
}

void Transcoder::CloseChild() {
  if (childStream != nullptr) {
    OLIBCPclose(childStream);
    childStream = nullptr;
  }
  readBuffer.reset();
}

void Transcoder::Close() {
  CloseChild();
  std::fflush(stdout);
}
