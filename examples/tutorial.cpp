// From a model file to a small model, step by step, and then in one call. The reference explains each step.
//
//   tutorial MODEL.fir SMALL.fir

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <qormath/qormath.hpp>

namespace {

/// The largest difference of two sets of curves, in percent of each output's largest coefficient.
double differencePercent(const LTIFIRModel& plant, const LTIFIRModel& other) {
    double largest = 0.0;
    for (int output = 0; output < plant.coefficients.cols(); ++output) {
        double peak = 0.0;
        double difference = 0.0;
        for (int input = 0; input < plant.coefficients.rows(); ++input) {
            const QorMathLA::Vector<double>& curve = plant.coefficients(input, output);
            const QorMathLA::Vector<double>& otherCurve = other.coefficients(input, output);
            for (int k = 1; k <= plant.coefficientCount; ++k) {
                const double value = curve.size() == 0 ? 0.0 : curve[k];  // an empty curve stands for zeros
                peak = std::max(peak, std::fabs(value));
                difference = std::max(difference, std::fabs(value - otherCurve[k]));
            }
        }
        largest = std::max(largest, 100.0 * difference / peak);
    }
    return largest;
}

int run(char* modelFile, char* smallFile) {
    //! [read]
    LTIFIRModel plant;
    if (!plant.ReadModel(modelFile)) {
        std::fprintf(stderr, "%s is not a step-response model file\n", modelFile);
        return 1;
    }
    std::printf("%d inputs, %d outputs, curves of %d coefficients\n", plant.coefficients.rows(),
                plant.coefficients.cols(), plant.coefficientCount);
    //! [read]

    //! [realise]
    QorMathLA::Vector<double> singularValues;
    LTIStateSpaceModel realised = plant.CreateStateSpaceModel(true, 0, &singularValues);
    std::printf("realised with %d states\n", realised.A.rows());
    //! [realise]

    //! [shrink]
    int order = -2;  // the coarse suggestion; a positive number asks for that many states
    LTIStateSpaceModel small = QorMathControl::Shrink(realised, order, -1.0, -1.0, 0.0, 0.0);
    std::printf("reduced to %d states\n", small.A.rows());
    //! [shrink]

    //! [gain]
    const double gainError = (small.gain() - plant.GetGain()).maxAbs();
    std::printf("largest gain error %.1e\n", gainError);
    //! [gain]

    //! [simulate]
    LTIFIRModel curves(small, plant);
    std::printf("curves within %.2f %%\n", differencePercent(plant, curves));
    if (!curves.WriteModel(smallFile)) {
        std::fprintf(stderr, "%s cannot be written\n", smallFile);
        return 1;
    }
    //! [simulate]

    //! [reduce]
    qormath::ReduceOptions options;
    options.curveTolerance = 1.0;  // percent of each output's largest coefficient
    const qormath::ReduceResult result = qormath::reduce(plant, options);
    if (!result.refusal.empty()) {
        std::fprintf(stderr, "%s cannot be reduced: %s\n", modelFile, result.refusal.c_str());
        return 1;
    }
    std::printf("within 1 %%: %d states, curves within %.2f %%\n", result.orderReached,
                differencePercent(plant, result.curves));
    //! [reduce]
    return 0;
}

}  // namespace

//! [errors]
int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::fprintf(stderr, "usage: %s MODEL.fir SMALL.fir\n", arguments[0]);
        return 2;
    }
    try {
        return run(arguments[1], arguments[2]);
    } catch (const QorMathLA::xmsg& error) {
        std::fprintf(stderr, "%s failed\n", error.message.c_str());
    } catch (int) {
        std::fprintf(stderr, "a numerical step failed\n");
    }
    return 1;
}
//! [errors]
