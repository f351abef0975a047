#pragma once

/// @file
/// The tags by which containers tell the types of their elements.

#include <complex>
#include <cstdint>
#include <type_traits>

namespace QorMathLA {

/// Kinds below this one are plain numbers, whose blocks a deep assignment copies in one piece.
inline constexpr std::int32_t firstKindCopiedByElement = 3;

/// The kind that a new Vector<T> carries: 0 int, 1 double, 2 float, 3 anything else.
template <class T>
constexpr std::int32_t vectorElementKind() {
    if constexpr (std::is_same_v<T, int>) {
        return 0;
    } else if constexpr (std::is_same_v<T, double>) {
        return 1;
    } else if constexpr (std::is_same_v<T, float>) {
        return 2;
    } else {
        return 3;
    }
}

/// The kind that a new Matrix<T> carries: as of a vector, but 3 complex of double, 4 complex of float, 5 anything else.
template <class T>
constexpr std::int32_t matrixElementKind() {
    if constexpr (std::is_same_v<T, std::complex<double>>) {
        return 3;
    } else if constexpr (std::is_same_v<T, std::complex<float>>) {
        return 4;
    } else if constexpr (vectorElementKind<T>() < firstKindCopiedByElement) {
        return vectorElementKind<T>();
    } else {
        return 5;
    }
}

}  // namespace QorMathLA
