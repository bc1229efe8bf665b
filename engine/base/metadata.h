// The tags of one recording, wherever they come from and wherever they go.
#pragma once

#include <optional>
#include <string>

namespace tesk {

inline constexpr const char* kEncoderText = "Corvanta & Tesk Engine Audio Tools";

/// UTF-8 texts. A field without a value was never given; one with an empty value was given as empty,
/// which is an answer too.
struct MetadataRecord {
    std::optional<std::string> title, artist, album, genre, date, work, comment;
    std::optional<int> track;             ///< 1-998
    std::optional<std::string> coverPath; ///< JPEG or PNG

    /// Whether a field that a user can set has something to write.
    bool hasUserField() const
    {
        for (const auto* field : {&title, &artist, &album, &genre, &date, &comment, &coverPath})
            if (*field && !(*field)->empty()) return true;
        return track.has_value();
    }
};

} // namespace tesk
