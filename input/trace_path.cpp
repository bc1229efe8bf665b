#include "input/trace_path.h"

#include "engine/base/utf8.h"

#include <cstdlib>

namespace tesk {
std::u16string utf16(const std::string& text)
{
    std::u16string units;
    for (std::size_t at = 0; at < text.size();) {
        const auto [point, bytes] = utf8At(text, at);
        at += bytes == 0 ? 1 : bytes;
        if (point < 0x10000) {
            units += static_cast<char16_t>(point);
            continue;
        }
        units += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
        units += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    }
    return units;
}

void tracePath(const std::string& path, bool opened, Reporter& report)
{
    if (!std::getenv("TESK_TRACE_PATH")) return;
    std::string text = "TRACE path_bytes:";
    for (const char c : path) text += format(" %02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    std::string units;
    for (const char16_t unit : utf16(path)) units += format(" %04X", static_cast<unsigned>(unit));
    text += "\nTRACE wide_utf8:" + units + "\nTRACE wide_ansi:" + units;
    text += format("\nTRACE drwav_init_file_w(utf8)=%d (ansi)=%d\n", opened ? 1 : 0, 0);
    report.error("%s", text.c_str());
}

} // namespace tesk
