#include <algorithm>
#include <cmath>

#include <qormath/control_utility/pencil_balancing.hpp>
#include <qormath/control_utility/plain_products.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/riccati_problem.hpp>
#include <qormath/lapack/finite.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;
using Elements = std::vector<double>;

// Half of the digits: what is less alike than this was not meant to be symmetric.
constexpr double roundingOfSymmetricData = 0x1p-26;
// The default relative cut of the library's pseudo-inverse.
constexpr double pseudoInverseCut = 0x1p-52;
// Factors of the scaling stay well inside the range of numbers, so that products of four of them do too.
constexpr int largestExponent = 200;

// The weight of the cost and the scales of the states depend on each other; the second round finds what the first one's
// weight, made for states in any unit, has hidden, and a third changes little.
constexpr int balancingRounds = 3;

// The block width, and a little more, for which work arrays are laid out.
constexpr int workBlock = 66;

double powerOfTwo(double exponent) {
    const auto rounded = static_cast<int>(std::lround(exponent));
    return std::ldexp(1.0, std::clamp(rounded, -largestExponent, largestExponent));
}

/// The exponent of the nearest power of two, 0 for zero.
double exponentOf(double value) {
    return value > 0.0 ? std::log2(value) : 0.0;
}

Elements inputFactors(const RiccatiProblem& problem) {
    const int n = problem.n;
    const int m = problem.m;
    Elements factors(static_cast<std::size_t>(m), 1.0);
    for (int j = 0; j < m; ++j) {
        const double reach = std::max({largestElement(n, 1, at(problem.b.data(), n, 0, j), n),
                                       largestElement(n, 1, at(problem.s.data(), n, 0, j), n),
                                       std::sqrt(std::abs(*at(problem.r.data(), m, j, j)))});
        factors[static_cast<std::size_t>(j)] = powerOfTwo(-exponentOf(reach));
    }
    return factors;
}

/// x(i, j) := factor left(i) x(i, j) right(j), of which left and right may be null.
void scaleBoth(int rows, int columns, double factor, const double* left, const double* right, Elements& x) {
    for (int j = 0; j < columns; ++j) {
        const double ofColumn = factor * (right == nullptr ? 1.0 : right[j]);
        for (int i = 0; i < rows; ++i) {
            *at(x.data(), rows, i, j) *= ofColumn * (left == nullptr ? 1.0 : left[i]);
        }
    }
}

bool areOnes(const Elements& factors) {
    return std::all_of(factors.begin(), factors.end(), [](double factor) { return factor == 1.0; });
}

/// Brings the elements of b and s, and the roots of the diagonal of r, to about 1 in each input. False where they are.
bool normalizeInputs(RiccatiProblem& problem) {
    const Elements input = inputFactors(problem);
    if (areOnes(input)) {
        return false;
    }
    scaleBoth(problem.n, problem.m, 1.0, nullptr, input.data(), problem.b);
    scaleBoth(problem.n, problem.m, 1.0, nullptr, input.data(), problem.s);
    scaleBoth(problem.m, problem.m, 1.0, input.data(), input.data(), problem.r);
    return true;
}

/// x := x v(:, kept), with x of rows by m and v of m by m.
void turnInputs(int rows, int m, const Elements& v, const std::vector<int>& kept, Elements& x) {
    const auto count = static_cast<int>(kept.size());
    Elements selected(elementCount(m, count));
    for (int j = 0; j < count; ++j) {
        std::copy_n(at(v.data(), m, 0, kept[static_cast<std::size_t>(j)]), m, at(selected.data(), m, 0, j));
    }
    Elements result(elementCount(rows, count));
    lapack::gemm(Op::none, Op::none, rows, count, m, 1.0, x.data(), rows, selected.data(), m, 0.0, result.data(), rows);
    x = std::move(result);
}

/// The transpose of a rows by columns matrix.
void transpose(int rows, int columns, Elements& x) {
    Elements result(x.size());
    for (int j = 0; j < columns; ++j) {
        lapack::copy(rows, at(x.data(), rows, 0, j), 1, result.data() + j, columns);
    }
    x = std::move(result);
}

bool isDiagonal(int m, const Elements& r) {
    for (int j = 0; j < m; ++j) {
        for (int i = 0; i < m; ++i) {
            if (i != j && *at(r.data(), m, i, j) != 0.0) {
                return false;
            }
        }
    }
    return true;
}

/// r = v diag(values) v'. A diagonal r is left as it is, so that no digit of it is lost beside a larger one.
bool decomposeSymmetric(int m, const Elements& r, Elements& v, Elements& values) {
    v = r;
    values.resize(static_cast<std::size_t>(m));
    if (isDiagonal(m, r)) {
        for (int j = 0; j < m; ++j) {
            values[static_cast<std::size_t>(j)] = *at(r.data(), m, j, j);
        }
        lapack::laset(m, m, 0.0, 1.0, v.data(), m);
        return true;
    }
    const int workLength = workBlock * m;
    Elements work(static_cast<std::size_t>(workLength));
    return lapack::syev(m, v.data(), m, values.data(), work.data(), workLength) == 0;
}

