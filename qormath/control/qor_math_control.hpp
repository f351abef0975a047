#pragma once

/// @file
/// The control functions.

#include <qormath/control/conversion_type.hpp>
#include <qormath/control/reduction_type.hpp>
#include <qormath/control/riccati_method.hpp>
#include <qormath/control/schur_order.hpp>
#include <qormath/control/system_type.hpp>
#include <qormath/core/complex_matrix.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/export.h>

class LTIStateSpaceModel;

/// The control functions: static members only, no data. A numerical failure is the plain int -1; operands that do not
/// fit and the failures of the core arrive as QorMathLA::xmsg. Nothing is rolled back. The machine precision eps
/// below is 2^-53, and root its square root.
class QORMATH_API QorMathControl {
  public:
    ///@{
    /// The containers by their short names.
    template <class T>
    using Matrix = QorMathLA::Matrix<T>;
    template <class T>
    using Vector = QorMathLA::Vector<T>;
    template <class T>
    using ComplexMatrix = QorMathLA::ComplexMatrix<T>;
    template <class T>
    using ComplexVector = QorMathLA::ComplexVector<T>;
    ///@}

    // ---------------------------------------------------------------- Schur forms

    /// Real Schur form a = q t q' with the eigenvalues in one of nine orders along the diagonal. t is quasi upper
    /// triangular, a complex pair being a 2 by 2 block; wr and wi hold the eigenvalues in diagonal order. The four are
    /// replaced, unless a has no rows: then nothing is written. n is the row count of a, which is taken for square.
    ///
    /// The orders 1 to 4 move the selected eigenvalues to the top. The orders 5 to 8 sort adjacent diagonal blocks by
    /// modulus or real part until the keys are in order up to 1e-10, an absolute number. Any other value acts as
    /// schurUnordered.
    ///
    /// Throws the int -1 if the iteration fails or two blocks are too close to be exchanged, xmsg 9 if t or q is a
    /// transposed view. Cost: about 25 n^3 operations, and at most 6 n more for each exchange of two blocks.
    /// Source: G. H. Golub, C. F. Van Loan, "Matrix Computations", 4th ed., chapter 7; Z. Bai, J. W. Demmel, "On
    /// swapping diagonal blocks in real Schur form", Linear Algebra Appl. 186 (1993).
    static void SchurDecomposition(const Matrix<double>& a, Matrix<double>& t, Matrix<double>& q, Vector<double>& wr,
                                   Vector<double>& wi, const schurOrder& order);

    /// Replaces q by an unset n by n matrix, with n the rows of t, and changes nothing else; it reorders nothing.
    /// Throws the int -1 if order is schurUnordered, after q has been replaced. SchurDecomposition gives an ordered
    /// form.
    static void ReorderBlockDiagonalsOfSchurForm(Matrix<double>& t, Matrix<double>& q, int& sdim,
                                                 const systemType& type, const schurOrder& order);

    /// Complex Schur form a = z t z^H of a real square matrix, unordered: t is upper triangular, z unitary, and w holds
    /// the eigenvalues in the order of the diagonal of t. The three are replaced; an empty a gives empty ones.
    ///
    /// Throws the int -1 if a is not square, before anything is written; and if a holds NaN or infinity or the
    /// iteration fails, with the three resized. Cost: about 25 n^3 complex operations.
    /// Source: G. H. Golub, C. F. Van Loan, "Matrix Computations", 4th ed., chapter 7.
    static void ComplexSchurDecomposition(const Matrix<double>& a, ComplexMatrix<double>& t, ComplexMatrix<double>& z,
                                          ComplexVector<double>& w);

    /// Brings the system (a, b, c) to an ordered real Schur form by an orthogonal similarity, in place, without a
    /// change of its transfer function: a becomes [a11 a12; 0 a22], where a11 holds the marginal and unstable
    /// eigenvalues and a22 the stable ones, and b and c follow. Stable is a modulus below 1 - root (discreteSystem),
    /// or a real part below -root (any other type). d is never read.
    ///
    /// a is n by n, b n by m, c p by n; views are rewritten in their blocks. Throws xmsg 9 for a transposed matrix, and
    /// the int -1 if the shapes do not fit, a view goes in steps, a holds NaN or infinity, the iteration fails, or two
    /// blocks are too close to be exchanged. What was rewritten by then stays; in the last case it is the same system.
    /// Source: G. H. Golub, C. F. Van Loan, "Matrix Computations", 4th ed., 7.6.2. Cost: about 27 n^3 operations.
    static void BlockSpectralDecompostion(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                                          const systemType& type);

