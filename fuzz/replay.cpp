// Runs a fuzz target over the files of a folder.

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/target.h"

int main(int count, char** values) {
  Require(count == 2);
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(values[1])) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    ++files;
  }
  return files > 0 ? 0 : 1;
}
