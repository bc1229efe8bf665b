// Converts a recording and draws a bar of its own. Ctrl-C stops, and keeps what was written.
//
//     tesk_example_host -i song.flac song.dsf --headroom auto
#include <public/tesk_host.hpp>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::atomic<tesk_host::Job*> current{nullptr};

extern "C" void onInterrupt(int /*signal*/)
{
    if (tesk_host::Job* const job = current) job->stop();
}

/// On standard error: standard output is the engine's while a job runs.
void drawBar(double percent)
{
    constexpr int width = 40;
    const std::string done(static_cast<std::size_t>(percent / 100 * width), '#');
    std::fprintf(stderr, "\r[%-*s] %5.1f%%", width, done.c_str(), percent);
}

int convert(std::vector<std::string> arguments)
{
    tesk_host::Job job(std::move(arguments));
    current = &job;
    std::signal(SIGINT, onInterrupt);
    std::string text; // a list that was asked for, such as the tracks of a disc
    const int status = job.run(drawBar, [&text](std::string_view line) { text.append(line).append("\n"); });
    std::signal(SIGINT, SIG_DFL);
    current = nullptr;
    std::fputs(text.c_str(), stdout);
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        const int status = convert({argv + 1, argv + argc});
        std::fprintf(stderr, "\n%s, status %d\n",
                     status == 0                     ? "done"
                     : status == tesk_host::kStopped ? "stopped; the file is readable up to there"
                                                     : "failed",
                     status);
        return status == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
