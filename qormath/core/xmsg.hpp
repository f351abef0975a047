#pragma once

/// @file
/// The exception of the core.

#include <cstdint>
#include <string>

#include <qormath/export.h>

namespace QorMathLA {

/// The codes that an xmsg carries.
inline constexpr std::int32_t NoConvergence = 4;         ///< an iteration of the core exceeded its limit
inline constexpr std::int32_t DimensionMismatch = 5;     ///< operands of an operator do not fit
inline constexpr std::int32_t TransposedDataAccess = 9;  ///< raw data of a transposed matrix was asked for
inline constexpr std::int32_t DivisionByZero = 10;       ///< division by a scalar that equals 0.0
inline constexpr std::int32_t NumericFailure = 11;       ///< a LAPACK routine returned a non-zero info

/// The exception of the linear-algebra core, thrown by value. Everything above the core, and a view operator that
/// meets a stride mismatch, throws the plain int -1 instead.
class QORMATH_API xmsg {
  public:
    /// Copies the zero-terminated text as it stands; nothing in it is formatted.
    xmsg(std::int32_t code, const char* text);

    /// A copy of code and message.
    xmsg(const xmsg& other);

    /// Takes over code and message.
    xmsg& operator=(const xmsg& other);
    ~xmsg();

    std::int32_t code;    ///< one of the constants above
    std::string message;  ///< names the operation that failed, such as "Matrix * Matrix"
};

}  // namespace QorMathLA
