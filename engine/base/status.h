// The status of every step of the engine, as the process's exit status shows it.
#pragma once

#include <cstdint>

/// Zero is success, failures are negative. The values become exit statuses and never change;
/// the gaps in the numbering belong to nobody.
enum PDM_ENCODING_STATUS : std::int32_t {
    DSD_SUCCESS = 0,
    DSD_ERROR = -1,
    DSD_ERROR_INVALID_ZEROS_COUNT = -2,
    DSD_ERROR_UNSUPPORTED_ORDER = -3,
    DSD_ERROR_INVALID_VOLUME_VALUE_DETECTED = -4,
    DSD_ERROR_QUANTIZATION = -5,
    DSD_ERROR_INIT_ENCODED_DST = -6,
    DSD_ERROR_WINDOW_TYPE = -10,
    DST_ERROR = -11,
    PDM_REMEZ_NOT_CONVERGED = -21,
    PDM_REMEZ_TOO_FEW_EXTREMALS = -22,
    PDM_REMEZ_TOO_MANY_EXTREMALS = -23,
    PDM_REMEZ_INVALID_PARAM = -24,
    DSD_ERROR_PCMBASESAMPLERATE = -45,
    DSD_ERROR_USAGE = -50,
    DSD_ERROR_INPUT = -51,
    DSD_ERROR_OUTPUT = -52,
    DSD_ERROR_WRITE = -53,
    DSD_ERROR_UNSUPPORTED = -55,
    DSD_ERROR_RECORDING = -56,
    DSD_ERROR_INIT = -57,
    DSD_ERROR_PRESET = -58,
    DSD_ERROR_METADATA_REQUIRED = -59,
    DSD_ERROR_ASSERT = -60,
    DSD_SIGACTION = -130,
};

/// The host stopped the run. Not a failure of any step, so it has no name in the enumeration.
inline constexpr auto kHostStopped = static_cast<PDM_ENCODING_STATUS>(-61);

/// What the hand-written option loop answers to a command line it rejects.
inline constexpr int kCommandLineRejected = 1;

namespace tesk {

/// The enumerator's name, or "(unknown)" for any other value (host stop and gaps included).
const char* status_name(int code);

} // namespace tesk
