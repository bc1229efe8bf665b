#include "engine/json/json_text.h"

#include "engine/base/reporter.h"
#include "engine/base/utf8.h"

#include <algorithm>
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

using Written = nlohmann::ordered_json;

/// The same tree as the library writes it; the depth is that of the caller's own values.
Written written(const JsonValue& value)
{
    switch (value.kind) {
    case JsonValue::Kind::null: return nullptr;
    case JsonValue::Kind::boolean: return value.boolean;
    case JsonValue::Kind::integer: return value.integer;
    case JsonValue::Kind::number: return value.number;
    case JsonValue::Kind::text: return value.text;
    case JsonValue::Kind::list: {
        Written list = Written::array();
        for (const JsonValue& item : value.items) list.push_back(written(item));
        return list;
    }
    case JsonValue::Kind::object: {
        Written object = Written::object();
        for (const JsonMember& member : value.members) object[member.key] = written(member.value);
        return object;
    }
    }
    return nullptr;
}

} // namespace

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

std::string jsonText(const JsonValue& value)
{
    constexpr int kIndent = 4;
    return written(value).dump(kIndent, ' ', false, Written::error_handler_t::replace) + "\n";
}

} // namespace tesk
