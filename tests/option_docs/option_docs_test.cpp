// What is made from the option table, judged by the shells and programs that read it.
#include "engine/base/status.h"
#include "engine/batch/batch_config.h"
#include "engine/json/json_file.h"
#include "engine/options/option_table.h"
#include "engine/options/preset_keys.h"
#include "engine/options/preset_use.h"
#include "engine/options/reverse_options.h"
#include "tools/option_docs/documents.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace tesk::docs {
namespace {

namespace fs = std::filesystem;

std::string scratch(const std::string& name)
{
    const char* base = std::getenv("TEMP");
    return fs::absolute(std::string(base ? base : ".") + "/" + name).string();
}

void save(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

/// What a shell command prints, errors included.
std::string output(const std::string& command)
{
    std::string text;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) text += static_cast<char>(c);
    pclose(pipe);
    return text;
}

bool installed(const std::string& program)
{
    return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
}

std::vector<std::string> everySpelling()
{
    std::vector<std::string> names;
    const auto add = [&](const auto& list) {
        for (const char* name : list)
            if (name) names.emplace_back(name);
    };
    for (const OptionGroup& group : optionGroups())
        for (const Option& option : group.options) add(option.names);
    for (const ReverseOptionText& option : reverseOptionTexts()) add(option.names);
    return names;
}

/// Whether the word stands in the text with neither letter nor dash at its ends.
bool standsIn(const std::string& text, const std::string& word)
{
    const auto apart = [](char c) { return !std::isalnum(static_cast<unsigned char>(c)) && c != '-'; };
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        if ((at == 0 || apart(text[at - 1])) && (end == text.size() || apart(text[end]))) return true;
    }
    return false;
}

// Catches a writer that forgets aliases, and what its quoting swallows: bash and mandoc read their texts first.
TEST(OptionDocs, EverySpellingReachesItsReader)
{
    save(scratch("docs.1"), programPage());
    save(scratch("docs.bash"), bashCompletion() + "COMP_WORDS=(tesk -) COMP_CWORD=1; _tesk; echo ${COMPREPLY[*]}\n"
                                                  "COMP_WORDS=(tesk --reverse -) COMP_CWORD=2; _tesk\n"
                                                  "echo ${COMPREPLY[*]}\n");
    std::vector<std::pair<std::string, std::string>> texts = {{"zsh", zshCompletion()},
                                                              {"bash", output("bash '" + scratch("docs.bash") + "'")}};
    if (installed("mandoc")) texts.emplace_back("man", output("mandoc -T utf8 '" + scratch("docs.1") + "' | col -b"));
    const std::string fish = fishCompletion();
    for (const std::string& name : everySpelling()) {
        for (const auto& [reader, text] : texts) EXPECT_TRUE(standsIn(text, name)) << name << " in " << reader;
        const std::string dashes = name.starts_with("--") ? " -l " : name.size() == 2 ? " -s " : " -o ";
        const std::string bare = name.substr(name.find_first_not_of('-'));
        EXPECT_NE(fish.find(dashes + bare + " "), std::string::npos) << name << " in fish";
    }
}

/// What the shell offers for each line's last word, as "WORD WORD \n" each, in byte order.
std::string offered(const std::string& shell, const std::vector<std::string>& lines)
{
    const std::string folder = scratch("completed");
    fs::create_directories(folder + "/sub");
    for (const char* name : {"/a b.wav", "/c.txt", "/d.dsf", "/e.FLAC"}) save(folder + name, "");
    const bool bash = shell == "bash";
    std::string script = bash ? bashCompletion() : fishCompletion();
    for (const std::string& line : lines)
        script += bash ? "COMP_WORDS=(" + line + (line.ends_with(' ') ? "''" : "") +
                             ") COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tesk; "
                             "printf '%s\\n' \"${COMPREPLY[@]}\" | sort | tr '\\n' ' '; echo\n"
                       : "complete -C '" + line + "' | cut -f 1 | sort | tr '\\n' ' '; echo\n";
    save(scratch("complete-" + shell), script);
    return output("cd '" + folder + "' && LC_ALL=C.UTF-8 " + shell + (bash ? " '" : " --no-config '") +
                  scratch("complete-" + shell) + "'");
}

