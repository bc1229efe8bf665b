// The rows of the option table, by help group; optionGroups() puts them in order.
#pragma once

#include "engine/options/option_table.h"

#include <span>

namespace tesk::rows {

// rows_output.cpp
std::span<const Option> mandatory();
std::span<const Option> pdmOutput();
std::span<const Option> panning();
std::span<const Option> channels();
std::span<const Option> dxd();

// rows_modulator.cpp
std::span<const Option> modulator();
std::span<const Option> filter();
std::span<const Option> process();

// rows_effects.cpp
std::span<const Option> equalizer();
std::span<const Option> psychoacoustic();
std::span<const Option> apodizing();
std::span<const Option> adaptive();
std::span<const Option> lookaheadLimiter();
std::span<const Option> harmonics();
std::span<const Option> quantization();
std::span<const Option> restoration();

// rows_dsp.cpp
std::span<const Option> hrtf();
std::span<const Option> stereoExpander();
std::span<const Option> dsp();
std::span<const Option> dspToolkit();
std::span<const Option> spectral();

// rows_session.cpp
std::span<const Option> metadata();
std::span<const Option> presets();
std::span<const Option> diagnostics();
std::span<const Option> information();
std::span<const Option> recording();
std::span<const Option> inProcess();

} // namespace tesk::rows
