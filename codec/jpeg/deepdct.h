// The transforms of samples with more than 8 bits (T.81 A.3.3), which the library does not have: 64-bit integers, with
// results that are those of exact transforms, rounded, or 1 off.
#pragma once

#include <cstddef>
#include <cstdint>

#include "jpeg/tables.h"
#include "moxj.h"

namespace moxj::jpeg {

// Coefficients in natural order, quantised by the steps, from 8 rows of samples of some bits, at most 12. A quotient of
// n + 1/2 is rounded away from 0.
void transformDeep(const std::uint16_t* samples, std::ptrdiff_t samplesOfRow, int bits, const Steps& steps,
                   Mox16s* coefficients);

// The samples, limited to their bits. Products of coefficients and steps beyond 2^17, which no picture has, are clamped
// to it.
void invertDeep(const Mox16s* coefficients, const Steps& steps, int bits, std::uint16_t* samples,
                std::ptrdiff_t samplesOfRow);

}  // namespace moxj::jpeg
