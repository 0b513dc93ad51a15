#pragma once

#include <map>
#include <string>

/// Response headers by name. Names are unique and case-sensitive; the order is that of their bytes.
using HeaderMap = std::map<std::string, std::string>;

/// Writes `map` to standard output as a CGI header block (RFC 3875 section 6.2): "name: value" and
/// CR LF for each entry in name order, then an empty line. Names and values are written as they
/// are, up to a NUL byte. The block stays in the stdio buffer; output errors are not reported.
void PrintHeaderMap(const HeaderMap& map);
