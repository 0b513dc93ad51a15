#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>

#include "platform/sysutil/sysutil.h"

namespace {

std::string_view Trim(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r\v\f";
  const auto first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

std::string_view Unquote(std::string_view text) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') return text;
  return text.substr(1, text.size() - 2);
}

}  // namespace

int OLIBCFileGetKeyValue(const char* file, const char* key, char* value, int size, int) {
  if (size < 1) return -1;
  std::ifstream lines(file);
  if (!lines) return -1;
  for (std::string line; std::getline(lines, line);) {
    const std::string_view text = line;
    const auto equals = text.find('=');
    // No key begins with "#", so a comment never matches.
    if (equals == std::string_view::npos || Trim(text.substr(0, equals)) != key) continue;
    const std::string_view found = Unquote(Trim(text.substr(equals + 1)));
    const std::size_t length = found.copy(value, static_cast<std::size_t>(size) - 1);
    value[length] = '\0';
    return 1;
  }
  return lines.bad() ? -1 : 0;
}
