#include "reverse/reverse_job.h"

#include "container/output_file.h"
#include "engine/base/progress.h"
#include "platform/files.h"
#include "platform/terminal.h"
#include "reverse/reverse_plan.h"
#include "reverse/write_behind.h"

#include <cmath>
#include <new>

namespace tesk {
namespace {

/// In dB, rounded down so that it surely does not clip; 0 for silence.
double largestGain(double peak) { return peak > 0 ? std::floor(-2000 * std::log10(peak)) / 100 : 0.0; }

class ReverseJob {
public:
    ReverseJob(const ReverseSettings& settings, const ReverseEnvironment& environment)
        : settings_(settings), environment_(environment), report_(environment.report)
    {
    }

    PDM_ENCODING_STATUS run()
    {
        container_ = settleFormat(settings_, report_);
        if (!openSource()) return DSD_ERROR;
        auto pieces = planPieces(settings_, source_, report_);
        if (!pieces) return pieces.status();
        if (settings_.discTracks == ReverseSettings::DiscTracks::list) {
            report_.result(discListing(source_.disc->disc(), source_.disc->area()));
            return DSD_SUCCESS;
        }
        PDM_ENCODING_STATUS status = checkOutputs(*pieces);
        if (status == DSD_SUCCESS && settings_.gainAuto) status = measureGain(*pieces);
        for (std::size_t i = 0; i < pieces->size() && status == DSD_SUCCESS; ++i) status = convert((*pieces)[i]);
        return status;
    }

private:
    const char* containerName() const { return container_ == PcmContainer::flac ? "FLAC" : "WAV"; }

    bool openSource()
    {
        source_ = openDsd(settings_.inputPath, {settings_.area, environment_.dstLevel}, report_);
        if (!source_.reader) report_.error("Error: cannot open %s\n", settings_.inputPath.c_str());
        return source_.reader != nullptr;
    }

    PDM_ENCODING_STATUS checkOutputs(const std::vector<ReversePiece>& pieces)
    {
        const bool device = platform::fileKind(settings_.outputPath) == platform::FileKind::other;
        if (settings_.discTracks == ReverseSettings::DiscTracks::all && device) {
            report_.error("Error: cannot create %s\n       it takes one track; name a file, whose name the tracks' "
                          "names begin with\n",
                          settings_.outputPath.c_str());
            return DSD_ERROR_OUTPUT;
        }
        for (const ReversePiece& piece : pieces) {
            const std::string obstacle = outputObstacle(piece.outputPath, {settings_.inputPath});
            if (obstacle.empty()) continue;
            report_.error("Error: cannot create %s\n       %s\n", piece.outputPath.c_str(), obstacle.c_str());
            return DSD_ERROR_OUTPUT;
        }
        return DSD_SUCCESS;
    }

    /// The source at the beginning of a piece; null, with the reason printed, when it cannot be had again.
    DsdReader* select(const ReversePiece& piece)
    {
        if (source_.disc) return source_.disc->selectTrack(piece.discTrack) ? source_.disc : nullptr;
        if (used_ && !openSource()) return nullptr;
        used_ = true;
        return source_.reader.get();
    }

    /// Tracks that run into one another shall still do: the filters see what stands around the track.
    void joinNeighbours(Pdm2Pcm& decimation, const ReversePiece& piece)
    {
        if (!settings_.align || !source_.disc || piece.discTrack == 0) return;
        const DsdSource& info = source_.reader->source();
        const std::uint64_t frameSamples = std::uint64_t{info.blockBytes} * 8;
        const auto frames = static_cast<std::uint32_t>(decimation.reach() / frameSamples + 1);
        decimation.setNeighbours(source_.disc->before(piece.discTrack, frames),
                                 source_.disc->behind(piece.discTrack, frames));
    }

    bool takeStop()
    {
        if (!environment_.stop.take()) return false;
        report_.notice(
            "\n[engine] host requested stop (inproc control channel) -- conversion aborted, output is incomplete\n");
        return true;
    }

    /// Hands every block to `take` until the end, a stop, or until it answers false.
    template <class Take>
    PDM_ENCODING_STATUS eachBlock(Pdm2Pcm& decimation, Take take)
    {
        Progress progress(decimation.expectedFrames(), decimation.outRate(),
                          {.terminal = platform::isTerminal(stderr) ? stderr : nullptr});
        PDM_ENCODING_STATUS status = DSD_SUCCESS;
        while (status == DSD_SUCCESS) {
            if (takeStop()) {
                status = kHostStopped;
            } else if (const std::size_t frames = decimation.readFrames(); frames == 0) {
                break;
            } else if (!take(frames)) {
                status = DSD_ERROR_OUTPUT;
            }
            progress.advance(decimation.framesOut());
        }
        progress.finish();
        return status;
    }

