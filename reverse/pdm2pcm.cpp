#include "reverse/pdm2pcm.h"

#include "engine/base/numbers.h"
#include "pipeline/parallel/parallel_for.h"
#include "reverse/process_values.h"
#include "reverse/staged_decimator.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace tesk {
namespace {

constexpr double kLowestCornerHz = 30000;
constexpr double kButterworthQ = 0.7071067811865475;
constexpr double kStepSeconds = 0.4; // of sound in one step of the joined filter

/// Delay of one biquad for slow signals, in samples: the group delay at DC. Its numerator is symmetric.
double biquadDelay(const Biquad& b) { return 1.0 - (b.a1 + 2 * b.a2) / (1 + b.a1 + b.a2); }

/// Whether a variable asks for the path it steers.
bool asksForStages(const ReverseValues& values)
{
    return values.profiling || values.minMacsGiven || std::getenv("TESK_PDM2PCM_BQ_BANK") != nullptr;
}

bool wantsBank(std::uint32_t channels)
{
    const char* bank = std::getenv("TESK_PDM2PCM_BQ_BANK");
    return channels >= 2 && !(bank && std::atoi(bank) == 0);
}

unsigned processorThreads() { return std::max(std::thread::hardware_concurrency(), 1U); }

} // namespace

Pdm2Pcm::Pdm2Pcm(const ReverseSettings& settings, const ReverseEnvironment& environment)
    : settings_(settings), environment_(environment)
{
}

Pdm2Pcm::~Pdm2Pcm() = default;

Status Pdm2Pcm::open(DsdReader& source)
{
    source_ = &source;
    const DsdSource& info = source.source();
    channels_ = info.channels;
    profile_ = reverseValues().profiling ? &reverseValues().profile : nullptr;
    auto rates = settleRates(settings_, info.dsdRate, environment_.report);
    if (!rates) return rates.status();
    rates_ = *rates;
    if (Status status = buildDecimator(); !status) return status;
    if (Status status = buildShapers(); !status) return status;
    settleGain();
    skipFrames_ = settings_.align ? 0 : rates_.skipFrames;
    return {};
}

Status Pdm2Pcm::buildDecimator()
{
    const DsdSource& info = source_->source();
    const ReverseValues& values = reverseValues();
    DecimationPlan plan;
    plan.channels = channels_;
    plan.dsdRate = info.dsdRate;
    plan.decimation = rates_.decimation;
    plan.sections = settings_.biquadSections;
    plan.cornerHz = std::max(rates_.cutoff, kLowestCornerHz);
    plan.fir = designSinc(rates_.firTaps, rates_.cutoff / info.dsdRate, settings_.kaiserBeta);
    plan.firstSampleInLowBit = info.firstSampleInLowBit;
    // Bytes of a disc come with the first sample on top; the variable takes them as they are.
    if (info.kind == DsdSource::Kind::disc && std::getenv("TESK_SACD_RAW")) plan.firstSampleInLowBit = true;
    const double biquads = plan.sections * biquadDelay(designLowpass(plan.cornerHz, plan.dsdRate, kButterworthQ));
    delay_ = std::llround((rates_.firTaps - 1) / 2.0 + biquads);
    if (settings_.align) plan.firstNewest = delay_;

    blockBytes_ = std::max(info.blockBytes, 1U);
    threads_ = values.threads > 0 ? values.threads : processorThreads();
    if (!asksForStages(values)) {
        decimator_ = makeJoinedDecimator(plan, threads_, environment_.kernels, environment_.pool);
        const double blocks = kStepSeconds * info.dsdRate / 8 / static_cast<double>(blockBytes_);
        if (decimator_) blockBytes_ *= static_cast<std::size_t>(std::max(blocks, 1.0));
    }
    if (!decimator_) {
        if (values.threads == 0 && channels_ < 2) threads_ = 1;
        auto staged = std::make_unique<StagedDecimator>(std::move(plan),
                                                        StageOptions{threads_, wantsBank(channels_), values.minMacs},
                                                        environment_.kernels, environment_.pool, profile_);
        staged_ = staged.get();
        decimator_ = std::move(staged);
    }
    frameCapacity_ = std::max(decimator_->maxFrames(blockBytes_), decimator_->maxFrames(delay_ / 8 + 1));
    bits_.assign(channels_, std::vector<std::uint8_t>(blockBytes_));
    samples_.assign(channels_, std::vector<double>(frameCapacity_));
    for (auto& bits : bits_) bitPointers_.push_back(bits.data());
    for (auto& samples : samples_) samplePointers_.push_back(samples.data());
    interleaved_.resize(frameCapacity_ * channels_);
    peaks_.assign(channels_, 0.0);
    return {};
}

