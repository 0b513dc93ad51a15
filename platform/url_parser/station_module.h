#pragma once

/// The stations module's one function, in plain C so that it can be called whatever runtime the
/// caller is linked with. It fetches the playlist at `address` and stores the NUL-terminated
/// address of its first playable network entry in `url`, a buffer of `size` bytes. An entry that is
/// itself a playlist stands for the first of its entries that is none. Of a playlist of HTTP Live
/// Streaming the address is the answer. Returns 0, or -1 when there is no such entry, the servers
/// do not answer well within 5 s in all, or the heap is exhausted.
extern "C" using ResolveStationFunction = int(const char* address, char* url, int size);
inline constexpr char kStationModule[] = "stations.so";
inline constexpr char kResolveStation[] = "LumetraResolveStation";
