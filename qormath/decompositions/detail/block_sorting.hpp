#pragma once

#include <qormath/control/schur_order.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>

namespace qormath::decompositions {

/// Sorts the diagonal blocks of a real Schur form a = q t q' with eigenvalues wr and wi by modulus or by real part,
/// descending or ascending, by exchanges of neighbours as a bubble sort makes them: keys within 1e-10 are not
/// exchanged, and the keys move with their blocks, they are not read anew. An order that sorts by nothing leaves all as
/// it is. Throws the int -1 where two blocks are too close to swap: t and q are then as the swaps before have left
/// them.
void sortBlocksByExchanges(QorMathLA::Matrix<double>& t, QorMathLA::Matrix<double>& q, QorMathLA::Vector<double>& wr,
                           QorMathLA::Vector<double>& wi, schurOrder order);

/// The same in windows: the bubble sort runs over the keys alone, and the blocks go straight to where it has put them.
/// False, and all is as it was, where two blocks are too close to swap or a pair of eigenvalues has become real under
/// way, so that the exchanges would have met other blocks.
bool sortBlocksInWindows(QorMathLA::Matrix<double>& t, QorMathLA::Matrix<double>& q, QorMathLA::Vector<double>& wr,
                         QorMathLA::Vector<double>& wi, schurOrder order);

}  // namespace qormath::decompositions
