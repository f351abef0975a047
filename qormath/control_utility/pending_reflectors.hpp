#pragma once

#include <vector>

namespace qormath::control_utility {

/// Orthogonal similarities of a packed matrix A of order n that have been decided and not yet been carried out. As
/// Q = I - V T V', with Y = A V T kept beside V, they go into A together as products, while what the next decision
/// looks at is brought up to date alone:
///
///     Q' A Q = (I - V T' V') (A - Y V')
///
/// C. H. Bischof, C. Van Loan, The WY representation for products of Householder matrices, SIAM Journal on Scientific
/// and Statistical Computing 8 (1987); G. Quintana-Orti, R. van de Geijn, Improving the performance of reduction to
/// Hessenberg form, ACM Transactions on Mathematical Software 32 (2006), which the case of one column a time is.
class PendingReflectors {
  public:
    /// Room for up to capacity reflectors.
    PendingReflectors(int n, double* a, int capacity);

    bool haveRoomFor(int count) const { return count_ + count <= capacity_; }

    /// Takes over count reflectors: the first acts on rows first to first + reached - 1, each further one begins a row
    /// lower. reflectors points to the diagonal element of the first, its leading dimension is n.
    void append(int first, int reached, int count, const double* reflectors, const double* factors);

    /// Carries out all that is pending on columns first to first + width - 1, from the row at which the oldest
    /// reflector begins. Columns are asked for from left to right without a gap, from that row's number on.
    void bringUpToDate(int first, int width);

    /// Carries out all that is pending.
    void flush();

  private:
    int activeRows() const { return n_ - start_; }
    void extendTriangularFactor(int count, const double* factors);
    void updateColumns(int first, int width);

    int n_;
    double* a_;
    int capacity_;
    int count_ = 0;
    int start_ = 0;    ///< the row at which the oldest reflector begins; row 0 of v_ and y_
    int current_ = 0;  ///< columns before this one are up to date
    std::vector<double> v_;
    std::vector<double> y_;
    std::vector<double> t_;
    std::vector<double> overlap_;  ///< V' times the reflectors that join
    std::vector<double> work_;
};

}  // namespace qormath::control_utility
