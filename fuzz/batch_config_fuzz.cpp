// Any bytes as the file of --batch-config: what is accepted gives words that the option parser takes one by one.
#include "engine/base/status.h"
#include "engine/batch/batch_config.h"
#include "engine/json/json_text.h"
#include "engine/options/option_use.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string error;
    const auto root = tesk::parseJson({reinterpret_cast<const char*>(data), size}, error);
    if (!root) return 0;
    const auto config = tesk::readBatchConfig(*root, error);
    if (!config) {
        if (!error.starts_with("line ")) std::abort();
        return 0;
    }
    const tesk::BatchInput input{"in/song.wav", ""};
    const std::vector<std::string> words = config->wordsFor(input, 1);
    tesk::ArgumentCursor cursor(words);
    tesk::ConversionSettings settings;
    tesk::CollectingReporter report;
    std::vector<tesk::Unavailable> unavailable;
    while (!cursor.atEnd()) {
        const std::string& spelling = *cursor.take();
        const tesk::Option* option = tesk::findOption(spelling);
        if (!option) std::abort();
        tesk::OptionUse use{*option, spelling, cursor, settings, report, unavailable};
        if (!tesk::applyOption(use)) std::abort();
    }
    config->takeBack(input, 1, settings);
    (void)config->unmatched({input});
    return 0;
}
