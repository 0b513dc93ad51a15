#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Exchanges the two bytes of every 16-bit pair in `data`; an odd last byte of `size` stays.
inline void SwapPairs(unsigned char* data, std::size_t size) {
  // In words, which the compiler turns into vectors.
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    std::uint16_t pair;
    std::memcpy(&pair, data + i, sizeof pair);
    pair = __builtin_bswap16(pair);
    std::memcpy(data + i, &pair, sizeof pair);
  }
}
