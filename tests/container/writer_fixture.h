// What the tests of the interleaving writers share: a stream that is known byte for byte, a sink that misbehaves, and
// ffmpeg as a judge.
#pragma once

#include "container/byte_sink.h"
#include "container/dsf_writer.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace tesk {

using Buffer = std::vector<std::uint8_t>;
/// A writer with so many blocks in a batch.
using MakeWriter = std::function<std::unique_ptr<DsdWriter>(ByteSink&, Reporter&, int batchBlocks)>;

inline std::uint64_t bigEndian(const Buffer& bytes, std::size_t at, int width)
{
    std::uint64_t value = 0;
    for (int i = 0; i < width; ++i) value = value << 8 | bytes.at(at + static_cast<std::size_t>(i));
    return value;
}

inline std::string letters(const Buffer& bytes, std::size_t at, std::size_t count)
{
    return {reinterpret_cast<const char*>(bytes.data()) + at, count};
}

/// Byte i of a channel: noise that no other place repeats.
inline std::uint8_t streamByte(std::uint32_t channel, std::uint64_t i)
{
    return static_cast<std::uint8_t>(((i + 1) * 0x9E3779B97F4A7C15 ^ channel * 0xD1B54A32D192ED03) >> 37);
}

/// Every field but the genre, which is given as empty.
inline MetadataRecord allTags()
{
    MetadataRecord m;
    m.title = "Überfahrt";
    m.artist = "Trio";
    m.album = "Hafen";
    m.genre = "";
    m.date = "1999";
    m.comment = "odd";
    m.track = 7;
    return m;
}

/// Begins and feeds `total` bytes per channel in pieces; the first failure ends it. `reversed` puts the first sample
/// into the low bit.
inline Status feed(DsdWriter& writer, const DsdStreamInfo& info, std::size_t total, std::size_t piece,
                   bool reversed = false)
{
    Status status = writer.begin(info);
    for (std::size_t at = 0; at < total && status; at += piece) {
        std::vector<Buffer> data(info.channels, Buffer(std::min(piece, total - at)));
        std::vector<const std::uint8_t*> planar;
        for (std::uint32_t c = 0; c < info.channels; ++c) {
            for (std::size_t i = 0; i < data[c].size(); ++i)
                for (int bit = 0; bit < 8; ++bit)
                    data[c][i] |=
                        static_cast<std::uint8_t>((streamByte(c, at + i) >> bit & 1) << (reversed ? 7 - bit : bit));
            planar.push_back(data[c].data());
        }
        status = writer.append(planar.data(), data[0].size());
    }
    return status;
}

inline Status run(DsdWriter& writer, const DsdStreamInfo& info, std::size_t total, std::size_t piece,
                  const MetadataRecord& metadata, Reporter& report, bool reversed = false)
{
    const Status status = feed(writer, info, total, piece, reversed);
    return status ? writer.finish(metadata, report) : status;
}

/// The file of a whole run.
inline Buffer written(const MakeWriter& make, const DsdStreamInfo& info, std::size_t total, std::size_t piece,
                      const MetadataRecord& metadata, int batchBlocks = 2)
{
    MemorySink sink;
    CollectingReporter report;
    const auto writer = make(sink, report, batchBlocks);
    EXPECT_TRUE(run(*writer, info, total, piece, metadata, report)) << report.text;
    EXPECT_EQ(writer->bytesWritten(), sink.bytes.size());
    return sink.bytes;
}

/// Whether the sound at `offset` is the fed stream, interleaved.
inline bool holdsStream(const Buffer& file, std::size_t offset, std::uint32_t channels, std::size_t bytes)
{
    if (file.size() < offset + channels * bytes) return false;
    for (std::size_t i = 0; i < bytes * channels; ++i)
        if (file[offset + i] != streamByte(static_cast<std::uint32_t>(i % channels), i / channels)) return false;
    return true;
}

/// One stream gives one file, however it is cut, batched and announced.
inline void expectOneFile(const MakeWriter& make, const MetadataRecord& metadata)
{
    const DsdStreamInfo info{3, 2822400, 470, 47};
    const Buffer whole = written(make, info, 470, 47, metadata);
    for (const std::size_t piece : {1, 5, 46}) EXPECT_EQ(written(make, info, 470, piece, metadata), whole) << piece;
    for (const int batch : {1, 3, 100}) EXPECT_EQ(written(make, info, 470, 47, metadata, batch), whole) << batch;
    for (const std::uint64_t expected : {0, 469, 5000})
        EXPECT_EQ(written(make, {3, 2822400, expected, 47}, 470, 47, metadata), whole) << expected;
}

