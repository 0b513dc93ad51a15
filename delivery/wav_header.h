#pragma once

#include <cstdint>
#include <span>

/// The length in bytes that a WAV file's own header gives the file: the RIFF chunk size, a signed
/// little-endian number, and the 8 bytes before it counts. `head` is the start of the file; one
/// shorter than 8 bytes is the whole file, and its size the answer.
std::int64_t WavFileLength(std::span<const unsigned char> head);

/// Writes the true sizes into the header of a WAV stream that was written without knowing them.
///
/// `head` is the start of the stream; only bytes of it are changed. `length` is the size in bytes
/// of the samples. The header may carry a format chunk of more than 16 bytes, but no other chunk
/// before the samples. The RIFF chunk size of a `live` stream is the largest there is. Returns the
/// length of the whole stream in bytes.
std::int64_t FixWavHeader(std::span<unsigned char> head, std::int64_t length, bool live);