bool diagonalizeWeight(RiccatiProblem& problem) {
    const int m = problem.m;
    Elements v, values;
    if (!decomposeSymmetric(m, problem.r, v, values)) {
        return false;
    }
    double largest = 0.0;
    for (const double value : values) {
        largest = std::max(largest, std::abs(value));
    }
    // The eigenvalues of a matrix that is not diagonal have a rounding of their own.
    const double cut = (isDiagonal(m, problem.r) ? 1.0 : m) * pseudoInverseCut * largest;
    std::vector<int> kept;
    for (int j = 0; j < m; ++j) {
        const double modulus = std::abs(values[static_cast<std::size_t>(j)]);
        if (modulus > 0.0 && modulus >= cut) {
            kept.push_back(j);
        }
    }
    turnInputs(problem.n, m, v, kept, problem.b);
    turnInputs(problem.n, m, v, kept, problem.s);
    problem.m = static_cast<int>(kept.size());
    problem.r.assign(elementCount(problem.m, problem.m), 0.0);
    for (int j = 0; j < problem.m; ++j) {
        *at(problem.r.data(), problem.m, j, j) = values[static_cast<std::size_t>(kept[static_cast<std::size_t>(j)])];
    }
    return true;
}

/// Writes a block into the rows from row on of a taller matrix, scaled to a largest element of 1.
void stackNormalized(int rows, int columns, const Elements& block, Elements& tall, int height, int row) {
    const double largest = largestElement(rows, columns, block.data(), rows);
    const double factor = largest > 0.0 ? powerOfTwo(-exponentOf(largest)) : 1.0;
    for (int j = 0; j < columns; ++j) {
        for (int i = 0; i < rows; ++i) {
            *at(tall.data(), height, row + i, j) = factor * *at(block.data(), rows, i, j);
        }
    }
}

bool leaveOutCommonKernel(RiccatiProblem& problem) {
    normalizeInputs(problem);
    const int n = problem.n;
    const int m = problem.m;
    const int height = 2 * n + m;
    Elements tall(elementCount(height, m));
    stackNormalized(n, m, problem.b, tall, height, 0);
    stackNormalized(n, m, problem.s, tall, height, n);
    stackNormalized(m, m, problem.r, tall, height, 2 * n);
    Elements values(static_cast<std::size_t>(m)), vt(elementCount(m, m));
    const int workLength = 3 * m + height + workBlock * (height + m);
    Elements work(static_cast<std::size_t>(workLength));
    double unused = 0.0;
    if (lapack::gesvd('N', 'A', height, m, tall.data(), height, values.data(), &unused, 1, vt.data(), m, work.data(),
                      workLength) != 0) {
        return false;
    }
    std::vector<int> kept;
    for (int j = 0; j < m; ++j) {
        if (values[static_cast<std::size_t>(j)] > height * pseudoInverseCut * values[0]) {
            kept.push_back(j);
        }
    }
    if (static_cast<int>(kept.size()) == m) {
        return true;
    }
    Elements v(elementCount(m, m));
    for (int j = 0; j < m; ++j) {
        lapack::copy(m, vt.data() + j, m, at(v.data(), m, 0, j), 1);
    }
    const auto count = static_cast<int>(kept.size());
    turnInputs(n, m, v, kept, problem.b);
    turnInputs(n, m, v, kept, problem.s);
    Elements half = problem.r;
    turnInputs(m, m, v, kept, half);
    transpose(m, count, half);
    turnInputs(count, m, v, kept, half);
    problem.r = std::move(half);
    problem.m = count;
    symmetrize(count, problem.r);
    return true;
}

/// Divides the cost by a weight that makes it like the system. In continuous time b r^-1 b' and q become alike; in
/// discrete time x is q plus what it costs to reach a mode, of the order of r / b^2, and the larger of the two
/// becomes 1. Balancing the states alone does not find the weight: it moves one state after the other, and a block that
/// is too small as a whole is held where it is by the couplings in a. False where the weight is 1.
bool balanceCost(RiccatiProblem& problem, RiccatiScaling& scaling) {
    const int n = problem.n;
    const int m = problem.m;
    const double ofState = largestElement(n, n, problem.q.data(), n);
    const double ofInput = largestElement(m, m, problem.r.data(), m);
    const double ofCross = largestElement(n, m, problem.s.data(), n);
    const double reach = largestElement(n, m, problem.b.data(), n);
    double exponent = 0.0;
    if (ofState > 0.0 && ofInput > 0.0 && reach > 0.0) {
        const double state = exponentOf(ofState);
        const double input = exponentOf(ofInput) - 2.0 * exponentOf(reach);
        exponent = problem.discrete ? std::max(state, input) : 0.5 * (state + input);
    } else {
        exponent = exponentOf(std::max({ofState, ofInput, ofCross}));
    }
    const double weight = powerOfTwo(exponent);
    scaling.weight *= weight;
    for (Elements* const cost : {&problem.q, &problem.s, &problem.r}) {
        scaleMatrix(static_cast<int>(cost->size()), 1, 1.0 / weight, cost->data(), static_cast<int>(cost->size()));
    }
    return weight != 1.0;
}

