// Any bytes as a DSF file, and as a WSD file.
#include "container/reader/dsf_reader.h"
#include "container/reader/wsd_reader.h"
#include "fuzz/read_to_end.h"

namespace {

template <class Reader>
void tryOut(std::span<const std::uint8_t> bytes)
{
    tesk::CollectingReporter report;
    if (const auto reader = Reader::open(std::make_unique<tesk::MemorySource>(bytes), report))
        readToEnd(*reader, bytes.size());
    else if (report.text.empty())
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tryOut<tesk::DsfReader>({data, size});
    tryOut<tesk::WsdReader>({data, size});
    return 0;
}