    /// Does no work and always throws the int -1, after q has become the identity of the order of t, and blocks as many
    /// zeros. t and count stay as they were.
    static void FromSchurToBlockDiagonalForm(Matrix<double>& t, Matrix<double>& q, int& count, Vector<int>& blocks);

    // ---------------------------------------------------------------- functions of matrices

    /// Carries the elements between the complex container that is computed with and the pairs of doubles that complex
    /// LAPACK routines are declared with: from mm to cm if toComplex is set, else from cm to mm. The target becomes a
    /// compact matrix of the source's logical size in a new block.
    static void convertComplexMatrix(ComplexMatrix<double>& cm, Matrix<_MKL_Complex16>& mm, bool toComplex);

    /// The same for vectors.
    static void convertComplexVector(ComplexVector<double>& cv, Vector<_MKL_Complex16>& mv, bool toComplex);

    /// The exponential exp(a t) of a square matrix, by scaling and squaring. m = a t is first shifted by its mean
    /// eigenvalue trace(m) / n, which is put back as a factor of the result. Then a Taylor polynomial of degree up to
    /// 18 is taken of m / 2^s, with a backward error below eps of the norm, and squared s times; degree and s go by the
    /// norms of m's powers. Rows of zeros at the bottom, as the inputs of a model with a hold have, cost nothing. Where
    /// that overflows, the diagonal Padé approximant of degree 6 gives the result, scaled to a largest absolute row sum
    /// below 1/2, where its backward error is below 3.4e-16 of the norm.
    ///
    /// The relative error is about eps times the norm of the shifted m where m is normal. Elsewhere the condition of
    /// the exponential stands before it: far from normal, that may be the square of the result's norm. An eigenvalue
    /// whose real part exceeds the mean by more than 709 overflows, whatever the mean; the result then holds infinities
    /// or NaN. NaN and infinity in a t are no failure either: the result is NaN. A 1 by 1 matrix gives std::exp of its
    /// element.
    ///
    /// Throws xmsg 10 "Matrix / Type" for a matrix without rows, xmsg 5 "Matrix - Matrix" for one that is not square.
    /// Sources: P. Bader, S. Blanes, F. Casas, "Computing the matrix exponential with an optimized Taylor polynomial
    /// approximation", Mathematics 7 (2019), 1174; C. Moler, C. Van Loan, "Nineteen dubious ways to compute the
    /// exponential of a matrix, twenty-five years later", SIAM Rev. 45 (2003), 3-49, method 3. Cost: at most 5 matrix
    /// products, and one for each squaring; beyond overflow 6, a singular value decomposition of order n and one for
    /// each binary digit of the norm.
    static QorMathLA::MatrixSoft<double> ExpM(const Matrix<double>& a, double t);

    /// The exponential of a complex square matrix. It differs from the real one in this: there is no shift, so that an
    /// eigenvalue with a real part beyond 709 overflows; the quotient of the approximant comes from an LU
    /// factorisation; and an empty matrix gives an empty one. Throws xmsg 5 "Matrix + Matrix" for a matrix that is not
    /// square.
    static ComplexMatrix<double> ExpM(const ComplexMatrix<double>& a);

    /// The principal logarithm of a real square matrix: exp of the result is a, and its eigenvalues have imaginary
    /// parts from -pi to pi. It is complex where a has negative eigenvalues, and real up to rounding elsewhere.
    ///
    /// Where no eigenvalue is zero or negative, or next to it, the result comes from square roots of the real Schur
    /// form and a Padé approximant, provided that the repeated square of the root gives the form back to 1000 eps: a
    /// result that is real, and as good for repeated eigenvalues as for any.
    ///
    /// Elsewhere Parlett's recurrence on the complex Schur form divides by the differences of eigenvalues and so loses
    /// digits where two lie close together. It estimates its own error as eps times the largest column sum above the
    /// diagonal of the Schur form, divided by the smallest difference. An estimate beyond 1000 eps is checked by the
    /// relative residual of the exponential, in the largest row sum; if that is beyond 1000 eps too, the recurrence is
    /// run once more on a, rotated by a fixed orthogonal matrix, and that result stands, good or bad: a Jordan block of
    /// order 2 comes out to about root, several equal eigenvalues of which some are coupled to a few digits or none.
    ///
    /// An eigenvalue computed as zero gives infinite or NaN elements, as does overflow in the recurrence. Throws the
    /// int -1 if a is not square, holds NaN or infinity, or the Schur form fails. An empty matrix gives an empty one.
    /// Sources: A. H. Al-Mohy, N. J. Higham, "Improved inverse scaling and squaring algorithms for the matrix
    /// logarithm", SIAM J. Sci. Comput. 34 (2012), C153-C169; B. N. Parlett, "A recurrence among the elements of
    /// functions of triangular matrices", Linear Algebra Appl. 14 (1976), 117-121. Cost: a real Schur form and about
    /// 6 n^3 flops; by the recurrence a complex Schur form and n^3 / 3 complex operations, with a retry three times as
    /// much and an exponential.
    static ComplexMatrix<double> LogM(const Matrix<double>& a);

