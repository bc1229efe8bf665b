#include "engine/batch/batch_inputs.h"

#include "engine/base/paths.h"
#include "platform/folders.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <set>
#include <string_view>

namespace tesk {
namespace {

/// Recordings by their extension. Those of mp4 are more often films, and .wvc belongs to the .wv beside it.
constexpr std::array<std::string_view, 16> kRecordings = {"flac", "fla", "wav", "wave", "w64",  "rf64", "aiff", "aif",
                                                          "aifc", "wv",  "tta", "ape",  "alac", "m4a",  "caf",  "mac"};

/// Music that a folder may hold beside them: mostly lossy, and only read by the loaded decoders.
constexpr std::array<std::string_view, 10> kOtherMusic = {"mp3", "ogg", "oga", "opus", "aac",
                                                          "wma", "mpc", "mp2", "tak",  "ofr"};

template <std::size_t Count>
bool endsWithOne(const platform::FolderEntry& entry, const std::array<std::string_view, Count>& extensions)
{
    return entry.kind == platform::FileKind::regular &&
           std::find(extensions.begin(), extensions.end(), fileExtension(entry.name)) != extensions.end();
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The run of digits at `at` without leading zeros; moves behind it.
std::string_view takeDigits(std::string_view text, std::size_t& at)
{
    while (at < text.size() && text[at] == '0') ++at;
    const std::size_t begin = at;
    while (at < text.size() && isDigit(text[at])) ++at;
    return text.substr(begin, at - begin);
}

std::string otherFiles(std::size_t count)
{
    return std::to_string(count) + (count == 1 ? " file" : " files") +
           " of other kinds (mp3, ogg, ...), left out unless named";
}

class Expansion {
public:
    Expansion(bool recursive, const std::string& outputDirectory, std::vector<BatchInput>& out,
              std::vector<std::string>& notes, std::string& error)
        : recursive_(recursive), outputs_(platform::canonicalPath(outputDirectory)), out_(out), notes_(notes),
          error_(error)
    {
    }

    bool add(const std::string& given)
    {
        if (!platform::hasWildcards(given)) return addName(given, true);
        const auto names = platform::expandWildcards(given);
        if (names.empty()) return fail("no file fits \"" + given + "\"");
        return std::all_of(names.begin(), names.end(), [&](const auto& name) { return addName(name, name == given); });
    }

private:
    bool addName(const std::string& name, bool literal)
    {
        if (platform::fileKind(name) != platform::FileKind::directory) {
            if (name.ends_with('/')) return fail("there is no folder \"" + name + "\"");
            addFile({name, ""}, literal);
            return true;
        }
        found_ = false;
        others_ = 0;
        visited_.clear();
        const std::string folder = name.ends_with('/') ? name : name + "/";
        if (!addFolder(folder, "")) return false;
        if (found_) return true;
        if (others_ > 0) return fail("the folder \"" + name + "\" has no recording but " + otherFiles(others_));
        return fail("the folder \"" + name + "\" has no recording" +
                    (recursive_ ? "" : "; its subfolders are read with --recursive"));
    }

    void addFile(BatchInput input, bool literal)
    {
        const auto canonical = literal ? std::nullopt : platform::canonicalPath(input.path);
        if (!canonical || files_.insert(*canonical).second) out_.push_back(std::move(input));
    }

    /// @param folder  ends with a separator
    /// @param below   the same below the folder that was named, without one
    bool addFolder(const std::string& folder, const std::string& below)
    {
        const auto canonical = platform::canonicalPath(folder);
        if (canonical && !visited_.insert(*canonical).second) return true;
        if (canonical && canonical == outputs_ && !below.empty()) return true;
        auto entries = platform::listFolder(folder);
        if (!entries) {
            const std::string why = "cannot read the folder \"" + folder + "\": " + platform::errorText(errno);
            if (below.empty()) return fail(why);
            notes_.push_back(why + "; it is left out");
            return true;
        }
        std::stable_sort(entries->begin(), entries->end(),
                         [](const auto& a, const auto& b) { return naturallyBefore(a.name, b.name); });
        std::size_t others = 0;
        for (const auto& entry : *entries) {
            if (entry.name.starts_with('.')) continue;
            others += endsWithOne(entry, kOtherMusic) ? 1 : 0;
            if (!endsWithOne(entry, kRecordings)) continue;
            found_ = true;
            addFile({folder + entry.name, below}, false);
        }
        if (others > 0) notes_.push_back("the folder \"" + folder + "\" also has " + otherFiles(others));
        others_ += others;
        return !recursive_ || std::all_of(entries->begin(), entries->end(), [&](const auto& entry) {
            const bool wanted = entry.kind == platform::FileKind::directory && !entry.name.starts_with('.');
            return !wanted ||
                   addFolder(folder + entry.name + "/", below.empty() ? entry.name : below + "/" + entry.name);
        });
    }

    bool fail(const std::string& why)
    {
        error_ = why;
        return false;
    }

    bool recursive_;
    std::optional<std::string> outputs_; // canonical; nothing while it does not exist
    std::vector<BatchInput>& out_;
    std::vector<std::string>& notes_;
    std::string& error_;
    bool found_ = false;            // a recording, in the folder that was named
    std::size_t others_ = 0;        // and other music there
    std::set<std::string> visited_; // folders below it, by canonical path
    std::set<std::string> files_;   // canonical paths of what folders and patterns gave
};

} // namespace

bool naturallyBefore(const std::string& a, const std::string& b)
{
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            const std::string_view x = takeDigits(a, i), y = takeDigits(b, j);
            if (x.size() != y.size()) return x.size() < y.size();
            if (x != y) return x < y;
        } else if (a[i] != b[j]) {
            return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]);
        } else {
            ++i;
            ++j;
        }
    }
    if (i < a.size() || j < b.size()) return j < b.size();
    return a < b; // "01" and "1" have equal values
}

bool expandInputs(const std::vector<std::string>& given, bool recursive, const std::string& outputDirectory,
                  std::vector<BatchInput>& out, std::vector<std::string>& notes, std::string& error)
{
    Expansion expansion(recursive, outputDirectory, out, notes, error);
    return std::all_of(given.begin(), given.end(), [&](const std::string& name) { return expansion.add(name); });
}

} // namespace tesk
