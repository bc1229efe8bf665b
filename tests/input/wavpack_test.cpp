// WavPack files from the reference encoder and ffmpeg's: every sample type, hybrid pairs, damage, and DSD.
#include "tests/input/load_fixture.h"

#include "input/wavpack_reader.h"

namespace tesk {
namespace {

class WavPack : public LoadTest {
protected:
    /// Encodes to `x.wv` and returns its bytes. `bits` where fewer are valid than are stored.
    Bytes pack(const Noise& noise, const std::string& options = "", int bits = 0)
    {
        save(at("pcm.raw"), noise.raw);
        run("wavpack -q -y " + options + " pcm.raw -o x.wv" +
            format(" --raw-pcm=88200,%d%c,%u,le", bits ? bits : noise.bits(), noise.format[0], noise.channels));
        return contents(at("x.wv"));
    }
    /// The same from both paths to the file's bytes, and nothing to complain about.
    void expectFile(const std::string& name, const Noise& noise, int bits = 0)
    {
        for (const char* stream : {"1", "0"}) {
            const Variable how("TESK_WAVPACK_STREAM", stream);
            ASSERT_EQ(open(name), DSD_SUCCESS) << error;
            EXPECT_EQ(recording.info.streamed, *stream == '1');
            expectSound(noise, "WavPack", 88200, bits);
        }
    }
    void expectFailure(const std::string& text, const std::string& name = "x.wv")
    {
        for (const char* stream : {"1", "0"}) {
            const Variable how("TESK_WAVPACK_STREAM", stream);
            expectRefused(open(name), text);
        }
    }
    /// Writes `x.wv`, or another file, as a part of `file`.
    void savePart(const Bytes& file, std::ptrdiff_t begin, std::ptrdiff_t end, const std::string& name = "x.wv")
    {
        save(at(name), Bytes(file.begin() + begin, file.begin() + end));
    }
    static std::ptrdiff_t length(const Bytes& file) { return static_cast<std::ptrdiff_t>(file.size()); }

