#include "input/wavpack_reader.h"

#include "engine/base/reporter.h"
#include "input/audio_kind.h"
#include "input/header_probe.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <wavpack/wavpack.h>

namespace tesk {
namespace {

/// Small enough that the interleaved copy stays in the processor's cache, and that a damaged place is named closely.
constexpr std::size_t kChunkFrames = 4096;

constexpr const char* kBadCorrection =
    "the correction file (.wvc) is damaged or belongs to another recording; without it the .wv file can be read in "
    "lossy quality";

constexpr std::size_t kMessageBytes = 80; // what libwavpack asks for

/// One compressed file as libwavpack's callbacks see it.
struct CompressedFile {
    std::unique_ptr<ByteSource> source;
    std::int64_t position = 0; // never behind the end

    static CompressedFile& of(void* id) { return *static_cast<CompressedFile*>(id); }
    std::int64_t length() const { return static_cast<std::int64_t>(source->size()); }
};

std::int32_t onRead(void* id, void* to, std::int32_t bytes)
{
    auto& file = CompressedFile::of(id);
    if (bytes <= 0) return 0;
    const std::size_t got =
        file.source->readAt(static_cast<std::uint64_t>(file.position), to, static_cast<std::size_t>(bytes));
    file.position += static_cast<std::int64_t>(got);
    return static_cast<std::int32_t>(got);
}

std::int64_t onTell(void* id) { return CompressedFile::of(id).position; }

std::int64_t onLength(void* id) { return CompressedFile::of(id).length(); }

/// Positions behind the end stop at it: nothing can be read there either way.
int onSeekRelative(void* id, std::int64_t delta, int whence)
{
    auto& file = CompressedFile::of(id);
    const std::int64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file.position : file.length();
    if (delta < -base) return -1;
    file.position = delta > file.length() - base ? file.length() : base + delta;
    return 0;
}

int onSeek(void* id, std::int64_t position) { return onSeekRelative(id, position, SEEK_SET); }

int onPushBack(void* id, int byte)
{
    auto& file = CompressedFile::of(id);
    if (file.position == 0) return EOF;
    --file.position;
    return byte;
}

int onCanSeek(void*) { return 1; }

int onClose(void*) { return 0; }

/// A whole file in memory.
class CopiedSource final : public ByteSource {
public:
    explicit CopiedSource(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

    std::uint64_t size() const override { return bytes_.size(); }
    std::size_t readAt(std::uint64_t offset, void* to, std::size_t bytes) override
    {
        return MemorySource(bytes_).readAt(offset, to, bytes);
    }

private:
    std::vector<std::uint8_t> bytes_;
};

/// Null when the file cannot be opened, or not be read where that is done at once.
std::unique_ptr<ByteSource> openFile(const std::string& path, bool streamed)
{
    std::string ignored; // the reader has a text of its own
    std::unique_ptr<ByteSource> file = FileSource::open(path, ignored);
    if (!file || streamed) return file;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(file->size()));
    if (file->readAt(0, bytes.data(), bytes.size()) != bytes.size()) return nullptr;
    return std::make_unique<CopiedSource>(std::move(bytes));
}

bool endsWith(std::string_view path, std::string_view lowerCaseExtension)
{
    if (path.size() < lowerCaseExtension.size()) return false;
    const auto end = path.substr(path.size() - lowerCaseExtension.size());
    return std::equal(end.begin(), end.end(), lowerCaseExtension.begin(),
                      [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b; });
}

constexpr std::size_t kBlockHeaderBytes = 32;
// The library skips larger blocks.
constexpr std::size_t kLargestBlock = std::size_t{1} << 20; // bytes
constexpr std::uint32_t kMostBlockFrames = 0x30000;

std::uint32_t u32At(const std::vector<std::uint8_t>& bytes, std::size_t at)
{
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 | static_cast<std::uint32_t>(bytes[at + 3]) << 24;
}

/// The block at `offset`; empty when it is cut short or damaged.
std::vector<std::uint8_t> soundBlock(ByteSource& source, std::uint64_t offset)
{
    std::vector<std::uint8_t> block(kBlockHeaderBytes);
    if (source.readAt(offset, block.data(), block.size()) != block.size()) return {};
    const std::size_t bytes = u32At(block, 4) + std::size_t{8};
    const std::uint32_t version = u32At(block, 8) & 0xFFFF;
    if (bytes % 2 != 0 || bytes < block.size() || bytes > kLargestBlock || version < MIN_STREAM_VERS ||
        version > MAX_STREAM_VERS || u32At(block, 20) > kMostBlockFrames)
        return {};
    block.resize(bytes);
    if (source.readAt(offset, block.data(), bytes) != bytes || !WavpackVerifySingleBlock(block.data(), 1)) return {};
    return block;
}

struct FirstBlock {
    std::uint64_t frame = 0; // its place in the recording that it was made from
    bool holdsDsd = false;
};

/// The first block that has samples; nothing when it, or one before it, is damaged.
/// Source: WavPack 4 & 5 Binary File / Block Format (David Bryant).
std::optional<FirstBlock> firstBlock(ByteSource& source)
{
    std::uint64_t offset = skipId3v2(source);
    for (;;) {
        const auto block = soundBlock(source, offset);
        if (block.empty()) return std::nullopt;
        const std::uint64_t frame = std::uint64_t{block[10]} << 32 | u32At(block, 16);
        if (u32At(block, 20) > 0) return FirstBlock{frame, (u32At(block, 24) & DSD_FLAG) != 0};
        offset += block.size();
    }
}

/// Where the correction of `main` is; empty when there is none.
std::string correctionOf(const std::string& main)
{
    if (!endsWith(main, ".wv")) return {};
    for (const char last : {'c', 'C'})
        if (platform::fileKind(main + last) != platform::FileKind::missing) return main + last;
    return {};
}

} // namespace

struct WavPackReader::Stream {
    CompressedFile main, correction; // the correction's source may be null
    WavpackStreamReader64 calls{onRead,     nullptr,  onTell,    onSeek,  onSeekRelative,
                                onPushBack, onLength, onCanSeek, nullptr, onClose};
    struct Closer {
        void operator()(WavpackContext* opened) const { WavpackCloseFile(opened); }
    };
    std::unique_ptr<WavpackContext, Closer> context;

