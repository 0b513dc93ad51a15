#pragma once

#include <string>
#include <vector>

/// Turns the arguments of a conversion, as the media server's ffmpeg takes them, into those of a
/// stock ffmpeg (5.0 or newer; ffmpeg(1), ffmpeg-protocols(1)). `arguments` leaves the program's
/// name out; so does the result.
///
/// - `-write_info_tag 0` becomes tag-free, bit-exact muxing: a WAV header of 44 bytes.
/// - `-vbsf X` becomes `-bsf:v X`, but for h264_mp4toannexb: a stock ffmpeg applies it by itself,
///   and when it is named refuses videos of other codecs.
/// - `-map 0:v` becomes `-map 0:V`, for a cover picture is no video.
/// - Audio formats (mp3, s16be, wav) get `-vn`: a cover picture would eat the announced length.
/// - A local input is read as a file of one of the formats that name no other files.
/// - Any other input is an address on the network. It may be reached by its own protocols and no
///   others, is analysed for 0.2 s, and is given up after 10 s of silence, but for mms, where
///   ffmpeg has no such limit.
std::vector<std::string> TranslateOptions(const std::vector<std::string>& arguments);

/// The file that a conversion reads: the value of "-i" when it is an absolute path, else empty.
std::string LocalInput(const std::vector<std::string>& arguments);