    /// Where the blocks begin: "wvpk", then the length of what follows.
    static std::vector<std::ptrdiff_t> blocksOf(const Bytes& file)
    {
        std::vector<std::ptrdiff_t> starts;
        for (std::size_t at = 0; at < file.size(); at += 8u + file[at + 4] + file[at + 5] * 256u)
            starts.push_back(static_cast<std::ptrdiff_t>(at));
        return starts;
    }
};

TEST_F(WavPack, EverySampleTypeIsExact)
{
    for (const char* name : {"s8", "s16le", "s24le", "s32le", "f32le"})
        for (const std::uint32_t channels : {1u, 2u, 6u, 8u, 64u}) {
            const Noise noise = makeNoise(name, channels, channels > 8 ? 700 : 9001);
            pack(noise, channels == 2 ? "-hx1 --blocksize=1000" : "");
            expectFile("x.wv", noise);
        }
    for (const auto& [name, bytes] : {std::pair{"s16le", 2u}, {"s24le", 3u}}) { // the lowest four bits are not valid
        Noise noise = makeNoise(name, 2, 5000);
        for (std::size_t i = 0; i < noise.truth.size(); ++i) {
            noise.truth[i] -= std::ldexp(noise.raw[i * bytes] & 0x0F, 1 - 8 * static_cast<int>(bytes));
            noise.raw[i * bytes] &= 0xF0;
        }
        pack(noise, "", noise.bits() - 4);
        expectFile("x.wv", noise, noise.bits() - 4);
    }
    // Floats of full scale 32768 in a WAV file that calls them integers; -a tells the encoder so.
    const Noise noise = makeNoise("f32le", 1, 3000);
    ByteWriter out(ByteOrder::little);
    out.tag("RIFF").u32(12036).tag("WAVEfmt ").u32(16).u16(1).u16(1).u32(88200).u32(352800).u16(4).u16(32);
    out.tag("data").u32(12000);
    for (const double value : noise.truth) out.u32(std::bit_cast<std::uint32_t>(static_cast<float>(value * 32768)));
    save(at("a.wav"), out.take());
    run("wavpack -q -y -a a.wav -o x.wv");
    expectFile("x.wv", noise);
    pack(makeNoise("s8", 65, 200));
    expectFailure("65 channels");
}

TEST_F(WavPack, AHybridFileTakesItsCorrection)
{
    for (const char* name : {"f32le", "s16le"}) {
        const Noise noise = makeNoise(name, 2, 9001);
        save(at("Y.WV"), pack(noise, "-b5 -c --blocksize=1000"));
        Bytes correction = contents(at("x.wvc"));
        save(at("Y.WVC"), correction);
        for (const char* either : {"x.wv", "x.wvc", "Y.WV", "Y.WVC"}) expectFile(either, noise);
        savePart(correction, 0, length(correction) - 100, "x.wvc");
        expectFailure("frame 9001 of 9001: 1 damaged block in the .wv or the .wvc file");
        save(at("x.wvc"), {});
        expectFailure("the correction file (.wvc) is damaged");
        correction[correction.size() / 2] ^= 4;
        save(at("x.wvc"), correction);
        expectFailure("1 damaged block in the .wv or the .wvc file");
    }
    run("mkdir alone && mv x.wvc alone/x.wvc && wvunpack -q -y --raw x.wv -o decoded.raw");
    ASSERT_EQ(open("x.wv"), DSD_SUCCESS) << error;
    EXPECT_TRUE(reported("no correction file (.wvc)")) << report.text;
    const Bytes judged = contents(at("decoded.raw"));
    Noise decoded{"s16le", 2, {}, {}};
    for (std::size_t i = 0; i < judged.size(); i += 2)
        decoded.append(static_cast<std::int16_t>(judged[i] | judged[i + 1] << 8));
    expectTruth(decoded);
    expectFailure(at("alone/x.wv") + "' is missing", "alone/x.wvc");
}

TEST_F(WavPack, WhatIsNoRecordingSaysSo)
{
    ByteWriter dsf(ByteOrder::little);
    dsf.tag("DSD ").u64(28).u64(28 + 52 + 12 + 16384).u64(0);
    dsf.tag("fmt ").u64(52).u32(1).u32(0).u32(2).u32(2).u32(2822400).u32(1).u64(65536).u32(4096).u32(0);
    dsf.tag("data").u64(12 + 16384).raw(Bytes(16384, 0x69));
    save(at("d.dsf"), dsf.take());
    run("wavpack -q -y d.dsf -o x.wv");
    expectFailure("holds DSD (1-bit) already");

    const Bytes surround = pack(makeNoise("s16le", 6, 1000));
    savePart(surround, 0, blocksOf(surround)[1]);
    expectFailure("no samples decoded (see the WavPack library's own reason above, if any)");
    for (const auto& [name, text] : {std::pair{"missing.wv", "cannot open file"}, {"d.dsf", "not WavPack"}}) {
        expectRefused(loadFrom(WavPackReader(), at(name)), text);
        EXPECT_EQ(error, text);
    }
}

TEST_F(WavPack, LostBlocksNeverPassForAWholeFile)
{
    const Noise noise = makeNoise("s16le", 2, 5500);
    const Bytes whole = pack(noise, "--blocksize=1000");
    const auto blocks = blocksOf(whole);
    ASSERT_EQ(blocks.size(), 6u);
    Bytes file = whole;
    file.erase(file.begin() + blocks[2], file.begin() + blocks[3]);
    save(at("x.wv"), file);
    expectFailure("WavPack decoding failed at frame 4096 of 5500: 1 damaged block");
    savePart(whole, 0, blocks[5]);
    expectFailure("frame 5000 of 5500: the file is cut short");
    savePart(whole, blocks[1], length(whole));
    ASSERT_EQ(open("x.wv"), DSD_SUCCESS) << error;
    EXPECT_TRUE(reported("begins with frame 1000")) << report.text;
    expectTruth({"s16le", 2, {}, {noise.truth.begin() + 2000, noise.truth.end()}});

    // From a pipe into a pipe: the length is found in the last block.
    run("cat pcm.raw | wavpack -q -y --raw-pcm=88200,16,2 --blocksize=1000 - -o - > x.wv");
    expectFile("x.wv", noise);
    const Bytes piped = contents(at("x.wv"));
    ASSERT_EQ(piped[12] & piped[13] & piped[14] & piped[15], 0xFF); // stands for "unknown"
    savePart(piped, 0, length(piped) - 4);
    expectFailure("of 5500: can't read all of last block!");

    // ffmpeg's blocks carry no checksum of their bytes, only one of their samples, as old files do.
    run("ffmpeg -v error -f s16le -ar 88200 -ac 2 -i pcm.raw -frame_size 256 -c:a wavpack -y x.wv");
    expectFile("x.wv", noise);
    for (const std::size_t byte : {8u, 9u, 23u}) { // of the first block's header: version, number of frames
        file = contents(at("x.wv"));
        file[byte] ^= 0x10;
        expectRefused(load<WavPackReader>(file), "");
        EXPECT_EQ(error, "the first block is damaged");
    }
}

TEST_F(WavPack, EveryPrefixAndEveryFlippedBitFails)
{
    const Bytes whole = pack(makeNoise("s8", 2, 300), "--blocksize=128");
    ASSERT_EQ(blocksOf(whole).size(), 3u);
    expectNoPrefixPasses<WavPackReader>(whole, whole.size());
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        SCOPED_TRACE("bit " + std::to_string(bit));
        Bytes file = whole;
        file[bit / 8] ^= static_cast<std::uint8_t>(1u << bit % 8);
        expectRefused(load<WavPackReader>(file), "");
    }
}

} // namespace
} // namespace tesk
