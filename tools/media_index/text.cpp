#include "tools/media_index/text.h"

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

struct Character {
  std::size_t length;
  char32_t code;
  bool valid;
};

/// The character that `text`, which is not empty, begins with (RFC 3629, section 4).
Character First(std::string_view text) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned first = byte(0);
  if (first < 0x80) return {1, first, true};
  if (first < 0xC2 || first > 0xF4) return {1, 0, false};
  const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  // Of the second byte: no longer form than needed, no surrogate, nothing above U+10FFFF.
  unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  char32_t code = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if (byte(i) < low || byte(i) > high) return {i, 0, false};
    code = code << 6 | (byte(i) & 0x3F);
    low = 0x80;
    high = 0xBF;
  }
  return {length, code, true};
}

bool IsControl(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029;
}

}  // namespace

std::string ValidUtf8(std::string_view text) {
  std::string valid;
  while (!text.empty()) {
    const Character character = First(text);
    valid += character.valid ? text.substr(0, character.length) : kReplacement;
    text.remove_prefix(character.length);
  }
  return valid;
}

std::string OneLine(std::string_view text, char mark) {
  std::string line;
  const std::string valid = ValidUtf8(text);
  for (std::string_view rest = valid; !rest.empty();) {
    const Character character = First(rest);
    if (IsControl(character.code)) {
      line += mark;
    } else {
      line += rest.substr(0, character.length);
    }
    rest.remove_prefix(character.length);
  }
  return line;
}
