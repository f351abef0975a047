#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <utility>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/models/detail/gram_factors.hpp>
#include <qormath/models/lti_fir_model.hpp>

using qormath::models::GramFactors;
using qormath::models::gramFactors;
using qormath::models::shiftedBetweenVectors;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

const Range all(-1, -1, 1);

// A third of the curve fills the block rows of the Hankel matrix; more than 30 of them cost time and add nothing.
constexpr int leastBlockRows = 10;
constexpr int mostBlockRows = 30;

// Singular values of the Gram matrix, the squares of those of the Hankel matrix, count down to this fraction of the
// largest.
constexpr double relativeCut = 1e-5;

// An input whose gains are all below this keeps its unit.
constexpr double leastGainPeak = 1e-5;

/// The blocks first to last of a row of blocks of the given width.
MatrixSoft<double> blocksOf(const Matrix<double>& row, int width, int first, int last) {
    return row(all, Range(first * width, (last + 1) * width - 1, 1));
}

Range blockRange(int index, int size) {
    return Range(index * size, (index + 1) * size - 1, 1);
}

/// The largest gain of each input; 1.0 where there is nothing to scale by.
Vector<double> inputScaleFromGains(const Matrix<double>& gains) {
    Vector<double> scale(gains.cols());
    for (int input = 0; input < gains.cols(); ++input) {
        const double peak = gains.column(input).maxAbs();
        scale[input] = peak > leastGainPeak ? peak : 1.0;
    }
    return scale;
}

/// Replaces the entries of a ramp output by their differences, which removes the ramp from the response.
void differenceAgain(Matrix<double>& markov, int output, int input, int inputs, int lastBlock) {
    for (int i = 0; i < lastBlock; ++i) {
        markov(output, i * inputs + input) =
            markov(output, (i + 1) * inputs + input) - markov(output, i * inputs + input);
    }
    if (lastBlock > 0) {
        markov(output, lastBlock * inputs + input) = markov(output, (lastBlock - 1) * inputs + input);
    }
}

Vector<double> reciprocals(const Vector<double>& values) {
    const Vector<double> ones = values.filled(1.0);
    return ones / values;
}

Vector<double> squareRoots(const Vector<double>& values, int count) {
    Vector<double> roots(count);
    for (int i = 0; i < count; ++i) {
        roots[i] = std::sqrt(values[i]);
    }
    return roots;
}

/// One state more than the wanted order, or than the singular values above the cut, as far as there are values.
int realisationOrder(const Vector<double>& singularValues, int order) {
    const int available = singularValues.size();
    int count = 0;
    if (order > 0) {
        count = std::min(order, available);
    } else {
        while (count < available && singularValues[count] >= singularValues[0] * relativeCut) {
            ++count;
        }
    }
    return std::min(count + 1, available);
}

bool hasRamp(const Vector<bool>& rampFlags) {
    for (const bool ramp : rampFlags) {
        if (ramp) {
            return true;
        }
    }
    return false;
}

// The columns of so many blocks of a width. No matrix has more than an int numbers, here nor without the first block.
int columnsOfBlocks(std::int64_t blocks, int width) {
    const std::int64_t columns = blocks * width;
    if (!std::in_range<int>(columns) || !std::in_range<int>(columns - width)) {
        throw std::bad_alloc();
    }
    return static_cast<int>(columns);
}

}  // namespace

LTIStateSpaceModel LTIFIRModel::CreateStateSpaceModel(bool retainGain, int order, Vector<double>* singularValues) {
    Vector<double> scale;
    Matrix<double> markov;
    markov = Matrix<double>(CreateMarkovMatrix(&scale, nullptr));
    scale = reciprocals(scale);
    LTIStateSpaceModel result = CreateStateSpaceModel(markov, retainGain, order, singularValues, &scale, nullptr);
    result.sampleTime = horizonSeconds / coefficientCount;
    return result;
}

