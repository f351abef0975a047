#include <qormath/control_utility/controllability.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>
#include <qormath/structure/detail/padded_input.hpp>

using QorMathLA::Matrix;

namespace {

/// The routine takes A and C for packed, and asks for no more than their sizes.
void requireFit(const Matrix<double>& a, const Matrix<double>& c) {
    const bool outputsFit = c.rows() == 0 || c.cols() == a.rows();
    if (a.cols() != a.rows() || !outputsFit) {
        throw -1;
    }
}

/// A view of part of a block becomes a block of its own.
void pack(Matrix<double>& matrix) {
    if (matrix.storedRows != matrix.rows()) {
        matrix = Matrix<double>(matrix, true);
    }
}

}  // namespace

LTIStateSpaceModel& LTIStateSpaceModel::ControllabilityForm(int& rank, double tolerance) {
    const int n = A.rows();
    const int m = B.cols();
    const int p = C.rows();
    // A copy with a further row would hide that B is a transposed view; it is refused as A and C are.
    C.numericData(true);
    B.numericData(true);
    A.numericData(true);
    requireFit(A, C);
    pack(A);
    pack(C);
    qormath::structure::PaddedInput work(B, n);
    const int ldb = work.leadingDimension();
    qormath::control_utility::CONTROLLABILITYABCFORT(&n, &m, &p, A.numericData(true), work.data(), &ldb,
                                                     C.numericData(true), &tolerance, &rank);
    work.writeBack();
    return *this;
}

LTIStateSpaceModel& LTIStateSpaceModel::ObservabilityForm(int& rank, double tolerance) {
    const auto becomeDual = [this] {
        A.transposeInPlace();
        B.transposeInPlace();
        C.transposeInPlace();
    };
    const auto exchangeInputAndOutput = [this] {
        const Matrix<double> formerOutput = C;
        C = B;
        B = formerOutput;
    };
    becomeDual();
    exchangeInputAndOutput();
    ControllabilityForm(rank, tolerance);
    becomeDual();
    exchangeInputAndOutput();
    return *this;
}