Status Pdm2Pcm::buildShapers()
{
    if (!settings_.noiseShaperOn()) return {};
    const double ratio = std::round(source_->source().dsdRate / static_cast<double>(rates_.outRate));
    try {
        const modulator::UnifiedNoiseShaper design(settings_.zeros, settings_.pole,
                                                   std::max(static_cast<int>(ratio), 1));
        shapers_.assign(channels_, PcmNoiseShaper(design, static_cast<std::uint32_t>(settings_.bitDepth)));
        return {};
    } catch (const std::invalid_argument& fault) {
        environment_.report.error("Error: noise shaper: %s\n", fault.what());
        return DSD_ERROR;
    }
}

void Pdm2Pcm::settleGain()
{
    const char* variable = settings_.gainDb ? nullptr : std::getenv("TESK_PDM2PCM_GAIN");
    if (variable && *variable) {
        const auto gain = parseNumber(variable);
        if (gain && std::abs(*gain) <= kMostGainDb)
            setOutputGain(*gain);
        else
            environment_.report.notice("Warning: TESK_PDM2PCM_GAIN=%s is no number of dB from -%.0f to %.0f; it is not "
                                       "used.\n",
                                       variable, kMostGainDb, kMostGainDb);
    }
    gainDb_ = settings_.gainDb.value_or(outputGain());
    gainFactor_ = gainFactor(gainDb_);
}

void Pdm2Pcm::printHeader() const
{
    const DsdSource& info = source_->source();
    const double dsdRate = info.dsdRate;
    environment_.report.notice(
        "DSF: %u ch, %.0f Hz (%ux)\nPCM: %u Hz, %d-bit%s, LP cutoff=%.0f Hz\nBiquad: %u sections (fc=%.0f Hz, "
        "Nyquist=%.0f Hz)\nFIR: %u taps, polyphase (beta=%.1f)\nNoise shaper: %s\nPDM2PCM output gain: %+.1f dB%s\n",
        channels_, dsdRate, info.multiple(), rates_.outRate, settings_.bitDepth, settings_.floatOutput ? " float" : "",
        rates_.cutoff, settings_.biquadSections, rates_.cutoff, rates_.outRate * 0.5, rates_.firTaps,
        settings_.kaiserBeta, settings_.noiseShaperOn() ? "on" : "off", gainDb_,
        std::abs(gainDb_) < 0.05 ? " (as-is, no compensation)" : "");
}

void Pdm2Pcm::tellThreads()
{
    if (toldThreads_) return;
    toldThreads_ = true;
    Reporter& report = environment_.report;
    const auto serialHint = "TESK_PDM2PCM_THREADS=1 forces serial";
    const unsigned channelTasks = std::min(threads_, channels_);
    if (staged_ && channels_ >= 2)
        report.err(staged_->notes().bank ? "PDM2PCM: cross-channel biquad backend %s (2 channels packed per task)\n"
                                         : "PDM2PCM: cross-channel biquad disabled (TESK_PDM2PCM_BQ_BANK=0) -> "
                                           "per-channel scalar\n",
                   "SSE2");
    if (channelTasks > 1)
        report.err("PDM2PCM: %u channels processed on %u threads (%s)\n", channels_, channelTasks, serialHint);
    if (!staged_) {
        report.err("PDM2PCM: biquads and FIR joined into one filter on %u thread(s)\n", threads_);
    } else if (staged_->notes().firTasks > 1) {
        report.err("PDM2PCM: FIR downsample split into %u range(s) per channel (%u tasks on %u threads; %s)\n",
                   staged_->notes().ranges, staged_->notes().firTasks, threads_, serialHint);
    }
}

std::uint64_t Pdm2Pcm::expectedFrames() const
{
    const std::uint64_t frames = source_->source().samples / rates_.decimation;
    const std::uint64_t skipped = settings_.align ? 0 : rates_.skipFrames;
    return frames > skipped ? frames - skipped : 0;
}

void Pdm2Pcm::setNeighbours(std::unique_ptr<DsdReader> before, std::unique_ptr<DsdReader> behind)
{
    before_ = std::move(before);
    behind_ = std::move(behind);
    if (before_) part_ = Part::before;
}

/// Turns to what comes next in time. False when that is silence.
bool Pdm2Pcm::nextPart()
{
    if (part_ == Part::before) {
        partStart_ = seen_;
        part_ = Part::source;
    } else {
        part_ = part_ == Part::source && behind_ ? Part::behind : Part::silence;
    }
    return part_ != Part::silence;
}

