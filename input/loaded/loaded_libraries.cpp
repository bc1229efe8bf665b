#include "input/loaded/loaded_libraries.h"

namespace tesk {

LoadedLibraries& loadedLibraries()
{
    static auto* const libraries = new LoadedLibraries; // outlives every thread, like the libraries themselves
    return *libraries;
}

} // namespace tesk
