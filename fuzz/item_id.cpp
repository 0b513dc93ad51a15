// A request URI.

#include "request/item_id.h"

#include "fuzz/target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string uri = Text(data, size).c_str();
  const std::int32_t id = ParseItemId(uri.c_str());
  const auto found = uri.find("id=");
  Require(id == (found == std::string::npos ? 0 : ParseItemId(uri.c_str() + found)));
  const auto number = static_cast<std::int32_t>(size) - 100;
  Require(ParseItemId(("id=" + std::to_string(number) + "&" + uri).c_str()) == number);
  return 0;
}
