// Text of unknown or old encoding on its way to UTF-8.
#pragma once

#include "engine/base/byte_writer.h"
#include "engine/base/utf8.h"

#include <string>
#include <string_view>

namespace tesk {

/// Unpaired surrogates become U+FFFD; an odd byte at the end is dropped.
std::string utf16ToUtf8(std::string_view bytes, ByteOrder order);

/// The five bytes without a meaning (81, 8D, 8F, 90, 9D) become U+FFFD. Source: Unicode's table CP1252.TXT.
std::string windows1252ToUtf8(std::string_view bytes);

/// A whole text file, and how its bytes are to be read.
struct DecodedText {
    std::string bytes;
    bool isWindows1252 = false; ///< `bytes` stand as in the file; otherwise they are well-formed UTF-8
};

/// Tells the encoding of a text file by its byte order mark, which is removed, else by whether the bytes are
/// well-formed UTF-8; bytes that are not are taken for Windows-1252, which the caller converts piece by piece.
DecodedText decodeTextFile(std::string_view bytes);

} // namespace tesk
