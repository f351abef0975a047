#pragma once

#include <cmath>

#include <qormath/core/matrix.hpp>

namespace qormath::conditioning {

/// Sets every element whose magnitude is below the limit to zero.
inline void chopSmallElements(QorMathLA::Matrix<double>& m, double limit) {
    for (double& element : m) {
        if (limit > std::fabs(element)) {
            element = 0.0;
        }
    }
}

}  // namespace qormath::conditioning
