#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <models/small_fir_models.hpp>
#include <string>
#include <support/comma_locale.hpp>
#include <support/plain_fir_file.hpp>
#include <support/temporary_file.hpp>
#include <vector>

#include <qormath/models/detail/round7.hpp>
#include <qormath/models/lti_fir_model.hpp>

using namespace qormath::test;
using qormath::models::firRound7;
using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

// The library's model of a plain one; element 0 of each curve is something that no file holds.
LTIFIRModel modelOf(const PlainModel& plain) {
    const int inputs = static_cast<int>(plain.inputs.size());
    const int outputs = static_cast<int>(plain.outputs.size());
    LTIFIRModel model;
    model.coefficients = Matrix<Vector<double>>(inputs, outputs);
    model.rampFlags = Vector<bool>(outputs);
    model.inputNames = Vector<std::string>(inputs);
    model.inputDescriptors = Vector<std::string>(inputs);
    model.outputNames = Vector<std::string>(outputs);
    model.outputDescriptors = Vector<std::string>(outputs);
    model.coefficientCount = plain.coefficientCount;
    model.horizonSeconds = plain.horizonSeconds;
    for (int i = 0; i < inputs; ++i) {
        model.inputNames[i] = plain.inputs[static_cast<std::size_t>(i)].name;
        model.inputDescriptors[i] = plain.inputs[static_cast<std::size_t>(i)].descriptor;
    }
    for (int j = 0; j < outputs; ++j) {
        const PlainVariable& output = plain.outputs[static_cast<std::size_t>(j)];
        model.outputNames[j] = output.name;
        model.outputDescriptors[j] = output.descriptor;
        model.rampFlags[j] = output.ramp > 0;
        for (int i = 0; i < inputs; ++i) {
            const std::vector<double>& curve = plain.curves[static_cast<std::size_t>(inputs * j + i)];
            if (!curve.empty()) {
                Vector<double> stored(plain.coefficientCount + 1);
                stored[0] = -77.0;
                std::copy(curve.begin(), curve.end(), &stored[1]);
                model.coefficients(i, j) = stored;
            }
        }
    }
    return model;
}

LTIFIRModel readBack(TemporaryFile& file) {
    LTIFIRModel model;
    EXPECT_TRUE(model.ReadModel(file.writableName()));
    return model;
}

std::vector<std::string> openFiles() {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        files.push_back(std::filesystem::read_symlink(entry.path(), error).string());
    }
    return files;
}

bool isOpen(const std::string& path) {
    const std::vector<std::string> files = openFiles();
    return std::find(files.begin(), files.end(), std::filesystem::weakly_canonical(path).string()) != files.end();
}

std::string firstLines(const std::string& text, int count) {
    std::size_t end = 0;
    for (; count > 0; --count) {
        end = text.find('\n', end) + 1;
    }
    return text.substr(0, end);
}

std::string withLine(const std::string& text, int index, const std::string& line) {
    const std::string before = firstLines(text, index);
    return before + line + text.substr(text.find('\n', before.size()));
}

}  // namespace

TEST(WriteModel, WritesCountsThatAreMultiplesOfTheFourLengths) {
    for (const int count : {30, 45, 60, 75, 90, 105, 120, 150, 210}) {
        const PlainModel plain = smallModel(count);
        TemporaryFile file;
        EXPECT_TRUE(modelOf(plain).WriteModel(file.writableName())) << count;
        EXPECT_EQ(textOfFile(file.name()), plainText(plain)) << count;
    }
}

TEST(WriteModel, ThrowsMinusOneForAnyOtherCountAndTouchesNoFile) {
    for (const int count : {-30, 0, 1, 15, 29, 31, 40, 50, 100, 106, std::numeric_limits<int>::max()}) {
        LTIFIRModel model = modelOf(smallModel(30));
        model.coefficientCount = count;
        TemporaryFile file;
        try {
            model.WriteModel(file.writableName());
            ADD_FAILURE() << count << " was written";
        } catch (const int code) {
            EXPECT_EQ(code, -1);
        }
        EXPECT_FALSE(file.exists()) << count;
    }
}

