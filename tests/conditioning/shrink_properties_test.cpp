// What holds for every result of Shrink: its form, and how far it lies from the model.

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <string>
#include <support/matrix_compare.hpp>
#include <support/model_families.hpp>
#include <support/raw_conversion.hpp>
#include <support/raw_transfer_function.hpp>
#include <support/residualised.hpp>
#include <support/shrink_calls.hpp>
#include <support/transfer.hpp>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using qormath::test::clearingLimit;
using qormath::test::identical;
using qormath::test::ModelFamily;
using qormath::test::NormalNumbers;
using qormath::test::Parts;
using qormath::test::Poles;
using qormath::test::RawComplex;
using qormath::test::RawSystem;
using qormath::test::ShrinkOptions;
using qormath::test::shrunk;
using qormath::test::sortedPoles;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;

namespace {

std::string nameOf(systemType type) {
    return type == discreteSystem ? ", discrete" : ", continuous";
}

bool hasTinyElements(const Matrix<double>& m) {
    for (const double element : m) {
        if (element != 0.0 && std::fabs(element) < clearingLimit) {
            return true;
        }
    }
    return false;
}

void expectFinalForm(const LTIStateSpaceModel& result) {
    EXPECT_TRUE(qormath::test::isQuasiTriangular(result.A));
    EXPECT_FALSE(hasTinyElements(result.A) || hasTinyElements(result.B) || hasTinyElements(result.C));
}

/// The first states, as many as given, are marginal or unstable, and no others.
void expectLeadingModes(const LTIStateSpaceModel& result, int leading) {
    ASSERT_GE(result.A.rows(), leading);
    const Range first(0, leading - 1, 1);
    for (const std::complex<double>& pole : sortedPoles(result.A(first, first))) {
        EXPECT_LE(qormath::test::stabilityOf(pole, result.sysType), 1e-8);
    }
    const Range rest(leading, result.A.rows() - 1, 1);
    for (const std::complex<double>& pole : sortedPoles(result.A(rest, rest))) {
        EXPECT_GT(qormath::test::stabilityOf(pole, result.sysType), 1e-8);
    }
}

/// The exponents of modes of which no two are alike: time constants from 0.4 to 20, damping ratios from 0.05 to 1.
Poles randomExponents(int states, NormalNumbers& numbers) {
    Poles exponents;
    for (int left = states; left > 0;) {
        const double speed = std::pow(10.0, numbers.uniform(-1.3, 0.4));
        const double ratio = left > 1 && numbers.uniform() < 0.5 ? numbers.uniform(0.05, 0.95) : 1.0;
        exponents.emplace_back(-speed * ratio, speed * std::sqrt(1.0 - ratio * ratio));
        left -= ratio < 1.0 ? 2 : 1;
    }
    return exponents;
}

/// A stable model with coupled modes.
LTIStateSpaceModel randomModel(int states, int inputs, int outputs, systemType type, NormalNumbers& numbers) {
    constexpr double departure = 0.2;
    return {qormath::test::randomWithEigenvalues(qormath::test::polesOf(randomExponents(states, numbers), type),
                                                 departure, numbers),
            qormath::test::randomMatrix(states, inputs, numbers),
            qormath::test::randomMatrix(outputs, states, numbers),
            qormath::test::randomMatrix(outputs, inputs, numbers),
            type,
            1.0};
}

template <class Action>
void forRandomModels(const std::vector<int>& sizes, Action action) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const int states : sizes) {
            for (const auto& [inputs, outputs] : {std::pair{1, 1}, std::pair{3, 2}, std::pair{2, 5}}) {
                SCOPED_TRACE(std::to_string(states) + " states, " + std::to_string(inputs) + " inputs, " +
                             std::to_string(outputs) + " outputs" + nameOf(type));
                NormalNumbers numbers(static_cast<std::uint64_t>(100 * states + 10 * inputs + outputs));
                action(randomModel(states, inputs, outputs, type, numbers));
            }
        }
    }
}

/// The order of the minimal realisation: of many states on few channels some are lost in rounding.
int minimalOrder(const LTIStateSpaceModel& model) {
    return qormath::test::minimalParts(model).stable.A.rows();
}

