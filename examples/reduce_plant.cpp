// Reduces the curves of a plant to those of the smallest model within a tolerance, and says what came of it.
//
//   reduce_plant MODEL.fir REDUCED.fir [PERCENT]

#include <cstdio>
#include <cstdlib>

#include <qormath/core/xmsg.hpp>
#include <qormath/pipeline/reduce.hpp>

namespace {

int run(char* source, char* target, const qormath::ReduceOptions& options) {
    LTIFIRModel plant;
    if (!plant.ReadModel(source)) {
        std::fprintf(stderr, "%s is not a step-response model file that can be read\n", source);
        return 1;
    }

    qormath::ReduceResult result = qormath::reduce(plant, options);
    if (!result.refusal.empty()) {
        std::fprintf(stderr, "%s cannot be reduced: %s\n", source, result.refusal.c_str());
        return 1;
    }
    for (const std::string& warning : result.warnings) {
        std::fprintf(stderr, "%s: %s\n", source, warning.c_str());
    }
    std::printf("%d states instead of %d, curves within %.3g %%\n", result.orderReached, result.statesRealised,
                result.curveErrorPercent ? result.curveErrorPercent->value : 0.0);

    if (!result.curves.WriteModel(target)) {
        std::fprintf(stderr, "%s cannot be written\n", target);
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3 && argumentCount != 4) {
        std::fprintf(stderr, "usage: %s MODEL.fir REDUCED.fir [PERCENT]\n", arguments[0]);
        return 2;
    }
    qormath::ReduceOptions options;
    if (argumentCount == 4) {
        options.curveTolerance = std::strtod(arguments[3], nullptr);
    }
    try {
        return run(arguments[1], arguments[2], options);
    } catch (const QorMathLA::xmsg& error) {
        std::fprintf(stderr, "%s cannot be reduced: %s\n", arguments[1], error.message.c_str());
    } catch (int) {
        std::fprintf(stderr, "%s cannot be reduced\n", arguments[1]);
    }
    return 1;
}
