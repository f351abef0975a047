#pragma once

#include <vector>

#include <qormath/control_utility/reflector_block.hpp>

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
    /// Room for up to capacity reflectors. What has been carried out goes to done.
    PendingReflectors(int n, double* a, int capacity, std::vector<ReflectorBlock>& done);

    bool haveRoomFor(int count) const { return block_.haveRoomFor(count); }

    /// Takes over count reflectors as a QR factorisation of rows first to first + reached - 1 stores them, with the
    /// leading dimension ld.
    void append(int first, int reached, int count, const double* reflectors, int ld, const double* factors);

    /// Carries out all that is pending on columns first to first + width - 1, from the row at which the oldest
    /// reflector begins. Columns are asked for from left to right without a gap, from that row's number on.
    void bringUpToDate(int first, int width);

    /// Carries out all that is pending.
    void flush();

  private:
    void updateColumns(int first, int width);

    int n_;
    double* a_;
    int capacity_;
    int current_ = 0;  ///< columns before this one are up to date
    ReflectorBlock block_;
    std::vector<double> y_;  ///< rows as V
    std::vector<ReflectorBlock>& done_;
};

}  // namespace qormath::control_utility
