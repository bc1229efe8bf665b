// The tags of one recording, wherever they come from and wherever they go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tesk {

inline constexpr std::size_t kLargestCover = 0x1000000; ///< 16 MiB

inline constexpr const char* kEncoderText = "Corvanta & Tesk Engine Audio Tools";

/// UTF-8 texts. A field without a value was never given; one with an empty value was given as empty,
/// which is an answer too.
struct MetadataRecord {
    std::optional<std::string> title, artist, album, genre, date, work, comment;
    std::optional<std::string> isrc;      ///< of the recording, 12 characters
    std::optional<int> track;             ///< 1-998
    std::optional<std::string> coverPath; ///< JPEG or PNG; wins over coverImage
    /// The bytes of a JPEG or PNG file that the input carries, shared by the tracks of an album; may be null.
    std::shared_ptr<const std::vector<std::uint8_t>> coverImage;

    /// Takes from `other` what is not given here.
    void fillMissing(const MetadataRecord& other)
    {
        for (auto field : {&MetadataRecord::title, &MetadataRecord::artist, &MetadataRecord::album,
                           &MetadataRecord::genre, &MetadataRecord::date, &MetadataRecord::work,
                           &MetadataRecord::comment, &MetadataRecord::isrc, &MetadataRecord::coverPath})
            if (!(this->*field)) this->*field = other.*field;
        if (!track) track = other.track;
        if (!coverImage) coverImage = other.coverImage;
    }

    /// Whether a field that a user can set has something to write.
    bool hasUserField() const
    {
        for (const auto* field : {&title, &artist, &album, &genre, &date, &comment, &coverPath})
            if (*field && !(*field)->empty()) return true;
        return track.has_value() || (!coverPath && coverImage && !coverImage->empty());
    }
};

} // namespace tesk
