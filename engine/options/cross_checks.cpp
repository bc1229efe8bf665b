#include "engine/options/cross_checks.h"

#include "engine/base/paths.h"
#include "engine/options/option_table.h"
#include "engine/options/options.h"

#include <algorithm>
#include <array>

namespace tesk {
namespace {

bool reject(Reporter& report, const std::string& text)
{
    report.error("%s", text.c_str());
    return false;
}

bool optionsAgree(const ConversionSettings& s, Reporter& report)
{
    const auto given = [&](const char* name) { return s.given.count(name) != 0 ? 1 : 0; };
    if (given("--mash") + given("--cifb") + given("--sos-ef") > 1)
        return reject(report,
                      "Error : --mash / --cifb / --sos-ef are mutually exclusive — pick exactly one modulator.\n"
                      "        (the engine used to silently drop one of them when several are given, so this is "
                      "rejected outright so you never get an unexpected result)\n");
    if (s.passbandCutoff > 0 && s.stopbandCutoff > 0 && s.stopbandCutoff <= s.passbandCutoff)
        return reject(report, format("Error: stopband_cutoff [%d] must be > passband_cutoff [%d]\n", s.stopbandCutoff,
                                     s.passbandCutoff));
    return true;
}

/// What a CUE sheet asks of the other options.
bool sheetFits(const ConversionSettings& s, Reporter& report)
{
    if (s.cueContinuous && !s.usesCueSheet())
        return reject(report, "Error : --cue-continuous needs a CUE sheet: --cue PATH, or -i SHEET.cue\n");
    if (s.usesCueSheet() && s.pipe)
        return reject(report, "Error : a CUE sheet makes one file per track, which standard output cannot take; name "
                              "an output file.\n");
    return true;
}

bool filesAreNamed(const ConversionSettings& s, Reporter& report)
{
    const bool listing = s.presetList || s.listDevices || (s.inputs.empty() && !s.presetSavePath.empty());
    if (s.measure && s.inputs.empty()) return reject(report, "--measure needs an input file (WAV/FLAC/AIFF)\n");
    if (s.inputs.empty() && !listing && !s.record)
        return reject(report, format("%-20s\tNo input files specified.\n", "Report"));
    if (s.pipe && s.dst)
        return reject(report, "Error : --dst writes a .dff file, which standard output cannot take; name an output "
                              "file.\n");
    if (s.pipe && !s.outputPath.empty() && s.outputPath != "-")
        return reject(report, format("Error : --pipe writes to standard output, so the output file %s cannot be "
                                     "written too.\n",
                                     s.outputPath.c_str()));
    if (s.pipe && s.dxd)
        return reject(report, "Error : --dxd writes a file; name one that ends in .wav, .w64 or .flac.\n");
    const bool hasOutput = s.pipe || !s.outputPath.empty();
    if (!hasOutput && !listing && !s.measure && !s.record && !s.batch)
        return reject(report, format("%-20s\tNo output file specified.\n", "Report"));
    if (s.skipExisting && !s.batch && !s.outputIsExact)
        return reject(report,
                      "Error : --skip-existing needs --batch; without it an output that is there is replaced.\n");
    if (hasOutput && s.inputs.size() > 1 && !s.measure && !s.batch)
        return reject(report, "Outfile extension unsupport multiple inputs.\n");
    return sheetFits(s, report);
}

constexpr std::array<std::string_view, 4> kContainers = {"dsf", "dff", "dst", "wsd"};

bool extensionFits(const ConversionSettings& s, const std::string& extension, Reporter& report)
{
    if (!s.format.empty() && !s.dxd) {
        if (!extension.empty() && extension != s.format)
            report.line("Report", "note: --format %s overrides the output extension '%s'\n", s.format.c_str(),
                        extension.c_str());
        return true;
    }
    if (extension.empty()) return reject(report, "Error : Outfile extension is not found\n");
    if (s.dxd || std::find(kContainers.begin(), kContainers.end(), extension) != kContainers.end()) return true;
    return reject(report, format("%-20s\tError: unsupported PDM output extension '.%s'.\n"
                                 "  Non-DXD conversion writes a PDM container — use .dsf/.dff/.dst/.wsd.\n"
                                 "  (FLAC/WAV output belongs to the --dxd path, e.g. -i in.wav out.flac --dxd "
                                 "--dxd-samplerate 352800)\n",
                                 "Report", extension.c_str()));
}

/// What the extension alone asks for; a --format has said so itself.
void takeContainerFromExtension(ConversionSettings& s, const std::string& extension,
                                std::vector<Unavailable>& unavailable)
{
    if (!s.format.empty() || s.dxd) return;
    if (extension == "dst") s.dst = true;
    const std::string container = extension == "dst" ? "dff" : extension;
    for (const Choice& choice : findOption("--format")->choices)
        if (container == choice.word && choice.unavailable)
            unavailable.push_back({"the output extension ." + extension, choice.unavailable});
}

/// DST lives in DSDIFF files alone.
void settleDst(ConversionSettings& s, const std::string& extension, Reporter& report)
{
    const std::string container = s.format.empty() ? extension : s.format;
    if (extension == "dst" && container == "dff") s.dst = true;
    if (!s.dst || s.dxd || container == "dff" || container == "dst") return;
    report.line("Report", "Enable DST compression (write a .dff)\n");
    s.format = "dff";
}

void warnOfModulatorOptions(const ConversionSettings& s, Reporter& report)
{
    const auto given = [&](const char* name) { return s.given.count(name) > 0; };
    const bool poles = s.multiPole || !s.multiPoles.empty() || s.singlePole;
    // A pole above 0 has its use in the 16-bit noise shaper.
    if (!s.usesDirectForm() && (s.psychoacoustic || poles || given("--zero") || (given("--pole") && s.pole <= 0)))
        report.err("Warning: --psy, --mp-ns, --mp-poles, --single-pole, -z and a -p below 0 act on the -o modulator "
                   "only.\n");
    if (s.usesDirectForm() && s.psychoacoustic && (poles || !s.zeros.empty() || given("--pole")))
        report.err("Warning: --psy places zeros and poles itself; -z, -p, --mp-ns and --mp-poles are not used.\n");
    if (!s.psychoacoustic && (given("--psy-phon") || given("--psy-strategy")))
        report.err("Warning: --psy-phon and --psy-strategy need --psy.\n");
    if (!s.lookaheadLimiter && (given("--lal-lookahead") || given("--lal-threshold")))
        report.err("Warning: --lal-lookahead and --lal-threshold need --lal.\n");
    if (s.lookaheadLimiter && given("--soft-limiter"))
        report.err("Warning: --lal takes the place of the soft limiter; --soft-limiter is not used.\n");
}

void warnOfDxdOptions(const ConversionSettings& s, Reporter& report)
{
    if (!s.dxd && (s.quantizationRatio || !s.quantizationType.empty() || s.dxdSampleRate > 0))
        report.err("Warning: -qr, -qt and --dxd-samplerate act on the --dxd output only.\n");
    if (s.dxd && (s.pdfReport || s.designLog == "ns"))
        report.err("Warning: --dxd has no modulator; --pdf-report and --log ns are not used.\n");
    if (s.dxd && (s.dst || !s.format.empty() || s.orderGiven || s.cifbOrder != 0 || s.sosEfOrder > 0 || s.mash))
        report.err("Warning: --dxd writes PCM; --format, --dst and the choice of a modulator are not used.\n");
}

void printWarnings(const ConversionSettings& s, Reporter& report)
{
    if (s.dither && !s.dxd)
        report.err("Warning: --dither has no effect on DSD output -- DSD is 1-bit, there is no bit depth to reduce; "
                   "each modulator quantization stage already applies TPDF dither and noise shaping. --dither only "
                   "applies to PCM output.\n");
    if (s.given.count("--dst-compression") > 0 && !s.dst) report.err("Warning: --dst-compression needs --dst.\n");
    for (const char* option :
         {"--outdir", "--batch-config", "--output-format", "--naming-pattern", "--recursive", "--jobs", "--shard"})
        if (s.given.count(option) > 0 && !s.batch && !s.outputIsExact)
            report.err("Warning: %s needs --batch.\n", option);
    if (s.musicType > 0 && !s.adaptive) report.err("Warning: --music-type needs --adaptive.\n");
    if (s.remez && (!s.eqBands.empty() || s.minimumPhase || s.apodizingMode > 0 || s.windowType > 0 || s.beta > 0))
        report.err("Warning: -a takes no equaliser, window, taper or minimum phase; -eq, -w, -b, --apo and -m are not "
                   "used.\n");
    if (s.remez && s.taps > 2048)
        report.err("Warning: the exchange of -a takes long and may not converge beyond 2048 taps.\n");
    warnOfModulatorOptions(s, report);
    warnOfDxdOptions(s, report);
}

/// A measurement has inputs alone.
void settleMeasured(ConversionSettings& s, Reporter& report)
{
    if (s.outputPath.empty()) return;
    report.err("Warning: --measure writes no file; %s is not used.\n", s.outputPath.c_str());
    s.outputPath.clear();
}

} // namespace

bool passesCrossChecks(ConversionSettings& settings, Reporter& report, std::vector<Unavailable>& unavailable)
{
    if (settings.measure) settleMeasured(settings, report);
    if (!optionsAgree(settings, report) || !filesAreNamed(settings, report)) return false;
    if (settings.measure) return true; // nothing is converted
    if (settings.pipe) settings.outputPath.assign(1, '-');
    if (settings.given.count("--cifb") > 0 && settings.cifbOrder == 0) settings.cifbOrder = 4; // as any other odd order
    if (!settings.pipe && !settings.outputPath.empty()) {
        const std::string extension = fileExtension(settings.outputPath);
        if (!extensionFits(settings, extension, report)) return false;
        takeContainerFromExtension(settings, extension, unavailable);
        settleDst(settings, extension, report);
    }
    if (!settings.batch) printWarnings(settings, report); // every item says its own
    return true;
}

} // namespace tesk
