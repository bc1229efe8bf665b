// What the tests of this room share: files made by other programs, raw noise as the truth, and a load in a small world.
#pragma once

#include "engine/base/byte_writer.h"
#include "input/flac_reader.h"
#include "input/open_pcm.h"
#include "input/wave_reader.h"

#include <atomic>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

namespace tesk {

using Bytes = std::vector<std::uint8_t>;

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
    std::vector<double> truth; // interleaved

    std::size_t frames() const { return truth.size() / channels; }
};

/// Both full scales come first, then noise over all bits.
inline Noise makeNoise(const std::string& name, std::uint32_t channels, std::size_t frames)
{
    Noise noise{name, channels, {}, {}};
    const bool isFloat = name[0] == 'f';
    const int bits = std::atoi(name.c_str() + 1);
    std::mt19937_64 random(channels * 100u + static_cast<unsigned>(bits));
    ByteWriter out(ByteOrder::little);
    for (std::size_t i = 0; i < frames * channels; ++i) {
        const auto draw = static_cast<std::int64_t>(random());
        if (isFloat) {
            const double value = static_cast<double>(draw >> 40) / (i % 7 == 0 ? 4e6 : 8388608.0);
            const double stored = bits == 32 ? static_cast<float>(value) : value;
            bits == 32 ? out.u32(std::bit_cast<std::uint32_t>(static_cast<float>(value)))
                       : out.u64(std::bit_cast<std::uint64_t>(value));
            noise.truth.push_back(stored);
            continue;
        }
        const std::int64_t top = std::int64_t{1} << (bits - 1);
        const std::int64_t value = i == 0 ? -top : i == 1 ? top - 1 : draw >> (64 - bits);
        const auto stored = static_cast<std::uint64_t>(name[0] == 'u' ? value + top : value);
        for (int b = 0; b < bits; b += 8) out.u8(static_cast<std::uint8_t>(stored >> b));
        noise.truth.push_back(static_cast<double>(value) / static_cast<double>(top));
    }
    noise.raw = out.take();
    return noise;
}

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
            << std::string(reinterpret_cast<const char*>(contents(at("messages")).data()),
                           contents(at("messages")).size());
    }

    PDM_ENCODING_STATUS open(const std::string& name)
    {
        report.text.clear();
        error.clear();
        return open_pcm(at(name), {report, stop, memory}, recording, error).status();
    }

    template <class Reader>
    PDM_ENCODING_STATUS load(const Bytes& bytes)
    {
        report.text.clear();
        error.clear();
        recording = {};
        Reader reader;
        const Status opened = reader.open(std::make_unique<MemorySource>(bytes));
        error = reader.errorText();
        if (!opened) return opened.status();
        return loadSignal(reader, {report, stop, memory}, recording, error).status();
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
