#pragma once

#include <json/value.h>

#include <string>
#include <vector>

/// Appends the ffmpeg arguments that map one audio track into a remuxed video.
///
/// `codec` is the track's codec name, `streamId` its stream index in decimal. The track is copied
/// when `copyList` holds its codec, else converted to MPEG audio layer II. An empty `codec` or
/// `streamId` appends "-an".
void AppendAudioMapArgs(const std::string& codec, const std::string& streamId,
                        std::vector<std::string> copyList, std::vector<std::string>& arguments);

/// Describes the audio streams of the media file at `path`, in file order: for each, an object with
/// the strings "id" (the stream's index among all streams, decimal), "language" (its tag, or empty)
/// and "codec" (`GetCodecName`) is appended to the array `streams`.
///
/// The file is opened as root. Returns false, with a line in the log and `streams` unchanged, when
/// `path` is empty or libavformat cannot open the file or read its stream information.
bool ParseAudioMetadata(const std::string& path, Json::Value& streams);

/// Chooses the audio track of a remuxed video and appends the arguments that map it
/// (`AppendAudioMapArgs`): the first decodable track in the system's language (key "codepage" of
/// the system configuration, English without it), else the first decodable one, else "-an". A file
/// that cannot be read appends nothing and is logged.
void SelectAudioTrack(const std::string& path, const std::vector<std::string>& copyList,
                      std::vector<std::string>& arguments);
