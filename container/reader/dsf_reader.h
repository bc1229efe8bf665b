// DSF: blocks of one channel after the other. Source: DSF File Format 1.01 (Sony).
#pragma once

#include "container/reader/dsd_reader.h"
#include "engine/base/reporter.h"
#include "input/byte_source.h"

#include <memory>
#include <vector>

namespace tesk {

/// 1 to 64 channels at up to 49 152 000 Hz, either bit order, blocks of up to 1 MiB. Every channel ends at the sample
/// count; what pads its last block is not sound. A file with less than that ends where its last whole block group ends,
/// or, when it breaks off within the block of the last channel, where that does. A sample count of 0 means all there
/// is.
class DsfReader final : public DsdReader {
public:
    /// Null for what is no DSF file or none that can be played, with a text on `report`.
    static std::unique_ptr<DsfReader> open(std::unique_ptr<ByteSource> file, Reporter& report);

    const DsdSource& source() const override { return source_; }
    std::size_t read(std::uint8_t* const* planar, std::size_t bytes) override;

private:
    DsfReader(std::unique_ptr<ByteSource> file, Reporter& report) : file_(std::move(file)), report_(report) {}
    bool readFormat(std::uint64_t offset, std::uint64_t size);
    bool findData();
    void measure(std::uint64_t dataSize);
    std::size_t loadGroup();
    bool refuse(const char* why);

    std::unique_ptr<ByteSource> file_;
    Reporter& report_;
    DsdSource source_;
    std::size_t blockBytes_ = 0;    // of the file, per channel
    std::uint64_t sampleCount_ = 0; // as declared
    std::uint64_t dataOffset_ = 0, dataEnd_ = 0;
    std::uint64_t bytes_ = 0, at_ = 0; // per channel: of the sound, delivered
    std::vector<std::uint8_t> group_;  // a block of every channel
    std::size_t inGroup_ = 0;          // bytes of each channel that the group holds
};

} // namespace tesk
