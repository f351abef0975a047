#include <utility>

#include <qormath/models/lti_fir_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::Vector;

LTIFIRModel::LTIFIRModel() = default;

LTIFIRModel::LTIFIRModel(const LTIFIRModel& other) = default;

LTIFIRModel::LTIFIRModel(LTIFIRModel&& other) = default;

LTIFIRModel::LTIFIRModel(const Matrix<Vector<double>>& curves, const Vector<bool>& flags, int count, int seconds,
                         const Vector<std::string>& namesOfInputs, const Vector<std::string>& namesOfOutputs,
                         const Vector<std::string>& descriptorsOfInputs,
                         const Vector<std::string>& descriptorsOfOutputs)
    : coefficients(curves),
      rampFlags(flags),
      coefficientCount(count),
      horizonSeconds(seconds),
      inputNames(namesOfInputs),
      outputNames(namesOfOutputs),
      inputDescriptors(descriptorsOfInputs),
      outputDescriptors(descriptorsOfOutputs) {}

LTIFIRModel::~LTIFIRModel() = default;

LTIFIRModel& LTIFIRModel::operator=(const LTIFIRModel& other) {
    coefficients = other.coefficients;
    coefficientCount = other.coefficientCount;
    horizonSeconds = other.horizonSeconds;
    rampFlags = other.rampFlags;
    inputNames = other.inputNames;
    outputNames = other.outputNames;
    inputDescriptors = other.inputDescriptors;
    outputDescriptors = other.outputDescriptors;
    return *this;
}

LTIFIRModel& LTIFIRModel::operator=(LTIFIRModel&& other) = default;

LTIFIRModel LTIFIRModel::CreateCopy() {
    return LTIFIRModel(coefficients, rampFlags, coefficientCount, horizonSeconds, inputNames, outputNames,
                       inputDescriptors, outputDescriptors);
}

const double* LTIFIRModel::GetCoeffPointer(void* model, int output, int input) {
    const Vector<double>& curve = static_cast<LTIFIRModel*>(model)->coefficients(input, output);
    return curve.size() == 0 ? nullptr : &curve[1];
}

Matrix<double> LTIFIRModel::GetGain() {
    const int inputs = coefficients.rows();
    const int outputs = coefficients.cols();
    const int last = coefficientCount;
    Matrix<double> gain(outputs, inputs);
    for (int j = 0; j < outputs; ++j) {
        for (int i = 0; i < inputs; ++i) {
            const Vector<double>& curve = coefficients(i, j);
            if (curve.size() == 0) {
                gain(j, i) = 0.0;
            } else {
                gain(j, i) = rampFlags[j] ? curve[last] - curve[last - 1] : curve[last];
            }
        }
    }
    return gain;
}