LTIStateSpaceModel LTIFIRModel::CreateStateSpaceModel(Matrix<double>& markov, bool retainGain, int order,
                                                      Vector<double>* singularValues, Vector<double>* outputScale,
                                                      Vector<double>* inputScale) {
    const int inputs = coefficients.rows();
    const int outputs = coefficients.cols();
    const int blockRows = std::clamp(coefficientCount / 3, leastBlockRows, mostBlockRows);
    const int size = blockRows * outputs;
    Matrix<double> d;
    const Matrix<double> gram = CreateHankelMatrix(markov, inputs, blockRows, d);
    Matrix<double> withoutFeedthrough(markov(all, Range(inputs, markov.cols() - 1, 1)));
    const Matrix<double> stacked = BlockTransposition(withoutFeedthrough, true, outputs, blockRows, inputs);

    const auto states = [&](const Vector<double>& s) { return realisationOrder(s, order); };
    const GramFactors factors = gramFactors(gram(Range(0, size - 1, 1), all), states);
    if (singularValues != nullptr) {
        *singularValues = factors.s;
    }

    const Vector<double> roots = squareRoots(factors.s, factors.v.cols());
    const Vector<double> inverseRoots = reciprocals(roots);
    const MatrixSoft<double> ut = factors.u.transpose();
    const Matrix<double>& vk = factors.v;
    const Matrix<double> a =
        shiftedBetweenVectors(gram, outputs, factors).scaleColumnsBy(inverseRoots).scaleRowsBy(inverseRoots);
    Matrix<double> b = QorMathLA::product(ut, stacked).scaleRowsBy(inverseRoots);
    Matrix<double> c = vk(Range(0, outputs - 1, 1), all).scaleColumnsBy(roots);
    if (outputScale != nullptr) {
        c = c.scaleRowsBy(*outputScale);
        d = d.scaleRowsBy(*outputScale);
    }
    if (inputScale != nullptr) {
        b = b.scaleColumnsBy(*inputScale);
        d = d.scaleColumnsBy(*inputScale);
    }

    LTIStateSpaceModel model(a, b, c, d, discreteSystem, static_cast<double>(horizonSeconds) / coefficientCount);
    LTIStateSpaceModel result;
    LTIStateSpaceModel dropped;
    QorMathControl::RemoveUnstable(model, result, dropped, std::sqrt(qormath::lapack::machineEpsilon()));
    if (retainGain) {
        QorMathControl::RetainGain(result, GetGain(), 0.0, 0.0);
    }
    if (hasRamp(rampFlags)) {
        constexpr double integratorSampleTime = 1.0;
        result = LTIStateSpaceModel(rampFlags, discreteSystem, integratorSampleTime) * result;
    }
    return result;
}

MatrixSoft<double> LTIFIRModel::CreateMarkovMatrix(Vector<double>* outputScale, Vector<double>* inputScale) {
    const int inputs = coefficients.rows();
    const int outputs = coefficients.cols();
    const int n = coefficientCount;
    const int columns = columnsOfBlocks(std::int64_t{n} + 2, inputs);
    Matrix<double> markov = zeroMatrix(outputs, columns - inputs);
    const bool scaleGiven = inputScale != nullptr && inputScale->size() == inputs;
    const Vector<double> columnScale = scaleGiven ? *inputScale : inputScaleFromGains(GetGain());
    Vector<double> peaks(outputs);
    peaks.fill(0.0);
    for (int input = 0; input < inputs; ++input) {
        for (int output = 0; output < outputs; ++output) {
            const Vector<double>& curve = coefficients(input, output);
            if (curve.size() == 0) {
                continue;
            }
            const double factor = inputScale != nullptr ? columnScale[input] : 1.0;
            for (int i = 0; i <= n; ++i) {
                const double change = (i == 0 ? curve[0] : curve[i] - curve[i - 1]) * factor;
                markov(output, i * inputs + input) = change;
                peaks[output] = std::max(peaks[output], std::fabs(rampFlags[output] ? change : curve[i]));
            }
            if (rampFlags[output]) {
                differenceAgain(markov, output, input, inputs, n);
            }
        }
    }
    if (outputScale != nullptr) {
        // An output without any curve has no peak; its row of NaN is found out by the decomposition.
        peaks = reciprocals(peaks);
        markov = markov.scaleRowsBy(peaks);
        *outputScale = peaks;
    }
    if (inputScale != nullptr) {
        *inputScale = columnScale;
    }
    Matrix<double> result = zeroMatrix(outputs, columns);
    result(all, Range(inputs, columns - 1, 1)) = markov;
    return result;
}

