// Signals to convert and measure: always the same samples for the same wishes.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tesk::measure {

enum class SignalKind { tone, noise, silence, impulse, music };

std::optional<SignalKind> signalKind(std::string_view name);

struct SignalRequest {
    SignalKind kind = SignalKind::tone;
    double rate = 44100.0; ///< Hz
    double seconds = 10.0;
    unsigned channels = 2;
    double levelDb = -6.0;     ///< the peak, dB of full scale ±1
    double hz = 1000.0;        ///< tone
    std::optional<double> hz2; ///< a second tone; then each has half of the amplitude
};

/// [channels][frames], full scale ±1.
///
/// tone     the same sine in every channel, beginning at 0
/// noise    white and uniform within ±level, independent channels
/// impulse  one sample at `level` in the middle of the file
/// music    decaying harmonic notes, a quiet bass and noise bursts; independent channels that share their beat; the
///          largest sample of all is at `level`
std::vector<std::vector<double>> makeSignal(const SignalRequest& request);

} // namespace tesk::measure
