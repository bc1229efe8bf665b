#include "analysis/spectrum.h"
#include "engine/base/byte_writer.h"
#include "tools/dsf_file.h"
#include "tools/test_signal.h"
#include "tools/wav_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sndfile.h>

using namespace tesk::analysis;
using namespace tesk::measure;

namespace {

std::string temporary(const char* name)
{
    const char* folder = std::getenv("TEMP");
    return std::string(folder ? folder : ".") + "/" + name;
}

/// Two channels of 5 blocks; channel c's bit i is set where (i·7 + c·3) mod 5 < 2, a pattern no byte or block repeats.
constexpr std::uint64_t kSamples = 5 * 4096 * 8 - 100;
bool bitOf(unsigned channel, std::uint64_t i) { return (i * i / 3 + i * 7 + channel * 3) % 5 < 2; }

std::vector<unsigned char> dsfImage(unsigned bitsPerSample)
{
    tesk::ByteWriter out(tesk::ByteOrder::little);
    out.tag("DSD ").u64(28).u64(92 + 2 * 5 * 4096).u64(0);
    out.tag("fmt ").u64(52).u32(1).u32(0).u32(2).u32(2).u32(2822400).u32(bitsPerSample).u64(kSamples).u32(4096).u32(0);
    out.tag("data").u64(12 + 2 * 5 * 4096);
    for (unsigned group = 0; group < 5; ++group)
        for (unsigned c = 0; c < 2; ++c)
            for (unsigned byte = 0; byte < 4096; ++byte) {
                unsigned value = 0;
                for (unsigned bit = 0; bit < 8; ++bit)
                    if (bitOf(c, (group * 4096 + byte) * 8ull + bit))
                        value |= 1u << (bitsPerSample == 1 ? bit : 7 - bit);
                out.u8(static_cast<std::uint8_t>(value));
            }
    return out.take();
}

} // namespace

// Both bit orders, and stretches that begin and end anywhere in a byte or block.
TEST(DsfFile, ReadsAnyStretchOfAnyChannel)
{
    const std::string path = temporary("measure.dsf");
    for (unsigned bits : {1u, 8u}) {
        ASSERT_EQ(writeFile(path, dsfImage(bits)), "");
        DsfFile file;
        ASSERT_EQ(file.open(path), "");
        EXPECT_EQ(file.channels(), 2u);
        EXPECT_EQ(file.rate(), 2822400u);
        EXPECT_EQ(file.samples(), kSamples);
        for (std::uint64_t first : {std::uint64_t{0}, std::uint64_t{5}, std::uint64_t{32767}, kSamples - 40000})
            for (unsigned c : {0u, 1u}) {
                const auto x = file.read(c, first, 40003);
                ASSERT_EQ(x.size(), std::min<std::uint64_t>(40003, kSamples - first));
                for (std::size_t i = 0; i < x.size(); ++i) ASSERT_EQ(x[i], bitOf(c, first + i) ? 1.0 : -1.0) << i;
            }
        EXPECT_TRUE(file.read(2, 0, 8).empty());
        EXPECT_TRUE(file.read(0, kSamples, 8).empty());
    }
}

TEST(DsfFile, DamageEndsInAWordAndNeverInMoreSamplesThanThereAre)
{
    const std::string path = temporary("measure_damaged.dsf");
    const auto good = dsfImage(1);
    for (std::size_t length : {0u, 27u, 91u}) {
        ASSERT_EQ(writeFile(path, {good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)}), "");
        EXPECT_NE(DsfFile().open(path), "") << length;
    }
    for (std::size_t length : {92u, 8000u, 20000u, 92u + 3 * 8192u}) { // cut data: only whole block groups remain
        ASSERT_EQ(writeFile(path, {good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)}), "");
        DsfFile file;
        ASSERT_EQ(file.open(path), "");
        EXPECT_EQ(file.samples(), (length - 92) / 8192 * 32768) << length;
        EXPECT_EQ(file.read(1, 0, kSamples).size(), file.samples());
    }
    for (std::size_t at = 0; at < 92; ++at) { // every field at its extreme: open may refuse, read may shorten
        auto bad = good;
        std::fill(bad.begin() + static_cast<std::ptrdiff_t>(at),
                  bad.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(92, at + 4)), 0xFF);
        ASSERT_EQ(writeFile(path, bad), "");
        DsfFile file;
        if (file.open(path).empty()) {
            EXPECT_LE(file.read(0, 0, 10 * kSamples).size(), 5u * 32768) << at;
        }
    }
    EXPECT_NE(DsfFile().open(temporary("no_such_file.dsf")), "");
}

