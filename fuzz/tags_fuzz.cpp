// Any bytes as a tagged file, of whatever format they look like: what comes out must be fit for a tag of ours.
#include "engine/base/metadata.h"
#include "input/tags/input_tags.h"
#include "input/tags/legacy_text.h"
#include "input/tags/tag_text.h"

#include <cmath>
#include <cstdlib>

namespace {

void demand(bool condition)
{
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tesk::MemorySource source({data, size});
    const tesk::TagSet tags = tesk::readTagSet(source);
    for (const auto& [name, text] : tags.texts) {
        demand(!text.empty() && text.size() <= tesk::kLongestText && tesk::isUtf8(text));
        demand(tesk::cleanText(text) == text);
    }
    for (const auto& gain : {tags.replayGain.trackGainDb, tags.replayGain.albumGainDb})
        demand(!gain || std::isfinite(*gain));
    tesk::MetadataRecord record;
    tesk::CollectingReporter report;
    tesk::fillFromTags(tags, record, report);
    demand(!record.track || (*record.track >= 1 && *record.track <= 998));
    return 0;
}
