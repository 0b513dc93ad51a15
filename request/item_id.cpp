#include "request/item_id.h"

#include <cstdlib>
#include <cstring>

std::int32_t ParseItemId(const char* uri) {
  const char* found = std::strstr(uri, "id=");
  return found == nullptr ? 0 : static_cast<std::int32_t>(std::strtol(found + 3, nullptr, 10));
}
