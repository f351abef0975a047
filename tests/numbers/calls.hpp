#pragma once

// Calls of the public functions as rows of a table: what numbers enter by, and what comes out.

#include <cmath>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <qormath/core/complex_matrix.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>

namespace qormath::test {

/// How a call ends.
enum class Outcome {
    minusOne,  ///< the int -1
    xmsg5,     ///< operands that do not fit
    xmsg10,    ///< division by zero
    xmsg11,    ///< a factorisation failed
    failure,   ///< the int -1 or xmsg 11, by the step that meets the number first
    refusal,   ///< a result that says why there is none
    marked,    ///< a result with NaN or infinity in it, for all to see
    noticed,   ///< failure or marked: infinities that meet may cancel to NaN, which no comparison finds too large
    finite,    ///< a result without NaN and infinity
    same,      ///< the result of the same call with sound operands, to the bit: the number does not count
    unknown    ///< any other exception
};

/// One number, or every number, of one operand that is not finite.
struct Damage {
    std::string argument;
    int size = 0;  ///< of the operands, as Call::operands takes it
    double value = 0.0;
    int row = -1;  ///< -1: the whole operand
    int col = -1;
    int lastRow = 0;

    bool isWhole() const { return row < 0; }
};

/// The arguments of a call, each a matrix; vectors are columns and numbers 1 by 1.
class Operands {
  public:
    struct Operand {
        std::string name;
        QorMathLA::Matrix<double> value;
    };

    Operands() = default;
    Operands(std::initializer_list<Operand> list) : list_(list) {}

    QorMathLA::Matrix<double>& operator[](const std::string& name) {
        for (Operand& operand : list_) {
            if (operand.name == name) {
                return operand.value;
            }
        }
        throw std::out_of_range("no operand " + name);
    }

    double number(const std::string& name) { return (*this)[name](0, 0); }

    QorMathLA::Vector<double> vector(const std::string& name) {
        const QorMathLA::Matrix<double>& column = (*this)[name];
        QorMathLA::Vector<double> result(column.rows());
        for (int k = 0; k < result.size(); ++k) {
            result[k] = column(k, 0);
        }
        return result;
    }

    std::vector<Operand>& list() { return list_; }

  private:
    std::vector<Operand> list_;
};

/// What a call gives back, number by number, in a fixed order.
class Results {
  public:
    void add(double number) { numbers_.push_back(number); }

    template <class Container>
    requires requires(const Container& c) { typename Container::value_type; }
    void add(const Container& elements) {
        for (const auto& element : elements) {
            add(element);
        }
    }

    void add(const std::complex<double>& number) {
        add(number.real());
        add(number.imag());
    }

    template <class First, class Second, class... Others>
    void add(const First& first, const Second& second, const Others&... others) {
        add(first);
        add(second);
        (add(others), ...);
    }

    void refuse() { isRefused = true; }

    bool areFinite() const {
        for (const double number : numbers_) {
            if (!std::isfinite(number)) {
                return false;
            }
        }
        return true;
    }

    const std::vector<double>& numbers() const { return numbers_; }

    bool isRefused = false;

  private:
    std::vector<double> numbers_;
};

/// What is said of an argument: how the call ends when a NaN, an infinity or a negative infinity stands in it.
struct Expected {
    std::string argument;
    Outcome nan;
    Outcome infinity;
    Outcome negativeInfinity;

    Expected(std::string name, Outcome always) : Expected(std::move(name), always, always, always) {}
    Expected(std::string name, Outcome forNan, Outcome forInfinities)
        : Expected(std::move(name), forNan, forInfinities, forInfinities) {}
    Expected(std::string name, Outcome forNan, Outcome forInfinity, Outcome forNegativeInfinity)
        : argument(std::move(name)), nan(forNan), infinity(forInfinity), negativeInfinity(forNegativeInfinity) {}
};

/// A public function. What it may write is copied by run, so that every operand is as it was afterwards.
struct Call {
    std::string function;
    std::function<Operands(int size)> operands;
    std::function<void(Operands&, Results&)> run;
    std::vector<Expected> expected;
    Outcome withoutElements = Outcome::finite;  ///< of sound operands of size 0
    Outcome sound = Outcome::finite;            ///< of sound operands of any other size
    std::vector<int> sizes = {0, 1, 2, 5, 40};

    /// Where it matters which number of the operand is damaged.
    std::function<std::optional<Outcome>(const Damage&)> exception = nullptr;
};

std::vector<Call> coreCalls();
std::vector<Call> decompositionCalls();
std::vector<Call> equationCalls();
std::vector<Call> modelCalls();
std::vector<Call> curveCalls();
std::vector<Call> conditioningCalls();
std::vector<Call> analysisCalls();

}  // namespace qormath::test
