// The way of the body from the child's output to standard output.

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/sysutil/sysutil.h"
#include "request/swap_pairs.h"
#include "request/transcoder.h"

namespace {

constexpr int kMoment = 5;  // milliseconds

/// Reads what the descriptor has, up to `size` bytes, and waits for it only when there is nothing;
/// what was written so far goes out before the wait. Returns 0 at the end and on an error.
std::int64_t ReadArrived(int descriptor, unsigned char* data, std::size_t size) {
  pollfd ready{descriptor, POLLIN, 0};
  if (poll(&ready, 1, 0) == 0) std::fflush(stdout);
  for (;;) {
    const ssize_t count = read(descriptor, data, size);
    if (count >= 0) return count;
    if (errno != EINTR) return 0;
  }
}

/// What arrives in smaller pieces is worth waiting for more, in bytes; not so much that a small
/// pipe would be full long before.
std::int64_t SmallPiece(int descriptor) {
  constexpr int kSmall = 64 * 1024;
  return std::min(kSmall, fcntl(descriptor, F_GETPIPE_SZ) / 16);
}

/// Sends what is there and gives the child a moment, or until its end: a converter writes frame by
/// frame, some thousand times a second, and each would wake this process, the server and the
/// client.
void LetMoreArrive(int descriptor) {
  std::fflush(stdout);
  pollfd end{descriptor, 0, 0};
  poll(&end, 1, kMoment);
}

}  // namespace

int Transcoder::SkipBytes(std::int64_t count, std::FILE* stream) {
  while (count > 0) {
    const auto piece = static_cast<std::size_t>(std::min<std::int64_t>(count, readBufferSize));
    if (std::fread(readBuffer.get(), 1, piece, stream) != piece) return -1;
    count -= static_cast<std::int64_t>(piece);
  }
  return 0;
}

void Transcoder::Write(const unsigned char* data, std::int64_t size) {
  std::fwrite(data, 1, static_cast<std::size_t>(size), stdout);
  bytesSent += size;
}

/// Sends the part of the initial data that was asked for, or drops what comes before the range.
/// Returns false when the child's output ends before it.
bool Transcoder::SeekToRangeStart() {
  if (rangeStart < initialDataLength) {
    std::int64_t size = initialDataLength - rangeStart;
    if (contentLength > 0) size = std::min(size, contentLength);
    Write(initialData.get() + rangeStart, size);
    return true;
  }
  const std::int64_t skip = rangeStart - initialDataLength;
  if (skip == 0) return true;
  std::fflush(stdout);  // the headers need not wait for what is dropped
  const bool insidePair = swapSampleBytes && skip % 2 != 0;
  if (SkipBytes(insidePair ? skip - 1 : skip, childStream) != 0) return false;
  if (!insidePair) return true;
  // Pairs are those of the whole body: the range begins with the second byte of a swapped one.
  const std::size_t got = std::fread(readBuffer.get(), 1, 2, childStream);
  if (got == 2) Write(readBuffer.get(), 1);
  return got != 0;
}

int Transcoder::Stream() {
  if (!IsOpen() || !SeekToRangeStart()) {
    Close();
    return 0;
  }
  // No pipe, or none that may grow: then it goes with what there is.
  static_cast<void>(fcntl(STDOUT_FILENO, F_SETPIPE_SZ, kPipeSize));
  const int descriptor = fileno(childStream);  // the stream is unbuffered: nothing is left in it
  const std::int64_t smallPiece = SmallPiece(descriptor);
  std::int64_t count = 0;
  std::int64_t held = 0;  // 1 when the buffer starts with a byte whose pair has not arrived
  while (contentLength <= 0 || bytesSent < contentLength) {
    count = ReadArrived(descriptor, readBuffer.get() + held,
                        static_cast<std::size_t>(readBufferSize - held));
    std::int64_t size = held + count;
    held = swapSampleBytes && count > 0 ? size % 2 : 0;
    size -= held;
    if (swapSampleBytes) SwapPairs(readBuffer.get(), static_cast<std::size_t>(size));
    Write(readBuffer.get(), contentLength > 0 ? std::min(size, contentLength - bytesSent) : size);
    if (count == 0) break;
    if (held != 0) readBuffer[0] = readBuffer[static_cast<std::size_t>(size)];
    const bool more = contentLength <= 0 || bytesSent < contentLength;
    if (more && count < smallPiece) LetMoreArrive(descriptor);
  }
  // Up to 4 GiB follow a radio station that ended, so not under a lock each.
  for (; bytesSent < contentLength; ++bytesSent) putc_unlocked(0, stdout);
  Close();
  return static_cast<int>(count);
}
