// Reads stretches of a DSF file as ±1.0 samples.
#pragma once

#include "platform/files.h"
#include "tools/sample_file.h"

namespace tesk::measure {

/// Source: DSF File Format 1.01 (Sony). Only the plain layout is read: three chunks, 92 bytes, then blocks.
class DsfFile final : public SampleFile {
public:
    std::string open(const std::string& path) override;
    std::vector<double> read(unsigned channel, std::uint64_t first, std::uint64_t count) override;

private:
    platform::FilePtr file_;
    unsigned blockBytes_ = 0;
    bool lowBitFirst_ = true;
};

} // namespace tesk::measure
