#pragma once

/// The media module's one function, for a process of its own, which it confines for good to the
/// file at `path` and the system configuration. In plain C, so that it can be called whatever
/// runtime the caller is linked with. It stands for `SelectAudioTrack`: `copyList` ends with a null
/// pointer, and each argument is handed to `append` with `context`; `append` must not throw.
/// Returns 0, or -1 when the heap is exhausted.
extern "C" using SelectAudioTrackFunction =
    int(const char* path, const char* const* copyList,
        void (*append)(void* context, const char* argument), void* context);
inline constexpr char kMediaModule[] = "media.so";
inline constexpr char kSelectAudioTrack[] = "LumetraSelectAudioTrack";