Vector<double> hankelSingularValues(LTIStateSpaceModel model) {
    Vector<double> hsv;
    QorMathControl::ModelReduction(model.A, model.B, model.C, model.D, hsv, reductionBalancedShrink, model.sysType, -1,
                                   -1.0, 0.0);
    return hsv;
}

RawSystem rawOf(const LTIStateSpaceModel& model) {
    return {qormath::test::toRaw(model.A), qormath::test::toRaw(model.B), qormath::test::toRaw(model.C)};
}

RawComplex pathOf(const RawSystem& system, std::complex<double> z) {
    return qormath::test::leftProduct(system.c, qormath::test::resolventTimes(system.a, system.b, z));
}

std::vector<double> rowNorms(const RawComplex& x) {
    std::vector<double> norms(static_cast<std::size_t>(x.rows), 0.0);
    for (int j = 0; j < x.cols; ++j) {
        for (int i = 0; i < x.rows; ++i) {
            double& norm = norms[static_cast<std::size_t>(i)];
            norm = std::hypot(norm, std::abs(x(i, j)));
        }
    }
    return norms;
}

/// How far the clearing of elements can have moved the transfer function: by the limit at each element that is zero
/// now, the zeros below the diagonal of A apart, times what the states beside it show and are reached by. The factor 2
/// is for the terms of higher order.
double clearingError(const RawSystem& system, std::complex<double> z) {
    const std::vector<double> reached = rowNorms(qormath::test::resolventTimes(system.a, system.b, z));
    const std::vector<double> shown = rowNorms(
        qormath::test::resolventTimes(qormath::test::transposeOf(system.a), qormath::test::transposeOf(system.c), z));
    double moved = 0.0;
    for (int l = 0; l < system.a.cols; ++l) {
        const auto from = static_cast<std::size_t>(l);
        for (int k = 0; k <= l; ++k) {
            moved += system.a(k, l) == 0.0 ? shown[static_cast<std::size_t>(k)] * reached[from] : 0.0;
        }
        for (int j = 0; j < system.b.cols; ++j) {
            moved += system.b(l, j) == 0.0 ? shown[from] : 0.0;
        }
        for (int i = 0; i < system.c.rows; ++i) {
            moved += system.c(i, l) == 0.0 ? reached[from] : 0.0;
        }
    }
    return 2.0 * clearingLimit * moved;
}

// The stable poles nearest to the limit stand 0.095 from it, and decoupling them from the others multiplies rounding by
// the square of one plus the inverse of that.
constexpr double decouplingGrowth = (1.0 + 1.0 / 0.095) * (1.0 + 1.0 / 0.095);

double frobeniusNormOf(const qormath::test::RawMatrix& m) {
    return qormath::test::frobeniusNorm(qormath::test::toMatrix(m));
}

/// How far changes of n eps relative to each of the matrices move the transfer function: those of the orthogonal
/// transformations on the way. Held to 20 of it.
double roundingError(const RawSystem& system, std::complex<double> z) {
    const double reached = frobeniusNorm(qormath::test::resolventTimes(system.a, system.b, z));
    const double shown = frobeniusNorm(
        qormath::test::resolventTimes(qormath::test::transposeOf(system.a), qormath::test::transposeOf(system.c), z));
    return system.a.rows * 0x1p-53 *
           (shown * frobeniusNormOf(system.a) * reached + shown * frobeniusNormOf(system.b) +
            frobeniusNormOf(system.c) * reached);
}

}  // namespace

TEST(ShrinkProperties, EveryFamilyAtEveryOrderComesInOrderedSchurFormWithoutTinyElements) {
    ShrinkOptions withGain;
    withGain.gainTolerance = 0.0;
    ShrinkOptions withoutRingers;
    withoutRingers.dampingLimit = 0.1;
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const ModelFamily& family : qormath::test::modelFamilies(type)) {
            for (const int asked : {-3, -2, -1, 1, 2, 3, 4, 100}) {
                SCOPED_TRACE(family.name + nameOf(type) + ", " + std::to_string(asked));
                const LTIStateSpaceModel before = family.model;
                for (const ShrinkOptions& options : {withGain, withoutRingers}) {
                    int order = asked;
                    const LTIStateSpaceModel result = shrunk(family.model, order, options);
                    EXPECT_TRUE(identical(family.model, before));
                    EXPECT_GE(order, 0);
                    // The suggestions count states that the realisation removes.
                    EXPECT_LE(order, asked > 0 ? family.stable : before.A.rows());
                    EXPECT_EQ(result.sysType, type);
                    EXPECT_EQ(result.sampleTime, before.sampleTime);
                    expectLeadingModes(result, family.marginal + family.unstable);
                    if (order > 0) {
                        expectFinalForm(result);
                        EXPECT_TRUE(identical(result.D, before.D));
                    }
                }
            }
        }
    }
}

