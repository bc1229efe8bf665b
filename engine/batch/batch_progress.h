// How far a whole batch has come, on one line of a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <mutex>
#include <vector>

namespace tesk {

/// "Batch:  3/8 items    24.1x   2:10 left", drawn at most ten times a second. Any thread may call.
class BatchProgress {
public:
    /// @param terminal  where the line is drawn; null: nowhere
    /// @param seconds   of music in each item; 0 where nobody knows
    BatchProgress(std::FILE* terminal, std::vector<double> seconds);

    /// `seconds` of the item's music are done.
    void advance(std::size_t item, double seconds);
    void itemEnded(std::size_t item);
    /// Takes the line away and lets `print` print; the next step draws the line again, below.
    void between(const std::function<void()>& print);

private:
    void draw();

    std::mutex lock_;
    std::FILE* terminal_;
    std::vector<double> total_, done_;
    std::vector<bool> ended_;
    std::chrono::steady_clock::time_point start_, last_;
    bool drawn_ = false;
};

} // namespace tesk
