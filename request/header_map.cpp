#include "request/header_map.h"

#include <cstdio>

void PrintHeaderMap(const HeaderMap& map) {
  for (const auto& [name, value] : map) std::printf("%s: %s\r\n", name.c_str(), value.c_str());
  std::puts("\r");
}
