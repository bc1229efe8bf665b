#include "container/reader/interleaved_sound.h"

#include "container/reader/early_end.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{64} << 10;

} // namespace

void deinterleave(const std::uint8_t* interleaved, std::uint32_t channels, std::size_t frames,
                  std::uint8_t* const* planar, std::size_t at)
{
    if (channels == 2) { // with a constant stride the compiler makes vectors of it
        std::uint8_t* left = planar[0] + at;
        std::uint8_t* right = planar[1] + at;
        for (std::size_t i = 0; i < frames; ++i) {
            left[i] = interleaved[2 * i];
            right[i] = interleaved[2 * i + 1];
        }
        return;
    }
    for (std::uint32_t c = 0; c < channels; ++c) {
        std::uint8_t* to = planar[c] + at;
        for (std::size_t i = 0; i < frames; ++i) to[i] = interleaved[i * channels + c];
    }
}

InterleavedSound::InterleavedSound(ByteSource& file, std::uint64_t offset, const DsdSource& source, Reporter& report,
                                   const char* reader)
    : file_(file), report_(report), reader_(reader), channels_(source.channels), dsdRate_(source.dsdRate),
      offset_(offset), left_(source.samples / 8), buffer_(kBufferBytes / channels_ * channels_)
{
}

std::size_t InterleavedSound::read(std::uint8_t* const* planar, std::size_t bytes)
{
    std::size_t done = 0;
    while (done < bytes) {
        if (next_ == filled_) refill();
        if (filled_ == 0) break;
        const std::size_t count = std::min(bytes - done, filled_ - next_);
        deinterleave(buffer_.data() + next_ * channels_, channels_, count, planar, done);
        next_ += count;
        done += count;
    }
    return done;
}

void InterleavedSound::refill()
{
    const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(buffer_.size() / channels_, left_));
    next_ = 0;
    filled_ = wanted > 0 ? file_.readAt(offset_, buffer_.data(), wanted * channels_) / channels_ : 0;
    offset_ += filled_ * channels_;
    left_ -= filled_;
    if (filled_ == wanted) return;
    alertEarlyEnd(report_, reader_, "the file cannot be read to its end", left_ * 8, dsdRate_);
    left_ = 0;
}

} // namespace tesk
