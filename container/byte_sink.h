// Where a writer's bytes go: a file, a pipe, a batch in front of either, or a test.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/result.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <vector>

namespace tesk {

using Bytes = std::span<const std::uint8_t>;

/// How a patch ended: as it should, with nothing written because the place was out of reach, or not back at the end.
enum class Patched { done, outOfReach, notAtEnd };

/// Bytes in order, and rewriting of what is already there. One thread at a time.
class ByteSink {
public:
    virtual ~ByteSink() = default;
    virtual Status write(Bytes data) = 0;
    /// Replaces bytes at an absolute offset; the position stays at the end. Fails where seeking is impossible.
    virtual Status rewrite(std::uint64_t offset, Bytes data) = 0;
    /// The same for bytes that the file can do without: only a write that fails is a failure.
    virtual Result<Patched, PDM_ENCODING_STATUS> patch(std::uint64_t offset, Bytes data) = 0;
    /// Hands on everything that is held back.
    virtual Status flush() = 0;
    /// Whether `rewrite` is possible at all.
    virtual bool seekable() const { return true; }
    /// Bytes written so far, those held back included.
    virtual std::uint64_t position() const = 0;
    /// The same as the system counts it; nothing where it does not.
    virtual std::optional<std::uint64_t> tell() const { return position(); }
};

/// An open file, or a device that is written like one and then does not seek. Reports what fails; a short write
/// ("write_cached_block: ...") is DSD_ERROR_ASSERT.
class FileSink final : public ByteSink {
public:
    FileSink(std::FILE* file, Reporter& report, bool seekable = true)
        : file_(file), report_(report), seekable_(seekable)
    {
    }
    Status write(Bytes data) override;
    Status rewrite(std::uint64_t offset, Bytes data) override;
    Result<Patched, PDM_ENCODING_STATUS> patch(std::uint64_t offset, Bytes data) override;
    Status flush() override;
    bool seekable() const override { return seekable_; }
    std::uint64_t position() const override { return position_; }
    std::optional<std::uint64_t> tell() const override;

private:
    Status complete(std::size_t expected, std::size_t written);

    std::FILE* file_;
    Reporter& report_;
    bool seekable_;
    std::uint64_t position_ = 0;
};

/// Standard output of pipe mode. Flushes after every write, so that a player on the other end never starves.
class PipeSink final : public ByteSink {
public:
    PipeSink(std::FILE* pipe, Reporter& report) : pipe_(pipe), report_(report) {}
    Status write(Bytes data) override;
    Status rewrite(std::uint64_t, Bytes) override { return DSD_ERROR; }
    Result<Patched, PDM_ENCODING_STATUS> patch(std::uint64_t, Bytes) override { return Patched::outOfReach; }
    bool seekable() const override { return false; }
    Status flush() override;
    std::uint64_t position() const override { return position_; }
    std::optional<std::uint64_t> tell() const override { return {}; }

private:
    std::FILE* pipe_;
    Reporter& report_;
    std::uint64_t position_ = 0;
};

/// Takes everything and keeps nothing: for a terminal that must not be flooded with DSD data, and for benchmarks.
class NullSink final : public ByteSink {
public:
    Status write(Bytes data) override
    {
        position_ += data.size();
        return {};
    }
    Status rewrite(std::uint64_t, Bytes) override { return {}; }
    Result<Patched, PDM_ENCODING_STATUS> patch(std::uint64_t, Bytes) override { return Patched::done; }
    Status flush() override { return {}; }
    std::uint64_t position() const override { return position_; }

private:
    std::uint64_t position_ = 0;
};

/// Keeps everything in memory; for tests.
class MemorySink final : public ByteSink {
public:
    std::vector<std::uint8_t> bytes;

    Status write(Bytes data) override;
    Status rewrite(std::uint64_t offset, Bytes data) override;
    Result<Patched, PDM_ENCODING_STATUS> patch(std::uint64_t offset, Bytes data) override;
    Status flush() override { return {}; }
    std::uint64_t position() const override { return bytes.size(); }
};

inline constexpr std::size_t kLargestBatch = std::size_t{16} << 20; ///< bytes; beyond it a larger call gains nothing

/// Gathers writes and hands them on in pieces of `batchBytes`: one call instead of many.
class BatchSink final : public ByteSink {
public:
    BatchSink(ByteSink& next, std::size_t batchBytes);
    Status write(Bytes data) override;
    Status rewrite(std::uint64_t offset, Bytes data) override;
    Result<Patched, PDM_ENCODING_STATUS> patch(std::uint64_t offset, Bytes data) override;
    Status flush() override;
    std::uint64_t position() const override { return next_.position() + held_.size(); }

private:
    ByteSink& next_;
    std::size_t batchBytes_;
    std::vector<std::uint8_t> held_;
};

} // namespace tesk
