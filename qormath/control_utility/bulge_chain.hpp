#pragma once

#include <vector>

namespace qormath::control_utility {

/// The shifts of one bulge, by which two steps of the QR iteration are taken at once: two real numbers or a conjugate
/// pair.
struct ShiftPair {
    double re1 = 0.0;
    double im1 = 0.0;
    double re2 = 0.0;
    double im2 = 0.0;
};

/// I - (1, v2, v3)' tau (1, v2, v3), with the products that its application needs.
struct SmallReflector {
    double tau = 0.0;
    double v2 = 0.0;
    double v3 = 0.0;
    double tau2 = 0.0;
    double tau3 = 0.0;
};

/// What a chain changes, with common indices: the Hessenberg matrix h, and u, which the reflectors are multiplied to
/// from the right. Of both there must be one row and one column more than anything that is named here, of finite
/// numbers, which come back unchanged.
struct ChainTarget {
    double* h = nullptr;
    int ldh = 0;
    double* u = nullptr;
    int ldu = 0;
    int firstRow = 0;          ///< of h, from which on the columns are changed
    int endColumn = 0;         ///< of h, before which the rows are changed
    int rowsOfU = 0;           ///< rows of u that are changed, from 0 on
    bool uIsIdentity = false;  ///< on entry; what is known to stay zero is then left alone
};

/// Tightly packed bulges on their way down an upper Hessenberg matrix. Bulge b is introduced 2 b steps after bulge 0,
/// and each step moves every bulge that is under way down by one row. After steps of one target the chain can go on in
/// another one, with other indices, that holds the same part of the matrix.
///
/// Sources: K. Braman, R. Byers and R. Mathias, "The multishift QR algorithm. Part I: maintaining well-focused shifts
/// and level 3 performance", SIAM J. Matrix Anal. Appl. 23 (2002), 929-947; L. Karlsson, D. Kressner and B. Lang,
/// "Optimally packed chains of bulges in multishift QR algorithms", ACM Trans. Math. Softw. 40 (2014), 12:1-12:15.
class BulgeChain {
  public:
    BulgeChain(int bulges, const ShiftPair* shifts);

    /// Steps that take all bulges through a matrix of the given order, which is 3 or above.
    int stepsThrough(int order) const { return order - 3 + 2 * bulges(); }

    int bulges() const { return static_cast<int>(reflectors_.size()); }

    /// Takes the steps first to end - 1, counted from the introduction of bulge 0. top and bottom are the first and
    /// the last row of the active block, in the indices of the target.
    void step(const ChainTarget& target, int top, int bottom, int first, int end);

  private:
    void generate(const ChainTarget& target, int top, int bottom);
    void applyToRows(const ChainTarget& target) const;
    void applyToColumns(const ChainTarget& target) const;
    void applyToU(const ChainTarget& target) const;

    const ShiftPair* shifts_;
    std::vector<SmallReflector> reflectors_;
    /// The bulges under way, and the row above the reflector of bulge 0, that of bulge b being lead_ - 2 b.
    int front_ = 0;
    int back_ = 0;
    int lead_ = 0;
    int leadAtEntry_ = 0;
};

}  // namespace qormath::control_utility