/// The next bytes of whatever part they belong to; 0 when only silence is left.
/// @param lastBits  receives how many samples of the last byte count
std::size_t Pdm2Pcm::readBits(unsigned& lastBits)
{
    lastBits = 8;
    do {
        DsdReader& reader = part_ == Part::before ? *before_ : part_ == Part::behind ? *behind_ : *source_;
        const std::size_t bytes = reader.read(bitPointers_.data(), blockBytes_);
        if (bytes == 0) continue;
        if (part_ == Part::behind) return bytes;
        // Only a whole stream's last byte can hold fewer than eight samples.
        const std::uint64_t end = partStart_ + reader.source().samples, last = seen_ + 8 * (bytes - 1);
        if (end > last) lastBits = static_cast<unsigned>(std::min<std::uint64_t>(end - last, 8));
        if (part_ == Part::before) skipFrames_ += (last + lastBits) / rates_.decimation - seen_ / rates_.decimation;
        seen_ = last + lastBits;
        return bytes;
    } while (nextPart());
    return 0;
}

std::size_t Pdm2Pcm::drain()
{
    ended_ = true;
    const std::size_t frames =
        settings_.align ? decimator_->flush(static_cast<std::size_t>(delay_) + 1, samplePointers_.data()) : 0;
    if (profile_) profile_->print(stderr);
    return capped(frames);
}

/// As many of them as there is sound of the source: what lies behind it belongs to others.
std::size_t Pdm2Pcm::capped(std::size_t frames)
{
    if (part_ == Part::behind || part_ == Part::silence) {
        const std::uint64_t left = seen_ / rates_.decimation - decimatedFrames_;
        ended_ = ended_ || frames >= left;
        frames = static_cast<std::size_t>(std::min<std::uint64_t>(frames, left));
    }
    decimatedFrames_ += frames;
    return frames;
}

std::size_t Pdm2Pcm::decimateNext()
{
    while (!ended_) {
        unsigned lastBits = 8;
        const std::size_t bytes = readBits(lastBits);
        if (bytes == 0) return drain();
        const std::size_t frames =
            capped(decimator_->process(bitPointers_.data(), bytes, samplePointers_.data(), lastBits));
        tellThreads();
        if (frames > 0) return frames;
    }
    return 0;
}

/// @param trimmed  frames in front that nobody will hear: they clip without a word
void Pdm2Pcm::applyGain(double* samples, std::size_t frames, std::size_t trimmed)
{
    if (gainFactor_ == 1.0) return;
    bool clipped = false;
    for (std::size_t i = 0; i < frames; ++i) {
        const double louder = samples[i] * gainFactor_;
        clipped = clipped || (i >= trimmed && std::abs(louder) > 1.0);
        samples[i] = std::clamp(louder, -1.0, 1.0);
    }
    if (clipped && !reverseValues().clippingTold.exchange(true))
        environment_.report.notice("PDM2PCM: clipping at %+.1f dB gain (samples clamped to full scale) -- reduce the "
                                   "gain for this source\n",
                                   gainDb_);
}

void Pdm2Pcm::finishChannel(std::size_t channel, std::size_t frames, std::size_t trimmed)
{
    double* samples = samplePointers_[channel];
    {
        const ReverseProfile::Timer timer(profile_, ReverseProfile::gain);
        peaks_[channel] = std::max(peaks_[channel], environment_.kernels.peak(samples + trimmed, frames - trimmed));
        applyGain(samples, frames, trimmed);
    }
    if (shapers_.empty()) return;
    const ReverseProfile::Timer timer(profile_, ReverseProfile::noiseShaper);
    shapers_[channel].process(samples, frames);
}

std::size_t Pdm2Pcm::processBlock()
{
    const std::size_t frames = decimateNext();
    if (frames == 0) return 0;
    if (profile_) profile_->addFrames(frames);
    const auto trimmed = static_cast<std::size_t>(std::min<std::uint64_t>(skipFrames_, frames));
    if (threads_ > 1)
        parallel::parallel_for(
            0, channels_, [&](std::size_t c) { finishChannel(c, frames, trimmed); }, environment_.pool);
    else
        for (std::size_t c = 0; c < channels_; ++c) finishChannel(c, frames, trimmed);
    const ReverseProfile::Timer timer(profile_, ReverseProfile::interleave);
    for (std::size_t c = 0; c < channels_; ++c)
        for (std::size_t i = 0; i < frames; ++i) interleaved_[i * channels_ + c] = samplePointers_[c][i];
    return frames;
}

std::size_t Pdm2Pcm::readFrames()
{
    while (const std::size_t frames = processBlock()) {
        const auto skipped = static_cast<std::size_t>(std::min<std::uint64_t>(skipFrames_, frames));
        skipFrames_ -= skipped;
        if (skipped == frames) continue;
        delivered_ = interleaved_.data() + skipped * channels_;
        framesOut_ += frames - skipped;
        peak_ = *std::max_element(peaks_.begin(), peaks_.end());
        return frames - skipped;
    }
    return 0;
}

} // namespace tesk
