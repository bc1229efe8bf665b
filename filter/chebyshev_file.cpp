#include "filter/chebyshev_file.h"

#include "engine/base/numbers.h"
#include "platform/files.h"
#include "platform/locale.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <utility>

namespace tesk {
namespace {

constexpr std::string_view kMagic = "TESK CHEBYSHEV FIR\n";
constexpr std::string_view kChecksum = "checksum ";
constexpr int kVersion = 1;
constexpr std::size_t kLongestFile = 64 * 1024; // 1025 coefficients take half of it
constexpr std::size_t kHexDigits = 16;

/// FNV-1a with 64 bits. Source: Fowler, Noll and Vo, draft-eastlake-fnv.
class Fnv {
public:
    void byte(std::uint8_t value) { hash_ = (hash_ ^ value) * 0x100000001B3u; }
    void bits(std::uint64_t value)
    {
        for (unsigned shift = 0; shift < 64; shift += 8) byte(static_cast<std::uint8_t>(value >> shift));
    }
    void number(double value) { bits(std::bit_cast<std::uint64_t>(value + 0.0)); } // −0 counts as 0
    std::uint64_t value() const { return hash_; }

private:
    std::uint64_t hash_ = 0xCBF29CE484222325u;
};

std::string hex(std::uint64_t value) { return format("%016llx", static_cast<unsigned long long>(value)); }

std::string checksumOf(std::string_view text)
{
    Fnv fnv;
    for (char c : text) fnv.byte(static_cast<std::uint8_t>(c));
    return hex(fnv.value());
}

std::uint64_t hashOf(const FilterPlan& plan)
{
    Fnv fnv;
    for (int value :
         {plan.sampleRate, plan.sourceRate, plan.oversampling, plan.passbandCutoff, plan.stopbandCutoff, plan.taps,
          plan.phases, plan.tapsPerPhase, plan.filterType, plan.windowType, plan.apodizingMode, int{plan.minimumPhase},
          int{plan.remez}, int{plan.predistortion}, plan.gridDensity, plan.maxIterations})
        fnv.number(value);
    for (double value : {plan.alpha, plan.alphaScale, plan.deltaF, plan.beta}) fnv.number(value);
    for (const FilterEqBand& band : plan.eqBands) {
        fnv.number(band.centreHz);
        fnv.number(band.gainDb);
        fnv.number(band.widthHz);
    }
    return fnv.value();
}

std::uint64_t hashOf(std::span<const double> coefficients)
{
    double top = 0.0;
    for (double c : coefficients) top = std::max(top, std::abs(c));
    Fnv fnv;
    for (double c : coefficients) fnv.number(std::round(c / (top > 0.0 ? top : 1.0) * 0x1p24));
    return fnv.value();
}

/// Takes "name value\n" after "name value\n" from a text.
class Lines {
public:
    explicit Lines(std::string_view text) : rest_(text) {}

    /// The value when the next line bears this name.
    std::optional<std::string_view> take(std::string_view name)
    {
        const std::size_t end = rest_.find('\n');
        if (end == rest_.npos || !rest_.starts_with(name) || end <= name.size() || rest_[name.size()] != ' ') return {};
        const std::string_view value = rest_.substr(name.size() + 1, end - name.size() - 1);
        rest_.remove_prefix(end + 1);
        return value;
    }

    std::optional<double> number(std::string_view name)
    {
        const auto value = take(name);
        return value ? parseNumber(*value) : std::nullopt;
    }

    /// An integer within [least, most].
    std::optional<int> integer(std::string_view name, int least, int most)
    {
        const auto value = take(name);
        const auto result = value ? parseInteger(*value) : std::nullopt;
        return result && *result >= least && *result <= most ? result : std::nullopt;
    }