    // ---------------------------------------------------------------- equations

    /// Solves a x + x b + c = 0 for x (m by n), with a of m by m and b of n by n. There is one solution when no
    /// eigenvalue of a is minus one of b. x is replaced; it may be one of the operands. Without elements in c it has
    /// none.
    ///
    /// Throws the int -1 if a Schur form fails (a or b with fewer columns than rows, with NaN or infinity), and x is
    /// then unchanged; the int -1 if eigenvalues are so close that the equation was perturbed to solve it, by DTRSYL's
    /// judgement on the whole Schur forms, and x is then the solution of the perturbed equation; xmsg 5 if the orders
    /// do not fit. A solution beyond about 1e280 comes out smaller by a common factor, which is not told. NaN and
    /// infinity in c go into x.
    ///
    /// R. H. Bartels, G. W. Stewart, "Solution of the matrix equation AX + XB = C", Comm. ACM 15 (1972). Cost:
    /// 25 (m^3 + n^3) operations for the Schur forms and 6 m n (m + n) for the rest.
    static void SylvesterEquation(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                  const Matrix<double>& c);

    /// Solves a x + x a' + q = 0, with the failures of SylvesterEquation(x, a, a', q). A symmetric q gives an x that is
    /// symmetric up to rounding; with a stable a and a positive semi-definite q it is positive semi-definite up to
    /// rounding.
    ///
    /// One Schur form serves for a and a' where no two eigenvalues of a have a sum near 0; SylvesterEquation solves
    /// what is nearer, see "Faster routes" in ARCHITECTURE.md. Cost: 25 n^3 operations for a Schur form and 7 to 14 n^3
    /// for the rest, or that of SylvesterEquation.
    static void ContinuousLyapunov(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& q);

    /// Solves a x a' - x + q = 0. There is one solution when no product of two eigenvalues of a is 1. x is replaced; it
    /// may be one of the operands.
    ///
    /// With m = (a + i)^-1 (a - i), i being the identity, the equation becomes m x + x m' + (i - m) q (i - m') / 2 = 0,
    /// which SylvesterEquation solves. Where anything on this way fails, above all where a + i is singular to working
    /// precision, a' x a - x + q = 0 is solved instead, by LyapunovHelper, with a not transposed; its failures are
    /// thrown: the int -1 if that equation is singular to working precision, if q is not of the order of a, or if a
    /// holds NaN or infinity. x is then -q. NaN and infinity in q alone go into x.
    ///
    /// Where a + i is regular and no two eigenvalues of a have a product near 1, the same equation is solved from one
    /// Schur form of a itself, see "Faster routes" in ARCHITECTURE.md, and the residual is of rounding size. Otherwise
    /// it grows with the condition of a + i, that is with an eigenvalue near -1. Cost: 25 n^3 operations for a Schur
    /// form and 8 to 15 n^3 for the rest, or that of SylvesterEquation with m and m', and 7 n^3.
    static void DiscreteLyapunov(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& q);

