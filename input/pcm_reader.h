// A decoder of one PCM format: opened once, read from front to back.
#pragma once

#include "engine/base/result.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tesk {

/// What a file says about itself before anything is decoded.
struct PcmInfo {
    std::string format; ///< "WAV", "Wave64", "RF64", "BW64", "AIFF", "AIFC", "FLAC", ...
    std::uint32_t channels = 0;
    std::uint32_t sampleRate = 0; ///< Hz
    int bitsPerSample = 0;        ///< valid bits of the source; 32 or 64 for floating point, 24 for lossy formats
    bool isFloat = false;
    std::optional<std::uint64_t> declaredFrames; ///< what the header claims; nothing when it makes no claim
    std::optional<std::uint64_t> storedFrames;   ///< what the file's length leaves room for; nothing when only
                                                 ///< decoding can tell
    bool lengthIsHint = false; ///< declaredFrames is an estimate, as lossy formats have it; deviating is no fault
    bool unchecked = false;    ///< samples may be any double, as decoders of run time may return them
    bool streamed = true;      ///< decoded piece by piece from the file; the limit for streaming readers then holds
};

/// Frames that a reader finds out about only at the end are fine: `read` goes on until it returns 0.
class PcmReader {
public:
    virtual ~PcmReader() = default;

    /// Opens the file and reads its header. DSD_ERROR_INPUT, with `errorText` set, when this reader cannot take it.
    virtual Status open(const std::string& path) = 0;

    /// Valid after a successful `open`.
    const PcmInfo& info() const { return info_; }

    /// Decodes the next frames.
    ///
    /// @param planar  [channels][frames]  receives the samples, full scale ±1.0; floating-point sources may exceed it
    /// @return        frames decoded, fewer than asked for only at the end, 0 from then on; DSD_ERROR_INPUT with
    ///                `errorText` set when frames are lost
    virtual Result<std::size_t, PDM_ENCODING_STATUS> read(double* const* planar, std::size_t frames) = 0;

    /// Makes `frame` the next one that `read` gives. DSD_ERROR_UNSUPPORTED, the position unchanged, when this reader
    /// reads from front to back only; DSD_ERROR_INPUT with `errorText` set when it failed and reading cannot go on.
    virtual Status seek(std::uint64_t /*frame*/) { return DSD_ERROR_UNSUPPORTED; }

    /// Why the last call failed; for the user.
    const std::string& errorText() const { return error_; }

    /// Oddities that cost no sample; complete once `read` has returned 0.
    const std::vector<std::string>& warnings() const { return warnings_; }

protected:
    /// Keeps the reason and returns the status that goes with it.
    PDM_ENCODING_STATUS fail(std::string why)
    {
        error_ = std::move(why);
        return DSD_ERROR_INPUT;
    }

    PcmInfo info_;
    std::string error_;
    std::vector<std::string> warnings_;
};

} // namespace tesk
