#include "container/pcm/pcm_file.h"

#include "engine/base/reporter.h"

#include <algorithm>
#include <cerrno>

namespace tesk {
namespace {

constexpr std::size_t kBufferBytes = 256 * 1024;

} // namespace

bool PcmFile::open(const std::string& path)
{
    file_.discard();
    errorText_.clear();
    path_ = path;
    position_ = size_ = 0;
    std::string why;
    if (!file_.open(path, why)) return fail(why);
    buffer_.resize(kBufferBytes);
    std::setvbuf(file_.stream(), buffer_.data(), _IOFBF, buffer_.size());
    state_ = State::open;
    return true;
}

bool PcmFile::write(std::span<const std::uint8_t> data)
{
    if (state_ != State::open) return false;
    if (data.empty()) return true; // it may have no address
    errno = 0;
    if (std::fwrite(data.data(), 1, data.size(), file_.stream()) != data.size())
        return fail(format("cannot write '%s': %s", path_.c_str(), platform::errorText(errno).c_str()));
    position_ += data.size();
    size_ = std::max(size_, position_);
    return true;
}

bool PcmFile::seek(std::uint64_t offset)
{
    if (state_ != State::open) return false;
    errno = 0;
    // Written first: a seek may drop what does not fit on the disk without a word.
    if (std::fflush(file_.stream()) != 0 ||
        !platform::seek64(file_.stream(), static_cast<std::int64_t>(offset), SEEK_SET))
        return fail(format("cannot write '%s': %s", path_.c_str(), platform::errorText(errno).c_str()));
    position_ = offset;
    return true;
}

bool PcmFile::commit()
{
    if (state_ != State::open) return state_ == State::none;
    std::string why;
    if (!file_.commit(why)) return fail(why);
    state_ = State::none;
    return true;
}

bool PcmFile::fail(const std::string& why)
{
    file_.discard();
    state_ = State::lost;
    errorText_ = why;
    return false;
}

} // namespace tesk
