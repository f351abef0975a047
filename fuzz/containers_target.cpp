// Random programs over a few matrices, views and vectors, and the same programs over lists of places: after every step
// all of them show the same elements. The elements are small integers, so that every sum is exact in any order.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <fuzz/byte_source.hpp>
#include <fuzz/expect.hpp>
#include <fuzz/naive_matrix.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <qormath/core/matrix.hpp>

namespace {

using namespace qormath::fuzz;
using namespace QorMathLA;

constexpr std::size_t slots = 3;
constexpr int largestSize = 4;
// Appending stops here: what doubles at every step soon takes all of the time and says no more.
constexpr int largestAppended = 8;
// Beyond it a slot is filled anew, so that products stay exact.
constexpr double largestElement = 10000.0;

struct MatrixSlot {
    Matrix<double> real;
    NaiveMatrix naive;
};

struct SoftSlot {
    std::optional<MatrixSoft<double>> real = MatrixSoft<double>(Matrix<double>());
    NaiveMatrix naive;
};

struct VectorSlot {
    std::optional<VectorSoft<double>> real = VectorSoft<double>(Vector<double>());
    NaiveMatrix naive;
};

/// An operand is a matrix or a view; both are read alike.
struct Operand {
    const BasicMatrix<double>& real;
    const NaiveMatrix& naive;
};

void expectSame(const BasicMatrix<double>& real, const NaiveMatrix& naive) {
    expect(real.rows() == naive.rows && real.cols() == naive.cols, "the shapes agree");
    std::size_t walked = 0;
    for (const double element : real) {
        expect(walked < naive.places.size() && element == naive.element(walked), "a walk meets the same elements");
        ++walked;
    }
    expect(walked == naive.places.size(), "a walk meets all elements");
    for (int j = 0; j < naive.cols; ++j) {
        for (int i = 0; i < naive.rows; ++i) {
            expect(real(i, j) == naive.at(i, j), "the elements agree");
        }
    }
}

void expectSame(const BasicVector<double>& real, const NaiveMatrix& naive) {
    expect(real.size() == static_cast<int>(naive.places.size()), "the lengths agree");
    for (int k = 0; k < real.size(); ++k) {
        expect(real[k] == naive.element(static_cast<std::size_t>(k)), "the elements of a vector agree");
    }
}

/// Runs an operation that throws exactly where its operands do not fit; true where they do.
bool runs(bool fits, int code, const char* message, const std::function<void()>& operation) {
    try {
        operation();
    } catch (const xmsg& error) {
        expect(!fits, "operands that fit are taken");
        expect(error.code == code && error.message == std::string(message), "the error is that of the operation");
        return false;
    }
    expect(fits, "operands that do not fit are refused");
    return true;
}

class Program {
  public:
    explicit Program(ByteSource source) : bytes(source) {}

    void run() {
        while (!bytes.empty()) {
            step();
            compareAll();
        }
    }

  private:
    MatrixSlot& matrix() { return matrices[bytes.below(slots)]; }
    SoftSlot& soft() { return softs[bytes.below(slots)]; }
    VectorSlot& vector() { return vectors[bytes.below(slots)]; }

    int size() { return bytes.upTo(largestSize); }
    double number() { return static_cast<double>(bytes.below(9)) - 4.0; }

    Operand operand() {
        if (bytes.below(2) == 0) {
            const MatrixSlot& slot = matrix();
            return {slot.real, slot.naive};
        }
        const SoftSlot& slot = soft();
        return {*slot.real, slot.naive};
    }

    void step();
    void make();
    void assign();
    void view();
    void write();
    void transposeInPlace();
    void arithmetic();
    void inPlaceArithmetic();
    void append();
    void scale();
    void identity();
    void vectorView();
    void vectorWork();
    void matrixTimesVector();
    void move();
    void refuse();
    void compareAll();

    void keep(MatrixSlot& target, const MatrixSoft<double>& real, const NaiveMatrix& naive) {
        target.real = real;
        target.naive = naive;
    }