TEST(ShrinkProperties, TheWholeOrderKeepsTheTransferFunctionOfEveryFamily) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (const ModelFamily& family : qormath::test::modelFamilies(type)) {
            SCOPED_TRACE(family.name + nameOf(type));
            int order = 100;
            const LTIStateSpaceModel result = shrunk(family.model, order);
            EXPECT_EQ(result.A.rows(), family.stable + family.marginal + family.unstable);
            const RawSystem raw = rawOf(result);
            for (const double z : qormath::test::transferPoints()) {
                const double rounding = 20.0 * decouplingGrowth * roundingError(rawOf(family.model), z);
                EXPECT_LE(qormath::test::maxDifference(qormath::test::transferAt(family.model, z),
                                                       qormath::test::transferAt(result, z)),
                          clearingError(raw, z) + rounding)
                    << z;
            }
        }
    }
}

TEST(ShrinkProperties, TheErrorIsAtMostTwiceTheSumOfTheDiscardedHankelSingularValues) {
    forRandomModels({2, 3, 5, 8, 13, 21, 34}, [](const LTIStateSpaceModel& model) {
        const bool discrete = model.sysType == discreteSystem;
        const int states = minimalOrder(model);
        const Vector<double> hsv = hankelSingularValues(model);
        ASSERT_EQ(hsv.size(), model.A.rows());
        const RawSystem whole = rawOf(model);
        const double channels = std::sqrt(std::min(model.B.cols(), model.C.rows()));
        for (int asked = 1; asked <= states; asked += 1 + states / 7) {
            int order = asked;
            const LTIStateSpaceModel result = shrunk(model, order);
            ASSERT_EQ(result.A.rows(), asked);
            expectFinalForm(result);
            double discarded = 0.0;
            for (int k = asked; k < hsv.size(); ++k) {
                discarded += hsv[k];
            }
            const RawSystem reduced = rawOf(result);
            for (const std::complex<double> z : qormath::test::frequencies(discrete, 40)) {
                const double error = frobeniusNorm(qormath::test::differenceOf(pathOf(whole, z), pathOf(reduced, z)));
                // The bound is one of the largest singular value.
                EXPECT_LE(error,
                          channels * 2.0 * discarded + clearingError(reduced, z) + 20.0 * roundingError(whole, z))
                    << "order " << asked << ", at " << z;
            }
        }
    });
}

