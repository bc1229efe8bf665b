#include "tools/option_docs/documents.h"
#include "tools/option_docs/vocabulary.h"

namespace tesk::docs {
namespace {

constexpr const char* kHelpers = R"(# Completion of tesk for fish; made from the option table at build time.

function __tesk_reverse
    contains -- --reverse (commandline -opc)
end

# Folders, and files with one of the extensions "a|b".
function __tesk_files
    for line in (__fish_complete_path (commandline -ct))
        set -l path (string split -m 1 \t -- $line)[1]
        if string match -q '*/' -- $path; or string match -qir "\.($argv[1])\$" -- $path
            echo $path
        end
    end
end

complete -c tesk -f
)";

/// In single quotes, in which fish knows backslashes.
std::string quoted(const std::string& text)
{
    std::string out = "'";
    for (const char c : text.substr(0, text.find('\n'))) {
        if (c == '\'' || c == '\\') out += '\\';
        out += c;
    }
    return out + "'";
}

std::string fileCommand(const std::vector<std::string>& extensions)
{
    return quoted("(__tesk_files " + quoted(joined(extensions, "|")) + ")");
}

std::string spellings(const Entry& entry)
{
    std::string text;
    for (const std::string& name : entry.names) {
        if (name.starts_with("--"))
            text += " -l " + name.substr(2);
        else
            text += (name.size() == 2 ? " -s " : " -o ") + name.substr(1);
    }
    return text;
}

/// What a value that has to follow is completed with.
std::string values(const Entry& entry)
{
    if (entry.files == FileUse::folder) return " -x -a '(__fish_complete_directories (commandline -ct))'";
    if (entry.files == FileUse::file)
        return entry.extensions.empty() ? " -r -F" : " -x -a " + fileCommand(entry.extensions);
    return entry.words.empty() ? " -x" : " -x -a " + quoted(joined(entry.words, " "));
}

std::string lines(const Entry& entry, const std::string& condition)
{
    std::string text = "complete -c tesk -n " + quoted(condition) + spellings(entry);
    if (entry.takesValue() && !entry.valueIsOptional) text += values(entry);
    text += " -d " + quoted(entry.text) + "\n";
    // fish wants an optional value in the same word; here it is the next one.
    if (entry.valueIsOptional && (!entry.words.empty() || entry.files != FileUse::none))
        text += "complete -c tesk -n " + quoted(condition + "; and __fish_prev_arg_in " + joined(entry.names, " ")) +
                (entry.words.empty() ? " -F" : " -f -a " + quoted(joined(entry.words, " "))) + "\n";
    return text;
}

std::string mode(const std::vector<Group>& groups, const std::vector<std::string>& outputs,
                 const std::string& condition)
{
    std::string text = "\n";
    for (const Group& group : groups)
        for (const Entry& entry : group.entries) text += lines(entry, condition);
    return text + "complete -c tesk -n " + quoted(condition) + " -a " + fileCommand(outputs) + "\n";
}

} // namespace

std::string fishCompletion()
{
    return kHelpers + mode(forwardGroups(), forwardOutputs(), "not __tesk_reverse") +
           mode({reverseGroup()}, reverseFiles(), "__tesk_reverse");
}

} // namespace tesk::docs
