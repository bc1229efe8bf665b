#include "engine/batch/batch_progress.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace tesk {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kRedraw = std::chrono::milliseconds(100);

} // namespace

BatchProgress::BatchProgress(std::FILE* terminal, std::vector<double> seconds)
    : terminal_(terminal), total_(std::move(seconds)), done_(total_.size()), ended_(total_.size()),
      start_(Clock::now()), last_(start_ - kRedraw)
{
}

void BatchProgress::advance(std::size_t item, double seconds)
{
    const std::lock_guard guard(lock_);
    done_[item] = seconds;
    if (terminal_ && Clock::now() - last_ >= kRedraw) draw();
}

void BatchProgress::itemEnded(std::size_t item)
{
    const std::lock_guard guard(lock_);
    ended_[item] = true;
    total_[item] = done_[item]; // one that failed early has no more to come
    if (terminal_) draw();
}

void BatchProgress::draw()
{
    last_ = Clock::now();
    const double elapsed = std::chrono::duration<double>(last_ - start_).count();
    const double done = std::accumulate(done_.begin(), done_.end(), 0.0);
    const double total = std::accumulate(total_.begin(), total_.end(), 0.0);
    const long left = done > 0 ? static_cast<long>(elapsed * std::max(0.0, total - done) / done) : 0;
    std::fprintf(terminal_, "%-20s\t%zu/%zu items  %6.1fx  %ld:%02ld left   \r",
                 "Batch: ", static_cast<std::size_t>(std::count(ended_.begin(), ended_.end(), true)), ended_.size(),
                 elapsed > 0 ? done / elapsed : 0.0, left / 60, left % 60);
    std::fflush(terminal_);
    drawn_ = true;
}

void BatchProgress::between(const std::function<void()>& print)
{
    const std::lock_guard guard(lock_);
    if (drawn_) {
        std::fputs("\r\033[K", terminal_);
        std::fflush(terminal_);
    }
    drawn_ = false;
    print();
}

} // namespace tesk
