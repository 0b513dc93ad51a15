#pragma once

#include <cstdint>

/// The database id that a request URI names: the decimal number (strtol(3)) after the first "id=",
/// in 32 bits; 0 when there is none.
std::int32_t ParseItemId(const char* uri);
