// The media library of this process: a libavformat of the 3.x generation, loaded without its headers.
#pragma once

#include "engine/base/reporter.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace tesk {

/// What the user is told about an accepted library.
inline constexpr const char* kMediaLibraryKind =
    "raw ffmpeg (3.x-era slice; audio decoders provided by the library itself)";

/// The library's functions. Their structures are opaque here; input/loaded/media_layout.h knows some of their fields.
/// Negative integers are the library's errors.
struct MediaLibraryApi {
    int (*openInput)(void** context, const char* url, void* inputFormat, void** options);
    int (*decodeAudio)(void* codec, void* frame, int* gotFrame, const void* packet); ///< bytes consumed
    int (*findStreamInfo)(void* context, void** options);
    void* (*findDecoder)(int codecId);
    int (*openCodec)(void* codec, const void* decoder, void** options);
    int (*readFrame)(void* context, void* packet);
    int (*seekFrame)(void* context, int stream, std::int64_t timestamp, int flags);
    void (*initPacket)(void* packet);
    void (*unrefPacket)(void* packet);
    void (*unrefFrame)(void* frame);
    void (*closeInput)(void** context);
    int (*closeCodec)(void* codec);
    int (*bytesPerSample)(int sampleFormat); ///< 0 when unknown
    int (*isPlanar)(int sampleFormat);
    int (*errorText)(int error, char* text, std::size_t bytes);
    void* (*findInputFormat)(const char* name);
    void (*registerAll)();
    void (*flushBuffers)(void* codec);
    void (*setLogLevel)(int level);
};

/// Loads the library at `path` and, before it, the sibling libraries that stand in the same folder. A library that is
/// accepted is initialised and stays loaded for the life of the process, siblings included; a refused one is unloaded.
/// False with `error` set, and `api` of no use, when it cannot be loaded or is no libavformat of the 3.x generation.
bool openMediaLibrary(const std::string& path, MediaLibraryApi& api, std::string& error);

/// The library at `path`, loaded the first time and kept for the life of the process. With another path later the
/// loaded one is answered and a note printed. Null with `error` set when it cannot be used. Any thread may call it.
const MediaLibraryApi* loadMediaLibrary(const std::string& path, Reporter& report, std::string& error);

} // namespace tesk