    /// The continuous algebraic Riccati equation q + a' x + x a - g r^+ g' = 0, where g = x b + s and r^+ is
    /// pseudoInverse(r, -1.0). q and r are symmetric. The wanted solution makes a - b r^+ g' stable; it exists if (a,
    /// b) is stabilisable and no closed-loop eigenvalue is on the imaginary axis, and then there is one.
    ///
    /// a and q are n by n, b and s n by m, r m by m. x is n by n on entry and none of the operands.
    /// riccatiSchurNewton: the direct solution, refined by Newton's iteration; where there is none, and no word of it,
    ///   Newton from the start value.
    /// riccatiNewton: Newton from what x holds on entry, whatever useInitial says.
    /// riccatiSchur: the direct solution alone; no start value is looked at. Throws the int -1 where there is none; x
    ///   then is as it was.
    /// The start value is what x holds on entry if useInitial is set, else one that is drawn at random, the same at
    /// every call: x' x + 10 i, with x from randomize, which seeds the C library's generator.
    ///
    /// The iteration makes at most 30 steps and ends when the largest element of the residual is below 1e-15 times
    /// that of x, or times 1 if that is larger. It returns its last x, or its first if the last residual is larger than
    /// the first; it does not report that it has not converged. From a start whose closed loop is not stable it may
    /// find another solution, or none. Where q, r and its start are symmetric to the bit, so are its residuals and
    /// iterates.
    ///
    /// Throws the int -1 if a step fails, as at a closed loop with two eigenvalues of sum 0; xmsg 9 for a transposed
    /// operand of the direct solution, xmsg 5 for shapes that do not fit (int -1 from riccatiSchur), xmsg 11 for NaN
    /// and infinity in r (int -1 from riccatiSchur), the int -1 for them elsewhere.
    ///
    /// Source: A. J. Laub, "A Schur method for solving algebraic Riccati equations", IEEE Trans. Automat. Control 24
    /// (1979); P. Van Dooren, "A generalized eigenvalue approach for solving Riccati equations", SIAM J. Sci. Stat.
    /// Comput. 2 (1981); D. L. Kleinman, "On an iterative technique for Riccati equation computations", IEEE Trans.
    /// Automat. Control 13 (1968). Cost: about 350 n^3 operations, and 40 n^3 for each step of Newton.
    static void ContinuousRiccati(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                  const Matrix<double>& q, const Matrix<double>& r, const Matrix<double>& s,
                                  bool useInitial, const riccatiMethod& method);

    /// The same with s = 0.
    static void ContinuousRiccati(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                  const Matrix<double>& q, const Matrix<double>& r, bool useInitial,
                                  const riccatiMethod& method);

    /// The discrete algebraic Riccati equation a' x a - x + q - g (r + b' x b)^+ g' = 0, where g = a' x b + s. r may be
    /// singular. The wanted solution puts the eigenvalues of a - b (r + b' x b)^+ g' inside the unit circle.
    ///
    /// As ContinuousRiccati, with these differences. riccatiNewton draws the start at random unless useInitial is set.
    /// The iteration goes by Frobenius norms, looks at most at 30 values of x, each before it is improved, and returns
    /// the one with the smallest residual, the start included. A step that fails ends it and is not reported. xmsg 11
    /// comes for NaN and infinity in r + b' x b at the start; those in a, q and s alone leave the start as the result.
    ///
    /// Source: besides those above, G. A. Hewer, "An iterative technique for the computation of the steady state gains
    /// for the discrete optimal regulator", IEEE Trans. Automat. Control 16 (1971); E. K.-W. Chu, H.-Y. Fan, W.-W. Lin,
    /// C.-S. Wang, "Structure-preserving algorithms for periodic discrete-time algebraic Riccati equations", Int. J.
    /// Control 77 (2004).
    static void DiscreteRiccati(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                const Matrix<double>& q, const Matrix<double>& r, const Matrix<double>& s,
                                bool useInitial, const riccatiMethod& method);

    /// The same with s = 0.
    static void DiscreteRiccati(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                                const Matrix<double>& q, const Matrix<double>& r, bool useInitial,
                                const riccatiMethod& method);

    // ---------------------------------------------------------------- sample-time conversion