TEST(WriteModel, IsFalseWhereTheFileCannotBeOpened) {
    LTIFIRModel model = modelOf(smallModel());
    EXPECT_FALSE(model.WriteModel(nullptr));
    std::string path = testing::TempDir() + "no-such-folder/model.fir";
    EXPECT_FALSE(model.WriteModel(path.data()));
}

TEST(WriteModel, IsFalseOnAFullDisk) {
    std::string path = "/dev/full";
    if (!std::filesystem::exists(path)) {
        GTEST_SKIP() << "this system has no /dev/full";
    }
    EXPECT_FALSE(modelOf(smallModel()).WriteModel(path.data()));
    EXPECT_FALSE(modelOf(emptyModel(30, 30, 120)).WriteModel(path.data()));
    EXPECT_FALSE(modelOf(emptyModel(0, 0, 30)).WriteModel(path.data()));
    EXPECT_FALSE(isOpen(path));
}

TEST(WriteModel, LeavesElementZeroOutAndTheModelAsItWas) {
    LTIFIRModel model = modelOf(smallModel());
    TemporaryFile file;
    ASSERT_TRUE(model.WriteModel(file.writableName()));
    EXPECT_EQ(textOfFile(file.name()).find("-7.700000e+01"), std::string::npos);
    EXPECT_EQ(model.coefficients(0, 0)[0], -77.0);
    EXPECT_EQ(readBack(file).coefficients(0, 0)[0], 0.0);
    EXPECT_FALSE(isOpen(file.name()));
}

TEST(WriteModel, WritesModelsWithoutInputsOrOutputs) {
    for (const auto& [inputs, outputs] : std::vector<std::pair<int, int>>{{0, 0}, {3, 0}, {0, 3}}) {
        TemporaryFile file;
        ASSERT_TRUE(modelOf(emptyModel(inputs, outputs, 30)).WriteModel(file.writableName()));
        const LTIFIRModel model = readBack(file);
        EXPECT_EQ(model.coefficients.rows(), inputs);
        EXPECT_EQ(model.coefficients.cols(), outputs);
        EXPECT_EQ(model.inputNames.size(), inputs);
        EXPECT_EQ(model.rampFlags.size(), outputs);
    }
}

using WriteModelDeathTest = testing::Test;

TEST(WriteModelDeathTest, StopsTheProcessAtATextOfMoreThanTwelveCharacters) {
    // A BLAS may have threads of its own, so the process that is to die is started anew.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    LTIFIRModel model = modelOf(smallModel());
    model.outputNames[0] = "abcdefghijklm";
    std::string nowhere = "/dev/null";
    EXPECT_EXIT(model.WriteModel(nowhere.data()), testing::KilledBySignal(SIGABRT),
                testing::StrEq("firSetOutput: the name has 13 characters, the limit is 12\n"));
}

TEST(ReadModel, BringsAWrittenModelBack) {
    const PlainModel plain = smallModel();
    TemporaryFile file;
    ASSERT_TRUE(modelOf(plain).WriteModel(file.writableName()));
    const LTIFIRModel model = readBack(file);
    EXPECT_EQ(model.coefficientCount, 30);
    EXPECT_EQ(model.horizonSeconds, 1800);
    ASSERT_EQ(model.coefficients.rows(), 2);
    ASSERT_EQ(model.coefficients.cols(), 3);
    for (int j = 0; j < 3; ++j) {
        EXPECT_EQ(model.outputNames[j], plain.outputs[static_cast<std::size_t>(j)].name);
        EXPECT_EQ(model.outputDescriptors[j], "SENSOR");
        EXPECT_EQ(model.rampFlags[j], j == 1);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(model.inputNames[i], plain.inputs[static_cast<std::size_t>(i)].name);
            const std::vector<double>& curve = plain.curves[static_cast<std::size_t>(2 * j + i)];
            const Vector<double>& read = model.coefficients(i, j);
            ASSERT_EQ(read.size(), curve.empty() ? 0 : 31);
            for (std::size_t k = 1; k < curve.size(); ++k) {
                // Half a unit of the seventh digit, and the rounding of the powers of ten.
                EXPECT_NEAR(read[static_cast<int>(k)], curve[k - 1], 5.1e-7 * std::fabs(curve[k - 1]));
            }
        }
    }
}

