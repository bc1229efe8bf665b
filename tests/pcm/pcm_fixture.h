// What the tests of the PCM writers share: sound whose numbers are known, a file in a few lines, programs as judges.
#pragma once

#include "container/pcm/pcm_writer.h"
#include "tests/container/writer_fixture.h"

#include <bit>
#include <cmath>
#include <random>

namespace tesk {

/// Full scale, beyond it, ties, no number at all; then noise that clips now and then.
inline std::vector<double> makeSound(const PcmFormat& f, std::size_t frames)
{
    const double step = 1.0 / (std::ldexp(1.0, static_cast<int>(std::min(f.bitsPerSample, 32u)) - 1) - 1);
    std::vector<double> x = {-1.0,       1.0,         1.5,         -7.0,         0.5 * step,
                             1.5 * step, -2.5 * step, 0.49 * step, -0.51 * step, std::nan("")};
    std::mt19937_64 random(f.channels * 100 + f.bitsPerSample);
    while (x.size() < frames * f.channels) x.push_back(std::ldexp(static_cast<double>(random()), -63) * 1.01 - 1.005);
    x.resize(frames * f.channels);
    return x;
}

/// The table of conversions with the library's own rounding, little-endian.
inline Buffer expectedBytes(const PcmFormat& f, const std::vector<double>& x)
{
    const double scale = std::ldexp(1.0, static_cast<int>(f.bitsPerSample) - 1) - 1;
    Buffer out;
    for (const double v : x) {
        std::uint64_t word = f.bitsPerSample == 64 ? std::bit_cast<std::uint64_t>(v)
                                                   : std::bit_cast<std::uint32_t>(static_cast<float>(v));
        if (!f.isFloat)
            word = std::isnan(v) ? 0 : static_cast<std::uint64_t>(std::llround(std::clamp(v, -1.0, 1.0) * scale));
        for (std::uint32_t bit = 0; bit < f.bitsPerSample; bit += 8)
            out.push_back(static_cast<std::uint8_t>(word >> bit));
    }
    return out;
}

/// The same as a program prints them.
inline std::string heard(const PcmFormat& f, const std::vector<double>& x)
{
    const Buffer raw = expectedBytes(f, x);
    return letters(raw, 0, raw.size());
}

class PcmFileTest : public JudgedTest {
protected:
    PcmFileTest()
    {
        folder = output("pwd");
        folder.back() = '/';
    }
    /// All of a command line's output, not only that of its last command.
    std::string output(const std::string& commands) const { return JudgedTest::output("{ " + commands + "\n}"); }
    std::string at(const std::string& name) const { return folder + name; }
    Buffer contents(const std::string& name) const
    {
        std::ifstream in(at(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    /// False at the first failure, with the writer's words in `error`.
    bool make(const std::string& name, const PcmFormat& f, const std::vector<double>& x, PcmFileInfo info,
              std::size_t pieceFrames = 1 << 20)
    {
        const bool flac = name.find(".flac") != std::string::npos;
        const auto writer = makePcmWriter(flac ? PcmContainer::flac : PcmContainer::wave, report);
        bool good = writer->open(at(name), f, info);
        for (std::size_t i = 0; i < x.size() / f.channels && good; i += pieceFrames)
            good = writer->write(&x[i * f.channels], std::min(pieceFrames, x.size() / f.channels - i));
        const bool closed = writer->close();
        EXPECT_TRUE(good || !closed) << "closing cannot mend what failed before";
        error = writer->errorText();
        bytes = writer->bytesWritten();
        return closed;
    }

    /// The endings of the containers that this build writes.
    std::vector<std::string> endings()
    {
        if (!make("x.flac", {48000, 1, 16, false, false}, {}, {})) return {".wav"};
        output("rm x.flac");
        return {".wav", ".flac"};
    }

    std::string folder, error;
    std::uint64_t bytes = 0;
    CollectingReporter report;
};

/// Scripts other than Latin, a character beyond 16 bits, an odd length.
inline MetadataRecord someTags()
{
    MetadataRecord m;
    m.title = "T\u00EDtulo \u97F3\u697D\u97F3\u697D\u97F3\u697D \U0001F3B5";
    m.artist = "Artist";
    m.album = "Album";
    m.genre = "Jazz";
    m.date = "1999-05-01";
    m.comment = std::string(200, 'c') + "!";
    m.work = "Opus 1";
    m.track = 7;
    return m;
}

} // namespace tesk
