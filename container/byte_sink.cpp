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
    if (written == data.size()) return {};
    report_.error("Error : write_cached_block: fwrite failed (expected %zu, got %zu): %s\n", data.size(), written,
                  platform::errorText(errno).c_str());
    return DSD_ERROR_ASSERT;
}

Status FileSink::rewrite(std::uint64_t offset, Bytes data)
{
    // Whatever is still buffered is written first: a seek would drop what does not fit on the disk.
    if (Status status = flush(); !status) return status;
    errno = 0;
    const bool done = platform::seek64(file_, static_cast<std::int64_t>(offset), SEEK_SET) &&
                      std::fwrite(data.data(), 1, data.size(), file_) == data.size() && std::fflush(file_) == 0;
    const int reason = errno;
    if (platform::seek64(file_, 0, SEEK_END) && done) return {};
    report_.error("Error : the file's header cannot be completed: %s\n", platform::errorText(reason).c_str());
    return DSD_ERROR;
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

Status BatchSink::flush()
{
    if (held_.empty()) return {};
    const Status status = next_.write(held_);
    held_.clear();
    return status;
}

} // namespace tesk
