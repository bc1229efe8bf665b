#include "pipeline/cue_run.h"

#include "pipeline/cue_plan.h"
#include "pipeline/dxd_output.h"
#include "pipeline/dxd_run.h"
#include "pipeline/output.h"
#include "platform/files.h"

#include <new>

namespace tesk {
namespace {

class CueRun {
public:
    CueRun(const ConversionSettings& settings, const JobEnvironment& environment)
        : settings_(settings), environment_(environment), report_(environment.report)
    {
    }

    JobResult run()
    {
        if (Status planned = planCueRun(settings_, environment_, plan_); !planned) {
            if (planned.status() == kHostStopped) takeStop(environment_);
            return ended(planned.status());
        }
        // The sheet names the files, also where it was the input itself and is replaced by the recording.
        for (CuePiece& piece : plan_.tracks)
            if (settings_.dxd && !piece.path.empty()) piece.path = dxdPath(settings_, piece.path);
        settings_.outputIsExact = settings_.outputIsExact || settings_.dxd;
        settings_.inputs = {plan_.recording};
        settings_.metadataFromInput = false; // the plan has read the tags
        if (Status status = checkPaths(); !status) return ended(status.status());
        if (Status status = completeMetadata(); !status) return ended(status.status());
        if (settings_.cueContinuous && settings_.dxd) report_.alert("DXD tracks are converted one by one\n");
        return settings_.cueContinuous && !settings_.dxd ? convertContinuously() : convertOneByOne();
    }

private:
    JobResult ended(PDM_ENCODING_STATUS status)
    {
        result_.status = status;
        return result_;
    }

    /// Drops the tracks that have no file, and refuses before the first one what would fail at the last one.
    Status checkPaths()
    {
        if (platform::fileKind(settings_.outputPath) == platform::FileKind::directory) {
            report_.error(
                "Error : the output '%s' is a directory; name a file in it, whose name the tracks' begin with\n",
                settings_.outputPath.c_str());
            return DSD_ERROR_OUTPUT;
        }
        for (CuePiece& piece : plan_.tracks) {
            if (platform::sameFile(plan_.sheet, piece.path)) {
                report_.error("Error : the output '%s' is the CUE sheet itself; name another file\n",
                              piece.path.c_str());
                return DSD_ERROR_OUTPUT;
            }
            if (piece.path.empty())
                report_.error("CUE: outfile stem is null, skipping track\n");
            else if (Status status = checkOutput(settings_, piece.path, report_); !status)
                return cannotOpen(status);
        }
        std::erase_if(plan_.tracks, [](const CuePiece& piece) { return piece.path.empty(); });
        return plan_.tracks.empty() ? DSD_ERROR_OUTPUT : Status();
    }

    /// Asks for what is missing before the first track instead of between two.
    Status completeMetadata()
    {
        if (!needsArtistAndTitle(settings_) || !environment_.completeMetadata) return {};
        for (CuePiece& piece : plan_.tracks)
            if (Status status = environment_.completeMetadata(piece.metadata); !status) return status;
        return {};
    }

    Status cannotOpen(Status status)
    {
        report_.error("Cannot open CUE output file\n");
        return status;
    }

    void announce(std::size_t index)
    {
        const CuePiece& piece = plan_.tracks[index];
        report_.line("Report", "CUE track %d/%d: [%lu, %lu) = %lu samples -> %s\n", static_cast<int>(index) + 1,
                     static_cast<int>(plan_.tracks.size()), static_cast<unsigned long>(piece.range.begin),
                     static_cast<unsigned long>(piece.end), static_cast<unsigned long>(piece.end - piece.range.begin),
                     piece.path.c_str());
    }

    JobResult convertOneByOne()
    {
        for (std::size_t t = 0; t < plan_.tracks.size() && result_.status == DSD_SUCCESS; ++t) {
            CuePiece& piece = plan_.tracks[t];
            announce(t);
            settings_.outputPath = piece.path;
            settings_.metadata = piece.metadata;
            const JobPiece part{piece.range, piece.replayGain, {}};
            add(settings_.dxd ? convertPcmToDxd(settings_, environment_, part)
                              : convertPcmToPdm(settings_, environment_, part));
        }
        return result_;
    }

    JobResult convertContinuously()
    {
        JobPiece whole;
        whole.range = {plan_.tracks.front().range.begin, plan_.tracks.back().range.end};
        whole.replayGain = plan_.albumGain; // one stream has one level
        for (std::size_t t = 0; t < plan_.tracks.size(); ++t) {
            CuePiece& piece = plan_.tracks[t];
            announce(t);
            whole.cuts.push_back(
                {piece.range.begin - whole.range.begin, std::move(piece.path), std::move(piece.metadata)});
        }
        add(convertPcmToPdm(settings_, environment_, whole));
        return result_;
    }

    void add(const JobResult& track)
    {
        if (track.status == DSD_ERROR_OUTPUT) (void)cannotOpen(track.status);
        result_.status = track.status;
        result_.timing.bytesRead = track.timing.bytesRead; // of the one file
        result_.timing.bytesWritten += track.timing.bytesWritten;
        result_.timing.readSeconds += track.timing.readSeconds;
        result_.timing.writeSeconds += track.timing.writeSeconds;
        result_.timing.totalSeconds += track.timing.totalSeconds;
    }

    ConversionSettings settings_; // those of the track at hand
    const JobEnvironment& environment_;
    Reporter& report_;
    CuePlan plan_;
    JobResult result_;
};

} // namespace

JobResult convertCueTracks(const ConversionSettings& settings, const JobEnvironment& environment)
{
    try {
        return CueRun(settings, environment).run();
    } catch (const std::bad_alloc&) {
        environment.report.error("Fatal: out of memory. Try the tracks one by one.\n");
        return {DSD_ERROR_INIT, {}};
    }
}

} // namespace tesk
