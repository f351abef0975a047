#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/control_utility/whole_sylvester.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {
namespace {

using lapack::Op;

// Up to this order DTRSYL is no slower than the recursive kernel with its checks.
constexpr int directOrder = 32;

// DTRSYL scales systems with solutions from 1 / (s m n / u) on, which is above 1e282 for the largest m and n.
constexpr double largestUnscaled = 1e270;

// Below this DTRSYL takes eigenvalues of a and -b for equal.
double smallestDistance(int m, int n, double largestA, double largestB) {
    const double precision = lapack::lamch('p');
    const double tiny = lapack::lamch('s') * (static_cast<double>(m) * n) / precision;
    return std::max({tiny, precision * largestA, precision * largestB});
}

struct Diagonal {
    std::vector<double> single;  // the real eigenvalues that stand alone
    std::vector<int> pairs;      // the first rows of 2 by 2 blocks
};

Diagonal diagonalOf(int n, const double* a, int lda) {
    Diagonal diagonal;
    for (int row = 0; row < n; ++row) {
        if (startsPair(n, a, lda, row)) {
            diagonal.pairs.push_back(row++);
        } else {
            diagonal.single.push_back(*at(a, lda, row, row));
        }
    }
    return diagonal;
}

bool meet(const std::vector<double>& singleA, const std::vector<double>& singleB, double distance) {
    for (const double b : singleB) {
        for (const double a : singleA) {
            if (std::abs(a + b) <= distance) {
                return true;
            }
        }
    }
    return false;
}

// The smaller pivot, under complete pivoting, of the 2 by 2 block plus a multiple of the identity.
double smallerPivot(const double* block, int ld, double shift) {
    const double element[2][2] = {{block[0] + shift, *at(block, ld, 0, 1)},
                                  {*at(block, ld, 1, 0), *at(block, ld, 1, 1) + shift}};
    int row = 0;
    int column = 0;
    for (int k = 1; k < 4; ++k) {
        if (std::abs(element[k / 2][k % 2]) > std::abs(element[row][column])) {
            row = k / 2;
            column = k % 2;
        }
    }
    const double pivot = element[row][column];
    if (pivot == 0.0) {
        return 0.0;
    }
    const double factor = element[1 - row][column] / pivot;
    return std::min(std::abs(pivot), std::abs(element[1 - row][1 - column] - factor * element[row][1 - column]));
}

bool meet(const std::vector<int>& pairs, const double* a, int lda, const std::vector<double>& single, double distance) {
    for (const int row : pairs) {
        const double* const block = at(a, lda, row, row);
        for (const double shift : single) {
            if (smallerPivot(block, lda, shift) < distance) {
                return true;
            }
        }
    }
    return false;
}

// Whether DTRSYL would perturb one of the small systems that it judges against the whole of a and b.
bool wouldBePerturbed(int m, int n, const double* a, int lda, const double* b, int ldb) {
    const double distance =
        smallestDistance(m, n, largestOfQuasiTriangular(m, a, lda), largestOfQuasiTriangular(n, b, ldb));
    const Diagonal diagonalA = diagonalOf(m, a, lda);
    const Diagonal diagonalB = diagonalOf(n, b, ldb);
    return meet(diagonalA.single, diagonalB.single, distance) ||
           meet(diagonalA.pairs, a, lda, diagonalB.single, distance) ||
           meet(diagonalB.pairs, b, ldb, diagonalA.single, distance);
}

}  // namespace

int solveWholeSylvester(int m, int n, const double* a, int lda, const double* b, int ldb, double* c, int ldc,
                        double& scale) {
    if (std::max(m, n) > directOrder && !wouldBePerturbed(m, n, a, lda, b, ldb)) {
        std::vector<double> x(static_cast<std::size_t>(m) * static_cast<std::size_t>(n));
        lapack::lacpy(m, n, c, ldc, x.data(), m);
        const int info = solveTriangularSylvester(Op::none, Op::none, 1, m, n, a, lda, b, ldb, x.data(), m, scale);
        if (info == 0 && scale == 1.0 && largestElement(m, n, x.data(), m) <= largestUnscaled) {
            lapack::lacpy(m, n, x.data(), m, c, ldc);
            return 0;
        }
    }
    return lapack::trsyl(Op::none, Op::none, 1, m, n, a, lda, b, ldb, c, ldc, scale);
}

}  // namespace qormath::control_utility
