#include "delivery/wav_header.h"

namespace {

constexpr std::size_t kRiffSize = 4;
constexpr std::size_t kFormatSize = 16;
constexpr std::size_t kDataSize = 40;  // after a format chunk of 16 bytes
constexpr int kHeaderBytes = 44;       // likewise
constexpr int kPlainFormat = 16;

void PutLittleEndian(std::span<unsigned char> head, std::size_t offset, std::uint32_t value) {
  for (std::size_t i = 0; i < 4 && offset + i < head.size(); ++i) {
    head[offset + i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

}  // namespace

std::int64_t WavFileLength(std::span<const unsigned char> head) {
  if (head.size() < kRiffSize + 4) return static_cast<std::int64_t>(head.size());
  std::uint32_t size = 0;
  for (std::size_t i = 4; i > 0; --i) size = size << 8 | head[kRiffSize + i - 1];
  return std::int64_t{static_cast<std::int32_t>(size)} + 8;
}

std::int64_t FixWavHeader(std::span<unsigned char> head, std::int64_t length, bool live) {
  const int format = head.size() > kFormatSize ? head[kFormatSize] : 0;
  const int surplus = format > kPlainFormat ? format - kPlainFormat : 0;
  PutLittleEndian(head, kRiffSize, live ? UINT32_MAX : static_cast<std::uint32_t>(length + 36));
  PutLittleEndian(head, kDataSize + static_cast<std::size_t>(surplus),
                  static_cast<std::uint32_t>(length));
  return length + kHeaderBytes + surplus;
}
