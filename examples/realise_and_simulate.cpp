// Takes a step-response model file to a state-space model and back to curves.
//
//   realise_and_simulate MODEL.fir OUT.fir

#include <cstdio>

#include <qormath/core/xmsg.hpp>
#include <qormath/models/lti_fir_model.hpp>

namespace {

int run(char* source, char* target) {
    LTIFIRModel plant;
    if (!plant.ReadModel(source)) {
        std::fprintf(stderr, "%s is not a step-response model file that can be read\n", source);
        return 1;
    }

    // With the gain retained, and of the order that the singular values ask for.
    const LTIStateSpaceModel system = plant.CreateStateSpaceModel(true, 0, nullptr);
    std::printf("%d inputs, %d outputs, %d states\n", system.B.cols(), system.C.rows(), system.A.rows());

    LTIFIRModel curves(system, plant);
    if (!curves.WriteModel(target)) {
        std::fprintf(stderr, "%s cannot be written\n", target);
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::fprintf(stderr, "usage: %s MODEL.fir OUT.fir\n", arguments[0]);
        return 2;
    }
    try {
        return run(arguments[1], arguments[2]);
    } catch (const QorMathLA::xmsg& error) {
        std::fprintf(stderr, "%s cannot be realised: %s\n", arguments[1], error.message.c_str());
    } catch (int) {
        std::fprintf(stderr, "%s cannot be realised\n", arguments[1]);
    }
    return 1;
}
