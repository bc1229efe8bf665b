#include "pipeline/track_outputs.h"

#include <algorithm>

namespace tesk {

std::vector<std::uint64_t> cutBytes(const std::vector<TrackCut>& cuts, std::uint32_t factor, std::uint64_t border,
                                    std::uint64_t totalBytes)
{
    std::vector<std::uint64_t> starts;
    for (const TrackCut& cut : cuts) {
        const std::uint64_t samples = cut.frame * factor;
        std::uint64_t borders = (samples + 4 * border) / (8 * border); // rounded
        if (borders > 0 && borders * border >= totalBytes) --borders;
        if (!starts.empty()) borders = std::max(borders, starts.back() / border + 1);
        starts.push_back(borders * border);
    }
    return starts;
}

TrackOutputs::TrackOutputs(const Pcm2pdm& job, std::uint64_t border)
    : job_(job), starts_(cutBytes(job.piece.cuts, job.plan.factor, border, job.plan.totalBytes())),
      rest_(job.plan.channels)
{
}

std::uint64_t TrackOutputs::endOf(std::size_t track) const
{
    return track + 1 < starts_.size() ? starts_[track + 1] : job_.plan.totalBytes();
}

Status TrackOutputs::open() { return openTrack(0); }

Status TrackOutputs::openTrack(std::size_t track)
{
    const std::string& path = job_.piece.cuts[track].path;
    auto next = std::make_unique<SingleOutput>(job_, path, endOf(track) - starts_[track]);
    if (Status status = next->open(); !status) return status;
    if (current_) finished_ += current_->writer().bytesWritten();
    current_ = std::move(next);
    track_ = track;
    return {};
}

Status TrackOutputs::closeTrack()
{
    const Status status = current_->writer().finish(job_.piece.cuts[track_].metadata, job_.report);
    return status ? current_->commit() : status;
}

Status TrackOutputs::append(const std::uint8_t* const* packed, std::size_t bytes)
{
    std::copy_n(packed, rest_.size(), rest_.begin());
    while (bytes > 0) {
        if (position_ == endOf(track_) && track_ + 1 < starts_.size()) {
            if (Status status = closeTrack(); !status) return status;
            if (Status status = openTrack(track_ + 1); !status) return status;
        }
        const std::uint64_t room = track_ + 1 < starts_.size() ? endOf(track_) - position_ : bytes;
        const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, room));
        if (Status status = current_->writer().append(rest_.data(), part); !status) return status;
        for (auto& channel : rest_) channel += part;
        position_ += part;
        bytes -= part;
    }
    return {};
}

Status TrackOutputs::finish(const MetadataRecord&, Reporter& report)
{
    return current_->writer().finish(job_.piece.cuts[track_].metadata, report);
}

std::uint64_t TrackOutputs::bytesWritten() const { return finished_ + current_->writer().bytesWritten(); }

} // namespace tesk
