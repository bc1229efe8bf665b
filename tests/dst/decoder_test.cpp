// The decoder against frames written by hand, and against another program.
#include "tests/dst/frame_maker.h"

#include "container/dst/dst_decoder.h"
#include "platform/cpu_features.h"

#include <new>
#include <sstream>

namespace {

bool memoryIsShort = false;

}

void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return memoryIsShort ? nullptr : ::operator new(size, alignment);
}

namespace tesk {
namespace {

constexpr std::uint32_t kDsd64 = 2822400, kBytes64 = 4704;

std::vector<DstSimdLevel> levelsOfThisProcessor()
{
    std::vector<DstSimdLevel> levels;
    const DstSimdLevel best = chooseDstSimd(platform::cpuFeatures(), nullptr, true).level;
    for (DstSimdLevel level : {kDstScalar, kDstSse41, kDstAvx2, kDstAvx512})
        if (level <= best) levels.push_back(level);
    return levels;
}

DstDecoder decoderFor(std::uint32_t channels, std::uint32_t bytesPerChannel, DstSimdLevel level)
{
    CollectingReporter report;
    DstDecoder decoder(level);
    EXPECT_TRUE(decoder.init(channels, 600 * bytesPerChannel, report)) << report.text;
    EXPECT_EQ(decoder.frameBytes(), std::size_t{channels} * bytesPerChannel);
    return decoder;
}

/// Decodes with a decoder of its own; the text of a failure goes to `text`.
Bytes decoded(std::uint32_t channels, std::uint32_t bytesPerChannel, const Bytes& frame, std::string* text = nullptr,
              DstSimdLevel level = kDstScalar)
{
    CollectingReporter report;
    Bytes dsd(std::size_t{channels} * bytesPerChannel, 0xEE);
    const Status status = decoderFor(channels, bytesPerChannel, level).decode(frame, 4711, dsd, report);
    EXPECT_EQ(status.ok(), report.text.empty());
    if (!status) {
        EXPECT_EQ(status.status(), DST_ERROR);
        EXPECT_EQ(dsd, Bytes(dsd.size(), 0x69)) << "a failed frame is silence";
    }
    if (text) *text = report.text;
    return dsd;
}

// ---- vectors

FrameSpec vectorSpec(std::uint32_t channels)
{
    FrameSpec f = plainSpec(channels, kBytes64);
    std::vector<int> ptable(17, 64);
    ptable[16] = 1;
    f.filters[0] = {{0, 0, 0, 0, 0, 0, 0, 128}, 0, 4};
    f.ptables[0] = {ptable, 0, 1};
    if (channels == 2) {
        f.filters[1] = {{-20, 3, 0, 0, 0, 0, 0, 120}, 0, 4};
        f.ptables[1] = {{64, 50, 40, 30, 20, 10, 8, 6, 5, 4, 3, 2, 1}, 1, 0};
        f.half[1] = false;
    }
    return f;
}

// Both were decoded alike by FFmpeg's decoder; the checksums are those of the sound they stand for.
TEST(DstDecoder, ReadsTheTwoKnownFrames)
{
    Bytes mono = {0xFE, 0x1E, 0x00, 0x24, 0x21, 0x08, 0x42, 0x00, 0x10, 0x21, 0x1F,
                  0x9A, 0xAA, 0xAA, 0xAA, 0x80, 0x00, 0x00, 0x00, 0x76, 0x2E, 0x80};
    Bytes stereo = {0xFB, 0x07, 0x80, 0x09, 0x08, 0x42, 0x10, 0x80, 0x04, 0x01, 0xE7, 0xB2, 0x2E, 0x9E,
                    0x10, 0x84, 0x00, 0x60, 0x84, 0x7E, 0x6A, 0xAA, 0xAA, 0xAA, 0x00, 0x00, 0x00, 0x01,
                    0xCC, 0xAF, 0xD8, 0x80, 0xB8, 0x05, 0x5E, 0xFE, 0xFF, 0xE1, 0xF0, 0xF3, 0xC2, 0xE0};
    mono.resize(47);
    stereo.resize(92);
    const Bytes idle(kBytes64, 0x69);
    Bytes both;
    for (unsigned i = 0; i < kBytes64; ++i) both.insert(both.end(), {0x69, 0x5A});
    EXPECT_EQ(frameCrc(idle), 0x2159B5D9u);
    EXPECT_EQ(frameCrc(both), 0xEF6911C7u);
    for (DstSimdLevel level : levelsOfThisProcessor()) {
        EXPECT_EQ(decoded(1, kBytes64, mono, nullptr, level), idle) << level;
        EXPECT_EQ(decoded(2, kBytes64, stereo, nullptr, level), both) << level;
    }
    EXPECT_EQ(makeFrame(vectorSpec(1), idle), mono) << "the maker of the other tests' frames";
    EXPECT_EQ(makeFrame(vectorSpec(2), both), stereo);
}

// ---- round trips

class RandomFrames {
public:
    explicit RandomFrames(unsigned seed) : random_(seed) {}
    unsigned upTo(std::uint64_t most) { return static_cast<unsigned>(random_() % (most + 1)); }
    bool coin() { return upTo(1) == 1; }

