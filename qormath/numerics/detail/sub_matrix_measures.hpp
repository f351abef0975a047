#pragma once

#include <cstddef>
#include <vector>

namespace qormath::numerics {

/// Condition number and RGA value of a square matrix, as documented of QorSVDAnalysis and SVDSubMatrix. They are a
/// function of the elements alone, to the last bit, so that results do not depend on how a search came to them.
struct SubMatrixMeasures {
    double conditionNumber;  ///< infinite for a singular matrix
    double rga;
};

/// Measures matrices of one order, from 1 on, in workspace of its own.
class SubMatrixMeter {
  public:
    explicit SubMatrixMeter(int order);

    /// Of the matrix a, column-major without gaps and finite.
    SubMatrixMeasures measure(const double* a);

  private:
    bool equilibrate(const double* a);
    bool factorize();
    void invert();
    double largestRelativeGain() const;
    double squaredNorm(bool ofInverse, int& exponent);

    std::size_t at(int i, int j) const {
        return static_cast<std::size_t>(j) * static_cast<std::size_t>(order_) + static_cast<std::size_t>(i);
    }

    int order_;
    std::vector<double> equilibrated_;  // 2^-(rowExponents_[i] + colExponents_[j]) a(i, j)
    std::vector<double> factors_;
    std::vector<double> inverse_;  // of equilibrated_
    std::vector<double> work_;
    std::vector<double> scaled_;
    std::vector<int> rowExponents_, colExponents_;
    std::vector<int> rowOrder_, colOrder_;  // of the pivots
};

/// The largest and the smallest eigenvalue of a symmetric matrix, to rounding errors of the largest one.
struct EigenvalueRange {
    double smallest;
    double largest;
};

/// By Jacobi's rotations, which destroy g; both triangles of it are read. G. H. Golub, C. F. Van Loan, "Matrix
/// Computations", 4th ed., section 8.5. For small orders.
EigenvalueRange symmetricEigenvalueRange(double* g, int order);

}  // namespace qormath::numerics
