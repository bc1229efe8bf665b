// The way back from one-bit sound to PCM, block by block: decimation, gain, noise shaping, interleaving.
#pragma once

#include "container/dst/dst_simd.h"
#include "container/reader/dsd_reader.h"
#include "engine/base/reporter.h"
#include "engine/base/stop_flag.h"
#include "reverse/decimation_rates.h"
#include "reverse/decimator.h"
#include "reverse/pcm_noise_shaper.h"

#include <memory>
#include <vector>

namespace tesk {

class StagedDecimator;

/// The world a conversion works in.
struct ReverseEnvironment {
    Reporter& report;
    StopFlag& stop;
    parallel::WorkerPool& pool;
    const kernel::KernelTable& kernels;
    DstSimdLevel dstLevel = kDstScalar;
};

/// One conversion of one source. Driven by one thread; its stages use the workers.
class Pdm2Pcm {
public:
    /// Both outlive the object.
    Pdm2Pcm(const ReverseSettings& settings, const ReverseEnvironment& environment);
    ~Pdm2Pcm();

    /// Settles the rates and designs the filters. DSD_ERROR, with the reason printed, when that cannot be done.
    /// `source` is read from where it stands and outlives the object.
    Status open(DsdReader& source);
    /// One-bit samples on either side of an aligned output that it is made from, more or less.
    std::uint64_t reach() const { return rates_.firTaps + kBiquadReach; }
    /// Sound that stands right before and right behind the source, with its channels and rate: an aligned conversion
    /// is filtered across the seams as if all were one. Each may be null, for silence. Before the first readFrames().
    void setNeighbours(std::unique_ptr<DsdReader> before, std::unique_ptr<DsdReader> behind);
    /// What open() settled, for standard error.
    void printHeader() const;

    /// The next frames, at most maxFrames(): what one block gives, less what is trimmed at the start. 0 at the end.
    std::size_t readFrames();
    /// [frames · channels] of the last readFrames.
    const double* interleaved() const { return delivered_; }

    std::uint32_t outRate() const { return rates_.outRate; }
    std::uint32_t channels() const { return channels_; }
    std::size_t maxFrames() const { return frameCapacity_; }
    /// Frames of the whole conversion, as the source announces its length.
    std::uint64_t expectedFrames() const;
    std::uint64_t framesOut() const { return framesOut_; } ///< delivered so far
    /// The largest magnitude delivered so far, before the gain.
    double peak() const { return peak_; }
    double gainDb() const { return gainDb_; }

private:
    static constexpr std::uint64_t kBiquadReach = 4096; // their response has died out by then

    Status buildDecimator();
    Status buildShapers();
    void settleGain();
    void tellThreads();
    std::size_t processBlock();
    std::size_t readBits(unsigned& lastBits);
    bool nextPart();
    std::size_t decimateNext();
    std::size_t capped(std::size_t frames);
    std::size_t drain();
    void applyGain(double* samples, std::size_t frames, std::size_t trimmed);
    void finishChannel(std::size_t channel, std::size_t frames, std::size_t trimmed);

    const ReverseSettings& settings_;
    const ReverseEnvironment& environment_;
    ReverseProfile* profile_ = nullptr;
    DsdReader* source_ = nullptr;
    DecimationRates rates_;
    std::uint32_t channels_ = 0;
    std::int64_t delay_ = 0; // of the filters, in one-bit samples
    unsigned threads_ = 1;
    double gainDb_ = 0, gainFactor_ = 1;
    std::unique_ptr<Decimator> decimator_;
    const StagedDecimator* staged_ = nullptr; // the same, when it works stage by stage
    bool toldThreads_ = false;
    std::vector<PcmNoiseShaper> shapers_;

    std::size_t blockBytes_ = 0; // per channel and step
    std::size_t frameCapacity_ = 0;
    std::vector<std::vector<std::uint8_t>> bits_;
    std::vector<std::uint8_t*> bitPointers_;
    std::vector<std::vector<double>> samples_;
    std::vector<double*> samplePointers_;
    std::vector<double> peaks_; // per channel
    std::vector<double> interleaved_;
    const double* delivered_ = nullptr;

    enum class Part { before, source, behind, silence };
    Part part_ = Part::source; // what is read from
    std::unique_ptr<DsdReader> before_, behind_;
    std::uint64_t seen_ = 0;            // one-bit samples per channel, those behind the source not counted
    std::uint64_t partStart_ = 0;       // seen_ at its beginning
    std::uint64_t decimatedFrames_ = 0; // of all that was fed
    std::uint64_t skipFrames_ = 0, framesOut_ = 0;
    bool ended_ = false;
    double peak_ = 0;
};

} // namespace tesk
