// DST: one frame of one-bit sound in, one coded frame out, without loss.
// Source of the bit stream: ISO/IEC 14496-3, subpart 10 (Direct Stream Transfer).
#pragma once

#include "container/dst/dst_predictor.h"
#include "container/dst/dst_ptable.h"
#include "engine/base/result.h"

#include <span>
#include <vector>

namespace tesk {

struct DstParameters {
    std::uint32_t channels = 2;      ///< 1..6
    std::uint32_t dsdRate = 2822400; ///< Hz
    std::size_t bytesPerChannel = 0; ///< of a frame: dsdRate / 600, 1..20480
    int predictionOrder = 128;       ///< 1..128

    std::size_t frameBytes() const { return channels * bytesPerChannel; }
};

/// The frame as it stands, behind the byte that says so.
std::vector<std::uint8_t> plainDstFrame(std::span<const std::uint8_t> interleaved);

/// Frames are independent of each other: nothing is kept from one to the next.
class DstEncoder {
public:
    /// DSD_ERROR_INIT_ENCODED_DST when a parameter is out of its range. The frames are the same with any kernels.
    Status init(const DstParameters& parameters,
                const DstFilterKernels& kernels = dstKernelsFor(platform::cpuFeatures()));

    /// @param interleaved  frameBytes(), byte by byte of each channel in turn, the earliest sample in the high bit
    /// @return             the coded frame, or the plain one when it is not longer;
    ///                     DST_ERROR when the size is another or init() has not succeeded
    Result<std::vector<std::uint8_t>, PDM_ENCODING_STATUS> encode(std::span<const std::uint8_t> interleaved);

private:
    /// One way to send the frame. A filter or Ptable is the only one, for all channels, or each channel has its own.
    struct Plan {
        std::vector<DstFilter> filters;
        std::vector<DstSetCoding> filterCodings;
        std::vector<DstPtable> ptables;
        std::vector<std::vector<std::uint8_t>> decisions; // [channel][sample], see kDstWrongMark
        std::uint64_t wrong = 0;
        double bits = 0; // estimated: all but the few of the header

        const DstFilter& filterOf(std::size_t channel) const { return filters[filters.size() > 1 ? channel : 0]; }
        const DstPtable& ptableOf(std::size_t channel) const { return ptables[ptables.size() > 1 ? channel : 0]; }
    };

    void choosePlan();
    bool sharingPays();
    void consider(std::vector<DstFilter> filters);
    void considerSimpler(std::span<const DstPredictor> predictors);
    void evaluate(Plan& plan);
    void decide(Plan& plan, std::size_t channel);
    static void designPtables(Plan& plan, std::span<const DstCounts> counts);
    std::vector<std::uint8_t> write() const;

    DstParameters parameters_;
    DstFilterKernels kernels_{};
    std::vector<DstSignal> signals_;
    std::vector<DstPredictor> predictors_; // one per channel, then one for all together
    std::vector<std::int16_t> prediction_;
    Plan best_, trial_;
};

} // namespace tesk
