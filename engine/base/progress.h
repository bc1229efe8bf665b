// How far a job has come, for people and for programs.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>

namespace tesk {

/// On a terminal one line that redraws itself at most ten times a second; with `machineReadable` a
/// "[PROGRESS] %.1f%%" line a block, straight to standard output; and whoever else listens.
class Progress {
public:
    struct Shown {
        std::FILE* terminal = nullptr; ///< where the line is drawn; null: nowhere
        bool machineReadable = false;
        std::function<void(double)> listener = {}; ///< seconds of music that are done; on the job's thread
    };

    /// @param total   frames of the whole job; `framesPerSecond` of the music
    Progress(std::uint64_t total, std::uint32_t framesPerSecond, Shown shown);

    void advance(std::uint64_t done);
    /// Ends the redrawn line.
    void finish();

private:
    void redraw(std::uint64_t done, double elapsed);

    std::uint64_t total_;
    double framesPerSecond_;
    Shown shown_;
    std::chrono::steady_clock::time_point start_, last_;
    bool drawn_ = false;
};

} // namespace tesk
