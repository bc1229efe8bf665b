#include "tools/option_docs/documents.h"
#include "tools/option_docs/vocabulary.h"

namespace tesk::docs {
namespace {

/// The first line of a help text, for a column beside the options.
std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

/// For a part of what _arguments takes, within single quotes.
std::string quotedPart(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        if (c == '\'') {
            out += "'\\''";
            continue;
        }
        if (c == '[' || c == ']' || c == ':' || c == '\\') out += '\\';
        out += c;
    }
    return out;
}

std::string filesAction(const std::vector<std::string>& extensions)
{
    return extensions.empty() ? "_files" : "_files -g \"(#i)*.(" + joined(extensions, "|") + ")(-.)\"";
}

std::string action(const Entry& entry)
{
    if (entry.files == FileUse::folder) return "_files -/";
    if (entry.files == FileUse::file) return filesAction(entry.extensions);
    if (entry.words.empty()) return " ";
    std::string text = "(";
    return text.append(joined(entry.words, " ")).append(")");
}

/// What the value is, and how it is completed.
std::string value(const Entry& entry)
{
    std::string text = entry.valueIsOptional ? "::" : ":", message;
    for (const char c : entry.argument)
        if (c != '[' && c != ']') message += c;
    return text.append(quotedPart(message)).append(":").append(action(entry));
}

/// One element of the _arguments array per spelling; a flag is offered once.
std::string elements(const Entry& entry)
{
    std::string again = "*", text;
    if (!entry.takesValue()) again.assign("(").append(joined(entry.names, " ")).append(")");
    for (const std::string& name : entry.names) {
        text.append("    '").append(again).append(name);
        text.append("[").append(quotedPart(firstLine(entry.text))).append("]");
        if (entry.takesValue()) text += value(entry);
        text += "'\n";
    }
    return text;
}

std::string array(const std::vector<Group>& groups, const std::vector<std::string>& outputs)
{
    std::string text = "  options=(\n";
    for (const Group& group : groups)
        for (const Entry& entry : group.entries) text += elements(entry);
    return text + "    '*:file:" + filesAction(outputs) + "'\n  )\n";
}

} // namespace

std::string zshCompletion()
{
    return "#compdef tesk\n# Completion of tesk for zsh; made from the option table at build time.\n\n"
           "local -a options\nif (( ${words[(I)--reverse]} )); then\n" +
           array({reverseGroup()}, reverseFiles()) + "else\n" + array(forwardGroups(), forwardOutputs()) +
           "fi\n_arguments : $options\n";
}

} // namespace tesk::docs
