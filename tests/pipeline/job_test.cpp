#include "pipeline/convert.h"
#include "pipeline/kernel/dispatch.h"

#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>
#include <vector>

namespace tesk {
namespace {

namespace fs = std::filesystem;

class JobTest : public testing::Test {
protected:
    void SetUp() override
    {
        folder = fs::path(testing::TempDir()) /
                 ("job_" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(folder);
        fs::create_directories(folder);
    }
    std::string path(const std::string& name) const { return (folder / name).string(); }

    /// 24-bit stereo WAV of a tone.
    std::string wav(const std::string& name, double hz, std::uint32_t frames) const
    {
        std::string data;
        const auto put = [&data](std::uint32_t value, int bytes) {
            for (int i = 0; i < bytes; ++i) data += static_cast<char>(value >> (8 * i));
        };
        data += "RIFF";
        put(36 + frames * 6, 4);
        data += "WAVEfmt ";
        put(16, 4);
        put(1 | 2 << 16, 4);
        put(44100, 4);
        put(44100 * 6, 4);
        put(6 | 24 << 16, 4);
        data += "data";
        put(frames * 6, 4);
        for (std::uint32_t i = 0; i < frames; ++i)
            for (int c = 0; c < 2; ++c)
                put(static_cast<std::uint32_t>(static_cast<std::int32_t>(4e6 * std::sin(hz * i * 2 * M_PI / 44100))),
                    3);
        std::ofstream(path(name), std::ios::binary) << data;
        return path(name);
    }

    static std::string bytes(const std::string& file)
    {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    JobResult convert(const std::string& input, const std::string& output, int order, parallel::WorkerPool& pool)
    {
        ConversionSettings settings;
        settings.inputs = {input};
        settings.outputPath = output;
        settings.sosEfOrder = order;
        CollectingReporter report;
        StopFlag flag(stop);
        return convertPcmToPdm(settings, {report, flag, pool, kernel::kernels()});
    }

    fs::path folder;
    std::atomic<std::uint8_t> stop{0};
};

// A job owns all it uses: several at once on one pool give what each gives alone.
TEST_F(JobTest, JobsSideBySideShareNothing)
{
    parallel::WorkerPool pool(2);
    std::vector<std::string> alone;
    for (int j = 0; j < 3; ++j) {
        const std::string input = wav(std::to_string(j) + ".wav", 500.0 + 300 * j, 6000);
        ASSERT_EQ(convert(input, path("alone.dsf"), 5 + 2 * j, pool).status, DSD_SUCCESS);
        alone.push_back(bytes(path("alone.dsf")));
    }
    std::vector<std::thread> threads;
    for (int j = 0; j < 3; ++j)
        threads.emplace_back(
            [&, j] { convert(path(std::to_string(j) + ".wav"), path(std::to_string(j) + ".dsf"), 5 + 2 * j, pool); });
    for (auto& thread : threads) thread.join();
    for (int j = 0; j < 3; ++j)
        EXPECT_EQ(bytes(path(std::to_string(j) + ".dsf")), alone[static_cast<std::size_t>(j)]) << j;
}

// A stop at any moment: −61, taken once, and either no file or whole blocks under the file's name.
TEST_F(JobTest, AStopAtAnyMomentLeavesNothingHalf)
{
    parallel::WorkerPool pool(2);
    const std::string input = wav("long.wav", 1000, 100000);
    int stopped = 0;
    for (int delayMs = 0; delayMs < 200; delayMs += 10) {
        fs::remove(path("out.dsf"));
        stop = delayMs == 0 ? 1 : 0;
        std::thread host([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
            stop = 1;
        });
        const JobResult result = convert(input, path("out.dsf"), 15, pool);
        host.join();
        if (result.status == kHostStopped) {
            ++stopped;
            EXPECT_TRUE(!fs::exists(path("out.dsf")) || (fs::file_size(path("out.dsf")) - 92) % 8192 == 0);
        } else {
            EXPECT_EQ(result.status, DSD_SUCCESS);
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), fs::exists(path("out.dsf")) ? 2 : 1)
            << "no .part stays";
        stop = 0;
    }
    EXPECT_GT(stopped, 0);
}

/// Removes a folder as soon as the report mentions a word.
class FolderRemover final : public Reporter {
public:
    FolderRemover(fs::path folder, std::string word) : folder_(std::move(folder)), word_(std::move(word)) {}

protected:
    void write(Kind, std::string_view text) override
    {
        if (text.find(word_) != std::string_view::npos) fs::remove_all(folder_);
    }

private:
    fs::path folder_;
    std::string word_;
};

// The second file of a continuous stream cannot be opened any more: the first one stays, whole, and nothing else.
TEST_F(JobTest, AContinuousStreamEndsAtTheTrackThatCannotBeOpened)
{
    parallel::WorkerPool pool(2);
    fs::create_directories(path("gone"));
    ConversionSettings settings;
    settings.inputs = {wav("in.wav", 1000, 60000)};
    settings.outputPath = path("x.dsf");
    JobPiece piece;
    piece.cuts = {{0, path("a.dsf"), {}}, {30000, path("gone/b.dsf"), {}}};
    FolderRemover report(path("gone"), "FIR guard");
    StopFlag flag(stop);
    EXPECT_EQ(convertPcmToPdm(settings, {report, flag, pool, kernel::kernels()}, piece).status, DSD_ERROR_OUTPUT);
    EXPECT_EQ(fs::file_size(path("a.dsf")), 92u + 2 * 59 * 4096); // 240,000 bytes a channel are 58.6 blocks
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 2);
}

TEST_F(JobTest, FailsBeforeItTouchesAnExistingOutput)
{
    parallel::WorkerPool pool(1);
    std::ofstream(path("out.dsf")) << "precious";
    EXPECT_EQ(convert(path("missing.wav"), path("out.dsf"), 15, pool).status, DSD_ERROR_INPUT);
    EXPECT_EQ(convert(wav("a.wav", 1000, 100), path("out.dsf"), 13, pool).status, DSD_ERROR_UNSUPPORTED_ORDER);
    EXPECT_EQ(convert(path("a.wav"), path("a.wav"), 15, pool).status, DSD_ERROR_OUTPUT);
    EXPECT_EQ(bytes(path("out.dsf")), "precious");
}

} // namespace
} // namespace tesk