    FrameSpec spec(std::uint32_t channels, std::uint32_t bytes, bool whole = false)
    {
        FrameSpec f;
        f.channels = channels;
        f.bytes = bytes;
        f.sameSegmentation = whole || coin();
        cut(f, f.filterSegments, 128, whole ? 1 : 4);
        cut(f, f.ptableSegments, 4, 8);
        const auto counts = [&](const std::vector<std::vector<std::uint32_t>>& lengths) {
            std::vector<std::size_t> n;
            for (const auto& l : lengths) n.push_back(l.size());
            return n;
        };
        f.sameMapping = counts(f.filterSegments.lengths) == counts(f.ptableLengths()) && coin();
        const unsigned filters = map(f.filterSegments, counts(f.filterSegments.lengths));
        const unsigned ptables = f.sameMapping ? filters : map(f.ptableSegments, counts(f.ptableLengths()));
        for (unsigned i = 0; i < filters; ++i) f.filters.push_back(set(1 + upTo(127), -256, 255));
        for (unsigned i = 0; i < ptables; ++i) f.ptables.push_back(set(1 + upTo(63), 1, 128));
        for (SetSpec& p : f.ptables)
            if (p.values.size() == 1) p.values[0] = 128;
        for (std::uint32_t c = 0; c < channels; ++c) f.half.push_back(coin());
        f.firstDecision = coin();
        return f;
    }

    /// Stretches of idle pattern, constants and noise.
    Bytes sound(std::size_t bytes)
    {
        Bytes out;
        while (out.size() < bytes) {
            const auto kind = upTo(2);
            for (unsigned n = upTo(200); n > 0 && out.size() < bytes; --n)
                out.push_back(static_cast<std::uint8_t>(kind == 0   ? 0x69
                                                        : kind == 1 ? 0xFF * (n % 50 > 25)
                                                                    : random_()));
        }
        return out;
    }

private:
    void cut(const FrameSpec& f, SegmentSpec& s, std::uint32_t least, unsigned most)
    {
        s.sameForAll = coin();
        s.resolution = 1 + upTo(coin() ? 2 : 60);
        for (std::uint32_t c = 0; c < f.channels; ++c) {
            s.lengths.emplace_back();
            std::uint32_t rest = f.bytes;
            for (unsigned n = upTo(most - 1); n > 0; --n) {
                const std::uint32_t units = (least + s.resolution - 1) / s.resolution + upTo(9);
                if (s.resolution * units + least > rest) break;
                s.lengths[c].push_back(s.resolution * units);
                rest -= s.resolution * units;
            }
            s.lengths[c].push_back(rest);
            if (s.sameForAll) s.lengths[c] = s.lengths[0];
        }
    }

