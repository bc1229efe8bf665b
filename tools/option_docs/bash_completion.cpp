#include "tools/option_docs/documents.h"
#include "tools/option_docs/vocabulary.h"

namespace tesk::docs {
namespace {

constexpr const char* kHelpers = R"(# Completion of tesk for bash; made from the option table at build time.

# Words that begin like the current one.
_tesk_words()
{
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$cur")
}

# Folders, and files with one of the extensions "a|b"; without any: all files.
_tesk_files()
{
    local path plain
    compopt -o filenames 2>/dev/null
    while IFS= read -r path; do
        plain=${path/#~\//$HOME/}
        [[ -z $1 || -d $plain || ${path,,} == *.@($1) ]] && COMPREPLY+=("$path")
    done < <(compgen -f -- "$cur")
}

_tesk_folders()
{
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$cur")
}

)";

constexpr const char* kEntry = R"(_tesk()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} mode=forward word
    COMPREPLY=()
    for word in "${COMP_WORDS[@]}"; do
        [[ $word == --reverse ]] && mode=reverse
    done
    _tesk_${mode}_value && return
    if [[ $cur == -* ]]; then
        _tesk_${mode}_options
    elif [[ -z ${COMPREPLY[*]} ]]; then
        _tesk_${mode}_output
    fi
}
complete -F _tesk tesk
)";

/// Everything that is offered behind the option.
std::string offer(const Entry& entry)
{
    if (entry.files == FileUse::folder) return "_tesk_folders";
    if (entry.files == FileUse::file) return "_tesk_files '" + joined(entry.extensions, "|") + "'";
    return entry.words.empty() ? ":" : "_tesk_words '" + joined(entry.words, " ") + "'";
}

std::string mode(const std::string& name, const std::vector<Group>& groups, const std::vector<std::string>& outputs)
{
    std::string cases, spellings;
    for (const Group& group : groups)
        for (const Entry& entry : group.entries) {
            for (const std::string& spelling : entry.names) spellings += (spellings.empty() ? "" : " ") + spelling;
            if (!entry.takesValue()) continue;
            cases += "    " + joined(entry.names, " | ") + ") " + offer(entry);
            cases += entry.valueIsOptional ? "; return 1 ;;\n" : " ;;\n";
        }
    std::string text = "# What may stand behind the word before; fails where an option or the output may as well.\n";
    text += "_tesk_" + name + "_value()\n{\n    case $prev in\n" + cases + "    *) return 1 ;;\n    esac\n";
    text += "    return 0\n}\n\n";
    text += "_tesk_" + name + "_options()\n{\n    _tesk_words '" + spellings + "'\n}\n\n";
    text += "_tesk_" + name + "_output()\n{\n    _tesk_files '" + joined(outputs, "|") + "'\n}\n\n";
    return text;
}

} // namespace

std::string bashCompletion()
{
    return kHelpers + mode("forward", forwardGroups(), forwardOutputs()) +
           mode("reverse", {reverseGroup()}, reverseFiles()) + kEntry;
}

} // namespace tesk::docs