TEST(ReadModel, TakesTheLastCoefficientFromTheGain) {
    PlainModel plain = emptyModel(1, 2, 30);
    plain.outputs[1].ramp = 1;
    const std::vector<double> curve = lagCurve(1.0 / 3.0, 7.0, 30);
    plain.curves = {curve, curve};
    TemporaryFile file(plainText(plain));
    const LTIFIRModel model = readBack(file);
    // Sixteen digits hold a double to the last bit or two.
    EXPECT_NEAR(model.coefficients(0, 0)[30], curve[29], 1e-15 * curve[29]);
    const double step = curve[29] - curve[28];
    const double before = model.coefficients(0, 1)[29];
    EXPECT_EQ(before, firRound7(static_cast<double>(static_cast<float>(before))));
    EXPECT_NEAR(model.coefficients(0, 1)[30] - before, step, 1e-15);
}

TEST(ReadModel, AddsTheGainOfARampToTheCoefficientBefore) {
    PlainModel plain = emptyModel(1, 1, 30);
    plain.outputs[0].ramp = 1;
    plain.curves[0] = lagCurve(3.0, 2.0, 30);
    plain.curves[0][28] = 4.0;
    plain.curves[0][29] = 4.5;
    TemporaryFile file(plainText(plain));
    EXPECT_NE(textOfFile(file.name()).find("   5.000000000000000e-01\n"), std::string::npos);
    EXPECT_EQ(readBack(file).coefficients(0, 0)[30], 4.5);
}

TEST(ReadModel, HoldsTheOtherCoefficientsToSevenDigits) {
    PlainModel plain = emptyModel(1, 1, 30);
    plain.curves[0] = lagCurve(1.9, 4.0, 30);
    TemporaryFile file(plainText(plain));
    const PlainFIRFile raw(file.name());
    const LTIFIRModel model = readBack(file);
    for (int k = 1; k < 30; ++k) {
        EXPECT_EQ(model.coefficients(0, 0)[k],
                  firRound7(static_cast<double>(raw.data[static_cast<std::size_t>(k) - 1])));
    }
}

TEST(ReadModel, DoesNotTellZeroCurvesFromEmptyOnes) {
    PlainModel plain = smallModel();
    plain.curves[0] = std::vector<double>(30, 0.0);
    TemporaryFile file;
    ASSERT_TRUE(modelOf(plain).WriteModel(file.writableName()));
    const LTIFIRModel model = readBack(file);
    EXPECT_EQ(model.coefficients(0, 0).size(), 0);
    EXPECT_EQ(model.coefficients(0, 2).size(), 0);
    EXPECT_EQ(model.coefficients(1, 0).size(), 31);
}

TEST(ReadModel, IsFalseForAValueThatTheWriterCountsAndAFloatCannotHold) {
    PlainModel plain = emptyModel(1, 1, 30);
    plain.curves[0] = std::vector<double>(30, 0.0);
    plain.curves[0][4] = 1e-50;
    TemporaryFile file;
    ASSERT_TRUE(modelOf(plain).WriteModel(file.writableName()));
    LTIFIRModel model;
    EXPECT_FALSE(model.ReadModel(file.writableName()));
}

TEST(ReadModel, TakesTextsInUpperCase) {
    PlainModel plain = smallModel();
    plain.inputs[0] = {"Feed flow", "m3/h", 0};
    TemporaryFile file;
    ASSERT_TRUE(modelOf(plain).WriteModel(file.writableName()));
    EXPECT_EQ(readBack(file).inputNames[0], "FEED FLOW");
    EXPECT_EQ(readBack(file).inputDescriptors[0], "M3/H");
}