    /// Returns the number of tables.
    unsigned map(SegmentSpec& s, const std::vector<std::size_t>& counts)
    {
        s.sameMapForAll = std::count(counts.begin(), counts.end(), counts[0]) == std::ssize(counts) && coin();
        unsigned tables = 0;
        for (std::size_t c = 0; c < counts.size(); ++c) {
            s.table.emplace_back();
            for (std::size_t i = 0; i < counts[c]; ++i) {
                const unsigned most = std::min<unsigned>(tables, static_cast<unsigned>(2 * counts.size()) - 1);
                s.table[c].push_back(tables == 0 ? 0 : coin() ? most : upTo(most));
                if (s.sameMapForAll) s.table[c][i] = c == 0 ? s.table[c][i] : s.table[0][i];
                tables = std::max(tables, s.table[c][i] + 1);
            }
        }
        return tables;
    }

    SetSpec set(unsigned length, int least, int most)
    {
        SetSpec s;
        int value = 0;
        const bool wild = upTo(3) == 0;
        for (unsigned i = 0; i < length; ++i) {
            value = wild ? least + static_cast<int>(upTo(static_cast<unsigned>(most - least)))
                         : std::clamp(value + static_cast<int>(upTo(20)) - 10, least, most);
            s.values.push_back(value);
        }
        s.method = static_cast<int>(upTo(3)) - 1;
        if (s.method + 1 >= static_cast<int>(length)) s.method = -1;
        s.lowBits = static_cast<int>(upTo(7));
        return s;
    }

