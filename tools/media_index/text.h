#pragma once

#include <string>
#include <string_view>

/// `text` as valid UTF-8: each longest part that cannot belong to a character becomes U+FFFD (The
/// Unicode Standard, 3.9, "substitution of maximal subparts").
std::string ValidUtf8(std::string_view text);

/// `text` as one line of valid UTF-8 that no terminal obeys and no reader of lines splits: control
/// characters and line separators become `mark`.
std::string OneLine(std::string_view text, char mark);