    /// Carries the matrices of a continuous model to discrete time, in place. a is n by n, b n by m, c p by n and d
    /// p by m; sampleTime is in the unit of time of a.
    ///
    /// zeroOrderHold: the inputs stay between the samples, where the result is exact: with E the exponential of
    /// [a b; 0 0] sampleTime, a and b become the top blocks of E; c and d stay. Nothing is inverted, so that
    /// integrators are nothing special. The error is about eps times the norm of a sampleTime, that of the fastest
    /// mode. Any other type: Tustin's rule, s = (2 / sampleTime) (z - 1) / (z + 1), which changes all four. The
    /// frequency response at w becomes that of the continuous model at (2 / sampleTime) tan(w sampleTime / 2).
    ///
    /// With zeroOrderHold throws xmsg 5 "Matrix appendToRight" or "Matrix appendToBottom" where a and b do not fit, and
    /// the failures of ExpM; NaN and infinity, the sample time's too, go into the result. Otherwise throws xmsg 9 for a
    /// transposed matrix, and the int -1 if the shapes do not fit, sampleTime is zero or not finite, a is not finite,
    /// or has an eigenvalue at 2 / sampleTime to working precision; the matrices are then unchanged. A model without
    /// states stays as it is.
    /// Source: C. F. Van Loan, "Computing integrals involving the matrix exponential", IEEE Trans. Autom. Control 23
    /// (1978), 395-404; A. Tustin, "A method of analysing the behaviour of linear systems in terms of time series",
    /// J. IEE 94 (1947), 130-142.
    static void Continuous2Discrete(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                                    double sampleTime, const conversionType& type);

    /// Carries the matrices of a discrete model to continuous time, in place; undoes Continuous2Discrete.
    ///
    /// zeroOrderHold: a and b become the top blocks of the real part of log([a b; 0 I]) / sampleTime. A negative real
    /// eigenvalue has no real logarithm: each gets a further state, and with it a becomes a pair 10 root times the
    /// eigenvalue off the real axis, which has one; b gets zero rows for these states and c zero columns. The order
    /// grows by their number. An eigenvalue within 0.01 of 1 (an integrator, or a slow pole) meets those of the inputs
    /// there, which the logarithm by itself cannot tell apart: such states are decoupled first, and theirs comes from
    /// the power series of log(1 + x). Eigenvalues elsewhere that lie close together cost digits; see LogM. d stays.
    ///
    /// With zeroOrderHold the sample time is not looked at: NaN gives NaN, infinity zeros.
    ///
    /// With zeroOrderHold throws the int -1 if an eigenvalue has a modulus below root, which no continuous model has
    /// (a, b and c are then left balanced, see BalanceABC), and the failures of BalanceABC, SchurDecomposition and
    /// LogM. Otherwise the failures of Continuous2Discrete, with an eigenvalue at -1 in place of 2 / sampleTime.
    static void Discrete2Continuous(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                                    double sampleTime, const conversionType& type);

    /// Carries the matrices of a discrete model from one sample time to another, in place. If the new sample time is a
    /// whole multiple q of the old, to within root, a becomes a^q and b the sum of a^i b for i from 0 to q - 1,
    /// whatever the type: the inputs stay for q old samples. c and d stay, and with q of 1 or 0 everything does.
    /// Otherwise the way leads through continuous time, by Discrete2Continuous and Continuous2Discrete with their
    /// failures, and with zeroOrderHold the order may grow. Throws xmsg 5 "Matrix appendToRight" or "Matrix
    /// appendToBottom" where a and b do not fit.
    static void Resample(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                         double oldSampleTime, double newSampleTime, const conversionType& type);

    // ---------------------------------------------------------------- structure

    /// Which states of (a, b) the inputs do not reach: flags has an entry for each state, 1 if it is free of the
    /// uncontrollable part and 0 if it is touched by it, an exact test; count is the order of the uncontrollable part.
    /// tol is the tolerance of the rank decisions, relative to the larger norm of the pair; 0 or below means n eps.
    static void Controllability(const Matrix<double>& a, const Matrix<double>& b, Vector<int>& flags, int& count,
                                double tol);

    /// Which states of (a, c) the outputs do not show; as Controllability on the dual pair.
    static void Observability(const Matrix<double>& a, const Matrix<double>& c, Vector<int>& flags, int& count,
                              double tol);

    /// As Observability; unstable tells how many eigenvalues of the unobservable part have a modulus of at least
    /// 1 - tol. The test is that of a discrete model, whatever the pair describes.
    static void Detectability(const Matrix<double>& a, const Matrix<double>& c, Vector<int>& flags, int& count,
                              int& unstable, double tol);

    // ---------------------------------------------------------------- conditioning

