#include <qormath/control_utility/processor_lanes.hpp>

namespace qormath::control_utility {

namespace {

Lanes findLanes() {
#ifdef QORMATH_HAS_LANES
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) {
        return Lanes::none;
    }
    return __builtin_cpu_supports("avx512f") ? Lanes::eight : Lanes::four;
#else
    return Lanes::none;
#endif
}

}  // namespace

Lanes lanesOfProcessor() {
    static const Lanes lanes = findLanes();
    return lanes;
}

}  // namespace qormath::control_utility
