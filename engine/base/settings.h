// What one forward conversion was asked to do: a field per option, constant once the command line is parsed.
#pragma once

#include "engine/base/metadata.h"
#include "engine/base/paths.h"

#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace tesk {

/// One peaking band of the equaliser.
struct EqBand {
    int centreHz = 0;
    double gainDb = 0.0;
    int widthHz = 0;
    bool operator==(const EqBand&) const = default;
};

/// One band of the parametric equaliser; `unit` tells how its width is meant:
/// 'q' quality, 'o' octaves, 'h' Hz, 'k' kHz, 's' slope.
struct ParametricBand {
    double centreHz = 0.0, gainDb = 0.0, width = 0.0;
    char unit = 'q';
    bool operator==(const ParametricBand&) const = default;
};

/// A point of a compander's transfer curve, both levels in dB.
struct CompandPoint {
    double inDb = 0.0, outDb = 0.0;
    bool operator==(const CompandPoint&) const = default;
};

/// Attenuation before modulation.
struct Headroom {
    enum class Kind { off, fixed, automatic } kind = Kind::off;
    double db = 0.0; ///< positive, for `fixed` only
    bool operator==(const Headroom&) const = default;
};

inline bool operator==(const MetadataRecord& a, const MetadataRecord& b)
{
    const auto fields = [](const MetadataRecord& m) {
        return std::tie(m.title, m.artist, m.album, m.genre, m.date, m.work, m.comment, m.track, m.coverPath,
                        m.coverImage);
    };
    return fields(a) == fields(b);
}

/// Plain data. A fresh record holds the defaults; paths and texts are UTF-8.
struct ConversionSettings {
    // Files
    std::vector<std::string> inputs; ///< in the order given
    std::string outputPath;          ///< empty: not given; "-": standard output
    bool outputIsExact = false;      ///< the name is settled, by a batch or a CUE sheet: --dxd writes that very path
    bool pipe = false;               ///< DSD bytes to standard output; set by an output "-" too
    std::string format;              ///< "dsf", "dff", "wsd", or empty: the output's extension decides

    // One-bit output
    int oversampling = 64; ///< power of two, 64-4096
    bool predistortion = true;
    char forceEndianness = 0; ///< 0: as the container wants it; 'l' little, 'm' big
    bool quad = false;
    bool swapChannels = false;
    bool dst = false;
    int dstPredictionOrder = 128; ///< 1-128

    // Panning
    bool autoPan = false;
    double targetWidth = 1.0; ///< 0 mono, 1 as it is, up to 2
    bool panReport = false;

    // Modulator
    int order = 9; ///< 3, 5, 7 or 9
    bool orderGiven = false;
    bool mash = false;
    int mashTopology = 421; ///< 421, 222 or 111
    std::string mashErrorFeedback = "fir2";
    int cifbOrder = 0;  ///< 0: not asked for; otherwise as typed, the builder knows the range
    int sosEfOrder = 0; ///< 0: not asked for
    double pole = -0.85;
    std::vector<double> zeros;
    bool multiPole = false;
    std::vector<double> multiPoles;
    bool singlePole = false;
    bool poly = false;
    bool polyAuto = false;
    bool polyReport = false;
    int polyDegree = 128; ///< 4-1024
    std::string polySavePath, polyLoadPath;
    bool disableInt16Shaper = false;

    // Oversampling filter; 0 leaves a value to the design
    int taps = 0;
    double beta = 0.0;
    bool highBandwidth = false;
    double stopgainAlpha = 0.0; ///< dB
    int passbandCutoff = 0;     ///< Hz
    int stopbandCutoff = 0;     ///< Hz
    int deltaF = 0;             ///< Hz
    int windowType = 0;         ///< 0 kaiser, 1 blackman, 2 flattop, 3 bartlett, 4 hamming, 5 hanning
    int filterType = 0;         ///< 0 standard, 1 slow, 2 minimum phase
    bool remez = false;
    bool minimumPhase = false;
    int gridDensity = 128;   ///< 16-128
    int maxIterations = 200; ///< 50-200
    bool pdfReport = false;

    // Process and system
    bool unsrs = false;        ///< take sample rates outside the supported list
    int memoryCacheBlocks = 8; ///< even
    bool simd = true;
    bool gui = false;
    bool quiet = false;
    bool logRequested = false;
    int logMode = 0; ///< as log_init takes it
    std::string logPath = "/tmp/pcm2pdm.log";

    // Equalisers and tone
    std::vector<EqBand> eqBands;
    std::vector<ParametricBand> parametricBands;
    std::optional<double> eqPrecutDb, bassDb, trebleDb, bassEnhancerPrecutDb;
    std::optional<int> bassEnhancerStrength; ///< 0-100

    // Psychoacoustic, apodizing, adaptive
    bool psychoacoustic = false;
    int psyStrategy = 1; ///< 0 conservative, 1 balanced, 2 aggressive
    int psyPhon = 40;
    int apodizingMode = 0; ///< 0 off, 1 light, 2 normal, 3 aggressive
    bool adaptive = false;
    int musicType = 0;

