#pragma once

#include <map>
#include <string>

/// The parameters of one request, by decoded name. Filled by `OrvaCgiParseCGIParam`.
struct OrvaCgiParams {
  std::map<std::string, std::string> values;
};

/// Empties `params`. `name` is not used. Returns 0.
int OrvaCgiInit(const char* name, OrvaCgiParams* params);

/// The request's undecoded parameter text (RFC 3875): `QUERY_STRING`, or for a POST of
/// application/x-www-form-urlencoded the body on standard input, of which at most 64 KiB count.
/// Null when there is none. The text belongs to the library and lives until the next call.
const char* OrvaCgiGetParamLine();

/// Splits `line` at "&" and "=" and stores each parameter with "+" and "%XX" decoded
/// (application/x-www-form-urlencoded). The first of several equal names counts; a broken escape
/// stays as it is; what follows a decoded NUL in a name or value is dropped. Returns 0, or -1 when
/// the line cannot be taken apart.
int OrvaCgiParseCGIParam(OrvaCgiParams* params, const char* line);

/// The value of the parameter `name` (case-sensitive), or null when the request has none. A
/// parameter without "=" has an empty value. `flags` is not used. The text belongs to `params`.
const char* OrvaCgiGetCGIParam(const OrvaCgiParams* params, const char* name, int flags);

/// Releases what `params` holds.
void OrvaCgiFree(OrvaCgiParams* params);
