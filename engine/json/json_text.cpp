#include "engine/json/json_text.h"

#include "engine/base/reporter.h"
#include "engine/base/utf8.h"
#include "platform/files.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

namespace tesk {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Lets the parser pass over the bytes and counts them, for it tells its events without their places.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, std::size_t* read) : at_(at), read_(read) {}
    reference operator*() const { return *at_; }
    CountingIterator& operator++()
    {
        ++at_;
        ++*read_;
        return *this;
    }
    CountingIterator operator++(int)
    {
        const CountingIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const CountingIterator& other) const { return at_ == other.at_; }
    bool operator!=(const CountingIterator& other) const { return at_ != other.at_; }

private:
    const char* at_;
    std::size_t* read_;
};

std::string lineText(std::size_t line, const std::string& what) { return format("line %zu: %s", line, what.c_str()); }

/// A piece of the user's text as a message may show it: one line, not too long.
std::string shown(std::string_view piece)
{
    constexpr std::size_t kLongest = 40;
    std::string text = repairUtf8(piece.substr(0, kLongest));
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20) c = ' ';
    return "'" + text + (piece.size() > kLongest ? "...'" : "'");
}

/// Builds the tree from the parser's events. What is open lies on a stack, so that no depth of the text is one of
/// calls.
class TreeBuilder {
public:
    explicit TreeBuilder(std::string_view text) : text_(text) {}

    std::size_t read = 0; ///< bytes that the parser has taken
    std::string error;
    JsonValue root;

    bool null() { return add({}); }
    bool boolean(bool value) { return add(JsonValue::ofBoolean(value)); }
    bool number_integer(std::int64_t value) { return add(JsonValue::ofInteger(value)); }
    bool number_unsigned(std::uint64_t value)
    {
        return value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
                   ? add(JsonValue::ofInteger(static_cast<std::int64_t>(value)))
                   : add(JsonValue::ofNumber(static_cast<double>(value)));
    }
    bool number_float(double value, const std::string&) { return add(JsonValue::ofNumber(value)); }
    bool string(std::string& value)
    {
        if (value.find('\0') != std::string::npos) return fail("a text must not hold the character \\u0000; remove it");
        return add(JsonValue::ofText(std::move(value)));
    }
    bool binary(std::vector<std::uint8_t>&) { return false; } // JSON has none
    bool start_object(std::size_t) { return open(JsonValue::Kind::object); }
    bool start_array(std::size_t) { return open(JsonValue::Kind::list); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }

    bool key(std::string& name)
    {
        if (name.find('\0') != std::string::npos) return fail("a key must not hold the character \\u0000; remove it");
        if (!open_.back().keys.insert(name).second)
            return fail("the key " + shown(name) + " stands twice in one object; remove one of them");
        open_.back().key = std::move(name);
        return true;
    }

    bool parse_error(std::size_t position, const std::string& token, const nlohmann::json::exception& reason)
    {
        constexpr int kNumberOverflow = 406;
        if (reason.id == kNumberOverflow) return fail("the number " + shown(token) + " is too large");
        if (position > text_.size()) return fail("the text ends too early; a bracket, brace or quote is not closed");
        return fail("this is no JSON at " + shown(token) + "; look at the commas, quotes and brackets before it");
    }

private:
    struct Open {
        JsonValue value;
        std::set<std::string> keys;
        std::string key; ///< of the member that comes next
    };

    /// The line of the last byte: what ends a number has been read with it, and may be a line feed.
    std::size_t line()
    {
        const std::size_t end = read > 0 ? read - 1 : 0;
        for (; counted_ < end; ++counted_)
            if (text_[counted_] == '\n') ++line_;
        return line_;
    }

    bool fail(const std::string& what)
    {
        error = lineText(line(), what);
        return false;
    }

    bool isTooMuch()
    {
        if (++values_ <= kMostJsonValues) return false;
        return !fail(format("more than %zu values; this is no file of settings", kMostJsonValues));
    }

    bool add(JsonValue value)
    {
        if (isTooMuch()) return false;
        value.line = static_cast<int>(line());
        place(std::move(value));
        return true;
    }

    void place(JsonValue value)
    {
        if (open_.empty())
            root = std::move(value);
        else if (open_.back().value.kind == JsonValue::Kind::list)
            open_.back().value.items.push_back(std::move(value));
        else
            open_.back().value.members.push_back({std::move(open_.back().key), std::move(value)});
    }

    bool open(JsonValue::Kind kind)
    {
        if (isTooMuch()) return false;
        if (open_.size() == kDeepestJson)
            return fail(format("more than %zu lists and objects within each other", kDeepestJson));
        open_.emplace_back();
        open_.back().value.kind = kind;
        open_.back().value.line = static_cast<int>(line());
        return true;
    }

    bool close()
    {
        JsonValue value = std::move(open_.back().value);
        open_.pop_back();
        place(std::move(value));
        return true;
    }

    std::string_view text_;
    std::vector<Open> open_;
    std::size_t counted_ = 0, line_ = 1, values_ = 0;
};

/// Where the text stops being UTF-8; npos when it does not.
std::size_t firstBrokenByte(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t bytes = utf8At(text, at).bytes;
        if (bytes == 0) return at;
        at += bytes;
    }
    return std::string_view::npos;
}

std::size_t lineAt(std::string_view text, std::size_t position)
{
    return 1 + static_cast<std::size_t>(
                   std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(position), '\n'));
}