TEST(ShrinkProperties, TheUnstablePartIsWholeAndTheErrorThatOfTheStablePart) {
    for (const systemType type : {discreteSystem, continuousSystem}) {
        for (int seed = 1; seed <= 8; ++seed) {
            SCOPED_TRACE(std::to_string(seed) + nameOf(type));
            NormalNumbers numbers(static_cast<std::uint64_t>(seed));
            const Poles unstable = qormath::test::polesOf({0.0, 0.0, {0.3, 0.4}}, type);
            LTIStateSpaceModel plain =
                qormath::test::modalModel(unstable, 2, 3, type, numbers) + randomModel(9, 2, 3, type, numbers);
            const LTIStateSpaceModel model = qormath::test::hidden(plain, numbers);
            const Parts parts = qormath::test::minimalParts(model);
            ASSERT_EQ(parts.unstable.A.rows(), 4);
            const Vector<double> hsv = hankelSingularValues(parts.stable);
            const RawSystem stable = rawOf(parts.stable);
            for (const int kept : {1, 3, 6, 9}) {
                int order = 4 + kept;
                const LTIStateSpaceModel result = shrunk(model, order);
                EXPECT_EQ(order, kept);
                ASSERT_EQ(result.A.rows(), 4 + kept);
                expectFinalForm(result);
                expectLeadingModes(result, 4);
                LTIStateSpaceModel first = result;
                first.ExtractRange(Range(0, 3, 1), true);
                LTIStateSpaceModel rest = result;
                rest.ExtractRange(Range(4, 3 + kept, 1), false);
                for (int i = 0; i < 4; ++i) {
                    for (int j = 4; j < 4 + kept; ++j) {
                        EXPECT_EQ(result.A(i, j), 0.0);
                    }
                }
                for (const double z : qormath::test::transferPoints()) {
                    EXPECT_LE(qormath::test::maxDifference(qormath::test::transferAt(parts.unstable, z),
                                                           qormath::test::transferAt(first, z)),
                              clearingError(rawOf(first), z) + 20.0 * roundingError(rawOf(parts.unstable), z));
                }
                double discarded = 0.0;
                for (int k = kept; k < hsv.size(); ++k) {
                    discarded += hsv[k];
                }
                const RawSystem reduced = rawOf(rest);
                for (const std::complex<double> z : qormath::test::frequencies(type == discreteSystem, 40)) {
                    EXPECT_LE(
                        frobeniusNorm(qormath::test::differenceOf(pathOf(stable, z), pathOf(reduced, z))),
                        std::sqrt(2.0) * 2.0 * discarded + clearingError(reduced, z) + 20.0 * roundingError(stable, z));
                }
            }
        }
    }
}

TEST(ShrinkProperties, TheGainStaysWithinTheTolerance) {
    forRandomModels({2, 5, 13, 34}, [](LTIStateSpaceModel model) {
        const double steady = model.sysType == discreteSystem ? 1.0 : 0.0;
        const Matrix<double> gain = model.gain();
        const int states = minimalOrder(model);
        // A correction of some outputs alone goes to the first ones. It lands in place with one output, and where no
        // error is allowed, since then all outputs need it.
        const std::vector<double> tolerances =
            model.C.rows() == 1 ? std::vector<double>{0.0, 1.0, 20.0} : std::vector<double>{0.0};
        for (const double tolerance : tolerances) {
            for (int asked = 1; asked < states; asked += 1 + states / 7) {
                ShrinkOptions options;
                options.gainTolerance = tolerance;
                int order = asked;
                LTIStateSpaceModel result = shrunk(model, order, options);
                EXPECT_EQ(order, asked);
                expectFinalForm(result);
                const Matrix<double> reached = result.gain();
                const double moved = clearingError(rawOf(result), steady) + 20.0 * roundingError(rawOf(model), steady);
                for (int j = 0; j < gain.cols(); ++j) {
                    for (int i = 0; i < gain.rows(); ++i) {
                        const double allowed =
                            std::max(10.0 * clearingLimit, std::fabs(gain(i, j)) * tolerance / 100.0);
                        EXPECT_LE(std::fabs(reached(i, j) - gain(i, j)), allowed + moved)
                            << "order " << asked << ", " << tolerance << " percent";
                    }
                }
            }
        }
    });
}

TEST(ShrinkProperties, NoRingerIsLeftAndTheGainStays) {
    constexpr double limit = 0.3;
    forRandomModels({5, 13, 34}, [](LTIStateSpaceModel model) {
        const Matrix<double> gain = model.gain();
        const int states = minimalOrder(model);
        ShrinkOptions options;
        options.gainTolerance = 0.0;
        options.dampingLimit = limit;
        for (const int asked : {states / 2, states}) {
            int order = asked;
            LTIStateSpaceModel result = shrunk(model, order, options);
            EXPECT_EQ(order, asked);
            expectFinalForm(result);
            for (const std::complex<double>& pole : sortedPoles(result.A)) {
                EXPECT_GT(qormath::test::dampingRatioOf(pole, model.sysType), limit - 1e-6);
            }
            const double steady = model.sysType == discreteSystem ? 1.0 : 0.0;
            const double moved = clearingError(rawOf(result), steady) + 20.0 * roundingError(rawOf(model), steady);
            EXPECT_LE(qormath::test::maxDifference(result.gain(), gain), 10.0 * clearingLimit + moved);
        }
    });
}
