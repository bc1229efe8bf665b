#include "engine/options/option_rows.h"

#include "engine/options/custom_values.h"

namespace tesk::rows {
namespace {

using S = ConversionSettings;
using M = MetadataRecord;

constexpr const char* kRecording = "recording is not built yet";

constexpr Option tag(const char* name, std::optional<std::string> M::*destination, const char* help)
{
    return {.names = {name}, .argument = "TEXT", .kind = ValueKind::text, .destination = destination, .help = help};
}

constexpr Option kMetadata[] = {
    tag("--artist", &M::artist, "Artist"),
    tag("--title", &M::title, "Title"),
    tag("--album", &M::album, "Album"),
    tag("--genre", &M::genre, "Genre"),
    tag("--year", &M::date, "Year"),
    tag("--comment", &M::comment, "Comment"),
    {.names = {"--track"},
     .argument = "N",
     .kind = ValueKind::integer,
     .destination = &M::track,
     .range = {.minimum = 1, .maximum = 998},
     .help = "Track number",
     .messages = {.notNumber = "Error : --track needs an integer track number.\n",
                  .invalid = "Error : --track must be within 1-998 (got %d).\n"}},
    {.names = {"-cover", "--cover"},
     .argument = "PATH",
     .kind = ValueKind::file,
     .destination = &M::coverPath,
     .help = "Cover picture (JPEG/PNG)"},
    {.names = {"--metadata-from-input"},
     .destination = &S::metadataFromInput,
     .help = "Take the tags and the cover of the input where no option gives one [flag]"},
    {.names = {"--cue"},
     .argument = "PATH",
     .kind = ValueKind::file,
     .destination = &S::cuePath,
     .help = "CUE sheet of the input: one output per track, OUT_Track01.dsf and so on.\n"
             "A sheet as the input (-i album.cue) finds its own recording."},
    {.names = {"--cue-continuous"},
     .destination = &S::cueContinuous,
     .help = "Convert the sheet's tracks as one stream, cut without a gap [flag]"},
};

constexpr Choice kMasteringPresets[] = {{"classical", 0}, {"pop", 1}, {"jazz", 2}};
constexpr Choice kBatchFormats[] = {{"dsf", 0}, {"dff", 1}, {"wav", 2}, {"flac", 3}};

constexpr Option kPresetsAndBatch[] = {
    {.names = {"--mastering-preset"},
     .argument = "MODE",
     .kind = ValueKind::word,
     .destination = &S::masteringPreset,
     .choices = kMasteringPresets,
     .help = "The preset classical, pop or jazz; options of the command line count more"},
    {.names = {"--preset-load"},
     .argument = "FILE",
     .kind = ValueKind::file,
     .destination = &S::presetLoadPath,
     .help = "Load a preset file; options of the command line count more, wherever they stand"},
    {.names = {"--preset-save"},
     .argument = "FILE",
     .kind = ValueKind::file,
     .destination = &S::presetSavePath,
     .help = "Save the settings as a preset file; without an input that is all"},
    {.names = {"--preset-list"}, .destination = &S::presetList, .help = "List the presets [flag]"},
    {.names = {"--batch"}, .destination = &S::batch, .help = "Convert every input into the output directory [flag]"},
    {.names = {"--outdir"},
     .argument = "DIR",
     .kind = ValueKind::file,
     .destination = &S::outputDirectory,
     .help = "Output directory of the batch"},
    {.names = {"--batch-config"},
     .argument = "FILE",
     .kind = ValueKind::file,
     .destination = &S::batchConfigPath,
     .help = "Settings per track"},
    {.names = {"--output-format"},
     .argument = "FORMAT",
     .kind = ValueKind::word,
     .destination = &S::batchFormat,
     .choices = kBatchFormats,
     .help = "dsf, dff, wav or flac"},
    {.names = {"--naming-pattern"},
     .argument = "PATTERN",
     .kind = ValueKind::text,
     .destination = &S::namingPattern,
     .help = "Output names from {input}, {ext}, {track} and {track:N}"},
    {.names = {"--recursive"},
     .destination = &S::recursive,
     .help = "Folders of the batch with their subfolders, mirrored below the output directory [flag]"},
    {.names = {"--jobs"},
     .argument = "N",
     .kind = ValueKind::integer,
     .destination = &S::jobs,
     .range = {.minimum = 1, .maximum = 256},
     .defaultNote = "as processors and memory allow",
     .help = "Items of the batch that run at once; 1 with --gui and --log"},
    {.names = {"--skip-existing"},
     .destination = &S::skipExisting,
     .help = "Leave outputs of the batch that are there and whole [flag]"},
    {.names = {"--shard"},
     .argument = "K/N",
     .kind = ValueKind::text,
     .destination = &S::shard,
     .help = "Only every N-th item of the batch, from the K-th; for several machines"},
};

constexpr Choice kDesignLogs[] = {{"fir", 0}, {"ns", 1}, {"freq", 2}, {"all", 3}};

constexpr Option kDiagnostics[] = {
    {.names = {"--quiet"}, .destination = &S::quiet, .help = "Silence all non-essential output, [flag]"},
    {.names = {"-v", "--verbose"},
     .destination = &S::quiet,
     .flagValue = false,
     .help = "Restore normal log output (undo --quiet), [flag]"},
    {.names = {"-log", "--log"},
     .argument = "WHAT",
     .kind = ValueKind::word,
     .destination = &S::designLog,
     .choices = kDesignLogs,
     .help = "Design reports to save: fir, ns, freq or all"},
    {.names = {"--measure"},
     .destination = &S::measure,
     .help = "Loudness of the inputs as CSV on standard output, no conversion [flag]"},
    {.names = {"--gui"},
     .destination = &S::gui,
     .help = "Internal: set by the GUIs; adds machine-readable [PROGRESS] lines [flag]"},
    {.names = {"--cli-v2"},
     .destination = &S::cliV2,
     .help = "Internal: use the CLI11 (v2) parser instead of the legacy one [flag]"},
};

// Both end the run before any other option is looked at.
constexpr Option kInformation[] = {
    {.names = {"--ver", "--version"}, .help = "Version"},
    {.names = {"-h", "--help"}, .help = "This text"},
    {.names = {"--reverse"},
     .destination = &S::reverse,
     .help = "Convert PDM to PCM [flag]; options of this mode: -s/--sampling RATE,\n"
             "-b/--bit BITS, -f/--float, -n/--no-ns, -l/--lowpass FREQ,\n"
             "-z/--zero Z1 Z2 Z3, -p/--pole POLE, -t/--taps N, --format wav|flac,\n"
             "--wave64, --align, --gain DB|auto, --area stereo|multichannel,\n"
             "--disc-track N|all|list (--reverse --help tells more),\n"
             "-lf/--log-file PATH:\n"
             "Write the log to PATH instead of ./pdm2pcm_<pid>.log"},
};

constexpr Choice kDsdModes[] = {{"dop", 0}, {"native", 1}};

constexpr Option kRecordingRows[] = {
    {.names = {"--record"}, .destination = &S::record, .help = "Record [flag]", .unavailable = kRecording},
    {.names = {"--record-device"},
     .argument = "DEVICE",
     .kind = ValueKind::text,
     .destination = &S::recordDevice,
     .help = "Device to record from",
     .unavailable = kRecording},
    {.names = {"--record-samplerate"},
     .argument = "RATE",
     .kind = ValueKind::integer,
     .destination = &S::recordSampleRate,
     .range = {.minimum = 0, .aboveMinimum = true},
     .help = "Sample rate in Hz",
     .unavailable = kRecording},
    {.names = {"--record-channels"},
     .argument = "N",
     .kind = ValueKind::integer,
     .destination = &S::recordChannels,
     .range = {.minimum = 0, .aboveMinimum = true},
     .help = "Channels",
     .unavailable = kRecording},
    {.names = {"--record-duration"},
     .argument = "S",
     .kind = ValueKind::number,
     .destination = &S::recordSeconds,
     .range = {.minimum = 0, .aboveMinimum = true},
     .help = "Seconds to record",
     .unavailable = kRecording},
    {.names = {"--record-monitor"},
     .destination = &S::recordMonitor,
     .help = "Listen while recording [flag]",
     .unavailable = kRecording},
    {.names = {"--record-monitor-device"},
     .argument = "DEVICE",
     .kind = ValueKind::text,
     .destination = &S::recordMonitorDevice,
     .help = "Device to listen on",
     .unavailable = kRecording},
    {.names = {"--record-exclusive"},
     .destination = &S::recordExclusive,
     .help = "Exclusive mode [flag]",
     .unavailable = kRecording},
    {.names = {"--record-buffer"},
     .argument = "FRAMES",
     .kind = ValueKind::integer,
     .destination = &S::recordBufferFrames,
     .range = {.minimum = 64, .maximum = 65536},
     .help = "Buffer in frames",
     .unavailable = kRecording},
    {.names = {"--record-headroom"},
     .argument = "[DB]",
     .kind = ValueKind::number,
     .destination = &S::recordHeadroomDb,
     .bareValue = 3.0,
     .help = "Headroom in dB",
     .unavailable = kRecording},
    {.names = {"--record-dsd"}, .destination = &S::recordDsd, .help = "Record DSD [flag]", .unavailable = kRecording},
    {.names = {"--dsd-mode"},
     .argument = "MODE",
     .kind = ValueKind::word,
     .destination = &S::recordDsdMode,
     .choices = kDsdModes,
     .help = "dop or native",
     .unavailable = kRecording},
    {.names = {"--list-devices"},
     .destination = &S::listDevices,
     .help = "List the devices [flag]",
     .unavailable = kRecording},
};

constexpr Option kInProcess[] = {
    {.names = {"-inproc-host"},
     .help = "Host runs the core in-process: fd 0/1/2 already\n"
             "point at the session pipe (Windows: rebind CRT handles)",
     .apply = skipHostArgument},
    {.names = {"-inproc-ctl"},
     .argument = "N",
     .help = "Control queue object (public/inproc_ctl)",
     .apply = skipHostArgument},
    {.names = {"-inproc-ctl-fn"},
     .argument = "N",
     .help = "Read-a-line callback for that queue\n"
             "\"stop\" on that channel aborts the run, exit code -61",
     .apply = skipHostArgument},
};

} // namespace

std::span<const Option> metadata() { return kMetadata; }
std::span<const Option> presets() { return kPresetsAndBatch; }
std::span<const Option> diagnostics() { return kDiagnostics; }
std::span<const Option> information() { return kInformation; }
std::span<const Option> recording() { return kRecordingRows; }
std::span<const Option> inProcess() { return kInProcess; }

} // namespace tesk::rows
