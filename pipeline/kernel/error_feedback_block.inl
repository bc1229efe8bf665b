// The block form of the error-feedback loop, written once and compiled once per vector level. The including
// file defines TESK_TARGET (the function attribute of its level) and, in its own namespace, the template Rows:
// the running product of the columns matrix.
//
// Per block: eight samples in sequence, each followed by three columns of the product, two of the old state and
// its own error's, and then the store. So the product fills the time in which a decision waits for its
// predecessor's error, and only its last column comes after the sequence.

constexpr int kBlock = ErrorFeedbackLoop::kBlock, kStates = ErrorFeedbackLoop::kStates;
constexpr int kRows = ErrorFeedbackLoop::kRows;

/// What a block needs of its dither before the first decision: d + x − u, and (−y − d)·g for y = +1 and −1.
struct Prepared {
    alignas(32) double sum[kBlock], plus[kBlock], minus[kBlock];
};

/// The generator's next eight states from one: s[j] = multiplier[j]·s + increment[j], as four lanes twice.
struct GeneratorJump {
    alignas(32) std::uint64_t multiplier[kBlock], increment[kBlock];

    constexpr GeneratorJump() : multiplier(), increment()
    {
        std::uint64_t a = 1, c = 0;
        for (int j = 0; j < kBlock; ++j) {
            const std::uint64_t one = nextGenerator(1), zero = nextGenerator(0);
            c = c * (one - zero) + zero;
            a *= one - zero;
            multiplier[j] = a;
            increment[j] = c;
        }
    }
};
constexpr GeneratorJump kJump;

/// Four states as the 53-bit integers state >> 11, in double.
TESK_TARGET inline __m256d upperBits(std::uint64_t generator, int lane)
{
    const __m256i a = _mm256_load_si256(reinterpret_cast<const __m256i*>(kJump.multiplier + lane));
    const __m256i c = _mm256_load_si256(reinterpret_cast<const __m256i*>(kJump.increment + lane));
    const __m256i s = _mm256_set1_epi64x(static_cast<long long>(generator));
    // 64-bit product from 32-bit ones: low·low plus both crossed products in the upper half.
    const __m256i crossed =
        _mm256_add_epi64(_mm256_mul_epu32(_mm256_srli_epi64(a, 32), s), _mm256_mul_epu32(a, _mm256_srli_epi64(s, 32)));
    const __m256i product = _mm256_add_epi64(_mm256_mul_epu32(a, s), _mm256_slli_epi64(crossed, 32));
    const __m256i bits = _mm256_srli_epi64(_mm256_add_epi64(product, c), 11);
    // The halves become the mantissas of 2^52 + low and 2^84 + high·2^32; the difference is exact.
    const __m256i low = _mm256_blend_epi32(_mm256_castpd_si256(_mm256_set1_pd(0x1p52)), bits, 0x55);
    const __m256i high = _mm256_or_si256(_mm256_srli_epi64(bits, 32), _mm256_castpd_si256(_mm256_set1_pd(0x1p84)));
    return _mm256_add_pd(_mm256_sub_pd(_mm256_castsi256_pd(high), _mm256_set1_pd(0x1p84 + 0x1p52)),
                         _mm256_castsi256_pd(low));
}

/// One bit: y = ±1 by the sign of v.
struct OneBitDecision {
    static constexpr bool kDithered = true;
    TESK_TARGET static inline void prepare(std::uint64_t generator, const ErrorFeedbackSettings& s, const double* x,
                                           const double* u, Prepared& p)
    {
        const __m256d one = _mm256_set1_pd(1.0), g = _mm256_set1_pd(s.quantiserGain);
        for (int k = 0; k < kBlock; k += 4) {
            // 2u − 1 and the scaling by a power of two are exact, so this is ditherOf() whatever the order.
            const __m256d twice = _mm256_mul_pd(upperBits(generator, k), _mm256_set1_pd(0x1p-52));
            const __m256d d = _mm256_mul_pd(_mm256_sub_pd(twice, one), _mm256_set1_pd(s.ditherAmplitude));
            const __m256d sum = _mm256_sub_pd(_mm256_add_pd(d, _mm256_loadu_pd(x + k)), _mm256_load_pd(u + k));
            _mm256_store_pd(p.sum + k, _mm256_add_pd(sum, _mm256_setzero_pd())); // no −0
            _mm256_store_pd(p.plus + k, _mm256_mul_pd(_mm256_sub_pd(_mm256_set1_pd(-1.0), d), g));
            _mm256_store_pd(p.minus + k, _mm256_mul_pd(_mm256_sub_pd(one, d), g));
        }
    }
    /// The error; y receives the decision.
    TESK_TARGET static inline __m128d decide(__m128d v, const Prepared& p, int k, double, __m128d& y)
    {
        // Selects by the sign bit: v is never −0, for a rounded sum of unequal terms is +0 when it vanishes.
        y = _mm_or_pd(_mm_and_pd(v, _mm_set_sd(-0.0)), _mm_set_sd(1.0));
        return _mm_add_sd(_mm_blendv_pd(_mm_load_sd(p.plus + k), _mm_load_sd(p.minus + k), v), v);
    }
};

