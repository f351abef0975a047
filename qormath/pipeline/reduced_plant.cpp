#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <functional>
#include <numbers>
#include <numeric>
#include <utility>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/pipeline/detail/gain_by_outputs.hpp>
#include <qormath/pipeline/detail/reduced_plant.hpp>

namespace qormath::pipeline {

namespace {

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

constexpr double byDefault = -1.0;
constexpr double never = -1.0;

double root() {
    return std::sqrt(lapack::machineEpsilon());
}

std::vector<int> linesOf(int count, const std::function<double(int)>& largest) {
    std::vector<int> lines;
    for (int k = 0; k < count; ++k) {
        if (largest(k) > 0.0) {
            lines.push_back(k);
        }
    }
    return lines;
}

/// Puts in place of the delays, eigenvalues that Shrink has cleared to zero, eigenvalues too small to show.
/// RemoveRingers drops a state whose eigenvalue is zero, and with it what the delay does.
void keepDelays(Matrix<double>& schurForm) {
    constexpr double tiny = 0x1p-40;
    const int n = schurForm.rows();
    for (int k = 0; k < n; ++k) {
        const bool isAlone = (k == 0 || schurForm(k, k - 1) == 0.0) && (k == n - 1 || schurForm(k + 1, k) == 0.0);
        if (isAlone && std::fabs(schurForm(k, k)) < tiny) {
            schurForm(k, k) = tiny;
        }
    }
}

/// The ringers among the modes of a stable discrete model, the least damped first.
std::vector<ReduceResult::Ringer> ringersOf(const LTIStateSpaceModel& model, double dampingLimit) {
    constexpr int iterations = 30;
    std::vector<ReduceResult::Ringer> ringers;
    if (model.A.rows() == 0) {
        return ringers;
    }
    Matrix<double> a(model.A);
    Vector<double> re;
    Vector<double> im;
    a.eigenvalues(re, im, iterations);
    for (int k = 0; k < re.size(); ++k) {
        const std::complex<double> s = std::log(std::complex<double>(re[k], im[k])) / std::fabs(model.sampleTime);
        const double ratio = std::fabs(s.real()) / std::abs(s);
        if (im[k] >= 0.0 && dampingLimit >= ratio) {
            ringers.push_back({ratio, 2.0 * std::numbers::pi / std::fabs(s.imag())});
        }
    }
    std::sort(ringers.begin(), ringers.end(),
              [](const auto& x, const auto& y) { return x.dampingRatio < y.dampingRatio; });
    return ringers;
}

/// The outputs in the order in which RetainGain corrects the right ones. It places its corrections on the first
/// outputs, so those that need one come first; the neediest first, so that one that rounding takes from the list, or
/// adds to it, displaces no other.
std::vector<int> neediestFirst(const std::vector<double>& excess) {
    std::vector<int> order(excess.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int one, int other) {
        return excess[static_cast<std::size_t>(one)] > excess[static_cast<std::size_t>(other)];
    });
    return order;
}

/// Row k of the result is row order[k] of m, times factor.
Matrix<double> reordered(const Matrix<double>& m, const std::vector<int>& order, double factor) {
    Matrix<double> result(m.rows(), m.cols());
    for (int k = 0; k < m.rows() && m.cols() > 0; ++k) {
        result.row(k) = m.row(order[static_cast<std::size_t>(k)]) * factor;
    }
    return result;
}

std::vector<int> undone(const std::vector<int>& order) {
    std::vector<int> result(order.size());
    for (std::size_t k = 0; k < order.size(); ++k) {
        result[static_cast<std::size_t>(order[k])] = static_cast<int>(k);
    }
    return result;
}

/// Restores gains by lags of their own. Returns how many states were added.
int retainGainByLags(LTIStateSpaceModel& model, const Matrix<double>& wanted, const Matrix<double>& gains,
                     double gainTolerance) {
    const int states = model.A.rows();
    const std::vector<int> order = neediestFirst(excessOf(gains, wanted, gainTolerance));
    model.C = reordered(model.C, order, gainResolution);
    model.D = reordered(model.D, order, gainResolution);
    QorMathControl::RetainGain(model, reordered(wanted, order, gainResolution), byDefault, gainTolerance);
    model.C = reordered(model.C, undone(order), 1.0 / gainResolution);
    model.D = reordered(model.D, undone(order), 1.0 / gainResolution);
    return std::max(0, model.A.rows() - states);
}

/// The ways to give a model the gains that are wanted of it.
std::vector<ReducedPlant> withGains(const ReducedPlant& plant, const Matrix<double>& wanted, double gainTolerance) {
    ReducedPlant byLags(plant);
    if (plant.model.A.rows() == 0) {
        byLags.model.D = wanted;
        return {byLags};
    }
    const Matrix<double> settled = settledStates(plant.model);
    const Matrix<double> gains = gainsOf(plant.model, settled);
    const std::vector<bool> needs = needOf(gains, wanted, gainTolerance);
    if (!anyOf(needs)) {
        return {plant};
    }
    std::vector<ReducedPlant> ways;
    ReducedPlant byOutputs(plant);
    if (retainGainByOutputs(byOutputs.model, wanted, settled, needs, gainTolerance)) {
        ways.push_back(std::move(byOutputs));
    }
    byLags.gainStates = retainGainByLags(byLags.model, wanted, gains, gainTolerance);
    ways.push_back(std::move(byLags));
    return ways;
}

}  // namespace