// Required values stand alone, optional ones beside options; numbers that an option does not take are not offered;
// a line back to PCM has options of its own.
TEST(OptionDocs, ShellsOfferWhatMayFollow)
{
    const std::pair<const char*, const char*> cases[] = {
        {"tesk --lal", "--lal --lal-lookahead --lal-threshold "},
        {"tesk --format ", "dff dsf wsd "},
        {"tesk -os 1", "1024 128 "},
        {"tesk --dither 7", "7 "},
        {"tesk --al", "--album --algorithm "},
        {"tesk --reverse --al", "--align "},
        {"tesk --reverse --area m", "multichannel "},
        {"tesk --help m", "mandatory mastering metadata "},
        {"tesk --crossfeed ", "custom meier "},
    };
    std::vector<std::string> lines;
    std::string expected;
    for (const auto& [line, offer] : cases) {
        lines.emplace_back(line);
        expected += std::string(offer) + "\n";
    }
    for (const char* shell : {"bash", "fish"})
        if (installed(shell)) {
            EXPECT_EQ(offered(shell, lines), expected) << shell;
        }
    EXPECT_EQ(offered("bash", {"tesk -i ", "tesk --reverse -i ", "tesk -i x.wav ", "tesk --outdir ", "tesk -t "}),
              "a b.wav e.FLAC sub \nd.dsf sub \na b.wav d.dsf e.FLAC sub \nsub \n \n");
    save(scratch("docs.zsh"), zshCompletion());
    if (installed("zsh")) {
        EXPECT_EQ(output("zsh -f -n '" + scratch("docs.zsh") + "'"), "");
    }
}

// The pages promise that their examples work.
TEST(OptionDocs, ExamplesAreTaken)
{
    std::string error;
    save(scratch("example.json"), batchExample());
    EXPECT_TRUE(loadBatchConfig(scratch("example.json"), error)) << error;
    save(scratch("example.json"), presetExample());
    const auto preset = readJsonFile(scratch("example.json"), error);
    ASSERT_TRUE(preset) << error;
    ConversionSettings settings;
    CollectingReporter report;
    std::vector<Unavailable> unavailable;
    EXPECT_TRUE(applyPreset(*preset, {}, settings, unavailable, report, error)) << error;
    EXPECT_TRUE(settings.oversampling == 128 && settings.minimumPhase);
    save(scratch("example.c"), hostExample());
    if (!installed("cc")) return;
    const std::string compiler = "cc -std=c11 -fsyntax-only -I '" TESK_SOURCE_DIR "' '";
    EXPECT_EQ(output(compiler + scratch("example.c") + "'").find("error:"), std::string::npos);
}

/// The quoted words of a source that begin with the prefix and are capitals, digits and underlines.
std::vector<std::string> quotedVariables(const std::string& source, const std::string& prefix)
{
    std::vector<std::string> names;
    for (std::size_t at = source.find('"' + prefix); at != std::string::npos; at = source.find('"' + prefix, at + 1)) {
        const std::size_t end = source.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_", at + 1);
        if (end != std::string::npos && source[end] == '"') names.push_back(source.substr(at + 1, end - at - 1));
    }
    return names;
}

// A variable that the sources read, a status or a preset's key that nobody has described.
TEST(OptionDocs, PagesLeaveNothingOut)
{
    const std::string page = programPage(), keys = presetPage();
    std::size_t found = 0;
    for (const char* room : {"engine", "pipeline", "reverse", "input", "container", "plugins", "platform"})
        for (const auto& file : fs::recursive_directory_iterator(fs::path(TESK_SOURCE_DIR) / room)) {
            if (file.path().extension() != ".cpp") continue;
            std::stringstream text;
            text << std::ifstream(file.path()).rdbuf();
            const std::string source = text.str();
            for (const char* prefix : {"TESK_", "PCM2PDM_"})
                for (const std::string& name : quotedVariables(source, prefix)) {
                    EXPECT_TRUE(standsIn(page, "fB" + name)) << name << " in " << file.path();
                    ++found;
                }
        }
    EXPECT_GT(found, 10u);
    for (int status = -1; status > -128; --status)
        if (const std::string name = status_name(status); name.front() != '(') {
            const std::size_t at = page.find("\\fB" + std::to_string(256 + status) + "\\fR");
            ASSERT_NE(at, std::string::npos) << name;
            EXPECT_TRUE(std::islower(page[page.find('\n', at) + 1]) || std::isupper(page[page.find('\n', at) + 1]))
                << name << " has no words";
        }
    for (const PresetKey& key : presetKeys())
        EXPECT_NE(keys.find(std::string("\\fB") + key.name + "\\fR"), std::string::npos) << key.name;
}

} // namespace
} // namespace tesk::docs
