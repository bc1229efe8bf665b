#include "engine/metadata_prompt.h"

#include "engine/base/utf8.h"
#include "platform/terminal.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::size_t kAnswerBytes = 1023;

bool ask(std::optional<std::string>& field, const char* question, const PromptTerminal& terminal, Reporter& report)
{
    if (field) return true;
    report.closing("%s", question);
    field = terminal.readLine();
    if (!field) report.closing("\n"); // the cursor still stands behind the question
    return field.has_value();
}

/// Asks for both fields of `record` that are missing; false when one stays so.
bool askForMissing(MetadataRecord& record, const PromptTerminal& terminal, Reporter& report)
{
    if (!terminal.canAsk) return false;
    report.closing("\n--- MetaData Information ---\n");
    return ask(record.artist, "Please enter artist name: ", terminal, report) &&
           ask(record.title, "Please enter a title: ", terminal, report);
}

} // namespace

PromptTerminal standardTerminal(bool gui)
{
    return {!gui && platform::isTerminal(stdin), [] { return readAnswer(stdin); }};
}

std::optional<std::string> readAnswer(std::FILE* stream)
{
    std::fflush(stdout);
    std::string line;
    bool cut = false;
    int c = std::fgetc(stream);
    if (c == EOF) return {};
    for (; c != EOF && c != '\n'; c = std::fgetc(stream)) {
        cut = line.size() == kAnswerBytes;
        if (!cut) line += static_cast<char>(c);
    }
    if (line.ends_with('\r')) line.pop_back();
    line.erase(std::min(line.find('\0'), line.size())); // a NUL would end the text in every tag
    return repairUtf8(cut ? withoutBrokenEnd(line) : line);
}

Status prompt_dff_metadata(MetadataRecord& record, const PromptTerminal& terminal, Reporter& report)
{
    const bool waived = record.artist && record.artist->empty();
    if (waived || (record.artist && record.title)) return {};
    MetadataRecord asked = record;
    if (askForMissing(asked, terminal, report)) {
        record = std::move(asked);
        return {};
    }
    report.error(
        "%-20s\tOutput .dff requires artist/title but there is no interactive terminal to ask on (stdin is not "
        "a tty, or this is a --gui call) -> pass --artist/--title, or --artist \"\" to leave it empty on "
        "purpose\n",
        "Report");
    return DSD_ERROR_METADATA_REQUIRED;
}

} // namespace tesk
