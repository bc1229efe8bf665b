// Files that other programs write, against the raw samples they were given.
#include "tests/input/load_fixture.h"

namespace tesk {
namespace {

class WaveFormats : public LoadTest {
protected:
    /// Everything that ffmpeg writes in one format and channel count.
    void checkFfmpeg(const std::string& name, std::uint32_t channels)
    {
        const Noise noise = makeNoise(name, channels, 5000); // more than one chunk of the reader, and no padding
        const std::string little = " -c:a pcm_" + name + " ";
        const std::string big = name == "u8" ? "s8" : name.substr(0, name.size() - 2) + "be";
        const std::string start = ffmpeg(noise, 96000);
        run(start + little + "x.wav" + little + "x.w64" + little + "-rf64 always rf64.wav -c:a pcm_" + big + " x.aiff");
        check("x.wav", "WAV", noise);
        check("x.w64", "Wave64", noise);
        check("rf64.wav", "RF64", noise);
        check("x.aiff", noise.isFloat() ? "AIFC" : "AIFF", noise);
        if (name != "s16le") return;
        run(start + "-c:a pcm_s16le -f aiff sowt.aifc");
        check("sowt.aifc", "AIFC", noise);
    }

    void check(const std::string& file, const std::string& format, const Noise& noise)
    {
        SCOPED_TRACE(file);
        ASSERT_EQ(open(file), DSD_SUCCESS) << error;
        expectSound(noise, format, 96000);
    }
};

TEST_F(WaveFormats, EveryContainerOfFfmpegIsSampleExact)
{
    // Its RF64 counts the pad byte as data; ds64's frame count tells.
    const Noise odd = makeNoise("u8", 1, 5001);
    run(ffmpeg(odd, 96000) + "-rf64 always -c:a pcm_u8 x.wav");
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
    ASSERT_EQ(openAs("y.wav", bytes), DSD_SUCCESS) << error;
    expectSound(noise, "BW64", 96000);
}

TEST_F(WaveFormats, StreamsWithoutALengthAreReadToTheirEnd)
{
    const Noise noise = makeNoise("s16le", 2, 3000);
    const std::string start = ffmpeg(noise, 48000);
    run(start + "-f wav - | cat > a.wav");                                              // 0xFFFFFFFF
    run("cat raw | sox -t raw -e signed -b 16 -r 48000 -c 2 - -t wav - | cat > b.wav"); // 0x7FFFF000
    run(start + "-f w64 - | cat > c.w64");                                              // 2^63 − 1
    run(start + "-rf64 always -f wav - | cat > d.wav");                                 // ds64 all zero
    run(start + "-f aiff - | cat > e.aiff");                                            // all zero
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
    const std::string start = ffmpeg(makeNoise("s16le", 2, 4000), 8000);
    for (const std::string codec : {"pcm_alaw", "pcm_mulaw", "adpcm_ms"})
        for (const std::string file : {"x.wav", "x.w64"}) {
            SCOPED_TRACE(codec + " " + file);
            run(start + "-c:a " + codec + " " + file + " && ffmpeg -v error -y -i " + file + " -f s16le judged");
            const Bytes judged = contents(at("judged"));
            ASSERT_EQ(open(file), DSD_SUCCESS) << error;
            ASSERT_GE(recording.signal.frames(), 4000u);
            for (std::size_t i = 0; i < 8000; ++i) {
                const auto value = static_cast<std::int16_t>(judged[2 * i] | judged[2 * i + 1] << 8);
                ASSERT_EQ(recording.signal.channel(static_cast<std::uint32_t>(i % 2))[i / 2] * 32768, value) << i;
            }
        }
}

} // namespace
} // namespace tesk