/// Why the bytes are no UTF-8 text at all; empty when they may be.
std::string wrongEncoding(std::string_view text)
{
    const bool marked = text.starts_with("\xFE\xFF") || text.starts_with("\xFF\xFE");
    const bool zeros = text.size() > 1 && (text[0] == '\0' || text[1] == '\0'); // JSON begins with ASCII
    return marked || zeros ? "the file is UTF-16 or UTF-32 text; save it as UTF-8" : "";
}

void appendQuoted(std::string& out, std::string_view text)
{
    out += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out.append(1, '\\').append(1, c);
        else if (c == '\n')
            out += "\\n";
        else if (c == '\t')
            out += "\\t";
        else if (static_cast<unsigned char>(c) < 0x20)
            out += format("\\u%04x", static_cast<unsigned>(c));
        else
            out += c;
    }
    out += '"';
}

std::string numberText(double value)
{
    if (!std::isfinite(value)) return "null";
    char digits[32];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
    std::string text(std::begin(digits), end);
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text; // else it would read back as an integer
}

void appendValue(std::string& out, const JsonValue& value, std::size_t depth);

/// The members or items between their brackets, each on a line of its own.
template <class Elements, class Append>
void appendElements(std::string& out, const Elements& elements, std::string_view brackets, std::size_t depth,
                    Append append)
{
    out += brackets[0];
    for (const auto& element : elements) {
        out += &element == &elements.front() ? "\n" : ",\n";
        out.append(4 * (depth + 1), ' ');
        append(element);
    }
    if (!elements.empty()) out.append("\n").append(4 * depth, ' ');
    out += brackets[1];
}

void appendValue(std::string& out, const JsonValue& value, std::size_t depth)
{
    switch (value.kind) {
    case JsonValue::Kind::null: out += "null"; break;
    case JsonValue::Kind::boolean: out += value.boolean ? "true" : "false"; break;
    case JsonValue::Kind::integer: out += std::to_string(value.integer); break;
    case JsonValue::Kind::number: out += numberText(value.number); break;
    case JsonValue::Kind::text: appendQuoted(out, value.text); break;
    case JsonValue::Kind::list:
        appendElements(out, value.items, "[]", depth,
                       [&](const JsonValue& item) { appendValue(out, item, depth + 1); });
        break;
    case JsonValue::Kind::object:
        appendElements(out, value.members, "{}", depth, [&](const auto& member) {
            appendQuoted(out, member.key);
            out += ": ";
            appendValue(out, member.value, depth + 1);
        });
        break;
    }
}

/// The whole file; nothing, with the reason, when it is none or too large.
std::optional<std::string> readWhole(const std::string& path, std::string& error)
{
    const platform::FileKind kind = platform::fileKind(path);
    if (kind == platform::FileKind::directory) error = "it is a directory; name a file in it";
    if (kind == platform::FileKind::missing) error = "there is no such file";
    if (kind == platform::FileKind::other) error = "it is a device or a pipe; name a file";
    if (kind != platform::FileKind::regular) return {};
    const platform::FilePtr file(platform::open_utf8(path.c_str(), "rb"));
    const auto size = platform::fileSize(path);
    if (!file || !size) {
        error = platform::errorText(errno);
        return {};
    }
    if (*size > kLargestJsonFile) {
        error = "it is larger than 16 MiB; this is no file of settings";
        return {};
    }
    std::string text(static_cast<std::size_t>(*size), '\0');
    errno = 0;
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get()) == 0) return text;
    error = platform::errorText(errno);
    return {};
}

} // namespace

const JsonValue* JsonValue::find(std::string_view key) const
{
    for (const auto& [name, value] : members)
        if (name == key) return &value;
    return nullptr;
}

JsonValue JsonValue::ofBoolean(bool value)
{
    JsonValue made;
    made.kind = Kind::boolean;
    made.boolean = value;
    return made;
}

JsonValue JsonValue::ofInteger(std::int64_t value)
{
    JsonValue made;
    made.kind = Kind::integer;
    made.integer = value;
    made.number = static_cast<double>(value);
    return made;
}

JsonValue JsonValue::ofNumber(double value)
{
    JsonValue made;
    made.kind = Kind::number;
    made.number = value;
    return made;
}

JsonValue JsonValue::ofText(std::string value)
{
    JsonValue made;
    made.kind = Kind::text;
    made.text = std::move(value);
    return made;
}

std::optional<JsonValue> parseJson(std::string_view text, std::string& error)
{
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    if (const std::size_t broken = firstBrokenByte(text); broken != std::string_view::npos) {
        error = lineText(lineAt(text, broken), "this is no UTF-8 text; save the file as UTF-8");
        return {};
    }
    if (const std::size_t zero = text.find('\0'); zero != std::string_view::npos) { // the parser would stop there
        error = lineText(lineAt(text, zero), "a zero byte; this is no text file");
        return {};
    }
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
        error = lineText(1, "there is no JSON in it");
        return {};
    }
    TreeBuilder builder(text);
    const CountingIterator begin(text.data(), &builder.read), end(text.data() + text.size(), &builder.read);
    if (nlohmann::json::sax_parse(begin, end, &builder)) return std::move(builder.root);
    error = builder.error;
    return {};
}

std::optional<JsonValue> readJsonFile(const std::string& path, std::string& error)
{
    std::string reason;
    std::optional<JsonValue> value;
    if (const auto text = readWhole(path, reason)) {
        reason = wrongEncoding(*text);
        if (reason.empty()) value = parseJson(*text, reason);
    }
    if (!value) error = path + ": " + reason;
    return value;
}

std::string jsonText(const JsonValue& value)
{
    std::string out;
    appendValue(out, value, 0);
    return out + "\n";
}

} // namespace tesk
