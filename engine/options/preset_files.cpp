#include "engine/options/preset_files.h"

#include "container/output_file.h"
#include "engine/base/paths.h"
#include "engine/json/json_file.h"
#include "engine/options/preset_use.h"
#include "platform/dynamic_library.h"
#include "platform/folders.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace tesk {
namespace {

constexpr const char* kShared = "/TeskEngine/presets/";

std::string variable(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string variableOr(const char* name, const std::string& otherwise)
{
    const std::string value = variable(name);
    return value.empty() ? otherwise : value;
}

/// The program's own folder; the current one where the system does not tell it.
std::string programFolder()
{
    const std::string folder = platform::moduleFolder();
    return folder.empty() ? "." : folder;
}

/// A relative path in these variables is to be ignored: XDG Base Directory 0.8.
void addShared(std::vector<std::string>& folders, const std::string& base)
{
    if (base.starts_with('/')) folders.push_back(base + kShared);
}

bool cannotLoad(const std::string& reason, Reporter& report)
{
    report.error("Preset: load error: %s\n", reason.c_str());
    return false;
}

/// Both name one file, or would: a file that does not exist yet is known by its folder.
bool namesSameFile(const std::string& a, const std::string& b)
{
    if (platform::sameFile(a, b)) return true;
    const std::string first = platform::resolveLinks(a), second = platform::resolveLinks(b);
    const std::string firstFolder(folderOf(first)), secondFolder(folderOf(second));
    return first.substr(firstFolder.size()) == second.substr(secondFolder.size()) &&
           platform::sameFile(firstFolder.empty() ? "." : firstFolder, secondFolder.empty() ? "." : secondFolder);
}

/// Why the file of a preset must not be this one; empty when it may.
std::string saveObstacle(const std::string& path, const ConversionSettings& s)
{
    std::vector<std::string> read = s.inputs;
    read.insert(read.end(), {s.cuePath, s.metadata.coverPath.value_or(""), s.polyLoadPath, s.batchConfigPath});
    std::erase(read, "");
    for (const std::string& input : read)
        if (namesSameFile(input, path)) return "'" + path + "' is a file that this run reads; name another file";
    // Whatever a sheet or a batch may read besides: no recording is a JSON object.
    std::string error;
    const auto old = platform::fileKind(path) == platform::FileKind::regular ? readJsonFile(path, error) : JsonValue{};
    if (!old) return "'" + path + "' is there and is no preset; name another file";
    for (const std::string& output : {s.outputPath, s.polySavePath})
        if (!output.empty() && output != "-" && namesSameFile(output, path))
            return "'" + path + "' is a file that this run writes; name another file";
    return {};
}

/// False with the reason in `error`.
bool writePreset(const std::string& path, const std::string& text, std::string& error)
{
    OutputFile file;
    if (!file.open(path, error)) return false;
    if (std::fwrite(text.data(), 1, text.size(), file.stream()) == text.size()) return file.commit(error).ok();
    error = "cannot write '" + path + "': " + platform::errorText(errno);
    return false;
}

} // namespace

std::vector<std::string> presetFolders()
{
    std::vector<std::string> folders = {"./presets/", programFolder() + "/presets/",
                                        programFolder() + "/../share" + kShared};
    const std::string home = variable("HOME");
    addShared(folders, variableOr("XDG_DATA_HOME", home.empty() ? home : home + "/.local/share"));
    const std::string shared = variableOr("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    for (std::size_t begin = 0; begin <= shared.size();) {
        const std::size_t end = std::min(shared.find(':', begin), shared.size());
        addShared(folders, shared.substr(begin, end - begin));
        begin = end + 1;
    }
    return folders;
}

void listPresets(Reporter& report, const std::vector<std::string>& folders)
{
    std::string text = "Available presets:\n";
    std::set<std::string> seen;
    for (const std::string& folder : folders)
        for (const auto& entry : platform::listFolder(folder).value_or(std::vector<platform::FolderEntry>())) {
            if (entry.kind != platform::FileKind::regular || !entry.name.ends_with(".json")) continue;
            const std::string name(withoutExtension(entry.name)), path = folder + entry.name;
            if (!seen.insert(platform::canonicalPath(path).value_or(path)).second) continue; // folders may coincide
            text += format("  %-25s\t%s\n", name.c_str(), path.c_str());
        }
    report.result(seen.empty() ? text + "  (no presets found)\n" : text);
}

bool loadPresetFile(const std::string& path, const std::set<std::string>& typed, ConversionSettings& settings,
                    std::vector<Unavailable>& unavailable, Reporter& report)
{
    std::string error;
    const auto preset = readJsonFile(path, error);
    if (!preset) return cannotLoad(error, report);
    if (applyPreset(*preset, typed, settings, unavailable, report, error)) return true;
    return cannotLoad(path + ": " + error, report);
}

bool loadMasteringPreset(const std::string& name, const std::set<std::string>& typed, ConversionSettings& settings,
                         std::vector<Unavailable>& unavailable, Reporter& report,
                         const std::vector<std::string>& folders)
{
    for (const std::string& folder : folders) {
        const std::string path = folder + name + ".json";
        if (platform::fileKind(path) == platform::FileKind::missing) continue;
        return loadPresetFile(path, typed, settings, unavailable, report);
    }
    const std::string program = programFolder();
    report.error("Mastering preset '%s': not found in any search path.\n"
                 "  Looked in: ./presets/, %s/presets/, %s/../share/TeskEngine/presets/\n",
                 name.c_str(), program.c_str(), program.c_str());
    return false;
}

bool loadChosenPresets(ConversionSettings& settings, std::vector<Unavailable>& unavailable, Reporter& report)
{
    const std::set<std::string> typed = settings.given;
    const std::string mastering = settings.masteringPreset, file = settings.presetLoadPath;
    if (!mastering.empty() && !(file.empty() && settings.presetSavePath.empty()))
        report.err("Warning: --mastering-preset and --preset-load/--preset-save both used. The latter option wins.\n");
    return (mastering.empty() || loadMasteringPreset(mastering, typed, settings, unavailable, report)) &&
           (file.empty() || loadPresetFile(file, typed, settings, unavailable, report));
}

bool savePresetFile(const std::string& path, const ConversionSettings& settings, Reporter& report)
{
    std::string error = saveObstacle(path, settings);
    if (error.empty() && writePreset(path, presetText(settings), error)) {
        report.line("Preset", "saved as %s\n", path.c_str());
        return true;
    }
    report.error("Preset: save error: %s\n", error.c_str());
    return false;
}

} // namespace tesk
