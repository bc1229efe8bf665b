// Who is asked for what, in which words, and what becomes of the answers.
#include "engine/metadata_prompt.h"

#include <deque>
#include <gtest/gtest.h>

namespace tesk {
namespace {

using Field = std::optional<std::string>;

const std::string kHeading = "\n--- MetaData Information ---\n",
                  kArtist = "Please enter artist name: ", kTitle = "Please enter a title: ",
                  kRefusal =
                      "Report              \tOutput .dff requires artist/title but there is no interactive terminal "
                      "to ask on (stdin is not a tty, or this is a --gui call) -> pass --artist/--title, or "
                      "--artist \"\" to leave it empty on purpose\n";

TEST(MetadataPrompt, AsksForWhatIsMissing)
{
    struct Case {
        Field artist, title;
        bool canAsk;
        std::deque<std::string> answers;
        std::string printed;
        Field artistAfter, titleAfter;
    };
    const Case cases[] = {
        {"A", "T", false, {}, "", "A", "T"},
        {"A", "", false, {}, "", "A", ""},
        {"", {}, true, {}, "", "", {}}, // an artist left empty on purpose
        {{}, {}, true, {"Me", "Song"}, kHeading + kArtist + kTitle, "Me", "Song"},
        {{}, {}, true, {"", ""}, kHeading + kArtist + kTitle, "", ""},
        {"A", {}, true, {"Song"}, kHeading + kTitle, "A", "Song"},
        {{}, "T", true, {"Me"}, kHeading + kArtist, "Me", "T"},
        {{}, {}, false, {"Me", "Song"}, kRefusal, {}, {}},
        {{}, "T", false, {"Me"}, kRefusal, {}, "T"},
        {"A", {}, false, {"Song"}, kRefusal, "A", {}},
        {{}, {}, true, {"Me"}, kHeading + kArtist + kTitle + "\n" + kRefusal, {}, {}}, // the input ends
    };
    for (Case c : cases) {
        MetadataRecord record;
        record.artist = c.artist;
        record.title = c.title;
        CollectingReporter report;
        const PromptTerminal terminal{c.canAsk, [&]() -> Field {
                                          if (c.answers.empty()) return {};
                                          const std::string answer = c.answers.front();
                                          c.answers.pop_front();
                                          return answer;
                                      }};
        const auto status = prompt_dff_metadata(record, terminal, report).status();
        EXPECT_EQ(status, c.printed.ends_with(kRefusal) ? DSD_ERROR_METADATA_REQUIRED : DSD_SUCCESS) << c.printed;
        EXPECT_EQ(report.text, c.printed);
        EXPECT_EQ(record.artist, c.artistAfter) << c.printed;
        EXPECT_EQ(record.title, c.titleAfter) << c.printed;
    }
    EXPECT_FALSE(standardTerminal(true).canAsk);
}

TEST(MetadataPrompt, AnswersAreWholeLinesOfText)
{
    const std::string e = "\xC3\xA9", text = "plain\nwith CR\r\n\n\xE9t" + e + "\n" + std::string("a\0b\n", 4) +
                                             std::string(1022, 'x') + e + "y\n" + std::string(5000, 'z') + "\nend";
    std::FILE* stream = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), stream);
    std::rewind(stream);
    for (const std::string& expected :
         {std::string("plain"), std::string("with CR"), std::string(), "\uFFFDt" + e, std::string("a"),
          std::string(1022, 'x'), std::string(1023, 'z'), std::string("end")})
        EXPECT_EQ(readAnswer(stream), expected);
    EXPECT_EQ(readAnswer(stream), std::nullopt);
    std::fclose(stream);
}

} // namespace
} // namespace tesk
