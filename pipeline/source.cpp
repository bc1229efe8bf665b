#include "pipeline/source.h"

#include "pipeline/output.h"
#include "platform/files.h"

#include <algorithm>
#include <chrono>
#include <numeric>

namespace tesk {
namespace {

constexpr std::uint32_t kBlocksPerSecond = 75; // a conversion block is one frame of a DSD disc
constexpr std::uint32_t kFamilies[] = {44100, 48000};
constexpr std::uint32_t kHighestDxdRate = 384000; // Hz, of the option too
constexpr std::uint32_t kMostChannels = 6;        // without --forcechannels

bool standardRate(std::uint32_t rate, std::uint32_t family)
{
    return rate == family || rate == 2 * family || rate == 4 * family || rate == 8 * family;
}

Status arrangeChannels(Pcm2pdm& job)
{
    Signal& signal = job.recording.signal;
    const ConversionSettings& settings = job.settings;
    if (settings.resetChannels > 0) signal.keepFirst(static_cast<std::uint32_t>(settings.resetChannels));
    if (settings.swapChannels && signal.channels() >= 2) signal.swapChannels(0, 1);
    if (settings.quad && signal.channels() != 4) {
        job.report.error("Error : -q/--quad needs four channels, the input has %u\n", signal.channels());
        return DSD_ERROR_INPUT;
    }
    if (settings.forceChannels) {
        job.report.line("Report", "FORCE DO PCM DATA TO PDM DATA\n");
    } else if (signal.channels() > kMostChannels) {
        job.report.error("Error : the input has %u channels; more than %u need -fc/--forcechannels, or keep the first "
                         "ones with -rc/--resetchannels N\n",
                         signal.channels(), kMostChannels);
        return DSD_ERROR_INPUT;
    }
    return {};
}

Status refuseRate(std::uint32_t rate, PDM_ENCODING_STATUS status, Reporter& report)
{
    report.error("Not supprot this infile SampleRate\n");
    report.error("%-20s\tSampling rate:\t%d not supprot\n", "", static_cast<int>(rate));
    return status;
}

Status settleDxdRates(Pcm2pdm& job)
{
    const std::uint32_t rate = job.recording.info.sampleRate;
    const int asked = job.settings.dxdSampleRate;
    if (rate == 0) return refuseRate(rate, DSD_ERROR_PCMBASESAMPLERATE, job.report);
    auto plan = planDxd(rate, static_cast<std::uint32_t>(asked));
    if (!plan) {
        if (2 * rate > kHighestDxdRate)
            job.report.error("Error : DXD output: the input has %u Hz already; no higher rate of it is a DXD rate\n",
                             rate);
        else
            job.report.error("Error : DXD output: %d Hz is no multiple of the input's %u Hz; --dxd-samplerate takes %u "
                             "or another multiple up to %u\n",
                             asked > 0 ? asked : static_cast<int>(rate), rate, 2 * rate, kHighestDxdRate);
        return plan.status();
    }
    job.plan = *plan;
    return {};
}

Status settleDsdRates(Pcm2pdm& job)
{
    const std::uint32_t rate = job.recording.info.sampleRate;
    auto plan = planStream(rate, job.settings.oversampling, job.settings.unsrs);
    if (!plan) return refuseRate(rate, plan.status(), job.report);
    job.plan = *plan;
    const char asked = job.settings.forceEndianness;
    job.plan.firstSampleInLowBit = asked != 0 ? asked == 'l' : containerOf(job.settings) == "dsf";
    return {};
}

Status settleRates(Pcm2pdm& job)
{
    if (Status status = job.settings.dxd ? settleDxdRates(job) : settleDsdRates(job); !status) return status;
    job.plan.inputGain = job.settings.inputGain;
    job.report.line("PCM Base SampleRate:", "%u (Hz)\n", job.plan.pcmRate);
    if (!job.settings.dxd)
        job.report.line("DSD SampleRate:", "%2.4fMHz (DSD%d)%s\n", job.plan.dsdRate / 1e6, job.settings.oversampling,
                        job.settings.quad ? " QUAD" : "");
    job.report.line("iSamples:", "%llu\n", static_cast<unsigned long long>(job.recording.signal.frames()));
    return {};
}

} // namespace

Result<StreamPlan, PDM_ENCODING_STATUS> planStream(std::uint32_t pcmRate, int oversampling, bool anyDivisor)
{
    StreamPlan plan;
    plan.pcmRate = pcmRate;
    for (const std::uint32_t family : kFamilies) {
        const std::uint32_t dsdRate = static_cast<std::uint32_t>(oversampling) * family;
        const bool divides = pcmRate > 0 && dsdRate % pcmRate == 0 && dsdRate / pcmRate >= 8;
        if (!standardRate(pcmRate, family) && !(anyDivisor && divides)) continue;
        plan.dsdRate = dsdRate;
        plan.factor = dsdRate / pcmRate;
        // Whole bytes: every block ends at a multiple of eight DSD samples.
        const std::uint32_t step = 8 / std::gcd(plan.factor, 8U);
        plan.blockFrames = std::max((pcmRate / kBlocksPerSecond + step - 1) / step * step, step);
        return plan;
    }
    return DSD_ERROR_PCMBASESAMPLERATE;
}

Result<StreamPlan, PDM_ENCODING_STATUS> planDxd(std::uint32_t pcmRate, std::uint32_t outRate)
{
    constexpr std::uint32_t kHighest44 = 352800;
    const std::uint32_t highest = kHighestDxdRate % pcmRate == 0 ? kHighestDxdRate : kHighest44;
    if (outRate == 0) outRate = std::min(8 * pcmRate, highest);
    if (outRate % pcmRate != 0 || outRate / pcmRate < 2) return DSD_ERROR_PCMBASESAMPLERATE;
    StreamPlan plan;
    plan.pcmRate = pcmRate;
    plan.dsdRate = outRate;
    plan.factor = outRate / pcmRate;
    plan.blockFrames = std::max(pcmRate / kBlocksPerSecond, 1U);
    return plan;
}

LoadContext loadContext(const JobEnvironment& environment)
{
    LoadContext context{environment.report, environment.stop};
    context.streamLoader = environment.streamLoader;
    return context;
}

Status loadSource(Pcm2pdm& job)
{
    const auto start = std::chrono::steady_clock::now();
    const std::string& path = job.settings.inputs.front();
    std::string error;
    const Status loaded = open_pcm(path, loadContext(job.environment), job.recording, error, job.piece.range);
    if (loaded.status() == kHostStopped) return loaded;
    if (!loaded) {
        if (!error.empty()) job.report.error("Error : %s\n", error.c_str());
        return loaded;
    }
    reportLoaded(path, job.recording, job.report);
    job.timing.readSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    job.timing.bytesRead = platform::fileSize(path).value_or(0);
    if (job.recording.signal.frames() == 0) {
        job.report.error("Error : the input '%s' holds no samples\n", path.c_str());
        return DSD_ERROR_INPUT;
    }
    if (Status status = settleRates(job); !status) return status;
    if (Status status = arrangeChannels(job); !status) return status;
    job.plan.channels = job.recording.signal.channels();
    return {};
}

} // namespace tesk