MatrixSoft<double> LTIFIRModel::CreateHankelMatrix(Matrix<double>& markov, int blockWidth, int blockCount,
                                                   Matrix<double>& feedthrough) {
    const int q = markov.rows();
    const int w = blockWidth;
    const int rows = blockCount;
    feedthrough = zeroMatrix(q, w);
    const int blocks = w < 1 ? 0 : markov.cols() / w;
    const int terms = blocks - rows - 1;
    if (terms < 1) {
        throw -1;
    }
    if (rows < 1) {
        return zeroMatrix(q, 0);
    }
    feedthrough = Matrix<double>(blocksOf(markov, w, 0, 0));
    Matrix<double> gram((rows + 1) * q, rows * q);
    const Matrix<double> stacked = BlockTransposition(markov, true, q, blocks, w);
    const auto part = [&](int a, int first, int last) {
        return gram(blockRange(a, q), Range(first * q, (last + 1) * q - 1, 1));
    };
    const auto stackedPart = [&](int first, int last) { return stacked(Range(first * q, (last + 1) * q - 1, 1), all); };
    const MatrixSoft<double> firstTerms = blocksOf(markov, w, 1, terms);
    for (int b = 0; b < rows; ++b) {
        part(0, b, b) = firstTerms * blocksOf(markov, w, b + 1, b + terms).transpose();
    }
    part(rows, 0, 0) = blocksOf(markov, w, rows + 1, rows + terms) * firstTerms.transpose();
    // The window of terms slides by one block along a diagonal: the first term leaves, then the next one enters. Blocks
    // first to last of row a slide at once.
    const auto slide = [&](int a, int first, int last) {
        const MatrixSoft<double> sum = part(a, first, last);
        part(a, first, last) = part(a - 1, first - 1, last - 1);
        addProduct(sum, -1.0, blocksOf(markov, w, a, a), stackedPart(first, last).transpose());
        addProduct(sum, 1.0, blocksOf(markov, w, a + terms, a + terms),
                   stackedPart(first + terms, last + terms).transpose());
    };
    for (int a = 1; a < rows; ++a) {
        slide(a, a, rows - 1);
    }
    for (int a = 0; a + 1 < rows; ++a) {
        const Range below((a + 1) * q, rows * q - 1, 1);
        gram(below, blockRange(a, q)) = part(a, a + 1, rows - 1).transpose();
    }
    if (rows > 1) {
        slide(rows, 1, rows - 1);
    }
    return gram;
}

MatrixSoft<double> LTIFIRModel::BlockTransposition(Matrix<double>& source, bool columnsToRows, int blockHeight,
                                                   int blockCount, int blockWidth) {
    const int height = columnsToRows ? source.rows() : blockHeight;
    const int width = columnsToRows ? blockWidth : source.cols();
    Matrix<double> result = zeroMatrix(height * blockCount, blockWidth);
    for (int b = 0; b < blockCount; ++b) {
        if (columnsToRows) {
            result(blockRange(b, height), all) = source(all, blockRange(b, width));
        } else {
            // Columns beyond the result are left out: a view is not checked against its block.
            const Range target(b * width, std::min((b + 1) * width, blockWidth) - 1, 1);
            result(all, target) = source(blockRange(b, height), all);
        }
    }
    return result;
}
