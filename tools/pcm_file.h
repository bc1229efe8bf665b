// Reads stretches of a WAV file.
#pragma once

#include "platform/files.h"
#include "tools/sample_file.h"

namespace tesk::measure {

/// RIFF or RF64 with integers of 16, 24 or 32 bits, or floats of 32 or 64. An integer counts 1 / (2^(bits−1) − 1), as
/// the converter writes it. Sources: Microsoft and IBM, Multimedia Programming Interface 1.0; EBU Tech 3306.
class PcmFile final : public SampleFile {
public:
    std::string open(const std::string& path) override;
    std::vector<double> read(unsigned channel, std::uint64_t first, std::uint64_t count) override;

private:
    double decode(const unsigned char* bytes) const;

    platform::FilePtr file_;
    bool isFloat_ = false;
    unsigned sampleBytes_ = 0;
    std::int64_t data_ = 0; // offset of the first sample
};

} // namespace tesk::measure
