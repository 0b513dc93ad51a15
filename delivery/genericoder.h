#pragma once

#include "request/transcoder.h"

/// How the body is made.
enum class Delivery {
  kPassThrough,  ///< a WAV file as it is
  kAudio,        ///< a file, converted to the output profile
  kRadio,        ///< a radio station, converted to the output profile
  kRemux,        ///< a Matroska video as an MPEG transport stream
};

/// The one kind of request there is: an item, or a radio station in its stead, delivered in the
/// output profile that the request asks for (MP3, LPCM or WAV), or remuxed.
class GeneriCoder final : public Transcoder {
 public:
  /// Reads the output parameters on top of what `Transcoder` reads and sets the content type.
  GeneriCoder();

  /// Chooses the delivery, starts its child and prepares what stands before the body; see
  /// `Transcoder::Open`. Returns -1 when the child cannot be started, a WAV conversion yields
  /// nothing or the byte range cannot be satisfied (the headers then say so). Writes and logs
  /// nothing.
  int Open() override;

  /// The delivery of this request.
  Delivery ChooseDelivery() const;
  /// The child's command line. For a remux the file is probed, for a station a playlist fetched.
  ArgumentList BuildArguments(Delivery delivery) const;

  /// Each appends one run of the output half of a conversion's command line to `arguments`: format,
  /// encoder, WAV info tag, resampling. Called in this order, after the input.
  void AppendFormatArgs(ArgumentList& arguments) const;
  void AppendCodecArgs(ArgumentList& arguments) const;
  void AppendInfoTagArgs(ArgumentList& arguments) const;
  void AppendResampleArgs(ArgumentList& arguments) const;

  bool isPcm;         ///< raw 16-bit big-endian samples, "audio/L16"; never together with `isMp3`
  bool downsample;    ///< 44100 Hz, 2 channels, 16 bits
  bool aacCopy;       ///< AAC may be copied into a remuxed video
  bool ac3Copy;       ///< AC-3 may be copied into a remuxed video
  bool isMp3;         ///< MP3; neither this nor `isPcm` is the WAV profile
  std::string radio;  ///< a radio station, read instead of the item's file; empty: none

 private:
  bool IsTrue(const char* parameter) const;
  void SetLpcmContentType(std::int32_t rate, std::int32_t channelCount);
  std::int64_t EstimateLength(Delivery delivery) const;
  int PrepareWav(Delivery delivery, std::int64_t length);
  int ApplyRange();
};
