#include "input/load_signal.h"

#include "input/header_probe.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace tesk {
namespace {

/// First guess where neither header nor file length tell: a minute of stereo at 44.1 kHz, 40 MiB.
constexpr std::uint64_t kFirstGuessSamples = std::uint64_t{5} << 20;

/// Replaces floating-point samples that are no sound, and remembers how many there were.
class SampleCheck {
public:
    void clean(double* samples, std::size_t frames, std::uint32_t channel, std::uint64_t position)
    {
        for (std::size_t i = 0; i < frames; ++i) {
            if (std::abs(samples[i]) <= kLargestSample) continue; // false for NaN as well
            samples[i] = 0;
            const std::uint64_t frame = position + i;
            if (count_++ == 0 || frame < firstFrame_) {
                firstFrame_ = frame;
                firstChannel_ = channel;
            }
        }
    }
    void warn(Reporter& report) const
    {
        if (count_ == 0) return;
        report.alert("%llu samples are not finite or beyond %g and were set to 0; the first is frame %llu of "
                     "channel %u\n",
                     static_cast<unsigned long long>(count_), kLargestSample,
                     static_cast<unsigned long long>(firstFrame_), firstChannel_ + 1);
    }

private:
    std::uint64_t count_ = 0, firstFrame_ = 0;
    std::uint32_t firstChannel_ = 0; // from 0
};

/// The work of one load. The signal's guard takes what a chunk has beyond the signal's end until it has grown.
class Loader {
public:
    Loader(PcmReader& reader, const LoadContext& context, PcmRecording& recording, std::string& error, FrameRange range)
        : reader_(reader), context_(context), recording_(recording), error_(error), range_(range)
    {
        static_assert(kLoadChunkFrames <= kGuardFrames);
    }

    Status run()
    {
        const PcmInfo& info = recording_.info = reader_.info();
        if (!plausibleFormat(info.channels, info.sampleRate, error_)) return DSD_ERROR_INPUT;
        const std::uint64_t claimed = std::max(info.declaredFrames.value_or(0), info.storedFrames.value_or(0));
        if (!mayHold(inRange(claimed))) return DSD_ERROR_INPUT;
        const bool known = info.storedFrames || info.declaredFrames;
        allocated_ = known ? inRange(info.storedFrames.value_or(claimed)) : std::min(rangeLength(), firstGuess());
        recording_.signal = Signal(info.channels, allocated_);
        if (Status status = skipToRange(); !status) return status;
        if (Status status = readRange(); !status) return status;
        if (frames_ < recording_.signal.frames()) resize(frames_);
        warn();
        return {};
    }
    std::uint64_t allocatedFrames() const { return allocated_; }

private:
    std::uint64_t rangeLength() const { return range_.end - std::min(range_.begin, range_.end); }
    /// How many of the recording's first `frames` frames are asked for.
    std::uint64_t inRange(std::uint64_t frames) const
    {
        return std::min(frames, range_.end) - std::min({frames, range_.begin, range_.end});
    }

    /// As much of the usual guess as the memory has room for.
    std::uint64_t firstGuess() const
    {
        const std::uint32_t channels = recording_.info.channels;
        std::uint64_t frames = kFirstGuessSamples / channels;
        while (frames > kLoadChunkFrames && !fitsInMemory(channels, frames, context_)) frames /= 2;
        return frames;
    }

    bool mayHold(std::uint64_t frames)
    {
        const PcmInfo& info = recording_.info;
        return (!info.streamed || checkStreamLimit(info.channels, frames, streamLimit_, error_)) && mayAllocate(frames);
    }
    bool mayAllocate(std::uint64_t frames)
    {
        if (check_signal_memory(recording_.info.channels, frames, context_)) return true;
        error_ = "the signal buffer does not fit in memory";
        return false;
    }

    Result<std::size_t, PDM_ENCODING_STATUS> readChunk(double* const* planar, std::uint64_t frames)
    {
        if (context_.stop.pending()) {
            error_ = "stopped";
            return kHostStopped;
        }
        auto got = reader_.read(planar, static_cast<std::size_t>(std::min<std::uint64_t>(frames, kLoadChunkFrames)));
        if (!got.ok()) error_ = reader_.errorText();
        return got;
    }

