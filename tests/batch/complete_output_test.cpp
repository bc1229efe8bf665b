// Whole files of our writers and of other programs, and the same cut, stretched and stopped.
#include "engine/batch/complete_output.h"

#include "container/dff_dst_writer.h"
#include "container/dff_writer.h"
#include "container/wsd_writer.h"
#include "tests/pcm/pcm_fixture.h"

namespace tesk {
namespace {

/// The plain form of DST: a zero byte and the frame.
class PlainFormCoder final : public DstFrameCoder {
public:
    explicit PlainFormCoder(Receiver receiver) : receiver_(std::move(receiver)) {}
    Status push(Bytes frame) override
    {
        Buffer coded(1, 0);
        coded.insert(coded.end(), frame.begin(), frame.end());
        return receiver_(coded);
    }
    Status finish() override { return {}; }
    unsigned threads() const override { return 1; }

private:
    Receiver receiver_;
};

template <class Writer>
std::unique_ptr<DsdWriter> writerOf(ByteSink& sink, Reporter& report)
{
    return std::make_unique<Writer>(sink, report, 2);
}

std::unique_ptr<DsdWriter> dstWriter(ByteSink& sink, Reporter& report)
{
    return std::make_unique<DffDstWriter>(sink, report, 2, [](const DsdStreamInfo&, DstFrameCoder::Receiver receiver) {
        return std::make_unique<PlainFormCoder>(std::move(receiver));
    });
}

class CompleteOutput : public PcmFileTest {
protected:
    /// Whole as it is, and no longer when it is cut anywhere, stretched, or shorter than the source.
    void expectWhole(const std::string& name, double seconds)
    {
        SCOPED_TRACE(name);
        const Buffer whole = contents(name);
        for (const double expected : {-1.0, 0.0, seconds, seconds + 0.049})
            EXPECT_TRUE(outputIsComplete(at(name), expected)) << expected;
        EXPECT_FALSE(outputIsComplete(at(name), seconds + 0.07)); // a DSF file is up to 0.012 s longer
        for (std::size_t i = 0; i < 40; ++i) {
            const std::size_t size = i < 20 ? whole.size() - 8 * i - 8 : whole.size() * (i - 20) / 20;
            save("cut", Buffer(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
            EXPECT_FALSE(outputIsComplete(at("cut"))) << size << " of " << whole.size();
        }
    }
};

TEST_F(CompleteOutput, OneBitContainers)
{
    const DsdStreamInfo info{2, 2822400, 75 * 4704, 4704}; // 1 s
    for (const auto& [name, maker] : {std::pair("x.dsf", &writerOf<DsfWriter>),
                                      {"x.dff", &writerOf<DffWriter>},
                                      {"x.wsd", &writerOf<WsdWriter>},
                                      {"x.dst", &dstWriter}}) {
        MemorySink sink;
        CollectingReporter quiet;
        ASSERT_TRUE(run(*maker(sink, quiet), info, info.bytes, info.blockBytes, allTags(), quiet));
        save(name, sink.bytes);
        expectWhole(name, 1.0);
        sink.bytes.insert(sink.bytes.end(), 9, 0);
        save(name, sink.bytes);
        EXPECT_FALSE(outputIsComplete(at(name))) << name << " with bytes behind it";

        MemorySink half; // a host stop after half a second
        const auto stopped = maker(half, quiet);
        ASSERT_TRUE(feed(*stopped, info, info.bytes / 2, info.blockBytes));
        ASSERT_TRUE(stopped->stop());
        save(name, half.bytes);
        const bool tellsItsLength = std::string(name) == "x.dst"; // so only the source's length betrays it
        EXPECT_EQ(outputIsComplete(at(name)), tellsItsLength) << name;
        EXPECT_FALSE(outputIsComplete(at(name), 1.0)) << name;
    }
}

TEST_F(CompleteOutput, PcmFiles)
{
    for (const std::string& ending : endings()) {
        const PcmFormat format{44100, 2, 24, false, false};
        ASSERT_TRUE(make("own" + ending, format, makeSound(format, 44100), {44100, someTags()})) << error;
        expectWhole("own" + ending, 1.0);
    }
    const PcmFormat wave64{44100, 2, 32, true, true};
    ASSERT_TRUE(make("own.w64", wave64, makeSound(wave64, 44101), {})) << error;
    expectWhole("own.w64", 1.0);
    output("ffmpeg -v error -f lavfi -i sine=d=1 -rf64 always rf.wav && ffmpeg -v error -i rf.wav f.w64 && "
           "sox -n -r 44100 s.wav synth 1 sine 99 && sox s.wav s.flac");
    for (const char* name : {"rf.wav", "f.w64", "s.wav", "s.flac"}) expectWhole(name, 1.0);
}

TEST_F(CompleteOutput, OtherThings)
{
    output("ffmpeg -v error -f lavfi -i sine=d=1 x.aiff && ffmpeg -v error -i x.aiff -f wav - | cat >stream.wav");
    save("empty", {});
    for (const char* name : {"missing.dsf", "", "x.aiff", "stream.wav", "empty"})
        EXPECT_FALSE(outputIsComplete(at(name))) << name;
}

} // namespace
} // namespace tesk
