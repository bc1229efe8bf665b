// The two parsers of the command line against each other: same lines accepted, same records.
#include "engine/options/cli11_application.h"
#include "tests/options/line_generator.h"

#include <algorithm>

namespace tesk::test {
namespace {

Parsed parseCli11(const Line& line)
{
    Parsed parsed;
    CollectingReporter report;
    parsed.outcome = parse_options_cli11(line, parsed.settings, report);
    parsed.text = report.text;
    return parsed;
}

/// What the second parser should answer, from what the first one did.
int secondStatus(int first) { return first == kCommandLineRejected ? int{DSD_ERROR_USAGE} : first; }

std::string shown(const Line& line)
{
    std::string text;
    for (const std::string& word : line) text += "<" + word + "> ";
    return text;
}

/// Compares outcome and record; answers the first parser's status.
int expectAgreement(const Line& line)
{
    const Parsed first = parse(line), second = parseCli11(line);
    EXPECT_EQ(second.outcome.status, secondStatus(first.outcome.status)) << shown(line) << first.text << second.text;
    EXPECT_EQ(second.outcome.finished, first.outcome.finished) << shown(line);
    EXPECT_TRUE(second.outcome.status == 0 || !second.text.empty()) << "a refusal without a reason: " << shown(line);
    const bool comparable = first.outcome.status == 0 || first.outcome.status == DSD_ERROR_UNSUPPORTED;
    EXPECT_TRUE(!comparable || second.settings == first.settings) << "the records differ: " << shown(line);
    return first.outcome.status;
}

/// Words that CLI11 would read in a way of its own.
const Line kOddWords = {"--title=x", "--psy=1", "-vq",  "-i5",  "--inproc-host", "++",     ":x",   "[1,2]", "{}",
                        "true",      "/h",      "-5",   "-inf", "--cifb=4",      "a=b",    "%%",   "--",    "-",
                        "",          "Ä ö.wav", "\n-q", "-H",   "--help-all",    "--pipe", "-unpd"};

TEST(Parsers, AgreeOnRandomLines)
{
    LineGenerator generator(20251121);
    std::mt19937 random(5);
    int accepted = 0, rejected = 0, unavailable = 0;
    for (int i = 0; i < 2000 && !HasFailure(); ++i) {
        Line line = generator.line();
        std::erase(line, "--cli-v2"); // would send the first parser's line to the second one
        if (i % 3 == 0)
            line.insert(line.begin() + static_cast<std::ptrdiff_t>(random() % (line.size() + 1)),
                        kOddWords[random() % kOddWords.size()]);
        const int status = expectAgreement(line);
        ++(status == 0 ? accepted : status == kCommandLineRejected ? rejected : unavailable);
    }
    for (const int count : {accepted, rejected, unavailable}) EXPECT_GT(count, 20);
}

// Every spelling with a value of every look: catches a name that CLI11 knows otherwise than the table.
TEST(Parsers, AgreeOnEverySpelling)
{
    for (const OptionGroup& group : optionGroups())
        for (const Option& option : group.options)
            for (const char* name : option.names)
                for (const char* values : {"", "-1 2", "0.5 tape 1", "1000 3 200", "on"})
                    if (name && std::string(name) != "--cli-v2") {
                        const std::string use = name + std::string(*values ? " " : "") + values;
                        expectAgreement(words(use + " -i in.wav o.dsf " + use));
                    }
}

TEST(Parsers, AgreeWhereValuesAndOutputsLookOdd)
{
    const Line accepted[] = {
        {"-i", "in.wav", "-"},
        {"-", "-i", "in.wav"},
        {"o.dsf", "-p", "-0.7", "-i", "-q"},
        {"-z", "-1", "2e3", "-i", "a", "o.dsf", "-z", "3"},
        {"-z", "1", "-z", "2", "3", "-i", "a", "o.dsf"},
        {"--mash", "421", "--mash", "fir2", "-i", "a", "o.dsf"},
        {"-eq", "1", "2", "3", "-eq", "4", "-5", "6", "-i", "a", "o.dsf"},
        {"--cifb", "--cifb", "5", "--cifb", "-i", "a", "o.dsf"},
        {"--title", "-os", "--comment", "", "--artist", "--", "--album", "a=b", "--genre", "=", "-i", "=x", "o.dsf"},
        {"--title", "Ω — 链", "--链", "-i", "žluť.flac", "výstup.dsf"},
        {"--title", "[a,b]", "--album", "{}", "--genre", "%%", "--artist", "true", "--year", ":", "-i", "a", "o.dsf"},
        {"--title", "one", "--title", "two", "-q", "-q", "-i", "a", "-os", "128", "o.dsf", "-os", "64"},
        {"--quiet", "-v", "-i", "a", "o.dsf", "--no-simd"},
        {"", "", "o.dsf", "-i", "a"},
        {"++", "--format", "dsf", "-i", "a"},
        {"-i", "a", "--noise-reduce", "o.dsf"},      // the output stands last and is none of the option's
        {"-i", "a", "--pipe", "--noise-reduce", "p"} // here it is no output
    };
    for (const Line& line : accepted) EXPECT_NE(expectAgreement(line), kCommandLineRejected) << shown(line);
    for (const char* options :
         {"-os", "--title=x", "--psy=1", "-vq", "-iin.wav", "--inproc-host", "-5", "--", "--taps=", "-os 96",
          "-H 0.5 loud", "--mash --cifb 5", "--convolve", "-z", "two.dsf", "--nonsense"})
        EXPECT_EQ(expectAgreement(words(std::string("-i in.wav o.dsf ") + options)), kCommandLineRejected) << options;
}

TEST(Parsers, WordAnywhereOnTheLineChoosesTheSecond)
{
    const std::string note = "Using CLI v2 parser...\n";
    for (const char* line : {"--cli-v2 -os 128 -i in.wav out.dsf", "-os 128 -i in.wav out.dsf --cli-v2"}) {
        const Parsed parsed = parse(line);
        EXPECT_EQ(parsed.outcome.status, 0);
        EXPECT_EQ(parsed.text, note);
        EXPECT_TRUE(parsed.settings.cliV2);
        EXPECT_EQ(parsed.settings.oversampling, 128);
    }
    const std::pair<const char*, const char*> refused[] = {{"-os 96", "Oversampling must be a power of two"},
                                                           {"-os", "--oversampling"},
                                                           {"--oversmapling 64", "did you mean --oversampling"},
                                                           {"--mash --cifb 5", "mutually exclusive"},
                                                           {"-H 0.5 loud", "Invalid mode"}};
    for (const auto& [options, reason] : refused) {
        const Parsed parsed = parse(std::string("--cli-v2 -i in.wav out.dsf ") + options);
        EXPECT_EQ(parsed.outcome.status, DSD_ERROR_USAGE) << options;
        EXPECT_NE(parsed.text.find(reason), std::string::npos) << parsed.text;
    }
}

TEST(Parsers, SecondPrintsHelpAndVersion)
{
    const Parsed version = parseCli11(words("--nonsense --title --version"));
    EXPECT_TRUE(version.outcome.finished && version.outcome.status == 0);
    EXPECT_EQ(version.text, versionBanner() + "\n");
    const Parsed help = parseCli11(words("-os x -h"));
    EXPECT_TRUE(help.outcome.finished && help.outcome.status == 0);
    EXPECT_EQ(help.text.rfind("TeskEngine — PCM to DSD Converter\n", 0), 0u);
    for (const OptionGroup& group : optionGroups())
        for (const Option& option : group.options)
            for (const char* name : option.names)
                EXPECT_TRUE(!name || help.text.find(name) != std::string::npos) << name;
    EXPECT_EQ(help.text.find("--inproc-host"), std::string::npos) << "a name that nobody may type";
}

} // namespace
} // namespace tesk::test
