#pragma once

#include <cstdio>

/// The size in bytes that pipes for a body should have: what an unprivileged process may ask for by
/// default (F_SETPIPE_SZ in fcntl(2)), two to three times as fast as the 64 KiB they come with.
inline constexpr int kPipeSize = 1 << 20;

/// Starts the program at `path` with exactly the argument array `argv` (ended by a null pointer;
/// its first entry is the path again) and connects its standard output to a pipe. Returns an
/// unbuffered stream on the pipe's other end, to be given to `OLIBCPclose`; null when
/// `mode` is not "r" or the program cannot be started.
///
/// The child inherits the effective ids and standard error, reads /dev/null, has default signal
/// dispositions, an empty signal mask and a fixed small environment, and no other descriptor. The
/// pipe is as large as the system allows, up to `kPipeSize`. Safe while descriptors 0 to 2 are
/// closed. See posix_spawn(3) and pipe(7).
std::FILE* OLIBCPopenv(const char* path, const char* mode, const char* const* argv);

/// Closes a stream of `OLIBCPopenv`. Reaps the child if it has ended; neither waits for it nor
/// signals it: a child that still writes ends by SIGPIPE. Returns fclose(3)'s result.
int OLIBCPclose(std::FILE* stream);

/// Reads the value of `key` from the file at `file`, whose lines are `key=value` or `key="value"`;
/// white space around key and value and lines that start with "#" do not count, and the first line
/// with the key does. Stores the value, cut to `size` - 1 bytes, and a NUL in `value`. `flags` is
/// always 0. Returns 1 when a value (an empty one too) was stored, 0 when the file has no such key,
/// -1 when the file cannot be read or `size` is below 1; then `value` is not touched.
int OLIBCFileGetKeyValue(const char* file, const char* key, char* value, int size, int flags);
