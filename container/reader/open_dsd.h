// From a path to the reader of what lies there.
#pragma once

#include "container/reader/sacd_reader.h"

#include <memory>
#include <string>

namespace tesk {

/// A one-bit source. A disc has tracks beside; `disc` is then the reader itself.
struct DsdInput {
    std::unique_ptr<DsdReader> reader;
    SACDReader* disc = nullptr;
};

/// Opens a DSF, DSDIFF or WSD file or a disc image, told by its content. Null, with the reason printed, when that
/// cannot be done.
DsdInput openDsd(const std::string& path, const SacdOptions& options, Reporter& report);

} // namespace tesk
