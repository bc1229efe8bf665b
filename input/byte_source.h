// Bytes at an offset, wherever they stand: what the header parsers and the decoders read from.
#pragma once

#include "platform/files.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tesk {

class ByteSource {
public:
    virtual ~ByteSource() = default;

    /// Length in bytes; it does not change.
    virtual std::uint64_t size() const = 0;

    /// Copies up to `bytes` bytes from `offset` on. Returns how many there were: fewer only at the end or when the
    /// medium fails. An offset behind the end gives 0.
    virtual std::size_t readAt(std::uint64_t offset, void* to, std::size_t bytes) = 0;
};

/// A regular file, opened by its UTF-8 path.
class FileSource final : public ByteSource {
public:
    /// Null when the path names no readable regular file; `error` then says why, in the system's words.
    static std::unique_ptr<FileSource> open(const std::string& path, std::string& error);

    std::uint64_t size() const override { return size_; }
    std::size_t readAt(std::uint64_t offset, void* to, std::size_t bytes) override;

private:
    FileSource(platform::FilePtr file, std::uint64_t size) : file_(std::move(file)), size_(size) {}

    platform::FilePtr file_;
    std::uint64_t size_;
    std::uint64_t position_ = 0; // of the stream; a read that continues there needs no seek
};

/// Bytes in memory that outlive the source.
class MemorySource final : public ByteSource {
public:
    explicit MemorySource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    std::uint64_t size() const override { return bytes_.size(); }
    std::size_t readAt(std::uint64_t offset, void* to, std::size_t bytes) override;

private:
    std::span<const std::uint8_t> bytes_;
};

} // namespace tesk
