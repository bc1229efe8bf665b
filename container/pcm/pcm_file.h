// The file beneath a PCM writer: a big buffer, a position, and the first failure in the user's words.
#pragma once

#include "container/output_file.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tesk {

/// An OutputFile that is lost with its first failure: it is discarded at once, and everything after that fails with the
/// same text until the next `open`. One thread at a time.
class PcmFile {
public:
    bool open(const std::string& path);
    /// Writes at the position.
    bool write(std::span<const std::uint8_t> data);
    /// Moves the position to an offset within the file.
    bool seek(std::uint64_t offset);
    /// Gives the file its name. True when there is no file, false when it was lost.
    bool commit();
    /// Loses the file for a reason of the writer's own, which is the error text from now on. Returns false.
    bool fail(const std::string& why);

    bool isOpen() const { return state_ == State::open; }
    /// False for a device or pipe.
    bool seekable() const { return !file_.direct(); }
    std::uint64_t position() const { return position_; }
    /// Bytes of the file, those still in the buffer included.
    std::uint64_t size() const { return size_; }
    const std::string& errorText() const { return errorText_; }

private:
    enum class State { none, open, lost };

    std::vector<char> buffer_; // outlives the stream that uses it
    OutputFile file_;
    State state_ = State::none;
    std::string path_, errorText_;
    std::uint64_t position_ = 0, size_ = 0;
};

} // namespace tesk
