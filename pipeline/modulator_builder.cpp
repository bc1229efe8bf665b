#include "pipeline/modulator_builder.h"

#include "modulator/cifb_effect.h"
#include "modulator/mash_effect.h"
#include "modulator/noise_shaper_effect.h"
#include "modulator/ntf_designer.h"
#include "modulator/pole_spread.h"
#include "modulator/psychoacoustic_ntf.h"
#include "modulator/sos_ef_noise_shaper_effect.h"

#include <algorithm>
#include <cmath>

namespace tesk {
namespace {

using namespace p2p::effect;
using modulator::UnifiedNoiseShaper;

constexpr int kDefaultOrder = 15;
constexpr int kPeakPoints = 4000;
constexpr int kLoudestPhon = 100;
constexpr double kLoudestPeakDb = 6.0; // beyond, no one-bit loop of this kind was seen to hold

using Stage = std::unique_ptr<modulator::OneBitStage>;

/// One choice of modulator, with what its makers need.
class Choice {
public:
    Choice(const ConversionSettings& settings, double dsdRate, const kernel::KernelTable& kernels,
           parallel::WorkerPool& pool, Reporter& report)
        : s_(settings), bandEdgeHz_(dsdRate / (2 * settings.oversampling)), kernels_(kernels), pool_(pool),
          report_(report)
    {
    }

    Stage make() const
    {
        if (s_.sosEfOrder > 0) return sosEf();
        if (s_.cifbOrder != 0) return std::make_unique<CifbEffect>(s_.cifbOrder, kernels_, pool_);
        if (s_.mash) return mash();
        if (s_.usesDirectForm()) return directForm();
        return sosEf();
    }

private:
    Stage sosEf() const
    {
        const int order = s_.sosEfOrder > 0 ? s_.sosEfOrder : kDefaultOrder;
        if (s_.sosEfOrder == 0)
            report_.line("Report",
                         "Default modulator: SOS-EF NS15 profile (override with -o/--cifb/--mash/--sos-ef)\n");
        auto stage =
            std::make_unique<SosEfNoiseShaperEffect>(order, SosEfNoiseShaperEffect::Constants{}, kernels_, pool_);
        report_.line("Report", "SOS-EF modulator: order %d (auto-generated NTF, Lee peak %.2f dB)\n", stage->order(),
                     stage->peakDb());
        return stage;
    }

    Stage mash() const
    {
        const auto mode = s_.mashErrorFeedback == "iir2" ? MashErrorFeedback::iir2 : MashErrorFeedback::fir2;
        report_.line("Report", "MASH modulator: topology %d, output stage %s\n", s_.mashTopology,
                     s_.mashErrorFeedback.c_str());
        return std::make_unique<MashEffect>(s_.mashTopology, mode, pool_);
    }

    Stage directForm() const
    {
        const UnifiedNoiseShaper design = noiseTransferFunction();
        const double peak = modulator::measureNtfPeak(design.sections(), kPeakPoints);
        report_.line("Report", "DF2 modulator: order %d, poles from %.4f, NTF peak %.2f dB\n", design.order(),
                     *std::min_element(design.poles().begin(), design.poles().end()), peak);
        if (peak > kLoudestPeakDb)
            report_.warning(
                "this noise transfer function peaks at %.2f dB; above %.0f dB a one-bit loop does not hold. "
                "A pole nearer to 1 lowers it\n",
                peak, kLoudestPeakDb);
        if (!usesPoleList()) return std::make_unique<NoiseShaperEffect>(design, kernels_, pool_);
        audit(design, peak);
        return std::make_unique<CifbNoiseShaperEffect>(design, kernels_, pool_);
    }

    bool usesPoleList() const { return !s_.multiPoles.empty() && !s_.singlePole && !s_.psychoacoustic; }

    /// Zeros and poles, by what was asked for: a psychoacoustic design, a list of poles, spread poles, a single pole.
    UnifiedNoiseShaper noiseTransferFunction() const
    {
        if (s_.psychoacoustic) return psychoacoustic();
        const std::vector<double> zeros = modulator::zerosForOrder(s_.order, s_.zeros);
        if (s_.zeros.size() > zeros.size())
            report_.warning("order %d has %zu pairs of zeros; the last %zu of -z are not used\n", s_.order,
                            zeros.size(), s_.zeros.size() - zeros.size());
        if (usesPoleList()) {
            report_.line("Report", "User-specified multi-poles: %zu values → tiled to %d poles\n", s_.multiPoles.size(),
                         s_.order);
            return {zeros, modulator::tilePoles(s_.multiPoles, s_.order), s_.oversampling};
        }
        if (s_.singlePole && (s_.multiPole || !s_.multiPoles.empty()))
            report_.line("Report", "CIFB single-pole fallback: %.3f\n", s_.pole);
        else if (s_.multiPole)
            return spread(zeros);
        return {zeros, s_.pole, s_.oversampling};
    }

    UnifiedNoiseShaper psychoacoustic() const
    {
        const double phon = std::min(s_.psyPhon, kLoudestPhon);
        if (s_.psyPhon > kLoudestPhon)
            report_.warning("no contour is known above %d phon; that one is taken\n", kLoudestPhon);
        const auto design = modulator::designPsychoacousticNtf(
            s_.order, phon, static_cast<modulator::PsychoacousticStrategy>(s_.psyStrategy), s_.oversampling,
            bandEdgeHz_);
        report_.line("Report", "Psychoacoustic NTF coefficients injected (order %d, phon=%.1f, strategy=%d)\n",
                     s_.order, phon, s_.psyStrategy);
        report_.line("Report", "Weighted noise: %.1f dB less than the plain design\n",
                     design.plainWeightedNoiseDb - design.weightedNoiseDb);
        return {design.zeros, design.poles, s_.oversampling};
    }

    UnifiedNoiseShaper spread(const std::vector<double>& zeros) const
    {
        const UnifiedNoiseShaper single(zeros, s_.pole, s_.oversampling); // settles the pole that the order bears
        UnifiedNoiseShaper design(zeros, modulator::spreadPoles(single.poles()[0], s_.order), s_.oversampling);
        report_.line("Report", "Multi-pole DF2 coefficients set for order %d\n", s_.order);
        return design;
    }

    void audit(const UnifiedNoiseShaper& design, double peak) const
    {
        const auto [low, high] = std::minmax_element(design.poles().begin(), design.poles().end());
        const std::vector<double> numerator = design.numerator(), denominator = design.denominator();
        double largest = 0;
        for (std::size_t k = 1; k < numerator.size(); ++k)
            largest = std::max(largest, std::abs(denominator[k] - numerator[k]));
        report_.line("Report", "CIFB multi-poles: %zu poles (%.3f→%.3f)\n", design.poles().size(),
                     design.poles().front(), design.poles().back());
        report_.line("Report", "CIFB audit: max|a|=%.3f scale=%.3f poles=[%.3f,%.3f]%s\n", largest, 1.0, *low, *high,
                     peak > kLoudestPeakDb ? " unstable" : "");
    }

    const ConversionSettings& s_;
    double bandEdgeHz_; // 22.05 or 24 kHz
    const kernel::KernelTable& kernels_;
    parallel::WorkerPool& pool_;
    Reporter& report_;
};

} // namespace

Stage makeModulator(const ConversionSettings& settings, double dsdRate, const kernel::KernelTable& kernels,
                    parallel::WorkerPool& pool, Reporter& report)
{
    return Choice(settings, dsdRate, kernels, pool, report).make();
}

} // namespace tesk
