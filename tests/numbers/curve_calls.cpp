// Step-response models, their file, the whole road, and the analysis of gains.

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <support/temporary_file.hpp>

#include <qormath/host/host_api.h>
#include <qormath/models/lti_fir_model.hpp>
#include <qormath/numerics/qor_svd_analysis.hpp>
#include <qormath/pipeline/reduce.hpp>
#include <qormath/pipeline/unit_factors.hpp>

#include "numbers/calls.hpp"
#include "numbers/operands.hpp"

namespace qormath::test {
namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;
using enum Outcome;

constexpr int mostChannels = 3;

int channelsOf(int n) {
    return std::min(n, mostChannels);
}

int coefficientsOf(int n) {
    return n <= 5 ? 30 : 60;
}

/// A column for each pair, input by input within an output.
Operands curveOperands(int n) {
    const int channels = channelsOf(n);
    const int count = coefficientsOf(n);
    Matrix<double> curves(count + 1, channels * channels);
    for (int pair = 0; pair < curves.cols(); ++pair) {
        for (int k = 0; k <= count; ++k) {
            curves(k, pair) = (1.0 + pair) * (1.0 - std::exp(-(k + 1.0) / (2.0 + pair)));
        }
    }
    return {{"curves", curves}};
}

LTIFIRModel modelOf(Operands& o, bool firstIsRamp = false) {
    const Matrix<double>& columns = o["curves"];
    const int channels = static_cast<int>(std::lround(std::sqrt(columns.cols())));
    Matrix<Vector<double>> curves(channels, channels);
    Vector<bool> flags(channels);
    Vector<std::string> names(channels);
    for (int output = 0; output < channels; ++output) {
        flags[output] = firstIsRamp && output == 0;
        names[output] = "N" + std::to_string(output);
        for (int input = 0; input < channels; ++input) {
            Vector<double> curve(columns.rows());
            for (int k = 0; k < curve.size(); ++k) {
                curve[k] = columns(k, output * channels + input);
            }
            curves(input, output) = curve;
        }
    }
    const int count = columns.rows() - 1;
    return {curves, flags, count, 60 * count, names, names, names, names};
}

void add(Results& r, const LTIStateSpaceModel& model) {
    r.add(model.A, model.B, model.C, model.D, model.sampleTime);
}

void add(Results& r, const LTIFIRModel& model) {
    for (const Vector<double>& curve : model.coefficients) {
        r.add(curve);
    }
}

Operands markovOperands(int n) {
    const int channels = channelsOf(n);
    Operands o = curveOperands(n);
    LTIFIRModel model = modelOf(o);
    o = {{"markov", model.CreateMarkovMatrix(nullptr, nullptr)},
         {"outputScale", anyMatrix(channels, 1, 71)},
         {"inputScale", anyMatrix(channels, 1, 72)}};
    return o;
}

/// What is peculiar to a realisation of a Markov matrix, in which the curves give the gains alone: they end in them.
/// No gain is too far from NaN.
std::optional<Outcome> ofMarkovMatrix(const Damage& d) {
    if (d.argument == "curves" && !d.isWhole() && d.row < d.lastRow) {
        return same;
    }
    const bool areAllGainsNan = std::isnan(d.value) && (d.isWhole() || d.size == 1);
    if (d.argument == "curves" && areAllGainsNan) {
        return finite;
    }
    // The first block is the feedthrough.
    if (d.argument == "markov" && d.col == 0 && d.size == 1 && std::isnan(d.value)) {
        return marked;
    }
    return std::nullopt;
}

std::vector<Call> curveFunctions() {
    return {
        {"LTIFIRModel copies, GetGain and GetCoeffPointer",
         curveOperands,
         [](Operands& o, Results& r) {
             LTIFIRModel model = modelOf(o, true);
             const LTIFIRModel copy = model.CreateCopy();
             add(r, copy);
             r.add(model.GetGain());
             if (model.coefficients.rows() > 0) {
                 r.add(*LTIFIRModel::GetCoeffPointer(&model, 0, 0));
             }
         },
         {{"curves", marked}}},
        {"LTIFIRModel::CreateMarkovMatrix",
         curveOperands,
         [](Operands& o, Results& r) { r.add(modelOf(o, true).CreateMarkovMatrix(nullptr, nullptr)); },
         {{"curves", marked}}},
        {"LTIFIRModel::CreateMarkovMatrix, scaled",
         [](int n) {
             Operands o = curveOperands(n);
             o.list().push_back({"inputScale", anyMatrix(channelsOf(n), 1, 73)});
             return o;
         },
         [](Operands& o, Results& r) {
             Vector<double> outputScale;
             Vector<double> inputScale = o.vector("inputScale");
             Vector<double> chosen;
             r.add(modelOf(o).CreateMarkovMatrix(&outputScale, &inputScale));
             r.add(modelOf(o).CreateMarkovMatrix(nullptr, &chosen));
         },
         {{"curves", marked}, {"inputScale", marked}}},
        {"LTIFIRModel::CreateHankelMatrix",
         markovOperands,
         [](Operands& o, Results& r) {
             LTIFIRModel model;
             Matrix<double> feedthrough;
             const int width = std::max(1, o["markov"].rows());
             r.add(model.CreateHankelMatrix(o["markov"], width, 5, feedthrough));
             r.add(feedthrough);
         },
         {{"markov", marked}},
         minusOne},
        {"LTIFIRModel::BlockTransposition",
         markovOperands,
         [](Operands& o, Results& r) {
             LTIFIRModel model;
             const int width = std::max(1, o["markov"].rows());
             Matrix<double> stack = model.BlockTransposition(o["markov"], true, 0, o["markov"].cols() / width, width);
             r.add(stack);
         },
         {{"markov", marked}}},
        {"LTIFIRModel::CreateStateSpaceModel",
         curveOperands,
         [](Operands& o, Results& r) { add(r, modelOf(o).CreateStateSpaceModel(true, 0, nullptr)); },
         {{"curves", failure}},
         minusOne},
        {"LTIFIRModel::CreateStateSpaceModel, ramp",
         curveOperands,
         [](Operands& o, Results& r) { add(r, modelOf(o, true).CreateStateSpaceModel(false, 4, nullptr)); },
         {{"curves", failure}},
         minusOne},
        {"LTIFIRModel::CreateStateSpaceModel of a Markov matrix",
         [](int n) {
             Operands o = markovOperands(n);
             const Operands curves = curveOperands(n);
             Operands both = curves;
             o.list().push_back(both.list().front());
             return o;
         },
         [](Operands& o, Results& r) {
             Vector<double> values;
             Vector<double> outputScale = o.vector("outputScale");
             Vector<double> inputScale = o.vector("inputScale");
             add(r, modelOf(o).CreateStateSpaceModel(o["markov"], true, 0, &values, &outputScale, &inputScale));
         },
         {{"markov", failure}, {"outputScale", minusOne}, {"inputScale", minusOne}, {"curves", minusOne}},
         minusOne,
         finite,
         {0, 1, 2, 5, 40},
         ofMarkovMatrix},
        {"LTIFIRModel of a system and a reference",
         [](int n) {
             Operands o = curveOperands(n);
             const int channels = channelsOf(n);
             o.list().push_back({"A", discreteMatrix(n)});
             o.list().push_back({"B", anyMatrix(n, channels, 74)});
             o.list().push_back({"C", anyMatrix(channels, n, 75)});
             o.list().push_back({"D", anyMatrix(channels, channels, 76)});
             o.list().push_back({"sampleTime", numberOf(1.0)});
             return o;
         },
         [](Operands& o, Results& r) {
             const LTIStateSpaceModel system(o["A"], o["B"], o["C"], o["D"], discreteSystem, o.number("sampleTime"));
             add(r, LTIFIRModel(system, modelOf(o)));
         },
         {{"curves", same}, {"A", marked}, {"B", marked}, {"C", marked}, {"D", marked}, {"sampleTime", same}}},
        {"LTIFIRModel::WriteModel and ReadModel",
         curveOperands,
         [](Operands& o, Results& r) {
             TemporaryFile file;
             LTIFIRModel model = modelOf(o);
             LTIFIRModel back;
             if (!model.WriteModel(file.writableName()) || !back.ReadModel(file.writableName())) {
                 r.refuse();
                 return;
             }
             add(r, back);
         },
         {{"curves", marked}},
         finite,
         finite,
         {0, 1, 2, 5, 40},
         [](const Damage& d) -> std::optional<Outcome> {
             // The file has no place for the start of a curve.
             return d.row == 0 ? std::optional(same) : std::nullopt;
         }},
    };
}

Call reduceCall(const std::string& name, qormath::ReduceOptions::OrderChoice choice, bool firstIsRamp) {
    return {"reduce, " + name,
            [](int n) {
                Operands o = curveOperands(n);
                o.list().push_back({"curveTolerance", numberOf(1.0)});
                o.list().push_back({"dampingLimit", numberOf(0.1)});
                o.list().push_back({"gainTolerance", numberOf(0.0)});
                return o;
            },
            [choice, firstIsRamp](Operands& o, Results& r) {
                qormath::ReduceOptions options;
                options.orderChoice = choice;
                options.order = 2;
                options.curveTolerance = o.number("curveTolerance");
                options.dampingLimit = o.number("dampingLimit");
                options.gainTolerance = o.number("gainTolerance");
                const qormath::ReduceResult result = qormath::reduce(modelOf(o, firstIsRamp), options);
                if (!result.refusal.empty()) {
                    r.refuse();
                    return;
                }
                add(r, result.model);
                add(r, result.curves);
            },
            {{"curves", refusal},
             {"curveTolerance", choice == qormath::ReduceOptions::OrderChoice::byCurveTolerance ? refusal : same},
             {"dampingLimit", refusal},
             {"gainTolerance", refusal}},
            refusal};
}

std::vector<Call> analysisFunctions() {
    return {
        {"QorSVDAnalysis",
         [](int n) {
             return Operands{{"gain", anyMatrix(std::min(n, 6), std::min(n, 6), 77)},
                             {"scaling", anyMatrix(std::min(n, 6), 1, 78)},
                             {"largest condition", numberOf(1e6)}};
         },
         [](Operands& o, Results& r) {
             QorMathLA::QorSVDAnalysis analysis(o["gain"], o.vector("scaling"), 2, 10, true,
                                                o.number("largest condition"));
             analysis.computeAnalysis();
             r.add(analysis.getScaledGainMatrix());
             for (const QorMathLA::SVDSubMatrix& part : analysis.getResults()) {
                 r.add(part.getConditionNumber(), part.getRGA());
             }
         },
         {{"gain", minusOne}, {"scaling", minusOne}, {"largest condition", finite}}},
        {"unitFactors",
         [](int n) {
             return Operands{{"gain", anyMatrix(n, n, 81)}};
         },
         [](Operands& o, Results& r) { r.add(qormath::unitFactors(o["gain"])); },
         {{"gain", minusOne}}},
        {"SVDSubMatrix",
         [](int) {
             return Operands{{"condition", numberOf(2.0)}, {"rga", numberOf(1.5)}};
         },
         [](Operands& o, Results& r) {
             Vector<int> indices(1);
             indices[0] = 0;
             const QorMathLA::SVDSubMatrix part(indices, indices, o.number("condition"), o.number("rga"));
             const QorMathLA::SVDSubMatrix other(indices, indices, 3.0, 1.0);
             r.add(part.getConditionNumber(), part.getRGA(), part < other ? 1.0 : 0.0);
         },
         {{"condition", marked}, {"rga", marked}}},
        {"SVDAnalysis",
         [](int n) {
             return Operands{{"gain", anyMatrix(std::min(n, 6), std::min(n, 6), 79)},
                             {"scaling", anyMatrix(std::min(n, 6), 1, 80)},
                             {"value", numberOf(1e6)}};
         },
         [](Operands& o, Results& r) {
             const int n = o["gain"].rows();
             Matrix<double> scaled(n, n);
             int columns[20] = {};
             int rows[20] = {};
             double conditions[10] = {};
             double rga[10] = {};
             int count = 0;
             SVDAnalysis(n, n, o["gain"].numericData(true), scaled.numericData(true), o["scaling"].numericData(true),
                         10, 2, 1, o.number("value"), columns, rows, conditions, rga, &count, 10);
             r.add(scaled, count);
             for (int k = 0; k < std::min(count, 10); ++k) {
                 r.add(conditions[k], rga[k]);
             }
         },
         {{"gain", minusOne}, {"scaling", minusOne}, {"value", finite}}},
        {"AddVector",
         [](int n) {
             return Operands{{"values", anyMatrix(n, 1, 81)}};
         },
         [](Operands& o, Results&) {
             InitializeDMI();
             AddVector("KEY", "text", "unit", o["values"].numericData(true), o["values"].rows());
             DeleteVector("KEY");
             InitializeDMI();
         },
         {{"values", same}}},
    };
}

}  // namespace

std::vector<Call> curveCalls() {
    return curveFunctions();
}

std::vector<Call> analysisCalls() {
    std::vector<Call> calls = analysisFunctions();
    using enum qormath::ReduceOptions::OrderChoice;
    calls.push_back(reduceCall("by tolerance", byCurveTolerance, false));
    calls.push_back(reduceCall("by number", byNumber, false));
    calls.push_back(reduceCall("with a ramp", middle, true));
    return calls;
}

}  // namespace qormath::test
