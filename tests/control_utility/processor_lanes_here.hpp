#pragma once

#include <vector>

#include <qormath/control_utility/processor_lanes.hpp>

namespace qormath::test {

/// None, and all that this processor has.
inline std::vector<control_utility::Lanes> allLanesHere() {
    using control_utility::Lanes;
    std::vector<Lanes> result;
    for (const Lanes lanes : {Lanes::none, Lanes::four, Lanes::eight}) {
        if (lanes <= control_utility::lanesOfProcessor()) {
            result.push_back(lanes);
        }
    }
    return result;
}

}  // namespace qormath::test