/// Memory that fails from the n-th call on, or cannot seek.
class FaultySink final : public ByteSink {
public:
    explicit FaultySink(int calls, bool seekable = true) : calls_(calls), seekable_(seekable) {}
    Status write(Bytes data) override { return calls_-- > 0 ? memory.write(data) : Status(DSD_ERROR_ASSERT); }
    Status rewrite(std::uint64_t offset, Bytes data) override
    {
        if (!seekable_) return DSD_ERROR;
        return calls_-- > 0 ? memory.rewrite(offset, data) : Status(DSD_ERROR_ASSERT);
    }
    Result<Patched, PDM_ENCODING_STATUS> patch(std::uint64_t offset, Bytes data) override
    {
        if (!seekable_ || patchEnds == Patched::outOfReach) return Patched::outOfReach;
        if (Status status = rewrite(offset, data); !status) return status.status();
        return patchEnds;
    }
    Status flush() override { return calls_-- > 0 ? Status() : Status(DSD_ERROR_WRITE); }
    bool seekable() const override { return seekable_; }
    std::uint64_t position() const override { return memory.position(); }
    std::optional<std::uint64_t> tell() const override { return seekable_ ? memory.tell() : std::nullopt; }

    MemorySink memory;
    Patched patchEnds = Patched::done;

private:
    int calls_;
    bool seekable_;
};

/// What a disk that is full at every call in turn makes of ten blocks: the statuses, until a run is well, and texts.
inline std::vector<int> fullDisk(const MakeWriter& make, const MetadataRecord& metadata, std::string* texts = nullptr)
{
    std::vector<int> statuses;
    for (Status status = DSD_ERROR; !status;) {
        FaultySink sink(static_cast<int>(statuses.size()));
        CollectingReporter report;
        status = run(*make(sink, report, 2), {2, 2822400, 47040, 4704}, 47040, 4704, metadata, report);
        statuses.push_back(status.status());
        if (texts) *texts += report.text;
    }
    return statuses;
}

/// A folder of its own, and programs that run in it.
class JudgedTest : public testing::Test {
protected:
    JudgedTest() { std::filesystem::create_directories(folder_); }
    ~JudgedTest() override { std::filesystem::remove_all(folder_); }

    void save(const std::string& name, const Buffer& bytes) const
    {
        std::ofstream(folder_ / name, std::ios::binary) << letters(bytes, 0, bytes.size());
    }
    /// What the command prints on standard output; the test fails when it fails or complains.
    std::string output(const std::string& command) const
    {
        const std::string inFolder = "cd '" + folder_.string() + "' && " + command;
        EXPECT_EQ(std::system((inFolder + " >out 2>messages && test ! -s messages").c_str()), 0) << command;
        std::ifstream in(folder_ / "out", std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    /// The file decodes to what a DSF file of the same bits decodes to, but for the 12 samples in which the decoder
    /// still hears the silence it starts from: it has that in the bit order of the file.
    void expectSoundOfDsf(const std::string& name, const Buffer& file, const DsdStreamInfo& info) const
    {
        MemorySink sink;
        CollectingReporter report;
        DsfWriter dsf(sink, report, 8);
        ASSERT_TRUE(run(dsf, info, info.bytes, info.blockBytes, {}, report, true));
        save("x.dsf", sink.bytes);
        save(name, file);
        const std::string sound = output("ffmpeg -v error -i " + name + " -f f32le -");
        const std::size_t start = std::size_t{12} * info.channels * 4;
        ASSERT_EQ(sound.size(), info.bytes * info.channels * 4);
        EXPECT_TRUE(sound.substr(start) == output("ffmpeg -v error -i x.dsf -f f32le -").substr(start)) << name;
    }
    void expectFacts(const std::string& name, const std::vector<std::string>& facts) const
    {
        const std::string found = output("ffprobe -v error -show_streams -show_format " + name);
        for (const std::string& fact : facts) EXPECT_NE(found.find(fact), std::string::npos) << fact << found;
    }

    const std::filesystem::path folder_ =
        std::filesystem::temp_directory_path() /
        format("tesk-container-%d-%s", getpid(),
               testing::UnitTest::GetInstance()->current_test_info()->test_suite_name());
};

} // namespace tesk