    bool start(std::string& error)
    {
        char message[kMessageBytes] = "";
        void* const correctionId = correction.source ? &correction : nullptr;
        context.reset(WavpackOpenFileInputEx64(&calls, &main, correctionId, message,
                                               OPEN_DSD_NATIVE | (correctionId ? OPEN_WVC : 0), 0));
        if (!context) error = *message ? message : "WavpackOpenFileInput failed (no message)";
        return context != nullptr;
    }
};

WavPackReader::WavPackReader() = default;
WavPackReader::~WavPackReader() = default;

Status WavPackReader::open(const std::string& path)
{
    const bool named = endsWith(path, ".wvc"); // the correction itself
    const std::string main = named ? path.substr(0, path.size() - 1) : path;
    if (named && platform::fileKind(main) == platform::FileKind::missing)
        return fail("a .wvc file holds only the correction of a .wv file, and '" + main + "' is missing");
    const char* variable = std::getenv("TESK_WAVPACK_STREAM");
    info_.streamed = !variable || std::string_view(variable) != "0";
    auto source = openFile(main, info_.streamed);
    if (!source) return fail("cannot open file");
    const std::string correctionPath = named ? path : correctionOf(main);
    if (correctionPath.empty()) return open(std::move(source));
    auto correction = openFile(correctionPath, info_.streamed);
    if (!correction) return fail("cannot open file");
    return open(std::move(source), std::move(correction));
}

Status WavPackReader::open(std::unique_ptr<ByteSource> main, std::unique_ptr<ByteSource> correction)
{
    // The library would search a megabyte for something that looks like a block.
    if (audioKind(*main) != AudioKind::wavpack) return fail("not WavPack");
    stream_ = std::make_unique<Stream>();
    stream_->main.source = std::move(main);
    stream_->correction.source = std::move(correction);
    if (!stream_->start(error_)) return DSD_ERROR_INPUT;
    const auto first = firstBlock(*stream_->main.source);
    if (!first) return fail("the first block is damaged"); // the library would begin with the next one
    if (first->holdsDsd || (WavpackGetQualifyMode(stream_->context.get()) & QMODE_DSD_AUDIO))
        return fail("the file holds DSD (1-bit) already; this engine converts PCM to DSD");
    if (first->frame > 0)
        warnings_.push_back(format("the WavPack file begins with frame %llu of a longer recording; what was before is "
                                   "not in it",
                                   static_cast<unsigned long long>(first->frame)));
    return describe();
}

Status WavPackReader::describe()
{
    WavpackContext* context = stream_->context.get();
    const int channels = WavpackGetNumChannels(context), mode = WavpackGetMode(context);
    info_.sampleRate = WavpackGetSampleRate(context);
    if (!plausibleFormat(static_cast<std::uint64_t>(std::max(channels, 0)), info_.sampleRate, error_))
        return DSD_ERROR_INPUT;
    info_.format = audioKindName(AudioKind::wavpack);
    info_.channels = static_cast<std::uint32_t>(channels);
    info_.bitsPerSample = WavpackGetBitsPerSample(context);
    info_.isFloat = (mode & MODE_FLOAT) != 0;
    if (const std::int64_t total = WavpackGetNumSamples64(context); total >= 0)
        info_.declaredFrames = static_cast<std::uint64_t>(total);
    // Integers fill their bytes from the top, whatever the number of valid bits; floats say which exponent is 1.0.
    scale_ = info_.isFloat ? std::ldexp(1.0, 127 - WavpackGetFloatNormExp(context))
                           : std::ldexp(1.0, 1 - 8 * WavpackGetBytesPerSample(context));
    interleaved_.resize(kChunkFrames * info_.channels);
    const bool lossy = (mode & MODE_HYBRID) && !(mode & MODE_WVC);
    if (lossy && stream_->correction.source) return fail(kBadCorrection); // an empty one goes unnoticed by the library
    if (lossy)
        warnings_.push_back("the WavPack file is a lossy one (hybrid), and no correction file (.wvc) lies beside it");
    return {};
}

std::size_t WavPackReader::unpack(double* const* planar, std::size_t offset, std::size_t frames)
{
    const std::size_t count =
        WavpackUnpackSamples(stream_->context.get(), interleaved_.data(), static_cast<std::uint32_t>(frames));
    const std::size_t channels = info_.channels;
    for (std::size_t c = 0; c < channels; ++c) {
        double* to = planar[c] + offset;
        const std::int32_t* from = interleaved_.data() + c;
        if (info_.isFloat)
            for (std::size_t i = 0; i < count; ++i) to[i] = scale_ * std::bit_cast<float>(from[i * channels]);
        else
            for (std::size_t i = 0; i < count; ++i) to[i] = scale_ * from[i * channels];
    }
    return count;
}

/// What is wrong with the blocks decoded so far; empty when nothing is.
std::string WavPackReader::whyDamaged() const
{
    WavpackContext* context = stream_->context.get();
    const bool corrected = stream_->correction.source != nullptr;
    if (const int blocks = WavpackGetNumErrors(context); blocks != 0)
        return format("%d damaged block%s%s", blocks, blocks == 1 ? "" : "s",
                      corrected ? " in the .wv or the .wvc file" : "");
    return corrected && WavpackLossyBlocks(context) ? kBadCorrection : "";
}

PDM_ENCODING_STATUS WavPackReader::failAt(const std::string& why)
{
    const std::string of =
        info_.declaredFrames ? format(" of %llu", static_cast<unsigned long long>(*info_.declaredFrames)) : "";
    return fail(format("WavPack decoding failed at frame %llu%s: %s", static_cast<unsigned long long>(position_),
                       of.c_str(), why.c_str()));
}

/// Judges the file once nothing more comes.
Status WavPackReader::checkEnd()
{
    std::string reason = whyDamaged();
    if (reason.empty()) reason = WavpackGetErrorMessage(stream_->context.get());
    const std::uint64_t declared = info_.declaredFrames.value_or(0);
    if (position_ == 0 && declared > 0)
        return fail((reason.empty() ? reason : reason + "\n") +
                    "no samples decoded (see the WavPack library's own reason above, if any)");
    if (!reason.empty()) return failAt(reason);
    if (position_ < declared) return failAt("the file is cut short");
    return {};
}

Result<std::size_t, PDM_ENCODING_STATUS> WavPackReader::read(double* const* planar, std::size_t frames)
{
    if (!error_.empty()) return DSD_ERROR_INPUT;
    std::size_t done = 0;
    while (!ended_ && done < frames) {
        const std::size_t got = unpack(planar, done, std::min(kChunkFrames, frames - done));
        done += got;
        position_ += got;
        ended_ = got == 0; // a smaller count than asked for can be the declared end, with more behind it
        if (ended_) {
            if (!checkEnd()) return DSD_ERROR_INPUT;
        } else if (const std::string damage = whyDamaged(); !damage.empty()) {
            return failAt(damage);
        }
    }
    return done;
}

Status WavPackReader::seek(std::uint64_t frame)
{
    if (!error_.empty()) return DSD_ERROR_INPUT;
    if (!info_.declaredFrames) return DSD_ERROR_UNSUPPORTED;
    ended_ = frame == *info_.declaredFrames; // the library knows no position behind the last frame
    if (!ended_ && !WavpackSeekSample64(stream_->context.get(), static_cast<std::int64_t>(frame)))
        return fail("WavpackSeekSample64 failed");
    position_ = frame;
    return {};
}

} // namespace tesk
