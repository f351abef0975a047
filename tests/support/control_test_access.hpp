#pragma once

// The door to the private members of QorMathControl.

#include <qormath/control/qor_math_control.hpp>

struct QorMathControlTestAccess {
    static void SchurDecompositionHelper(const QorMathLA::Matrix<double>& a, QorMathLA::Matrix<double>& t,
                                         QorMathLA::Matrix<double>& q, QorMathLA::Vector<double>& wr,
                                         QorMathLA::Vector<double>& wi, const schurOrder& order) {
        QorMathControl::SchurDecompositionHelper(a, t, q, wr, wi, order);
    }

    static void PseudoRamp2Ramp(LTIStateSpaceModel& model, double tolerance) {
        QorMathControl::PseudoRamp2Ramp(model, tolerance);
    }

    static void ParlettsLog(const QorMathLA::Matrix<double>& a, QorMathLA::ComplexMatrix<double>& f, double& err) {
        QorMathControl::ParlettsLog(a, f, err);
    }

    static int RiccatiHelper(QorMathLA::Matrix<double>& x, const QorMathLA::Matrix<double>& a,
                             const QorMathLA::Matrix<double>& b, const QorMathLA::Matrix<double>& q,
                             const QorMathLA::Matrix<double>& r, const QorMathLA::Matrix<double>& s,
                             const systemType& type) {
        return QorMathControl::RiccatiHelper(x, a, b, q, r, s, type);
    }

    static void LyapunovHelper(QorMathLA::Matrix<double>& x, const QorMathLA::Matrix<double>& a,
                               const QorMathLA::Matrix<double>& c, const systemType& type) {
        QorMathControl::LyapunovHelper(x, a, c, type);
    }
};
