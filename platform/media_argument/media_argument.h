#pragma once

#include <string>

namespace LibOrvaVTE {

/// What the converter can do with a stream.
class ArgumentHelper {
 public:
  /// True when libavcodec knows an audio codec by the name `codec` (as `avcodec_get_name` gives it)
  /// and has a decoder for it. An empty or unknown name is not decodable.
  static bool AbleToDecodeAudioByCodec(const std::string& codec);
};

}  // namespace LibOrvaVTE
