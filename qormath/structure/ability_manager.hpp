#pragma once

/// @file
/// Staircase forms of a triple of matrices.

#include <fstream>

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/export.h>

/// A triple (A, B, C) with n states, m inputs and p outputs, and its latest staircase decomposition.
///
/// The decompositions are orthogonal similarities Z. The controllability decomposition is
///
///     Z' A Z = [ Ac  * ]     Z' B = [ Bc ]     C Z
///              [ 0  Au ]            [ 0  ]
///
/// with (Ac, Bc) controllable; the observability decomposition is that of the dual triple (A', C', B'), transposed, so
/// that the observable part leads and couples into the trailing unobservable one. The order of the leading part is the
/// sum of the first blockCount elements of blockSizes. It is decided with the tolerance relative to the larger
/// Frobenius norm of the pair; a tolerance that is not above 0 means n * 2^-53 there.
///
/// Triples without states, inputs or outputs are legal. The constructor shares the blocks of its arguments: they must
/// not change while the instance is in use. A copy of an instance is deep in all matrices and in blockSizes.
///
/// Failures: the int -1 for an A that is not square, or fields that were replaced by ones that do not fit it; xmsg 9 if
/// transformation has been transposed by hand; xmsg 5 from the product C Z; xmsg 11 from eigenvalues, also for a pair
/// with NaN or infinity. Nothing is rolled back: the decomposed matrices stay as they stood at that moment, and
/// decompositionKind tells the last decomposition that went through.
///
/// P. Van Dooren, The generalized eigenstructure problem in linear system theory, IEEE Transactions on Automatic
/// Control 26 (1981). Cost: 10/3 n^3 operations for the reduction and 4/3 n^3 for Z.
class QORMATH_API AbilityManager {
  public:
    /// Shares the blocks of the three matrices as they are viewed; no element is copied.
    AbilityManager(const QorMathLA::Matrix<double>& a, const QorMathLA::Matrix<double>& b,
                   const QorMathLA::Matrix<double>& c, double rankTolerance);

    ///@{
    /// Deep in all matrices and in blockSizes.
    AbilityManager(const AbilityManager& other);
    AbilityManager(AbilityManager&& other);
    AbilityManager& operator=(const AbilityManager& other);
    AbilityManager& operator=(AbilityManager&& other);
    ///@}

    ~AbilityManager();

    /// Decomposes (A, B), the controllable part leading; decomposedC becomes C Z.
    void ControllabilityDecomposition();

    /// Decomposes (A, C), the observable part leading. decomposedB becomes a copy of B: unlike C in the controllability
    /// decomposition it is not taken into the new coordinates, which Z' B would be.
    void ObservabilityDecomposition();

    /// Runs ObservabilityDecomposition and draws from it:
    ///
    /// flags     one element for each state, replaced: 0 if the state has a non-zero, however small, in the first
    ///           count rows of its column of Z, else 1
    /// count     number of unobservable states
    /// unstable  how many eigenvalues of the unobservable part have a modulus of at least 1 - tolerance. This is the
    ///           discrete criterion, whatever the matrices describe
    ///
    /// Throws the int -1 if blockSizes has been given a stride other than 1.
    void ComputeDetectabilityInfo(QorMathLA::Vector<int>& flags, int& count, int& unstable);

    /// Writes the decomposed matrices, each below a line that names it; an empty one writes nothing below its line.
    void print(std::fstream& file);

    int decompositionKind = 0;                 ///< 0 none yet, 1 controllability, 2 observability
    int reducedOrder = 0;                      ///< order of the controllable or observable part
    int blockCount = 0;                        ///< number of staircase blocks
    double tolerance;                          ///< rank tolerance and margin of the stability test
    QorMathLA::Matrix<double> A;               ///< n by n, shares the block of the constructor's argument
    QorMathLA::Matrix<double> B;               ///< n by m, shared likewise
    QorMathLA::Matrix<double> C;               ///< p by n, shared likewise
    QorMathLA::Matrix<double> decomposedA;     ///< empty before the first decomposition
    QorMathLA::Matrix<double> decomposedB;     ///< empty before the first decomposition
    QorMathLA::Matrix<double> decomposedC;     ///< empty before the first decomposition
    QorMathLA::Matrix<double> transformation;  ///< Z of the last decomposition
    QorMathLA::Vector<int> blockSizes;         ///< n elements; the first blockCount are the staircase block sizes
    int stateCount;                            ///< n, the logical rows of A
    int inputCount;                            ///< m, the logical columns of B
    int outputCount;                           ///< p, the logical rows of C

  private:
    void ControllabilityObservabilityHelper(QorMathLA::Matrix<double>& a, QorMathLA::Matrix<double>& b,
                                            QorMathLA::Matrix<double>& c);
};
