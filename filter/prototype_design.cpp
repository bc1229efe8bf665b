#include "filter/prototype_design.h"

#include "filter/minimum_phase.h"
#include "filter/remez_design.h"
#include "filter/window_design.h"

#include <numeric>

namespace tesk {
namespace {

using Design = Result<std::vector<double>, PDM_ENCODING_STATUS>;

Design designByWindow(const FilterPlan& plan, Reporter& reporter, StopFlag& stop)
{
    Design design = designWindowFilter(plan, reporter, stop);
    if (!design || !plan.minimumPhase) return design;
    std::vector<double> taps = minimumPhase(*design);
    const double sum = std::accumulate(taps.begin(), taps.end(), 0.0);
    for (double& tap : taps) tap /= sum;
    reporter.line("Report", "Do MinMumPhase of Tesk\n");
    if (stop.pending()) return kHostStopped;
    return taps;
}

Design designByExchange(const FilterPlan& plan, Reporter& reporter, StopFlag& stop)
{
    reporter.line("Report", "Do Parks-McClellan algorithm of Tesk\n");
    Design design = designRemezFilter(plan, reporter, stop);
    const PDM_ENCODING_STATUS status = design ? DSD_SUCCESS : design.status();
    // These two end the run where they stand; the others are what the exchange has to say.
    if (status != kHostStopped && status != DSD_ERROR_ASSERT) reporter.line("Report", "Remez status : %d\n", status);
    return design;
}

} // namespace

Design designPrototype(const FilterPlan& plan, Reporter& reporter, StopFlag& stop)
{
    if (plan.sampleRate == 0) return std::vector<double>{};
    return plan.remez ? designByExchange(plan, reporter, stop) : designByWindow(plan, reporter, stop);
}

} // namespace tesk
