// Libraries loaded at run time.
#pragma once

#include <string>

namespace tesk::platform {

/// Owns a loaded library; unloads it when destroyed unless it was told to keep it.
class DynamicLibrary {
public:
    DynamicLibrary() = default;
    ~DynamicLibrary() { unload(); }
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;

    /// Loads the library at `path`, which is made absolute first: a bare name never searches the system's folders.
    /// Every symbol that it needs is resolved at once, and none of its own is offered to other libraries.
    /// False with the system's reason in `error`.
    bool load(const std::string& path, std::string& error);

    /// The address of an exported symbol of this library or of one it depends on; null when there is none.
    void* symbol(const char* name) const;

    /// Leaves the library loaded for the life of the process.
    void keep() { kept_ = true; }
    void unload();

private:
    void* handle_ = nullptr;
    bool kept_ = false;
};

/// Looks functions up one after the other and remembers the first that is not there.
/// @tparam Library  has symbol(const char*)
template <class Library>
class SymbolTable {
public:
    explicit SymbolTable(const Library& library) : library_(library) {}

    template <class Function>
    SymbolTable& take(const char* name, Function*& slot)
    {
        slot = reinterpret_cast<Function*>(library_.symbol(name));
        if (!slot && !missing_) missing_ = name;
        return *this;
    }
    /// Null when all were found.
    const char* missing() const { return missing_; }

private:
    const Library& library_;
    const char* missing_ = nullptr;
};

/// What the loader's failures are called on this system, up to the reason: "dlopen failed (".
extern const char* const kLoadFailure;

/// What the names of libraries end with: ".so".
extern const char* const kLibrarySuffix;

/// The folder of the library or program that this code is part of, without a final slash; empty when unknown.
std::string moduleFolder();

} // namespace tesk::platform
