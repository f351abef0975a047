#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <qormath/control_utility/balanced_truncation.hpp>
#include <qormath/control_utility/blockspectraldecomposition.hpp>
#include <qormath/control_utility/modelreductionfort.hpp>
#include <qormath/control_utility/normreductionfort.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Matrix = std::vector<double>;

enum Outcome : int {
    success = 0,
    notFinite = 1,
    noSchurForm = 2,
    partsTooClose = 3,
    stablePartNotStable = 4,
    noSingularValues = 5,
    resultOutOfRange = 6
};

// States that nothing reaches, or that reach nothing, keep the scale they came with: scaling them down brought no digit
// to the others, since the Schur form isolates them by permutation.
constexpr double noReductionOfOneSidedStates = 1.0;
// Hankel singular values count as equal within this many ns * eps * hsv(1): the Schur form and the factors move the
// largest ones by up to two such units (seen on pairs known to be equal) ...
constexpr double roundingsOfHankelValues = 10.0;
// ... and within this share of themselves, or a tail that falls off smoothly would count as one group.
constexpr double likenessOfHankelValues = 1e-3;
// At the default tolerance all is rounding; there the values count as equal within this many eps * hsv(1), a few
// roundings of the decomposition that gave them.
constexpr double roundingsOfSmallestValues = 10.0;

/// A system with packed matrices: a of n by n, b of n by m, c of p by n.
struct System {
    int n;
    int m;
    int p;
    Matrix a;
    Matrix b;
    Matrix c;
};

std::size_t cells(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

/// The elements from a place on; null where there are none, for then there is no address to be moved.
template <class Elements>
auto elementsFrom(Elements& x, std::size_t place) {
    return x.empty() ? nullptr : x.data() + place;
}

/// A block of a matrix, packed.
Matrix block(const double* x, int ldx, int rows, int columns) {
    Matrix result(cells(rows, columns));
    lapack::lacpy(rows, columns, x, ldx, result.data(), rows);
    return result;
}

bool allFinite(const System& system) {
    return lapack::allFinite(system.n, system.n, system.a.data(), system.n) &&
           lapack::allFinite(system.n, system.m, system.b.data(), system.n) &&
           lapack::allFinite(system.p, system.n, system.c.data(), system.p);
}

int illegalArgument(int n, int m, int p, bool fixed, double tolerance, int nr, double alpha) {
    if (n < 0) {
        return -5;
    }
    if (m < 0) {
        return -6;
    }
    if (p < 0) {
        return -7;
    }
    if (std::isnan(tolerance)) {
        return -12;
    }
    if (fixed && nr < 0) {
        return -13;
    }
    return std::isnan(alpha) ? -14 : 0;
}

void scaleToLowNorm(System& system) {
    Matrix scale(static_cast<std::size_t>(system.n));
    double reduction = noReductionOfOneSidedStates;
    int info = 0;
    NORMREDUCTIONFORT(&system.n, &system.m, &system.p, &reduction, system.a.data(), system.b.data(), system.c.data(),
                      scale.data(), &info);
}

/// Brings the system to real Schur form with the eigenvalues at or beyond alpha first; leading is their number.
Outcome separateSpectrum(System& system, bool discrete, double alpha, int& leading) {
    const int n = system.n;
    const auto order = static_cast<std::size_t>(n);
    Matrix wr(order), wi(order);
    const int info = toOrderedSchurForm(discrete ? SpectralMeasure::modulus : SpectralMeasure::realPart, alpha, n,
                                        system.m, system.p, system.a.data(), n, system.b.data(), n, system.c.data(),
                                        system.p, nullptr, 0, wr.data(), wi.data(), leading);
    return info == 0 ? success : noSchurForm;
}

/// Takes away the coupling of the leading block with the rest by the similarity [I X; 0 I], where
/// T11 X - X T22 = -T12.
Outcome decouple(System& system, int leading) {
    const int n = system.n;
    const int rest = n - leading;
    if (leading == 0 || rest == 0) {
        return success;
    }
    double* const t12 = system.a.data() + cells(leading, n);
    const double* const t22 = t12 + leading;
    Matrix x = block(t12, n, leading, rest);
    lapack::scal(leading * rest, -1.0, x.data(), 1);
    double scale = 1.0;
    const int info = solveTriangularSylvester(Op::none, Op::none, -1, leading, rest, system.a.data(), n, t22, n,
                                              x.data(), leading, scale);
    if (info != 0 || scale == 0.0) {
        return partsTooClose;
    }
    // The solution is x / scale, which may be out of range where its products are not.
    lapack::gemm(Op::none, Op::none, leading, system.m, rest, -1.0 / scale, x.data(), leading,
                 elementsFrom(system.b, cells(leading, 1)), n, 1.0, system.b.data(), n);
    lapack::gemm(Op::none, Op::none, system.p, rest, leading, 1.0 / scale, system.c.data(), system.p, x.data(), leading,
                 1.0, elementsFrom(system.c, cells(leading, system.p)), system.p);
    lapack::laset(leading, rest, 0.0, 0.0, t12, n);
    return allFinite(system) ? success : partsTooClose;
}

StableSystem trailingPart(const System& system, bool discrete, int leading) {
    const int n = system.n;
    const int rest = n - leading;
    return {discrete,
            rest,
            system.m,
            system.p,
            block(system.a.data() + cells(leading, n) + leading, n, rest, rest),
            block(elementsFrom(system.b, cells(leading, 1)), n, rest, system.m),
            block(elementsFrom(system.c, cells(leading, system.p)), system.p, system.p, rest)};
}

int countAbove(const Matrix& hsv, double limit) {
    return static_cast<int>(std::count_if(hsv.begin(), hsv.end(), [=](double value) { return value > limit; }));
}

/// The number of Hankel singular values that automatic selection keeps.
int automaticOrder(const Matrix& hsv, double tolerance) {
    if (hsv.empty()) {
        return 0;
    }
    const double unit = lapack::machineEpsilon() * hsv[0];
    const double rounding = static_cast<double>(hsv.size()) * unit;
    const auto gapAfter = [&hsv](int count) {
        return hsv[static_cast<std::size_t>(count) - 1] - hsv[static_cast<std::size_t>(count)];
    };
    const auto all = static_cast<int>(hsv.size());
    int minimal = countAbove(hsv, rounding);
    while (minimal > 0 && minimal < all && gapAfter(minimal) <= roundingsOfSmallestValues * unit) {
        --minimal;
    }
    int kept = std::min(minimal, tolerance > 0.0 ? countAbove(hsv, tolerance) : minimal);
    while (kept > 0 && kept < minimal &&
           gapAfter(kept) <= std::min(roundingsOfHankelValues * rounding,
                                      likenessOfHankelValues * hsv[static_cast<std::size_t>(kept) - 1])) {
        ++kept;
    }
    return kept;
}

/// The number that is kept when the whole result, with the leading block, is to have the wanted order.
int orderWithin(const Matrix& hsv, int wanted, int leading) {
    const double rounding = hsv.empty() ? 0.0 : static_cast<double>(hsv.size()) * lapack::machineEpsilon() * hsv[0];
    return std::clamp(wanted - leading, 0, countAbove(hsv, rounding));
}

/// Puts the leading block and the reduced stable part together, the leading ones in the leading rows and columns.
System assemble(const System& decoupled, int leading, const StableSystem& stable) {
    const int n = decoupled.n;
    const int p = decoupled.p;
    System result{n, decoupled.m, p, Matrix(cells(n, n)), Matrix(cells(n, decoupled.m)), Matrix(cells(p, n))};
    lapack::lacpy(leading, leading, decoupled.a.data(), n, result.a.data(), n);
    lapack::lacpy(leading, decoupled.m, decoupled.b.data(), n, result.b.data(), n);
    lapack::lacpy(p, leading, decoupled.c.data(), p, result.c.data(), p);
    if (stable.n > 0) {
        lapack::lacpy(stable.n, stable.n, stable.a.data(), stable.n, result.a.data() + cells(leading, n) + leading, n);
        lapack::lacpy(stable.n, stable.m, stable.b.data(), stable.n, elementsFrom(result.b, cells(leading, 1)), n);
        lapack::lacpy(p, stable.n, stable.c.data(), p, elementsFrom(result.c, cells(leading, p)), p);
    }
    return result;
}

Outcome reduceStablePart(StableSystem& stable, int kept, const HankelDecomposition& hankel) {
    if (kept == 0) {
        stable.n = 0;
        return success;
    }
    if (kept == stable.n) {
        return success;
    }
    return truncateBalanced(hankel, kept, stable) == 0 ? success : resultOutOfRange;
}

}  // namespace

