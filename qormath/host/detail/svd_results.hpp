#pragma once

#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/numerics/svd_sub_matrix.hpp>

namespace qormath::host {

/// Where a host wants the results of its analysis. An array that gets nothing may be null.
struct ResultArrays {
    int* colIndices;
    int* rowIndices;
    double* conditionNumbers;
    double* rgaValues;
};

/// Copies the first count elements of the matrix in the order of its block. Throws xmsg 9 "Matrix: get data for
/// Fortran call" for a transposed one, unless nothing is to be copied.
void writeScaledGain(const QorMathLA::Matrix<double>& scaledGain, int count, double* target);

/// Brings the results, which are a whole block, into ascending order where they stand.
void sortResults(QorMathLA::Vector<QorMathLA::SVDSubMatrix>& results);

/// Writes the first results, at most maxResults: their measures by number, and their indices one run after the other.
void writeResults(const QorMathLA::Vector<QorMathLA::SVDSubMatrix>& results, int maxResults,
                  const ResultArrays& arrays);

}  // namespace qormath::host
