// What the tests of this room share: files made by other programs, raw noise as the truth, and a load in a small world.
#pragma once

#include "engine/base/byte_writer.h"
#include "input/flac_reader.h"
#include "input/open_pcm.h"
#include "input/wave_reader.h"

#include <atomic>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

namespace tesk {

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<double>; // interleaved

inline void save(const std::string& path, const Bytes& bytes)
{
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline Bytes contents(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

/// Plain samples as another program takes them, and the doubles they stand for.
struct Noise {
    std::string format; // as ffmpeg names it: u8, s16le, s24le, s32le, f32le, f64le; also s8
    std::uint32_t channels;
    Bytes raw;
    Samples truth;

    std::size_t frames() const { return truth.size() / channels; }
    bool isFloat() const { return format[0] == 'f'; }
    int bits() const { return std::atoi(format.c_str() + 1); }

    /// Adds an integer sample; `value` counts in steps of its width.
    void append(std::int64_t value)
    {
        const std::int64_t top = std::int64_t{1} << (bits() - 1);
        const auto stored = static_cast<std::uint64_t>(format[0] == 'u' ? value + top : value);
        for (int b = 0; b < bits(); b += 8) raw.push_back(static_cast<std::uint8_t>(stored >> b));
        truth.push_back(static_cast<double>(value) / static_cast<double>(top));
    }
    void appendFloat(double value)
    {
        const bool isDouble = bits() == 64;
        const auto single = static_cast<float>(value);
        const auto stored = isDouble ? std::bit_cast<std::uint64_t>(value) : std::bit_cast<std::uint32_t>(single);
        for (int b = 0; b < bits(); b += 8) raw.push_back(static_cast<std::uint8_t>(stored >> b));
        truth.push_back(isDouble ? value : single);
    }
};

/// Both full scales come first, then noise over all bits.
inline Noise makeNoise(const std::string& name, std::uint32_t channels, std::size_t frames)
{
    Noise noise{name, channels, {}, {}};
    std::mt19937_64 random(channels * 100u + static_cast<unsigned>(noise.bits()));
    for (std::size_t i = 0; i < frames * channels; ++i) {
        const auto draw = static_cast<std::int64_t>(random());
        const int shift = 64 - noise.bits();
        if (noise.isFloat())
            noise.appendFloat(static_cast<double>(draw >> 40) / (i % 7 == 0 ? 4e6 : 8388608.0));
        else
            noise.append((i == 0 ? INT64_MIN : i == 1 ? INT64_MAX : draw) >> shift);
    }
    return noise;
}

/// The reader's next frames, up to `frames` of them.
inline Samples readOn(PcmReader& reader, std::size_t frames)
{
    const std::size_t channels = reader.info().channels;
    Samples planes(frames * channels), samples;
    std::vector<double*> planar;
    for (std::size_t c = 0; c < channels; ++c) planar.push_back(planes.data() + c * frames);
    const auto got = reader.read(planar.data(), frames);
    EXPECT_TRUE(got.ok()) << reader.errorText();
    for (std::size_t i = 0; got.ok() && i < *got; ++i)
        for (const double* plane : planar) samples.push_back(plane[i]);
    return samples;
}

/// Whether there is nothing more to be had, and a reason.
inline bool readingFails(PcmReader& reader)
{
    Samples room(1 << 16);
    const std::vector<double*> planar(reader.info().channels, room.data());
    return !reader.read(planar.data(), room.size()).ok() && !reader.errorText().empty();
}

/// Sets a variable of the environment while it lives.
class Variable {
public:
    Variable(const char* name, const char* value) : name_(name) { setenv(name, value, 1); }
    ~Variable() { unsetenv(name_); }

private:
    const char* name_;
};

class LoadTest : public testing::Test {
protected:
    LoadTest()
    {
        static std::atomic<int> serial{0};
        folder_ = std::filesystem::temp_directory_path() / format("tesk-input-%d-%d", getpid(), ++serial);
        std::filesystem::create_directories(folder_);
    }
    ~LoadTest() override { std::filesystem::remove_all(folder_); }

    std::string at(const std::string& name) const { return (folder_ / name).string(); }

    /// Runs a shell command in the test's folder.
    void run(const std::string& command) const
    {
        ASSERT_EQ(std::system(("cd '" + folder_.string() + "' && { " + command + "; } 2>messages").c_str()), 0)
            << command << "\n"
            << std::ifstream(at("messages")).rdbuf();
    }
    /// Writes the noise to the file "raw" and gives the start of a command that encodes it.
    std::string ffmpeg(const Noise& noise, unsigned rate) const
    {
        save(at("raw"), noise.raw);
        return format("ffmpeg -v error -y -f %s -ar %u -ac %u -i raw ", noise.format.c_str(), rate, noise.channels);
    }

    PDM_ENCODING_STATUS open(const std::string& name)
    {
        report.text.clear();
        error.clear();
        return open_pcm(at(name), {report, stop, memory}, recording, error).status();
    }
    PDM_ENCODING_STATUS openAs(const std::string& name, const Bytes& bytes)
    {
        save(at(name), bytes);
        return open(name);
    }
    /// From a path or a byte source.
    template <class Reader, class Source>
    PDM_ENCODING_STATUS loadFrom(Reader&& reader, Source&& source, FrameRange range = {})
    {
        report.text.clear();
        recording = {};
        const Status opened = reader.open(std::forward<Source>(source));
        error = reader.errorText();
        if (!opened) return opened.status();
        return loadSignal(reader, {report, stop, memory}, recording, error, range).status();
    }
    template <class Reader>
    PDM_ENCODING_STATUS load(const Bytes& bytes)
    {
        return loadFrom(Reader(), std::make_unique<MemorySource>(bytes));
    }

    /// Sample for sample, the first `frames` frames, and not one more.
    void expectTruth(const Noise& noise, std::size_t frames)
    {
        ASSERT_EQ(recording.info.channels, noise.channels);
        ASSERT_EQ(recording.signal.channels(), noise.channels);
        ASSERT_EQ(recording.signal.frames(), frames);
        for (std::uint32_t c = 0; c < noise.channels; ++c) {
            const double* samples = recording.signal.channel(c);
            for (std::size_t i = 0; i < frames; ++i)
                ASSERT_EQ(samples[i], noise.truth[i * noise.channels + c]) << "frame " << i << " channel " << c;
            for (std::size_t i = frames; i < frames + kLoadChunkFrames; ++i)
                ASSERT_EQ(samples[i], 0.0) << "guard dirty at " << i;
        }
    }
    void expectTruth(const Noise& noise) { expectTruth(noise, noise.frames()); }
    /// All of it, rightly described and without a word.
    void expectSound(const Noise& noise, const std::string& format, unsigned rate, int bits = 0)
    {
        SCOPED_TRACE(format + " " + noise.format + " " + std::to_string(noise.channels));
        const PcmInfo& info = recording.info;
        EXPECT_EQ(info.format, format);
        EXPECT_EQ(info.sampleRate, rate);
        EXPECT_EQ(info.isFloat, noise.isFloat());
        EXPECT_EQ(info.bitsPerSample, bits > 0 ? bits : noise.bits());
        EXPECT_EQ(info.declaredFrames, noise.frames());
        EXPECT_EQ(report.text, "");
        expectTruth(noise);
    }
    void expectRefused(PDM_ENCODING_STATUS status, const std::string& why)
    {
        EXPECT_EQ(status, DSD_ERROR_INPUT) << why;
        EXPECT_NE(error, "");
        EXPECT_NE(error.find(why), std::string::npos) << error << " instead of " << why;
        expectEmpty();
    }
    /// No part of the file that ends before `end` may pass for a whole one.
    template <class Reader>
    void expectNoPrefixPasses(const Bytes& whole, std::size_t end)
    {
        for (std::size_t length = 0; length < end; ++length) {
            SCOPED_TRACE(length);
            expectRefused(load<Reader>(Bytes(whole.data(), whole.data() + length)), "");
        }
    }
    void expectEmpty() const
    {
        EXPECT_EQ(recording.info.channels, 0u);
        EXPECT_EQ(recording.signal.channels(), 0u);
        EXPECT_EQ(recording.signal.frames(), 0u);
    }
    bool reported(const std::string& text) const { return report.text.find(text) != std::string::npos; }

    std::atomic<std::uint8_t> stopByte{0};
    StopFlag stop{stopByte};
    CollectingReporter report;
    PcmRecording recording;
    std::string error;
    std::function<std::optional<std::uint64_t>()> memory = [] { return std::uint64_t{1} << 30; };

private:
    std::filesystem::path folder_;
};

} // namespace tesk