    ByteSource bytes;
    std::array<MatrixSlot, slots> matrices;
    std::array<SoftSlot, slots> softs;
    std::array<VectorSlot, slots> vectors;
};

void Program::step() {
    static constexpr std::array<void (Program::*)(), 15> steps = {&Program::make,
                                                                  &Program::assign,
                                                                  &Program::view,
                                                                  &Program::write,
                                                                  &Program::transposeInPlace,
                                                                  &Program::arithmetic,
                                                                  &Program::inPlaceArithmetic,
                                                                  &Program::append,
                                                                  &Program::scale,
                                                                  &Program::identity,
                                                                  &Program::vectorView,
                                                                  &Program::vectorWork,
                                                                  &Program::matrixTimesVector,
                                                                  &Program::move,
                                                                  &Program::refuse};
    (this->*steps[bytes.below(steps.size())])();
}

void Program::make() {
    MatrixSlot& target = matrix();
    const int rows = size();
    const int cols = size();
    std::vector<double> elements;
    for (int k = 0; k < rows * cols; ++k) {
        elements.push_back(number() + k);
    }
    target.real = Matrix<double>(rows, cols, elements.data());
    target.naive = NaiveMatrix(rows, cols, elements);
}

void Program::assign() {
    MatrixSlot& target = matrix();
    if (bytes.below(2) == 0) {
        const MatrixSlot& source = matrix();
        target.real = source.real;
        target.naive = source.naive.copy();
    } else {
        const SoftSlot& source = soft();
        target.real = *source.real;
        target.naive = source.naive;
    }
}

void Program::view() {
    const Operand source = operand();
    SoftSlot& target = soft();
    if (bytes.below(3) == 0) {
        const NaiveMatrix naive = source.naive.transpose();
        const MatrixSoft<double> real = source.real.transpose();
        target.real.emplace(real);
        target.naive = naive;
        return;
    }
    const int row = bytes.upTo(source.naive.rows);
    const int rowCount = bytes.upTo(source.naive.rows - row);
    const int col = bytes.upTo(source.naive.cols);
    const int colCount = bytes.upTo(source.naive.cols - col);
    const bool allRows = bytes.below(4) == 0;
    const NaiveMatrix naive = allRows ? source.naive.part(0, source.naive.rows, col, colCount)
                                      : source.naive.part(row, rowCount, col, colCount);
    const MatrixSoft<double> real =
        source.real(allRows ? Range(-1, -1, 1) : Range(row, row + rowCount - 1, 1), Range(col, col + colCount - 1, 1));
    target.real.emplace(real);
    target.naive = naive;
}

void Program::write() {
    if (bytes.below(3) == 0) {
        const double value = number();
        MatrixSlot& target = matrix();
        target.real = value;
        target.naive.fill(value);
        return;
    }
    SoftSlot& target = soft();
    if (bytes.below(2) == 0) {
        const MatrixSlot& source = matrix();
        if (!target.naive.overlaps(source.naive)) {
            *target.real = source.real;
            target.naive.assign(source.naive);
        }
    } else {
        const SoftSlot& source = soft();
        if (!target.naive.overlaps(source.naive)) {
            *target.real = *source.real;
            target.naive.assign(source.naive);
        }
    }
}

void Program::transposeInPlace() {
    MatrixSlot& target = matrix();
    // The stored view of a transposed matrix is the result already; otherwise the elements move to a new block.
    const bool isFlagged = target.naive.transposed;
    target.real.transposeInPlace();
    target.naive = isFlagged ? target.naive.transpose() : target.naive.transpose().copy();
    target.naive.transposed = false;
}

void Program::arithmetic() {
    const Operand a = operand();
    const Operand b = operand();
    MatrixSlot& target = matrix();
    const bool sameShape = a.naive.rows == b.naive.rows && a.naive.cols == b.naive.cols;
    const bool fits = a.naive.cols == b.naive.rows;
    const double factor = number();
    std::optional<MatrixSoft<double>> real;
    NaiveMatrix naive;
    switch (bytes.below(6)) {
        case 0:
            if (runs(sameShape, 5, "Matrix + Matrix", [&] { real.emplace(a.real + b.real); })) {
                naive = sumOf(a.naive, 1.0, b.naive);
            }
            break;
        case 1:
            if (runs(sameShape, 5, "Matrix - Matrix", [&] { real.emplace(a.real - b.real); })) {
                naive = sumOf(a.naive, -1.0, b.naive);
            }
            break;
        case 2:
            // Without an inner size the result is the empty matrix.
            if (runs(fits, 5, "Matrix * Matrix", [&] { real.emplace(a.real * b.real); })) {
                naive = a.naive.cols == 0 ? NaiveMatrix() : productOf(a.naive, b.naive);
            }
            break;
        case 3:
            if (runs(fits, 5, "Matrix * Matrix", [&] { real.emplace(product(a.real, b.real)); })) {
                naive = productOf(a.naive, b.naive);
            }
            break;
        case 4:
            real.emplace(a.real * factor);
            naive = sumOf(a.naive, factor - 1.0, a.naive);
            break;
        default: {
            const double divisor = factor < -1.0 ? 0.0 : factor < 1.0 ? -1.0 : 1.0;
            if (runs(divisor != 0.0, 10, "Matrix / Type", [&] { real.emplace(a.real / divisor); })) {
                naive = sumOf(a.naive, divisor - 1.0, a.naive);
            }
        }
    }
    if (real) {
        keep(target, *real, naive);
    }
}

void Program::inPlaceArithmetic() {
    SoftSlot& target = soft();
    if (bytes.below(3) == 0) {
        const double factor = number();
        *target.real *= factor;
        target.naive.assign(sumOf(target.naive, factor - 1.0, target.naive));
        return;
    }
    const Operand source = operand();
    if (target.naive.overlaps(source.naive)) {
        return;
    }
    const bool sameShape = target.naive.rows == source.naive.rows && target.naive.cols == source.naive.cols;
    if (bytes.below(2) == 0) {
        if (runs(sameShape, 5, "Matrix + Matrix", [&] { *target.real += source.real; })) {
            target.naive.assign(sumOf(target.naive, 1.0, source.naive));
        }
    } else if (runs(sameShape, 5, "Matrix - Matrix", [&] { *target.real -= source.real; })) {
        target.naive.assign(sumOf(target.naive, -1.0, source.naive));
    }
}

void Program::append() {
    const Operand a = operand();
    const Operand b = operand();
    MatrixSlot& target = matrix();
    std::optional<MatrixSoft<double>> real;
    const bool toTheRight = bytes.below(2) == 0;
    if ((toTheRight ? a.naive.cols + b.naive.cols : a.naive.rows + b.naive.rows) > largestAppended) {
        return;
    }
    if (toTheRight) {
        const bool fits = a.naive.rows == b.naive.rows;
        if (runs(fits, 5, "Matrix appendToRight", [&] { real.emplace(a.real.appendToRight(b.real)); })) {
            const NaiveMatrix naive = besideOf(a.naive, b.naive);
            keep(target, *real, naive);
        }
    } else {
        const bool fits = a.naive.cols == b.naive.cols;
        if (runs(fits, 5, "Matrix appendToBottom", [&] { real.emplace(a.real.appendToBottom(b.real)); })) {
            NaiveMatrix naive = besideOf(a.naive.transpose(), b.naive.transpose()).transpose().copy();
            keep(target, *real, naive);
        }
    }
}

void Program::scale() {
    const Operand a = operand();
    const VectorSlot& factors = vector();
    MatrixSlot& target = matrix();
    const bool byRows = bytes.below(2) == 0;
    const bool fits = static_cast<int>(factors.naive.places.size()) == (byRows ? a.naive.rows : a.naive.cols);
    std::optional<MatrixSoft<double>> real;
    if (runs(fits, 5, byRows ? "Matrix scaleRowsBy" : "Matrix scaleColumnsBy", [&] {
            real.emplace(byRows ? a.real.scaleRowsBy(*factors.real) : a.real.scaleColumnsBy(*factors.real));
        })) {
        const NaiveMatrix naive = a.naive.copy();
        for (int j = 0; j < naive.cols; ++j) {
            for (int i = 0; i < naive.rows; ++i) {
                naive.set(static_cast<std::size_t>(j * naive.rows + i),
                          a.naive.at(i, j) * factors.naive.element(static_cast<std::size_t>(byRows ? i : j)));
            }
        }
        keep(target, *real, naive);
    }
}

void Program::identity() {
    MatrixSlot& target = matrix();
    const int given = size() - 1;
    const int order = given == -1 ? target.naive.rows : given;
    target.real.setIdentity(given);
    target.naive = NaiveMatrix(order, order, std::vector<double>(static_cast<std::size_t>(order * order), 0.0));
    for (int k = 0; k < order; ++k) {
        target.naive.set(static_cast<std::size_t>(k * order + k), 1.0);
    }
}

void Program::vectorView() {
    VectorSlot& target = vector();
    const auto bind = [&](const VectorSoft<double>& real, const NaiveMatrix& naive) {
        target.real.emplace(real);
        target.naive = naive.asColumn();
    };
    if (bytes.below(4) == 0) {
        const VectorSlot source = vector();
        const int length = static_cast<int>(source.naive.places.size());
        if (source.real->range.stride == 1) {
            const int start = bytes.upTo(length);
            const int count = bytes.upTo(length - start);
            bind((*source.real)(Range(start, start + count - 1, 1)), source.naive.part(start, count, 0, 1));
        }
        return;
    }
    const Operand source = operand();
    const bool byColumn = bytes.below(2) == 0;
    const int length = byColumn ? source.naive.rows : source.naive.cols;
    const int count = byColumn ? source.naive.cols : source.naive.rows;
    if (count == 0 || length == 0) {
        return;
    }
    const int index = bytes.upTo(count - 1);
    const int offset = bytes.upTo(length - 1);
    const int asked = bytes.upTo(length - offset);
    const int taken = asked == 0 ? length - offset : asked;
    switch (bytes.below(2)) {
        case 0:
            bind(byColumn ? source.real.column(index) : source.real.row(index),
                 byColumn ? source.naive.part(0, length, index, 1) : source.naive.part(index, 1, 0, length));
            break;
        default:
            bind(source.real.slice(index, byColumn, offset, asked),
                 byColumn ? source.naive.part(offset, taken, index, 1) : source.naive.part(index, 1, offset, taken));
    }
}

void Program::vectorWork() {
    VectorSlot& target = vector();
    const VectorSlot& source = vector();
    const auto length = target.naive.places.size();
    const bool fits = length == source.naive.places.size();
    if (target.naive.overlaps(source.naive)) {
        return;
    }
    switch (bytes.below(6)) {
        case 0:
            *target.real = *source.real;
            target.naive.assign(source.naive);
            break;
        case 1:
            if (runs(fits, 5, "Vector + Vector", [&] { *target.real += *source.real; })) {
                target.naive.assign(sumOf(target.naive, 1.0, source.naive));
            }
            break;
        case 2:
            if (runs(fits, 5, "Vector - Vector", [&] { *target.real -= *source.real; })) {
                target.naive.assign(sumOf(target.naive, -1.0, source.naive));
            }
            break;
        case 3: {
            double dot = 0.0;
            if (runs(fits, 5, "Vector * Vector", [&] { dot = *target.real * *source.real; })) {
                const NaiveMatrix naive = productOf(target.naive.asColumn().transpose(), source.naive.asColumn());
                expect(dot == (length == 0 ? 0.0 : naive.at(0, 0)), "the dot products agree");
            }
            break;
        }
        case 4: {
            const double value = number();
            *target.real = value;
            target.naive.fill(value);
            break;
        }
        default: {
            double sum = 0.0;
            for (const double element : target.naive.elements()) {
                sum += element;
            }
            expect(target.real->sum() == sum, "the sums agree");
        }
    }
}

void Program::matrixTimesVector() {
    const Operand a = operand();
    const VectorSlot& x = vector();
    const bool fits = a.naive.cols == static_cast<int>(x.naive.places.size());
    std::optional<VectorSoft<double>> real;
    if (runs(fits, 5, "Matrix * Vector", [&] { real.emplace(a.real * *x.real); })) {
        VectorSlot& target = vector();
        const NaiveMatrix naive = productOf(a.naive, x.naive.asColumn());
        target.real.emplace(*real);
        target.naive = naive;
    }
}

void Program::move() {
    MatrixSlot& source = matrix();
    MatrixSlot& target = matrix();
    if (&source == &target) {
        return;
    }
    target.real = std::move(source.real);
    target.naive = source.naive.copy();
    // A matrix that alone holds what it shows is left empty, any other one as it was.
    if (!source.naive.places.empty() && source.real.rows() == 0 && source.real.cols() == 0) {
        source.naive = NaiveMatrix();
    }
}

void Program::refuse() {
    const Operand a = operand();
    runs(!a.naive.transposed, 9, "Matrix: get data for Fortran call", [&] { a.real.numericData(true); });
    bool isRefused = false;
    try {
        const MatrixSoft<double> view = a.real(Range(-1, -1, 2), Range(-1, -1, 1));
    } catch (const int code) {
        isRefused = code == -1;
    }
    expect(isRefused, "a stride that differs is refused");
}

void Program::compareAll() {
    for (MatrixSlot& slot : matrices) {
        expectSame(slot.real, slot.naive);
        if (slot.real.maxAbs() > largestElement) {
            slot.real = 1.0;
            slot.naive.fill(1.0);
        }
    }
    for (SoftSlot& slot : softs) {
        if (slot.real->maxAbs() > largestElement) {
            *slot.real = 1.0;
            slot.naive.fill(1.0);
        }
        expectSame(*slot.real, slot.naive);
    }
    for (VectorSlot& slot : vectors) {
        if (slot.real->maxAbs() > largestElement) {
            *slot.real = 1.0;
            slot.naive.fill(1.0);
        }
        expectSame(*slot.real, slot.naive);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Program(ByteSource(bytes, size)).run();
    return 0;
}
