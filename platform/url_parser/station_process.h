#pragma once

#include <string>

/// Resolves the station at `address`, a playlist, with the stations module (station_module.h) in a
/// process of its own, which has given up root for good: it runs as the real user, or as nobody
/// when that is root, without the environment (see `AnswerOf` for its descriptors), and confined to
/// the network.
///
/// Returns the address of the stream, which is a network address whatever became of that process,
/// or nothing when there is none after 5 s.
std::string ResolveStation(const char* address);
