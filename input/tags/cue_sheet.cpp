#include "input/tags/cue_sheet.h"

#include "engine/base/reporter.h"
#include "input/byte_source.h"
#include "input/tags/legacy_text.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <set>
#include <string_view>

namespace tesk {
namespace {

constexpr std::size_t kLineBytes = 1023, kTextBytes = 255, kWordBytes = 31;
constexpr std::uint64_t kLargestSheet = 0x1000000; // bytes
constexpr std::size_t kMostEntries = 10000;        // tracks, and files: far above what sheets hold
constexpr std::int64_t kRate = 44100, kCueFramesPerSecond = 75;
constexpr std::string_view kBlanks = " \t";

std::string_view skipBlanks(std::string_view text)
{
    return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

std::string_view withoutBlanksBehind(std::string_view text)
{
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::string_view firstWord(std::string_view text) { return text.substr(0, text.find_first_of(kBlanks)); }

/// Takes `word` off the front of `text` when a blank or nothing follows it.
bool takeWord(std::string_view& text, std::string_view word)
{
    if (firstWord(text) != word) return false;
    text.remove_prefix(word.size());
    return true;
}

/// Takes a decimal number off the front of `text`, as "%d" does; one that does not fit is none.
std::optional<int> takeNumber(std::string_view& text)
{
    std::string_view digits = skipBlanks(text);
    if (digits.starts_with('+') && !digits.starts_with("+-")) digits.remove_prefix(1);
    int value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{}) return {};
    text = digits.substr(static_cast<std::size_t>(end - digits.data()));
    return value;
}

/// What stands behind an opening quote, up to the next one or the end of the line; nothing without the quote, or when
/// nothing stands there.
std::optional<std::string_view> quoted(std::string_view text)
{
    text = skipBlanks(text);
    if (!text.starts_with('"')) return {};
    text.remove_prefix(1);
    text = text.substr(0, text.find('"')).substr(0, kTextBytes);
    if (text.empty()) return {};
    return text;
}

/// Minutes, seconds and frames of 1/75 s as a position at 44,100 per second; 0 for what is no time.
std::uint32_t positionOf(std::string_view time)
{
    std::int64_t fields[3] = {};
    int count = 0;
    while (count < 3) {
        const auto number = takeNumber(time);
        if (!number) break;
        if (*number < 0) return 0;
        fields[count++] = *number;
        if (!time.starts_with(':')) break;
        time.remove_prefix(1);
    }
    if (count < 2) return 0;
    const std::int64_t position = (fields[0] * 60 + fields[1]) * kRate + fields[2] * kRate / kCueFramesPerSecond;
    return static_cast<std::uint32_t>(std::min<std::int64_t>(position, std::numeric_limits<std::uint32_t>::max()));
}

std::string timeText(std::uint32_t position)
{
    const std::int64_t frames = position * kCueFramesPerSecond / kRate, seconds = frames / kCueFramesPerSecond;
    return format("%02d:%02d:%02d", static_cast<int>(seconds / 60), static_cast<int>(seconds % 60),
                  static_cast<int>(frames % kCueFramesPerSecond));
}

/// Takes the lines of one sheet, one after the other.
class SheetReader {
public:
    SheetReader(CueSheet& sheet, bool isWindows1252) : sheet_(sheet), isWindows1252_(isWindows1252) {}

    void takeLine(std::string_view line)
    {
        line = line.substr(0, kLineBytes);
        line = skipBlanks(line.substr(0, line.find('\0')));
        if (takeWord(line, "TRACK")) return openTrack(line);
        if (takeWord(line, "FILE")) return takeFile(line);
        if (skipping_) return;
        if (takeWord(line, "REM")) return takeRemark(line);
        if (takeWord(line, "INDEX")) return takeIndex(line);
        CueTrack* const owner = track();
        if (takeWord(line, "TITLE")) return takeText(line, owner ? owner->title : sheet_.title);
        if (takeWord(line, "PERFORMER")) return takeText(line, owner ? owner->performer : sheet_.performer);
    }

private:
    CueTrack* track() { return sheet_.tracks.empty() ? nullptr : &sheet_.tracks.back(); }

    /// Well-formed UTF-8 of a piece of the sheet, which a limit may have cut within a character.
    std::string decoded(std::string_view piece) const
    {
        return isWindows1252_ ? windows1252ToUtf8(piece) : std::string(withoutBrokenEnd(piece));
    }
    void takeText(std::string_view rest, std::string& field) const
    {
        if (const auto text = quoted(rest)) field = decoded(*text);
    }

    void openTrack(std::string_view rest)
    {
        const auto number = takeNumber(rest);
        // What follows a track that is left out belongs to it, not to the track before.
        skipping_ = !number || sheet_.tracks.size() == kMostEntries;
        if (skipping_) return;
        sheet_.tracks.emplace_back().number = *number;
    }

    /// Names without quotes are against the format and yet common; the last word is then the file's type.
    void takeFile(std::string_view rest)
    {
        std::string_view name = withoutBlanksBehind(skipBlanks(rest));
        if (name.starts_with('"')) {
            name = quoted(name).value_or("");
        } else if (const auto blank = name.find_last_of(kBlanks); blank != name.npos) {
            name = withoutBlanksBehind(name.substr(0, blank));
        }
        name = name.substr(0, kTextBytes);
        if (!name.empty() && sheet_.files.size() < kMostEntries) sheet_.files.push_back(decoded(name));
    }

    void takeIndex(std::string_view rest)
    {
        CueTrack* const owner = track();
        const auto number = takeNumber(rest);
        if (!number || !owner) return;
        const std::string_view time = firstWord(skipBlanks(rest)).substr(0, kWordBytes);
        if (*number == 1 && !time.empty()) owner->start = positionOf(time);
    }

    /// "REM GENRE Rock" and the like; values with and without quotes. The first genre and date stay.
    void takeRemark(std::string_view rest)
    {
        rest = withoutBlanksBehind(skipBlanks(rest));
        const std::string_view name = firstWord(rest);
        rest = skipBlanks(rest.substr(name.size()));
        const std::string value =
            decoded(rest.starts_with('"') ? quoted(rest).value_or("") : rest.substr(0, kTextBytes));
        if (value.empty()) return;
        if (name == "GENRE" || name == "DATE") {
            std::string& field = name == "GENRE" ? sheet_.genre : sheet_.date;
            if (field.empty()) field = value;
        } else {
            CueTrack* const owner = track();
            takeReplayGainTag(decoded(name), value, owner ? owner->replayGain : sheet_.replayGain);
        }
    }

    CueSheet& sheet_;
    bool isWindows1252_;
    bool skipping_ = false; // within a track that is left out
};

std::string numberFault(const CueSheet& sheet)
{
    std::set<int> numbers;
    for (const CueTrack& track : sheet.tracks) {
        if (track.number < 0 || track.number > 998) return format("track number %d is not within 0-998", track.number);
        if (!numbers.insert(track.number).second) return format("track number %d occurs twice", track.number);
    }
    return {};
}

std::string orderFault(const CueTrack& before, const CueTrack& track)
{
    const std::string start = timeText(track.start);
    if (track.start > before.start) return {};
    if (track.start == 0)
        return format("track %d has no INDEX 01 behind the start of track %d", track.number, before.number);
    if (track.start == before.start)
        return format("track %d starts where track %d does (%s)", track.number, before.number, start.c_str());
    return format("track %d starts at %s, before track %d (%s)", track.number, start.c_str(), before.number,
                  timeText(before.start).c_str());
}

} // namespace

bool parse_cue(const std::string& path, CueSheet& sheet)
{
    sheet = {};
    std::string error;
    const auto file = FileSource::open(path, error);
    if (!file || file->size() > kLargestSheet) return false;
    std::string bytes(static_cast<std::size_t>(file->size()), '\0');
    bytes.resize(file->readAt(0, bytes.data(), bytes.size()));
    return parseCueText(bytes, sheet);
}

bool parseCueText(const std::string& bytes, CueSheet& sheet)
{
    sheet = {};
    const DecodedText text = decodeTextFile(bytes);
    SheetReader reader(sheet, text.isWindows1252);
    std::string_view rest = text.bytes;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find_first_of("\r\n"), rest.size());
        reader.takeLine(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size())); // the empty line within CR LF does no harm
    }
    for (std::size_t i = 1; i < sheet.tracks.size(); ++i) sheet.tracks[i - 1].end = sheet.tracks[i].start;
    return !sheet.tracks.empty();
}

std::string cueFault(const CueSheet& sheet)
{
    if (std::string fault = numberFault(sheet); !fault.empty()) return fault;
    for (std::size_t i = 1; i < sheet.tracks.size(); ++i) {
        std::string fault = orderFault(sheet.tracks[i - 1], sheet.tracks[i]);
        if (fault.empty()) continue;
        if (sheet.files.size() <= 1) return fault;
        return fault + format("; the sheet is for %zu files, and only one input can be cut", sheet.files.size());
    }
    return {};
}

} // namespace tesk
