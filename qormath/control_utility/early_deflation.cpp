#include <algorithm>
#include <cmath>
#include <cstddef>

#include <qormath/control_utility/early_deflation.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/schur_reordering.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using lapack::Side;
using Elements = std::vector<double>;

constexpr double rounding = 0x1p-52;
// The smallest normal number over rounding.
constexpr double vanishing = 0x1p-970;
// The block width for which the work array of the reduction is laid out.
constexpr int workBlock = 64;

/// The window as a matrix of its own, with the transformations from it.
struct Window {
    int n = 0;
    int ld = 0;
    double spike = 0.0;  ///< the only element to the left of the window, in its first row
    Elements t;
    Elements v;

    HessenbergMatrix matrix() { return {n, t.data(), ld, n, v.data(), ld}; }
};

Window copyOfWindow(const HessenbergMatrix& matrix, int start, int order, bool isWhole) {
    Window window;
    window.n = order;
    window.ld = order + 1;
    window.t.assign(static_cast<std::size_t>(window.ld) * static_cast<std::size_t>(window.ld), 0.0);
    window.v.resize(window.t.size());
    copyQuasiTriangular(order, at(matrix.h, matrix.ldh, start, start), matrix.ldh, window.t.data(), window.ld);
    lapack::laset(window.ld, window.ld, 0.0, 1.0, window.v.data(), window.ld);
    window.spike = isWhole ? 0.0 : *at(matrix.h, matrix.ldh, start, start - 1);
    return window;
}

/// True when the spike reaches the block of one or two rows that ends before `end` with less than rounding.
bool isConverged(const Window& window, int end, int rows) {
    const double* const last = at(window.t.data(), window.ld, end - 1, end - 1);
    double size = std::abs(*last);
    double reach = std::abs(window.spike * *at(window.v.data(), window.ld, 0, end - 1));
    if (rows == 2) {
        const double below = *at(window.t.data(), window.ld, end - 1, end - 2);
        const double above = *at(window.t.data(), window.ld, end - 2, end - 1);
        size += std::sqrt(std::abs(below)) * std::sqrt(std::abs(above));
        reach = std::max(reach, std::abs(window.spike * *at(window.v.data(), window.ld, 0, end - 2)));
    }
    if (size == 0.0) {
        size = std::abs(window.spike);
    }
    return reach <= std::max(vanishing * window.n, rounding * size);
}

int rowsOfBlockBefore(const Window& window, int end) {
    return end >= 2 && *at(window.t.data(), window.ld, end - 1, end - 2) != 0.0 ? 2 : 1;
}

/// Leaves converged blocks at the end and moves the others to the top, each before those that are still to be looked
/// at. Returns the number of rows that have not converged.
int separateConverged(Window& window) {
    Elements work(static_cast<std::size_t>(window.n));
    int end = window.n;
    for (int kept = 0; kept < end;) {
        const int rows = rowsOfBlockBefore(window, end);
        if (isConverged(window, end, rows)) {
            end -= rows;
            continue;
        }
        int from = end;  // one-based, as is the next
        int to = kept + 1;
        // Where two blocks are too close to be exchanged the form is valid, and all before the block counts as kept.
        lapack::trexc(window.n, window.t.data(), window.ld, window.v.data(), window.ld, from, to, work.data());
        kept = to - 1 + (startsPair(window.n, window.t.data(), window.ld, to - 1) ? 2 : 1);
    }
    return end;
}

/// Pairs from the last eigenvalue on; a real one that is left over is used where there is nothing else.
std::vector<ShiftPair> pairsOf(const Elements& wr, const Elements& wi, int count) {
    std::vector<ShiftPair> shifts;
    const auto re = [&](int i) { return wr[static_cast<std::size_t>(i)]; };
    const auto im = [&](int i) { return wi[static_cast<std::size_t>(i)]; };
    int single = -1;
    for (int i = count - 1; i >= 0; --i) {
        if (im(i) != 0.0) {
            shifts.push_back({re(i - 1), im(i - 1), re(i), im(i)});
            --i;
        } else if (single < 0) {
            single = i;
        } else {
            shifts.push_back({re(single), 0.0, re(i), 0.0});
            single = -1;
        }
    }
    if (shifts.empty() && single >= 0) {
        shifts.push_back({re(single), 0.0, re(single), 0.0});
    }
    return shifts;
}

/// Gathers the spike of the first `kept` rows in the first of them, and brings these rows back to Hessenberg form.
void restoreHessenberg(Window& window, int kept) {
    const int n = window.n;
    const int ld = window.ld;
    double* const t = window.t.data();
    double* const v = window.v.data();
    const auto order = static_cast<std::size_t>(n);
    Elements x(order), y(order), tau(order), work(order * workBlock + workBlock * (workBlock + 1));
    lapack::copy(kept, v, ld, x.data(), 1);
    double factor = 0.0;
    lapack::larfg(kept, x[0], x.data() + 1, 1, factor);
    x[0] = 1.0;
    lapack::gemv(Op::transpose, kept, n, 1.0, t, ld, x.data(), 1, 0.0, y.data(), 1);
    lapack::ger(kept, n, -factor, x.data(), 1, y.data(), 1, t, ld);
    lapack::gemv(Op::none, kept, kept, 1.0, t, ld, x.data(), 1, 0.0, y.data(), 1);
    lapack::ger(kept, kept, -factor, y.data(), 1, x.data(), 1, t, ld);
    lapack::gemv(Op::none, n, kept, 1.0, v, ld, x.data(), 1, 0.0, y.data(), 1);
    lapack::ger(n, kept, -factor, y.data(), 1, x.data(), 1, v, ld);
    const int workLength = static_cast<int>(work.size());
    lapack::gehrd(kept, 1, kept, t, ld, tau.data(), work.data(), workLength);
    if (kept < n) {
        lapack::ormhr(Side::left, Op::transpose, kept, n - kept, 1, kept, t, ld, tau.data(), at(t, ld, 0, kept), ld,
                      work.data(), workLength);
    }
    lapack::ormhr(Side::right, Op::none, n, kept, 1, kept, t, ld, tau.data(), v, ld, work.data(), workLength);
}

}  // namespace

EarlyDeflation deflateEarly(const HessenbergMatrix& matrix, int first, int last, int order, Elements& work) {
    EarlyDeflation result;
    const int start = last - order + 1;
    const bool isWhole = start == first;
    Window window = copyOfWindow(matrix, start, order, isWhole);
    if (!solveSmallBlock(window.matrix())) {
        return result;
    }
    result.hasConverged = true;
    const int kept = separateConverged(window);
    result.deflated = order - kept;
    Elements wr(static_cast<std::size_t>(order)), wi(static_cast<std::size_t>(order));
    eigenvaluesOfSchurDiagonal(order, window.t.data(), window.ld, wr.data(), wi.data());
    result.shifts = pairsOf(wr, wi, kept);
    if (result.deflated == 0) {
        return result;
    }
    if (kept > 1) {
        restoreHessenberg(window, kept);
    }
    if (!isWhole) {
        *at(matrix.h, matrix.ldh, start, start - 1) = kept > 0 ? window.spike * window.v[0] : 0.0;
    }
    copyQuasiTriangular(order, window.t.data(), window.ld, at(matrix.h, matrix.ldh, start, start), matrix.ldh);
    transformOutside(matrix, start, order, window.v.data(), window.ld, work);
    return result;
}

}  // namespace qormath::control_utility