    bool atEnd() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

/// Cuts the checksum line off; the reason when it is missing or wrong.
std::string removeChecksum(std::string_view& text)
{
    const std::size_t length = kChecksum.size() + kHexDigits + 1;
    const std::string_view last = text.size() > length ? text.substr(text.size() - length) : "";
    if (!last.starts_with(kChecksum) || last.back() != '\n') return "it is cut off: the checksum at its end is missing";
    text.remove_suffix(length);
    if (last.substr(kChecksum.size(), kHexDigits) != checksumOf(text))
        return "it has been changed or damaged: its checksum is wrong";
    return {};
}

/// The lines that bind the file to a design; the reason when it was made for another one.
std::string checkDesign(Lines& lines, const DesignFingerprint& expected, int& taps)
{
    const auto count = lines.integer("taps", kLeastPolyDegree + 1, std::numeric_limits<int>::max());
    if (!count) return "its number of taps is missing or out of range";
    const auto rate = lines.number("rate");
    if (!rate || *rate <= 0.0) return "its rate is missing or out of range";
    const auto plan = lines.take("plan");
    const auto design = lines.take("design");
    if (!plan || !design) return "its fingerprint is missing";
    if (*count != expected.taps || *rate != expected.rateHz)
        return format("it was made for %d taps at %.0f Hz, this filter has %d at %.0f Hz", *count, *rate, expected.taps,
                      expected.rateHz);
    if (*plan != hex(expected.plan)) return "it was made for a filter with other settings";
    if (*design != hex(expected.design)) return "it was made for a filter with other coefficients";
    taps = *count;
    return {};
}

std::string readPolynomial(Lines& lines, ChebyshevFir& fir)
{
    const auto degree = lines.integer("degree", kLeastPolyDegree, std::min(kMostPolyDegree, fir.taps - 1));
    if (!degree)
        return format("its degree is missing or not within %d-%d", kLeastPolyDegree,
                      std::min(kMostPolyDegree, fir.taps - 1));
    const auto symmetric = lines.integer("symmetric", 0, 1);
    if (!symmetric) return "its symmetry is missing or neither 0 nor 1";
    fir.degree = *degree;
    fir.symmetric = *symmetric == 1;
    const std::size_t count = chebyshevCount(fir.degree, fir.symmetric);
    while (fir.coefficients.size() < count) {
        const auto coefficient = lines.number("c");
        if (!coefficient)
            return format("coefficient %zu of %zu is missing or no finite number", fir.coefficients.size() + 1, count);
        fir.coefficients.push_back(*coefficient);
    }
    return lines.atEnd() ? std::string{} : format("something stands behind its %zu coefficients", count);
}

/// The file's text, or errno. One byte over the limit is enough to see that it is too long.
Result<std::string, int> readText(const std::string& path)
{
    const platform::FilePtr file(platform::open_utf8(path.c_str(), "rb"));
    if (!file) return errno;
    std::string text(kLongestFile + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get())) return errno;
    return text;
}

} // namespace

DesignFingerprint fingerprintOf(const FilterPlan& plan, std::span<const double> coefficients)
{
    return {static_cast<int>(coefficients.size()), plan.designRate(), hashOf(plan), hashOf(coefficients)};
}

std::string withChecksum(std::string text)
{
    const std::string sum = checksumOf(text);
    return std::move(text) + std::string(kChecksum) + sum + "\n";
}

std::string formatChebyshev(const ChebyshevFir& fir, const DesignFingerprint& fingerprint)
{
    const platform::CLocale locale;
    std::string text(kMagic);
    text += format("version %d\ntaps %d\nrate %.17g\n", kVersion, fir.taps, fingerprint.rateHz);
    text += "plan " + hex(fingerprint.plan) + "\ndesign " + hex(fingerprint.design) + "\n";
    text += format("degree %d\nsymmetric %d\n", fir.degree, int{fir.symmetric});
    for (double c : fir.coefficients) text += format("c %.16e\n", c);
    return withChecksum(std::move(text));
}

Result<ChebyshevFir, std::string> parseChebyshev(std::string_view text, const DesignFingerprint& expected)
{
    if (!text.starts_with(kMagic)) return std::string("it is no polynomial file");
    if (text.size() > kLongestFile) return std::string("it is too long for a polynomial file");
    Lines head(text.substr(kMagic.size()));
    const auto version = head.take("version");
    if (version && *version != std::to_string(kVersion))
        return format("its version is not %d, the only one known", kVersion);
    if (std::string reason = removeChecksum(text); !reason.empty()) return reason;
    Lines lines(text.substr(kMagic.size()));
    if (!lines.take("version")) return std::string("its version is missing");
    ChebyshevFir fir;
    if (std::string reason = checkDesign(lines, expected, fir.taps); !reason.empty()) return reason;
    if (std::string reason = readPolynomial(lines, fir); !reason.empty()) return reason;
    return fir;
}

Result<ChebyshevFir, PDM_ENCODING_STATUS> loadChebyshev(const std::string& path, const DesignFingerprint& expected,
                                                        Reporter& reporter)
{
    const auto text = readText(path);
    const auto fir = text ? parseChebyshev(*text, expected) : platform::errorText(text.status());
    if (fir) return *fir;
    reporter.error("Error : polynomial file \"%s\": %s\n", path.c_str(), fir.status().c_str());
    return DSD_ERROR_INPUT;
}

} // namespace tesk
