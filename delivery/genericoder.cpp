#include "delivery/genericoder.h"

#include <strings.h>

#include <array>
#include <cstdio>
#include <memory>
#include <span>

#include "delivery/wav_header.h"
#include "platform/http_range/http_range.h"

namespace {

constexpr std::int64_t kLiveLength = 4294967295;
constexpr std::int64_t kMp3ByteRate = 16000;                  // 128 kbit/s
constexpr std::int64_t kLongest = 1'000'000'000'000'000'000;  // fits every header text
constexpr std::int32_t kWavHeaderBytes = 128;
constexpr char kLpcmFeatures[] =
    "DLNA.ORG_PN=LPCM;DLNA.ORG_OP=01;DLNA.ORG_FLAGS=01700000000000000000000000000000";

}  // namespace

GeneriCoder::GeneriCoder()
    : isPcm(false), downsample(false), aacCopy(false), ac3Copy(false), isMp3(false) {
  const char* format = OrvaCgiGetCGIParam(&cgiParams, "format", 0);
  downsample = IsTrue("downsample");
  aacCopy = IsTrue("aac_copy");
  ac3Copy = IsTrue("ac3_copy");
  SetContentType("audio/wav");
  if (downsample) {
    sampleRate = 44100;
    bitsPerSample = 16;
    channels = 2;
  }
  if (format != nullptr) {
    if (strcasecmp(format, "pcm") == 0) {
      isPcm = true;
      SetLpcmContentType(sampleRate, channels);
    } else if (strcasecmp(format, "m2ts") == 0) {
      SetContentType("video/mpeg");
    } else if (strcasecmp(format, "mp3") == 0) {
      SetContentType("audio/mpeg");
      isMp3 = true;
    }
  }
  if (const char* station = OrvaCgiGetCGIParam(&cgiParams, "radio", 0)) radio = station;
}

bool GeneriCoder::IsTrue(const char* parameter) const {
  const char* value = OrvaCgiGetCGIParam(&cgiParams, parameter, 0);
  return value != nullptr && strcasecmp(value, "true") == 0;
}

void GeneriCoder::SetLpcmContentType(std::int32_t rate, std::int32_t channelCount) {
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "audio/L16;rate=%d;channels=%d", rate, channelCount);
  SetContentType(text.data());
}

Delivery GeneriCoder::ChooseDelivery() const {
  if (!radio.empty()) return Delivery::kRadio;
  if (!isMp3 && strcasecmp(extension.c_str(), "wav") == 0) return Delivery::kPassThrough;
  if (strcasecmp(extension.c_str(), "mkv") == 0) return Delivery::kRemux;
  return Delivery::kAudio;
}

/// The body's bytes before a WAV header is added; 0 or less when they cannot be told.
std::int64_t GeneriCoder::EstimateLength(Delivery delivery) const {
  if (delivery == Delivery::kRadio) return kLiveLength;
  const std::int64_t seconds = std::int64_t{duration} + 1;
  if (isMp3) return seconds * kMp3ByteRate;
  // A row may hold any numbers; what no length can hold is as good as unknown.
  std::int64_t bits = 0;
  std::int64_t length = 0;
  if (__builtin_mul_overflow(std::int64_t{bitsPerSample} * sampleRate, channels, &bits) ||
      __builtin_mul_overflow(seconds, bits / 8, &length) || length > kLongest) {
    return 0;
  }
  return length;
}

int GeneriCoder::Open() {
  const Delivery delivery = ChooseDelivery();
  if (StartChild(BuildArguments(delivery)) != 0) return -1;
  swapSampleBytes = delivery == Delivery::kPassThrough && isPcm;

  const std::int64_t length = EstimateLength(delivery);
  if (delivery == Delivery::kRemux) {
    // The profile and a music row describe audio; nothing of it holds for a transport stream.
    if (length > 0) SetContentType("video/mpeg");
    return 0;
  }
  if (isPcm) AddHeader("contentFeatures.dlna.org", kLpcmFeatures);
  if (length <= 0) return 0;
  if (isPcm) {
    const bool fixed = downsample || delivery == Delivery::kRadio;
    SetLpcmContentType(fixed ? 44100 : sampleRate, fixed ? 2 : channels);
  }
  if (isPcm || isMp3) {
    SetContentLength(length);
  } else if (PrepareWav(delivery, length) != 0) {
    return -1;
  }
  return ApplyRange();
}

/// Reads the head of a WAV stream, which tells its length or is told it, and keeps it for the body.
int GeneriCoder::PrepareWav(Delivery delivery, std::int64_t length) {
  std::array<unsigned char, kWavHeaderBytes> head{};
  const std::int32_t size = Read(head.data(), kWavHeaderBytes);
  if (size <= 0) return -1;
  const std::span<unsigned char> read(head.data(), static_cast<std::size_t>(size));
  if (delivery == Delivery::kPassThrough) {
    SetContentLength(WavFileLength(read));
  } else {
    SetContentLength(FixWavHeader(read, length, delivery == Delivery::kRadio));
  }
  SetInitialData(head.data(), size);
  return 0;
}

int GeneriCoder::ApplyRange() {
  _tag_HTTP_RANGE_SEGMENT* segments = nullptr;
  const int result = HTTPFileOutputer().SeekHttpRange(&segments, contentLength);
  const std::unique_ptr<_tag_HTTP_RANGE_SEGMENT, Free> owner(segments);
  if (result > 0) {
    std::array<char, 64> range;
    std::snprintf(range.data(), range.size(), "bytes %lld-%lld/%lld",
                  static_cast<long long>(segments->start), static_cast<long long>(segments->end),
                  static_cast<long long>(contentLength));
    AddHeader("Status", "206 Partial content");
    AddHeader("Content-Range", range.data());
    rangeStart = segments->start;
    SetContentLength(segments->end - segments->start + 1);
    return 0;
  }
  if (result == 0) return 0;
  AddHeader("Status", "416 Requested Range Not Satisfiable");
  AddHeader("Accept-Ranges", "none");
  SetContentLength(0);
  return -1;
}