    /// Brings a model to minimal form: states that do not connect inputs with outputs go, poles near the stability
    /// limit move onto it, and A becomes block diagonal with the marginal and unstable modes, themselves cut to their
    /// controllable and observable core, ahead of the stable ones.
    ///
    /// report becomes seven counts: states removed; states of the leading block; diagonal elements of A equal to 1.0
    /// exactly (integrators of a discrete model); stable states; eigenvalues below delayTolerance in modulus (discrete
    /// models only); suggested coarse order and fine order: the states at entry, less those taken out of the leading
    /// block, less one for each Hankel singular value below 0.005, respectively 1e-5, times the largest.
    ///
    /// A negative tolerance asks for its default: stabilityTolerance root; delayTolerance root, and never less;
    /// rampTolerance that of stabilityTolerance, and never less than root. A pole counts as marginal or unstable from
    /// a modulus of 1 - stabilityTolerance, in a continuous model from a real part of -stabilityTolerance.
    ///
    /// Throws the int -1 if the reduction or the Schur form fails, and the errors of the core. The model is then left
    /// at the stage that it had reached, the report unchanged.
    static void MinimalRealization(LTIStateSpaceModel& model, Vector<int>& report, double stabilityTolerance,
                                   double delayTolerance, double rampTolerance);

    /// Reduces the stable part of (a, b, c, d) by balanced truncation, in place. Eigenvalues on or beyond alpha, a
    /// modulus in a discrete and a real part in a continuous system, stay unreduced in a leading block, in real Schur
    /// form; a becomes block diagonal. hsv becomes the Hankel singular values of the stable part, largest first.
    ///
    /// order is that of the whole result; 0 or less keeps what lies above residualTolerance, and 0.0 or less for that
    /// asks for ns * eps * the largest Hankel singular value, ns being the order of the stable part. An alpha below
    /// -0.9 stands for the default, 1 - root in a discrete system and -root in a continuous one.
    ///
    /// Throws the int -1 for a type other than reductionBalanced and reductionBalancedShrink (the system is then
    /// unchanged, hsv resized) and if the reduction fails; xmsg 9 for a transposed matrix. The matrices must be whole
    /// and packed. The error of the reduced system is at most twice the sum of the discarded Hankel singular values.
    static void ModelReduction(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                               Vector<double>& hsv, const reductionType& type, const systemType& sysType, int order,
                               double alpha, double residualTolerance);

    /// Scales the states of (a, b, c) by powers of two so as to reduce the norm of the system, in place: with S the
    /// diagonal matrix of scale, a becomes S^-1 a S, b becomes S^-1 b and c becomes c S. maxReduction limits the
    /// reduction. Throws the int -1 if the routine fails, xmsg 9 for a transposed matrix.
    static void BalanceABC(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Vector<double>& scale,
                           double maxReduction);

    /// Splits a model into a stable and an unstable part whose sum is the model's minimal realisation. A pole counts
    /// as unstable from a modulus of 1 + tolerance, in a continuous model from a real part of tolerance; a negative
    /// tolerance is taken as it stands and moves the limit inwards; with NaN no pole is unstable. The feedthrough stays
    /// with the stable part, and is lost if no state is stable. stable may be the model itself. No gain is corrected.
    static void RemoveUnstable(LTIStateSpaceModel& model, LTIStateSpaceModel& stable, LTIStateSpaceModel& unstable,
                               double tolerance);

    /// Splits a model into its ramps (modes at exactly 1.0 after minimal realisation) and the rest, which stays in
    /// model. Without ramps nothing is changed. The feedthrough stays with model, except where all states are ramps.
    static void RemoveRamps(LTIStateSpaceModel& model, LTIStateSpaceModel& ramps);

    /// Cuts a model of marginal modes to its controllable and observable core, clears its feedthrough and sets
    /// elements below root to zero. In a discrete model every diagonal element of A becomes 1.0. Throws the int -1 for
    /// NaN and infinity in A, B or C, and the model is then unchanged.
    static void ShrinkRamps(LTIStateSpaceModel& model, double tolerance);

    /// Adds a small fast parallel model where the steady-state gain differs from targetGain by more than gainTolerance
    /// percent of the target (never less than root, absolutely). The correction of n outputs that need one acts on the
    /// first n outputs of the model. realizationTolerance is the first tolerance of the MinimalRealization of the
    /// sum, which is kept if it saves states. The model must not have a pole at the stability limit.
    ///
    /// Throws what gain and MinimalRealization throw. A NaN is no difference: where a gain or its target is NaN the
    /// element by itself asks for no correction, and one that other elements of its row ask for fails with the int -1,
    /// as does one for an infinite difference.
    static void RetainGain(LTIStateSpaceModel& model, const Matrix<double>& targetGain, double realizationTolerance,
                           double gainTolerance);

