#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

Vector<double> vectorOf(const std::vector<double>& values) {
    return Vector<double>(static_cast<int>(values.size()), values.data());
}

Vector<std::string> textsOf(const std::vector<std::string>& values) {
    return Vector<std::string>(static_cast<int>(values.size()), values.data());
}

// Two inputs, three outputs, four coefficients; the second output is a ramp.
LTIFIRModel smallModel() {
    Matrix<Vector<double>> coefficients(2, 3);
    coefficients(0, 0) = vectorOf({0.0, 1.0, 2.0, 2.5, 2.75});
    coefficients(1, 0) = vectorOf({0.0, -1.0, -2.0, -3.0, -3.5});
    coefficients(0, 1) = vectorOf({0.0, 3.0, 4.0, 4.5, 5.0});
    coefficients(1, 2) = vectorOf({0.0, 3.0, 4.0, 4.5, 5.0});
    const bool flags[] = {false, true, false};
    return LTIFIRModel(coefficients, Vector<bool>(3, flags), 4, 240, textsOf({"IN0", "IN1"}),
                       textsOf({"OUT0", "OUT1", "OUT2"}), textsOf({"a", "b"}), textsOf({"c", "d", "e"}));
}

void expectSmallModel(const LTIFIRModel& model) {
    ASSERT_EQ(model.coefficients.rows(), 2);
    ASSERT_EQ(model.coefficients.cols(), 3);
    EXPECT_EQ(model.coefficients(1, 0).size(), 5);
    EXPECT_EQ(model.coefficients(1, 0)[3], -3.0);
    EXPECT_EQ(model.coefficients(0, 2).size(), 0);
    ASSERT_EQ(model.rampFlags.size(), 3);
    EXPECT_FALSE(model.rampFlags[0]);
    EXPECT_TRUE(model.rampFlags[1]);
    EXPECT_EQ(model.coefficientCount, 4);
    EXPECT_EQ(model.horizonSeconds, 240);
    ASSERT_EQ(model.inputNames.size(), 2);
    EXPECT_EQ(model.inputNames[1], "IN1");
    ASSERT_EQ(model.outputNames.size(), 3);
    EXPECT_EQ(model.outputNames[2], "OUT2");
    ASSERT_EQ(model.inputDescriptors.size(), 2);
    EXPECT_EQ(model.inputDescriptors[0], "a");
    ASSERT_EQ(model.outputDescriptors.size(), 3);
    EXPECT_EQ(model.outputDescriptors[1], "d");
}

void overwrite(LTIFIRModel& model) {
    model.coefficients(1, 0)[3] = 99.0;
    model.coefficients(0, 2) = vectorOf({9.0});
    model.rampFlags[0] = true;
    model.coefficientCount = 9;
    model.horizonSeconds = 9;
    model.inputNames[1] = "changed";
    model.outputNames[2] = "changed";
    model.inputDescriptors[0] = "changed";
    model.outputDescriptors[1] = "changed";
}

}  // namespace

TEST(LtiFirModel, IsEmptyByDefault) {
    const LTIFIRModel model;
    EXPECT_EQ(model.coefficients.rows(), 0);
    EXPECT_EQ(model.coefficients.cols(), 0);
    EXPECT_EQ(model.rampFlags.size(), 0);
    EXPECT_EQ(model.coefficientCount, 0);
    EXPECT_EQ(model.horizonSeconds, 0);
    EXPECT_EQ(model.inputNames.size(), 0);
    EXPECT_EQ(model.outputNames.size(), 0);
    EXPECT_EQ(model.inputDescriptors.size(), 0);
    EXPECT_EQ(model.outputDescriptors.size(), 0);
}

TEST(LtiFirModel, IsBuiltFromCopiesOfItsFields) {
    LTIFIRModel source = smallModel();
    const LTIFIRModel model(source.coefficients, source.rampFlags, 4, 240, source.inputNames, source.outputNames,
                            source.inputDescriptors, source.outputDescriptors);
    overwrite(source);
    expectSmallModel(model);
}

TEST(LtiFirModel, IsCopiedWithoutSharing) {
    LTIFIRModel source = smallModel();
    LTIFIRModel copy(source);
    expectSmallModel(copy);
    overwrite(copy);
    expectSmallModel(source);
}

