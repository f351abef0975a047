#include "model_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "model_diagnosis.hpp"
#include "program_error.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using QorMathLA::Vector;

// What the format of model files allows: a curve fills its data lines, for horizons that identification uses.
constexpr int fewestCoefficients = 30;
constexpr int coefficientUnits[] = {30, 45, 75, 105};

/// Below this a curve's values, written with seven digits and read in single precision, may all come back as zero.
constexpr double smallestCurve = FLT_MIN;

void requireReadable(const std::string& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0 || access(path.c_str(), R_OK) != 0) {
        throw ProgramError(path, std::string("cannot be read: ") + std::strerror(errno));
    }
    if (!S_ISREG(found.st_mode)) {
        // A model file is read twice, which a pipe does not allow.
        throw ProgramError(path, S_ISDIR(found.st_mode) ? "is a directory, not a model file"
                                                        : "is not a regular file; copy the model to one");
    }
}

/// A curve as a file can hold it.
Vector<double> storableCurve(const Vector<double>& curve, const std::string& path, const std::string& pair) {
    double largest = 0.0;
    for (const double value : curve) {
        if (!(std::fabs(value) <= FLT_MAX)) {
            throw ProgramError(
                path, "cannot be written: the step response of " + pair + " grows beyond what a model file can hold");
        }
        largest = std::max(largest, std::fabs(value));
    }
    return largest < smallestCurve ? Vector<double>() : curve;
}

}  // namespace

LTIFIRModel readModelFile(const std::string& path) {
    requireReadable(path);
    LTIFIRModel model;
    std::string name = path;
    bool isRead = false;
    try {
        isRead = model.ReadModel(name.data());
    } catch (const std::bad_alloc&) {
        // To the user this is the same as false: the file is to be named.
    }
    if (!isRead) {
        throw ProgramError(path, diagnoseModelFile(path));
    }
    return model;
}

void requireStorableCount(const std::string& path, int coefficientCount) {
    const auto fits = [coefficientCount](int unit) { return coefficientCount % unit == 0; };
    if (coefficientCount < fewestCoefficients ||
        std::none_of(std::begin(coefficientUnits), std::end(coefficientUnits), fits)) {
        throw ProgramError(path,
                           "cannot be written: a model file has curves of a multiple of 30, 45, 75 or 105 "
                           "coefficients, this model has " +
                               std::to_string(coefficientCount));
    }
}

FileToWrite modelFile(const std::string& path, const LTIFIRModel& model) {
    requireStorableCount(path, model.coefficientCount);
    const auto storable = std::make_shared<LTIFIRModel>(model);
    for (int i = 0; i < inputCountOf(model); ++i) {
        for (int j = 0; j < outputCountOf(model); ++j) {
            const std::string pair =
                "output " + toUtf8(model.outputNames[j]) + " to input " + toUtf8(model.inputNames[i]);
            storable->coefficients(i, j) = storableCurve(model.coefficients(i, j), path, pair);
        }
    }
    return {path, [path, storable](const std::string& name) {
                std::string fileName = name;
                errno = 0;
                if (!storable->WriteModel(fileName.data())) {
                    const int failure = errno;
                    const std::string cause = failure == 0 ? "" : std::string(": ") + std::strerror(failure);
                    throw ProgramError(path, "cannot be written" + cause);
                }
            }};
}

void writeModelFile(const std::string& path, const LTIFIRModel& model) {
    replaceFiles({modelFile(path, model)});
}

double sampleTimeOf(const LTIFIRModel& model) {
    return static_cast<double>(model.horizonSeconds) / static_cast<double>(model.coefficientCount);
}

int inputCountOf(const LTIFIRModel& model) {
    return model.coefficients.rows();
}

int outputCountOf(const LTIFIRModel& model) {
    return model.coefficients.cols();
}

std::vector<std::string> namesOf(const Vector<std::string>& names) {
    std::vector<std::string> result;
    for (const std::string& name : names) {
        result.push_back(toUtf8(name));
    }
    return result;
}

std::vector<std::string> rampNamesOf(const LTIFIRModel& model) {
    std::vector<std::string> result;
    for (int j = 0; j < model.rampFlags.size(); ++j) {
        if (model.rampFlags[j]) {
            result.push_back(toUtf8(model.outputNames[j]));
        }
    }
    return result;
}

}  // namespace qormath::cli
