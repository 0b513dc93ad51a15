#include <cstdio>
#include <cstdlib>
#include <memory>
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

/// A line of getline(3), which grows as needed. Not a stream of the C++ library: its locales would
/// be set up at every start of the program.
struct Line {
  Line() = default;
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line() { std::free(text); }

  char* text = nullptr;
  std::size_t capacity = 0;
};

}  // namespace

int OLIBCFileGetKeyValue(const char* file, const char* key, char* value, int size, int) {
  if (size < 1) return -1;
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> lines(std::fopen(file, "re"),
                                                                 &std::fclose);
  if (lines == nullptr) return -1;
  Line line;
  for (ssize_t length; (length = getline(&line.text, &line.capacity, lines.get())) >= 0;) {
    std::string_view text(line.text, static_cast<std::size_t>(length));
    if (text.ends_with('\n')) text.remove_suffix(1);
    const auto equals = text.find('=');
    // No key begins with "#", so a comment never matches.
    if (equals == std::string_view::npos || Trim(text.substr(0, equals)) != key) continue;
    const std::string_view found = Unquote(Trim(text.substr(equals + 1)));
    const std::size_t stored = found.copy(value, static_cast<std::size_t>(size) - 1);
    value[stored] = '\0';
    return 1;
  }
  return std::ferror(lines.get()) != 0 ? -1 : 0;
}
