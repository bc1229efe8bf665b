// Whole command lines: what stands in the settings afterwards, and what is refused as not built.
#include "engine/base/paths.h"
#include "tests/options/command_line.h"

namespace tesk::test {
namespace {

ConversionSettings accepted(const std::string& options)
{
    const Parsed parsed = parseOptionsOnly(options);
    EXPECT_EQ(parsed.outcome.status, 0) << parsed.text;
    EXPECT_EQ(parsed.text, "");
    return parsed.settings;
}

/// The settings of a line that is well formed, whether its stages are built or not.
ConversionSettings understood(const std::string& options)
{
    const Parsed parsed = parseOptionsOnly(options);
    EXPECT_NE(parsed.outcome.status, 1) << parsed.text;
    return parsed.settings;
}

TEST(CommandLine, InformationEndsTheRunBeforeAnyErrorAndAnEmptyLineSetsNothing)
{
    const Parsed version = parse("--nonsense --ver"), help = parse("-os x -h"), empty = parse("");
    EXPECT_TRUE(version.outcome.finished && help.outcome.finished && !empty.outcome.finished);
    EXPECT_EQ(version.outcome.status, 0);
    EXPECT_EQ(version.text.rfind("Program             \tTesk Engine 1.0.0", 0), 0u);
    EXPECT_EQ(help.settings, ConversionSettings{});
    EXPECT_EQ(empty.outcome.status, 0);
    EXPECT_EQ(empty.settings, ConversionSettings{});
    EXPECT_EQ(empty.text, "");
}

TEST(CommandLine, BoundariesThatAreStillAccepted)
{
    EXPECT_EQ(accepted("-os 4096").oversampling, 4096);
    EXPECT_EQ(accepted("-os 1.28e2").oversampling, 128);
    EXPECT_EQ(accepted("-t 512").taps, 512);
    EXPECT_EQ(accepted("--track 998").metadata.track, 998);
    EXPECT_EQ(accepted("-nt 1").noiseThresholdDb, 1.0);
    EXPECT_EQ(accepted("--soft-limiter 0.2").softLimiterDelta, 0.2);
    EXPECT_EQ(accepted("--soft-limiter 0").softLimiterDelta, 0.0);
    EXPECT_EQ(accepted("-b 24").beta, 24.0);
    EXPECT_EQ(accepted("--lal --lal-lookahead 1000").lookaheadMs, 1000.0);
    EXPECT_EQ(understood("-pc 20000 -sc 20001").stopbandCutoff, 20001);
    EXPECT_EQ(understood("-pc 30000 -sc auto").passbandCutoff, 30000); // nothing to compare with yet
    EXPECT_EQ(understood("--psy-phon 90").psyPhon, 90);
    EXPECT_EQ(understood("--cifb 99").cifbOrder, 99);
    for (const int order : {3, 5, 7, 9, 11, 15})
        EXPECT_EQ(accepted("--sos-ef " + std::to_string(order)).sosEfOrder, order);
    const char* windows[] = {"kaiser", "blackman", "flattop", "bartlett", "hamming", "hanning"};
    for (int type = 0; type < 6; ++type)
        for (const std::string& name : {std::string(windows[type]), std::to_string(type)})
            EXPECT_EQ(accepted("-w " + name).windowType, type);
}

TEST(CommandLine, ValuesStandWhateverTheyLookLike)
{
    const auto settings = understood("--title -os -p -0.7 --comment  -z -1 2e3 3");
    EXPECT_EQ(settings.metadata.title, "-os");
    EXPECT_EQ(settings.metadata.comment, "");
    EXPECT_EQ(settings.pole, -0.7);
    EXPECT_EQ(settings.zeros, (std::vector<double>{-1, 2000, 3}));
    EXPECT_EQ(settings.oversampling, 64);
    EXPECT_EQ(parse("-i -q o.dsf").settings.inputs, Line{"-q"});
}

TEST(CommandLine, OptionalValuesAreTakenOnlyWhenTheyAreOne)
{
    EXPECT_EQ(parse("-i a.wav --apo o.dsf").settings.apodizingMode, 2);
    EXPECT_EQ(accepted("--apo aggressive").apodizingMode, 3);
    EXPECT_EQ(parse("-i a.wav --sos-ef o.dsf").settings.sosEfOrder, 15);
    EXPECT_EQ(understood("--cifb").cifbOrder, 4);
    EXPECT_EQ(understood("--cifb 0").cifbOrder, 4) << "0 means that none was asked for";
    EXPECT_EQ(parse("--soft-limiter -q -i a.wav o.dsf").settings.softLimiterDelta, 0.05);
    EXPECT_EQ(understood("--rg album --rg").replayGainMode, "track");
    EXPECT_TRUE(understood("--dither").dither);
    const auto mash = understood("--mash topo:222 iir2 -q");
    EXPECT_EQ(mash.mashTopology, 222);
    EXPECT_EQ(mash.mashErrorFeedback, "iir2");
    EXPECT_TRUE(mash.quad);
    EXPECT_EQ(understood("--mash topo:3").mashTopology, 421); // runs as the default
    const auto surround = understood("--surround 15 80 side");
    EXPECT_EQ(surround.surroundMix, 80.0);
    EXPECT_TRUE(surround.surroundSide);
    EXPECT_FALSE(surround.surroundBalance);
    const auto compressor = understood("--compressor -20 4 hard 5");
    EXPECT_EQ(compressor.compressorThresholdDb, -20.0);
    EXPECT_EQ(compressor.compressorKnee, "hard");
    EXPECT_EQ(compressor.compressorAttackMs, 5.0);
    EXPECT_FALSE(compressor.compressorReleaseMs);
}

// An optional file must not eat the output.
TEST(CommandLine, OptionalFilesLeaveTheOutputAlone)
{
    const auto last = parse("-i a.wav --noise-reduce o.dsf").settings;
    EXPECT_EQ(last.outputPath, "o.dsf");
    EXPECT_EQ(last.noiseReducePath, "");
    const auto both = parse("-i a.wav --convolve x.wav y.wav o.dsf").settings;
    EXPECT_EQ(both.convolvePaths, (Line{"x.wav", "y.wav"}));
    EXPECT_EQ(both.outputPath, "o.dsf");
    const auto after = parse("-i a.wav o.dsf --noise-reduce n.prof").settings;
    EXPECT_EQ(after.noiseReducePath, "n.prof");
    EXPECT_EQ(parse("--noise-reduce --pipe -i a.wav").settings.noiseReducePath, "");
}

TEST(CommandLine, ListsOfBandsAndPoints)
{
    const auto bands = accepted("-eq 100 -3 50 -eq 1e3 2.5 300").eqBands;
    EXPECT_EQ(bands, (std::vector<EqBand>{{100, -3.0, 50}, {1000, 2.5, 300}}));
    const auto eq = understood("--eq 100,3,0.7;8000,-2,1.5k").parametricBands;
    EXPECT_EQ(eq, (std::vector<ParametricBand>{{100, 3, 0.7, 'q'}, {8000, -2, 1.5, 'k'}}));
    EXPECT_EQ(understood("--compand -60,-70;0,-3 5").compandPoints, (std::vector<CompandPoint>{{-60, -70}, {0, -3}}));
    for (const char* bad : {"--eq ", "--eq ;", "--eq 1,2,3;", "--eq 1,2,", "--eq 1,2,3,4", "--eq 0,1,1", "--eq 1,x,1",
                            "--eq 1,1,k", "--compand ", "--compand 1", "--compand 1,2;", "--compand 1,2,3"})
        EXPECT_EQ(parseOptionsOnly(bad).outcome.status, 1) << bad;
}

TEST(CommandLine, TheLaterOfTwoGainsCounts)
{
    EXPECT_DOUBLE_EQ(accepted("-abs 3 -absdb -20").inputGain, 0.1);
    EXPECT_DOUBLE_EQ(accepted("-absdb -20 -abs 3").inputGain, 3.0);
    EXPECT_EQ(accepted("--headroom auto").headroom.kind, Headroom::Kind::automatic);
    EXPECT_EQ(accepted("--headroom 60").headroom, (Headroom{Headroom::Kind::fixed, 60.0}));
    EXPECT_FALSE(accepted("--quiet -v").quiet);
    EXPECT_TRUE(accepted("-v --quiet").quiet);
}

TEST(CommandLine, DashAndPipeAreTheSame)
{
    for (const char* line : {"-i a.wav -", "-i a.wav --pipe", "--pipe - -i a.wav"}) {
        const Parsed parsed = parse(line);
        EXPECT_EQ(parsed.outcome.status, 0) << parsed.text;
        EXPECT_TRUE(parsed.settings.pipe);
        EXPECT_EQ(parsed.settings.outputPath, "-");
    }
}

TEST(CommandLine, FormatWinsOverTheExtension)
{
    const Parsed other = parse("-i a.wav o.Dff --format dsf");
    EXPECT_EQ(other.outcome.status, 0);
    EXPECT_EQ(other.text, "Report              \tnote: --format dsf overrides the output extension 'dff'\n");
    EXPECT_EQ(parse("-i a.wav o.DSF --format dsf").text, "");
    EXPECT_EQ(parse("-i a.wav o --format dsf").outcome.status, 0);
    EXPECT_EQ(fileExtension("a.b/c.D.DsF"), "dsf");
    EXPECT_EQ(fileExtension("a.b/c"), "");
    EXPECT_EQ(fileExtension("c."), "");
}

TEST(CommandLine, HostArgumentsAreSkipped)
{
    const auto settings = accepted("-inproc-host -inproc-ctl 140001 -inproc-ctl-fn 140002");
    EXPECT_EQ(settings.outputPath, "out.dsf");
    EXPECT_EQ(parse("-i a.wav o.dsf -inproc-ctl").outcome.status, 0);
}

std::string refusal(const std::string& what, const std::string& reason)
{
    return "Error : " + what + " is not available in this version: " + reason + ". Nothing was converted.\n";
}

TEST(NotBuilt, EveryOffenderIsNamedOnceAndAsTypedAfterTheErrorsOfTheLine)
{
    EXPECT_EQ(parse("--lufs -14 -i a.wav").outcome.status, 1);
    EXPECT_EQ(parseOptionsOnly("--record --taps 7").text, "TAPS must be even and >= 512.\n");
    const Parsed parsed = parseOptionsOnly("--lufs -14 --record --record --format wsd");
    EXPECT_EQ(parsed.outcome.status, DSD_ERROR_UNSUPPORTED);
    EXPECT_EQ(parsed.text, "Report              \tnote: --format wsd overrides the output extension 'dsf'\n" +
                               refusal("--lufs", "loudness normalisation is not built yet") +
                               refusal("--record", "recording is not built yet"));
}

TEST(NotBuilt, ContainersByExtensionAndModesWithoutFiles)
{
    const Parsed dst = parse("-i a.wav o.DST");
    EXPECT_EQ(dst.outcome.status, 0);
    EXPECT_TRUE(dst.settings.dst);
    EXPECT_EQ(dst.text, "");
    const Parsed forced = parse("-i a.wav o.wsd --dst");
    EXPECT_EQ(forced.settings.format, "dff");
    EXPECT_EQ(forced.text, "Report              \tEnable DST compression (write a .dff)\n");
    EXPECT_TRUE(parse("-i a.wav o.dst --format dff").settings.dst);
    EXPECT_EQ(parse("-i a.wav --pipe --dst").outcome.status, 1);
    for (const char* mode : {"--list-devices", "--record"})
        EXPECT_EQ(parse(mode).outcome.status, DSD_ERROR_UNSUPPORTED) << mode;
    using Files = std::vector<std::string>;
    EXPECT_EQ(parse("--measure -i a.wav -i b.wav").settings.inputs, (Files{"a.wav", "b.wav"}));
    EXPECT_EQ(parse("--measure a.wav b.wav").settings.inputs, (Files{"a.wav", "b.wav"}));
    EXPECT_EQ(parse("a.wav --measure b.wav").settings.inputs, (Files{"a.wav", "b.wav"}));
    EXPECT_EQ(parse("--measure -i a.wav o.dsf").text, "Warning: --measure writes no file; o.dsf is not used.\n");
    EXPECT_EQ(parse("--dxd -i a.wav o.flac -qt peak -qr 0.5 --dither 7").text, "");
    EXPECT_EQ(parse("--dxd -i a.wav --pipe").outcome.status, 1);
    const std::pair<const char*, const char*> useless[] = {{"-qr 0.5", "-qr, -qt"},
                                                           {"-qt rms", "-qr, -qt"},
                                                           {"--dxd-samplerate 176400", "-qr, -qt"},

                                                           {"--lal-threshold -3", "--lal"},
                                                           {"--lal --soft-limiter 0.1", "--soft-limiter"},
                                                           {"--dxd --format dsf", "--format"},
                                                           {"--dxd --dst", "--dst"},
                                                           {"--psy-phon 60", "need --psy"}};
    for (const auto& [line, says] : useless) {
        const std::string text = parse(std::string(line) + " -i a.wav o.dsf").text;
        EXPECT_EQ(text.rfind("Warning: ", 0), 0u) << line << ": " << text;
        EXPECT_NE(text.find(says), std::string::npos) << line << ": " << text;
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << line << ": one warning, and no note beside it";
    }
}

} // namespace
} // namespace tesk::test