/// Scales the states by the ratio of the factors of an ordinary balancing for a state and for its costate. False where
/// they stay as they are.
bool balanceStates(RiccatiProblem& problem, RiccatiScaling& scaling) {
    const int n = problem.n;
    const int m = problem.m;
    const Elements exponents = balancingExponents(problem);
    Elements state(static_cast<std::size_t>(n)), inverse(static_cast<std::size_t>(n));
    for (std::size_t i = 0; i < state.size(); ++i) {
        state[i] = powerOfTwo(0.5 * (exponents[i] - exponents[i + state.size()]));
        inverse[i] = 1.0 / state[i];
        scaling.state[i] *= state[i];
    }
    if (areOnes(state)) {
        return false;
    }
    scaleBoth(n, n, 1.0, inverse.data(), state.data(), problem.a);
    scaleBoth(n, m, 1.0, inverse.data(), nullptr, problem.b);
    scaleBoth(n, n, 1.0, state.data(), state.data(), problem.q);
    scaleBoth(n, m, 1.0, state.data(), nullptr, problem.s);
    return true;
}

}  // namespace

bool isSymmetric(int n, const Elements& a) {
    const double limit = roundingOfSymmetricData * largestElement(n, n, a.data(), n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < j; ++i) {
            if (std::abs(*at(a.data(), n, i, j) - *at(a.data(), n, j, i)) > limit) {
                return false;
            }
        }
    }
    return true;
}

void symmetrize(int n, Elements& a) {
    forEachAboveDiagonal(n, [n, elements = a.data()](int i, int j) {
        const double mean = 0.5 * *at(elements, n, i, j) + 0.5 * *at(elements, n, j, i);
        *at(elements, n, i, j) = mean;
        *at(elements, n, j, i) = mean;
    });
}

bool takeInCrossTerm(const RiccatiProblem& problem, PlainForm& plain) {
    const int n = problem.n;
    const int m = problem.m;
    plain = {problem.a, Elements(elementCount(n, n), 0.0), problem.q};
    if (m == 0) {
        return true;
    }
    // The columns of b and s side by side in rows: one solve for both.
    Elements factor = problem.r, weighted(elementCount(m, 2 * n));
    for (int i = 0; i < n; ++i) {
        lapack::copy(m, problem.b.data() + i, n, at(weighted.data(), m, 0, i), 1);
        lapack::copy(m, problem.s.data() + i, n, at(weighted.data(), m, 0, n + i), 1);
    }
    std::vector<int> pivots(static_cast<std::size_t>(m));
    if (lapack::getrf(m, m, factor.data(), m, pivots.data()) != 0) {
        return false;
    }
    lapack::getrs(Op::none, m, 2 * n, factor.data(), m, pivots.data(), weighted.data(), m);
    const double* const weightedB = weighted.data();
    const double* const weightedS = at(weighted.data(), m, 0, n);
    lapack::gemm(Op::none, Op::none, n, n, m, -1.0, problem.b.data(), n, weightedS, m, 1.0, plain.a.data(), n);
    lapack::gemm(Op::none, Op::none, n, n, m, 1.0, problem.b.data(), n, weightedB, m, 0.0, plain.g.data(), n);
    lapack::gemm(Op::none, Op::none, n, n, m, -1.0, problem.s.data(), n, weightedS, m, 1.0, plain.h.data(), n);
    symmetrize(n, plain.g);
    symmetrize(n, plain.h);
    return true;
}

bool leaveOutIdleInputs(RiccatiProblem& problem) {
    if (problem.m == 0) {
        return true;
    }
    return problem.discrete ? leaveOutCommonKernel(problem) : diagonalizeWeight(problem);
}

RiccatiScaling balanceRiccatiProblem(RiccatiProblem& problem) {
    RiccatiScaling scaling;
    scaling.state.assign(static_cast<std::size_t>(problem.n), 1.0);
    for (int round = 0; round < balancingRounds; ++round) {
        const bool inputsChanged = normalizeInputs(problem);
        const bool costChanged = balanceCost(problem, scaling);
        const bool statesChanged = balanceStates(problem, scaling);
        if (!inputsChanged && !costChanged && !statesChanged) {
            return scaling;  // nothing would change in another round
        }
    }
    normalizeInputs(problem);
    balanceCost(problem, scaling);
    return scaling;
}

}  // namespace qormath::control_utility
