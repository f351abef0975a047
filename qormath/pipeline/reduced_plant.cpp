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
#include <qormath/pipeline/detail/reduced_plant.hpp>

namespace qormath::pipeline {

namespace {

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

constexpr double byDefault = -1.0;
constexpr double never = -1.0;
constexpr double percent = 100.0;

// RetainGain leaves an error of 1e-8 alone, as an absolute number. In outputs of a peak of 128 that is below 1e-10 of
// the peak.
constexpr double gainResolution = 128.0;

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

/// The outputs with a gain that is further from the wanted one than RetainGain would leave it.
std::vector<bool> needOf(const Matrix<double>& gains, const Matrix<double>& wanted, double gainTolerance) {
    std::vector<bool> needs;
    for (int j = 0; j < wanted.rows(); ++j) {
        bool need = false;
        for (int i = 0; i < wanted.cols(); ++i) {
            const double allowance =
                std::max(root(), std::fabs(gainResolution * wanted(j, i) * gainTolerance / percent));
            need = need || std::fabs(gainResolution * (wanted(j, i) - gains(j, i))) > allowance;
        }
        needs.push_back(need);
    }
    return needs;
}

bool anyOf(const std::vector<bool>& needs) {
    return std::find(needs.begin(), needs.end(), true) != needs.end();
}

/// The outputs in the order in which RetainGain corrects the right ones: it places its corrections on the first
/// outputs, so those that need one come first.
std::vector<int> needyFirst(const std::vector<bool>& needs) {
    std::vector<int> order(needs.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_partition(order.begin(), order.end(),
                          [&](int output) { return needs[static_cast<std::size_t>(output)]; });
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
int retainGainByLags(LTIStateSpaceModel& model, const Matrix<double>& wanted, const std::vector<bool>& needs,
                     double gainTolerance) {
    const int states = model.A.rows();
    const std::vector<int> order = needyFirst(needs);
    model.C = reordered(model.C, order, gainResolution);
    model.D = reordered(model.D, order, gainResolution);
    QorMathControl::RetainGain(model, reordered(wanted, order, gainResolution), byDefault, gainTolerance);
    model.C = reordered(model.C, undone(order), 1.0 / gainResolution);
    model.D = reordered(model.D, undone(order), 1.0 / gainResolution);
    return std::max(0, model.A.rows() - states);
}

/// Where a unit step on each input takes the states: X = (I - A)^-1 B. The gain is C X + D.
Matrix<double> settledStates(const LTIStateSpaceModel& model) {
    const int n = model.A.rows();
    return LTIStateSpaceModel(model.A, model.B, Matrix<double>().identity(n), zeroMatrix(n, model.B.cols()),
                              model.sysType, model.sampleTime)
        .gain();
}

Matrix<double> gainsOf(const LTIStateSpaceModel& model, const Matrix<double>& settled) {
    return product(model.C, settled) + model.D;
}

/// Restores gains on the modes that the model has, by the smallest change of its output matrix. False, with gains that
/// are still off, where the settled states have no full column rank.
bool retainGainByOutputs(LTIStateSpaceModel& model, const Matrix<double>& wanted, const Matrix<double>& settled,
                         const std::vector<bool>& needs, double gainTolerance) {
    const Matrix<double> inverse = pseudoInverse(settled, byDefault);
    // The second pass takes the rounding of the first.
    for (int pass = 0; pass < 2; ++pass) {
        Matrix<double> missing = wanted - gainsOf(model, settled);
        for (int j = 0; j < missing.rows(); ++j) {
            if (!needs[static_cast<std::size_t>(j)]) {
                missing.row(j) = 0.0;
            }
        }
        model.C = model.C + product(missing, inverse);
    }
    return !anyOf(needOf(gainsOf(model, settled), wanted, gainTolerance));
}

/// The ways to give a model the gains that are wanted of it.
std::vector<ReducedPlant> withGains(const ReducedPlant& plant, const Matrix<double>& wanted, double gainTolerance) {
    ReducedPlant byLags(plant);
    if (plant.model.A.rows() == 0) {
        byLags.model.D = wanted;
        return {byLags};
    }
    const Matrix<double> settled = settledStates(plant.model);
    const std::vector<bool> needs = needOf(gainsOf(plant.model, settled), wanted, gainTolerance);
    if (!anyOf(needs)) {
        return {plant};
    }
    std::vector<ReducedPlant> ways;
    ReducedPlant byOutputs(plant);
    if (retainGainByOutputs(byOutputs.model, wanted, settled, needs, gainTolerance)) {
        ways.push_back(std::move(byOutputs));
    }
    byLags.gainStates = retainGainByLags(byLags.model, wanted, needs, gainTolerance);
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
