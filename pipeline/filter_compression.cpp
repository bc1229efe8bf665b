#include "pipeline/filter_compression.h"

#include "container/output_file.h"
#include "filter/chebyshev_file.h"
#include "filter/chebyshev_report.h"

#include <cmath>

namespace tesk {
namespace {

/// The polynomial that the options name.
Result<ChebyshevFir, PDM_ENCODING_STATUS> polynomialOf(const ConversionSettings& s, const ChebyshevFitter& fitter,
                                                       const DesignFingerprint& fingerprint, Reporter& report)
{
    if (!s.polyLoadPath.empty()) return loadChebyshev(s.polyLoadPath, fingerprint, report);
    if (!s.polyAuto) return fitter.fit(s.polyDegree);
    DegreeSearch search = searchDegree(fitter, kLeastAutoDegree, kAutoTargetDb);
    printSearch(search, kAutoTargetDb, report);
    return std::move(search.fir);
}

/// The file appears whole or not at all, and in the place of nothing that the run reads or writes.
Status save(const Pcm2pdm& job, const ChebyshevFir& fir, const DesignFingerprint& fingerprint)
{
    const ConversionSettings& s = job.settings;
    std::vector<std::string> others = s.inputs;
    if (job.metadata.coverPath) others.push_back(*job.metadata.coverPath);
    others.push_back(s.outputPath);
    std::string why = s.polySavePath == s.outputPath ? "it is the output" : outputObstacle(s.polySavePath, others);
    OutputFile file;
    const std::string text = formatChebyshev(fir, fingerprint);
    if (why.empty() && file.open(s.polySavePath, why) && std::fwrite(text.data(), 1, text.size(), file.stream()) > 0 &&
        file.commit(why))
        return {};
    job.report.error("Error : polynomial file \"%s\": %s\n", s.polySavePath.c_str(),
                     why.empty() ? "it cannot be written" : why.c_str());
    return DSD_ERROR_OUTPUT;
}

} // namespace

bool compressesFilter(const ConversionSettings& s)
{
    return s.poly || s.polyAuto || s.polyReport || s.given.count("--poly-degree") > 0 || !s.polySavePath.empty() ||
           !s.polyLoadPath.empty();
}

Status compressFilter(const Pcm2pdm& job, const FilterPlan& plan, std::vector<double>& taps)
{
    const ConversionSettings& s = job.settings;
    const DesignFingerprint fingerprint = fingerprintOf(plan, taps);
    const auto fitter = ChebyshevFitter::create(taps, kMostPolyDegree);
    if (!fitter) return fitter.status();
    const auto fir = polynomialOf(s, *fitter, fingerprint, job.report);
    if (!fir) return fir.status();
    std::vector<double> fitted = evaluateChebyshev(*fir);
    const double deviation = chebyshevDeviation(taps, fitted);
    job.report.line("Poly", "degree %d, %zu coefficients for %d taps, deviation at most %.1f dB\n", fir->degree,
                    fir->coefficients.size(), fir->taps, 20 * std::log10(deviation));
    if (s.polyReport) printChebyshev(compareChebyshev(taps, fitted, *fir, plan), job.report);
    if (!s.polySavePath.empty())
        if (Status status = save(job, *fir, fingerprint); !status) return status;
    if (isUsable(deviation))
        taps = std::move(fitted);
    else
        alertUnusable(deviation, *fitter, job.report);
    return {};
}

} // namespace tesk
