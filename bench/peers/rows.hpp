#pragma once

#include <vector>

#include "contest.hpp"

namespace qormath::peers {

void addSchurRows(std::vector<Row>& rows);
void addEquationRows(std::vector<Row>& rows);

}  // namespace qormath::peers
