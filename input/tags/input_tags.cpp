#include "input/tags/input_tags.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>
#include <string_view>

namespace tesk {
namespace {

constexpr int kLastTrack = 998; // as the option has it

bool isJpegOrPng(const std::vector<std::uint8_t>& image)
{
    const std::string_view bytes(reinterpret_cast<const char*>(image.data()), image.size());
    return bytes.starts_with("\xFF\xD8\xFF") || bytes.starts_with("\x89PNG\r\n\x1A\n");
}

/// The number in front of "3/12".
std::optional<int> trackNumber(std::string_view text)
{
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
    if (text.starts_with('+')) text.remove_prefix(1);
    int number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (parsed.ec != std::errc{} || number < 1 || number > kLastTrack) return {};
    return number;
}

void takeCover(const TagSet& tags, MetadataRecord& record, Reporter& report)
{
    if (record.coverPath || record.coverImage || tags.pictures.empty()) return;
    auto chosen =
        std::find_if(tags.pictures.begin(), tags.pictures.end(), [](const TagPicture& p) { return p.frontCover; });
    if (chosen == tags.pictures.end()) chosen = tags.pictures.begin();
    const char* fault = nullptr;
    if (chosen->image.empty())
        fault = "is empty";
    else if (chosen->image.size() > kLargestCover)
        fault = "is larger than 16 MiB";
    else if (!isJpegOrPng(chosen->image))
        fault = "is no JPEG or PNG";
    if (fault)
        report.alert("the cover in the input %s; the file gets no picture\n", fault);
    else
        record.coverImage = std::make_shared<const std::vector<std::uint8_t>>(chosen->image);
}

/// A text of the record, the tag that fills it, and what a person calls it.
struct Field {
    std::optional<std::string> MetadataRecord::*text;
    const char *tag, *word;
};

constexpr Field kFields[] = {
    {&MetadataRecord::title, "TITLE", "title"},       {&MetadataRecord::artist, "ARTIST", "artist"},
    {&MetadataRecord::album, "ALBUM", "album"},       {&MetadataRecord::genre, "GENRE", "genre"},
    {&MetadataRecord::date, "DATE", "date"},          {&MetadataRecord::work, "WORK", "work"},
    {&MetadataRecord::comment, "COMMENT", "comment"},
};

/// What `after` has and `before` had not, as a list for a person.
std::string newFields(const MetadataRecord& before, const MetadataRecord& after)
{
    std::string list;
    const auto add = [&](bool had, bool has, const char* word) {
        if (has && !had) list += (list.empty() ? "" : ", ") + std::string(word);
    };
    for (const Field& field : kFields)
        add((before.*field.text).has_value(), (after.*field.text).has_value(), field.word);
    add(before.track.has_value(), after.track.has_value(), "track");
    add(before.coverImage != nullptr, after.coverImage != nullptr, "cover");
    return list;
}

} // namespace

void fillFromTags(const TagSet& tags, MetadataRecord& record, Reporter& report)
{
    for (const Field& field : kFields) {
        const auto found = tags.texts.find(field.tag);
        if (found != tags.texts.end() && !(record.*field.text)) record.*field.text = found->second;
    }
    const auto track = tags.texts.find("TRACK");
    if (track != tags.texts.end() && !record.track) record.track = trackNumber(track->second);
    takeCover(tags, record, report);
}

void read_input_tags(const std::string& path, MetadataRecord& record, Reporter& report)
{
    const TagSet tags = readTagSet(path);
    const MetadataRecord before = record;
    fillFromTags(tags, record, report);
    const std::string taken = newFields(before, record);
    if (!taken.empty())
        report.line("Metadata:", "read from the input (%s): %s\n", tags.format.c_str(), taken.c_str());
    else if (tags.texts.empty() && tags.pictures.empty() && tags.format == TagSet{}.format)
        report.alert("tags of this kind of file are not read; the output gets only those of the options\n");
    else if (tags.texts.empty() && tags.pictures.empty())
        report.line("Metadata:", "the input (%s) has no tags\n", tags.format.c_str());
    else
        report.line("Metadata:", "the input (%s) has tags, but none for a field that is still open\n",
                    tags.format.c_str());
}

} // namespace tesk
