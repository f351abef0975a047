#include <algorithm>
#include <cstddef>
#include <vector>

#include <qormath/control_utility/bulge_chain.hpp>
#include <qormath/control_utility/early_deflation.hpp>
#include <qormath/control_utility/hessenberg_iteration.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using Elements = std::vector<double>;

/// The sizes of a round, by the order of the active block: measured over orders from 200 to 800. A window costs the
/// cube of its order, and takes sweeps over the whole matrix off.
struct RoundSizes {
    int window;
    int bulges;
};

RoundSizes sizesFor(int order) {
    return order < 600 ? RoundSizes{32, 12} : RoundSizes{56, 20};
}

// Active blocks up to this order are solved at once.
constexpr int smallOrder = 64;
// Where so many percent of a window converge the next one is looked at without a sweep between.
constexpr int fruitfulPercent = 40;
// One round in so many that yield nothing takes exceptional shifts.
constexpr int roundsToException = 6;

std::size_t squareOf(int order) {
    return static_cast<std::size_t>(order) * static_cast<std::size_t>(order);
}

bool solveActiveBlock(const HessenbergMatrix& matrix, int first, int order, Elements& work) {
    const int ld = order + 1;
    Elements t(squareOf(ld)), v(squareOf(ld));
    double* const block = at(matrix.h, matrix.ldh, first, first);
    copyQuasiTriangular(order, block, matrix.ldh, t.data(), ld);
    lapack::laset(ld, ld, 0.0, 1.0, v.data(), ld);
    if (!solveSmallBlock({order, t.data(), ld, order, v.data(), ld})) {
        return false;
    }
    copyQuasiTriangular(order, t.data(), ld, block, matrix.ldh);
    transformOutside(matrix, first, order, v.data(), ld, work);
    return true;
}

/// Takes a chain of bulges through the active block, window by window. A window holds the chain and the way that it
/// goes in it, twice the rows of either; its array has a row and a column more on all sides: before, those from which
/// the last bulge comes.
void sweep(const HessenbergMatrix& matrix, int first, int last, const std::vector<ShiftPair>& shifts, int bulges,
           Elements& work) {
    BulgeChain chain(bulges, shifts.data());
    const int steps = chain.stepsThrough(last - first + 1);
    const int stride = 2 * bulges;
    const int ld = 2 * stride + 2;
    Elements t(squareOf(ld)), u(squareOf(ld));
    for (int begin = 0; begin < steps; begin += stride) {
        const int end = std::min(steps, begin + stride);
        const int top = std::max(first, first + begin - 2 * (bulges - 1));
        const int order = std::min(last, first + end + 1) - top + 1;
        const int columnsBefore = top > first ? 1 : 0;
        std::fill(t.begin(), t.end(), 0.0);
        double* const block = at(matrix.h, matrix.ldh, top, top - columnsBefore);
        double* const copy = at(t.data(), ld, 1, 1 - columnsBefore);
        lapack::lacpy(order, order + columnsBefore, block, matrix.ldh, copy, ld);
        lapack::laset(ld, ld, 0.0, 1.0, u.data(), ld);
        chain.step({t.data(), ld, u.data(), ld, 1, order + 1, order + 1, true}, first - top + 1, last - top + 1, begin,
                   end);
        lapack::lacpy(order, order + columnsBefore, copy, ld, block, matrix.ldh);
        transformOutside(matrix, top, order, at(u.data(), ld, 1, 1), ld, work);
    }
}

}  // namespace

bool iterateToSchurForm(const HessenbergMatrix& matrix, int first, int last, int fruitlessRounds) {
    Elements work;
    int fruitless = 0;
    while (last >= first) {
        const int top = firstActiveRow(matrix, first, last);
        const int order = last - top + 1;
        if (order <= smallOrder) {
            if (order > 1 && !solveActiveBlock(matrix, top, order, work)) {
                return false;
            }
            last = top - 1;
            fruitless = 0;
            continue;
        }
        const RoundSizes sizes = sizesFor(order);
        EarlyDeflation window = deflateEarly(matrix, top, last, sizes.window, work);
        last -= window.deflated;
        fruitless = window.deflated > 0 ? 0 : fruitless + 1;
        if (!window.hasConverged || fruitless > fruitlessRounds) {
            return false;
        }
        if (100 * window.deflated > fruitfulPercent * sizes.window || last - top < smallOrder) {
            continue;
        }
        if (fruitless > 0 && fruitless % roundsToException == 0) {
            window.shifts.assign(static_cast<std::size_t>(sizes.bulges), exceptionalShifts(matrix, last));
        }
        const int bulges = std::min(sizes.bulges, static_cast<int>(window.shifts.size()));
        sweep(matrix, top, last, window.shifts, bulges, work);
    }
    return true;
}

}  // namespace qormath::control_utility
