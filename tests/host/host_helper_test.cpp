// The helper for hosts around the real library: what a host sees, and what it must never notice.
#include "public/tesk_host.hpp"

#include <clocale>
#include <cmath>
#include <csignal>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <numeric>
#include <sys/stat.h>

namespace {

using tesk_host::Job;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

void put(std::string& bytes, std::uint32_t value, int count)
{
    for (int i = 0; i < count; ++i) bytes += static_cast<char>(value >> 8 * i);
}

/// A 16-bit mono WAV file with a 1 kHz tone at 44.1 kHz.
void writeTone(const fs::path& path, std::uint32_t frames)
{
    std::string bytes = "RIFF";
    put(bytes, 36 + 2 * frames, 4);
    bytes += "WAVEfmt ";
    for (const auto& [value, count] :
         {std::pair{16U, 4}, {1U, 2}, {1U, 2}, {44100U, 4}, {88200U, 4}, {2U, 2}, {16U, 2}})
        put(bytes, value, count);
    bytes += "data";
    put(bytes, 2 * frames, 4);
    for (std::uint32_t i = 0; i < frames; ++i)
        put(bytes, static_cast<std::uint32_t>(std::lround(16000 * std::sin(2 * M_PI * i / 44.1))), 2);
    std::ofstream(path, std::ios::binary) << bytes;
}

std::uint64_t number(const std::string& bytes, std::size_t at)
{
    std::uint64_t value = 0;
    for (std::size_t i = 8; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return value;
}

/// Whether a mono DSF file holds `frames` frames 64 times oversampled, with the modulator's tail and a filled last
/// block of 32768 bits, and all its sizes agree. Source of the positions: DSF File Format 1.01 (Sony).
bool isWhole(const fs::path& path, std::uint64_t frames)
{
    std::ifstream in(path, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    if (bytes.size() < 92 || number(bytes, 12) != bytes.size() || number(bytes, 84) != bytes.size() - 80) return false;
    const std::uint64_t samples = number(bytes, 64);
    return samples >= frames * 64 && samples <= frames * 64 + 3 * 32768 && samples <= 8 * (bytes.size() - 92);
}

class HostHelper : public testing::Test {
protected:
    void SetUp() override
    {
        const char* temp = std::getenv("TEMP");
        folder_ = fs::path(temp ? temp : "/tmp") / ("host_test_" + std::to_string(::getpid()));
        fs::create_directories(folder_);
        writeTone(path("short.wav"), 4410);
    }
    void TearDown() override { fs::remove_all(folder_); }

    fs::path path(const char* name) const { return folder_ / name; }
    std::vector<std::string> convert(const char* input, const char* output, std::vector<std::string> more = {}) const
    {
        more.insert(more.begin(), {"-i", path(input), path(output)});
        return more;
    }
    std::vector<std::string> readBack(const char* input) const
    {
        return {"--reverse", path(input), path("back.wav"), "-lf", path("log")};
    }
    /// Minutes of work, so that a stop always comes in time.
    std::vector<std::string> longJob(const char* output)
    {
        if (!fs::exists(path("long.wav"))) writeTone(path("long.wav"), 44100 * 60);
        return convert("long.wav", output, {"-os", "512"});
    }

private:
    fs::path folder_;
};

/// What a stream leads to; 0 when it is closed.
ino_t target(int descriptor)
{
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 ? status.st_ino : 0;
}

TEST_F(HostHelper, ProgressRisesToTheEndAndNothingIsLeftBehind)
{
    const auto descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{});
    };
    const ino_t output = target(STDOUT_FILENO);
    std::ptrdiff_t open = 0;
    for (int round = 0; round < 3; ++round) {
        {
            std::vector<double> percents;
            Job job(convert("short.wav", "a.dsf"));
            ASSERT_EQ(job.run([&](double percent) { percents.push_back(percent); }), 0);
            EXPECT_GE(percents.size(), 5U); // 4410 frames in blocks of 1/75 s
            EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
            EXPECT_EQ(percents.back(), 100.0);
            EXPECT_TRUE(isWhole(path("a.dsf"), 4410));
            EXPECT_EQ(target(STDOUT_FILENO), output);
            EXPECT_THROW(job.run(), std::logic_error);
        }
        if (round == 0) open = descriptors(); // what the engine keeps for good, it has now
    }
    EXPECT_EQ(descriptors(), open);
}

TEST_F(HostHelper, AStopEndsTheJobWithinASecondWhoeverAsks)
{
    const ino_t output = target(STDOUT_FILENO);
    static std::atomic<Job*> current; // for the handler, which has no other way
    for (const std::string by : {"a thread", "a callback", "a signal", "a throwing callback"}) {
        Job job(longJob("stopped.dsf"));
        current = &job;
        std::atomic<bool> begun{false};
        Clock::time_point asked;
        const auto ask = [&] {
            asked = Clock::now();
            begun = true;
            if (by == "a callback") job.stop();
            if (by == "a throwing callback") throw std::runtime_error("no more");
        };
        std::thread other([&] {
            while (!begun) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            if (by == "a thread") job.stop();
            if (by == "a signal") {
                std::signal(SIGUSR1, [](int) { current.load()->stop(); });
                std::raise(SIGUSR1);
            }
        });
        const auto onProgress = [&](double percent) {
            if (percent > 0 && !begun) ask();
        };
        if (by == "a throwing callback")
            EXPECT_THROW(job.run(onProgress), std::runtime_error);
        else
            EXPECT_EQ(job.run(onProgress), tesk_host::kStopped) << by;
        EXPECT_LT(Clock::now() - asked, std::chrono::seconds(1)) << by;
        EXPECT_EQ(target(STDOUT_FILENO), output) << by;
        other.join();
        EXPECT_FALSE(isWhole(path("stopped.dsf"), 44100 * 60)) << by;
        job.stop(); // behind the end: of no effect on the next
        // What was written can be read, though its header announces the whole recording.
        ASSERT_EQ(Job(readBack("stopped.dsf")).run(), 0) << by;
        EXPECT_GT(fs::file_size(path("back.wav")), 44U + 4 * 44100 / 75) << by;
        EXPECT_LT(fs::file_size(path("back.wav")), 44U + 4 * 44100 * 60) << by;
    }
}

TEST_F(HostHelper, AStopThatComesTooLateOrTooEarlyHitsNoOther)
{
    // As an engine that ends while the stop is on its way: the flag in it stays.
    static Job* asked = nullptr;
    Job late(convert("short.wav", "late.dsf"), [](int argc, char** argv) {
        const int status = tesk_engine_main(argc, argv);
        asked->stop();
        std::this_thread::sleep_for(std::chrono::milliseconds(200)); // the control thread takes it
        return status;
    });
    asked = &late;
    EXPECT_EQ(late.run(), 0);
    std::vector<double> percents;
    EXPECT_EQ(Job(convert("short.wav", "next.dsf")).run([&](double percent) { percents.push_back(percent); }), 0);
    EXPECT_TRUE(isWhole(path("next.dsf"), 4410));
    ASSERT_FALSE(percents.empty());
    EXPECT_EQ(percents.back(), 100.0);

    Job early(convert("short.wav", "never.dsf"));
    early.stop();
    EXPECT_EQ(early.run(), tesk_host::kStopped);
    EXPECT_FALSE(fs::exists(path("never.dsf")));
}

TEST_F(HostHelper, RefusalsAndListsReachTheHost)
{
    const ino_t output = target(STDOUT_FILENO), error = target(STDERR_FILENO);
    EXPECT_THROW(Job({}, nullptr), std::invalid_argument);
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char* text; // on standard error
    } cases[] = {
        {{"--no-such-option"}, 1, "--no-such-option"},
        {{"-i"}, 1, "-i requires"}, // a missing value must not become one of the helper's words
        {{"-i", path("missing.wav"), path("x.dsf")}, -51, "cannot open"},
        {{"--version"}, 0, "Tesk Engine"},
        {{"--version"}, 0, "Tesk Engine"}, // and not the status that the banner before it left
        {{"--reverse", "--help"}, 0, "Usage"},
        {convert("short.wav", "a.dsf"), 0, "OK."},
        {readBack("a.dsf"), 0, "Done."},
        {{"-i", path("missing.wav"), path("x.dsf")}, -51, "cannot open"},
    };
    for (const auto& c : cases) {
        std::string text;
        EXPECT_EQ(Job(c.arguments).run({}, {}, [&](std::string_view line) { text += line; }), c.status)
            << testing::PrintToString(c.arguments);
        EXPECT_NE(text.find(c.text), std::string::npos) << text;
        EXPECT_EQ(target(STDOUT_FILENO), output);
        EXPECT_EQ(target(STDERR_FILENO), error);
    }
    EXPECT_GT(fs::file_size(path("back.wav")), 4410U * 4);
}

