// Eight bytes of length, then the head of a WAV stream.

#include "delivery/wav_header.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz/target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::int64_t length = 0;
  if (size < sizeof length) return 0;
  std::memcpy(&length, data, sizeof length);
  length &= INT64_MAX / 2;
  const std::vector<unsigned char> head(data + sizeof length, data + size);
  const std::int64_t own = WavFileLength(head);
  Require(head.size() < 8 ? own == static_cast<std::int64_t>(head.size())
                          : own >= INT32_MIN && own <= std::int64_t{INT32_MAX} + 8);
  for (const bool live : {false, true}) {
    std::vector<unsigned char> fixed = head;
    const std::int64_t surplus = FixWavHeader(fixed, length, live) - length - 44;
    Require(surplus >= 0 && surplus <= 255 - 16);
    const auto sizes = 40 + static_cast<std::size_t>(surplus);
    for (std::size_t i = 0; i < head.size(); ++i) {
      Require(fixed[i] == head[i] || (i >= 4 && i < 8) || (i >= sizes && i < sizes + 4));
    }
    std::uint32_t samples = 0;
    if (head.size() >= sizes + 4) std::memcpy(&samples, &fixed[sizes], sizeof samples);
    Require(head.size() < sizes + 4 || samples == static_cast<std::uint32_t>(length));
  }
  return 0;
}
