#include "modulator/equal_loudness.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace tesk::modulator {
namespace {

/// A line of ISO 226:2003, table 1.
struct ContourLine {
    double hz;
    double exponent;    ///< α: of loudness perception
    double transferDb;  ///< L_U: of the linear transfer function, 0 at 1 kHz
    double thresholdDb; ///< T_f: of hearing
};

constexpr ContourLine kContour[] = {
    {20, 0.532, -31.6, 78.5},   {25, 0.506, -27.2, 68.7}, {31.5, 0.480, -23.0, 59.5}, {40, 0.455, -19.1, 51.1},
    {50, 0.432, -15.9, 44.0},   {63, 0.409, -13.0, 37.5}, {80, 0.387, -10.3, 31.5},   {100, 0.367, -8.1, 26.5},
    {125, 0.349, -6.2, 22.1},   {160, 0.330, -4.5, 17.9}, {200, 0.315, -3.1, 14.4},   {250, 0.301, -2.0, 11.4},
    {315, 0.288, -1.1, 8.6},    {400, 0.276, -0.4, 6.2},  {500, 0.267, 0.0, 4.4},     {630, 0.259, 0.3, 3.0},
    {800, 0.253, 0.5, 2.2},     {1000, 0.250, 0.0, 2.4},  {1250, 0.246, -2.7, 3.5},   {1600, 0.244, -4.1, 1.7},
    {2000, 0.243, -1.0, -1.3},  {2500, 0.243, 1.7, -4.2}, {3150, 0.243, 2.5, -6.0},   {4000, 0.242, 1.2, -5.4},
    {5000, 0.242, -2.1, -1.5},  {6300, 0.245, -7.1, 6.0}, {8000, 0.254, -11.2, 12.6}, {10000, 0.271, -10.7, 13.9},
    {12500, 0.301, -3.1, 12.3},
};

/// Threshold of hearing of young listeners, dB. Source: ISO 389-7, free field; the last two points continue its rise.
constexpr struct {
    double hz, db;
} kThreshold[] = {{14000, 18.4}, {16000, 40.2}, {18000, 70.4}, {20000, 100.4}, {24000, 160.4}};

/// ISO 226:2003, formula (1).
double contourLevelDb(const ContourLine& line, double phon)
{
    const double loudness = 4.47e-3 * (std::pow(10.0, 0.025 * phon) - 1.15);
    const double atThreshold =
        std::pow(0.4 * std::pow(10.0, (line.thresholdDb + line.transferDb) / 10 - 9), line.exponent);
    return 10 / line.exponent * std::log10(loudness + atThreshold) - line.transferDb + 94;
}

/// Slopes with which a cubic between two points leaves neither's range: the harmonic mean of the slopes to both sides,
/// weighted with the distances, and none at an extreme; at the ends that of the last piece. Source: F. N. Fritsch and
/// J. Butland, SIAM J. Sci. Stat. Comput. 5 (1984).
std::vector<double> monotoneSlopes(const std::vector<double>& x, const std::vector<double>& y)
{
    std::vector<double> slopes(x.size(), 0.0);
    const auto piece = [&](std::size_t i) { return (y[i + 1] - y[i]) / (x[i + 1] - x[i]); };
    slopes.front() = piece(0);
    slopes.back() = piece(x.size() - 2);
    for (std::size_t i = 1; i + 1 < x.size(); ++i) {
        const double left = piece(i - 1), right = piece(i);
        if (left * right <= 0) continue;
        const double share = (x[i] - x[i - 1] + 2 * (x[i + 1] - x[i])) / (3 * (x[i + 1] - x[i - 1]));
        slopes[i] = left * right / (share * right + (1 - share) * left);
    }
    return slopes;
}

} // namespace

EqualLoudnessContour::EqualLoudnessContour(double phon)
{
    if (!(phon > 0.0 && phon <= 100.0)) throw std::invalid_argument("Phon must be in (0.0, 100.0]");
    for (const ContourLine& line : kContour) {
        octaves_.push_back(std::log2(line.hz));
        levels_.push_back(contourLevelDb(line, phon));
    }
    const double aboveThreshold = levels_.back() - std::end(kContour)[-1].thresholdDb;
    for (const auto& [hz, db] : kThreshold) {
        octaves_.push_back(std::log2(hz));
        levels_.push_back(db + aboveThreshold);
    }
    slopes_ = monotoneSlopes(octaves_, levels_);
}

double EqualLoudnessContour::levelDb(double hz) const
{
    const double octave = std::log2(std::max(1.0, hz)); // a NaN loses
    if (octave <= octaves_.front()) return levels_.front();
    if (octave >= octaves_.back()) return levels_.back() + slopes_.back() * (octave - octaves_.back());
    const auto next = std::upper_bound(octaves_.begin(), octaves_.end(), octave);
    const auto i = static_cast<std::size_t>(next - octaves_.begin()) - 1;
    const double width = octaves_[i + 1] - octaves_[i], t = (octave - octaves_[i]) / width, r = 1 - t;
    return r * r * ((1 + 2 * t) * levels_[i] + t * width * slopes_[i]) +
           t * t * ((1 + 2 * r) * levels_[i + 1] - r * width * slopes_[i + 1]);
}

} // namespace tesk::modulator
