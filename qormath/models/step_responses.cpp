#include <cmath>

#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/models/detail/step_responses.hpp>

namespace qormath::models {
namespace {

using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::zeroMatrix;

const Range all(-1, -1, 1);

// The root mean square of the gains of a power, over all directions, up to which powers are taken. The rounding of a
// square is eps times the square of it, that of a step of the recursion eps times the gain: within the limit one digit
// lies between them at most, and stable models in balanced coordinates stay below 1.
constexpr double largestGain = 4.0;

// Blocks of more samples take longer to prepare than they save.
constexpr int longestBlock = 32;

// What the blocks must save before they are worth their powers.
constexpr double worthwhile = 0.8;

Range columnsOf(int index, int width) {
    return Range(index * width, (index + 1) * width - 1, 1);
}

/// Multiplications in blocks of the given length, a power of two, and in the recursion for a length of 1.
double work(double states, double inputs, double outputs, double samples, int length) {
    const double step = states * states * inputs;
    const double result = outputs * states * inputs * samples;
    if (length == 1) {
        return step * samples + result;
    }
    const double squares = std::log2(length) * states * states * states;
    return squares + length * (outputs * states * states + step) + step * samples / length + result;
}

int bestLength(int states, int inputs, int outputs, int samples) {
    const double plain = work(states, inputs, outputs, samples, 1);
    int best = 1;
    double least = worthwhile * plain;
    for (int length = 2; length <= longestBlock && length <= samples; length *= 2) {
        const double cost = work(states, inputs, outputs, samples, length);
        if (cost < least) {
            least = cost;
            best = length;
        }
    }
    return best;
}

bool isModest(const Matrix<double>& power) {
    return std::sqrt(power.sumSquares() / power.rows()) <= largestGain;  // false for NaN
}

/// The powers of a that double the block: a, a^2, a^4, ... up to a^length; false once one amplifies too much.
struct Powers {
    Matrix<double> rows;  // c a, c a^2, ... c a^length below each other
    Matrix<double> last;  // a^length

    bool form(const Matrix<double>& a, const Matrix<double>& c, int length) {
        rows = product(c, a);
        last = a;
        bool modest = isModest(last);
        for (int formed = 1; formed < length && modest; formed *= 2) {
            rows = rows.appendToBottom(product(rows, last));
            last = product(last, last);
            modest = isModest(last);
        }
        return modest;
    }
};

/// The states after each block, the first of which the recursion gives, side by side.
Matrix<double> statesAfterBlocks(const Matrix<double>& power, const Matrix<double>& first, int blocks) {
    const int inputs = first.cols();
    const Matrix<double> states(first.rows(), inputs * blocks);
    states(all, columnsOf(0, inputs)) = first;
    for (int block = 1; block < blocks; ++block) {
        // After a block the states are those before it, moved on, and what the inputs add within one block.
        MatrixSoft<double> target = states(all, columnsOf(block, inputs));
        target = first;
        addProduct(target, 1.0, power, states(all, columnsOf(block - 1, inputs)));
    }
    return states;
}

/// The transposes of blocks of the given width, side by side.
Matrix<double> transposedBlocks(const Matrix<double>& source, int width) {
    const int blocks = source.cols() / width;
    const int height = source.rows();
    const Matrix<double> result(width, height * blocks);
    for (int block = 0; block < blocks; ++block) {
        result(all, columnsOf(block, height)) = source(all, columnsOf(block, width)).transpose();
    }
    return result;
}

}  // namespace

StepResponse::StepResponse(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c)
    : a_(a),
      b_(b),
      c_(c),
      fromOutputs_(c.rows() < b.cols()),
      power_(c),
      sum_(fromOutputs_ ? zeroMatrix(c.rows(), a.rows()) : zeroMatrix(a.rows(), b.cols())) {}

Matrix<double> StepResponse::next() {
    if (fromOutputs_) {
        sum_ += power_;
        power_ = product(power_, a_);
        return product(sum_, b_);
    }
    sum_ = product(a_, sum_) + b_;
    return product(c_, sum_);
}

Matrix<double> stepResponsesBySample(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c,
                                     int samples) {
    const Matrix<double> responses(c.rows(), b.cols() * samples);
    StepResponse steps(a, b, c);
    for (int k = 0; k < samples; ++k) {
        responses(all, columnsOf(k, b.cols())) = steps.next();
    }
    return responses;
}

bool stepResponsesByPowers(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c, int samples,
                           Matrix<double>& responses) {
    const int inputs = b.cols();
    const int outputs = c.rows();
    if (outputs < inputs) {
        // The same from the outputs: b' (a'^k + ... + I) c' is the transpose.
        Matrix<double> transposed;
        if (!stepResponsesByPowers(Matrix<double>(a.transpose()), Matrix<double>(c.transpose()),
                                   Matrix<double>(b.transpose()), samples, transposed)) {
            return false;
        }
        responses = transposedBlocks(transposed, outputs);
        return true;
    }
    const int length = bestLength(a.rows(), inputs, outputs, samples);
    Powers powers;
    if (length == 1 || !powers.form(a, c, length)) {
        return false;
    }
    responses = Matrix<double>(outputs, inputs * samples);
    Matrix<double> states = b;
    for (int k = 0; k < length; ++k) {
        if (k > 0) {
            states = product(a, states) + b;
        }
        responses(all, columnsOf(k, inputs)) = product(c, states);
    }
    const int blocks = (samples - 1) / length;
    const Matrix<double> ends = statesAfterBlocks(powers.last, states, blocks);
    const Matrix<double> moved = product(powers.rows, ends);
    for (int k = length; k < samples; ++k) {
        const int block = k / length - 1;
        const int within = k % length;
        MatrixSoft<double> response = responses(all, columnsOf(k, inputs));
        response = moved(Range(within * outputs, (within + 1) * outputs - 1, 1), columnsOf(block, inputs));
        response += responses(all, columnsOf(within, inputs));
    }
    return lapack::allFinite(outputs, responses.cols(), responses.numericData(true), outputs);
}

Matrix<double> stepResponses(const Matrix<double>& a, const Matrix<double>& b, const Matrix<double>& c, int samples) {
    Matrix<double> responses;
    return stepResponsesByPowers(a, b, c, samples, responses) ? responses : stepResponsesBySample(a, b, c, samples);
}

}  // namespace qormath::models