/// Multiples of a step; no dither.
struct UniformDecision {
    static constexpr bool kDithered = false;
    TESK_TARGET static inline void prepare(std::uint64_t, const ErrorFeedbackSettings&, const double* x,
                                           const double* u, Prepared& p)
    {
        for (int k = 0; k < kBlock; k += 4)
            _mm256_store_pd(p.sum + k, _mm256_sub_pd(_mm256_loadu_pd(x + k), _mm256_load_pd(u + k)));
    }
    TESK_TARGET static inline __m128d decide(__m128d v, const Prepared&, int, double step, __m128d& y)
    {
        // The step is a power of two: multiplying by its inverse is the division.
        const __m128d scaled = _mm_mul_sd(v, _mm_set_sd(1.0 / step));
        y = _mm_mul_sd(_mm_round_sd(scaled, scaled, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC), _mm_set_sd(step));
        return _mm_sub_sd(v, y);
    }
};

TESK_TARGET inline __m128d magnitude(__m128d x) { return _mm_andnot_pd(_mm_set_sd(-0.0), x); }

/// The input as it stands in v: the block's own part of its response. Zeros of the response stand where x lies ahead.
TESK_TARGET inline void filterInput(const double* response, const double* x, double* filtered)
{
    __m256d low = _mm256_setzero_pd(), high = _mm256_setzero_pd();
    for (int j = 0; j < kBlock; ++j) {
        const __m256d sample = _mm256_set1_pd(x[j]);
        low = _mm256_fmadd_pd(sample, _mm256_loadu_pd(response - j), low);
        high = _mm256_fmadd_pd(sample, _mm256_loadu_pd(response - j + 4), high);
    }
    _mm256_store_pd(filtered, low);
    _mm256_store_pd(filtered + 4, high);
}

/// The same for the sample at `at`, bit by bit.
TESK_TARGET inline double filterOne(const double* response, const double* x, int at)
{
    __m128d sum = _mm_setzero_pd();
    for (int j = 0; j <= at; ++j) sum = _mm_fmadd_sd(_mm_load_sd(x + j), _mm_load_sd(response + at - j), sum);
    return _mm_cvtsd_f64(sum);
}

/// The block's sample I: all errors before it are known.
template <int I, class Decision>
TESK_TARGET inline void blockStep(const double* impulse, const Prepared& p, double step, __m128d* errors, double* y,
                                  __m128d& largest)
{
    __m128d v = _mm_load_sd(p.sum + I);
    for (int j = 0; j < I; ++j) v = _mm_fnmadd_sd(_mm_load_sd(impulse + (I - j)), errors[j], v);
    __m128d decision;
    errors[I] = Decision::decide(v, p, I, step, decision);
    _mm_store_sd(y + I, decision);
    largest = _mm_max_sd(largest, magnitude(errors[I]));
}

/// What belongs to sample k of a block: two columns of the old state, of which `states` are in use, and the column of
/// its error.
template <int states, int count>
TESK_TARGET inline void addColumns(Rows<count>& rows, const double* columns, const double* w, int k, __m128d error)
{
    if (2 * k < states) {
        rows.add(2 * k, columns + (2 * k) * kRows, _mm_load_sd(w + 2 * k));
        rows.add(2 * k + 1, columns + (2 * k + 1) * kRows, _mm_load_sd(w + 2 * k + 1));
    }
    rows.add(k, columns + (kStates + k) * kRows, error);
}

/// What the block's inputs leave: first of all, for they wait for no decision.
template <int count>
TESK_TARGET inline void addInputs(Rows<count>& rows, const ErrorFeedbackLoop& loop, const double* inputs)
{
    for (int k = 0; k < kBlock; ++k) rows.add(k, loop.inputColumns() + k * kRows, _mm_load_sd(inputs + k));
}

/// Ends a block: its errors and states become the next block's u and states.
[[gnu::noinline]] TESK_TARGET void turnBlock(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state)
{
    const double* w = state.w.data();
    const double* columns = loop.columns();
    Rows<kRows> rows;
    rows.clear();
    if (!loop.integrators().empty()) addInputs(rows, loop, state.inputs.data());
    for (int k = 0; k < kBlock; ++k) addColumns<kStates>(rows, columns, w, k, _mm_load_sd(w + kStates + k));
    rows.store(state.u.data(), state.w.data());
    state.position = 0;
}

