// One continuous stream in several files, each of which ends where the next one begins.
#pragma once

#include "pipeline/output.h"

#include <vector>

namespace tesk {

/// Byte per channel at which each track begins: the container border nearest to the track's first frame, and always
/// behind the one before. `cuts` start at frames of the stream; the first at 0. All lie before `totalBytes`, as long as
/// the tracks are at least two borders long.
std::vector<std::uint64_t> cutBytes(const std::vector<TrackCut>& cuts, std::uint32_t factor, std::uint64_t border,
                                    std::uint64_t totalBytes);

/// Hands the stream to a file per track. A track's file gets its tags and its name as soon as the track is complete;
/// only the last one is padded.
class TrackOutputs final : public JobOutput, private DsdWriter {
public:
    TrackOutputs(const Pcm2pdm& job, std::uint64_t border);

    Status open() override;
    DsdWriter& writer() override { return *this; }
    Status commit() override { return current_->commit(); }

private:
    Status begin(const DsdStreamInfo&) override { return {}; } // `open` did
    Status append(const std::uint8_t* const* packed, std::size_t bytes) override;
    Status finish(const MetadataRecord&, Reporter& report) override;
    Status stop() override { return current_->writer().stop(); }
    std::uint64_t bytesWritten() const override;

    std::uint64_t endOf(std::size_t track) const;
    Status openTrack(std::size_t track);
    Status closeTrack();

    const Pcm2pdm& job_;
    std::vector<std::uint64_t> starts_; // bytes per channel
    std::size_t track_ = 0;
    std::uint64_t position_ = 0; // bytes per channel of the stream so far
    std::uint64_t finished_ = 0; // bytes of the tracks before the current one
    std::unique_ptr<SingleOutput> current_;
    std::vector<const std::uint8_t*> rest_; // what of a call's bytes is still to be handed on
};

} // namespace tesk
