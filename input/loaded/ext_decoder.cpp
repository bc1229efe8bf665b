#include "input/loaded/ext_decoder.h"

#include "input/loaded/loaded_libraries.h"
#include "platform/dynamic_library.h"
#include "platform/files.h"

#include <filesystem>
#include <memory>
#include <system_error>

namespace tesk {

static_assert(sizeof(tesk_ext_format) == 64, "plugins of other compilers count on it");

namespace {

/// Null with `error` set when the library is no plugin of this version.
std::unique_ptr<ExtDecoderApi> checkedApi(const platform::DynamicLibrary& library, const std::string& path,
                                          std::string& error)
{
    decltype(&tesk_ext_abi_version) abiVersion = nullptr;
    decltype(&tesk_ext_codecs) codecs = nullptr;
    auto api = std::make_unique<ExtDecoderApi>();
    platform::SymbolTable names(library);
    names.take("tesk_ext_abi_version", abiVersion)
        .take("tesk_ext_codecs", codecs)
        .take("tesk_ext_open", api->open)
        .take("tesk_ext_read", api->read)
        .take("tesk_ext_seek", api->seek)
        .take("tesk_ext_close", api->close)
        .take("tesk_ext_last_error", api->lastError);
    if (names.missing()) {
        error = std::string("missing symbol '") + names.missing() + "' in '" + path +
                "' -- this file does not implement the TESK external decoder ABI (see public/tesk_ext_decoder)";
        return nullptr;
    }
    if (const auto version = abiVersion(); version != TESK_EXT_ABI_VERSION) {
        error = "ABI version mismatch: library reports " + std::to_string(version) + ", this build expects " +
                std::to_string(TESK_EXT_ABI_VERSION);
        return nullptr;
    }
    if (const char* list = codecs(); !list || !*list) {
        error = "library reports an empty codec list (nothing it can decode)";
        return nullptr;
    }
    return api;
}

std::string absolutePath(const std::string& path)
{
    std::error_code failure;
    const auto absolute = std::filesystem::absolute(path, failure);
    return failure ? path : absolute.string();
}

/// Under the lock: loads and publishes.
const ExtDecoderApi* loadFirst(LoadedLibraries& libraries, const std::string& path, std::string& error)
{
    platform::DynamicLibrary library;
    std::string reason;
    if (!library.load(path, reason)) {
        error = "cannot load '" + path + "': " + platform::kLoadFailure + reason + ")";
        return nullptr;
    }
    auto api = checkedApi(library, path, error);
    if (!api) return nullptr;
    library.keep();
    libraries.pluginPath = absolutePath(path);
    libraries.plugin.store(api.get(), std::memory_order_release);
    return api.release(); // lives as long as the library
}

} // namespace

const ExtDecoderApi* loadExtDecoder(const std::string& path, Reporter& report, std::string& error)
{
    if (path.empty()) {
        error = "Ono decoder library path given";
        return nullptr;
    }
    LoadedLibraries& libraries = loadedLibraries();
    const ExtDecoderApi* loaded = libraries.plugin.load(std::memory_order_acquire);
    if (!loaded) {
        const std::lock_guard guard(libraries.lock);
        loaded = libraries.plugin.load(std::memory_order_relaxed);
        if (!loaded) return loadFirst(libraries, path, error);
    }
    if (absolutePath(path) != libraries.pluginPath && !platform::sameFile(path, libraries.pluginPath))
        report.warning("the decoder library '%s' takes effect after restarting the player\n", path.c_str());
    return loaded;
}

} // namespace tesk
