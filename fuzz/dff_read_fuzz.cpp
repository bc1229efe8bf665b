// Any bytes as a DSDIFF file, plain or DST-coded.
#include "container/reader/dff_reader.h"
#include "fuzz/read_to_end.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t kMostFrameBytes = 1 << 12; // small frames: the decoder has a target of its own
    tesk::CollectingReporter report;
    const std::span<const std::uint8_t> bytes(data, size);
    const auto reader = tesk::DFFReader::open(std::make_unique<tesk::MemorySource>(bytes), tesk::kDstScalar, report);
    if (!reader) {
        if (report.text.empty()) std::abort();
        return 0;
    }
    const tesk::DsdSource& source = reader->source();
    const std::uint64_t frameBytes = source.channels * std::uint64_t{source.blockBytes};
    if (source.dst && frameBytes > kMostFrameBytes) return 0;
    readToEnd(*reader, source.dst ? size / 12 * frameBytes : size); // a frame takes at least the head of its chunk
    return 0;
}
