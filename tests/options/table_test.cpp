// The table itself, and the help made from it.
#include "engine/options/option_table.h"
#include "tests/options/command_line.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <sstream>

namespace tesk::test {
namespace {

template <class Visit>
void forEachOption(Visit visit)
{
    for (const OptionGroup& group : optionGroups())
        for (const Option& option : group.options) visit(option);
}

/// Valid arguments that differ from what a fresh record holds.
Line sampleArguments(const Option& option)
{
    for (const char* line :
         {"--equalizer 1000 3 200", "--absdb -6", "--headroom 3", "--apo light", "--soft-limiter 0.1",
          "--oversampling 128", "--filter-type slow", "--griddensity 16", "--maxiterations 50", "--mash 222"})
        if (const Line given = words(line); given[0] == option.longName()) return {given.begin() + 1, given.end()};
    if (!option.takesValue()) return {};
    if (option.kind == ValueKind::word)
        return {option.choices[option.longName() == std::string("--output-format")].word};
    if (option.kind == ValueKind::text || option.kind == ValueKind::file) return {"name.ext"};
    // One of them lies in every range, and none is a default.
    for (const char* number : {"3", "1024", "-2"}) {
        const double value = std::atof(number);
        if (option.range.contains(value) && (!option.accepts || option.accepts(value))) return {number};
    }
    return {};
}

ConversionSettings withFlag(const Option& option, bool value)
{
    ConversionSettings settings;
    if (const auto* flag = std::get_if<bool ConversionSettings::*>(&option.destination)) settings.** flag = value;
    return settings;
}

// Catches a copied row that keeps its neighbour's name: the later row could never be reached.
TEST(OptionTable, EverySpellingLeadsToItsOwnRow)
{
    std::set<std::string> seen;
    forEachOption([&](const Option& option) {
        EXPECT_STRNE(option.help, "") << option.longName();
        for (const char* name : option.names) {
            if (!name) continue;
            EXPECT_TRUE(seen.insert(name).second) << name << " stands twice";
            EXPECT_EQ(findOption(name), &option) << name;
            EXPECT_EQ(name[0], '-');
        }
    });
    EXPECT_EQ(findOption("--Taps"), nullptr);
    EXPECT_EQ(findOption(""), nullptr);
}

// Catches an option that is parsed and does nothing, and one that writes into a neighbour's field:
// every spelling changes the record, two options never leave the same record behind.
TEST(OptionTable, EveryBuiltOptionChangesTheRecordInItsOwnWay)
{
    std::map<std::string, ConversionSettings> records;
    forEachOption([&](const Option& option) {
        const bool information = !option.apply && !option.takesValue() && option.destination.index() == 0;
        if (option.unavailable || information || std::strncmp(option.names[0], "-inproc", 7) == 0) return;
        const std::string own = option.longName();
        if (own == "--input" || own == "--preset-load" || own == "--skip-existing")
            return; // every line has the first, no file is there, no batch either
        const ConversionSettings before = own == "--pipe" ? ConversionSettings{} : withFlag(option, !option.flagValue);
        const char* input = own == "--cue-continuous" ? "in.cue" : "in.wav";
        const Line plain = own == "--pipe" ? Line{"-i", input} : Line{"-i", input, "out.dsf"};
        for (const char* name : option.names) {
            if (!name) continue;
            Line line = {name};
            for (const std::string& argument : sampleArguments(option)) line.push_back(argument);
            line.insert(line.end(), plain.begin(), plain.end());
            Parsed parsed = parse(line, before);
            EXPECT_EQ(parsed.outcome.status, 0) << name << ": " << parsed.text;
            EXPECT_EQ(parsed.settings.given.count(option.longName()), 1u) << name;
            ConversionSettings untouched = parse(plain, before).settings;
            parsed.settings.given.clear();
            untouched.given.clear();
            EXPECT_FALSE(parsed.settings == untouched) << name << " changes nothing";
            if (!std::get_if<bool ConversionSettings::*>(&option.destination))
                records[option.longName()] = parsed.settings;
        }
    });
    ASSERT_GT(records.size(), 20u);
    for (auto a = records.begin(); a != records.end(); ++a)
        for (auto b = std::next(a); b != records.end(); ++b)
            EXPECT_FALSE(a->second == b->second) << a->first << " and " << b->first;
}

TEST(OptionTable, NearestSpellingForgivesSlipsOnly)
{
    EXPECT_EQ(nearestSpelling("--oversamplin"), "--oversampling");
    EXPECT_EQ(nearestSpelling("--tpas"), "--taps"); // two substitutions would be "far" for a shorter word
    EXPECT_EQ(nearestSpelling("--lal-treshold"), "--lal-threshold");
    EXPECT_EQ(nearestSpelling("-x"), "");
    EXPECT_EQ(nearestSpelling("--completely-else"), "");
}

TEST(Help, NamesEveryOptionAndMarksWhatIsNotBuilt)
{
    const std::string text = parse("--help").text;
    forEachOption([&](const Option& option) {
        for (const char* name : option.names) EXPECT_TRUE(!name || text.find(name) != std::string::npos) << name;
    });
    const auto blockOf = [&](const std::string& name) {
        const std::size_t start = text.find("\n  " + name);
        return text.substr(start + 1, text.find("\n  -", start + 1) - start);
    };
    EXPECT_NE(blockOf("--record").find("[not in this version]"), std::string::npos);
    EXPECT_EQ(blockOf("--sos-ef").find("[not in this version]"), std::string::npos);
    EXPECT_NE(blockOf("-os, --oversampling").find("default 64"), std::string::npos);
    EXPECT_NE(blockOf("-mi, --maxiterations").find("50 to 200; default 200"), std::string::npos);
}

// Catches a word that is taken for the output's name or for all of the help, and a search in capitals only.
TEST(Help, OfAGroupHasItsRowsAndNoOthers)
{
    const struct {
        const char* line;
        std::vector<const char*> present, absent;
    } cases[] = {
        {"--help FIR", {"\nFIR filtering :", "--taps"}, {"Tesk Engine", "--oversampling", "Exit status"}},
        {"-inproc-ctl 1 -inproc-ctl-fn 2 -h dsp", {"\nDSP :", "\nDSP toolkit :"}, {"Spectral"}}, // as the program adds
        {"--help status", {"\nExit status :", ">128"}, {"--taps"}},
        {"--help --quiet", {"Tesk Engine", "--taps", "Exit status"}, {}},
        {"-i in.wav --help fir", {"Tesk Engine", "--oversampling"}, {}}, // there it is the output
    };
    for (const auto& c : cases) {
        const Parsed help = parse(c.line);
        EXPECT_TRUE(help.outcome.status == 0 && help.outcome.finished) << c.line;
        for (const char* text : c.present) EXPECT_NE(help.text.find(text), std::string::npos) << c.line << ": " << text;
        for (const char* text : c.absent) EXPECT_EQ(help.text.find(text), std::string::npos) << c.line << ": " << text;
    }
    const Parsed unknown = parse("--help nonsense");
    EXPECT_TRUE(unknown.outcome.status == kCommandLineRejected && !unknown.outcome.finished);
    EXPECT_NE(unknown.text.find("'nonsense'"), std::string::npos);
    for (const OptionGroup& group : optionGroups())
        EXPECT_NE(unknown.text.find("\n  " + std::string(group.heading).substr(0, 4)), std::string::npos)
            << group.heading;
}

// Apart from the exit statuses, whose texts are fixed, no line runs over on a terminal of a hundred columns, tabs
// counted as the terminal counts them.
TEST(Help, KeepsItsFixedLinesWholeAndFitsTheTerminal)
{
    const std::string text = parse("--help").text;
    for (const char* line : {
             "In-process host (injected by TESK GUIs, not for command line) :\n",
             "\tHost runs the core in-process: fd 0/1/2 already\n",
             "\tpoint at the session pipe (Windows: rebind CRT handles)\n",
             "\tControl queue object (public/inproc_ctl)\n",
             "\tRead-a-line callback for that queue\n",
             "\t\"stop\" on that channel aborts the run, exit code -61\n",
             "Mastering / Restoration (always accepted; help used to omit them) :\n",
             "\tInternal: set by the GUIs; adds machine-readable [PROGRESS] lines [flag]\n",
             "Internal: use the CLI11 (v2) parser instead of the legacy one [flag]",
             "\tSilence all non-essential output, [flag]\n",
             "\tRestore normal log output (undo --quiet), [flag]\n",
             "Write the log to PATH instead of ./pdm2pcm_<pid>.log",
             "Force endianness: 'l' (little) or 'm' (big)",
             "(reverse: --bit)",
             "(reverse: --lowpass)",
             "Exit status :       \n",
             "\tif OK (a real conversion finished).\n",
             "if the command line was rejected (unknown option, missing/invalid value, unsupported sample rate, "
             "missing output file) or the conversion failed,",
             "if a processing step returned a negative DSD_ERROR code — the shell sees 256+code (e.g. -1 → 255, "
             "-23 → 233, Remez did not converge).",
         })
        EXPECT_NE(text.find(line), std::string::npos) << line;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line) && line.rfind("Exit status", 0) != 0;) {
        std::size_t column = 0;
        for (const char c : line) column = c == '\t' ? (column / 8 + 1) * 8 : column + 1;
        EXPECT_LE(column, 104u) << line;
    }
}

} // namespace
} // namespace tesk::test
