// The command line back to PCM: what it fills, what it refuses and with which words.
#include "engine/base/status.h"
#include "engine/options/reverse_options.h"

#include <gtest/gtest.h>
#include <sstream>

namespace tesk {
namespace {

struct Parsed {
    int status = 0;
    ReverseSettings settings;
    std::string text;
};

/// Words apart by blanks.
Parsed parse(const std::string& line)
{
    std::istringstream words(line);
    std::vector<std::string> arguments;
    for (std::string word; words >> word;) arguments.push_back(word);
    Parsed parsed;
    CollectingReporter report;
    parsed.status = parseReverse(arguments, parsed.settings, report);
    parsed.text = report.text;
    return parsed;
}

TEST(ReverseOptions, FillTheSettings)
{
    const Parsed all =
        parse("-inproc-host --reverse -i a.dsf -s 88200 --bit 24 -f -n -l 20000 -z 0.9 0.5 0.1 -p -0.5 -t "
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
    const Parsed plain = parse("in.iso out.wav --reverse --gain auto --disc-track all");
    EXPECT_EQ(plain.settings.inputPath + "|" + plain.settings.outputPath, "in.iso|out.wav");
    EXPECT_TRUE(plain.settings.gainAuto);
    EXPECT_EQ(parse("in.iso --disc-track list").status, 0) << "a list needs no output";
    EXPECT_EQ(parse("a b -t 0").settings.taps, 0U);
}

TEST(ReverseOptions, RefuseWithTheirOwnWords)
{
    const char* const rate = "Error: sample rate must be multiple of 44100 or 48000\n";
    const char* const depth = "Error: bit depth must be 16/24/32/64\n";
    const char* const format = "Error: format must be wav or flac\n";
    const char* const zeros = "-z requires 3 arguments\n";
    const std::pair<const char*, const char*> refused[] = {
        {"-s 44101", rate},
        {"-s 0", rate},
        {"-s -44100", rate},
        {"--sampling fast", rate},
        {"-b 20", depth},
        {"--bit x", depth},
        {"--format dsf", format},
        {"--format WAV", format},
        {"-z 1 2", zeros},
        {"-z", zeros},
        {"-z 0.1 b 0.2", zeros},
        {"-lf", "Error: --log-file needs a path\n"},
        {"--gui", "unknown option: --gui\n"},
        {"-", "unknown option: -\n"},
        {"-qr 1", "unknown option: -qr\n"},
        {"-qt rms", "unknown option: -qt\n"},
        {"a b c", "extra argument: c\n"},
        {"-i a b c", "extra argument: c\n"},
        {"-i a b -i c d", "extra argument: d\n"},
        {"-l 0", "Error: --lowpass needs"},
        {"-t -1", "Error: --taps needs"},
        {"-t 65537", "Error: --taps needs"},
        {"-p x", "Error: --pole needs"},
        {"--gain loud", "Error: --gain needs"},
        {"--gain", "Error: --gain needs"},
        {"--area quad", "Error: --area must be"},
        {"--disc-track 0", "Error: --disc-track needs"},
        {"--disc-track 256", "Error: --disc-track needs"},
        {"", "Error: --reverse needs an input and an output"},
        {"only.dsf", "Error: --reverse needs"},
        {"-i a", "Error: --reverse needs"},
        {"-b", "Usage : -i INPUT [options] OUTPUT --reverse"},
    };
    for (const auto& [line, text] : refused) {
        const Parsed parsed = parse(line);
        EXPECT_EQ(parsed.status, DSD_ERROR) << line;
        EXPECT_NE(parsed.text.find(text), std::string::npos) << line << ": " << parsed.text;
    }
    const Parsed help = parse("--reverse -h --nonsense");
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.settings.help);
}

} // namespace
} // namespace tesk
