#include "container/dst/dst_decoder.h"

#include "container/dst/dst_frame_run.h"
#include "pipeline/parallel/parallel_for.h"

#include <algorithm>
#include <atomic>
#include <new>

namespace tesk {
namespace {

constexpr std::uint8_t kSilence = 0x69;

/// A frame that was sent without coding.
DstFault readPlain(std::span<const std::uint8_t> frame, std::span<std::uint8_t> dsd)
{
    constexpr std::uint8_t kReserved = 0x3F; // behind the two flags
    if (frame[0] & kReserved) return DstFault::tableType;
    if (frame.size() < dsd.size() + 1) return DstFault::negativeBits;
    if (frame.size() > dsd.size() + 1) return DstFault::arithmeticDecoding; // sound that nobody would hear
    std::copy(frame.begin() + 1, frame.end(), dsd.begin());
    return DstFault::none;
}

} // namespace

std::string dstFaultText(DstFault fault, std::uint32_t frameIndex)
{
    switch (fault) {
    case DstFault::none: break;
    case DstFault::illegalArithmeticCode:
        return format("ERROR: Illegal arithmetic code in frame %d!\n", static_cast<int>(frameIndex));
    case DstFault::arithmeticDecoding: return "ERROR: Arithmetic decoding error!\n";
    case DstFault::tableType: return "ERROR: Illegal table type\n";
    case DstFault::segmentLength: return "ERROR: Invalid segment length!\n";
    case DstFault::segmentResolution: return "ERROR: Invalid segment resolution!\n";
    case DstFault::tableNumber: return "ERROR: Invalid table number for segment!\n";
    case DstFault::tooManySegments: return "ERROR: Too many segments!\n";
    case DstFault::tooManySegmentsForChannel: return "ERROR: Too many segments for this channel!\n";
    case DstFault::tooManyTables: return "ERROR: Too many tables for this frame!\n";
    case DstFault::segmentCountsDiffer: return "ERROR: Not same number of segments for filters and Ptables!\n";
    case DstFault::mappingNotSame: return "ERROR: Mapping can't be the same for all channels!\n";
    case DstFault::ptableMethod: return "ERROR: Invalid Ptable coding method!\n";
    case DstFault::coefficientMethod: return "ERROR: Invalid coefficient coding method!\n";
    case DstFault::ptableEntry: return "ERROR: Ptable entry out of range!\n";
    case DstFault::coefficientRange: return "ERROR: filter coefficient out of range!\n";
    case DstFault::negativeBits: return "\nERROR: a negative number of bits allocated\n";
    }
    return {};
}

struct DstDecoder::Lanes {
    DstFrameRun run[2];
};

DstDecoder::DstDecoder(DstSimdLevel level) : level_(level) {}
DstDecoder::~DstDecoder() = default;
DstDecoder::DstDecoder(DstDecoder&&) noexcept = default;
DstDecoder& DstDecoder::operator=(DstDecoder&&) noexcept = default;

Status DstDecoder::init(std::uint32_t channels, std::uint32_t dsdRate, Reporter& report)
{
    channels_ = bytesPerChannel_ = 0;
    const std::uint32_t bytes = dstBytesPerChannel(dsdRate);
    if (bytes > kDstMaxBytesPerChannel) {
        report.error("DSTDecoder: frame %u bytes/ch exceeds MAX_DSDBYTES_INFRAME=%d (dsd_rate=%u) -- see "
                     "decodec/dst/src/conststr\n",
                     bytes, static_cast<int>(kDstMaxBytesPerChannel), dsdRate);
        return DST_ERROR;
    }
    if (!lanes_) lanes_.reset(new (std::nothrow) Lanes);
    if (!lanes_) {
        report.error("DSTDecoder: calloc failed\n");
        return DST_ERROR;
    }
    if (channels == 0 || channels > kDstMaxChannels || bytes == 0) {
        report.error("DSTDecoder: DST_InitDecoder failed (ret=%d)\n", static_cast<int>(DST_ERROR));
        return DST_ERROR;
    }
    channels_ = channels;
    bytesPerChannel_ = bytes;
    return {};
}

Status DstDecoder::decode(std::span<const std::uint8_t> frame, std::uint32_t frameIndex, std::span<std::uint8_t> dsd,
                          Reporter& report)
{
    DstFrameJob job{frame, dsd};
    decodePair(job, nullptr);
    if (job.fault == DstFault::none) return {};
    report.error("%s", dstFaultText(job.fault, frameIndex).c_str());
    return DST_ERROR;
}

void DstDecoder::decode(std::span<DstFrameJob> jobs)
{
    for (std::size_t i = 0; i < jobs.size(); i += 2) decodePair(jobs[i], i + 1 < jobs.size() ? &jobs[i + 1] : nullptr);
}

/// Reads the frame up to its arithmetic-coded data. False when there are none, or none that can be decoded.
bool DstDecoder::begin(DstFrameJob& job, unsigned lane)
{
    job.fault = DstFault::none;
    if (job.frame.empty())
        job.fault = DstFault::negativeBits;
    else if (job.frame[0] >> 7 == 0)
        job.fault = readPlain(job.frame, job.dsd);
    else {
        DstFrameRun& run = lanes_->run[lane];
        DstBitReader bits(job.frame);
        bits.bit();
        job.fault = readDstTables(bits, channels_, bytesPerChannel_, run.tables);
        if (job.fault == DstFault::none)
            job.fault = run.start(channels_, bytesPerChannel_, level_, job.frame, bits.position(), job.dsd.data());
        return job.fault == DstFault::none;
    }
    return false;
}

void DstDecoder::decodePair(DstFrameJob& first, DstFrameJob* second)
{
    DstFrameJob* const jobs[2] = {&first, second};
    DstFrameRun* runs[2] = {};
    unsigned started = 0;
    DstFrameJob* of[2] = {};
    for (DstFrameJob* job : jobs)
        if (job && begin(*job, started)) {
            runs[started] = &lanes_->run[started];
            of[started++] = job;
        }
    if (started > 0) runDstFrames(*runs[0], runs[1], level_);
    for (unsigned lane = 0; lane < started; ++lane) of[lane]->fault = runs[lane]->finish();
    for (DstFrameJob* job : jobs)
        if (job && job->fault != DstFault::none) std::fill(job->dsd.begin(), job->dsd.end(), kSilence);
}

DstParallelDecoder::DstParallelDecoder(DstSimdLevel level, parallel::WorkerPool& pool) : pool_(pool)
{
    for (std::size_t w = 0; w < pool.workers(); ++w) decoders_.emplace_back(level);
}

Status DstParallelDecoder::init(std::uint32_t channels, std::uint32_t dsdRate, Reporter& report)
{
    for (DstDecoder& decoder : decoders_)
        if (Status status = decoder.init(channels, dsdRate, report); !status) return status;
    return {};
}

Status DstParallelDecoder::decodeFrames(std::span<DstFrameJob> jobs, std::uint32_t firstIndex, Reporter& report)
{
    const std::size_t workers = decoders_.size();
    const std::size_t step = jobs.size() >= 2 * workers ? 2 : 1; // few frames: rather all workers than pairs
    std::atomic<std::size_t> next{0};
    const auto work = [&](std::size_t worker) {
        for (;;) {
            const std::size_t at = next.fetch_add(step);
            if (at >= jobs.size()) return;
            decoders_[worker].decode(jobs.subspan(at, std::min(step, jobs.size() - at)));
        }
    };
    parallel::parallel_for(0, workers, work, pool_);
    Status status;
    for (std::size_t i = 0; i < jobs.size(); ++i)
        if (jobs[i].fault != DstFault::none) {
            report.error("%s", dstFaultText(jobs[i].fault, firstIndex + static_cast<std::uint32_t>(i)).c_str());
            status = DST_ERROR;
        }
    return status;
}

} // namespace tesk
