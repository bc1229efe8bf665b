// tesk(1): everything about the command line.
#include "engine/base/status.h"
#include "tools/option_docs/documents.h"
#include "tools/option_docs/roff.h"
#include "tools/option_docs/vocabulary.h"

namespace tesk::docs {
namespace {

struct Row {
    const char* name;
    const char* text;
};

/// A status that does not stand here shows its name alone.
const char* meaningOf(int status)
{
    switch (status) {
    case DSD_ERROR: return "a step failed, or the disk is full";
    case DSD_ERROR_INVALID_ZEROS_COUNT: return "the number of zeros does not fit the modulator";
    case DSD_ERROR_UNSUPPORTED_ORDER: return "a modulator of this order cannot be designed";
    case DSD_ERROR_INVALID_VOLUME_VALUE_DETECTED: return "a level that is no number";
    case DSD_ERROR_QUANTIZATION: return "the level of the PCM output cannot be set";
    case DSD_ERROR_INIT_ENCODED_DST: return "more channels or a higher rate than DST holds";
    case DSD_ERROR_WINDOW_TYPE: return "no such window";
    case DST_ERROR: return "the DST coder failed";
    case PDM_REMEZ_NOT_CONVERGED: return "the Parks-McClellan design did not converge";
    case PDM_REMEZ_TOO_FEW_EXTREMALS: return "the Parks-McClellan design found too few extremal frequencies";
    case PDM_REMEZ_TOO_MANY_EXTREMALS: return "the Parks-McClellan design found too many extremal frequencies";
    case PDM_REMEZ_INVALID_PARAM: return "band edges that the Parks-McClellan design cannot take";
    case DSD_ERROR_PCMBASESAMPLERATE: return "the sample rate belongs to neither family, 44100 and 48000 Hz";
    case DSD_ERROR_USAGE: return "the command line was rejected by the second parser (--cli-v2)";
    case DSD_ERROR_INPUT: return "the input is missing, unreadable, damaged or too large";
    case DSD_ERROR_OUTPUT: return "the output's name cannot be written";
    case DSD_ERROR_WRITE: return "the output cannot be completed or renamed";
    case DSD_ERROR_UNSUPPORTED: return "an option or a mode that this version does not have";
    case DSD_ERROR_RECORDING: return "the recording failed";
    case DSD_ERROR_INIT: return "out of memory";
    case DSD_ERROR_PRESET: return "the preset cannot be loaded or saved";
    case DSD_ERROR_METADATA_REQUIRED: return "a DSDIFF file needs an artist and a title";
    case DSD_ERROR_ASSERT: return "a broken pipe, or a disk that is full at the end";
    case DSD_SIGACTION: return "a signal handler could not be installed";
    default: return "";
    }
}

void appendExitStatuses(RoffPage& page)
{
    page.heading("Exit status")
        .paragraph(
            "Steps of the engine answer with the negative number of a failure, of which the shell shows 256 + status.");
    page.item(bold("0"), "done; help and version too").item(bold("1"), "the command line was rejected");
    for (int status = -1; status > -128; --status)
        if (const std::string name = status_name(status); name.front() != '(')
            page.item(bold(std::to_string(256 + status)) + " (" + roffText(std::to_string(status)) + ")",
                      meaningOf(status) + (" (" + name + ")"));
        else if (status == kHostStopped)
            page.item(bold(std::to_string(256 + status)) + " (" + roffText(std::to_string(status)) + ")",
                      "stopped, by Ctrl-C, SIGTERM, a closed terminal or the host");
    page.item(bold("130") + ", " + bold("143"), "ended by a second Ctrl-C or SIGTERM");
}

constexpr Row kVariables[] = {
    {"TEMP, TMP", "Folder of the log of a run whose output is no terminal; without them the current one."},
    {"TESK_ENGINE_TRACE", "Not empty: trace lines on standard error; a value with a slash names a file for them too."},
    {"TESK_ENGINE_THREADS", "Threads of a conversion; without it the processor's, at most 4."},
    {"PCM2PDM_THREADS", "Threads of the filter design; without it the processor's."},
    {"TESK_EXT_DECODER", "Decoder library, as --ext-decoder; \"none\" switches the installed one off."},
    {"TESK_MEDIA_LIBRARY", "libavformat of the 3.x generation, as --media-library."},
    {"TESK_EXT_FFMPEG_TRACE", "If set, the FFmpeg decoder lets FFmpeg's messages through."},
    {"TESK_RAWFF_TRACE", "If set, messages about files that the media library decodes."},
    {"TESK_STREAM_MAX_MB", "Limit of decoded PCM in MiB, at 4 bytes a sample, for inputs that decoders stream."},
    {"TESK_WAVPACK_STREAM", "0 reads WavPack files into memory first."},
    {"TESK_TRACE_PATH", "If set, the bytes of the input's name on standard error."},
    {"TESK_PDM2PCM_GAIN", "With --reverse: output gain in dB, -144 to 144; --gain wins."},
    {"TESK_PDM2PCM_THREADS", "With --reverse: threads of the decimation; 1 is serial."},
    {"TESK_PDM2PCM_PROFILE", "With --reverse: anything but 0 prints the time of every stage."},
    {"TESK_PDM2PCM_MIN_MACS", "With --reverse: multiply-adds of a block from which threads share the filter."},
    {"TESK_PDM2PCM_BQ_BANK", "With --reverse: 0 runs the biquads channel by channel."},
    {"TESK_SACD_RAW", "With --reverse: a disc's bytes have their first sample in the low bit."},
    {"TESK_DST_SIMD", "Vector level of the DST decoder."},
    {"HOME, XDG_DATA_HOME, XDG_DATA_DIRS", "Where presets are looked for."},
};

constexpr Row kFiles[] = {
    {"TeskEngine_PID.log", "report of a run whose output is no terminal, in the folder that TEMP or TMP names"},
    {"./pdm2pcm_PID.log", "report of a run with --reverse; --log-file names another"},
    {"share/TeskEngine/presets/*.json", "presets beside the program; tesk-preset(5) tells all folders"},
    {"lib/tesk/", "the decoder library that is installed with the program"},
};

std::string tagOf(const Entry& entry)
{
    std::string tag;
    for (const std::string& name : entry.names) tag += (tag.empty() ? "" : ", ") + bold(name);
    return entry.takesValue() ? tag + " " + italic(entry.argument) : tag;
}

void appendOptions(RoffPage& page)
{
    page.heading("Options").paragraph(
        "An argument in brackets may be left out. Numbers have a decimal point. Of an option that stands twice the "
        "later one counts. What is marked \"not in this version\" is known and refused before anything is opened.");
    for (const Group& group : forwardGroups()) {
        page.subheading(group.heading);
        for (const Entry& entry : group.entries) page.item(tagOf(entry), entry.text);
    }
    const Group back = reverseGroup();
    page.heading(back.heading)
        .paragraph(
            "On the way back these count in place of all others. Without -i the input is the first word that is no "
            "option.");
    for (const Entry& entry : back.entries) page.item(tagOf(entry), entry.text);
}

void appendExamples(RoffPage& page)
{
    page.heading("Examples")
        .paragraph("A DSD64 file for a player, and one of DSD128 that leaves the modulator its headroom:")
        .example("tesk -i song.flac song.dsf\ntesk -i loud.wav loud.dsf -os 128 --headroom auto\n")
        .paragraph("DSDIFF with DST, which must know artist and title:")
        .example("tesk -i song.flac song.dff --dst --artist Me --title So\n")
        .paragraph("One file for each track of a CUE sheet, without gaps:")
        .example("tesk -i album.cue album.dsf --cue-continuous\n")
        .paragraph("Back to PCM at 24 bits, and the tracks of a disc:")
        .example("tesk -i song.dsf song.flac -b 24 --reverse\ntesk -i disc.iso --disc-track list --reverse\n")
        .paragraph("Some of the help:")
        .example("tesk --help metadata\n");
}

} // namespace

std::string programPage()
{
    RoffPage page("tesk", "1", "convert PCM recordings to one-bit DSD and back");
    page.heading("Synopsis")
        .source(bold("tesk") + " " + bold("-i") + " " + italic("INPUT") + " [" + italic("options") + "] " +
                italic("OUTPUT"))
        .source(".br")
        .source(bold("tesk") + " " + bold("-i") + " " + italic("INPUT") + " [" + italic("options") + "] " +
                italic("OUTPUT") + " " + bold("--reverse"))
        .source(".br")
        .source(bold("tesk") + " " + bold("--help") + " [" + italic("GROUP") + "]");
    page.heading("Description")
        .paragraph("Turns PCM recordings into one-bit DSD: DSF, DSDIFF, plain or compressed with DST, and WSD, at 64 "
                   "to 4096 times 44100 or 48000 Hz. The output's extension, or --format, chooses the container; "
                   "\"-\" is standard output.")
        .paragraph("With --reverse it turns DSF, DSDIFF, WSD and SACD disc images into WAV, Wave64 or FLAC.")
        .paragraph("An output gets its name when it is complete; a failed run leaves an older file of that name "
                   "alone. Ctrl-C stops at the next block and keeps what was written.");
    appendOptions(page);
    appendExitStatuses(page);
    page.heading("Environment");
    for (const Row& row : kVariables) page.item(bold(row.name), row.text);
    page.heading("Files");
    for (const Row& row : kFiles) page.item(italic(row.name), row.text);
    appendExamples(page);
    page.heading("See also")
        .source(".BR tesk_engine (3),")
        .source(".BR tesk\\-preset (5),")
        .source(".BR tesk\\-batch (5)");
    return page.text();
}

} // namespace tesk::docs
