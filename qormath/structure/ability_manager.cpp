#include <algorithm>
#include <cmath>
#include <cstdint>

#include <qormath/control_utility/controllability.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/structure/ability_manager.hpp>
#include <qormath/structure/detail/padded_input.hpp>

using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::Vector;

namespace {

/// The routine writes n by n elements of Z and n block sizes without asking how much room there is.
void requireFit(const Matrix<double>& a, const Matrix<double>& transformation, const Vector<int>& blockSizes,
                int stateCount) {
    const int n = a.rows();
    const bool squareFits = a.cols() == n && n == stateCount;
    const bool transformationFits =
        transformation.rows() == n && transformation.cols() == n && transformation.storedRows == n;
    const bool blockSizesFit = std::int64_t{blockSizes.count} - blockSizes.range.start >= n;
    if (!squareFits || !transformationFits || !blockSizesFit) {
        throw -1;
    }
}

Matrix<double> deepCopy(const MatrixSoft<double>& view) {
    return Matrix<double>(Matrix<double>(view), true);
}

}  // namespace

AbilityManager::AbilityManager(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c,
                               double rankTolerance)
    : tolerance(rankTolerance),
      A(a, false),
      B(b, false),
      C(c, false),
      transformation(a.rows(), a.rows()),
      blockSizes(a.rows()),
      stateCount(a.rows()),
      inputCount(b.cols()),
      outputCount(c.rows()) {
    transformation.fill(0.0);
    blockSizes.fill(0);
}

AbilityManager::AbilityManager(const AbilityManager& other) = default;
AbilityManager::AbilityManager(AbilityManager&& other) = default;
AbilityManager& AbilityManager::operator=(const AbilityManager& other) = default;
AbilityManager& AbilityManager::operator=(AbilityManager&& other) = default;
AbilityManager::~AbilityManager() = default;

void AbilityManager::ControllabilityObservabilityHelper(Matrix<double>& a, Matrix<double>& b, Matrix<double>& /*c*/) {
    const int n = a.rows();
    const int m = b.cols();
    qormath::structure::PaddedInput work(b, n);
    const int ldb = work.leadingDimension();
    double* const z = transformation.numericData(true);
    double* const bElements = work.data();
    double* const aElements = a.numericData(true);
    requireFit(a, transformation, blockSizes, stateCount);
    qormath::control_utility::CONTROLLABILITYFORT(&n, &m, aElements, bElements, &ldb, z, &reducedOrder, &blockCount,
                                                  blockSizes.numericData(), &tolerance);
    work.writeBack();
}

void AbilityManager::ControllabilityDecomposition() {
    decomposedA = A;
    decomposedB = B;
    decomposedC = C;
    ControllabilityObservabilityHelper(decomposedA, decomposedB, decomposedC);
    // A matrix without rows keeps its shape, which need not tell the number of states.
    if (decomposedC.rows() > 0) {
        decomposedC = product(decomposedC, transformation);
    }
    decompositionKind = 1;
}

void AbilityManager::ObservabilityDecomposition() {
    Matrix<double> dualA = deepCopy(A.transpose());
    Matrix<double> dualInput = deepCopy(C.transpose());
    Matrix<double> dualOutput = deepCopy(B.transpose());
    ControllabilityObservabilityHelper(dualA, dualInput, dualOutput);
    decomposedA = deepCopy(dualA.transpose());
    decomposedC = deepCopy(dualInput.transpose());
    decomposedB = deepCopy(dualOutput.transpose());
    decompositionKind = 2;
}

void AbilityManager::ComputeDetectabilityInfo(Vector<int>& flags, int& count, int& unstable) {
    constexpr int maxIterations = 30;
    ObservabilityDecomposition();
    // Such a pair is left undecomposed: all of it would count as unobservable, though A may be finite.
    if (!std::ranges::all_of(decomposedC, [](double element) { return std::isfinite(element); })) {
        throw QorMathLA::xmsg(QorMathLA::NumericFailure, "Matrix balance");
    }
    const int observable = blockCount < 1 ? 0 : blockSizes(Range(0, blockCount - 1, 1)).sum();
    count = stateCount - observable;
    unstable = 0;
    if (count >= 1) {
        const Range trailing(observable, stateCount - 1, 1);
        Matrix<double> unobservable = deepCopy(decomposedA(trailing, trailing));
        Vector<double> re;
        Vector<double> im;
        unobservable.balance().hessenberg().hessenbergEigenvalues(re, im, maxIterations);
        for (int k = 0; k < count; ++k) {
            if (std::sqrt(re[k] * re[k] + im[k] * im[k]) >= 1.0 - tolerance) {
                ++unstable;
            }
        }
    }
    flags = Vector<int>(stateCount);
    flags.fill(1);
    for (int state = 0; state < stateCount; ++state) {
        for (int k = 0; k < count; ++k) {
            if (transformation(k, state) != 0.0) {
                flags[state] = 0;
            }
        }
    }
}

void AbilityManager::print(std::fstream& file) {
    file << " Decomposed A = \n" << decomposedA;
    file << " Decomposed B = \n" << decomposedB;
    file << " Decomposed C = \n" << decomposedC;
}
