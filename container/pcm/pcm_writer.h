// Files that PCM sound is written to.
#pragma once

#include "engine/base/metadata.h"
#include "engine/base/reporter.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace tesk {

struct PcmFormat {
    std::uint32_t sampleRate = 0; ///< Hz
    std::uint32_t channels = 0;
    std::uint32_t bitsPerSample = 0; ///< 16, 24, 32 or 64 (64: float only); FLAC 16 or 24
    bool isFloat = false;
    bool isWave64 = false;
};

/// What a file's head and its tags need to know beforehand.
struct PcmFileInfo {
    std::uint64_t expectedFrames = 0; ///< an upper bound; 0 when unknown
    MetadataRecord metadata;
};

/// One file of interleaved samples, full scale ±1. It gets its name when it is closed; destroyed before that it leaves
/// nothing behind, and a file that stood there stays. One thread at a time.
class PcmWriter {
public:
    virtual ~PcmWriter() = default;

    /// Closes what is still open and starts a file. False, with `errorText` set, when it cannot be created.
    virtual bool open(const std::string& path, const PcmFormat& format, const PcmFileInfo& info) = 0;
    /// interleaved [frames · channels]. False, with `errorText` set, on failure; the file is then lost.
    virtual bool write(const double* interleaved, std::size_t frames) = 0;
    /// Writes sizes and tags, and gives the file its name. False, with `errorText` set, when that fails.
    virtual bool close() = 0;

    /// Bytes of the file so far.
    virtual std::uint64_t bytesWritten() const = 0;
    /// Why the last operation failed, in the user's words, without a line feed.
    virtual const std::string& errorText() const = 0;
};

enum class PcmContainer { wave, flac }; ///< RIFF, RF64 and Wave64 are one writer

/// @param report  takes warnings: a cover that is left out, a file that becomes RF64
std::unique_ptr<PcmWriter> makePcmWriter(PcmContainer container, Reporter& report);

} // namespace tesk
