// The names and usage lines of all stages, those of later versions included: a name means one stage for ever.
#pragma once

#include <span>
#include <string_view>

namespace p2p::effect {

struct StageEntry {
    const char* name;
    unsigned capabilities;
    const char* usage;
};

std::span<const StageEntry> stageRegistry();

/// Null when no stage has the name.
const StageEntry* findStage(std::string_view name);

} // namespace p2p::effect
