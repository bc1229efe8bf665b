#include "input/loaded/plugin_reader.h"

#include "engine/base/utf8.h"
#include "input/header_probe.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

namespace tesk {
namespace {

/// Small enough that the interleaved copy stays in the processor's cache.
constexpr std::size_t kChunkFrames = 4096;

/// Doubles behind the room that the plugin is told of, and how many of them are looked at: what is written too much
/// starts there.
constexpr std::size_t kGuardDoubles = 8192, kWatchedDoubles = 64;

/// A NaN that no decoder makes.
constexpr std::uint64_t kGuardPattern = 0x7FFC5445534B0BAD;

/// Two hundred years at 44.1 kHz. A longer hint is damage; up to here sizes in bytes stay far below 2^64.
constexpr std::uint64_t kLongestHint = std::uint64_t{1} << 48;

constexpr std::size_t kLongestText = 300; // bytes

/// The form that the plugin fills, and room for the fields of a later version if it ignores struct_size.
struct Form {
    tesk_ext_format format;
    std::uint8_t beyond[448];
};

/// What stands in every form: struct_size, channels and sample_rate.
constexpr std::size_t kLeastFormat = offsetof(tesk_ext_format, bits_per_sample);

bool isGuard(double value) { return std::bit_cast<std::uint64_t>(value) == kGuardPattern; }

/// Fit for a terminal and a log: at most `bytes` long, with a "?" for every byte that is no text.
std::string printable(const char* text, std::size_t bytes)
{
    std::string_view rest(text, static_cast<std::size_t>(std::find(text, text + bytes, '\0') - text));
    std::string result;
    while (!rest.empty()) {
        const Utf8Character character = utf8At(rest, 0);
        const bool isText = character.bytes > 0 && !isControl(character.point);
        result += isText ? rest.substr(0, character.bytes) : "?";
        rest.remove_prefix(isText ? character.bytes : 1);
    }
    return result;
}

} // namespace

Status PluginReader::open(const std::string& path)
{
    close();
    info_ = {};
    Form form{};
    form.format.struct_size = sizeof form.format;
    decoder_ = api_.open(path.c_str(), &form.format);
    if (!decoder_) return fail(pluginsWords("tesk_ext_open"));
    if (!describe(form.format)) {
        close();
        return DSD_ERROR_INPUT;
    }
    failed_ = false;
    return {};
}

void PluginReader::close()
{
    if (decoder_) api_.close(decoder_);
    decoder_ = nullptr;
    ended_ = false;
    failed_ = true;
    warnings_.clear();
}

/// Takes over what the plugin told, as far as it says to have told it; false with the reason when it cannot be.
bool PluginReader::describe(const tesk_ext_format& told)
{
    if (told.struct_size < kLeastFormat || told.struct_size > sizeof told) {
        error_ = format("tesk_ext_open: broken plugin: it filled %u bytes of the format's %zu", told.struct_size,
                        sizeof told);
        return false;
    }
    tesk_ext_format form{};
    std::memcpy(&form, &told, told.struct_size);
    if (!plausibleFormat(form.channels, form.sample_rate, error_)) {
        error_ = "tesk_ext_open: " + error_;
        return false;
    }
    info_.channels = form.channels;
    info_.sampleRate = form.sample_rate;
    info_.isFloat = form.is_float != 0;
    // Without a word length the samples are a lossy decoder's: finer than 16 bits, so nothing is to be shaped to 16.
    const bool hasBits = form.bits_per_sample >= 1 && form.bits_per_sample <= 64;
    info_.bitsPerSample = hasBits ? static_cast<int>(form.bits_per_sample) : info_.isFloat ? 32 : 24;
    info_.format = printable(form.codec, sizeof form.codec);
    if (info_.format.empty()) info_.format = "plugin";
    if (form.total_frames > 0 && form.total_frames <= kLongestHint) info_.declaredFrames = form.total_frames;
    info_.lengthIsHint = info_.unchecked = true;
    interleaved_.resize(kChunkFrames * info_.channels + kGuardDoubles);
    return true;
}

Result<std::size_t, PDM_ENCODING_STATUS> PluginReader::read(double* const* planar, std::size_t frames)
{
    if (failed_) return DSD_ERROR_INPUT;
    const std::size_t channels = info_.channels;
    std::size_t done = 0;
    while (!ended_ && done < frames) {
        const auto got = readChunk(std::min(kChunkFrames, frames - done));
        if (!got.ok()) return got.status();
        for (std::size_t c = 0; c < channels; ++c)
            for (std::size_t i = 0; i < *got; ++i) planar[c][done + i] = interleaved_[i * channels + c];
        done += *got;
        ended_ = *got == 0;
    }
    if (ended_) takeLastWords();
    return done;
}

/// One call of the plugin, into the interleaved buffer.
Result<std::size_t, PDM_ENCODING_STATUS> PluginReader::readChunk(std::size_t frames)
{
    const std::span guard(interleaved_.data() + frames * info_.channels, kWatchedDoubles);
    std::fill(guard.begin(), guard.end(), std::bit_cast<double>(kGuardPattern));
    const std::int64_t got = api_.read(decoder_, interleaved_.data(), frames);
    if (!std::all_of(guard.begin(), guard.end(), isGuard))
        return broken("tesk_ext_read: broken plugin: it wrote more frames than it was asked for");
    if (got == -1) {
        failed_ = true;
        return fail(pluginsWords("tesk_ext_read"));
    }
    if (static_cast<std::uint64_t>(got) > frames) // or negative
        return broken(format("tesk_ext_read: broken plugin: it returned %lld for %zu frames",
                             static_cast<long long>(got), frames));
    return static_cast<std::size_t>(got);
}

Status PluginReader::seek(std::uint64_t frame)
{
    if (failed_) return DSD_ERROR_INPUT;
    const std::int32_t answer = api_.seek(decoder_, frame);
    if (answer == -1) {
        error_ = pluginsWords("tesk_ext_seek");
        refusal_ = lastWords();
        return DSD_ERROR_UNSUPPORTED;
    }
    if (answer != 0) return broken(format("tesk_ext_seek: broken plugin: it returned %d", answer));
    ended_ = false;
    return {};
}

std::string PluginReader::lastWords() const
{
    const char* text = api_.lastError(decoder_);
    return text ? printable(text, kLongestText) : std::string();
}

/// What a plugin that went on over damage says at the end.
void PluginReader::takeLastWords()
{
    const std::string words = lastWords();
    warnings_.clear();
    if (!words.empty() && words != refusal_) warnings_.push_back(words);
}

/// What the plugin says about its last call, which was `step`.
std::string PluginReader::pluginsWords(const char* step) const
{
    const std::string words = lastWords();
    return std::string(step) + ": " + (words.empty() ? "the plugin gives no reason" : words);
}

PDM_ENCODING_STATUS PluginReader::broken(std::string why)
{
    failed_ = true;
    return fail(std::move(why));
}

} // namespace tesk
