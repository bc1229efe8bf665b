#include "engine/batch_job.h"

#include "engine/base/paths.h"
#include "engine/batch/batch_config.h"
#include "engine/batch/batch_inputs.h"
#include "engine/batch/batch_plan.h"
#include "engine/batch/batch_run.h"
#include "engine/batch/complete_output.h"
#include "engine/batch/naming.h"
#include "engine/forward_job.h"
#include "engine/options/parse_steps.h"
#include "input/open_reader.h"
#include "platform/folders.h"
#include "platform/memory.h"

#include <algorithm>
#include <thread>

namespace tesk {
namespace {

constexpr const char* kDstNeedsDff = "DST lives in DSDIFF files: --dst needs --output-format dff in a batch";
constexpr std::uint64_t kMostFrames = std::uint64_t{1} << 48; // a header may lie

/// What the header of a recording tells; zeros where it cannot be read, which its own conversion will report.
struct Extent {
    double seconds = 0;
    std::uint64_t bytes = 0; ///< of the decoded signal
};

Extent extentOf(const std::string& path, const ConversionSettings& settings, StopFlag& stop)
{
    CollectingReporter silent;
    LoadContext context{silent, stop};
    context.streamLoader = streamLoaderOf(settings, silent);
    std::string error;
    const auto reader = openReader(path, context, error);
    if (!reader || reader->info().sampleRate == 0) return {};
    const PcmInfo& info = reader->info();
    std::uint64_t frames = info.declaredFrames.value_or(info.storedFrames.value_or(0));
    frames = std::min(frames, kMostFrames);
    return {static_cast<double>(frames) / info.sampleRate, frames * info.channels * sizeof(double)};
}

class BatchJob {
public:
    BatchJob(const ConversionSettings& settings, Reporter& report, StopFlag& stop)
        : shared_(settings), report_(report), stop_(stop)
    {
    }

    int run()
    {
        if (const int status = plan(); status != DSD_SUCCESS) return status;
        loadConfig();
        setup_.terminal = shownProgress(shared_).terminal;
        settleExtents();
        setup_.jobs = jobs();
        setup_.convert = [this](const BatchItem& item, const ItemContext& context) { return convert(item, context); };
        if (shared_.skipExisting)
            setup_.isDone = [this](const BatchItem& item) {
                const double seconds = setup_.seconds[indexOf(item)];
                return !item.writesTracks() && outputIsComplete(item.output, seconds > 0 ? seconds : -1);
            };
        return runBatch(setup_, report_, stop_);
    }

private:
    int reject(const std::string& why)
    {
        report_.error("Error : %s. Nothing was converted.\n", why.c_str());
        return kCommandLineRejected;
    }

    int plan()
    {
        std::string error;
        std::vector<std::string> notes;
        std::size_t shard = 1, shards = 1;
        if (shared_.pipe) return reject("a batch writes files, so --pipe and the output - are not for it");
        if (!shared_.polySavePath.empty())
            return reject("all items of a batch would write the one file of --poly-save");
        if (!shared_.cuePath.empty()) return reject("--cue belongs to one recording; a batch takes sheets as inputs");
        if (shared_.given.count("--format") > 0)
            return reject("--format belongs to one output; a batch takes --output-format");
        if (shared_.dst && shared_.batchFormat != "dff") return reject(kDstNeedsDff);
        if (shared_.given.count("--shard") > 0 && !parseShard(shared_.shard, shard, shards))
            return reject("--shard takes K/N, 1/4 to 4/4 for instance, not " + shared_.shard);
        if (!expandInputs(shared_.inputs, shared_.recursive, shared_.outputDirectory, inputs_, notes, error))
            return reject(error);
        for (const std::string& note : notes) report_.notice("Warning: %s\n", note.c_str());
        const auto items = planBatch(inputs_, shared_, error);
        if (!items) return reject(error);
        for (const std::string& text : unknownVariables(shared_.namingPattern))
            report_.notice("Warning: --naming-pattern: %s is no variable and is copied as it stands\n", text.c_str());
        if (!platform::makeFolders(shared_.outputDirectory)) {
            report_.error("Failed to create output directory: %s\n", shared_.outputDirectory.c_str());
            return DSD_ERROR_OUTPUT;
        }
        setup_.total = items->size();
        setup_.items = ofShard(*items, shard, shards);
        return DSD_SUCCESS;
    }

