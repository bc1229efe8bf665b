#include "pipeline/cue_plan.h"

#include "engine/base/paths.h"
#include "input/tags/input_tags.h"
#include "pipeline/source.h"
#include "platform/files.h"

#include <array>

namespace tesk {
namespace {

constexpr std::uint64_t kCueRate = 44100; // of a sheet's positions, whatever the recording's rate

bool isSheet(const std::string& path) { return fileExtension(path) == "cue"; }

/// The file name of a path in a sheet, which may come from a system with other separators.
std::string bareName(const std::string& path) { return path.substr(path.find_last_of("/\\") + 1); }

bool exists(const std::string& path) { return platform::fileKind(path) == platform::FileKind::regular; }

Status refuse(Reporter& report, const std::string& why)
{
    report.error("Error : %s\n", why.c_str());
    return DSD_ERROR_INPUT;
}

Status readSheet(const std::string& path, CueSheet& sheet, Reporter& report)
{
    if (!exists(path)) return refuse(report, "the CUE sheet '" + path + "' cannot be opened");
    if (!parse_cue(path, sheet)) return refuse(report, "the CUE sheet '" + path + "' has no tracks");
    const std::string fault = cueFault(sheet);
    if (!fault.empty()) return refuse(report, "the CUE sheet '" + path + "' cannot be used: " + fault);
    return {};
}

Status findRecording(const ConversionSettings& settings, const CuePlan& plan, const CueSheet& sheet,
                     std::string& recording, Reporter& report)
{
    recording = settings.inputs.front();
    if (!isSheet(recording)) return {};
    CueSheet other;
    const bool same = recording == plan.sheet;
    if (!same)
        if (Status status = readSheet(recording, other, report); !status) return status;
    std::string error;
    recording = recordingOfSheet(settings.inputs.front(), same ? sheet : other, error);
    if (recording.empty()) return refuse(report, error);
    const std::string& named = (same ? sheet : other).files.front();
    if (bareName(recording) != bareName(named))
        report.alert("the CUE sheet's recording '%s' is not there; '%s' is taken\n", named.c_str(), recording.c_str());
    return {};
}

/// "OUT_Track07.dsf"; empty when the output has no name of its own.
std::string trackPath(const std::string& output, int number)
{
    const std::string_view stem = withoutExtension(output);
    if (stem == folderOf(output)) return {};
    const std::string extension = output.substr(stem.size());
    return format("%.*s_Track%02d%s", static_cast<int>(stem.size()), stem.data(), number, extension.c_str());
}

std::optional<std::string> given(const std::string& text) { return text.empty() ? std::nullopt : std::optional(text); }

MetadataRecord sheetMetadata(const CueSheet& sheet, const CueTrack& track)
{
    MetadataRecord record;
    record.title = given(track.title);
    record.artist = given(track.performer.empty() ? sheet.performer : track.performer);
    record.album = given(sheet.title);
    record.genre = given(sheet.genre);
    record.date = given(sheet.date);
    if (track.number > 0) record.track = track.number;
    return record;
}

/// What the recording's tags say of the whole.
MetadataRecord recordingMetadata(const std::string& path, Reporter& report)
{
    MetadataRecord record;
    read_input_tags(path, record, report);
    record.title.reset();
    record.track.reset();
    return record;
}

std::optional<ReplayGain> sheetGain(const CueSheet& sheet, const CueTrack& track)
{
    ReplayGain gain = track.replayGain;
    if (!gain.albumGainDb) {
        gain.albumGainDb = sheet.replayGain.albumGainDb;
        gain.albumPeak = sheet.replayGain.albumPeak;
    }
    return gain.empty() ? std::nullopt : std::optional(gain);
}

Status settleTracks(const ConversionSettings& settings, const CueSheet& sheet, const PcmLength& length, CuePlan& plan,
                    Reporter& report)
{
    const auto frameOf = [&](std::uint64_t position) { return position * length.info.sampleRate / kCueRate; };
    MetadataRecord whole;
    if (settings.metadataFromInput) whole = recordingMetadata(plan.recording, report);
    for (const CueTrack& track : sheet.tracks) {
        CuePiece piece;
        piece.range.begin = frameOf(track.start);
        if (track.end > 0) piece.range.end = frameOf(track.end);
        piece.end = track.end > 0 ? piece.range.end : length.frames;
        if (piece.range.begin >= length.frames)
            return refuse(report, format("track %d of the CUE sheet starts at frame %llu, but the recording '%s' has "
                                         "only %llu: the sheet belongs to another file",
                                         track.number, static_cast<unsigned long long>(piece.range.begin),
                                         plan.recording.c_str(), static_cast<unsigned long long>(length.frames)));
        piece.path = trackPath(settings.outputPath, track.number);
        piece.metadata = settings.metadata;
        piece.metadata.fillMissing(sheetMetadata(sheet, track));
        piece.metadata.fillMissing(whole);
        piece.replayGain = sheetGain(sheet, track);
        plan.tracks.push_back(std::move(piece));
    }
    return {};
}

} // namespace

Status planCueRun(const ConversionSettings& settings, const JobEnvironment& environment, CuePlan& plan)
{
    Reporter& report = environment.report;
    plan.sheet = settings.cuePath.empty() ? settings.inputs.front() : settings.cuePath;
    CueSheet sheet;
    if (Status status = readSheet(plan.sheet, sheet, report); !status) return status;
    if (Status status = findRecording(settings, plan, sheet, plan.recording, report); !status) return status;
    report.line("Report", "CUE: %d tracks from %s\n", static_cast<int>(sheet.tracks.size()), plan.sheet.c_str());

    PcmLength length;
    std::string error;
    if (Status status = measurePcm(plan.recording, loadContext(environment), length, error); !status) {
        if (status.status() == kHostStopped) return status;
        return refuse(report, error);
    }
    if (!sheet.replayGain.empty()) plan.albumGain = sheet.replayGain;
    return settleTracks(settings, sheet, length, plan, report);
}

std::string recordingOfSheet(const std::string& sheetPath, const CueSheet& sheet, std::string& error)
{
    if (sheet.files.empty()) {
        error = "the CUE sheet '" + sheetPath + "' names no FILE; give the recording with -i and the sheet with --cue";
        return {};
    }
    if (sheet.files.size() > 1) {
        error = format("the CUE sheet '%s' names %zu files; a sheet can only be converted when it cuts one recording. "
                       "Its files can be converted one by one without it",
                       sheetPath.c_str(), sheet.files.size());
        return {};
    }
    const std::string& name = sheet.files.front();
    const std::string folder(folderOf(sheetPath));
    const std::array<std::string, 3> candidates = {name.front() == '/' ? name : folder + name, folder + bareName(name),
                                                   sheetPath};
    for (const std::string& candidate : candidates)
        if (exists(candidate) && !isSheet(candidate)) return candidate;
    constexpr const char* kExtensions[] = {"flac", "wv",  "wav", "tta", "ape", "m4a",
                                           "aiff", "aif", "w64", "caf", "fla"};
    for (const std::string& candidate : candidates)
        for (const char* extension : kExtensions) {
            std::string sibling = std::string(withoutExtension(candidate)) + "." + extension;
            if (exists(sibling)) return sibling;
        }
    error = "the recording '" + candidates[0] + "' that the CUE sheet '" + sheetPath +
            "' names does not exist; give it with -i and the sheet with --cue";
    return {};
}

} // namespace tesk