    std::mt19937_64 random_;
};

// Every element of the syntax, each level alone and two frames side by side. The maker sums z as the formula has it.
TEST(DstDecoder, ReturnsTheSoundOfRandomFrames)
{
    RandomFrames random(1);
    for (unsigned round = 0; round < 60; ++round) {
        const std::uint32_t channels = 1 + round % 6,
                            bytes = round % 5 == 0 ? 20 + random.upTo(120) : 256 + random.upTo(900);
        std::vector<Bytes> sound, frames;
        for (int i = 0; i < 3; ++i) {
            sound.push_back(random.sound(std::size_t{channels} * bytes));
            FrameSpec f = bytes < 256 ? plainSpec(channels, bytes) : random.spec(channels, bytes);
            frames.push_back(makeFrame(f, sound.back()));
        }
        frames.push_back(sound.back());
        frames.back().insert(frames.back().begin(), 0x00); // plain
        sound.push_back(sound.back());
        for (DstSimdLevel level : levelsOfThisProcessor()) {
            DstDecoder decoder = decoderFor(channels, bytes, level);
            CollectingReporter report;
            std::vector<Bytes> out(frames.size(), Bytes(decoder.frameBytes()));
            std::vector<DstFrameJob> jobs;
            for (std::size_t i = 0; i < frames.size(); ++i) {
                ASSERT_TRUE(decoder.decode(frames[i], 0, out[i], report)) << report.text << " in round " << round;
                ASSERT_EQ(out[i], sound[i]) << "frame " << i << " of round " << round << ", level " << level;
                std::fill(out[i].begin(), out[i].end(), 0xEE);
                jobs.push_back({frames[i], out[i]});
            }
            decoder.decode(jobs);
            ASSERT_EQ(out, sound) << "in pairs, round " << round << ", level " << level;
        }
    }
}

// z = ±32768 fits no 16-bit word; it appears after 128 equal bits.
TEST(DstDecoder, HoldsTheLargestSum)
{
    FrameSpec f = plainSpec(1, 100);
    f.filters[0].values.assign(128, -256);
    f.half[0] = false;
    Bytes sound(100, 0xFF);
    std::fill(sound.begin() + 40, sound.begin() + 70, 0x00);
    const Bytes frame = makeFrame(f, sound);
    for (DstSimdLevel level : levelsOfThisProcessor())
        EXPECT_EQ(decoded(1, 100, frame, nullptr, level), sound) << level;
}

// ---- damage

/// "1110 13:127 9:-1": bits, and numbers with their widths.
BitString bitsOf(const std::string& text)
{
    BitString out;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const auto colon = word.find(':');
        const bool isNumber = colon != std::string::npos;
        for (char bit : isNumber ? "" : word) out.put(bit == '1', 1);
        if (isNumber) out.put(static_cast<std::uint64_t>(std::stoi(word.substr(colon + 1))), std::stoi(word));
    }
    return out;
}

TEST(DstDecoder, SaysWhatIsWrong)
{
    struct Case {
        std::uint32_t channels;
        std::string bits;
        std::uint32_t bytes = kBytes64;
    };
    // A field for a length in units of one byte has 13 bits: 0..4704 - 128.
    const std::string fourSegments = "0 13:1 13:1000 0 12:128 0 12:128 0 16:-1";
    const std::string filter = "1111 11 0 ", ptable = filter + "7:0 0 9:5 "; // what stands before one, for one channel
    const std::pair<const char*, std::vector<Case>> faults[] = {
        {"ERROR: Illegal arithmetic code in frame 4711!\n", {{1, ptable + "6:0 1"}}},
        {"ERROR: Illegal table type\n", {{1, "00100000"}, {1, "01000001"}}},
        {"ERROR: Invalid segment length!\n",
         {{1, "1110 13:1 13:127"}, {2, "1110 13:1 13:4577"}, {2, "10110 13:1 13:3"}}},
        {"ERROR: Invalid segment resolution!\n", {{2, "1110 13:0"}, {2, "1110 13:4577"}, {1, "1110", 128}}},
        {"ERROR: Too many segments!\n", {{2, "111" + fourSegments}}},
        {"ERROR: Too many segments for this channel!\n", {{2, "110" + fourSegments}}},
        {"ERROR: Invalid table number for segment!\n", {{3, "1111 10 1 11"}}},
        {"ERROR: Too many tables for this frame!\n", {{1, "1110 13:1 13:128 0 13:128 1 11 1 10"}}},
        {"ERROR: Not same number of segments for filters and Ptables!\n", {{1, "10 11 10 13:1 13:128 1 11"}}},
        {"ERROR: Mapping can't be the same for all channels!\n", {{2, "110 1 0 13:1 13:128 1 11"}}},
        {"ERROR: Invalid coefficient coding method!\n", {{1, filter + "7:127 111"}, {1, filter + "7:1 101"}}},
        {"ERROR: Invalid Ptable coding method!\n", {{1, ptable + "6:63 111"}, {1, ptable + "6:2 110"}}},
        {"ERROR: filter coefficient out of range!\n",
         {{1, filter + "7:1 100 9:255 000 010"},
          {1, filter + "7:1 100 9:256 000 011"},
          {1, filter + "7:1 100 9:0 111"}}},
        {"ERROR: Ptable entry out of range!\n",
         {{1, ptable + "6:1 100 7:127 000 010"}, {1, ptable + "6:1 100 7:0 000 011"}}},
        {"\nERROR: a negative number of bits allocated\n", {{1, "1110", 100}}},
    };
    std::string text;
    for (const auto& [expected, cases] : faults)
        for (const Case& c : cases) {
            Bytes frame = bitsOf(c.bits).bytes();
            frame.resize(4000); // zeros: ends every case that has not ended before
            decoded(c.channels, c.bytes, frame, &text);
            EXPECT_EQ(text, expected) << c.bits;
        }
    Bytes longer = makeFrame(vectorSpec(1), Bytes(kBytes64, 0x69));
    longer.resize(longer.size() + 3);
    for (const Bytes& frame : {longer, Bytes(kBytes64 + 2)}) {
        decoded(1, kBytes64, frame, &text);
        EXPECT_EQ(text, "ERROR: Arithmetic decoding error!\n");
    }
    for (const Bytes& frame : {Bytes{}, Bytes{0xFF}, Bytes(kBytes64), bitsOf(ptable + "6:63 0").bytes()}) {
        decoded(1, kBytes64, frame, &text);
        EXPECT_EQ(text, "\nERROR: a negative number of bits allocated\n");
    }
}

// Whatever comes, every bit of memory stays where it is, and the decoder is good for the next frame.
TEST(DstDecoder, SurvivesDamage)
{
    RandomFrames random(5);
    const Bytes sound = random.sound(3 * 300);
    const Bytes good = makeFrame(random.spec(3, 300), sound);
    CollectingReporter report;
    for (DstSimdLevel level : {kDstScalar, levelsOfThisProcessor().back()}) {
        DstDecoder decoder = decoderFor(3, 300, level);
        unsigned failed = 0;
        const auto attempt = [&](const Bytes& bytes) {
            const auto exact = std::make_unique<std::uint8_t[]>(bytes.size()); // the sanitizer guards its borders
            std::copy(bytes.begin(), bytes.end(), exact.get());
            Bytes out(900);
            report.text.clear();
            const Status status = decoder.decode({exact.get(), bytes.size()}, 1, out, report);
            ASSERT_EQ(status.ok(), report.text.empty());
            failed += !status.ok();
            ASSERT_TRUE(status.ok() || out == Bytes(900, 0x69));
        };
        for (std::size_t size = 0; size < good.size(); ++size)
            attempt({good.begin(), good.begin() + static_cast<long>(size)});
        EXPECT_GT(failed, 20u) << "where the tables are cut";
        for (std::size_t i = 0; i < std::min<std::size_t>(8 * good.size(), 600); ++i) {
            Bytes bad = good;
            bad[i / 8] ^= static_cast<std::uint8_t>(0x80 >> i % 8);
            attempt(bad);
        }
        for (unsigned i = 0; i < 100; ++i) attempt(randomBytes(random.upTo(1200), i));
        Bytes out(900);
        ASSERT_TRUE(decoder.decode(good, 1, out, report));
        EXPECT_EQ(out, sound);
    }
}

// ---- many frames, start, choice of the level

TEST(DstParallelDecoder, GivesWhatOneThreadGives)
{
    RandomFrames random(6);
    CollectingReporter report, expected;
    std::vector<Bytes> frames;
    for (int i = 0; i < 41; ++i) {
        frames.push_back(makeFrame(random.spec(2, 256), random.sound(512)));
        if (i % 7 == 3) frames.back().resize(2);
        if (i % 11 == 5) frames.back() = bitsOf("1111 11 00 7:0 0 9:5 6:0 1").bytes(); // names its number
    }
    parallel::WorkerPool pool(3);
    for (const std::size_t count : {0, 1, 2, 5, 41}) {
        DstParallelDecoder parallel(kDstScalar, pool);
        ASSERT_TRUE(parallel.init(2, 600 * 256, report));
        DstDecoder serial = decoderFor(2, 256, kDstScalar);
        report.text = expected.text = "";
        Bytes out(count * parallel.frameBytes()), truth(out.size());
        std::vector<DstFrameJob> jobs;
        bool ok = true;
        for (std::size_t i = 0; i < count; ++i) {
            jobs.push_back({frames[i], std::span(out).subspan(512 * i, 512)});
            ok &= serial
                      .decode(frames[i], static_cast<std::uint32_t>(7 + i), std::span(truth).subspan(512 * i, 512),
                              expected)
                      .ok();
        }
        EXPECT_EQ(parallel.decodeFrames(jobs, 7, report).ok(), ok);
        EXPECT_EQ(out, truth);
        EXPECT_EQ(report.text, expected.text);
    }
    EXPECT_FALSE(report.text.empty());
}

TEST(DstDecoder, RefusesWhatItCannotHold)
{
    const auto textOf = [](std::uint32_t channels, std::uint32_t rate) {
        CollectingReporter report;
        DstDecoder decoder;
        const bool ok = decoder.init(channels, rate, report).ok();
        EXPECT_EQ(ok, report.text.empty());
        EXPECT_EQ(decoder.frameBytes() == 0, !report.text.empty());
        return report.text;
    };
    EXPECT_EQ(textOf(6, 12288000), "");
    EXPECT_EQ(textOf(2, 12288600), "DSTDecoder: frame 20481 bytes/ch exceeds MAX_DSDBYTES_INFRAME=20480 "
                                   "(dsd_rate=12288600) -- see decodec/dst/src/conststr\n");
    for (const auto& [channels, rate] : {std::pair{0u, kDsd64}, {7u, kDsd64}, {2u, 0u}, {2u, 599u}})
        EXPECT_EQ(textOf(channels, rate), "DSTDecoder: DST_InitDecoder failed (ret=-11)\n");
    memoryIsShort = true;
    EXPECT_EQ(textOf(2, kDsd64), "DSTDecoder: calloc failed\n");
    memoryIsShort = false;
}

TEST(DstSimd, FollowsProcessorVariableAndSwitch)
{
    const platform::CpuFeatures none{}, sse2{true}, sse41{true, true}, avx{true, true, true},
        masked{.sse2 = true, .sse41 = true, .avx = true, .fma = true, .avx2 = true};
    platform::CpuFeatures avx2 = masked;
    avx2.bitCounts = true;
    platform::CpuFeatures avx512 = avx2;
    avx512.avx512 = true;
    const std::string k512 = "AVX-512 (fir dot, 16 taps/instr)", k2 = "AVX2 (fir dot, 8 taps/instr)",
                      k41 = "SSE4.1 (fir dot, 4 taps/instr)", k0 = "scalar";
    struct Case {
        platform::CpuFeatures cpu;
        const char* variable;
        bool simd;
        int level;
        std::string text;
        bool refused = false;
    };
    const Case cases[] = {
        {avx512, nullptr, true, 50, k512 + " [cpu: AVX-512]"},
        {avx2, "fast", true, 40, k2 + " [cpu: AVX2]"},
        {avx, "", true, 20, k41 + " [cpu: AVX]"},
        {masked, nullptr, true, 20, k41 + " [cpu: AVX2]"},
        {sse41, "sse", true, 20, k41 + " [cpu: SSE4.1]"},
        {sse2, nullptr, true, 0, k0 + " [cpu: SSE2]"},
        {none, nullptr, true, 0, k0 + " [cpu: scalar]"},
        {avx512, "0", true, 0, k0 + " [cpu: AVX-512]"},
        {avx512, "sse", true, 20, k41 + " [cpu: AVX-512]"},
        {avx512, "avx2", true, 40, k2 + " [cpu: AVX-512]"},
        {avx512, "avx512", true, 50, k512 + " [cpu: AVX-512]"},
        {avx512, "neon", true, 50, k512 + " [cpu: AVX-512]", true},
        {avx2, "avx512", true, 40, k2 + " [cpu: AVX2]", true},
        {sse2, "sse", true, 0, k0 + " [cpu: SSE2]", true},
        {avx512, "avx512", false, 0, k0 + " [cpu: AVX-512]"},
    };
    for (const Case& c : cases) {
        const DstSimdChoice choice = chooseDstSimd(c.cpu, c.variable, c.simd);
        EXPECT_EQ(choice.level, c.level) << &c - cases;
        EXPECT_EQ(choice.line, "[DST] decode SIMD: " + c.text + "\n");
        const char* refusal = "[DST] decode SIMD: ignoring TESK_DST_SIMD=%s (unsupported here)\n";
        EXPECT_EQ(choice.refusal, c.refused ? format(refusal, c.variable) : "");
    }
}

// ---- another program

// It knows one segment per channel only.
TEST(DstDecoder, HearsWhatFfmpegHears)
{
    RandomFrames random(8);
    for (const std::uint32_t channels : {1u, 2u, 6u}) {
        const std::uint32_t rate = channels == 2 ? 2 * kDsd64 : kDsd64, bytes = rate / 600;
        std::vector<Bytes> frames;
        Bytes sound;
        for (int i = 0; i < 3; ++i) {
            FrameSpec f = random.spec(channels, bytes, true);
            f.filterSegments.sameForAll = true;
            for (SetSpec& p : f.ptables)
                if (p.values.size() == 1) p.values = {64, 64}; // a length it takes otherwise
            frames.push_back(makeFrame(f, random.sound(std::size_t{channels} * bytes)));
            std::string text;
            const Bytes dsd = decoded(channels, bytes, frames[i], &text, levelsOfThisProcessor().back());
            sound.insert(sound.end(), dsd.begin(), dsd.end());
            EXPECT_EQ(text, "");
        }
        expectHeardAlike(channels, rate, frames, sound);
    }
}

} // namespace
} // namespace tesk
