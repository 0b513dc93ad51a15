// The undecoded parameters of a request.

#include "fuzz/target.h"
#include "platform/cgi/cgi.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string line = Text(data, size).c_str();
  OrvaCgiParams params;
  Require(OrvaCgiParseCGIParam(&params, line.c_str()) == 0);
  std::size_t bytes = 0;
  for (const auto& [name, value] : params.values) {
    bytes += name.size() + value.size();
    Require(OrvaCgiGetCGIParam(&params, name.c_str(), 0) == value);
  }
  Require(bytes <= line.size());

  // What comes first counts, and what follows it changes nothing.
  OrvaCgiParams more;
  Require(OrvaCgiParseCGIParam(&more, ("id=a%3D+b&" + line).c_str()) == 0);
  Require(more.values.at("id") == "a= b");
  for (const auto& [name, value] : params.values) {
    Require(name == "id" || more.values.at(name) == value);
  }
  return 0;
}