TEST_F(HostHelper, OneJobAtATimeWhoeverCallsAndHoweverTheEngineIsReached)
{
    void* const library = ::dlopen(TEST_LIBRARY, RTLD_NOW);
    ASSERT_NE(library, nullptr) << ::dlerror();
    const auto loaded = reinterpret_cast<tesk_host::EngineMain>(::dlsym(library, "tesk_engine_main"));
    static std::atomic<int> inside;
    static tesk_host::EngineMain engine;
    inside = 0;
    engine = loaded;
    const auto watched = [](int argc, char** argv) {
        EXPECT_EQ(++inside, 1);
        const int status = engine(argc, argv);
        --inside;
        return status;
    };
    const char* names[] = {"0.dsf", "1.dsf", "2.dsf"};
    std::vector<std::thread> threads;
    for (const char* name : names)
        threads.emplace_back([&, name] { EXPECT_EQ(Job(convert("short.wav", name), watched).run(), 0) << name; });
    for (std::thread& thread : threads) thread.join();
    for (const char* name : names) EXPECT_TRUE(isWhole(path(name), 4410)) << name;
}

TEST_F(HostHelper, TextThatIsNoWholeLineAndAHostWithoutStandardOutput)
{
    static std::vector<int> inherited;
    const tesk_host::EngineMain odd = [](int argc, char** argv) {
        inherited.push_back(::dup(STDOUT_FILENO)); // as a child has it that the host starts meanwhile
        tesk_engine_main(argc, argv);              // refused; here for the channel's sake
        std::printf("[PROGRESS] 12.5%%\n[PROGRESS] 12.5\n\n[PROGRESS] x%%\nlast");
        return -7;
    };
    std::vector<std::string> lines;
    std::vector<double> percents;
    const auto take = [&] {
        lines.clear();
        percents.clear();
        Job job({"--no-such-option"}, odd);
        return job.run([&](double percent) { percents.push_back(percent); },
                       [&](std::string_view line) { lines.emplace_back(line); });
    };
    const std::vector<std::string> expected = {"[PROGRESS] 12.5", "", "[PROGRESS] x%", "last"};
    EXPECT_EQ(take(), -7);
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(percents, std::vector<double>{12.5});

    std::fflush(stdout);
    const int before = ::dup(STDOUT_FILENO);
    ::close(STDOUT_FILENO);
    const int status = take();
    const bool closedAgain = target(STDOUT_FILENO) == 0;
    ::dup2(before, STDOUT_FILENO);
    ::close(before);
    EXPECT_EQ(status, -7);
    EXPECT_TRUE(closedAgain);
    for (const int descriptor : inherited) ::close(descriptor);
    EXPECT_EQ(lines, expected);
}

} // namespace
