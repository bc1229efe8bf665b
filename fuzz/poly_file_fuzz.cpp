// Any bytes as a polynomial file, as they stand and under a checksum that is right: a refusal says why, and what is
// taken has its size, finite coefficients, and the same text again.
#include "filter/chebyshev_file.h"

#include <cmath>
#include <cstdlib>

namespace {

constexpr tesk::DesignFingerprint kDesign{20, 352800.0, 0x1234, 0x5678};

void demand(bool condition)
{
    if (!condition) std::abort();
}

void check(const std::string& text)
{
    const auto fir = tesk::parseChebyshev(text, kDesign);
    demand(fir.ok() || !fir.status().empty());
    if (!fir) return;
    demand(fir->taps == kDesign.taps && fir->degree >= tesk::kLeastPolyDegree && fir->degree < fir->taps);
    demand(fir->coefficients.size() == tesk::chebyshevCount(fir->degree, fir->symmetric));
    for (double c : fir->coefficients) demand(std::isfinite(c));
    demand(tesk::evaluateChebyshev(*fir).size() == static_cast<std::size_t>(kDesign.taps));
    const auto again = tesk::parseChebyshev(tesk::formatChebyshev(*fir, kDesign), kDesign);
    demand(again.ok() && again->coefficients == fir->coefficients);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    check(text);
    check(tesk::withChecksum(text));
    return 0;
}