    // Level
    bool lookaheadLimiter = false;
    double lookaheadMs = 2.0;
    double limiterThresholdDb = -1.0;       ///< dBFS
    std::optional<double> softLimiterDelta; ///< 0.0-0.2; 0 leaves the limiter out
    double inputGain = 1.0;                 ///< linear; the last option about it wins
    Headroom headroom;
    std::optional<double> noiseThresholdDb;
    bool normalizeLoudness = false;
    int targetLufs = -23;
    bool replayGain = false;
    std::string replayGainMode = "track";

    // Harmonics, dither, quantiser
    bool harmonics = false;
    double harmonicsMix = 0.0;
    std::string harmonicsMode;
    bool dither = false;
    int ditherType = 0; ///< 0-7
    std::optional<double> quantizationRatio;
    std::string quantizationType;
    bool reportRms = false, reportPeak = false, highFrequencyCheck = false;

    // Restoration and mastering
    bool dehum = false;
    double dehumQ = 10.0;
    bool decrackle = false;
    double decrackleThreshold = 5.0;
    bool expand = false;
    std::optional<double> expandThresholdDb, expandRatio, expandKneeDb, expandAttackMs, expandReleaseMs;
    bool wiener = false;
    std::optional<double> wienerFloorDb; ///< -120-0
    double wienerFrameMs = 32.0;
    bool masteringChain = false;
    std::optional<double> masterBassDb, masterPresenceDb, masterAirDb;
    bool stereoWiden = false, stereoAuto = false;
    double stereoWidth = 1.2;
    double stereoCrossfeed = 0.15;

    // PCM output of the oversampled signal
    bool dxd = false;
    int dxdSampleRate = 0; ///< Hz; 0: eight times the input's

    // Stereo image
    std::string hrtfMode, hrtfPath;
    double hrtfSideMix = 1.0, hrtfMix = 1.0, hrtfDepth = 1.0;
    std::string stereoExpander;
    std::string crossfeed; ///< "meier" or "custom"
    std::optional<double> crossfeedLowGain, crossfeedHighGain;
    std::optional<double> surroundDelayMs, surroundMix, surroundBalance;
    bool surroundSide = false;

    // Dynamics and noise
    std::optional<double> compressorThresholdDb, compressorRatio, compressorAttackMs, compressorReleaseMs;
    std::string compressorKnee; ///< "soft" or "hard"
    int resampleHz = 0;
    std::vector<CompandPoint> compandPoints;
    std::optional<double> compandAttackMs, compandReleaseMs;
    std::string noiseProfilePath;
    std::optional<double> noiseProfileSeconds;
    bool noiseReduce = false;
    std::string noiseReducePath; ///< empty: profile from the recording itself
    std::string denoise;
    bool keepHarmonics = true;
    std::vector<std::string> convolvePaths;
    bool dsne = false;
    std::optional<double> dsneThresholdDb;
    bool dynamicRange = true;
    bool stats = false;
    std::string spectrogramPath;

    // Spectral enhancement
    bool dsee = false;
    std::optional<double> dseeMix;
    double dseeDrive = 1.0, dseeHarmonicMix = 0.5, dseeAir = 0.01;
    bool dsre = false;
    double dsreMix = 1.0;

    // Tags
    MetadataRecord metadata;
    bool metadataFromInput = false;
    std::string cuePath;
    bool cueContinuous = false; ///< one modulation for all tracks of the sheet
    std::string extDecoderPath; ///< decoder plugin; "none" switches the installed one off
    std::string mediaLibraryPath;

    // Presets and batch
    std::string masteringPreset, presetLoadPath, presetSavePath;
    bool presetList = false;
    bool batch = false, reverse = false, cliV2 = false;
    std::string outputDirectory = "./output";
    std::string batchConfigPath;
    std::string batchFormat = "dsf";
    std::string namingPattern = "{input}";
    bool recursive = false, skipExisting = false;
    int jobs = 0;      ///< of a batch at once; 0: as many as processors and memory allow
    std::string shard; ///< "K/N": the items K, K + N, ... of a batch; empty: all

    // Channels and diagnostics
    bool forceChannels = false;
    int resetChannels = 0; ///< 0: as the input has them
    std::string designLog; ///< "fir", "ns", "freq" or "all"
    bool measure = false;

    // Recording
    bool record = false;
    std::string recordDevice;
    int recordSampleRate = 0; ///< Hz; 0: the device's
    int recordChannels = 0;   ///< 0: the device's
    std::optional<double> recordSeconds;
    bool recordMonitor = false;
    std::string recordMonitorDevice;
    bool recordExclusive = false;
    int recordBufferFrames = 512;
    double recordHeadroomDb = 3.0;
    bool recordDsd = false;
    std::string recordDsdMode; ///< "dop" or "native"
    bool listDevices = false;

    /// Whether -o names the modulator, and no option that goes before it.
    bool usesDirectForm() const { return orderGiven && cifbOrder == 0 && !mash && sosEfOrder == 0; }
    /// Whether the tracks of a CUE sheet are asked for.
    bool usesCueSheet() const
    {
        return !cuePath.empty() || (inputs.size() == 1 && fileExtension(inputs.front()) == "cue");
    }

    /// Long names ("--taps") of the options that stood on the command line, whatever value they gave.
    std::set<std::string> given;

    bool operator==(const ConversionSettings&) const = default;
};

} // namespace tesk
