#pragma once

/// @file
/// Models as step-response curves.

#include <string>

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/export.h>
#include <qormath/models/lti_state_space_model.hpp>

/// A model of a multi-variable process as a table of step-response curves, one of equally spaced coefficients for each
/// pair of an input and an output. Rows of the table are inputs and columns outputs; gain matrices and state-space
/// models have it the other way round.
///
/// A curve is empty, which stands for zeros, or has coefficientCount + 1 elements: element 0 is its start, the others
/// are the coefficients. The last one is the steady-state gain. On a ramp output the curve keeps rising, and the
/// difference of its last two elements is what counts as the gain. The sample time is horizonSeconds divided by
/// coefficientCount.
///
/// Plain values: nothing is checked at construction. Curves and flags that are shorter than the sizes of the table say
/// are an error of the caller.
class QORMATH_API LTIFIRModel {
  public:
    /// No inputs, no outputs, no coefficients.
    LTIFIRModel();

    ///@{
    /// Deep copies.
    LTIFIRModel(const LTIFIRModel& other);
    LTIFIRModel(LTIFIRModel&& other);
    LTIFIRModel(const QorMathLA::Matrix<QorMathLA::Vector<double>>& coefficients,
                const QorMathLA::Vector<bool>& rampFlags, int coefficientCount, int horizonSeconds,
                const QorMathLA::Vector<std::string>& inputNames, const QorMathLA::Vector<std::string>& outputNames,
                const QorMathLA::Vector<std::string>& inputDescriptors,
                const QorMathLA::Vector<std::string>& outputDescriptors);
    ///@}

    /// Simulates a unit step on each input of a discrete system. Everything but the curves is the reference's; its
    /// curves are not read, and the system's sysType and sampleTime neither. The output is taken after the state has
    /// moved: element k of a curve is the response at sample k + 1, and element 0 is D u + C B u. Throws xmsg 5
    /// "Matrix * Vector" or "Vector + Vector" if the system's matrices do not fit.
    LTIFIRModel(const LTIStateSpaceModel& system, const LTIFIRModel& reference);

    ~LTIFIRModel();

    ///@{
    /// Deep copies of the eight fields.
    LTIFIRModel& operator=(const LTIFIRModel& other);
    LTIFIRModel& operator=(LTIFIRModel&& other);
    ///@}

    /// A new model of deep copies of the eight fields.
    LTIFIRModel CreateCopy();

    /// Address of element 1 of the curve of an output and an input of the LTIFIRModel that model points to, the first
    /// of its coefficients; null if the curve is empty. The callback of firWriteCurves.
    static const double* GetCoeffPointer(void* model, int output, int input);

    /// Steady-state gains, outputs by inputs: the last element of a curve, on a ramp output its last step, 0.0 for an
    /// empty curve.
    QorMathLA::Matrix<double> GetGain();

    /// Replaces the model by that of a model file. False if the file cannot be read or is damaged; the model may then
    /// be partly replaced. Texts come back in upper case and without trailing blanks, the coefficients held to seven
    /// significant digits, except the last, which carries the full precision of the file's gain.
    bool ReadModel(char* fileName);

    /// Writes the model as a version 9896 file. False if it cannot be written. Throws the int -1, before the file is
    /// touched, unless coefficientCount is at least 30 and a multiple of 30, 45, 75 or 105. NaN and infinity are
    /// written as "nan" and "inf", which ReadModel takes. A text of more than 12 characters stops the process.
    bool WriteModel(char* fileName);

    /// Realises the curves as a discrete state-space model, whose simulation by the constructor above gives them back.
    /// With retainGain set its gain is that of the curves. An order above 0 is the wanted one (the realisation has one
    /// state more), otherwise it comes from the singular values, those at least 1e-5 times the largest; a ramp output
    /// adds an integrator. singularValues, unless null, receives all singular values. Unstable modes are dropped. The
    /// sample time is the integer quotient of horizonSeconds and coefficientCount.
    /// Throws the int -1 for a model of fewer than 10 coefficients and if a step below fails, xmsg 11 "Matrix SVD"
    /// for curves that are not finite, as of an output without any; the int -1 where only the last coefficient, which
    /// is the gain, is not finite.
    /// Source: S. Y. Kung, "A new identification and model reduction algorithm via singular value decomposition",
    /// 12th Asilomar Conference (1978).
    LTIStateSpaceModel CreateStateSpaceModel(bool retainGain, int order, QorMathLA::Vector<double>* singularValues);

    /// The realisation of a Markov matrix, as CreateMarkovMatrix gives it. Unless null, outputScale multiplies the
    /// rows of C and D, and inputScale the columns of B and D. The sample time is the exact quotient, or 1.0 if there
    /// is a ramp output.
    LTIStateSpaceModel CreateStateSpaceModel(QorMathLA::Matrix<double>& markov, bool retainGain, int order,
                                             QorMathLA::Vector<double>* singularValues,
                                             QorMathLA::Vector<double>* outputScale,
                                             QorMathLA::Vector<double>* inputScale);

    /// The Markov matrix: outputs by (coefficientCount + 2) blocks of the inputs; block 0 is zero, block t + 1 the
    /// change of each curve from element t - 1 to t, differenced once more in the row of a ramp output. outputScale,
    /// unless null, receives the factors 1 / peak by which the rows have been multiplied; inputScale, unless null, is
    /// multiplied into the columns, or chosen from the gains if its length is not the number of inputs.
    QorMathLA::MatrixSoft<double> CreateMarkovMatrix(QorMathLA::Vector<double>* outputScale,
                                                     QorMathLA::Vector<double>* inputScale);

    /// The Gram matrix of the block Hankel matrix of a Markov matrix, with one block row more, (blockCount + 1) q by
    /// blockCount q for q rows of markov: block (a, b) is the sum of Z(t + a) Z(t + b)' over t from 1 to T - 1, with
    /// Z(t) the blocks, T = Nb - blockCount and Nb their number. feedthrough becomes Z(0). Throws the int -1 if T - 1
    /// is below 1.
    QorMathLA::MatrixSoft<double> CreateHankelMatrix(QorMathLA::Matrix<double>& markov, int blockWidth, int blockCount,
                                                     QorMathLA::Matrix<double>& feedthrough);

    /// Stacks the blocks of a row of blocks (columnsToRows, each blockWidth wide), or lays out a stack of blocks, each
    /// blockHeight high, in a row of blocks. A blockCount below 1 gives the zero matrix.
    QorMathLA::MatrixSoft<double> BlockTransposition(QorMathLA::Matrix<double>& source, bool columnsToRows,
                                                     int blockHeight, int blockCount, int blockWidth);

    QorMathLA::Matrix<QorMathLA::Vector<double>> coefficients;  ///< inputs by outputs, each a curve
    QorMathLA::Vector<bool> rampFlags;                          ///< for each output, true marks a ramp
    int coefficientCount = 0;                                   ///< time steps of a curve
    int horizonSeconds = 0;                                     ///< time span of a curve, in whole seconds
    QorMathLA::Vector<std::string> inputNames;                  ///< for each input, at most 12 characters in a file
    QorMathLA::Vector<std::string> outputNames;                 ///< for each output
    QorMathLA::Vector<std::string> inputDescriptors;            ///< for each input, a text that says what it is
    QorMathLA::Vector<std::string> outputDescriptors;           ///< for each output
};
