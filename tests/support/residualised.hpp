#pragma once

// Ringers held at their steady state, by another road than the library's.

#include <algorithm>
#include <cmath>
#include <complex>
#include <support/matrix_compare.hpp>
#include <support/transfer.hpp>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

namespace qormath::test {

/// |Re s| / |s|, with s = ln(z) in a discrete model.
inline double dampingRatioOf(std::complex<double> pole, systemType type) {
    const std::complex<double> s = type == discreteSystem ? std::log(pole) : pole;
    return std::fabs(s.real()) / std::abs(s);
}

/// The elements in the given rows and columns.
inline QorMathLA::Matrix<double> selected(const QorMathLA::Matrix<double>& m, const std::vector<int>& rows,
                                          const std::vector<int>& cols) {
    QorMathLA::Matrix<double> result(static_cast<int>(rows.size()), static_cast<int>(cols.size()));
    for (int j = 0; j < result.cols(); ++j) {
        for (int i = 0; i < result.rows(); ++i) {
            result(i, j) = m(rows[static_cast<std::size_t>(i)], cols[static_cast<std::size_t>(j)]);
        }
    }
    return result;
}

/// 0, 1, ... up to but without the count.
inline std::vector<int> countedUpTo(int count) {
    std::vector<int> indices;
    for (int k = 0; k < count; ++k) {
        indices.push_back(k);
    }
    return indices;
}

/// The residualised model by another road than the library's: no matrix of it is formed. A state that is held at its
/// steady state has x = A x + B u, so that the resolvent carries the steady-state point, 1 or 0, in its place on the
/// diagonal instead of z. What the ringing states pass straight from inputs to outputs is taken off again.
class Residualised {
  public:
    Residualised(const LTIStateSpaceModel& model, double limit) : model_(model) {
        QorMathLA::Matrix<double> q;
        QorMathLA::Vector<double> wr;
        QorMathLA::Vector<double> wi;
        QorMathControl::SchurDecomposition(model.A, t_, q, wr, wi, schurUnordered);
        b_ = QorMathLA::product(q.transpose(), model.B);
        c_ = QorMathLA::product(model.C, q);
        for (int i = 0; i < wr.size(); ++i) {
            const double ratio = dampingRatioOf({wr[i], wi[i]}, model.sysType);
            (ratio <= limit ? ring_ : keep_).push_back(i);
        }
    }

    int kept() const { return static_cast<int>(keep_.size()); }
    int rang() const { return static_cast<int>(ring_.size()); }

    /// The path from inputs to outputs through the ringing states alone, at their steady state.
    QorMathLA::Matrix<double> lostFeedthrough() const {
        const QorMathLA::Matrix<double> held = resolvent(selected(t_, ring_, ring_), steadyPoint());
        return QorMathLA::product(selected(c_, outputs(), ring_),
                                  QorMathLA::product(held, selected(b_, ring_, inputs())));
    }

    QorMathLA::Matrix<double> transferAt(double z) const {
        return QorMathLA::product(QorMathLA::product(c_, mixedResolvent(z)), b_) + model_.D - lostFeedthrough();
    }

    /// The rounding of a value of the transfer function, the backward error being n eps relative to each matrix: a
    /// change of A passes the resolvent twice, one of B or C once. The inverse that holds the ringing states stands
    /// in the new matrices between two factors, which are rounded by eps of their own product.
    double rounding(double z) const {
        const double n = std::max(1, model_.A.rows());
        const double r = frobeniusNorm(mixedResolvent(z));
        const double a = frobeniusNorm(model_.A) + 1.0;
        const double held = 1.0 + a * frobeniusNorm(resolvent(selected(t_, ring_, ring_), steadyPoint()));
        const double outer = frobeniusNorm(model_.B) * frobeniusNorm(model_.C) * r;
        return n * 0x1p-53 * (outer * (a * r + 2.0) * held * held + frobeniusNorm(model_.D));
    }

    double steadyPoint() const { return model_.sysType == discreteSystem ? 1.0 : 0.0; }

  private:
    std::vector<int> inputs() const { return countedUpTo(b_.cols()); }
    std::vector<int> outputs() const { return countedUpTo(c_.rows()); }

    QorMathLA::Matrix<double> mixedResolvent(double z) const {
        QorMathLA::Matrix<double> shifted = t_;
        for (const int i : ring_) {
            shifted(i, i) += z - steadyPoint();
        }
        return resolvent(shifted, z);
    }

    LTIStateSpaceModel model_;
    QorMathLA::Matrix<double> t_;
    QorMathLA::Matrix<double> b_;
    QorMathLA::Matrix<double> c_;
    std::vector<int> ring_;
    std::vector<int> keep_;
};

}  // namespace qormath::test
