// The polynomial of a filter as a text file, bound to the design it was fitted to.
//
//   TESK CHEBYSHEV FIR
//   version 1
//   taps 8192
//   rate 2822400                 Hz, of the coefficients: R = L·fs
//   plan 0123456789abcdef        fingerprints, 16 hexadecimal digits each
//   design 0123456789abcdef
//   degree 240
//   symmetric 0                  1: even coefficients only
//   c 1.2345678901234567e-05     one line per coefficient, 17 significant digits: the same double again
//   checksum 0123456789abcdef    FNV-1a over every byte before this line
//
// Lines end in \n, and nothing follows the last one.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/result.h"
#include "filter/chebyshev_fir.h"
#include "filter/filter_plan.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tesk {

/// What a file must agree with to belong to a design.
struct DesignFingerprint {
    int taps = 0;
    double rateHz = 0.0;
    std::uint64_t plan = 0;   ///< of every number of the plan
    std::uint64_t design = 0; ///< of the designed coefficients
};

/// The coefficients count in steps of 2^−24 of the largest one: a mathematics library that rounds the last bit
/// differently still makes the same design.
DesignFingerprint fingerprintOf(const FilterPlan& plan, std::span<const double> coefficients);

std::string formatChebyshev(const ChebyshevFir& fir, const DesignFingerprint& fingerprint);

/// @return  the polynomial; else a sentence that says why the text is refused: no polynomial file, another version, cut
///          off, changed, a size out of range, a coefficient that is no finite number, made for another design
Result<ChebyshevFir, std::string> parseChebyshev(std::string_view text, const DesignFingerprint& expected);

/// The text with its checksum line, whatever it holds.
std::string withChecksum(std::string text);

/// DSD_ERROR_INPUT, with the reason printed, when the file cannot be read or is refused.
Result<ChebyshevFir, PDM_ENCODING_STATUS> loadChebyshev(const std::string& path, const DesignFingerprint& expected,
                                                        Reporter& reporter);

} // namespace tesk
