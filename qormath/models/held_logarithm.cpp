#include <cmath>
#include <cstddef>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/control_utility/blockspectraldecomposition.hpp>
#include <qormath/control_utility/triangular_sylvester.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/decompositions/detail/logarithm_routes.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/models/detail/augmented.hpp>
#include <qormath/models/detail/held_logarithm.hpp>

namespace qormath::models {

namespace {

using QorMathLA::addProduct;
using QorMathLA::ComplexMatrix;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;

const Range all(-1, -1, 1);

// Eigenvalues this close to 1 count as integrators. The computed ones of k integrators in a row scatter by the k-th
// root of rounding, 1e-4 for k = 4; and the series gains two digits a term.
constexpr double integratorRadius = 1e-2;
// Terms of the series: nine for the radius, and for each further state of a chain one, which moves them down by a
// state. Twenty are left over for chains with large elements.
constexpr int plainTerms = 30;

/// By LogM of the whole matrix. The inputs are brought to one scale first: a large column is lost on the residual that
/// LogM judges itself by, and a small one in the rounding of the others.
void replaceDirectly(Matrix<double>& a, Matrix<double>& b) {
    const Vector<double> scales = columnScalesOf(b, 1.0);
    const ComplexMatrix<double> logarithm = QorMathControl::LogM(augmented(a, b.scaleColumnsBy(scales), 1.0));
    Matrix<double> real(logarithm.rows(), logarithm.cols());
    for (int j = 0; j < real.cols(); ++j) {
        for (int i = 0; i < real.rows(); ++i) {
            real(i, j) = logarithm(i, j).real();
        }
    }
    extract(real, a.rows(), a, b);
    undoColumnScales(b, scales);
}

/// Replaces a Schur form t and b, in its coordinates, by the top blocks of the logarithm of [t b; 0 I], as long as
/// there is a real one within reach of square roots. The inputs are brought to where they do not add to the norm.
bool replaceSchurForm(Matrix<double>& t, Matrix<double>& b) {
    const Vector<double> scales = columnScalesOf(b, 1.0 / (1.0 + b.cols()));
    Matrix<double> step = augmented(t, b.scaleColumnsBy(scales), 1.0);
    if (!decompositions::logarithmOfSchurForm(step)) {
        return false;
    }
    extract(step, t.rows(), t, b);
    undoColumnScales(b, scales);
    return true;
}

/// With x = a - I: a becomes log(I + x) = x s and b becomes s b, where s = I - x / 2 + x^2 / 3 - ...
void replaceBySeries(const Matrix<double>& x, Matrix<double>& a, Matrix<double>& b) {
    Matrix<double> sum = x.identity();
    Matrix<double> power = x.identity();
    const int terms = plainTerms + x.rows();
    for (int k = 1; k < terms; ++k) {
        power = power * x;
        sum += power * ((k % 2 == 0 ? 1.0 : -1.0) / (k + 1.0));
    }
    a = x * sum;
    b = product(sum, b);
}

/// a - I and b in coordinates u in which a is in real Schur form, the eigenvalues far from 1 first.
struct OrderedForm {
    Matrix<double> x;
    Matrix<double> b;
    Matrix<double> u;
    int far = 0;
    bool isGiven = false;
};

OrderedForm orderedFormOf(const Matrix<double>& a, const Matrix<double>& b) {
    using control_utility::SpectralMeasure;
    const int n = a.rows();
    OrderedForm form{a - a.identity(), b, Matrix<double>(n, n)};
    std::vector<double> wr(static_cast<std::size_t>(n));
    std::vector<double> wi(static_cast<std::size_t>(n));
    form.isGiven =
        control_utility::toOrderedSchurForm(SpectralMeasure::modulus, integratorRadius, n, b.cols(), 0,
                                            form.x.numericData(true), n, form.b.numericData(true), n, nullptr, 0,
                                            form.u.numericData(true), n, wr.data(), wi.data(), form.far) == 0;
    return form;
}

/// y with x11 y - y x22 = -x12, so that [I y; 0 I] decouples the two parts; false where they are too close.
bool decouplingOf(const OrderedForm& form, Matrix<double>& y) {
    const int n = form.x.rows();
    const int near = n - form.far;
    y = Matrix<double>(form.x(Range(0, form.far - 1, 1), Range(form.far, n - 1, 1)), true);
    y *= -1.0;
    double scale = 1.0;
    const double* const x22 = form.x.numericData(true) + static_cast<std::ptrdiff_t>(form.far) * (n + 1);
    const int info = control_utility::solveTriangularSylvester(lapack::Op::none, lapack::Op::none, -1, form.far, near,
                                                               form.x.numericData(true), n, x22, n, y.numericData(true),
                                                               form.far, scale);
    return info == 0 && scale == 1.0 && lapack::allFinite(form.far, near, y.numericData(true), form.far);
}

/// Both logarithms, put back together in the coordinates of a.
void replaceByParts(const OrderedForm& form, const Matrix<double>& y, Matrix<double>& a, Matrix<double>& b) {
    const int n = form.x.rows();
    const Range farStates(0, form.far - 1, 1);
    const Range nearStates(form.far, n - 1, 1);
    Matrix<double> nearB(form.b(nearStates, all), true);
    Matrix<double> nearA;
    Matrix<double> farB(form.b(farStates, all), true);
    addProduct(MatrixSoft<double>(farB), -1.0, y, nearB);
    Matrix<double> farA = Matrix<double>(form.x(farStates, farStates), true);
    farA += farA.identity();
    Matrix<double> logarithmOfA(farA);
    Matrix<double> logarithmOfB(farB);
    if (replaceSchurForm(logarithmOfA, logarithmOfB)) {
        farA = logarithmOfA;
        farB = logarithmOfB;
    } else {
        replaceDirectly(farA, farB);
    }
    replaceBySeries(Matrix<double>(form.x(nearStates, nearStates), true), nearA, nearB);

    Matrix<double> logarithm = QorMathLA::zeroMatrix(n, n);
    logarithm(farStates, farStates) = farA;
    logarithm(nearStates, nearStates) = nearA;
    addProduct(logarithm(farStates, nearStates), 1.0, y, nearA);
    addProduct(logarithm(farStates, nearStates), -1.0, farA, y);
    addProduct(MatrixSoft<double>(farB), 1.0, y, nearB);
    a = product(product(form.u, logarithm), form.u.transpose());
    b = product(form.u, farB.appendToBottom(nearB));
}

/// Whether no eigenvalue is near 1, by the eigenvalues of a itself.
bool areFar(const Vector<double>& wr, const Vector<double>& wi) {
    constexpr double clearance = 2.0;  // beyond doubt about rounding
    for (int i = 0; i < wr.size(); ++i) {
        if (!(std::hypot(wr[i] - 1.0, wi[i]) > clearance * integratorRadius)) {
            return false;
        }
    }
    return true;
}

}  // namespace

void replaceByHeldLogarithm(Matrix<double>& a, Matrix<double>& b, const Matrix<double>& t, const Matrix<double>& u,
                            const Vector<double>& wr, const Vector<double>& wi) {
    if (a.rows() > 0 && a.cols() == a.rows() && b.rows() == a.rows() && areFar(wr, wi)) {
        Matrix<double> logarithm(t);
        Matrix<double> held = product(u.transpose(), b);
        if (replaceSchurForm(logarithm, held)) {
            a = decompositions::fromSchurBasis(u, logarithm);
            b = product(u, held);
            return;
        }
    }
    replaceByHeldLogarithm(a, b);
}

void replaceByHeldLogarithm(Matrix<double>& a, Matrix<double>& b) {
    const int n = a.rows();
    const OrderedForm form = n > 0 && a.cols() == n && b.rows() == n ? orderedFormOf(a, b) : OrderedForm();
    Matrix<double> y;
    if (!form.isGiven || form.far == n) {
        replaceDirectly(a, b);
    } else if (form.far == 0) {
        Matrix<double> x = a - a.identity();
        replaceBySeries(x, a, b);
    } else if (decouplingOf(form, y)) {
        replaceByParts(form, y, a, b);
    } else {
        replaceDirectly(a, b);
    }
}

}  // namespace qormath::models
