// A frame written field by field as the format's text has it, slowly and without choices of its own: what the tests
// of the decoder feed it with. And ffmpeg, which hears what became of the frames.
#pragma once

#include "engine/base/byte_writer.h"
#include "engine/base/reporter.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <span>
#include <unistd.h>

namespace tesk {

using Bytes = std::vector<std::uint8_t>;

/// Bits one by one.
struct BitString {
    std::vector<bool> bits;

    BitString& put(std::uint64_t value, int width)
    {
        for (int i = width - 1; i >= 0; --i) bits.push_back(value >> i & 1);
        return *this;
    }
    /// A field that can hold 0..most.
    BitString& upTo(std::uint64_t most, std::uint64_t value)
    {
        int width = 0;
        while (most >> width) ++width;
        return put(value, width);
    }
    Bytes bytes() const
    {
        Bytes out((bits.size() + 7) / 8);
        for (std::size_t i = 0; i < bits.size(); ++i) out[i / 8] |= static_cast<std::uint8_t>(bits[i] << (7 - i % 8));
        return out;
    }
};

/// 12-bit range and low end; a carry walks back over the bits already written.
class SlowArithmeticEncoder {
public:
    explicit SlowArithmeticEncoder(BitString& out) : out_(out) { out_.put(0, 1); }
    void encode(bool wrong, int entry)
    {
        const int width = ((range_ >> 8) | ((range_ >> 7) & 1)) * entry;
        if (wrong) low_ += range_ - width;
        range_ = wrong ? width : range_ - width;
        carry();
        for (; range_ < 2048; range_ *= 2) {
            out_.put(static_cast<unsigned>(low_) >> 11, 1);
            low_ = 2 * low_ & 4095;
        }
    }
    void finish()
    {
        low_ += 2047;
        carry();
        out_.put(static_cast<unsigned>(low_) >> 11, 1);
    }

private:
    void carry()
    {
        if (low_ < 4096) return;
        low_ -= 4096;
        std::size_t i = out_.bits.size();
        while (out_.bits[--i]) out_.bits[i] = false;
        out_.bits[i] = true;
    }
    BitString& out_;
    int range_ = 4095, low_ = 0;
};

/// A filter or a Ptable. Method -1: the values as they are.
struct SetSpec {
    std::vector<int> values;
    int method = -1, lowBits = 0;
};

struct SegmentSpec {
    bool sameForAll = true;
    std::uint32_t resolution = 1;                    // bytes
    std::vector<std::vector<std::uint32_t>> lengths; // [channel][segment], bytes
    bool sameMapForAll = false;
    std::vector<std::vector<unsigned>> table; // [channel][segment]
};

struct FrameSpec {
    std::uint32_t channels = 1, bytes = 0; // per channel
    bool sameSegmentation = true, sameMapping = true;
    SegmentSpec filterSegments, ptableSegments; // the latter counts where it is not the same
    std::vector<bool> half;
    std::vector<SetSpec> filters, ptables;
    bool firstDecision = false; // means nothing to a decoder

