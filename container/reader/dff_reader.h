// DSDIFF, plain and DST-coded. Source: DSDIFF 1.5 (Philips).
#pragma once

#include "container/reader/dsdiff_chunks.h"
#include "container/reader/dst_playback.h"
#include "container/reader/interleaved_sound.h"

#include <memory>

namespace tesk {

/// 1 to 64 channels plain, 1 to 6 DST-coded.
///
/// Plain sound is as long as its chunk, or goes to the end of the file where the size is unknown (0, as a stream is
/// written) or beyond it. DST-coded sound has as many frames as "FRTE" says. Where that cannot be, or the chunk is
/// longer than the file, the frames are counted at opening. Frames that turn out to be missing end the sound early, and
/// frames behind the announced ones are left out; both with a warning. Damaged frames are silence, so that the time
/// stays right.
class DFFReader final : public DsdReader {
public:
    /// Null for what cannot be played, with a text on `report`.
    /// @param dstLevel  one that the processor has
    static std::unique_ptr<DFFReader> open(std::unique_ptr<ByteSource> file, DstSimdLevel dstLevel, Reporter& report);

    const DsdiffProperties& properties() const { return properties_; }

    const DsdSource& source() const override { return source_; }
    std::size_t read(std::uint8_t* const* planar, std::size_t bytes) override;
    void reportProblems(const char* name) override;

private:
    DFFReader(std::unique_ptr<ByteSource> file, Reporter& report) : file_(std::move(file)), report_(report) {}
    bool findSound(DstSimdLevel dstLevel);
    bool takeProperties();
    void openPlain(const DsdiffChunk& sound);
    bool openDst(const DsdiffChunk& sound, DstSimdLevel dstLevel);
    void measureDst(const DsdiffChunk& sound, std::uint64_t announced);
    bool isEmpty(const DsdiffChunk& sound) const;
    bool nextCoded(CodedFrame& frame);
    bool endOfFrames(const char* why);
    bool refuse(const char* why);

    std::unique_ptr<ByteSource> file_;
    Reporter& report_;
    DsdSource source_;
    DsdiffProperties properties_;
    std::unique_ptr<InterleavedSound> plain_;
    std::vector<std::uint8_t*> channels_; // of one call, in the order of the IDs
    bool sidesFirst_ = false; // 7.1 with the side pair in front; it is handed on behind the back pair, as in WAVE

    // Only for DST.
    std::optional<DstFrameWalk> walk_;
    std::uint64_t frames_ = 0, walked_ = 0; // of the sound, and how many of them were fetched
    std::unique_ptr<DstPlayback> playback_;
    std::span<const std::uint8_t> frame_; // what of the current frame was not yet delivered
};

} // namespace tesk