    /// Takes the lightly damped modes out of a model: each mode with a damping ratio |Re s| / |s| of at most
    /// dampingLimit is replaced by its steady-state effect on the modes that stay (residualisation). A discrete model
    /// is judged at s = ln(z) / |sampleTime|, so that a pole on the negative real axis rings as well. Ramps are set
    /// aside first and are not judged; they come back as the leading states.
    ///
    /// D stays as it is, so that the steady-state gain changes unless gainTolerance, the percent tolerance of
    /// RetainGain, is at least 0. A mode at the origin has no ratio, be it a delay of a discrete or an integrator of a
    /// continuous model: it goes, without residualisation, where another mode rings.
    ///
    /// If no mode is at or below the limit, the model keeps its other modes as they are but loses its ramps: a caller
    /// who has ramps takes them out beforehand. Throws what ModelReduction, SchurDecomposition, gain and RetainGain
    /// throw; the model has then lost its ramps.
    /// Source: K. V. Fernando, H. Nicholson, "Singular perturbational model reduction of balanced systems", IEEE
    /// Trans. Autom. Control 27 (1982).
    static void RemoveRingers(LTIStateSpaceModel& model, double dampingLimit, double gainTolerance);

    /// A smaller model of the same process: minimal, its unstable and marginal part whole, the stable part reduced by
    /// balanced truncation, rid of its ringers (RemoveRingers with dampingLimit), its gain restored (RetainGain with
    /// gainTolerance percent, not if negative), the sum in real Schur form, the unstable modes leading, elements below
    /// root / 10 cleared. model is not changed.
    ///
    /// order asks for a number of states of the whole, at most what the minimal realisation has; -1 for the middle of
    /// its two suggestions, -2 for the coarse one, any other negative number for the fine one. It returns as the order
    /// that was asked of the stable part; RetainGain may have added states to it, and RemoveRingers have taken some.
    /// If nothing is asked of the stable part its gain takes the place of D, and nothing else is done.
    ///
    /// stabilityTolerance and delayTolerance are those of MinimalRealization. A negative stabilityTolerance stands for
    /// its default there only: the later stages use it as it is. A tolerance below root, 0.0 for one, leaves modes in
    /// the stable part that are ramps to RemoveRingers, which then loses them if no mode rings.
    ///
    /// Throws the int -1 if a reduction fails or the gain of the stable part does not exist or cannot be restored: at a
    /// pole at the stability limit, and in a continuous model of which ringers alone were left. xmsg 5 where a gain
    /// should be restored and all was lost as ramps. order may have been written.
    static LTIStateSpaceModel Shrink(const LTIStateSpaceModel& model, int& order, double stabilityTolerance,
                                     double delayTolerance, double gainTolerance, double dampingLimit);

  private:
    static void SchurDecompositionHelper(const Matrix<double>& a, Matrix<double>& t, Matrix<double>& q,
                                         Vector<double>& wr, Vector<double>& wi, const schurOrder& order);
    static void PseudoRamp2Ramp(LTIStateSpaceModel& model, double tolerance);

    /// Solves a' x + x a + c = 0, or a' x a - x + c = 0 for discreteSystem. x becomes -c first and, on success, the
    /// solution; it is symmetric to the bit if c is. x may not be a. Throws xmsg 9 if a is a transposed view, and the
    /// int -1 if c is not of the order of a or LYAPUNOVFORT fails: two eigenvalues of a have the sum 0, or the product
    /// 1, to working precision, x would overflow, or an operand holds NaN or infinity.
    static void LyapunovHelper(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& c,
                               const systemType& type);
    static void ParlettsLog(const Matrix<double>& a, ComplexMatrix<double>& f, double& err);
    static void Continuous2Discrete_ZOH(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                                        double sampleTime);
    static void Discrete2Continuous_ZOH(Matrix<double>& a, Matrix<double>& b, Matrix<double>& c, Matrix<double>& d,
                                        double sampleTime);

    /// RICCATIFORT on whole, packed arrays; returns its info, or -1 if an operand is not of the order of a and the
    /// inputs of b. x is written on success alone. Throws xmsg 9 if an operand is a transposed view.
    static int RiccatiHelper(Matrix<double>& x, const Matrix<double>& a, const Matrix<double>& b,
                             const Matrix<double>& q, const Matrix<double>& r, const Matrix<double>& s,
                             const systemType& type);

    friend struct QorMathControlTestAccess;
};
