#include "container/byte_sink.h"

#include "platform/files.h"

#include <algorithm>
#include <cerrno>

namespace tesk {

Status FileSink::write(Bytes data)
{
    errno = 0;
    const std::size_t written = std::fwrite(data.data(), 1, data.size(), file_);
    position_ += written;
    return complete(data.size(), written);
}

/// What comes of a write, told when it was a short one.
Status FileSink::complete(std::size_t expected, std::size_t written)
{
    if (written == expected) return {};
    report_.error("Error : write_cached_block: fwrite failed (expected %zu, got %zu): %s\n", expected, written,
                  platform::errorText(errno).c_str());
    return DSD_ERROR_ASSERT;
}

Result<Patched, PDM_ENCODING_STATUS> FileSink::patch(std::uint64_t offset, Bytes data)
{
    // Whatever is still buffered is written first: a seek would drop what does not fit on the disk.
    if (Status status = flush(); !status) return status.status();
    errno = ESPIPE;
    if (!seekable_ || !platform::seek64(file_, static_cast<std::int64_t>(offset), SEEK_SET)) return Patched::outOfReach;
    std::size_t written = std::fwrite(data.data(), 1, data.size(), file_);
    if (std::fflush(file_) != 0) written = 0;
    if (Status status = complete(data.size(), written); !status) return status.status();
    return platform::seek64(file_, 0, SEEK_END) ? Patched::done : Patched::notAtEnd;
}

Status FileSink::rewrite(std::uint64_t offset, Bytes data)
{
    const auto patched = patch(offset, data);
    if (!patched) return patched.status();
    if (*patched == Patched::done) return {};
    report_.error("Error : the file's header cannot be completed: %s\n", platform::errorText(errno).c_str());
    return DSD_ERROR;
}

std::optional<std::uint64_t> FileSink::tell() const
{
    const std::int64_t position = seekable_ ? platform::tell64(file_) : -1;
    if (position < 0) return {};
    return static_cast<std::uint64_t>(position);
}

Status FileSink::flush()
{
    errno = 0;
    if (std::fflush(file_) == 0) return {};
    report_.error("Error : the last bytes cannot be written: %s\n", platform::errorText(errno).c_str());
    return DSD_ERROR_WRITE;
}

Status PipeSink::write(Bytes data)
{
    const std::size_t written = std::fwrite(data.data(), 1, data.size(), pipe_);
    position_ += written;
    if (written == data.size()) return flush();
    report_.error("Error : Pipe write error\n");
    return DSD_ERROR_ASSERT;
}

Status PipeSink::flush()
{
    if (std::fflush(pipe_) == 0) return {};
    report_.error("Error : Pipe write error\n");
    return DSD_ERROR_ASSERT;
}

Status MemorySink::write(Bytes data)
{
    bytes.insert(bytes.end(), data.begin(), data.end());
    return {};
}

Status MemorySink::rewrite(std::uint64_t offset, Bytes data)
{
    if (offset + data.size() > bytes.size()) bytes.resize(offset + data.size());
    std::copy(data.begin(), data.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    return {};
}

Result<Patched, PDM_ENCODING_STATUS> MemorySink::patch(std::uint64_t offset, Bytes data)
{
    if (Status status = rewrite(offset, data); !status) return status.status();
    return Patched::done;
}

BatchSink::BatchSink(ByteSink& next, std::size_t batchBytes) : next_(next), batchBytes_(batchBytes)
{
    held_.reserve(batchBytes_);
}

Status BatchSink::write(Bytes data)
{
    while (!data.empty()) {
        const std::size_t take = std::min(data.size(), batchBytes_ - held_.size());
        held_.insert(held_.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(take));
        data = data.subspan(take);
        if (held_.size() == batchBytes_)
            if (Status status = flush(); !status) return status;
    }
    return {};
}

Status BatchSink::rewrite(std::uint64_t offset, Bytes data)
{
    if (Status status = flush(); !status) return status;
    return next_.rewrite(offset, data);
}

Result<Patched, PDM_ENCODING_STATUS> BatchSink::patch(std::uint64_t offset, Bytes data)
{
    if (Status status = flush(); !status) return status.status();
    return next_.patch(offset, data);
}

Status BatchSink::flush()
{
    if (held_.empty()) return {};
    const Status status = next_.write(held_);
    held_.clear();
    return status;
}

} // namespace tesk
