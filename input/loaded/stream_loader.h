// Which decoder of run time reads what the built-in readers do not.
#pragma once

#include "engine/base/reporter.h"
#include "input/memory_gate.h"

#include <string>

namespace tesk {

/// Paths of libraries; empty ones are not set.
struct DecoderChoice {
    std::string plugin;          ///< named by the user
    std::string mediaLibrary;    ///< named by the user
    std::string installedPlugin; ///< what comes with the engine
};

/// A loader that uses the first library of the choice that has a path, and only that one: when it cannot be loaded,
/// no other is tried. `report` outlives the loader.
StreamLoader makeStreamLoader(DecoderChoice choice, Reporter& report);

/// The plugin that is installed with the engine; empty when there is none.
std::string installedPlugin();

} // namespace tesk
