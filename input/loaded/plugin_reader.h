// Files read by the decoder plugin. Nothing that the plugin answers is believed without a look.
#pragma once

#include "input/loaded/ext_decoder.h"
#include "input/pcm_reader.h"

#include <vector>

namespace tesk {

/// The plugin's length is a hint, and its samples are checked here whatever kind it says they are: those that are not
/// finite or beyond kLargestSample become 0, with a warning. Error texts begin with the name of the function that
/// failed. Once reading has failed the plugin is asked for nothing more.
class PluginReader final : public PcmReader {
public:
    /// `api` outlives the reader.
    explicit PluginReader(const ExtDecoderApi& api) : api_(api) {}
    ~PluginReader() override { close(); }
    PluginReader(const PluginReader&) = delete;
    PluginReader& operator=(const PluginReader&) = delete;

    Status open(const std::string& path) override;
    Result<std::size_t, PDM_ENCODING_STATUS> read(double* const* planar, std::size_t frames) override;
    Status seek(std::uint64_t frame) override;

private:
    void close();
    bool describe(const tesk_ext_format& told);
    Result<std::size_t, PDM_ENCODING_STATUS> readChunk(std::size_t frames);
    void takeLastWords();
    std::string lastWords() const;
    std::string pluginsWords(const char* step) const;
    PDM_ENCODING_STATUS broken(std::string why);

    const ExtDecoderApi& api_;
    tesk_ext_decoder* decoder_ = nullptr;
    std::vector<double> interleaved_; // [chunk frames][channels], then room for what a broken plugin writes too much
    std::string refusal_;             // of the last seek; the plugin may still repeat it at the end
    bool ended_ = false;
    bool failed_ = true; // as good as: no file is open
};

} // namespace tesk
