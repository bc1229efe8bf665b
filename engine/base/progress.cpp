#include "engine/base/progress.h"

#include <utility>

namespace tesk {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kRedraw = std::chrono::milliseconds(100);

} // namespace

Progress::Progress(std::uint64_t total, std::uint32_t framesPerSecond, Shown shown)
    : total_(total), framesPerSecond_(framesPerSecond), shown_(std::move(shown)), start_(Clock::now()),
      last_(start_ - kRedraw)
{
}

void Progress::advance(std::uint64_t done)
{
    if (shown_.machineReadable) {
        const float percent = static_cast<float>(done) / static_cast<float>(total_) * 100.0F;
        std::fprintf(stdout, "[PROGRESS] %.1f%%\n", static_cast<double>(percent));
        std::fflush(stdout);
    }
    if (shown_.listener) shown_.listener(static_cast<double>(done) / framesPerSecond_);
    if (!shown_.terminal) return;
    const auto now = Clock::now();
    if (now - last_ < kRedraw && done != total_) return;
    last_ = now;
    redraw(done, std::chrono::duration<double>(now - start_).count());
}

void Progress::redraw(std::uint64_t done, double elapsed)
{
    const double music = static_cast<double>(done) / framesPerSecond_;
    const double speed = elapsed > 0 ? music / elapsed : 0;
    const double left = done > 0 ? elapsed * static_cast<double>(total_ - done) / static_cast<double>(done) : 0;
    std::fprintf(shown_.terminal, "%-20s\t%ld / %ld  %6.1fx  %ld:%02ld left   \r",
                 "Progress: ", static_cast<long>(done), static_cast<long>(total_), speed, static_cast<long>(left) / 60,
                 static_cast<long>(left) % 60);
    std::fflush(shown_.terminal);
    drawn_ = true;
}

void Progress::finish()
{
    if (drawn_) std::fputs("\n", shown_.terminal);
    drawn_ = false;
}

} // namespace tesk
