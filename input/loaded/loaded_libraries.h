// The decoder libraries that this process has loaded: what stays until it ends.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace tesk {

struct ExtDecoderApi;   // input/loaded/ext_decoder.h
struct MediaLibraryApi; // input/loaded/media_library.h

/// Written under `lock`, each pointer last and with release order: whoever reads one that is not null may use the
/// table behind it without the lock. Tables, like the libraries behind them, are never taken away again.
struct LoadedLibraries {
    std::mutex lock;
    std::string pluginPath, mediaLibraryPath;
    std::atomic<const ExtDecoderApi*> plugin{nullptr};
    std::atomic<const MediaLibraryApi*> mediaLibrary{nullptr};
    std::mutex codecLock; ///< held around the media library's opening and closing of codecs
};

LoadedLibraries& loadedLibraries();

} // namespace tesk
