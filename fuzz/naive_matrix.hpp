#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace qormath::fuzz {

/// A matrix or a vector as a list of places in a block that several may share: what the containers do with leading
/// dimensions, ranges, strides and flags, done with lists alone. A vector is a matrix of one column.
struct NaiveMatrix {
    std::shared_ptr<std::vector<double>> block = std::make_shared<std::vector<double>>();
    int rows = 0;
    int cols = 0;
    bool transposed = false;          // a flag that only transposeInPlace and numericData look at
    std::vector<std::size_t> places;  // in column-major order

    NaiveMatrix() = default;

    NaiveMatrix(int rowCount, int colCount, const std::vector<double>& elements)
        : block(std::make_shared<std::vector<double>>(elements)),
          rows(rowCount),
          cols(colCount),
          places(elements.size()) {
        for (std::size_t k = 0; k < places.size(); ++k) {
            places[k] = k;
        }
    }

    std::size_t place(int i, int j) const { return places[static_cast<std::size_t>(j * rows + i)]; }
    double at(int i, int j) const { return (*block)[place(i, j)]; }
    double element(std::size_t k) const { return (*block)[places[k]]; }
    void set(std::size_t k, double value) const { (*block)[places[k]] = value; }

    std::vector<double> elements() const {
        std::vector<double> result;
        for (const std::size_t place : places) {
            result.push_back((*block)[place]);
        }
        return result;
    }

    NaiveMatrix copy() const { return {rows, cols, elements()}; }

    void fill(double value) const {
        for (const std::size_t place : places) {
            (*block)[place] = value;
        }
    }

    /// The rows from `row` and the columns from `col` on, as a view.
    NaiveMatrix part(int row, int rowCount, int col, int colCount) const {
        NaiveMatrix view = *this;
        view.rows = rowCount;
        view.cols = colCount;
        view.places.clear();
        for (int j = 0; j < colCount; ++j) {
            for (int i = 0; i < rowCount; ++i) {
                view.places.push_back(place(row + i, col + j));
            }
        }
        return view;
    }

    NaiveMatrix transpose() const {
        NaiveMatrix view = *this;
        std::swap(view.rows, view.cols);
        view.transposed = !transposed;
        view.places.clear();
        for (int i = 0; i < rows; ++i) {
            for (int j = 0; j < cols; ++j) {
                view.places.push_back(place(i, j));
            }
        }
        return view;
    }

    NaiveMatrix asColumn() const {
        NaiveMatrix view = *this;
        view.rows = static_cast<int>(places.size());
        view.cols = 1;
        return view;
    }

    /// Whether a place of one is a place of the other; not where both are the same list.
    bool overlaps(const NaiveMatrix& other) const {
        return block == other.block && places != other.places &&
               std::any_of(places.begin(), places.end(), [&](std::size_t place) {
                   return std::find(other.places.begin(), other.places.end(), place) != other.places.end();
               });
    }

    /// Writes elements until the shorter ends.
    void assign(const NaiveMatrix& source) const {
        for (std::size_t k = 0; k < places.size() && k < source.places.size(); ++k) {
            set(k, source.element(k));
        }
    }
};

inline NaiveMatrix productOf(const NaiveMatrix& a, const NaiveMatrix& b) {
    NaiveMatrix result(a.rows, b.cols, std::vector<double>(static_cast<std::size_t>(a.rows * b.cols), 0.0));
    for (int j = 0; j < b.cols; ++j) {
        for (int i = 0; i < a.rows; ++i) {
            double sum = 0.0;
            for (int k = 0; k < a.cols; ++k) {
                sum += a.at(i, k) * b.at(k, j);
            }
            result.set(static_cast<std::size_t>(j * a.rows + i), sum);
        }
    }
    return result;
}

inline NaiveMatrix sumOf(const NaiveMatrix& a, double factor, const NaiveMatrix& b) {
    NaiveMatrix result = a.copy();
    for (std::size_t k = 0; k < result.places.size(); ++k) {
        result.set(k, a.element(k) + factor * b.element(k));
    }
    return result;
}

inline NaiveMatrix besideOf(const NaiveMatrix& a, const NaiveMatrix& b) {
    std::vector<double> elements = a.elements();
    const std::vector<double> more = b.elements();
    elements.insert(elements.end(), more.begin(), more.end());
    return {a.rows, a.cols + b.cols, elements};
}

}  // namespace qormath::fuzz
