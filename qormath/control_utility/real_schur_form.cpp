#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/real_schur_form.hpp>
#include <qormath/control_utility/schur_reordering.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using Elements = std::vector<double>;

// From this order on the own iteration takes less time.
constexpr int smallestOrder = 120;
// Squares of elements within 2 to plus or minus this power, and of their rounding, stay within the numbers.
constexpr int moderateExponent = 300;
// The block width for which the work arrays of the reduction are laid out.
constexpr int workBlock = 64;

bool isModerate(int n, const double* a, int lda) {
    const double largest = lapack::lange(lapack::Norm::maxAbs, n, n, a, lda);
    return std::isfinite(largest) && largest > 0.0 && std::abs(std::ilogb(largest)) <= moderateExponent;
}

/// Hessenberg form of the rows first to last, one-based, of a matrix that is triangular in the others, with vectors.
void reduceToHessenberg(int n, int first, int last, double* a, int lda, double* q, int ldq) {
    const auto order = static_cast<std::size_t>(n);
    Elements tau(order), work(order * workBlock + workBlock * (workBlock + 1));
    const int workLength = static_cast<int>(work.size());
    lapack::gehrd(n, first, last, a, lda, tau.data(), work.data(), workLength);
    lapack::lacpy(n, n, a, lda, q, ldq);
    lapack::orghr(n, first, last, q, ldq, tau.data(), work.data(), workLength);
    for (int column = 0; column + 2 < n; ++column) {
        std::fill_n(at(a, lda, column + 2, column), n - column - 2, 0.0);
    }
}

}  // namespace

int realSchurFormByLapack(int n, double* a, int lda, double* wr, double* wi, double* q, int ldq) {
    double best = 0.0;
    if (const int info = lapack::gees(n, a, lda, wr, wi, q, ldq, &best, -1); info != 0) {
        return info;
    }
    Elements work(static_cast<std::size_t>(std::max(1.0, best)));
    return lapack::gees(n, a, lda, wr, wi, q, ldq, work.data(), static_cast<int>(work.size()));
}

bool realSchurFormByOwnIteration(int n, double* a, int lda, double* wr, double* wi, double* q, int ldq,
                                 int fruitlessRounds) {
    if (!isModerate(n, a, lda)) {
        return false;
    }
    const auto order = static_cast<std::size_t>(n);
    Elements untouched(order * order), scale(order);
    lapack::lacpy(n, n, a, lda, untouched.data(), n);
    int first = 0;
    int last = 0;
    lapack::gebal('P', n, a, lda, first, last, scale.data());
    reduceToHessenberg(n, first, last, a, lda, q, ldq);
    if (!iterateToSchurForm({n, a, lda, q, ldq}, first - 1, last - 1, fruitlessRounds)) {
        lapack::lacpy(n, n, untouched.data(), n, a, lda);
        return false;
    }
    lapack::gebak('P', n, first, last, scale.data(), n, q, ldq);
    eigenvaluesOfSchurDiagonal(n, a, lda, wr, wi);
    return true;
}

int realSchurForm(int n, double* a, int lda, double* wr, double* wi, double* q, int ldq) {
    if (n >= smallestOrder && realSchurFormByOwnIteration(n, a, lda, wr, wi, q, ldq)) {
        return 0;
    }
    return realSchurFormByLapack(n, a, lda, wr, wi, q, ldq);
}

}  // namespace qormath::control_utility
