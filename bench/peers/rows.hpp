#pragma once

#include <vector>

#include "contest.hpp"

namespace qormath::peers {

void addConversionRows(std::vector<Row>& rows);
void addCoreRows(std::vector<Row>& rows);
void addDecompositionRows(std::vector<Row>& rows);
void addEquationRows(std::vector<Row>& rows);
void addFixedRows(std::vector<Row>& rows);
void addFileRows(std::vector<Row>& rows);
void addReductionRows(std::vector<Row>& rows);
void addRiccatiRows(std::vector<Row>& rows);
void addRoadRows(std::vector<Row>& rows);
void addSchurRows(std::vector<Row>& rows);

}  // namespace qormath::peers
