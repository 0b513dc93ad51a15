#include "request/transcoder.h"

#include <array>
#include <cstring>
#include <string_view>

#include "request/item_id.h"

namespace {

constexpr std::int32_t kReadBufferSize = 262144;
// Room for an environment variable; what is longer is cut.
using EnvironmentText = std::array<char, 1024>;

EnvironmentText CopyEnvironment(const char* name) {
  EnvironmentText text{};
  if (const char* value = std::getenv(name)) std::strncpy(text.data(), value, text.size() - 1);
  return text;
}

}  // namespace

Transcoder::Transcoder()
    : isGetRequest(0),
      entryFound(false),
      swapSampleBytes(false),
      isVideo(false),
      isVistrel(false),
      contentType("text/plain; charset=\"UTF-8\""),
      rangeStart(0),
      childStream(nullptr),
      id(0),
      readBufferSize(kReadBufferSize),
      initialDataLength(0),
      bitsPerSample(0),
      sampleRate(0),
      channels(0),
      duration(0),
      contentLength(-1),
      bytesSent(0) {
  OrvaCgiInit("", &cgiParams);
  if (const char* line = OrvaCgiGetParamLine()) OrvaCgiParseCGIParam(&cgiParams, line);
  if (const char* type = OrvaCgiGetCGIParam(&cgiParams, "type", 0)) {
    isVideo = std::string_view(type) == "video";
    isVistrel = std::string_view(type) == "Vistrel";
  }

  // The id comes from the raw URI, not from the parameters, so it counts in any kind of request.
  id = ParseItemId(CopyEnvironment("REQUEST_URI").data());
  const EnvironmentText method = CopyEnvironment("REQUEST_METHOD");
  isGetRequest = std::string_view(method.data()) == "GET" ? 1 : 0;

  entryFound = LookupMediaEntry();
}

Transcoder::~Transcoder() { OrvaCgiFree(&cgiParams); }

int Transcoder::SetInitialData(const void* data, std::int32_t size) {
  if (data == nullptr || size < 1) return -1;
  const auto length = static_cast<std::size_t>(size);
  initialData.reset(static_cast<unsigned char*>(std::malloc(length)));
  initialDataLength = 0;
  if (initialData == nullptr) return -1;
  initialDataLength = size;
  std::memcpy(initialData.get(), data, length);
  return 0;
}

void Transcoder::AddHeader(const std::string& name, const std::string& value) {
  headers.insert_or_assign(name, value);
}

int Transcoder::WriteHeaders() {
  headers.insert_or_assign("Content-Type", contentType);
  if (contentLength >= 0) headers.insert_or_assign("Content-Length", std::to_string(contentLength));
  PrintHeaderMap(headers);
  return 1;
}