TEST(LtiFirModel, CreateCopySharesNothing) {
    LTIFIRModel source = smallModel();
    LTIFIRModel copy = source.CreateCopy();
    expectSmallModel(copy);
    overwrite(copy);
    expectSmallModel(source);
}

TEST(LtiFirModel, IsAssignedWithoutSharingWhateverItHeldBefore) {
    LTIFIRModel source = smallModel();
    LTIFIRModel target;
    EXPECT_EQ(&(target = source), &target);
    expectSmallModel(target);
    overwrite(target);
    expectSmallModel(source);
    target = source;
    expectSmallModel(target);
}

TEST(LtiFirModel, AssignedToItselfStays) {
    LTIFIRModel model = smallModel();
    const LTIFIRModel& same = model;
    model = same;
    expectSmallModel(model);
}

TEST(LtiFirModel, IsMovedWhole) {
    LTIFIRModel source = smallModel();
    LTIFIRModel moved(std::move(source));
    expectSmallModel(moved);
    LTIFIRModel target;
    target = std::move(moved);
    expectSmallModel(target);
}

TEST(LtiFirModel, CopiesATransposedTablePacked) {
    LTIFIRModel source = smallModel();
    source.coefficients = Matrix<Vector<double>>(source.coefficients.transpose());
    const LTIFIRModel copy(source);
    EXPECT_FALSE(copy.coefficients.transposed);
    ASSERT_EQ(copy.coefficients.rows(), 3);
    ASSERT_EQ(copy.coefficients.cols(), 2);
    EXPECT_EQ(copy.coefficients(0, 1)[3], -3.0);
}

TEST(LtiFirModelGetCoeffPointer, PointsBehindTheStartOfTheCurveOfOutputAndInput) {
    LTIFIRModel model = smallModel();
    EXPECT_EQ(LTIFIRModel::GetCoeffPointer(&model, 0, 1), &model.coefficients(1, 0)[1]);
    EXPECT_EQ(*LTIFIRModel::GetCoeffPointer(&model, 1, 0), 3.0);
}

TEST(LtiFirModelGetCoeffPointer, IsNullForAnEmptyCurveOnly) {
    LTIFIRModel model = smallModel();
    EXPECT_EQ(LTIFIRModel::GetCoeffPointer(&model, 2, 0), nullptr);
    model.coefficients(0, 2) = vectorOf({0.0, 0.0, 0.0, 0.0, 0.0});
    EXPECT_EQ(LTIFIRModel::GetCoeffPointer(&model, 2, 0), &model.coefficients(0, 2)[1]);
}

TEST(LtiFirModelGetGain, IsTheLastElementTurnedRound) {
    LTIFIRModel model = smallModel();
    const Matrix<double> gain = model.GetGain();
    ASSERT_EQ(gain.rows(), 3);
    ASSERT_EQ(gain.cols(), 2);
    EXPECT_FALSE(gain.transposed);
    EXPECT_EQ(gain(0, 0), 2.75);
    EXPECT_EQ(gain(0, 1), -3.5);
    EXPECT_EQ(gain(2, 1), 5.0);
}

TEST(LtiFirModelGetGain, OfARampIsItsLastStep) {
    LTIFIRModel model = smallModel();
    EXPECT_EQ(model.GetGain()(1, 0), 0.5);
    model.rampFlags[1] = false;
    EXPECT_EQ(model.GetGain()(1, 0), 5.0);
}

TEST(LtiFirModelGetGain, OfAnEmptyCurveIsZero) {
    LTIFIRModel model = smallModel();
    EXPECT_EQ(model.GetGain()(1, 1), 0.0);
    EXPECT_EQ(model.GetGain()(2, 0), 0.0);
}

TEST(LtiFirModelGetGain, WithoutInputsOrOutputsIsEmptyAndKeepsItsShape) {
    LTIFIRModel model;
    EXPECT_EQ(model.GetGain().rows(), 0);
    EXPECT_EQ(model.GetGain().cols(), 0);
    model.coefficients = Matrix<Vector<double>>(0, 2);
    EXPECT_EQ(model.GetGain().rows(), 2);
    EXPECT_EQ(model.GetGain().cols(), 0);
    model.coefficients = Matrix<Vector<double>>(3, 0);
    EXPECT_EQ(model.GetGain().rows(), 0);
    EXPECT_EQ(model.GetGain().cols(), 3);
}
