#pragma once

#include <vector>

#include <qormath/lapack/blas.hpp>

namespace qormath::control_utility {

/// A product of reflectors, Q = I - V T V', that acts on rows first to first + rows - 1 of a larger identity. V is
/// stored whole, with the ones and zeros that a QR factorisation leaves out, so that all work with it is products.
///
/// R. Schreiber, C. Van Loan, A storage-efficient WY representation for products of Householder transformations, SIAM
/// Journal on Scientific and Statistical Computing 10 (1989).
class ReflectorBlock {
  public:
    /// The identity, with room for up to capacity reflectors.
    ReflectorBlock(int first, int rows, int capacity);

    int first() const { return first_; }
    int rows() const { return rows_; }
    int count() const { return count_; }
    bool haveRoomFor(int more) const { return count_ + more <= capacity_; }

    const double* v() const { return v_.data(); }  ///< rows by count, packed
    const double* t() const { return t_.data(); }  ///< upper triangular of order count, of leading dimension capacity
    int capacity() const { return capacity_; }

    /// Q := Q H1 ... Hk for k = more reflectors as a QR factorisation of reached rows stores them, with the leading
    /// dimension ld: the first begins in the row skipped of the block. Returns V' V2, of leading dimension capacity,
    /// with V2 the columns that V gained.
    std::vector<double> append(int skipped, int reached, int more, const double* reflectors, int ld,
                               const double* factors);

    /// c := op(Q) c, for c of rows by n.
    void multiplyFromLeft(lapack::Op op, int n, double* c, int ldc) const;

    /// c := c - V op(T) product, the second half of it, for product = V' c of count rows, packed, which is overwritten.
    void subtract(lapack::Op op, int n, double* product, double* c, int ldc) const;

    /// c := c Q, for c of m by rows.
    void multiplyFromRight(int m, double* c, int ldc) const;

  private:
    int first_;
    int rows_;
    int capacity_;
    int count_ = 0;
    std::vector<double> v_;
    std::vector<double> t_;
};

/// z := Q1 Q2 ... of order n, packed, for blocks each of which begins below the first row of the one before it.
void formProduct(int n, const std::vector<ReflectorBlock>& blocks, double* z);

}  // namespace qormath::control_utility
