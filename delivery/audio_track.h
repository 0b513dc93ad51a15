#pragma once

#include <string>
#include <vector>

/// Appends the ffmpeg arguments for the audio track of a remuxed video (`SelectAudioTrack`).
/// Loads the media module, which no other delivery needs. A module that cannot be loaded, like a
/// file that cannot be read, appends nothing and is logged. Throws `std::bad_alloc`.
void AppendAudioTrackArgs(const std::string& path, const std::vector<std::string>& copyList,
                          std::vector<std::string>& arguments);
