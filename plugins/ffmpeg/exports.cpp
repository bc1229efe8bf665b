// The seven functions of the plugin interface.
#include "public/tesk_ext_decoder.h"

#include "plugins/ffmpeg/decoder.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>

struct tesk_ext_decoder {
    tesk::Decoder decoder;
    const char* failure = nullptr; // of a call that ended in an exception
};

namespace {

// A plain array: nothing to construct when a thread starts, nothing to destroy after the library has gone.
thread_local char openError[256] = "";

void setOpenError(const char* text) { std::snprintf(openError, sizeof openError, "%s", text); }

/// Nothing here throws but an allocation.
const char* const kNoMemory = "out of memory";

constexpr std::uint32_t kLeastFormat = offsetof(tesk_ext_format, bits_per_sample);

void describe(const tesk::TrackFormat& from, tesk_ext_format& to)
{
    tesk_ext_format full{};
    full.struct_size = std::min<std::uint32_t>(to.struct_size, sizeof full);
    full.channels = static_cast<std::uint32_t>(from.channels);
    full.sample_rate = static_cast<std::uint32_t>(from.sampleRate);
    full.bits_per_sample = static_cast<std::uint32_t>(from.bitsPerSample);
    full.is_float = from.isFloat ? 1 : 0;
    full.total_frames = from.totalFrames;
    std::snprintf(full.codec, sizeof full.codec, "%s", from.codec.c_str());
    std::memcpy(&to, &full, full.struct_size);
}

} // namespace

int32_t tesk_ext_abi_version(void) { return TESK_EXT_ABI_VERSION; }

const char* tesk_ext_codecs(void)
{
    return "aac,ac3,adpcm,alac,als,amr,ape,atrac,bonk,dca,eac3,flac,mlp,mp1,mp2,mp3,musepack,opus,pcm,shorten,tak,"
           "truehd,tta,twinvq,vorbis,wavpack,wma";
}

tesk_ext_decoder* tesk_ext_open(const char* utf8_path, tesk_ext_format* format)
{
    setOpenError("");
    if (utf8_path == nullptr || format == nullptr || format->struct_size < kLeastFormat) {
        setOpenError("the path or the format structure is missing");
        return nullptr;
    }
    try {
        auto opened = std::make_unique<tesk_ext_decoder>();
        if (!opened->decoder.open(utf8_path)) {
            setOpenError(opened->decoder.error().c_str());
            return nullptr;
        }
        describe(opened->decoder.format(), *format);
        return opened.release();
    } catch (...) {
        setOpenError(kNoMemory);
        return nullptr;
    }
}

int64_t tesk_ext_read(tesk_ext_decoder* decoder, double* interleaved, uint64_t max_frames)
{
    if (decoder == nullptr || (interleaved == nullptr && max_frames > 0)) return -1;
    try {
        decoder->failure = nullptr;
        return decoder->decoder.read(interleaved, max_frames);
    } catch (...) {
        decoder->failure = kNoMemory;
        return -1;
    }
}

int32_t tesk_ext_seek(tesk_ext_decoder* decoder, uint64_t frame)
{
    if (decoder == nullptr) return -1;
    try {
        decoder->failure = nullptr;
        return decoder->decoder.seek(frame) ? 0 : -1;
    } catch (...) {
        decoder->failure = kNoMemory;
        return -1;
    }
}

void tesk_ext_close(tesk_ext_decoder* decoder) { delete decoder; }

const char* tesk_ext_last_error(tesk_ext_decoder* decoder)
{
    if (decoder == nullptr) return openError;
    return decoder->failure != nullptr ? decoder->failure : decoder->decoder.error().c_str();
}
