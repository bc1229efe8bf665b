// Any bytes as a CUE sheet: bounded, well-formed texts, and tracks that follow each other.
#include "input/tags/cue_sheet.h"
#include "input/tags/legacy_text.h"

#include <cstdint>
#include <cstdlib>

namespace {

void demand(bool condition)
{
    if (!condition) std::abort();
}

/// 255 bytes of a sheet, where one byte of Windows-1252 may take three of UTF-8.
void demandText(const std::string& text, std::size_t largest)
{
    demand(tesk::isUtf8(text) && text.size() <= largest && text.find_first_of("\r\n") == text.npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    tesk::CueSheet sheet;
    demand(tesk::parseCueText(bytes, sheet) == !sheet.tracks.empty());
    const std::size_t largest = tesk::isUtf8(bytes) ? 255 : 3 * 255;
    for (const auto* text : {&sheet.title, &sheet.performer, &sheet.genre, &sheet.date}) demandText(*text, largest);
    for (const std::string& file : sheet.files) demandText(file, largest);
    demand(sheet.tracks.size() <= 10000 && sheet.files.size() <= 10000);
    bool ascending = true;
    for (std::size_t i = 0; i < sheet.tracks.size(); ++i) {
        const tesk::CueTrack& track = sheet.tracks[i];
        const bool last = i + 1 == sheet.tracks.size();
        demandText(track.title, largest);
        demandText(track.performer, largest);
        demand(track.end == (last ? 0 : sheet.tracks[i + 1].start));
        ascending = ascending && (last || track.end > track.start) && track.number >= 0 && track.number <= 998;
    }
    demand(ascending || !tesk::cueFault(sheet).empty());
    return 0;
}
