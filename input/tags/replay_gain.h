// How loud a recording is, as its tags tell it.
#pragma once

#include <optional>
#include <string>

namespace tesk {

/// Gains in dB, to be added to reach the reference loudness of ReplayGain (89 dB SPL, −18 LUFS); peaks linear, 1.0 is
/// full scale. An unknown peak (a tag of 0 says so too) has no value.
struct ReplayGain {
    std::optional<double> trackGainDb, trackPeak, albumGainDb, albumPeak;
    bool trackFromR128 = false, albumFromR128 = false; ///< the gain is of an R128 tag: a ReplayGain tag replaces it

    bool empty() const { return !trackGainDb && !albumGainDb; }
};

/// A number as the tags of the world have it: blanks, a leading "+", a decimal comma and a following "dB" in any case
/// are fine. Nothing for everything else, for what is not finite, and beyond ±1000.
std::optional<double> parseGainNumber(const std::string& text);

/// Takes one tag into `gain` when its name, in any case, is REPLAYGAIN_TRACK_GAIN, _TRACK_PEAK, _ALBUM_GAIN,
/// _ALBUM_PEAK, or R128_TRACK_GAIN or R128_ALBUM_GAIN (integers of 1/256 dB towards −23 LUFS, so 5 dB are added; a
/// ReplayGain tag wins over them). A field that has a value keeps it.
/// Sources: ReplayGain 2.0; RFC 7845 (Opus).
void takeReplayGainTag(const std::string& name, const std::string& value, ReplayGain& gain);

} // namespace tesk
