#include "container/reader/open_dsd.h"

#include "container/reader/dff_reader.h"
#include "container/reader/dsf_reader.h"
#include "container/reader/wsd_reader.h"

#include <string_view>

namespace tesk {
namespace {

/// Whether the DSDIFF reader speaks for a file that is none: it has texts of its own.
bool isNamedDff(const std::string& path) { return path.ends_with(".dff") || path.ends_with(".DFF"); }

std::unique_ptr<DsdReader> refuseFile(const std::string& path, const std::string& why, Reporter& report)
{
    if (isNamedDff(path)) report.error("DFFReader: cannot open %s\n", path.c_str());
    report.error("Error: %s\n", why.c_str());
    return nullptr;
}

} // namespace

DsdInput openDsd(const std::string& path, const SacdOptions& options, Reporter& report)
{
    DsdInput input;
    std::string why;
    auto file = FileSource::open(path, why);
    if (!file) {
        input.reader = refuseFile(path, why, report);
        return input;
    }
    char magic[4] = {};
    (void)file->readAt(0, magic, sizeof(magic));
    const std::string_view start(magic, sizeof(magic));
    if (start == "DSD ") {
        input.reader = DsfReader::open(std::move(file), report);
    } else if (start == "FRM8") {
        input.reader = DFFReader::open(std::move(file), options.dstLevel, report);
    } else if (start == "1bit") {
        input.reader = WsdReader::open(std::move(file), report);
    } else if (isNamedDff(path)) {
        input.reader = DFFReader::open(std::move(file), options.dstLevel, report); // which refuses it
    } else {
        auto disc = SACDReader::open(std::move(file), options, report);
        input.disc = disc.get();
        input.reader = std::move(disc);
    }
    return input;
}

} // namespace tesk
