// Files that other programs write, against the raw samples they were given.
#include "tests/input/load_fixture.h"

#include <sndfile.h>

namespace tesk {
namespace {

class WaveFormats : public LoadTest {
protected:
    /// Everything that ffmpeg writes in one format and channel count.
    void checkFfmpeg(const std::string& name, std::uint32_t channels)
    {
        const Noise noise = makeNoise(name, channels, 5000); // more than one chunk of the reader, and no padding
        save(at("raw"), noise.raw);
        const std::string little = " -c:a pcm_" + name + " ";
        std::string big = name;
        if (name == "u8")
            big = "s8";
        else
            big.replace(big.size() - 2, 2, "be");
        run("ffmpeg -v error -y -f " + name + " -ar 96000 -ac " + std::to_string(channels) + " -i raw" + little +
            "x.wav" + little + "x.w64" + little + "-rf64 always rf64.wav -c:a pcm_" + big + " x.aiff");
        const bool isFloat = name[0] == 'f';
        check("x.wav", "WAV", noise);
        check("x.w64", "Wave64", noise);
        check("rf64.wav", "RF64", noise);
        check("x.aiff", isFloat ? "AIFC" : "AIFF", noise);
        if (name != "s16le") return;
        run("ffmpeg -v error -y -f s16le -ar 96000 -ac " + std::to_string(channels) +
            " -i raw -c:a pcm_s16le -f aiff sowt.aifc");
        check("sowt.aifc", "AIFC", noise);
    }

    void check(const std::string& file, const std::string& format, const Noise& noise)
    {
        SCOPED_TRACE(file + " " + noise.format + " " + std::to_string(noise.channels));
        ASSERT_EQ(open(file), DSD_SUCCESS) << error;
        EXPECT_EQ(recording.info.format, format);
        EXPECT_EQ(recording.info.sampleRate, 96000u);
        EXPECT_EQ(recording.info.isFloat, noise.format[0] == 'f');
        EXPECT_EQ(recording.info.bitsPerSample, std::atoi(noise.format.c_str() + 1));
        EXPECT_EQ(recording.info.declaredFrames, noise.frames());
        EXPECT_EQ(report.text, "");
        expectTruth(noise);
    }
};

TEST_F(WaveFormats, EveryContainerOfFfmpegIsSampleExact)
{
    // Its RF64 counts the pad byte as data; ds64's frame count tells.
    const Noise odd = makeNoise("u8", 1, 5001);
    save(at("raw"), odd.raw);
    run("ffmpeg -v error -y -f u8 -ar 96000 -ac 1 -i raw -rf64 always -c:a pcm_u8 x.wav");
    check("x.wav", "RF64", odd);
    for (const char* name : {"u8", "s16le", "s24le", "s32le", "f32le", "f64le"})
        for (const std::uint32_t channels : {1u, 2u, 6u, 8u}) checkFfmpeg(name, channels);
}

TEST_F(WaveFormats, OtherWritersAreSampleExact)
{
    const Noise noise = makeNoise("s24le", 2, 5001);
    save(at("raw"), noise.raw);
    run("sox -t raw -e signed -b 24 -r 96000 -c 2 raw x.aif && sox -t raw -e signed -b 24 -r 96000 -c 2 raw x.wav");
    run("flac -s x.wav && flac -s -d --force-wave64-format -o y.w64 x.flac && "
        "flac -s -d --force-rf64-format -o y.rf64 x.flac");
    check("x.aif", "AIFF", noise);
    check("x.wav", "WAV", noise); // EXTENSIBLE
    check("y.w64", "Wave64", noise);
    check("y.rf64", "RF64", noise);

    Bytes bytes = contents(at("y.rf64"));
    std::copy_n("BW64", 4, bytes.begin());
    save(at("y.wav"), bytes);
    check("y.wav", "BW64", noise);
}

TEST_F(WaveFormats, StreamsWithoutALengthAreReadToTheirEnd)
{
    const Noise noise = makeNoise("s16le", 2, 3000);
    save(at("raw"), noise.raw);
    const std::string ffmpeg = "ffmpeg -v error -f s16le -ar 48000 -ac 2 -i raw ";
    run(ffmpeg + "-f wav - | cat > a.wav");                                             // 0xFFFFFFFF
    run("cat raw | sox -t raw -e signed -b 16 -r 48000 -c 2 - -t wav - | cat > b.wav"); // 0x7FFFF000
    run(ffmpeg + "-f w64 - | cat > c.w64");                                             // 2^63 − 1
    run(ffmpeg + "-rf64 always -f wav - | cat > d.wav");                                // ds64 all zero
    run(ffmpeg + "-f aiff - | cat > e.aiff");                                           // all zero
    for (const char* file : {"a.wav", "b.wav", "c.w64", "d.wav", "e.aiff"}) {
        SCOPED_TRACE(file);
        ASSERT_EQ(open(file), DSD_SUCCESS) << error;
        EXPECT_FALSE(recording.info.declaredFrames);
        EXPECT_EQ(report.text, "");
        expectTruth(noise);
    }
}

/// Compressed and companded WAV: ffmpeg's decoder is the judge.
TEST_F(WaveFormats, CompressedSamplesMatchFfmpeg)
{
    const Noise noise = makeNoise("s16le", 2, 4000);
    save(at("raw"), noise.raw);
    for (const std::string codec : {"pcm_alaw", "pcm_mulaw", "adpcm_ms"}) {
        SCOPED_TRACE(codec);
        run("ffmpeg -v error -y -f s16le -ar 8000 -ac 2 -i raw -c:a " + codec + " x.wav -c:a " + codec + " x.w64");
        for (const char* file : {"x.wav", "x.w64"}) {
            run(std::string("ffmpeg -v error -y -i ") + file + " -f s16le judged");
            const Bytes judged = contents(at("judged"));
            ASSERT_EQ(open(file), DSD_SUCCESS) << error;
            ASSERT_GE(recording.signal.frames(), noise.frames());
            for (std::size_t i = 0; i < 2 * noise.frames(); ++i) {
                const auto value = static_cast<std::int16_t>(judged[2 * i] | judged[2 * i + 1] << 8);
                ASSERT_EQ(recording.signal.channel(static_cast<std::uint32_t>(i % 2))[i / 2] * 32768, value) << i;
            }
        }
    }
}

} // namespace
} // namespace tesk
