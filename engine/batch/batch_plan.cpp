#include "engine/batch/batch_plan.h"

#include "engine/base/paths.h"
#include "engine/batch/naming.h"
#include "platform/folders.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <map>

namespace tesk {
namespace {

std::string below(const std::string& folder, const std::string& name)
{
    return folder.empty() || folder.ends_with('/') ? folder + name : folder + "/" + name;
}

std::string inQuotes(const std::string& text) { return "\"" + text + "\""; }

/// A text that two paths share when a file system may take them for one: ASCII letters in lower case, and no
/// components that lead nowhere.
std::string comparable(const std::string& path)
{
    std::string text;
    for (std::size_t at = 0; at <= path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        const std::string component = path.substr(at, end - at);
        if (!component.empty() && component != ".") text += "/" + component;
        at = end + 1;
    }
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

/// Which input stands behind a comparable path.
using Owners = std::map<std::string, std::string>;

std::string placeOf(const std::string& path) { return comparable(platform::plannedPath(path)); }

bool nameItem(const ConversionSettings& settings, BatchItem& item, std::string& error)
{
    const std::string_view stem = withoutExtension(item.input.path);
    const NameParts parts{std::string(stem.substr(folderOf(stem).size())), settings.batchFormat, item.number};
    const std::string name = expandPattern(settings.namingPattern, parts);
    if (const std::string fault = checkExpanded(name); !fault.empty()) {
        error = "the output of " + inQuotes(item.input.path) + ": " + fault;
        return false;
    }
    item.output = below(settings.outputDirectory, below(item.input.folder, name));
    return true;
}

std::string overwrites(const std::string& input, const std::string& original)
{
    return "the output of " + inQuotes(input) + " would overwrite the input " + inQuotes(original) +
           "; choose another --outdir";
}

std::string sharesFile(const std::string& one, const std::string& other, const std::string& output)
{
    return inQuotes(one) + " and " + inQuotes(other) + " would both be written to " + inQuotes(output) +
           "; put {track} into the naming pattern";
}

/// What stands in the way of a sheet's tracks, OUT_Track01 and so on; empty when nothing does.
std::string trackObstacle(const BatchItem& sheet, const Owners& originals, const Owners& writers)
{
    const std::string output = std::string(withoutExtension(sheet.output)) + "_Track";
    const std::string place = placeOf(output);
    const auto first = [&place](const Owners& owners) {
        const auto at = owners.lower_bound(place);
        return at != owners.end() && at->first.starts_with(place) ? at : owners.end();
    };
    if (const auto original = first(originals); original != originals.end())
        return overwrites(sheet.input.path, original->second);
    if (const auto writer = first(writers); writer != writers.end())
        return sharesFile(sheet.input.path, writer->second, output + "...");
    return {};
}

} // namespace

bool BatchItem::writesTracks() const { return fileExtension(input.path) == "cue"; }

std::string BatchItem::outputs() const
{
    if (!writesTracks()) return output;
    const std::string stem(withoutExtension(output));
    return stem + "_Track*" + output.substr(stem.size());
}

std::optional<std::vector<BatchItem>> planBatch(const std::vector<BatchInput>& inputs,
                                                const ConversionSettings& settings, std::string& error)
{
    if (error = checkPattern(settings.namingPattern); !error.empty()) return {};
    Owners originals, writers;
    for (const BatchInput& input : inputs) originals.emplace(placeOf(input.path), input.path);
    std::vector<BatchItem> items;
    for (const BatchInput& input : inputs) {
        BatchItem item{items.size() + 1, input, {}};
        if (!nameItem(settings, item, error)) return {};
        const std::string place = placeOf(item.output);
        if (const auto [other, fresh] = writers.emplace(place, input.path); !fresh)
            error = sharesFile(other->second, input.path, item.output);
        else if (const auto original = originals.find(place); original != originals.end())
            error = overwrites(input.path, original->second);
        if (!error.empty()) return {};
        items.push_back(std::move(item));
    }
    for (const BatchItem& item : items)
        if (item.writesTracks() && !(error = trackObstacle(item, originals, writers)).empty()) return {};
    return items;
}

bool parseShard(std::string_view text, std::size_t& k, std::size_t& n)
{
    constexpr std::size_t most = 9999;
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos) return false;
    const auto number = [](std::string_view digits, std::size_t& value) {
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return error == std::errc() && end == digits.data() + digits.size();
    };
    std::size_t part = 0, parts = 0;
    if (!number(text.substr(0, slash), part) || !number(text.substr(slash + 1), parts)) return false;
    if (part < 1 || part > parts || parts > most) return false;
    k = part;
    n = parts;
    return true;
}

std::vector<BatchItem> ofShard(const std::vector<BatchItem>& items, std::size_t k, std::size_t n)
{
    std::vector<BatchItem> mine;
    std::copy_if(items.begin(), items.end(), std::back_inserter(mine),
                 [&](const BatchItem& item) { return (item.number - 1) % n == k - 1; });
    return mine;
}

} // namespace tesk
