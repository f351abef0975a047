#pragma once

/// @file
/// Everything that callers of the library use, in one include. The headers stand on their own too.

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/core/complex_matrix.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/core/range.hpp>
#include <qormath/core/shared_array.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/host/host_api.h>
#include <qormath/models/fir_file.hpp>
#include <qormath/models/lti_fir_model.hpp>
#include <qormath/models/lti_state_space_model.hpp>
#include <qormath/numerics/dense_gaussian_solver.hpp>
#include <qormath/numerics/qor_svd_analysis.hpp>
#include <qormath/numerics/svd_sub_matrix.hpp>
#include <qormath/pipeline/reduce.hpp>
#include <qormath/pipeline/unit_factors.hpp>
#include <qormath/structure/ability_manager.hpp>
#include <qormath/version.hpp>
