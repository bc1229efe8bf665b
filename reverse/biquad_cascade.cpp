#include "reverse/biquad_cascade.h"

#include <algorithm>
#include <emmintrin.h>

namespace tesk {
namespace {

constexpr unsigned kGroup = 4; // sections whose states fit the registers

struct One {
    double v;
    static One all(double x) { return {x}; }
    friend One operator+(One a, One b) { return {a.v + b.v}; }
    friend One operator-(One a, One b) { return {a.v - b.v}; }
    friend One operator*(One a, One b) { return {a.v * b.v}; }
};

struct Two {
    __m128d v;
    static Two all(double x) { return {_mm_set1_pd(x)}; }
    friend Two operator+(Two a, Two b) { return {_mm_add_pd(a.v, b.v)}; }
    friend Two operator-(Two a, Two b) { return {_mm_sub_pd(a.v, b.v)}; }
    friend Two operator*(Two a, Two b) { return {_mm_mul_pd(a.v, b.v)}; }
};

struct OneChannel {
    using Lanes = One;
    double* x;
    Lanes load(std::size_t i) const { return {x[i]}; }
    void store(std::size_t i, Lanes y) const { x[i] = y.v; }
};

struct TwoChannels {
    using Lanes = Two;
    double *a, *b;
    Lanes load(std::size_t i) const { return {_mm_set_pd(b[i], a[i])}; }
    void store(std::size_t i, Lanes y) const
    {
        _mm_storel_pd(a + i, y.v);
        _mm_storeh_pd(b + i, y.v);
    }
};

/// The last three samples before every section and behind the last one, newest first.
template <unsigned sections, class V>
struct Taps {
    V now[sections + 1], newer[sections + 1], older[sections + 1];

    void push(unsigned k, V s)
    {
        older[k] = newer[k];
        newer[k] = now[k];
        now[k] = s;
    }
};

/// Section k works on sample i − k, so that no section waits for another within a step: in turn they would wait for
/// each other longer than a processor looks ahead. The first and the last steps leave out sections that have no sample.
template <unsigned sections, class Samples>
void runGroup(const Biquad& c, const Samples& past, const Samples& x, std::size_t n)
{
    using V = typename Samples::Lanes;
    const V b0 = V::all(c.b0), b1 = V::all(c.b1), b2 = V::all(c.b2), a1 = V::all(c.a1), a2 = V::all(c.a2);
    Taps<sections, V> t{};
    for (unsigned k = 0; k <= sections; ++k) t.now[k] = past.load(2 * k), t.newer[k] = past.load(2 * k + 1);
    const auto section = [&](unsigned k) {
        t.push(k + 1, (b0 * t.now[k] + b1 * t.newer[k] + b2 * t.older[k] - a2 * t.newer[k + 1]) - a1 * t.now[k + 1]);
    };
    const auto edge = [&](std::size_t i) {
        if (i < n) t.push(0, x.load(i));
        for (unsigned k = sections; k-- > 0;)
            if (k <= i && i < n + k) section(k);
        if (i + 1 >= sections) x.store(i + 1 - sections, t.now[sections]);
    };
    std::size_t i = 0;
    for (; i + 1 < sections; ++i) edge(i);
    for (; i < n; ++i) {
        t.push(0, x.load(i));
        for (unsigned k = sections; k-- > 0;) section(k);
        x.store(i + 1 - sections, t.now[sections]);
    }
    for (; i < n + sections - 1; ++i) edge(i);
    for (unsigned k = 0; k <= sections; ++k) past.store(2 * k, t.now[k]), past.store(2 * k + 1, t.newer[k]);
}

template <class Samples>
void runAll(const Biquad& c, unsigned sections, Samples past, const Samples& x, std::size_t n, auto advance)
{
    for (; sections > 0; sections -= std::min(sections, kGroup), advance(past, 2 * (kGroup + 1))) {
        switch (std::min(sections, kGroup)) {
        case 1: runGroup<1>(c, past, x, n); break;
        case 2: runGroup<2>(c, past, x, n); break;
        case 3: runGroup<3>(c, past, x, n); break;
        default: runGroup<kGroup>(c, past, x, n);
        }
    }
}

} // namespace

BiquadCascade::BiquadCascade(const Biquad& section, unsigned sections)
    : section_(section), sections_(sections), past_(std::size_t{2} * (kGroup + 1) * ((sections + kGroup - 1) / kGroup))
{
}

void BiquadCascade::run(double* x, std::size_t n)
{
    runAll(section_, sections_, OneChannel{past_.data()}, OneChannel{x}, n,
           [](OneChannel& past, std::size_t step) { past.x += step; });
}

void BiquadCascade::runPair(BiquadCascade& a, double* xa, BiquadCascade& b, double* xb, std::size_t n)
{
    runAll(a.section_, a.sections_, TwoChannels{a.past_.data(), b.past_.data()}, TwoChannels{xa, xb}, n,
           [](TwoChannels& past, std::size_t step) { past.a += step, past.b += step; });
}

} // namespace tesk
