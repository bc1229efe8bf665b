// Every variant of every hot loop, for the dispatch table alone. What each does stands in kernel_table.h.
#pragma once

#include "pipeline/kernel/kernel_table.h"

namespace tesk::kernel {

double dotScalar(const double* a, const double* b, int n);
double dotSse2(const double* a, const double* b, int n);
double dotAvxFma(const double* a, const double* b, int n);
double dotAvx2(const double* a, const double* b, int n);
double dotAvx512(const double* a, const double* b, int n);

double dotSizeScalar(const double* a, const double* b, std::size_t n);
double dotSizeSse2(const double* a, const double* b, std::size_t n);
double dotSizeAvxFma(const double* a, const double* b, std::size_t n);
double dotSizeAvx2(const double* a, const double* b, std::size_t n);
double dotSizeAvx512(const double* a, const double* b, std::size_t n);

void upsampleRangeByDots(const PhaseTable&, const double* history, double* out, std::size_t first, std::size_t last,
                         const KernelTable&);
void upsampleRangeAvx2(const PhaseTable&, const double* history, double* out, std::size_t first, std::size_t last,
                       const KernelTable&);
void upsampleRangeAvx512(const PhaseTable&, const double* history, double* out, std::size_t first, std::size_t last,
                         const KernelTable&);

double peakScalar(const double* x, std::size_t n);
double peakAvx(const double* x, std::size_t n);

void packScalar(const double* x, std::uint8_t* out, std::size_t bytes, bool firstInLowBit);
void packAvx2(const double* x, std::uint8_t* out, std::size_t bytes, bool firstInLowBit);

void oneBitScalar(const ErrorFeedbackLoop&, ErrorFeedbackState&, double* x, std::size_t n);
void oneBitAvx2(const ErrorFeedbackLoop&, ErrorFeedbackState&, double* x, std::size_t n);
void oneBitAvx512(const ErrorFeedbackLoop&, ErrorFeedbackState&, double* x, std::size_t n);
void uniformScalar(const ErrorFeedbackLoop&, ErrorFeedbackState&, double* x, std::size_t n);
void uniformAvx2(const ErrorFeedbackLoop&, ErrorFeedbackState&, double* x, std::size_t n);
void uniformAvx512(const ErrorFeedbackLoop&, ErrorFeedbackState&, double* x, std::size_t n);

} // namespace tesk::kernel
