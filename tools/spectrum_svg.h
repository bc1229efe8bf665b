// Draws the spectra of a file's channels.
#pragma once

#include "analysis/spectrum.h"

#include <string>
#include <vector>

namespace tesk::measure {

/// An SVG document: dBFS over a logarithmic axis from 10 Hz to half the rate, one curve per channel.
/// A point of a curve is the largest bin (as a sine would read) within three columns, so no tone falls between two.
/// @param spectra  one per channel, at least one, all of one rate and length
/// @param title    plain text
std::string spectrumSvg(const std::vector<analysis::Spectrum>& spectra, const std::string& title);

} // namespace tesk::measure
