// JSON texts: what is read keeps value, kind, order and line; what is no JSON is refused with its line.
#include "engine/json/json_file.h"
#include "engine/json/json_text.h"

#include <bit>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace tesk::test {
namespace {

using Kind = JsonValue::Kind;

JsonValue good(std::string_view text)
{
    std::string error;
    const auto value = parseJson(text, error);
    EXPECT_TRUE(value) << text << ": " << error;
    return value.value_or(JsonValue{});
}

TEST(Json, KnowsKindValueOrderAndLineOfEverything)
{
    const JsonValue root =
        good("\xEF\xBB\xBF\n{ \"b\": -7,\n\"a\"\n:\n[true, 1.5\n,\n12\n], \"c\": {\"\xC3\xA9\": null},\r\n"
             "\"d\": \"\\u00e9\\uD834\\uDD1E\\n\", \"e\": 9223372036854775807,\n\"f\": 9223372036854775808}");
    ASSERT_EQ(root.kind, Kind::object);
    std::string order;
    for (const JsonMember& member : root.members) order += member.key + std::to_string(member.value.line) + " ";
    EXPECT_EQ(order, "b2 a5 c8 d9 e9 f10 ");
    EXPECT_EQ(root.line, 2);
    EXPECT_EQ(root.find("b")->integer, -7);
    EXPECT_EQ(root.find("b")->number, -7.0);
    const JsonValue& list = *root.find("a");
    ASSERT_EQ(list.items.size(), 3u);
    EXPECT_TRUE(list.items[0].boolean);
    EXPECT_EQ(list.items[1].number, 1.5);
    EXPECT_EQ(list.items[1].line, 5); // the line feed behind it is not its own
    EXPECT_EQ(list.items[2].line, 7);
    EXPECT_EQ(root.find("c")->members[0].key, "\xC3\xA9");
    EXPECT_EQ(root.find("c")->find("\xC3\xA9")->kind, Kind::null);
    EXPECT_EQ(root.find("d")->text, "\xC3\xA9\xF0\x9D\x84\x9E\n");
    EXPECT_EQ(root.find("e")->integer, std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(root.find("f")->kind, Kind::number);
    EXPECT_EQ(root.find("f")->number, 9223372036854775808.0);
    EXPECT_EQ(root.find("g"), nullptr);
    EXPECT_EQ(list.find("a"), nullptr);
}

TEST(Json, RefusesWithTheLine)
{
    const std::string bottomless(10000, '['), many = "[0" + [] {
        std::string text;
        for (std::size_t i = 0; i < kMostJsonValues; ++i) text += ",0";
        return text;
    }() + "]";
    const struct {
        std::string text, error; // the error's beginning
    } cases[] = {
        {"", "line 1: there is no JSON"},
        {" \n", "line 1: there is no JSON"},
        {"{\"a\": 1\n", "line 1: the text ends too early"},
        {"[1,\n\"a", "line 2: "},
        {"{\"a\": 1,\n \"b\": 2,\n \"a\": 3}", "line 3: the key 'a' stands twice"},
        {"{\"a\": {\"b\": 1,\n\"b\": 2}}", "line 2: the key 'b' stands twice"},
        {"[1,\n2,\n]", "line 3: this is no JSON at "},
        {"{\"a\": 1}\n{", "line 2: this is no JSON at "},
        {"{'a': 1}", "line 1: this is no JSON at "},
        {"{\"a\": 01}", "line 1: this is no JSON at "},
        {"[NaN]", "line 1: this is no JSON at "},
        {"[1] // end", "line 1: this is no JSON at "},
        {"[\n1e999]", "line 2: the number '1e999' is too large"},
        {"[\n\"a\\u0000b\"]", "line 2: a text must not hold"},
        {"{\"\\u0000\": 1}", "line 1: a key must not hold"},
        {std::string("[\"a\0\"]", 6), "line 1: a zero byte"},
        {std::string("[\n1]\0x", 6), "line 2: a zero byte"},
        {"[\"\\uD834\"]", "line 1: this is no JSON at "},
        {"[\"a\tb\"]", "line 1: this is no JSON at "},
        {"[1,\n\"\xC3\x28\"]", "line 2: this is no UTF-8 text"},
        {"[\"\xED\xA0\x80\"]", "line 1: this is no UTF-8 text"},
        {bottomless, "line 1: more than 64 "},
        {many, "line 1: more than 1000000 values"},
    };
    for (const auto& [text, error] : cases) {
        std::string told;
        EXPECT_FALSE(parseJson(text, told)) << text.substr(0, 40);
        EXPECT_TRUE(told.starts_with(error)) << text.substr(0, 40) << ": " << told;
        EXPECT_LT(told.size(), 200u);
    }
    EXPECT_EQ(good(std::string(64, '[') + std::string(64, ']')).items.size(), 1u);
    EXPECT_EQ(good("{\"a\": {\"b\": 1}, \"b\": {\"a\": 2}}").members.size(), 2u); // other objects, other keys
}

// Every prefix of a good text ends in an error or, only where a number alone is left, in a value.
TEST(Json, EveryPrefixOfATextIsNone)
{
    const std::string whole = "{\"a\": [1.5e3, -2, true, {\"b\": \"x\\u00e9\\\\\"}], \"c\": null}";
    good(whole);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        std::string error;
        EXPECT_FALSE(parseJson(whole.substr(0, size), error)) << size;
        EXPECT_TRUE(error.starts_with("line 1: ")) << error;
    }
}

void expectSame(const JsonValue& a, const JsonValue& b)
{
    ASSERT_EQ(a.kind, b.kind);
    EXPECT_EQ(a.boolean, b.boolean);
    EXPECT_EQ(a.integer, b.integer);
    EXPECT_EQ(std::signbit(a.number), std::signbit(b.number));
    EXPECT_EQ(a.number, b.number);
    EXPECT_EQ(a.text, b.text);
    ASSERT_EQ(a.items.size(), b.items.size());
    ASSERT_EQ(a.members.size(), b.members.size());
    for (std::size_t i = 0; i < a.items.size(); ++i) expectSame(a.items[i], b.items[i]);
    for (std::size_t i = 0; i < a.members.size(); ++i) {
        EXPECT_EQ(a.members[i].key, b.members[i].key);
        expectSame(a.members[i].value, b.members[i].value);
    }
}

class TreeMaker {
public:
    JsonValue value(int depth)
    {
        switch (random_() % (depth > 4 ? 5 : 7)) {
        case 0: return {};
        case 1: return JsonValue::ofBoolean(random_() % 2 != 0);
        case 2: return JsonValue::ofInteger(static_cast<std::int64_t>(random_()));
        case 3: return JsonValue::ofNumber(number());
        case 4: return JsonValue::ofText(text());
        default: break;
        }
        JsonValue made;
        made.kind = random_() % 2 != 0 ? Kind::list : Kind::object;
        for (std::size_t i = random_() % 5; i > 0; --i)
            if (made.kind == Kind::list)
                made.items.push_back(value(depth + 1));
            else
                made.members.push_back({text() + std::to_string(i), value(depth + 1)});
        return made;
    }

private:
    double number()
    {
        static const double special[] = {0.0, -0.0, 5.0, 0.1, 1e300, 5e-324, -1e22, 9007199254740993.0};
        const double drawn = std::bit_cast<double>(random_());
        return random_() % 4 == 0 || !std::isfinite(drawn) ? special[random_() % 8] : drawn;
    }
    std::string text()
    {
        static const std::string pieces[] = {
            "a", "\"", "\\", "\n", "\t", "\x01", "\x1f", "\x7f", "/", "\xC3\xA9", "\xF0\x9D\x84\x9E"};
        std::string made;
        for (std::size_t i = random_() % 6; i > 0; --i) made += pieces[random_() % std::size(pieces)];
        return made;
    }
    std::mt19937_64 random_{7};
};

TEST(Json, WhatIsWrittenReadsBackTheSame)
{
    TreeMaker maker;
    for (int i = 0; i < 2000; ++i) {
        const JsonValue made = maker.value(0);
        expectSame(good(jsonText(made)), made);
    }
    EXPECT_EQ(jsonText(good("{\"a\":[],\"b\":[1,{\"c\":0.1}]}")),
              "{\n    \"a\": [],\n    \"b\": [\n        1,\n        {\n            \"c\": 0.1\n        }\n    ]\n}\n");
}

TEST(JsonFile, TellsWhatIsWrongWithIt)
{
    namespace fs = std::filesystem;
    const char* base = std::getenv("TEMP");
    const fs::path folder = fs::path(base ? base : ".") / "json";
    fs::create_directories(folder);
    const std::string path = (folder / "x.json").string();
    const struct {
        std::string bytes, error;
    } cases[] = {
        {"{\n\"a\" 1}", "line 2: this is no JSON"},
        {std::string("\xFF\xFE{\0}\0", 6), "the file is UTF-16 or UTF-32 text; save it as UTF-8"},
        {std::string("\0{\0}", 4), "the file is UTF-16 or UTF-32 text; save it as UTF-8"},
        {std::string("{\0\0\0}\0\0\0", 8), "the file is UTF-16 or UTF-32 text; save it as UTF-8"},
        {std::string(kLargestJsonFile + 1, ' '), "it is larger than 16 MiB"},
        {"", "line 1: there is no JSON"},
    };
    for (const auto& [bytes, error] : cases) {
        std::ofstream(path, std::ios::binary) << bytes;
        std::string told;
        EXPECT_FALSE(readJsonFile(path, told));
        EXPECT_TRUE(told.starts_with(path + ": " + error)) << told;
    }
    std::ofstream(path, std::ios::binary) << "\xEF\xBB\xBF{\"a\": 1}";
    std::string error;
    const auto value = readJsonFile(path, error);
    ASSERT_TRUE(value) << error;
    EXPECT_EQ(value->find("a")->integer, 1);
    fs::remove(path);
    EXPECT_FALSE(readJsonFile(path, error));
    EXPECT_EQ(error, path + ": there is no such file");
    EXPECT_FALSE(readJsonFile(folder.string(), error));
    EXPECT_EQ(error, folder.string() + ": it is a directory; name a file in it");
    EXPECT_FALSE(readJsonFile("/dev/zero", error));
}

} // namespace
} // namespace tesk::test