/// One sample at a time, at any position of the block, with the clip guard: the ends of a call that do not fill
/// a block, and blocks in which the guard acts. The same arithmetic as the whole block, so the same bits.
template <class Decision>
[[gnu::noinline]] TESK_TARGET void singleSteps(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x,
                                               std::size_t n)
{
    const ErrorFeedbackSettings& s = loop.settings();
    double* errors = state.w.data() + kStates;
    const bool filtered = !loop.integrators().empty();
    for (std::size_t i = 0; i < n; ++i) {
        const int at = state.position;
        Prepared p;
        state.inputs[static_cast<std::size_t>(at)] = filtered ? x[i] : 0.0;
        const double in[kBlock] = {filtered ? filterOne(loop.inputImpulse(), state.inputs.data(), at) : x[i]};
        alignas(32) const double u[kBlock] = {state.u[static_cast<std::size_t>(at)]};
        Decision::prepare(state.generator, s, in, u, p);
        if (Decision::kDithered) state.generator = nextGenerator(state.generator);
        __m128d v = _mm_load_sd(p.sum), y;
        for (int j = 0; j < at; ++j)
            v = _mm_fnmadd_sd(_mm_load_sd(loop.impulse() + (at - j)), _mm_load_sd(errors + j), v);
        double e = _mm_cvtsd_f64(Decision::decide(v, p, 0, s.step, y));
        if (s.clipThreshold > 0 && std::fabs(e) > s.clipThreshold) {
            // The states at this sample are linear in w, so scaling w (and u, which stems from it) scales them.
            e *= s.errorScale;
            for (int k = 0; k < kStates + at; ++k) state.w[static_cast<std::size_t>(k)] *= s.stateDecay;
            for (double& sum : state.u) sum *= s.stateDecay;
            for (double& input : state.inputs) input *= s.stateDecay;
            state.noteClip(state.samples);
        }
        errors[at] = e;
        x[i] = _mm_cvtsd_f64(y);
        ++state.samples;
        if (++state.position == kBlock) turnBlock(loop, state);
    }
}

/// @tparam states    how many of the states are in use
/// @tparam filtered  whether v holds the input filtered, as integrators do
template <class Decision, int states = kStates, bool filtered = false>
[[gnu::noinline]] TESK_TARGET void blockLoop(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x,
                                             std::size_t n)
{
    const ErrorFeedbackSettings s = loop.settings();
    const __m128d threshold = _mm_set_sd(s.clipThreshold > 0 ? s.clipThreshold : HUGE_VAL);
    const double* columns = loop.columns();
    const double* impulse = loop.impulse();
    const double* w = state.w.data();

    std::size_t i = 0;
    if (state.position != 0) {
        i = std::min<std::size_t>(n, static_cast<std::size_t>(kBlock - state.position));
        singleSteps<Decision>(loop, state, x, i);
    }
    // A block ahead: the chain of multiply-adds runs beside the decisions of the block before.
    alignas(32) double response[kBlock];
    if (filtered && i + kBlock <= n) filterInput(loop.inputImpulse(), x + i, response);
    for (; i + kBlock <= n; i += kBlock) {
        Rows<kBlock + states> rows;
        rows.clear();
        Prepared p;
        double* block = x + i;
        alignas(32) double inputs[kBlock];
        for (int k = 0; k < kBlock; k += 4) _mm256_store_pd(inputs + k, _mm256_loadu_pd(block + k));
        Decision::prepare(state.generator, s, filtered ? response : block, state.u.data(), p);
        if (filtered) {
            addInputs(rows, loop, inputs);
            if (i + 2 * kBlock <= n) filterInput(loop.inputImpulse(), block + kBlock, response);
        }
        __m128d errors[kBlock], largest = _mm_setzero_pd();
#define TESK_STEP(I)                                                                                                   \
    blockStep<I, Decision>(impulse, p, s.step, errors, block, largest);                                                \
    addColumns<states>(rows, columns, w, I, errors[I]);                                                                \
    rows.settle()
        TESK_STEP(0);
        TESK_STEP(1);
        TESK_STEP(2);
        TESK_STEP(3);
        TESK_STEP(4);
        TESK_STEP(5);
        TESK_STEP(6);
        TESK_STEP(7);
#undef TESK_STEP
        if (_mm_comigt_sd(largest, threshold)) { // rare: the block again, sample by sample, from the old state
            for (int k = 0; k < kBlock; k += 4) _mm256_storeu_pd(block + k, _mm256_load_pd(inputs + k));
            singleSteps<Decision>(loop, state, block, kBlock);
            continue;
        }
        rows.store(state.u.data(), state.w.data());
        if (Decision::kDithered) state.generator = kJump.multiplier[7] * state.generator + kJump.increment[7];
        state.samples += kBlock;
    }
    singleSteps<Decision>(loop, state, x + i, n - i);
    state.restartIfBroken();
}

/// The integrators and the decision are a loop's states: up to seven and up to eleven of them.
TESK_TARGET inline void oneBitLoop(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n)
{
    if (loop.integrators().empty())
        blockLoop<OneBitDecision>(loop, state, x, n);
    else if (loop.integrators().size() < 8)
        blockLoop<OneBitDecision, 8, true>(loop, state, x, n);
    else
        blockLoop<OneBitDecision, 12, true>(loop, state, x, n);
}
