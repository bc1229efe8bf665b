#include "input/loaded/stream_loader.h"

#include "input/loaded/ext_decoder.h"
#include "input/loaded/media_library.h"
#include "input/loaded/media_library_reader.h"
#include "input/loaded/plugin_reader.h"
#include "platform/dynamic_library.h"
#include "platform/files.h"

#include <utility>

namespace tesk {
namespace {

std::unique_ptr<PcmReader> chosenReader(const DecoderChoice& choice, Reporter& report, std::string& error)
{
    if (choice.plugin.empty() && !choice.mediaLibrary.empty()) {
        const MediaLibraryApi* library = loadMediaLibrary(choice.mediaLibrary, report, error);
        if (!library) return nullptr;
        return std::make_unique<MediaLibraryReader>(*library, report);
    }
    const std::string& path = choice.plugin.empty() ? choice.installedPlugin : choice.plugin;
    const ExtDecoderApi* plugin = loadExtDecoder(path, report, error);
    if (!plugin) return nullptr;
    return std::make_unique<PluginReader>(*plugin);
}

} // namespace

StreamLoader makeStreamLoader(DecoderChoice choice, Reporter& report)
{
    return [choice = std::move(choice), &report](const std::string& path,
                                                 std::string& error) -> std::unique_ptr<PcmReader> {
        auto reader = chosenReader(choice, report, error);
        if (!reader) return nullptr;
        if (reader->open(path)) return reader;
        error = reader->errorText();
        return nullptr;
    };
}

std::string installedPlugin()
{
    const std::string folder = platform::moduleFolder();
    if (folder.empty()) return {};
    const std::string path = folder + "/tesk/tesk_ext_ffmpeg" + platform::kLibrarySuffix;
    return platform::fileKind(path) == platform::FileKind::regular ? path : std::string();
}

} // namespace tesk
