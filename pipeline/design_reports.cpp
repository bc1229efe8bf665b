#include "pipeline/design_reports.h"

#include "analysis/filter_reports.h"
#include "analysis/ntf_reports.h"
#include "engine/base/paths.h"

namespace tesk {
namespace {

bool wantsFilter(const Pcm2pdm& job)
{
    const std::string& log = job.settings.designLog;
    return log == "fir" || log == "freq" || log == "all";
}

std::string reportFolder(const Pcm2pdm& job)
{
    return std::string(folderOf(job.piece.cuts.empty() ? job.settings.outputPath : job.piece.cuts.front().path));
}

analysis::FilterView viewOf(const Pcm2pdm& job, const std::vector<double>& taps)
{
    return {taps, static_cast<double>(job.plan.pcmRate), static_cast<int>(job.plan.factor)};
}

} // namespace

void reportDesignedFilter(const Pcm2pdm& job, const std::vector<double>& taps)
{
    if (wantsFilter(job)) analysis::writeDesignReports(reportFolder(job), viewOf(job, taps), job.report);
}

void reportFinalFilter(const Pcm2pdm& job, const std::vector<double>& taps)
{
    if (wantsFilter(job)) analysis::writeFinalFilterReports(reportFolder(job), viewOf(job, taps), job.report);
}

void reportNoiseTransferFunction(const Pcm2pdm& job)
{
    if (job.settings.designLog != "ns" && job.settings.designLog != "all") return;
    const std::vector<kernel::Sos> sections = job.modulator->noiseTransferFunction();
    if (sections.empty())
        job.report.warning("this modulator has no noise transfer function that could be drawn\n");
    else
        analysis::writeNtfReports(reportFolder(job), {sections, static_cast<double>(job.plan.dsdRate)}, job.report);
}

} // namespace tesk
