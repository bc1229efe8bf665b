#include "input/audio_kind.h"

#include <array>
#include <string_view>

namespace tesk {
namespace {

struct Signature {
    std::string_view first;
    std::size_t secondAt; // offset of `second`
    std::string_view second;
    AudioKind kind;
};

constexpr std::array kSignatures = {
    Signature{"RIFF", 8, "WAVE", AudioKind::wav},     Signature{"RIFX", 8, "WAVE", AudioKind::wav},
    Signature{"RF64", 8, "WAVE", AudioKind::rf64},    Signature{"BW64", 8, "WAVE", AudioKind::bw64},
    Signature{"riff", 24, "wave", AudioKind::wave64}, Signature{"FORM", 8, "AIFF", AudioKind::aiff},
    Signature{"FORM", 8, "AIFC", AudioKind::aifc},    Signature{"fLaC", 0, "", AudioKind::flac},
    Signature{"OggS", 0, "", AudioKind::ogg},         Signature{"TTA", 0, "", AudioKind::tta},
    Signature{"wvpk", 0, "", AudioKind::wavpack},     Signature{"caff", 0, "", AudioKind::caf},
    Signature{"", 4, "ftyp", AudioKind::mp4},         Signature{"MAC ", 0, "", AudioKind::ape},
    Signature{"DSD ", 0, "", AudioKind::dsf},         Signature{"FRM8", 0, "", AudioKind::dsdiff},
    Signature{"1bit", 0, "", AudioKind::wsd},
};

bool standsAt(std::string_view head, std::size_t at, std::string_view text)
{
    return head.size() >= at + text.size() && head.substr(at, text.size()) == text;
}

/// MPEG audio frames start with eleven one bits and a layer that is not reserved.
bool isMpegSync(std::string_view head)
{
    if (head.size() < 2) return false;
    const auto second = static_cast<unsigned char>(head[1]);
    return static_cast<unsigned char>(head[0]) == 0xFF && (second & 0xE0) == 0xE0 && (second & 0x06) != 0;
}

} // namespace

std::uint64_t skipId3v2(ByteSource& source)
{
    std::uint64_t at = 0;
    std::array<std::uint8_t, 10> head;
    while (source.readAt(at, head.data(), head.size()) == head.size() && head[0] == 'I' && head[1] == 'D' &&
           head[2] == '3') {
        std::uint64_t size = 0; // seven bits per byte
        for (int i = 6; i < 10; ++i) size = size << 7 | (head[static_cast<std::size_t>(i)] & 0x7Fu);
        const bool footer = (head[5] & 0x10) != 0;
        at += head.size() + size + (footer ? head.size() : 0);
    }
    return at;
}

AudioKind audioKind(ByteSource& source)
{
    const std::uint64_t start = skipId3v2(source);
    std::array<char, 32> buffer;
    const std::string_view head(buffer.data(), source.readAt(start, buffer.data(), buffer.size()));
    for (const Signature& s : kSignatures)
        if (standsAt(head, 0, s.first) && standsAt(head, s.secondAt, s.second)) return s.kind;
    // An ID3v2 tag in front of something nameless is an MP3 more often than anything else.
    return isMpegSync(head) || start > 0 ? AudioKind::mp3 : AudioKind::unknown;
}

const char* audioKindName(AudioKind kind)
{
    switch (kind) {
    case AudioKind::unknown: break;
    case AudioKind::wav: return "WAV";
    case AudioKind::rf64: return "RF64";
    case AudioKind::bw64: return "BW64";
    case AudioKind::wave64: return "Wave64";
    case AudioKind::aiff: return "AIFF";
    case AudioKind::aifc: return "AIFC";
    case AudioKind::flac: return "FLAC";
    case AudioKind::ogg: return "Ogg";
    case AudioKind::tta: return "TTA";
    case AudioKind::wavpack: return "WavPack";
    case AudioKind::caf: return "Core Audio Format";
    case AudioKind::mp4: return "MP4";
    case AudioKind::ape: return "Monkey's Audio";
    case AudioKind::mp3: return "MP3";
    case AudioKind::dsf: return "DSF";
    case AudioKind::dsdiff: return "DSDIFF";
    case AudioKind::wsd: return "WSD";
    }
    return "Unknown";
}

bool isWaveFamily(AudioKind kind)
{
    switch (kind) {
    case AudioKind::wav:
    case AudioKind::rf64:
    case AudioKind::bw64:
    case AudioKind::wave64:
    case AudioKind::aiff:
    case AudioKind::aifc: return true;
    default: return false;
    }
}

} // namespace tesk