TEST(ReadModel, TakesARampValueAboveZeroForARamp) {
    PlainModel plain = emptyModel(1, 3, 30);
    plain.outputs[0].ramp = 2;
    plain.outputs[1].ramp = -1;
    for (const int version : {9896, 1}) {
        plain.version = version;
        TemporaryFile file(plainText(plain));
        const LTIFIRModel model = readBack(file);
        EXPECT_TRUE(model.rampFlags[0]);
        EXPECT_FALSE(model.rampFlags[1]);
        EXPECT_FALSE(model.rampFlags[2]);
    }
}

TEST(ReadModel, ReadsAnOtherVersionWithItsNamesAndDerivedGains) {
    PlainModel plain = smallModel(30, 1);
    plain.extraComments = {"one", "two"};
    TemporaryFile file(plainText(plain));
    const PlainFIRFile raw(file.name());
    const LTIFIRModel model = readBack(file);
    EXPECT_EQ(model.inputNames[1], "IN1");
    EXPECT_EQ(model.outputDescriptors[2], "SENSOR");
    EXPECT_EQ(model.coefficients(0, 0)[30], firRound7(static_cast<double>(raw.data[29])));
    const double last = firRound7(static_cast<double>(raw.data[89]));
    const double before = firRound7(static_cast<double>(raw.data[88]));
    EXPECT_EQ(model.coefficients(0, 1)[30], (last - before) + before);
}

TEST(ReadModel, ReplacesWhatTheModelHeld) {
    LTIFIRModel model = modelOf(smallModel(45));
    const LTIFIRModel copy(model);
    TemporaryFile file(plainText(emptyModel(1, 1, 30)));
    ASSERT_TRUE(model.ReadModel(file.writableName()));
    EXPECT_EQ(model.coefficients.rows(), 1);
    EXPECT_EQ(model.coefficients.cols(), 1);
    EXPECT_EQ(model.coefficients(0, 0).size(), 0);
    EXPECT_EQ(model.inputNames.size(), 1);
    EXPECT_EQ(copy.coefficients(0, 0).size(), 46);
}

TEST(ReadModel, IsFalseWithoutAFileAndLeavesTheModel) {
    LTIFIRModel model = modelOf(smallModel());
    EXPECT_FALSE(model.ReadModel(nullptr));
    TemporaryFile none;
    EXPECT_FALSE(model.ReadModel(none.writableName()));
    EXPECT_EQ(model.coefficientCount, 30);
    EXPECT_EQ(model.coefficients.rows(), 2);
}

TEST(ReadModel, IsFalseForNegativeCountsThatTheHeaderLetsPass) {
    LTIFIRModel model;
    TemporaryFile noOutputs(withLine(plainText(emptyModel(2, 0, 30)), 3, "-1"));
    EXPECT_FALSE(model.ReadModel(noOutputs.writableName()));
    TemporaryFile noInputs(withLine(plainText(emptyModel(0, 2, 30)), 2, "-1"));
    EXPECT_FALSE(model.ReadModel(noInputs.writableName()));
}

TEST(ReadModel, IsFalseForACoefficientCountBelowOne) {
    LTIFIRModel model;
    TemporaryFile file(withLine(plainText(emptyModel(1, 1, 30)), 4, "0"));
    EXPECT_FALSE(model.ReadModel(file.writableName()));
}

// No vector could hold such a curve, and none has to.
TEST(ReadModel, TakesTheLargestCoefficientCountOfAFileWithoutCurves) {
    for (const int outputs : {0, 1}) {
        LTIFIRModel model;
        TemporaryFile file(withLine(plainText(emptyModel(outputs == 0 ? 2 : 0, outputs, 30)), 4, "2147483647"));
        EXPECT_TRUE(model.ReadModel(file.writableName()));
        EXPECT_EQ(model.coefficientCount, std::numeric_limits<int>::max());
        EXPECT_EQ(model.coefficients.cols(), outputs);
    }
}

