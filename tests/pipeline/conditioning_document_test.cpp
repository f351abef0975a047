// The numbers of docs/conditioning.md, computed anew.

#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <support/curve_errors.hpp>
#include <support/reduced_models.hpp>
#include <support/transfer.hpp>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/pipeline/reduce.hpp>

namespace {

using qormath::ReduceOptions;
using qormath::ReduceResult;
using QorMathLA::Matrix;
using QorMathLA::Vector;

/// What the page calls 0.
constexpr double roundingOfGain = 1e-11;

std::string page() {
    std::ifstream file(QORMATH_CONDITIONING_PAGE);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

/// The page on one line.
std::string pageInWords() {
    std::string text = page();
    for (char& c : text) {
        c = c == '\n' ? ' ' : c;
    }
    return text;
}

struct Row {
    int states = -1;
    double gain = -1.0;
    double curves = -1.0;
};

/// The row of the table of stages.
Row rowOf(const std::string& stage) {
    std::istringstream text(page());
    const std::string start = "| " + stage + " | ";
    for (std::string line; std::getline(text, line);) {
        if (line.rfind(start, 0) == 0) {
            std::istringstream cells(line.substr(start.size()));
            Row row;
            char bar = '\0';
            cells >> row.states >> bar >> row.gain >> bar >> row.curves;
            return row;
        }
    }
    ADD_FAILURE() << "the page has no row " << stage;
    return {};
}

/// Three digits agree.
void expectDigits(double found, double written) {
    EXPECT_LE(std::fabs(found - written), 0.005 * std::fabs(written)) << found << " is written as " << written;
}

class ConditioningPage : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = std::string(QORMATH_EXAMPLE_MODELS) + "/surge_drum.fir";
        ASSERT_TRUE(model_.ReadModel(name.data()));
        realised_ = model_.CreateStateSpaceModel(true, 0, nullptr);
        stable_ = realised_;
        QorMathControl::RemoveRamps(stable_, ramps_);
    }

    void expectRow(const std::string& stage, const LTIStateSpaceModel& system) {
        LTIStateSpaceModel stable(system);
        LTIStateSpaceModel ramps;
        QorMathControl::RemoveRamps(stable, ramps);
        const double gain = qormath::test::maxDifference(qormath::test::transferAt(stable, 1.0),
                                                         qormath::test::transferAt(stable_, 1.0));
        expectNumbers(stage, system.A.rows(), gain, LTIFIRModel(system, model_));
    }

    void expectNumbers(const std::string& stage, int states, double gain, const LTIFIRModel& curves) {
        SCOPED_TRACE(stage);
        const Row row = rowOf(stage);
        EXPECT_EQ(states, row.states);
        if (row.gain == 0.0) {
            EXPECT_LE(gain, roundingOfGain);
        } else {
            expectDigits(gain, row.gain);
        }
        expectDigits(100.0 * qormath::test::curveError(curves, model_), row.curves);
    }

    void expectReduced(const std::string& stage, double tolerance) {
        ReduceOptions options;
        options.curveTolerance = tolerance;
        const ReduceResult result = qormath::reduce(model_, options);
        expectNumbers(stage, result.orderReached, qormath::test::largestGainErrorOfPeak(result, model_), result.curves);
    }

    LTIStateSpaceModel shrunk(int order, double gainTolerance) {
        constexpr double byDefault = -1.0;
        constexpr double noDamping = 0.0;
        int asked = order;
        return QorMathControl::Shrink(realised_, asked, byDefault, byDefault, gainTolerance, noDamping);
    }

    LTIFIRModel model_;
    LTIStateSpaceModel realised_;
    LTIStateSpaceModel stable_;
    LTIStateSpaceModel ramps_;
};

}  // namespace

TEST_F(ConditioningPage, HasTheNumbersOfEachStage) {
    constexpr int coarse = -2;
    constexpr int fine = -3;
    constexpr double leaveGain = -1.0;
    constexpr double restoreGain = 0.0;
    expectRow("realised", realised_);
    expectRow("coarse, gain left", shrunk(coarse, leaveGain));
    expectRow("coarse, gain restored", shrunk(coarse, restoreGain));
    expectRow("fine, gain restored", shrunk(fine, restoreGain));
    LTIStateSpaceModel damped(stable_);
    QorMathControl::RemoveRingers(damped, 0.6, leaveGain);
    expectRow("without ringers below 0.6", ramps_ + damped);
}

TEST_F(ConditioningPage, HasTheNumbersOfTheWholeRoad) {
    expectReduced("reduce, within 5 %", 5.0);
    expectReduced("reduce, within 1 %", 1.0);
}

TEST_F(ConditioningPage, HasTheReportOfTheMinimalRealisation) {
    LTIStateSpaceModel work(realised_);
    Vector<int> report;
    QorMathControl::MinimalRealization(work, report, -1.0, -1.0, -1.0);
    std::ostringstream words;
    words << "Here it reports " << report[0] << " states removed, " << report[1] << " in the leading block, "
          << report[2] << " integrator, " << report[3] << " stable states, " << report[4]
          << " delays, and suggests the orders " << report[5] << " (coarse) and " << report[6] << " (fine)";
    EXPECT_NE(pageInWords().find(words.str()), std::string::npos) << words.str();
}

TEST_F(ConditioningPage, HasTheHankelSingularValues) {
    Matrix<double> a(stable_.A);
    Matrix<double> b(stable_.B);
    Matrix<double> c(stable_.C);
    Matrix<double> d(stable_.D);
    Vector<double> hsv;
    QorMathControl::ModelReduction(a, b, c, d, hsv, reductionBalancedShrink, discreteSystem, 0, -1.0, 0.0);
    const std::string text = page();
    std::istringstream written(text.substr(text.find("has twelve:") + 11));
    ASSERT_EQ(hsv.size(), 12);
    for (int k = 0; k < hsv.size(); ++k) {
        double value = 0.0;
        char comma = '\0';
        ASSERT_TRUE(written >> value) << k;
        expectDigits(hsv[k], value);
        if (k + 1 < hsv.size()) {
            written >> comma;
        }
    }
}

TEST_F(ConditioningPage, HasTheRinger) {
    bool found = false;
    for (const std::complex<double>& pole : qormath::test::sortedPoles(stable_.A)) {
        const std::complex<double> s = std::log(pole);
        const double ratio = std::fabs(s.real()) / std::abs(s);
        if (ratio <= 0.6) {
            EXPECT_FALSE(found) << "only one is told";
            found = true;
            expectDigits(pole.real(), -0.139);
            expectDigits(ratio, 0.532);
        }
    }
    EXPECT_TRUE(found);
    EXPECT_NE(pageInWords().find("loses its pole at -0.139, whose damping ratio is 0.532"), std::string::npos);
}
