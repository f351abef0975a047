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

/// Hessenberg form under way: what LAPACK keeps of the permutation and of the reflectors.
struct Reduction {
    int first = 0;  ///< of the rows that are reduced, one-based, as is the last
    int last = 0;
    Elements scale;
    Elements tau;
    Elements work;

    int workLength() const { return static_cast<int>(work.size()); }
};

/// Hessenberg form of a, with the reflectors below the subdiagonal. Eigenvalues that stand alone after a permutation
/// are left out of it.
Reduction reduceToHessenberg(int n, double* a, int lda, int rows) {
    const auto order = static_cast<std::size_t>(n);
    const auto widest = static_cast<std::size_t>(std::max(n, rows));
    Reduction reduction{0, 0, Elements(order), Elements(order),
                        Elements(widest * workBlock + workBlock * (workBlock + 1))};
    lapack::gebal('P', n, a, lda, reduction.first, reduction.last, reduction.scale.data());
    lapack::gehrd(n, reduction.first, reduction.last, a, lda, reduction.tau.data(), reduction.work.data(),
                  reduction.workLength());
    return reduction;
}

void clearReflectors(int n, double* a, int lda) {
    for (int column = 0; column + 2 < n; ++column) {
        std::fill_n(at(a, lda, column + 2, column), n - column - 2, 0.0);
    }
}

/// Exchanges the columns of z as the permutation has exchanged those of the matrix, the isolated last ones first.
void permuteColumns(const Reduction& reduction, int n, int rows, double* z, int ldz) {
    const auto exchange = [&](int column) {
        const int other = static_cast<int>(reduction.scale[static_cast<std::size_t>(column)]) - 1;
        lapack::swap(rows, at(z, ldz, 0, column), 1, at(z, ldz, 0, other), 1);
    };
    for (int column = n - 1; column >= reduction.last; --column) {
        exchange(column);
    }
    for (int column = 0; column < reduction.first - 1; ++column) {
        exchange(column);
    }
}

bool iterate(const Reduction& reduction, const HessenbergMatrix& matrix, const Elements& untouched,
             int fruitlessRounds) {
    if (!iterateToSchurForm(matrix, reduction.first - 1, reduction.last - 1, fruitlessRounds)) {
        lapack::lacpy(matrix.n, matrix.n, untouched.data(), matrix.n, matrix.h, matrix.ldh);
        return false;
    }
    return true;
}

Elements packed(int rows, int columns, const double* x, int ldx) {
    Elements copy(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns));
    lapack::lacpy(rows, columns, x, ldx, copy.data(), rows);
    return copy;
}

/// The own iteration for z = z q; false, with a and z as they were, where it is not for this matrix.
bool iterateWithRows(int n, double* a, int lda, double* wr, double* wi, int rows, double* z, int ldz) {
    if (!isModerate(n, a, lda)) {
        return false;
    }
    const Elements untouched = packed(n, n, a, lda);
    const Elements untouchedRows = packed(rows, n, z, ldz);
    Reduction reduction = reduceToHessenberg(n, a, lda, rows);
    if (rows > 0) {
        permuteColumns(reduction, n, rows, z, ldz);
        lapack::ormhr(lapack::Side::right, lapack::Op::none, rows, n, reduction.first, reduction.last, a, lda,
                      reduction.tau.data(), z, ldz, reduction.work.data(), reduction.workLength());
    }
    clearReflectors(n, a, lda);
    if (!iterate(reduction, {n, a, lda, rows, z, ldz}, untouched, mostFruitlessRounds)) {
        lapack::lacpy(rows, n, untouchedRows.data(), rows, z, ldz);
        return false;
    }
    eigenvaluesOfSchurDiagonal(n, a, lda, wr, wi);
    return true;
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
    const Elements untouched = packed(n, n, a, lda);
    Reduction reduction = reduceToHessenberg(n, a, lda, n);
    lapack::lacpy(n, n, a, lda, q, ldq);
    lapack::orghr(n, reduction.first, reduction.last, q, ldq, reduction.tau.data(), reduction.work.data(),
                  reduction.workLength());
    clearReflectors(n, a, lda);
    if (!iterate(reduction, {n, a, lda, n, q, ldq}, untouched, fruitlessRounds)) {
        return false;
    }
    lapack::gebak('P', n, reduction.first, reduction.last, reduction.scale.data(), n, q, ldq);
    eigenvaluesOfSchurDiagonal(n, a, lda, wr, wi);
    return true;
}

int realSchurForm(int n, double* a, int lda, double* wr, double* wi, double* q, int ldq) {
    if (n >= smallestOrder && realSchurFormByOwnIteration(n, a, lda, wr, wi, q, ldq)) {
        return 0;
    }
    return realSchurFormByLapack(n, a, lda, wr, wi, q, ldq);
}

int realSchurFormWithRows(int n, double* a, int lda, double* wr, double* wi, int rows, double* z, int ldz) {
    if (n >= smallestOrder && iterateWithRows(n, a, lda, wr, wi, rows, z, ldz)) {
        return 0;
    }
    Elements q(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    const int info = realSchurFormByLapack(n, a, lda, wr, wi, q.data(), n);
    if (info == 0) {
        const Elements old = packed(rows, n, z, ldz);
        lapack::gemm(lapack::Op::none, lapack::Op::none, rows, n, n, 1.0, old.data(), rows, q.data(), n, 0.0, z, ldz);
    }
    return info;
}

}  // namespace qormath::control_utility
