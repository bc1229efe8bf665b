// What the tests of the readers share: a reader read to its end, a medium that fails, and damage of every kind.
#pragma once

#include "container/reader/dsd_reader.h"
#include "engine/base/byte_writer.h"
#include "input/byte_source.h"
#include "tests/container/writer_fixture.h"

namespace tesk {

/// A reader of a whole file in memory; null when it refuses.
using OpenReader = std::function<std::unique_ptr<DsdReader>(std::unique_ptr<ByteSource>, Reporter&)>;

/// [channel][byte], read in pieces. The last piece is short, and nothing may come behind it.
inline std::vector<Buffer> readAll(DsdReader& reader, std::size_t piece)
{
    const std::uint32_t channels = reader.source().channels;
    std::vector<Buffer> sound(channels), part(channels, Buffer(piece));
    std::vector<std::uint8_t*> planar;
    for (Buffer& channel : part) planar.push_back(channel.data());
    for (std::size_t got = piece; got == piece;) {
        got = reader.read(planar.data(), piece);
        for (std::uint32_t c = 0; c < channels; ++c) sound[c].insert(sound[c].end(), planar[c], planar[c] + got);
    }
    EXPECT_EQ(reader.read(planar.data(), piece), 0U) << "behind the end";
    return sound;
}

/// The stream of writer_fixture.h, planar.
inline std::vector<Buffer> streamBytes(std::uint32_t channels, std::size_t total)
{
    std::vector<Buffer> sound(channels, Buffer(total));
    for (std::uint32_t c = 0; c < channels; ++c)
        for (std::size_t i = 0; i < total; ++i) sound[c][i] = streamByte(c, i);
    return sound;
}

inline Buffer interleaved(const std::vector<Buffer>& planar)
{
    Buffer bytes;
    for (std::size_t i = 0; i < planar[0].size(); ++i)
        for (const Buffer& channel : planar) bytes.push_back(channel[i]);
    return bytes;
}

inline void put(Buffer& file, std::size_t at, std::uint64_t value, int width, ByteOrder order)
{
    for (int i = 0; i < width; ++i)
        file.at(at + static_cast<std::size_t>(i)) =
            static_cast<std::uint8_t>(value >> 8 * (order == ByteOrder::little ? i : width - 1 - i));
}

/// A DSDIFF chunk, with its pad unless that is to be missing.
inline Buffer chunk(const char* id, const Buffer& data, bool pad = true)
{
    ByteWriter out(ByteOrder::big);
    out.tag(id).u64(data.size()).raw(data);
    if (pad && data.size() % 2 != 0) out.u8(0);
    return out.take();
}

inline Buffer joined(const std::vector<Buffer>& parts)
{
    Buffer all;
    for (const Buffer& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

inline Buffer text(const std::string& letters) { return {letters.begin(), letters.end()}; }

constexpr std::int64_t kRefused = -1;

/// A number written over a good file, or the file cut, and what becomes of it.
struct Lie {
    std::size_t at;
    std::uint64_t value;
    int width;
    std::size_t fileBytes;
    std::int64_t samples; ///< or kRefused
    std::string says;     ///< part of the report; empty: nothing at all
};

/// What is played must be the first samples of `sound`, as many as the reader promises.
inline void expectOutcomes(const OpenReader& open, const Buffer& file, ByteOrder order,
                           const std::vector<Buffer>& sound, const std::vector<Lie>& lies)
{
    for (const Lie& lie : lies) {
        const std::string what = format("row %td: ", &lie - lies.data());
        Buffer changed = file;
        put(changed, lie.at, lie.value, lie.width, order);
        changed.resize(lie.fileBytes);
        CollectingReporter report;
        const auto reader = open(std::make_unique<MemorySource>(changed), report);
        EXPECT_EQ(reader ? static_cast<std::int64_t>(reader->source().samples) : kRefused, lie.samples) << what;
        if (reader) {
            auto expected = sound;
            for (Buffer& channel : expected) channel.resize((reader->source().samples + 7) / 8);
            EXPECT_EQ(readAll(*reader, 5), expected) << what;
        }
        EXPECT_TRUE(lie.says.empty() ? report.text.empty() : report.text.find(lie.says) != std::string::npos)
            << what << report.text;
    }
}

/// Promises all of its bytes and gives those in front of `broken`.
class BrokenSource final : public ByteSource {
public:
    BrokenSource(const Buffer& bytes, std::size_t broken) : whole_(bytes), given_(std::span(bytes).first(broken)) {}
    std::uint64_t size() const override { return whole_.size(); }
    std::size_t readAt(std::uint64_t offset, void* to, std::size_t bytes) override
    {
        return given_.readAt(offset, to, bytes);
    }

private:
    MemorySource whole_, given_;
};

/// Every prefix, every flipped bit of the first `headerBytes`, and a medium that fails at every byte: a reader refuses
/// with a text, or gives at most what it promises, and says when it gives less.
inline void expectCalmInDamage(const OpenReader& open, const Buffer& file, std::size_t headerBytes)
{
    const auto tried = [&](std::unique_ptr<ByteSource> source, std::size_t real, const std::string& what) {
        CollectingReporter report;
        const auto reader = open(std::move(source), report);
        if (!reader) {
            EXPECT_FALSE(report.text.empty()) << what;
            return;
        }
        const DsdSource s = reader->source();
        const std::uint64_t bytes = s.samples / 8 + (s.samples % 8 != 0 ? 1 : 0);
        const std::size_t got = readAll(*reader, 97)[0].size();
        EXPECT_LE(got, bytes) << what;
        EXPECT_TRUE(s.dst || bytes * s.channels <= real) << what;
        EXPECT_TRUE(got == bytes || !report.text.empty()) << what;
        EXPECT_EQ(report.text.find("be read to its end"), report.text.rfind("be read to its end")) << "told once";
    };
    for (std::size_t size = 0; size < file.size(); ++size) {
        const Buffer prefix(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
        tried(std::make_unique<MemorySource>(prefix), size, format("prefix of %zu", size));
        tried(std::make_unique<BrokenSource>(file, size), file.size(), format("broken at %zu", size));
    }
    for (std::size_t bit = 0; bit < 8 * headerBytes; ++bit) {
        Buffer flipped = file;
        flipped[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
        tried(std::make_unique<MemorySource>(flipped), file.size(), format("bit %zu", bit));
    }
}

} // namespace tesk