LTIStateSpaceModel rampModel(const Matrix<double>& rates, double sampleTime) {
    const std::vector<int> outputs = linesOf(rates.rows(), [&](int j) { return rates.row(j).maxAbs(); });
    const std::vector<int> inputs = linesOf(rates.cols(), [&](int i) { return rates.column(i).maxAbs(); });
    const bool isByOutput = outputs.size() <= inputs.size();
    const std::vector<int>& integrators = isByOutput ? outputs : inputs;
    const int n = static_cast<int>(integrators.size());
    Matrix<double> b = zeroMatrix(n, rates.cols());
    Matrix<double> c = zeroMatrix(rates.rows(), n);
    for (int k = 0; k < n; ++k) {
        const int line = integrators[static_cast<std::size_t>(k)];
        if (isByOutput) {
            b.row(k) = rates.row(line);
            c(line, k) = 1.0;
        } else {
            b(k, line) = 1.0;
            c.column(k) = rates.column(line);
        }
    }
    return {Matrix<double>().identity(n), b, c, zeroMatrix(rates.rows(), rates.cols()), discreteSystem, sampleTime};
}

std::vector<ReducedPlant> reducedPlants(const RealisedPlant& plant, const LTIStateSpaceModel& ramps, int stableOrder,
                                        double dampingLimit, double gainTolerance) {
    ReducedPlant reduced;
    int order = stableOrder;
    // The gain is restored, and ringers are judged, here: Shrink has its own order for the outputs, and does not tell
    // which modes it takes out.
    reduced.model = QorMathControl::Shrink(plant.stable, order, root(), byDefault, never, never);
    if (dampingLimit > 0.0) {
        reduced.ringers = ringersOf(reduced.model, dampingLimit);
        if (!reduced.ringers.empty()) {
            keepDelays(reduced.model.A);
            QorMathControl::RemoveRingers(reduced.model, dampingLimit, never);
        }
    }
    std::vector<ReducedPlant> ways = {reduced};
    if (gainTolerance >= 0.0) {
        ways = withGains(reduced, plant.gains, gainTolerance);
    }
    for (ReducedPlant& way : ways) {
        if (ramps.A.rows() > 0) {
            way.model = LTIStateSpaceModel(ramps) + way.model;
        }
    }
    return ways;
}

}  // namespace qormath::pipeline
