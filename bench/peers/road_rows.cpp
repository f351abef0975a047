// Realisation and simulation, the two ends of the chief road.

#include <algorithm>
#include <memory>
#include <string>

#include <qormath/models/lti_fir_model.hpp>

#include "child_process.hpp"
#include "problems.hpp"
#include "rows.hpp"

namespace qormath::peers {

namespace {

/// n coefficients of first-order lags with dead time between equally many inputs and outputs, on four pairs of five.
LTIFIRModel lagPlant(int channels, int n, unsigned seed) {
    test::NormalNumbers numbers(seed);
    LTIFIRModel model;
    model.coefficients = Matrix<Vector<double>>(channels, channels);
    model.rampFlags = Vector<bool>(channels);
    model.rampFlags.fill(false);
    model.coefficientCount = n;
    model.horizonSeconds = 60 * n;
    for (Vector<std::string>* texts :
         {&model.inputNames, &model.outputNames, &model.inputDescriptors, &model.outputDescriptors}) {
        *texts = Vector<std::string>(channels);
    }
    for (Vector<double>& curve : model.coefficients) {
        const bool responds = numbers.uniform() < 0.8;
        const double gain = numbers.uniform(-2.0, 2.0);
        const double lag = numbers.uniform(3.0, 20.0);
        const int delay = numbers.integer(0, 5);
        curve = Vector<double>(n + 1);
        for (int k = 0; k <= n; ++k) {
            curve[k] = k <= delay || !responds ? 0.0 : gain * (1.0 - std::exp(-(k - delay) / lag));
        }
    }
    return model;
}

/// The curves of all pairs below each other, a column a sample.
Matrix<double> tableOf(const LTIFIRModel& model) {
    const int inputs = model.coefficients.rows();
    const int outputs = model.coefficients.cols();
    Matrix<double> table(outputs * inputs, model.coefficientCount + 1);
    for (int i = 0; i < inputs; ++i) {
        for (int j = 0; j < outputs; ++j) {
            for (int k = 0; k < table.cols(); ++k) {
                table(i * outputs + j, k) = model.coefficients(i, j)[k];
            }
        }
    }
    return table;
}

Matrix<double> scalar(double value) {
    Matrix<double> result(1, 1);
    result(0, 0) = value;
    return result;
}

struct RealisationProblem {
    explicit RealisationProblem(const Setting& setting) : model(lagPlant(channels, setting.n, setting.seed)) {}

    static constexpr int channels = 40;
    LTIFIRModel model;
    LTIStateSpaceModel system;
};

/// The error of the realised curves. Both cut the singular values at 1e-5 of the largest, and what is cut is the error.
Verdict judgeRealisation(const RealisationProblem& p, const LTIStateSpaceModel& system) {
    const LTIFIRModel curves(system, p.model);
    const Matrix<double> wanted = tableOf(p.model);
    return {norm(tableOf(curves) - wanted) / norm(wanted), std::to_string(system.A.rows()) + " states"};
}

Contest realisationContest(const Setting& setting) {
    const auto p = std::make_shared<RealisationProblem>(setting);
    Contest contest;
    contest.ours = inProcess(
        "QorMath", [=] { p->system = p->model.CreateStateSpaceModel(false, 0, nullptr); },
        [=] { return judgeRealisation(*p, p->system); });
    if (setting.scipy != nullptr) {
        const auto judge = [=](const Matrices& results) {
            const LTIStateSpaceModel system(results[0], results[1], results[2], results[3], discreteSystem, 1.0);
            return judgeRealisation(*p, system);
        };
        const int blockRows = std::clamp(setting.n / 3, 10, 30);
        contest.peers.push_back(inChild("NumPy eigh", *setting.scipy, "realisation",
                                        {tableOf(p->model), scalar(RealisationProblem::channels), scalar(blockRows)},
                                        judge));
    }
    return contest;
}

struct SimulationProblem {
    explicit SimulationProblem(const Setting& setting) : numbers(setting.seed) {
        const Matrix<double> a = stableMatrix(setting.n, true, numbers);
        const Matrix<double> b = test::randomMatrix(setting.n, channels, numbers);
        const Matrix<double> c = test::randomMatrix(channels, setting.n, numbers);
        const Matrix<double> d = test::randomMatrix(channels, channels, numbers);
        system = LTIStateSpaceModel(a, b, c, d, discreteSystem, 1.0);
        reference = lagPlant(channels, samples - 1, setting.seed);
    }

    static constexpr int channels = 20;
    static constexpr int samples = 121;
    test::NormalNumbers numbers;
    LTIStateSpaceModel system;
    LTIFIRModel reference;
    std::unique_ptr<LTIFIRModel> curves;
};

/// Beside the plain recursion.
Verdict judgeSimulation(const SimulationProblem& p, const Matrix<double>& table) {
    const int outputs = SimulationProblem::channels;
    Matrix<double> states = p.system.B;
    Matrix<double> wanted(outputs * outputs, SimulationProblem::samples);
    for (int k = 0; k < SimulationProblem::samples; ++k) {
        const Matrix<double> response = QorMathLA::product(p.system.C, states) + p.system.D;
        for (int i = 0; i < outputs; ++i) {
            for (int j = 0; j < outputs; ++j) {
                wanted(i * outputs + j, k) = response(j, i);
            }
        }
        states = QorMathLA::product(p.system.A, states) + p.system.B;
    }
    return {norm(table - wanted) / norm(wanted)};
}

Contest simulationContest(const Setting& setting) {
    const auto p = std::make_shared<SimulationProblem>(setting);
    Contest contest;
    contest.ours = inProcess(
        "QorMath", [=] { p->curves = std::make_unique<LTIFIRModel>(p->system, p->reference); },
        [=] { return judgeSimulation(*p, tableOf(*p->curves)); });
    if (setting.scipy != nullptr) {
        contest.peers.push_back(
            inChild("NumPy loop", *setting.scipy, "simulation",
                    {p->system.A, p->system.B, p->system.C, p->system.D, scalar(SimulationProblem::samples)},
                    [=](const Matrices& results) { return judgeSimulation(*p, results[0]); }));
    }
    return contest;
}

}  // namespace

void addRoadRows(std::vector<Row>& rows) {
    rows.push_back({.name = "CreateStateSpaceModel, 40 by 40, n coefficients",
                    .goals = {{120, 0.35}},
                    .scalable = false,
                    .contest = realisationContest});
    rows.push_back({.name = "Simulation, 20 by 20 over 121 samples, n states",
                    .goals = {{100, 0.5}},
                    .scalable = false,
                    .residualBound = 1e-13,  // the peer rounds like the judge, to the bit
                    .contest = simulationContest});
}

}  // namespace qormath::peers
