#include "input/loaded/media_library.h"

#include "input/loaded/loaded_libraries.h"
#include "input/loaded/media_layout.h"
#include "platform/dynamic_library.h"
#include "platform/files.h"

#include <array>
#include <filesystem>
#include <memory>

namespace tesk {
namespace {

constexpr const char* kLooksLikeSibling = "(this looks like libavcodec/libavutil -- pick libavformat, which exports "
                                          "avformat_open_input; or use a TESK decoder plugin)";
constexpr const char* kTooNew = "(this ffmpeg is too new -- the player uses the 3.x API; pick an ffmpeg 3.x "
                                "libavformat, or use a TESK decoder plugin)";

/// What libavformat.so.57 needs, what it needs first. The system's loader looks for them in its own folders only,
/// but is content with a library of that name that is loaded already.
constexpr std::array kSiblings = {"libavutil.so.55", "libswresample.so.2", "libavcodec.so.57"};

/// The library and its siblings; unloaded in the opposite order unless they are kept.
class LibraryFamily {
public:
    bool load(const std::string& path, std::string& error)
    {
        std::string ignored; // a library in one file has no siblings, and a missing one is the linker's to report
        const std::filesystem::path folder = std::filesystem::path(path).parent_path();
        for (std::size_t i = 0; i < kSiblings.size(); ++i) siblings_[i].load((folder / kSiblings[i]).string(), ignored);
        return library_.load(path, error);
    }
    void* symbol(const char* name) const { return library_.symbol(name); }
    void keep()
    {
        for (auto& sibling : siblings_) sibling.keep();
        library_.keep();
    }

private:
    std::array<platform::DynamicLibrary, kSiblings.size()> siblings_;
    platform::DynamicLibrary library_;
};

/// Empty when the library is of the right generation. A library that does not tell its version is taken: the reader's
/// gates notice other layouts.
std::string wrongGeneration(const LibraryFamily& library)
{
    unsigned (*version)() = nullptr;
    platform::SymbolTable(library).take("avformat_version", version);
    if (!version) return {};
    const unsigned major = version() >> 16;
    if (major > media::kMajor) return std::string(" ") + kTooNew;
    if (major < media::kMajor) return format(": not a usable raw ffmpeg: libavformat %u, not %d", major, media::kMajor);
    return {};
}

/// Why the library cannot be used, as it follows its path; empty when it can. The two commonest mistakes come first,
/// for each of them lacks other functions too.
std::string resolve(const LibraryFamily& library, MediaLibraryApi& api)
{
    platform::SymbolTable table(library);
    if (table.take("avformat_open_input", api.openInput).missing()) return std::string(" ") + kLooksLikeSibling;
    if (table.take("avcodec_decode_audio4", api.decodeAudio).missing()) return std::string(" ") + kTooNew;
    if (std::string why = wrongGeneration(library); !why.empty()) return why;
    table.take("avformat_find_stream_info", api.findStreamInfo)
        .take("avcodec_find_decoder", api.findDecoder)
        .take("avcodec_open2", api.openCodec)
        .take("av_read_frame", api.readFrame)
        .take("av_seek_frame", api.seekFrame)
        .take("av_init_packet", api.initPacket)
        .take("av_packet_unref", api.unrefPacket)
        .take("av_frame_unref", api.unrefFrame)
        .take("avformat_close_input", api.closeInput)
        .take("avcodec_close", api.closeCodec)
        .take("av_get_bytes_per_sample", api.bytesPerSample)
        .take("av_sample_fmt_is_planar", api.isPlanar)
        .take("av_strerror", api.errorText)
        .take("av_find_input_format", api.findInputFormat)
        .take("av_register_all", api.registerAll)
        .take("avcodec_flush_buffers", api.flushBuffers)
        .take("av_log_set_level", api.setLogLevel);
    if (!table.missing()) return {};
    return ": not a usable raw ffmpeg: missing symbol '" + std::string(table.missing()) + "'";
}

} // namespace

bool openMediaLibrary(const std::string& path, MediaLibraryApi& api, std::string& error)
{
    LibraryFamily library;
    std::string reason;
    if (!library.load(path, reason)) {
        error = "cannot load '" + path + "': " + platform::kLoadFailure + reason + ")";
        return false;
    }
    if (const std::string why = resolve(library, api); !why.empty()) {
        error = "cannot use '" + path + "'" + why;
        return false;
    }
    library.keep(); // it has state of threads and of the process's end from here on
    api.setLogLevel(media::kQuiet);
    api.registerAll();
    return true;
}

const MediaLibraryApi* loadMediaLibrary(const std::string& path, Reporter& report, std::string& error)
{
    LoadedLibraries& all = loadedLibraries();
    const std::lock_guard guard(all.lock);
    if (const MediaLibraryApi* loaded = all.mediaLibrary.load(std::memory_order_acquire)) {
        if (path != all.mediaLibraryPath && !platform::sameFile(path, all.mediaLibraryPath))
            report.warning("the media library '%s' takes effect after restarting the player\n", path.c_str());
        return loaded;
    }
    auto api = std::make_unique<MediaLibraryApi>();
    if (!openMediaLibrary(path, *api, error)) return nullptr;
    report.line("Media library:", "%s: %s\n", path.c_str(), kMediaLibraryKind);
    all.mediaLibraryPath = path;
    all.mediaLibrary.store(api.get(), std::memory_order_release);
    return api.release();
}

} // namespace tesk
