// TTA1, by a decoder of our own. A damaged stream never passes for a whole one: a lost frame fails the load.
#pragma once

#include "input/byte_source.h"
#include "input/pcm_reader.h"
#include "input/tta_block.h"

#include <memory>

namespace tesk {

/// Integer samples of 8, 16 and 24 bits, 1 to 8 channels; ID3v2 in front and any tag behind are passed over. Memory:
/// one block of the file (1.04 seconds) and the seek table.
///
/// TTA calls its blocks frames, and so do the texts for the user: "frame 3" is the fourth block.
class TtaReader final : public PcmReader {
public:
    Status open(const std::string& path) override;
    Status open(std::unique_ptr<ByteSource> source);
    Result<std::size_t, PDM_ENCODING_STATUS> read(double* const* planar, std::size_t frames) override;

    /// To any frame up to the end, which is one beyond the last. A failure is told as "TTA set_position failed"; `read`
    /// then fails until another `seek` succeeds.
    Status seek(std::uint64_t frame) override;

private:
    Status readHeader(std::uint64_t at);
    Status readSeekTable(std::uint64_t at);
    void countStoredFrames();
    bool beginBlock(std::uint64_t block);
    bool decode(double* const* planar, std::size_t from, std::size_t frames);
    bool lose(std::uint64_t block, std::string_view why);

    std::uint64_t blockCount() const { return blockStart_.size() - 1; }
    std::uint64_t framesIn(std::uint64_t block) const;
    std::uint64_t leastBytes(std::uint64_t block) const;
    bool isPossible(std::uint64_t block) const;

    std::unique_ptr<ByteSource> source_;
    std::uint64_t total_ = 0;                     // frames
    std::uint64_t blockFrames_ = 1;               // of every block but the last
    std::vector<std::uint64_t> blockStart_ = {0}; // [blocks + 1] offsets in the file
    std::unique_ptr<TtaBlock> block_;
    std::vector<std::uint8_t> bytes_; // of the current block, and its padding
    std::uint64_t position_ = 0;      // next frame
    std::uint64_t left_ = 0;          // frames of the current block not yet decoded
    bool lost_ = false;               // nothing to be read before a seek
    bool toldSurplus_ = false;
};

} // namespace tesk
