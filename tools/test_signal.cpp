#include "tools/test_signal.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tesk::measure {
namespace {

using Channel = std::vector<double>;
constexpr double kTurn = 2.0 * std::numbers::pi;

/// A generator of our own, for the standard's distributions differ between libraries. Source: Vigna, splitmix64.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next()
    {
        std::uint64_t z = state_ += 0x9E3779B97F4A7C15u;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }
    double within(double low, double high) { return low + (high - low) * static_cast<double>(next() >> 11) * 0x1p-53; }

private:
    std::uint64_t state_;
};

/// A sine whose phase is reduced every sample, so that long files stay exact.
void addSine(Channel& channel, double hz, double rate, double amplitude)
{
    for (std::size_t i = 0; i < channel.size(); ++i)
        channel[i] += amplitude * std::sin(kTurn * std::fmod(static_cast<double>(i) * hz / rate, 1.0));
}

/// One struck note: harmonics of falling amplitude, the higher ones dying sooner.
void addNote(Channel& channel, double rate, std::size_t start, double hz, double amplitude, double decaySeconds)
{
    for (int harmonic = 1; harmonic <= 12 && harmonic * hz < 0.45 * rate; ++harmonic) {
        const double step = kTurn * harmonic * hz / rate;
        const double decay = std::exp(-harmonic / (decaySeconds * rate));
        double level = amplitude / (harmonic * std::sqrt(static_cast<double>(harmonic)));
        for (std::size_t i = start; i < channel.size() && level > 1e-6; ++i, level *= decay) {
            const double age = static_cast<double>(i - start);
            const double attack = std::min(1.0, age / (0.005 * rate)); // 5 ms, against a click
            channel[i] += attack * level * std::sin(step * age);
        }
    }
}

void addBurst(Channel& channel, double rate, std::size_t start, Random& random)
{
    double level = 0.15;
    const double decay = std::exp(-1.0 / (0.04 * rate));
    for (std::size_t i = start; i < channel.size() && level > 1e-5; ++i, level *= decay)
        channel[i] += random.within(-level, level);
}

void addMusic(Channel& channel, double rate, std::uint64_t seed)
{
    constexpr double beatSeconds = 0.25;
    Random random(seed);
    const auto beats = static_cast<std::size_t>(static_cast<double>(channel.size()) / (beatSeconds * rate)) + 1;
    for (std::size_t beat = 0; beat < beats; ++beat) {
        const auto start = static_cast<std::size_t>(static_cast<double>(beat) * beatSeconds * rate);
        const auto halfTones = static_cast<double>(random.next() % 36);
        addNote(channel, rate, start, 130.81 * std::exp2(halfTones / 12.0), random.within(0.1, 0.5), 0.6);
        if (beat % 4 == 0) addNote(channel, rate, start, 55.0, 0.5, 1.2);
        if (beat % 2 == 1) addBurst(channel, rate, start, random);
    }
    for (double& sample : channel) sample += random.within(-1e-4, 1e-4);
}

void normalise(std::vector<Channel>& channels, double peak)
{
    double largest = 0.0;
    for (const auto& channel : channels)
        for (double sample : channel) largest = std::max(largest, std::abs(sample));
    if (largest == 0.0) return;
    for (auto& channel : channels)
        for (double& sample : channel) sample *= peak / largest;
}

} // namespace

std::optional<SignalKind> signalKind(std::string_view name)
{
    if (name == "tone") return SignalKind::tone;
    if (name == "noise") return SignalKind::noise;
    if (name == "silence") return SignalKind::silence;
    if (name == "impulse") return SignalKind::impulse;
    if (name == "music") return SignalKind::music;
    return {};
}

std::vector<std::vector<double>> makeSignal(const SignalRequest& request)
{
    const auto frames = static_cast<std::size_t>(std::llround(request.seconds * request.rate));
    const double peak = std::pow(10.0, request.levelDb / 20.0);
    std::vector<Channel> channels(request.channels, Channel(frames));
    for (unsigned c = 0; c < request.channels; ++c) {
        Channel& channel = channels[c];
        switch (request.kind) {
        case SignalKind::silence: break;
        case SignalKind::tone:
            addSine(channel, request.hz, request.rate, request.hz2 ? peak / 2.0 : peak);
            if (request.hz2) addSine(channel, *request.hz2, request.rate, peak / 2.0);
            break;
        case SignalKind::noise: {
            Random random(c + 1);
            for (double& sample : channel) sample = random.within(-peak, peak);
            break;
        }
        case SignalKind::impulse:
            if (frames > 0) channel[frames / 2] = peak;
            break;
        case SignalKind::music: addMusic(channel, request.rate, c + 1); break;
        }
    }
    if (request.kind == SignalKind::music) normalise(channels, peak);
    return channels;
}

} // namespace tesk::measure