    void loadConfig()
    {
        if (shared_.batchConfigPath.empty()) return;
        std::string error;
        config_ = loadBatchConfig(shared_.batchConfigPath, error);
        if (!config_) {
            report_.notice("Warning: failed to load batch config: %s\n", error.c_str());
            return;
        }
        for (const std::string& text : config_->unmatched(inputs_)) report_.notice("Warning: %s\n", text.c_str());
    }

    void settleExtents()
    {
        const bool wanted = setup_.terminal || shared_.skipExisting || shared_.jobs == 0;
        for (const BatchItem& item : setup_.items) {
            const bool skipped = !wanted || item.writesTracks() || stop_.pending();
            const Extent extent = skipped ? Extent{} : extentOf(item.input.path, shared_, stop_);
            setup_.seconds.push_back(extent.seconds);
            bytes_.push_back(extent.bytes);
        }
    }

    std::size_t jobs() const
    {
        // Programs follow one job, and the reports have one name for all items.
        if (shared_.gui || !shared_.designLog.empty() || shared_.pdfReport) return 1;
        if (shared_.jobs > 0) return static_cast<std::size_t>(shared_.jobs);
        return batchJobs(bytes_, std::thread::hardware_concurrency(), platform::availablePhysicalMemory());
    }

    std::size_t indexOf(const BatchItem& item) const { return static_cast<std::size_t>(&item - setup_.items.data()); }

    /// The shared settings, and for this item what the configuration says. A status other than 0 after a message.
    int settleSettings(const BatchItem& item, ConversionSettings& s, Reporter& report) const
    {
        s = shared_;
        s.batch = false;
        s.inputs = {item.input.path};
        s.outputPath = item.output;
        s.outputIsExact = true;
        s.presetLoadPath.clear(); // loaded already
        s.presetSavePath.clear();
        s.masteringPreset.clear();
        const bool oneBit = s.batchFormat == "dsf" || s.batchFormat == "dff";
        if (oneBit && s.format.empty() && fileExtension(item.output) != s.batchFormat) s.format = s.batchFormat;
        std::vector<Unavailable> unavailable;
        if (config_) {
            config_->takeBack(item.input, item.number, s);
            if (!applyWords(config_->wordsFor(item.input, item.number), s, report, unavailable))
                return kCommandLineRejected;
        }
        if (s.dst && s.batchFormat != "dff") {
            report.error("Error : %s\n", kDstNeedsDff);
            return kCommandLineRejected;
        }
        return finishParse(s, report, unavailable).status;
    }

    PDM_ENCODING_STATUS convert(const BatchItem& item, const ItemContext& context) const
    {
        if (refusesDsdInput(item.input.path, context.report))
            return static_cast<PDM_ENCODING_STATUS>(kCommandLineRejected);
        ConversionSettings settings;
        if (const int status = settleSettings(item, settings, context.report); status != DSD_SUCCESS)
            return static_cast<PDM_ENCODING_STATUS>(status);
        const std::string folder(folderOf(item.output));
        if (!folder.empty() && !platform::makeFolders(folder)) {
            context.report.error("Failed to create output directory: %s\n", folder.c_str());
            return DSD_ERROR_OUTPUT;
        }
        Progress::Shown progress;
        progress.machineReadable = shared_.gui;
        progress.listener = context.progress;
        return runForwardJob(settings, context.report, context.stop, progress, setup_.jobs == 1);
    }

    const ConversionSettings& shared_;
    Reporter& report_;
    StopFlag& stop_;
    std::vector<BatchInput> inputs_;
    std::optional<BatchConfig> config_;
    std::vector<std::uint64_t> bytes_; // of each item's signal
    BatchSetup setup_;
};

} // namespace

bool refusesDsdInput(const std::string& input, Reporter& report)
{
    const std::string extension = fileExtension(input);
    if (extension != "dsf" && extension != "dff" && extension != "dst" && extension != "wsd") return false;
    report.error("Error: input '%s' looks like DSD, but forward mode only takes PCM (FLAC/WAV/AIFF).\n       For "
                 "PDM2PCM use: -i %s OUTPUT.wav --reverse\n",
                 input.c_str(), input.c_str());
    return true;
}

int runBatchJob(const ConversionSettings& settings, Reporter& report, StopFlag& stop)
{
    return BatchJob(settings, report, stop).run();
}

} // namespace tesk
