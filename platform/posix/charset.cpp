#include "platform/charset.h"

#include <cerrno>
#include <iconv.h>
#include <memory>
#include <type_traits>

namespace tesk::platform {
namespace {

constexpr const char* kReplacement = "\xEF\xBF\xBD";

struct ConverterCloser {
    void operator()(void* converter) const { iconv_close(static_cast<iconv_t>(converter)); }
};

} // namespace

std::optional<std::string> textToUtf8(std::string_view bytes, const char* charset)
{
    static_assert(std::is_pointer_v<iconv_t>);
    const iconv_t opened = iconv_open("UTF-8", charset);
    if (opened == reinterpret_cast<iconv_t>(-1)) return {};
    const std::unique_ptr<void, ConverterCloser> converter(opened);
    std::string text;
    char piece[256];
    char* in = const_cast<char*>(bytes.data()); // iconv() leaves it alone; its prototype does not say so
    std::size_t left = bytes.size();
    while (left > 0) {
        char* out = piece;
        std::size_t room = sizeof piece;
        const bool failed = iconv(opened, &in, &left, &out, &room) == static_cast<std::size_t>(-1);
        const int reason = errno;
        text.append(piece, sizeof piece - room);
        if (!failed || reason == E2BIG) continue;
        text += kReplacement;
        ++in;
        --left;
        iconv(opened, nullptr, nullptr, nullptr, nullptr); // back to the first state
    }
    return text;
}

} // namespace tesk::platform