    PDM_ENCODING_STATUS measureGain(const std::vector<ReversePiece>& pieces)
    {
        ReverseSettings plain = settings_;
        plain.noiseShaping = false;
        plain.gainDb = 0.0;
        double peak = 0;
        for (const ReversePiece& piece : pieces) {
            DsdReader* source = select(piece);
            Pdm2Pcm decimation(plain, environment_);
            if (!source || !decimation.open(*source)) return DSD_ERROR;
            joinNeighbours(decimation, piece);
            const auto status = eachBlock(decimation, [](std::size_t) { return true; });
            if (status != DSD_SUCCESS) return status;
            peak = std::max(peak, decimation.peak());
        }
        settings_.gainDb = largestGain(peak);
        return DSD_SUCCESS;
    }

    PDM_ENCODING_STATUS writeFailed(const PcmWriter& writer)
    {
        const char* reason = writer.errorText().c_str();
        if (container_ == PcmContainer::flac)
            report_.notice("\nFLAC write failed: %s\n", reason);
        else
            report_.notice("\nWAV write failed\n%s\n", reason);
        return DSD_ERROR_OUTPUT;
    }

    bool openWriter(PcmWriter& writer, const ReversePiece& piece, const Pdm2Pcm& decimation)
    {
        PcmFormat format;
        format.sampleRate = decimation.outRate();
        format.channels = decimation.channels();
        format.isFloat = !settings_.integerOutput();
        format.bitsPerSample = settings_.floatOutput ? 32U : static_cast<std::uint32_t>(settings_.bitDepth);
        format.isWave64 = settings_.wave64;
        if (writer.open(piece.outputPath, format, {decimation.expectedFrames(), piece.metadata})) return true;
        if (container_ == PcmContainer::flac)
            (void)writeFailed(writer);
        else
            report_.error("Error: cannot create %s\n       %s\n", piece.outputPath.c_str(), writer.errorText().c_str());
        return false;
    }

    PDM_ENCODING_STATUS convert(const ReversePiece& piece)
    {
        DsdReader* source = select(piece);
        Pdm2Pcm decimation(settings_, environment_);
        if (!source || !decimation.open(*source)) return DSD_ERROR;
        if (piece.discTrack > 0) report_.notice("Track %u: %s\n", piece.discTrack, piece.outputPath.c_str());
        decimation.printHeader();
        joinNeighbours(decimation, piece);
        const auto writer = makePcmWriter(container_, report_);
        if (!openWriter(*writer, piece, decimation)) return DSD_ERROR_OUTPUT;

        PDM_ENCODING_STATUS status;
        {
            WriteBehind behind(*writer, environment_.pool);
            status = eachBlock(decimation, [&](std::size_t frames) {
                return behind.write(decimation.interleaved(), frames, decimation.channels());
            });
            if (!behind.settle()) status = DSD_ERROR_OUTPUT;
        }
        source->reportProblems(settings_.inputPath.c_str());
        const bool complete = status == DSD_SUCCESS || status == kHostStopped; // a stopped file has true sizes too
        if (!complete || !writer->close()) return writeFailed(*writer);
        if (status == DSD_SUCCESS) reportDone(decimation);
        return status;
    }

    void reportDone(const Pdm2Pcm& decimation)
    {
        if (const double peak = decimation.peak(); peak > 0) {
            const std::string advice =
                settings_.gainAuto ? "" : format("; largest gain that does not clip: %+.2f dB", largestGain(peak));
            report_.notice("PDM2PCM peak: %.2f dBFS before the gain%s\n", 20 * std::log10(peak), advice.c_str());
            if (settings_.integerOutput() && peak > 1.0 && decimation.gainDb() > largestGain(peak))
                report_.alert("samples beyond full scale were clipped; --gain auto or --float keeps them\n");
        }
        if (decimation.framesOut() == 0)
            report_.alert("the sound is shorter than the filter, and all of it was trimmed; --align keeps it\n");
        report_.notice("\nDone. %zu PCM frames -> %s.\n", static_cast<std::size_t>(decimation.framesOut()),
                       containerName());
    }

    ReverseSettings settings_; // what the container cannot hold is changed, and the automatic gain is filled in
    const ReverseEnvironment& environment_;
    Reporter& report_;
    PcmContainer container_ = PcmContainer::wave;
    DsdInput source_;
    bool used_ = false; // a file has been read from
};

} // namespace

PDM_ENCODING_STATUS convertPdmToPcm(const ReverseSettings& settings, const ReverseEnvironment& environment)
{
    try {
        return ReverseJob(settings, environment).run();
    } catch (const std::bad_alloc&) {
        environment.report.error("Fatal: out of memory. Try fewer taps.\n");
        return DSD_ERROR_INIT;
    }
}

} // namespace tesk