// The lists of 20000 variables each are really there, the 400 million pairs are not.
TEST(ReadModel, MakesNoRoomForPairsThatTheFileDoesNotHold) {
    const PlainModel lists = emptyModel(20000, 0, 30);
    std::string text = withLine(plainText(lists), 3, "20000");
    for (int j = 0; j < 20000; ++j) {
        text += "       -0.000000                    OUT          SENSOR           0     0\n";
    }
    LTIFIRModel model;
    TemporaryFile file(text);
    EXPECT_FALSE(model.ReadModel(file.writableName()));
    EXPECT_EQ(model.rampFlags.size(), 20000);
}

TEST(ReadModel, ClosesTheFileOnEveryPath) {
    if (!std::filesystem::exists("/proc/self/fd")) {
        GTEST_SKIP() << "open files cannot be listed here";
    }
    const std::string text = plainText(smallModel());
    LTIFIRModel model;
    for (const std::string& contents :
         {text, firstLines(text, 3), firstLines(text, 9), firstLines(text, 20), firstLines(text, 40),
          withLine(text, 7, "1"), withLine(text, 4, "0"), withLine(plainText(emptyModel(2, 0, 30)), 3, "-1")}) {
        TemporaryFile file(contents);
        model.ReadModel(file.writableName());
        EXPECT_FALSE(isOpen(file.name()));
    }
}

TEST(ReadModel, LooksAtNoLocaleAndNeitherDoesWriteModel) {
    const PlainModel plain = smallModel();
    const std::string text = plainText(plain);
    const CommaLocale locale;
    TemporaryFile file;
    ASSERT_TRUE(modelOf(plain).WriteModel(file.writableName()));
    EXPECT_EQ(textOfFile(file.name()), text);
    EXPECT_EQ(readBack(file).coefficients(0, 0)[1],
              firRound7(static_cast<double>(static_cast<float>(plain.curves[0][0]))));
}

TEST(ReadModel, AndWriteModelGiveEveryExampleOfTheWrittenVersionBackByteForByte) {
    int models = 0;
    for (const auto& entry : std::filesystem::directory_iterator(QORMATH_EXAMPLE_MODELS)) {
        const std::string path = entry.path().string();
        if (entry.path().extension() != ".fir" || PlainFIRFile(path).version != 9896) {
            continue;
        }
        ++models;
        LTIFIRModel model;
        std::string name = path;
        ASSERT_TRUE(model.ReadModel(name.data())) << path;
        TemporaryFile file;
        ASSERT_TRUE(model.WriteModel(file.writableName())) << path;
        EXPECT_EQ(textOfFile(file.name()), textOfFile(path)) << path;
    }
    EXPECT_EQ(models, 6);
}

// What is read from an old file is written as a new one, and is the same model then.
TEST(ReadModel, AndWriteModelCarryAnOldExampleIntoTheWrittenVersion) {
    std::string path = std::string(QORMATH_EXAMPLE_MODELS) + "/old_version.fir";
    LTIFIRModel old;
    ASSERT_TRUE(old.ReadModel(path.data()));
    EXPECT_EQ(old.coefficientCount, 60);
    EXPECT_EQ(old.horizonSeconds, 7200);
    ASSERT_EQ(old.coefficients.rows(), 3);
    ASSERT_EQ(old.coefficients.cols(), 2);
    EXPECT_EQ(old.inputNames[0], "REFLUX");
    TemporaryFile file;
    ASSERT_TRUE(old.WriteModel(file.writableName()));
    const LTIFIRModel model = readBack(file);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(model.inputNames[i], old.inputNames[i]);
        for (int j = 0; j < 2; ++j) {
            ASSERT_EQ(model.coefficients(i, j).size(), old.coefficients(i, j).size());
            for (int k = 0; k < old.coefficients(i, j).size(); ++k) {
                // The gain field has sixteen digits, which may cost a double its last bit or two.
                const double value = old.coefficients(i, j)[k];
                EXPECT_NEAR(model.coefficients(i, j)[k], value, k < 60 ? 0.0 : 1e-15 * std::fabs(value));
            }
        }
    }
}
