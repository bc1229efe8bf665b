#include "input/byte_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace tesk {

std::unique_ptr<FileSource> FileSource::open(const std::string& path, std::string& error)
{
    const auto refuse = [&](const std::string& why) {
        error = "cannot open '" + path + "': " + why;
        return nullptr;
    };
    // Asked first: a pipe would block the open, and the C library opens a directory without complaint.
    const platform::FileKind kind = platform::fileKind(path);
    if (kind == platform::FileKind::directory) return refuse(platform::errorText(EISDIR));
    if (kind == platform::FileKind::other) return refuse("not a regular file");
    platform::FilePtr file(platform::open_utf8(path.c_str(), "rb"));
    if (!file) return refuse(platform::errorText(errno));
    if (!platform::seek64(file.get(), 0, SEEK_END)) return refuse(platform::errorText(errno));
    const std::int64_t size = platform::tell64(file.get());
    if (size < 0 || !platform::seek64(file.get(), 0, SEEK_SET)) return refuse(platform::errorText(errno));
    return std::unique_ptr<FileSource>(new FileSource(std::move(file), static_cast<std::uint64_t>(size)));
}

std::size_t FileSource::readAt(std::uint64_t offset, void* to, std::size_t bytes)
{
    if (offset >= size_) return 0;
    if (offset != position_ && !platform::seek64(file_.get(), static_cast<std::int64_t>(offset), SEEK_SET)) {
        position_ = std::numeric_limits<std::uint64_t>::max(); // unknown: the next read seeks again
        return 0;
    }
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, size_ - offset));
    const std::size_t got = std::fread(to, 1, wanted, file_.get());
    position_ = offset + got;
    return got;
}

std::size_t MemorySource::readAt(std::uint64_t offset, void* to, std::size_t bytes)
{
    if (offset >= bytes_.size()) return 0;
    const std::size_t got = std::min(bytes, bytes_.size() - static_cast<std::size_t>(offset));
    if (got > 0) std::memcpy(to, bytes_.data() + offset, got);
    return got;
}

} // namespace tesk
