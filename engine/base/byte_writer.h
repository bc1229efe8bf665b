// Builds the byte image of a header or tag field by field, in the byte order of its format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace tesk {

enum class ByteOrder { little, big };

class ByteWriter {
public:
    explicit ByteWriter(ByteOrder order) : order_(order) {}

    ByteWriter& u8(std::uint8_t value) { return number(value, 1); }
    ByteWriter& u16(std::uint16_t value) { return number(value, 2); }
    ByteWriter& u32(std::uint32_t value) { return number(value, 4); }
    ByteWriter& u64(std::uint64_t value) { return number(value, 8); }
    /// A chunk or frame identifier, or any text, without terminator.
    ByteWriter& tag(std::string_view text)
    {
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        return *this;
    }
    ByteWriter& raw(std::span<const std::uint8_t> data)
    {
        bytes_.insert(bytes_.end(), data.begin(), data.end());
        return *this;
    }
    std::size_t size() const { return bytes_.size(); }
    std::vector<std::uint8_t> take() { return std::move(bytes_); }

private:
    ByteWriter& number(std::uint64_t value, int width)
    {
        for (int i = 0; i < width; ++i) {
            const int shift = 8 * (order_ == ByteOrder::little ? i : width - 1 - i);
            bytes_.push_back(static_cast<std::uint8_t>(value >> shift));
        }
        return *this;
    }

    ByteOrder order_;
    std::vector<std::uint8_t> bytes_;
};

} // namespace tesk