    Status skipToRange()
    {
        if (range_.begin == 0) return {};
        const Status sought = reader_.seek(range_.begin);
        if (sought.status() != DSD_ERROR_UNSUPPORTED) {
            if (!sought) error_ = reader_.errorText();
            return sought;
        }
        FrameScratch scratch(recording_.info.channels);
        for (std::uint64_t left = range_.begin; left > 0;) {
            auto got = readChunk(scratch.planar(), left);
            if (!got.ok()) return got.status();
            if (*got == 0) return {};
            left -= *got;
        }
        return {};
    }

    Status readRange()
    {
        std::vector<double*> planar(recording_.info.channels);
        while (frames_ < rangeLength()) {
            for (std::uint32_t c = 0; c < planar.size(); ++c) planar[c] = recording_.signal.channel(c) + frames_;
            auto got = readChunk(planar.data(), rangeLength() - frames_);
            if (!got.ok()) return got.status();
            if (*got == 0) return {};
            if (recording_.info.isFloat || recording_.info.unchecked)
                for (std::uint32_t c = 0; c < planar.size(); ++c) check_.clean(planar[c], *got, c, frames_);
            frames_ += *got;
            if (recording_.info.streamed && !checkStreamLimit(recording_.info.channels, frames_, streamLimit_, error_))
                return DSD_ERROR_INPUT;
            if (frames_ > recording_.signal.frames() && !grow()) return DSD_ERROR_INPUT;
        }
        return {};
    }

    bool grow()
    {
        // Both signals exist while the samples move. Where half as much again is too much, a little more will do.
        const std::uint64_t ample = frames_ + frames_ / 2, least = frames_ + kLoadChunkFrames;
        const std::uint64_t wanted = fitsInMemory(recording_.info.channels, ample, context_) ? ample : least;
        if (!mayAllocate(wanted)) return false;
        resize(wanted);
        return true;
    }

    /// Moves the frames read so far to a signal of another length.
    void resize(std::uint64_t frames)
    {
        allocated_ = frames;
        Signal other(recording_.info.channels, frames);
        for (std::uint32_t c = 0; c < other.channels(); ++c)
            std::copy_n(recording_.signal.channel(c), frames_, other.channel(c));
        recording_.signal = std::move(other);
    }

    void warn()
    {
        const PcmInfo& info = recording_.info;
        const auto& declared = info.declaredFrames;
        if (declared && *declared != range_.begin + frames_ && range_.end == FrameRange::kToTheEnd &&
            !info.lengthIsHint)
            context_.report.alert("the header declares %llu frames, the file holds %llu; the latter are used\n",
                                  static_cast<unsigned long long>(*declared),
                                  static_cast<unsigned long long>(range_.begin) + frames_);
        check_.warn(context_.report);
        for (const std::string& text : reader_.warnings()) context_.report.alert("%s\n", text.c_str());
    }

    PcmReader& reader_;
    const LoadContext& context_;
    PcmRecording& recording_;
    std::string& error_;
    const FrameRange range_;
    const std::optional<double> streamLimit_ = streamLimit();
    SampleCheck check_;
    std::uint64_t frames_ = 0;    // read so far
    std::uint64_t allocated_ = 0; // asked for last, guard not counted
};

} // namespace

Status loadSignal(PcmReader& reader, const LoadContext& context, PcmRecording& recording, std::string& error,
                  FrameRange range)
{
    recording = {};
    Loader loader(reader, context, recording, error, range);
    Status status;
    try {
        status = loader.run();
    } catch (const std::bad_alloc&) {
        const std::uint64_t bytes = loader.allocatedFrames() * reader.info().channels * sizeof(double);
        context.report.error(
            "Fatal: cannot allocate signal buffer (~%zu MB). Try a shorter input or reduce sample rate.\n",
            static_cast<std::size_t>(bytes >> 20));
        error = "cannot allocate the signal buffer";
        status = DSD_ERROR_INPUT;
    }
    if (!status) recording = {};
    return status;
}

} // namespace tesk
