#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/cgi/cgi.h"
#include "request/header_map.h"

/// A program and its arguments: element 0 is the absolute path, the others follow in order.
using ArgumentList = std::vector<std::string>;

/// One request: what was asked for, the item's row, the child whose output becomes the body, and
/// the response's headers.
///
/// An object is made at the start of the process and serves one request:
/// construction → `Open` → `WriteHeaders` → `Stream` or `Close`. It owns its memory and the child's
/// stream; a child still open when the object is destroyed ends with the process. Never copied,
/// never destroyed through a pointer to this class. Single-threaded.
///
/// The fields are a record that the deliveries fill in and the driver reads.
class Transcoder {
 public:
  Transcoder(const Transcoder&) = delete;
  Transcoder& operator=(const Transcoder&) = delete;

  /// Prepares the body: starts the child and sets content type, length, headers and range.
  /// Returns 0, or another value when there is no body to send; the headers gathered so far are
  /// then the whole response. Called once.
  virtual int Open() = 0;

  /// Stores `value` under `name` among the response headers, replacing an earlier value.
  void AddHeader(const std::string& name, const std::string& value);

  /// Completes the headers with Content-Type and, when the length is known, Content-Length, and
  /// prints them (`PrintHeaderMap`). Called once, after `Open`. Always returns 1.
  int WriteHeaders();

  /// Sends the body to standard output, from `rangeStart` and, when `contentLength` is positive,
  /// exactly that many bytes (cut, or filled up with zero bytes); then closes the source. What has
  /// arrived is forwarded before more is waited for. An output that ends before `rangeStart` gives
  /// an empty body. Nothing is read beyond the announced length. Returns the count of the last
  /// read, 0 at the end of the child's output.
  int Stream();

  /// Closes the child's stream, releases the read buffer and flushes standard output. May be
  /// called again, and then only flushes.
  void Close();

  /// Reads the item's row from the media database into the fields below. Returns whether there is
  /// one; on failure no field is changed.
  bool LookupMediaEntry();

  /// Sets the body's length in bytes; a negative one means unknown.
  void SetContentLength(std::int64_t length) { contentLength = length; }
  /// Sets the Content-Type to a copy of the NUL-terminated `text`.
  void SetContentType(const char* text) { contentType = text; }
  /// Copies `size` bytes that were already read from the child, to be sent before the rest of its
  /// output. Returns 0, or -1 for a null pointer, a size below 1 or an exhausted heap.
  int SetInitialData(const void* data, std::int32_t size);

  /// Starts a program as root with its standard output connected to `childStream`, and allocates
  /// `readBuffer`. Takes 2 to 199 strings. Returns 0, or -1 with nothing left open when the list
  /// does not fit, the switch to root or the start fails, or the heap is exhausted.
  int StartChild(const ArgumentList& arguments);

  /// Reads `size` bytes of the child's output into `data`, fewer only at its end. Returns the
  /// count; 0 when there are none (the source is then closed), no source is open or an argument is
  /// null or below 1.
  std::int32_t Read(void* data, std::int32_t size);

  /// Reads and drops `count` bytes of `stream` through `readBuffer`, which must be there. Returns
  /// 0, or -1 when the stream ended before. A count below 1 drops nothing.
  int SkipBytes(std::int64_t count, std::FILE* stream);

  struct Free {
    void operator()(void* block) const { std::free(block); }
  };
  using Block = std::unique_ptr<unsigned char[], Free>;

  std::int32_t isGetRequest;  ///< 1 when the method is exactly "GET", else 0
  bool entryFound;            ///< the item's row was read
  bool swapSampleBytes;       ///< exchange the bytes of each 16-bit pair on the way out
  bool isVideo;               ///< "type" is "video"
  bool isVistrel;             ///< "type" is "Vistrel", the sibling video package
  OrvaCgiParams cgiParams;    ///< the request's parameters
  std::string contentType;
  std::string path;                ///< the item's file
  std::string extension;           ///< what follows the last "." of `path`, case kept
  std::int64_t rangeStart;         ///< offset of the first body byte in the child's output
  std::FILE* childStream;          ///< the child's standard output, or null
  Block readBuffer;                ///< null or `readBufferSize` bytes
  Block initialData;               ///< null or `initialDataLength` bytes
  std::int32_t id;                 ///< the item's database id; 0 when the URI names none
  std::int32_t readBufferSize;     ///< bytes
  std::int32_t initialDataLength;  ///< bytes
  std::int32_t bitsPerSample;      ///< 16 for audio, 0 for video
  std::int32_t sampleRate;         ///< samples per second
  std::int32_t channels;
  std::int32_t duration;       ///< whole seconds
  std::int64_t contentLength;  ///< body bytes announced; negative: unknown
  std::int64_t bytesSent;      ///< body bytes written so far
  HeaderMap headers;

 protected:
  /// Takes the request apart and looks the item up. Never fails: `entryFound` tells.
  Transcoder();
  ~Transcoder();

 private:
  bool IsOpen() const {
    return childStream != nullptr && readBuffer != nullptr && readBufferSize != 0;
  }
  void Write(const unsigned char* data, std::int64_t size);
  bool SeekToRangeStart();
  void CloseChild();
};
