// The command line back to PCM: what it fills, what it refuses and with which words.
#include "engine/options/reverse_options.h"
#include "tests/options/command_line.h"

namespace tesk::test {
namespace {

struct Reversed {
    int status = 0;
    ReverseSettings settings;
    std::string text;
};

Reversed parseBack(const std::string& line)
{
    Reversed parsed;
    CollectingReporter report;
    parsed.status = parseReverse(words(line), parsed.settings, report);
    parsed.text = report.text;
    return parsed;
}

TEST(ReverseOptions, FillTheSettings)
{
    const Reversed all =
        parseBack("-inproc-host --reverse -i a.dsf -s 88200 --bit 24 -f -n -l 20000 -z 0.9 0.5 0.1 -p -0.5 -t "
                  "1001 --format flac --wave64 --align --gain -3.5 --area multichannel --disc-track 7 -lf l.txt "
                  "-inproc-ctl 12 -inproc-ctl-fn 34 out.flac");
    const ReverseSettings& s = all.settings;
    ASSERT_EQ(all.status, 0) << all.text;
    EXPECT_EQ(all.text, "");
    EXPECT_EQ(s.inputPath + "|" + s.outputPath + "|" + s.logPath, "a.dsf|out.flac|l.txt");
    EXPECT_EQ(s.pcmRate, 88200U);
    EXPECT_EQ(s.bitDepth, 24);
    EXPECT_TRUE(s.floatOutput && !s.noiseShaping && s.wave64 && s.align && !s.gainAuto);
    EXPECT_EQ(s.lowpass, 20000);
    EXPECT_EQ(s.zeros, (std::vector<double>{0.9, 0.5, 0.1}));
    EXPECT_EQ(s.pole, -0.5);
    EXPECT_EQ(s.taps, 1001U);
    EXPECT_EQ(s.format, PcmContainer::flac);
    EXPECT_EQ(s.gainDb, -3.5);
    EXPECT_EQ(s.area, SacdAreaChoice::multichannel);
    EXPECT_EQ(s.discTracks, ReverseSettings::DiscTracks::one);
    EXPECT_EQ(s.discTrack, 7U);
    const Reversed plain = parseBack("in.iso out.wav --reverse --gain auto --disc-track all");
    EXPECT_EQ(plain.settings.inputPath + "|" + plain.settings.outputPath, "in.iso|out.wav");
    EXPECT_TRUE(plain.settings.gainAuto);
    EXPECT_EQ(parseBack("in.iso --disc-track list").status, 0) << "a list needs no output";
    EXPECT_EQ(parseBack("a b -t 0").settings.taps, 0U);
}

TEST(ReverseOptions, RefuseWithTheirOwnWords)
{
    const std::pair<const char*, Line> refused[] = {
        {"Error: sample rate must be multiple of 44100 or 48000\n",
         {"-s 44101", "-s 0", "-s -44100", "--sampling fast"}},
        {"Error: bit depth must be 16/24/32/64\n", {"-b 20", "--bit x"}},
        {"Error: format must be wav or flac\n", {"--format dsf", "--format WAV"}},
        {"-z requires 3 arguments\n", {"-z 1 2", "-z", "-z 0.1 b 0.2"}},
        {"Error: --log-file needs a path\n", {"-lf"}},
        {"unknown option: --gui\n", {"--gui"}},
        {"unknown option: -\n", {"-"}},
        {"unknown option: -qr\n", {"-qr 1"}},
        {"unknown option: -qt\n", {"-qt rms"}},
        {"extra argument: c\n", {"a b c", "-i a b c"}},
        {"extra argument: d\n", {"-i a b -i c d"}},
        {"Error: --lowpass needs", {"-l -1", "-l x"}},
        {"Error: --taps needs", {"-t -1", "-t 1048577"}},
        {"Error: --pole needs", {"-p x"}},
        {"Error: --gain needs", {"--gain loud", "--gain"}},
        {"Error: --area must be", {"--area quad"}},
        {"Error: --disc-track needs", {"--disc-track 0", "--disc-track 256"}},
        {"Error: --reverse needs an input and an output", {"", "only.dsf", "-i a"}},
        {"Usage : -i INPUT [options] OUTPUT --reverse", {"-b"}},
    };
    for (const auto& [text, lines] : refused)
        for (const std::string& line : lines) {
            const Reversed parsed = parseBack(line);
            EXPECT_EQ(parsed.status, DSD_ERROR) << line;
            EXPECT_NE(parsed.text.find(text), std::string::npos) << line << ": " << parsed.text;
        }
    const Reversed help = parseBack("--reverse -h --nonsense");
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.settings.help);
}

} // namespace
} // namespace tesk::test