    const std::vector<std::vector<std::uint32_t>>& ptableLengths() const
    {
        return (sameSegmentation ? filterSegments : ptableSegments).lengths;
    }
    const std::vector<std::vector<unsigned>>& ptableMap() const
    {
        return (sameMapping ? filterSegments : ptableSegments).table;
    }
};

inline void putSegments(BitString& out, const FrameSpec& f, const SegmentSpec& s, std::uint32_t minBytes)
{
    out.put(s.sameForAll, 1);
    bool resolutionSent = false;
    for (std::size_t c = 0; c < (s.sameForAll ? 1 : f.channels); ++c) {
        std::uint32_t space = f.bytes - minBytes;
        for (std::size_t i = 0; i + 1 < s.lengths[c].size(); ++i) {
            out.put(0, 1);
            if (!resolutionSent) out.upTo(f.bytes - minBytes, s.resolution);
            resolutionSent = true;
            out.upTo(space / s.resolution, s.lengths[c][i] / s.resolution);
            space -= s.lengths[c][i];
        }
        out.put(1, 1);
    }
}

inline void putMap(BitString& out, const FrameSpec& f, const SegmentSpec& s)
{
    out.put(s.sameMapForAll, 1);
    unsigned count = 1;
    for (std::size_t c = 0; c < (s.sameMapForAll ? 1 : f.channels); ++c)
        for (std::size_t i = c == 0 ? 1 : 0; i < s.table[c].size(); ++i) {
            out.upTo(count, s.table[c][i]);
            if (s.table[c][i] == count) ++count;
        }
}

/// The terms of the methods in eighths, for Ptables and for filters.
constexpr int kPredictors[2][3][3] = {{{-8}, {-16, 8}, {-24, 24, -8}}, {{-8}, {-16, 8}, {-9, -5, 6}}};

inline int predictor(bool filter, int method, const std::vector<int>& v, std::size_t j)
{
    int x = 0;
    for (std::size_t back = 1; back <= 3 && back <= j; ++back) x += kPredictors[filter][method][back - 1] * v[j - back];
    return x >= 0 ? (x + 4) / 8 : -((-x + 3) / 8);
}

inline void putSet(BitString& out, bool filter, const SetSpec& set)
{
    const auto& v = set.values;
    out.put(v.size() - 1, filter ? 7 : 6);
    if (!filter && v.size() == 1) return; // the entry is 128, and nothing is sent
    const auto raw = [&](int value) {
        filter ? out.put(static_cast<unsigned>(value) & 511, 9) : out.put(static_cast<unsigned>(value - 1) & 127, 7);
    };
    out.put(set.method >= 0, 1);
    if (set.method < 0) {
        std::for_each(v.begin(), v.end(), raw);
        return;
    }
    out.put(static_cast<unsigned>(set.method), 2);
    const auto first = static_cast<std::size_t>(set.method) + 1;
    for (std::size_t j = 0; j < first; ++j) raw(v[j]);
    out.put(static_cast<unsigned>(set.lowBits), 3);
    for (std::size_t j = first; j < v.size(); ++j) {
        const int r = v[j] + predictor(filter, set.method, v, j);
        const unsigned size = static_cast<unsigned>(std::abs(r));
        out.bits.insert(out.bits.end(), size >> set.lowBits, false);
        out.put(1, 1).put(size & ((1U << set.lowBits) - 1), set.lowBits);
        if (r != 0) out.put(r < 0, 1);
    }
}

/// The fields before the arithmetic-coded data.
inline BitString frameTables(const FrameSpec& f)
{
    BitString out;
    out.put(1, 1).put(f.sameSegmentation, 1);
    putSegments(out, f, f.filterSegments, 128);
    if (!f.sameSegmentation) putSegments(out, f, f.ptableSegments, 4);
    out.put(f.sameMapping, 1);
    putMap(out, f, f.filterSegments);
    if (!f.sameMapping) putMap(out, f, f.ptableSegments);
    for (std::size_t c = 0; c < f.channels; ++c) out.put(f.half[c], 1);
    for (const SetSpec& set : f.filters) putSet(out, true, set);
    for (const SetSpec& set : f.ptables) putSet(out, false, set);
    return out;
}

/// The segment that byte `byte` of a channel lies in.
inline std::size_t segmentOf(const std::vector<std::uint32_t>& lengths, std::size_t byte)
{
    std::size_t s = 0;
    for (std::size_t end = lengths[0]; byte >= end; end += lengths[++s]) {
    }
    return s;
}

/// The whole frame for `dsd` [channels · bytes], interleaved by bytes.
inline Bytes makeFrame(const FrameSpec& f, const Bytes& dsd)
{
    BitString out = frameTables(f);
    SlowArithmeticEncoder coder(out);
    int reversed = 0;
    for (int i = 0; i < 7; ++i) reversed |= (f.filters[0].values[0] >> i & 1) << (6 - i);
    coder.encode(f.firstDecision, 1 + reversed);
    const auto v = [&](std::size_t c, long n) { // ±1; before the start 0, 1, 0, 1 ... backwards
        if (n < 0) return n % 2 == 0 ? 1 : -1;
        return dsd[static_cast<std::size_t>(n) / 8 * f.channels + c] >> (7 - n % 8) & 1 ? 1 : -1;
    };
    for (long n = 0; n < 8L * f.bytes; ++n)
        for (std::size_t c = 0; c < f.channels; ++c) {
            const auto byte = static_cast<std::size_t>(n) / 8;
            const auto& map = f.filterSegments.table[c];
            const auto& filter = f.filters[map[segmentOf(f.filterSegments.lengths[c], byte)]].values;
            const auto& ptable = f.ptables[f.ptableMap()[c][segmentOf(f.ptableLengths()[c], byte)]].values;
            int z = 0;
            for (std::size_t k = 0; k < filter.size(); ++k) z += filter[k] * v(c, n - 1 - static_cast<long>(k));
            const std::size_t index =
                std::min<std::size_t>(static_cast<std::size_t>(std::abs(z)) / 8, ptable.size() - 1);
            const bool half = f.half[c] && n < static_cast<long>(f.filters[map[0]].values.size());
            coder.encode((z >= 0) != (v(c, n) > 0), half ? 128 : ptable[index]);
        }
    coder.finish();
    return out.bytes();
}

/// Cyclic redundancy of a frame's sound, as DSDIFF carries it: x^32 + x^31 + x^4 + 1, start 0.
inline std::uint32_t frameCrc(const Bytes& dsd)
{
    std::uint32_t crc = 0;
    for (const std::uint8_t byte : dsd) {
        crc ^= std::uint32_t{byte} << 24;
        for (int i = 0; i < 8; ++i) crc = crc << 1 ^ (crc >> 31 ? 0x80000011U : 0);
    }
    return crc;
}

/// One segment a channel, a filter and a Ptable for each.
inline FrameSpec plainSpec(std::uint32_t channels, std::uint32_t bytes)
{
    FrameSpec f;
    f.channels = channels;
    f.bytes = bytes;
    f.filterSegments.lengths.assign(channels, {bytes});
    for (unsigned c = 0; c < channels; ++c) f.filterSegments.table.push_back({c});
    f.filterSegments.sameMapForAll = channels == 1;
    f.half.assign(channels, true);
    f.filters.assign(channels, {{100, -20, 3}});
    f.ptables.assign(channels, {{100, 60, 20, 5}});
    return f;
}

inline Bytes randomBytes(std::size_t size, unsigned seed)
{
    std::mt19937 random(seed);
    Bytes bytes(size);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

inline Bytes chunk(const char* id, const Bytes& data)
{
    ByteWriter out(ByteOrder::big);
    out.tag(id).u64(data.size()).raw(data);
    if (data.size() % 2) out.u8(0);
    return out.take();
}

/// What ffmpeg makes of the content of a DSDIFF file's "DST " or "DSD " chunk.
inline std::string heard(std::uint32_t channels, std::uint32_t rate, bool dst, const Bytes& sound)
{
    ByteWriter layout(ByteOrder::big), compression(ByteOrder::big), properties(ByteOrder::big), form(ByteOrder::big);
    layout.u16(static_cast<std::uint16_t>(channels));
    for (std::uint32_t c = 0; c < channels; ++c) layout.tag(channels == 2 ? (c ? "SRGT" : "SLFT") : format("C%03u", c));
    dst ? compression.tag("DST ").u8(11).tag("DST Encoded") : compression.tag("DSD ").u8(14).tag("not compressed");
    properties.tag("SND ").raw(chunk("FS  ", ByteWriter(ByteOrder::big).u32(rate).take()));
    properties.raw(chunk("CHNL", layout.take())).raw(chunk("CMPR", compression.take()));
    form.tag("DSD ").raw(chunk("FVER", {1, 5, 0, 0})).raw(chunk("PROP", properties.take()));
    const Bytes file = chunk("FRM8", form.raw(chunk(dst ? "DST " : "DSD ", sound)).take());

    const std::string path = (std::filesystem::temp_directory_path() / format("tesk-dst-%d", getpid())).string();
    std::ofstream(path + ".dff", std::ios::binary) << std::string(file.begin(), file.end());
    const std::string command = "ffmpeg -nostdin -v error -y -i " + path + ".dff -f f32le " + path + ".raw";
    EXPECT_EQ(std::system(command.c_str()), 0);
    std::ifstream in(path + ".raw", std::ios::binary);
    const std::string floats(std::istreambuf_iterator<char>(in), {});
    std::filesystem::remove(path + ".dff");
    std::filesystem::remove(path + ".raw");
    return floats;
}

/// It hears in frames of 1/75 s what it hears in their sound. Plain frames it reads with a wrong stride.
inline void expectHeardAlike(std::uint32_t channels, std::uint32_t rate, const std::vector<Bytes>& frames,
                             const Bytes& sound)
{
    ByteWriter coded(ByteOrder::big);
    const auto count = static_cast<std::uint32_t>(frames.size());
    coded.raw(chunk("FRTE", ByteWriter(ByteOrder::big).u32(count).u16(75).take()));
    for (const Bytes& frame : frames) coded.raw(chunk("DSTF", frame));
    const std::string truth = heard(channels, rate, false, sound);
    EXPECT_EQ(truth.size(), sound.size() * sizeof(float)) << "one value a byte";
    EXPECT_TRUE(heard(channels, rate, true, coded.take()) == truth) << channels << " channels at " << rate;
}

} // namespace tesk
