#pragma once

#include <cstdint>
#include <string>

/// The system's short name of a codec ("aac", "h264", "mpeg2" …), or an empty string for a codec
/// without one. `codecId` is an `AVCodecID` of libavcodec; a negative one has no name.
std::string GetCodecName(std::int32_t codecId);
