#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

/// One run of a fuzz target (libFuzzer's interface); aborts where a property does not hold.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline void Require(bool holds) {
  if (!holds) std::abort();
}

inline std::string Text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}
