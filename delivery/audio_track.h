#pragma once

#include <string>
#include <vector>

/// Appends the ffmpeg arguments for the audio track of a remuxed video (`SelectAudioTrack`).
///
/// The media module, which no other delivery needs, is loaded and parses the file in a process of
/// its own that is confined to it. A module that cannot be loaded, like a file that cannot be read,
/// appends nothing and is logged; so does a process that has not answered after 10 s.
void AppendAudioTrackArgs(const std::string& path, const std::vector<std::string>& copyList,
                          std::vector<std::string>& arguments);
