#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <filesystem>
#include <system_error>

namespace tesk::platform {

const char* const kLoadFailure = "dlopen failed (";
const char* const kLibrarySuffix = ".so";

bool DynamicLibrary::load(const std::string& path, std::string& error)
{
    unload();
    kept_ = false;
    std::error_code failure;
    const std::filesystem::path absolute = std::filesystem::absolute(path, failure);
    handle_ = dlopen(failure ? path.c_str() : absolute.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_) return true;
    const char* reason = dlerror();
    error = reason ? reason : "unknown reason";
    return false;
}

void* DynamicLibrary::symbol(const char* name) const { return handle_ ? dlsym(handle_, name) : nullptr; }

void DynamicLibrary::unload()
{
    if (handle_ && !kept_) dlclose(handle_);
    handle_ = nullptr;
}

std::string moduleFolder()
{
    Dl_info info;
    if (dladdr(reinterpret_cast<const void*>(&moduleFolder), &info) == 0 || !info.dli_fname) return {};
    std::error_code failure;
    const auto file = std::filesystem::canonical(info.dli_fname, failure);
    return failure ? std::string() : file.parent_path().string();
}

} // namespace tesk::platform