void MODELREDUCTIONFORT(double* a, double* b, double* c, double* /*d*/, const int* n, const int* m, const int* p,
                        int* ns, double* hsv, const int* discrete, const int* fixedOrder, const double* tolerance,
                        int* nr, const double* alpha, int* info) {
    *ns = 0;
    *info = illegalArgument(*n, *m, *p, *fixedOrder != 0, *tolerance, *nr, *alpha);
    if (*info != 0) {
        return;
    }
    if (*n == 0) {
        *nr = 0;
        return;
    }
    System system{*n, *m, *p, Matrix(a, a + cells(*n, *n)), Matrix(b, b + cells(*n, *m)), Matrix(c, c + cells(*p, *n))};
    if (!allFinite(system)) {
        *info = notFinite;
        return;
    }
    scaleToLowNorm(system);
    int leading = 0;
    *info = separateSpectrum(system, *discrete != 0, *alpha, leading);
    if (*info == success) {
        *info = decouple(system, leading);
    }
    if (*info != success) {
        return;
    }
    StableSystem stable = trailingPart(system, *discrete != 0, leading);
    HankelDecomposition hankel;
    const int failure = decomposeHankel(stable, hankel);
    if (failure != 0) {
        *info = failure == 1 ? stablePartNotStable : noSingularValues;
        return;
    }
    const int kept = *fixedOrder != 0 ? orderWithin(hankel.hsv, *nr, leading) : automaticOrder(hankel.hsv, *tolerance);
    *info = reduceStablePart(stable, kept, hankel);
    const System result = assemble(system, leading, stable);
    if (*info == success && !allFinite(result)) {
        *info = resultOutOfRange;
    }
    if (*info != success) {
        return;
    }
    std::copy(result.a.begin(), result.a.end(), a);
    std::copy(result.b.begin(), result.b.end(), b);
    std::copy(result.c.begin(), result.c.end(), c);
    std::copy(hankel.hsv.begin(), hankel.hsv.end(), hsv);
    *ns = *n - leading;
    *nr = leading + kept;
}

}  // namespace qormath::control_utility