// An outside reader agrees with every sample of every format.
TEST(WavFile, IsReadBackByAnOutsideLibrary)
{
    SignalRequest request;
    request.kind = SignalKind::noise;
    request.levelDb = 0.0;
    request.seconds = 0.0101;
    request.channels = 3;
    auto signal = makeSignal(request);
    ASSERT_EQ(signal[0].size(), 445u); // odd frames of odd length: s24 needs a padding byte
    signal[1][7] = 1.5;
    signal[2][8] = -1.5;
    const std::string path = temporary("measure.wav");
    struct Case {
        WavFormat format;
        int subtype;
        double step;
    };
    for (const Case& c :
         {Case{WavFormat::s16, SF_FORMAT_PCM_16, 0x1p-15}, Case{WavFormat::s24, SF_FORMAT_PCM_24, 0x1p-23},
          Case{WavFormat::f64, SF_FORMAT_DOUBLE, 0.0}}) {
        const auto image = wavImage(signal, 44100, c.format);
        EXPECT_EQ(image.size() % 2, 0u);
        EXPECT_EQ(image.size() - 8, image[4] + 256u * image[5] + 65536u * image[6]) << "the padding byte counts";
        ASSERT_EQ(writeFile(path, image), "");
        SF_INFO info{};
        SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, c.subtype);
        EXPECT_EQ(info.channels, 3);
        EXPECT_EQ(info.samplerate, 44100);
        ASSERT_EQ(info.frames, 445);
        std::vector<double> x(445 * 3);
        EXPECT_EQ(sf_readf_double(file, x.data(), 445), 445);
        sf_close(file);
        for (std::size_t i = 0; i < x.size(); ++i) {
            double wanted = signal[i % 3][i / 3];
            if (c.step > 0.0) wanted = std::clamp(wanted, -1.0, 1.0 - c.step);
            EXPECT_NEAR(x[i], wanted, c.step / 2) << i;
        }
    }
}

TEST(TestSignal, IsWhatItsNameSays)
{
    const auto peakOf = [](const std::vector<double>& x) {
        double peak = 0.0;
        for (double v : x) peak = std::max(peak, std::abs(v));
        return peak;
    };
    SignalRequest request;
    request.seconds = 3.0;
    request.levelDb = -6.0;
    const double level = std::pow(10, -0.3);
    for (auto kind : {SignalKind::tone, SignalKind::noise, SignalKind::impulse, SignalKind::music}) {
        request.kind = kind;
        const auto signal = makeSignal(request);
        ASSERT_EQ(signal.size(), 2u);
        ASSERT_EQ(signal[0].size(), 132300u);
        EXPECT_NEAR(std::max(peakOf(signal[0]), peakOf(signal[1])), level, 0.002 * level);
        EXPECT_EQ(signal, makeSignal(request)) << "deterministic";
        EXPECT_EQ(signal[0] != signal[1], kind == SignalKind::noise || kind == SignalKind::music);
        if (kind == SignalKind::impulse) {
            EXPECT_EQ(132299, std::count(signal[1].begin(), signal[1].end(), 0.0));
        }
    }
    request.kind = SignalKind::tone;
    request.hz = 18000.0;
    request.hz2 = 19000.0;
    const auto pair = makeSignal(request)[0];
    const Spectrum spectrum({pair.data(), 1u << 16}, 44100.0);
    for (const auto& tone : readSpectrum(spectrum, {18000.0, 19000.0}).tones) EXPECT_NEAR(tone.dbfs, -12.02, 0.01);
    request.kind = SignalKind::silence;
    EXPECT_EQ(peakOf(makeSignal(request)[1]), 0.0);
}
