#include "system_file.hpp"

#include <clocale>
#include <cstdint>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <support/temporary_folder.hpp>

#include "program_error.hpp"

namespace qormath::cli {
namespace {

using nlohmann::json;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::writeFile;
using QorMathLA::Matrix;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

Matrix<double> matrixOf(int rows, int columns, const std::function<double()>& element) {
    Matrix<double> result(rows, columns);
    for (int j = 0; j < columns; ++j) {
        for (int i = 0; i < rows; ++i) {
            result(i, j) = element();
        }
    }
    return result;
}

std::vector<std::string> names(const std::string& letter, int count) {
    std::vector<std::string> result;
    for (int k = 0; k < count; ++k) {
        result.push_back(letter + std::to_string(k));
    }
    return result;
}

SystemFile fileOf(int states, int inputs, int outputs, const std::function<double()>& element) {
    SystemFile file;
    const Matrix<double> a = matrixOf(states, states, element);
    const Matrix<double> b = matrixOf(states, inputs, element);
    const Matrix<double> c = matrixOf(outputs, states, element);
    const Matrix<double> d = matrixOf(outputs, inputs, element);
    file.system = LTIStateSpaceModel(a, b, c, d, discreteSystem, 0.1);
    file.inputs = names("U", inputs);
    file.outputs = names("Y", outputs);
    return file;
}

SystemFile smallFile() {
    return fileOf(1, 1, 1, [] { return 0.5; });
}

/// Finite doubles of every magnitude, from their bits.
std::function<double()> anyFinite() {
    return [generator = std::mt19937_64(4)]() mutable {
        for (;;) {
            const std::uint64_t bits = generator();
            double value = 0.0;
            std::memcpy(&value, &bits, sizeof value);
            if (value - value == 0.0) {
                return value;
            }
        }
    };
}

void expectSameBits(const Matrix<double>& a, const Matrix<double>& b) {
    ASSERT_EQ(a.rows(), b.rows());
    ASSERT_EQ(a.cols(), b.cols());
    for (int i = 0; i < a.rows(); ++i) {
        for (int j = 0; j < a.cols(); ++j) {
            EXPECT_EQ(std::memcmp(&a(i, j), &b(i, j), sizeof(double)), 0) << a(i, j) << " and " << b(i, j);
        }
    }
}

void expectSame(const SystemFile& a, const SystemFile& b) {
    expectSameBits(a.system.A, b.system.A);
    expectSameBits(a.system.B, b.system.B);
    expectSameBits(a.system.C, b.system.C);
    expectSameBits(a.system.D, b.system.D);
    EXPECT_EQ(a.system.sampleTime, b.system.sampleTime);
    EXPECT_EQ(a.system.sysType, b.system.sysType);
    EXPECT_EQ(a.inputs, b.inputs);
    EXPECT_EQ(a.outputs, b.outputs);
    EXPECT_EQ(a.curveOffset, b.curveOffset);
}

std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const ProgramError& error) {
        return error.what();
    }
    return "no error";
}

/// The error for the text of smallFile after a change.
std::string errorAfter(const std::function<void(json&)>& change) {
    json object = json::parse(systemFileText(smallFile()));
    change(object);
    return errorOf([&] { parseSystemFile(object.dump()); });
}

TEST(SystemFile, HoldsTheFieldsOfItsFormat) {
    SystemFile file = fileOf(2, 1, 3, [value = 0.0]() mutable { return value += 1.0; });
    const json object = json::parse(systemFileText(file));
    EXPECT_EQ(object, json::parse(R"({
        "format": "qormath-system", "formatVersion": 1, "type": "discrete", "sampleTime": 0.1, "curveOffset": 1,
        "states": 2, "inputCount": 1, "outputCount": 3, "inputs": ["U0"], "outputs": ["Y0", "Y1", "Y2"],
        "A": [[1.0, 3.0], [2.0, 4.0]], "B": [[5.0], [6.0]], "C": [[7.0, 10.0], [8.0, 11.0], [9.0, 12.0]],
        "D": [[13.0], [14.0], [15.0]] })"));
}

TEST(SystemFile, GivesEveryFiniteNumberBack) {
    const SystemFile file = fileOf(20, 10, 15, anyFinite());
    expectSame(parseSystemFile(systemFileText(file)), file);
}

TEST(SystemFile, GivesTheLimitsOfDoublesBack) {
    using Limits = std::numeric_limits<double>;
    const double values[] = {0.0,      -0.0, Limits::min(), Limits::denorm_min(), Limits::max(), Limits::lowest(),
                             1.0 / 3.0};
    for (const double value : values) {
        const SystemFile file = fileOf(1, 1, 1, [value] { return value; });
        expectSame(parseSystemFile(systemFileText(file)), file);
    }
}

TEST(SystemFile, KeepsTheShapesOfMatricesWithoutElements) {
    for (const int states : {0, 1, 2}) {
        for (const int inputs : {0, 1, 3}) {
            for (const int outputs : {0, 1, 3}) {
                const SystemFile file = fileOf(states, inputs, outputs, [] { return 2.0; });
                expectSame(parseSystemFile(systemFileText(file)), file);
            }
        }
    }
}

TEST(SystemFile, TakesDefaultConstructedMatricesForAModelWithoutStates) {
    SystemFile file = fileOf(0, 2, 3, [] { return 2.0; });
    file.system.A = Matrix<double>();
    file.system.B = Matrix<double>();
    file.system.C = Matrix<double>();
    const SystemFile back = parseSystemFile(systemFileText(file));
    EXPECT_EQ(back.system.B.cols(), 2);
    EXPECT_EQ(back.system.C.rows(), 3);
    expectSameBits(back.system.D, file.system.D);
}

TEST(SystemFile, KeepsTypeSampleTimeAndCurveOffset) {
    SystemFile file = smallFile();
    file.system.sysType = continuousSystem;
    file.system.sampleTime = 0.0;
    file.curveOffset = 0;
    expectSame(parseSystemFile(systemFileText(file)), file);
}

TEST(SystemFile, KeepsNamesOfAnyCharacters) {
    SystemFile file = smallFile();
    file.inputs = {"K\xC3\x9C\"\\\n"};
    expectSame(parseSystemFile(systemFileText(file)), file);
}

TEST(SystemFile, HasALineForEachRowOfAMatrix) {
    EXPECT_THAT(systemFileText(fileOf(2, 1, 1, [] { return 0.25; })),
                HasSubstr("\"A\": [\n    [0.25,0.25],\n    [0.25,0.25]\n  ]"));
}

TEST(SystemFile, IsTheSameInEveryLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const SystemFile file = fileOf(1, 1, 1, [] { return 0.125; });
    const std::string text = systemFileText(file);
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8"}) {
        if (std::setlocale(LC_ALL, name) != nullptr) {
            EXPECT_EQ(systemFileText(file), text);
            expectSame(parseSystemFile(text), file);
        }
    }
    std::setlocale(LC_ALL, before.c_str());
}

TEST(SystemFile, RefusesToHoldNumbersThatAreNotFinite) {
    for (const double value : {nan, infinity, -infinity}) {
        SystemFile file = smallFile();
        file.system.B(0, 0) = value;
        EXPECT_EQ(errorOf([&] { systemFileText(file); }),
                  "the matrix B of the system has an element that is not a finite number");
        file = smallFile();
        file.system.sampleTime = value;
        EXPECT_EQ(errorOf([&] { systemFileText(file); }), "the sample time of the system is not a finite number");
    }
}

TEST(SystemFile, RefusesToHoldMatricesThatDoNotFit) {
    SystemFile file = smallFile();
    file.inputs.push_back("another");
    EXPECT_EQ(errorOf([&] { systemFileText(file); }), "the matrix B of the system is 1 by 1, not 1 by 2");
    file = smallFile();
    file.system.D = Matrix<double>();
    EXPECT_EQ(errorOf([&] { systemFileText(file); }), "the matrix D of the system is 0 by 0, not 1 by 1");
}

TEST(SystemFile, IgnoresFieldsThatItDoesNotKnow) {
    json object = json::parse(systemFileText(smallFile()));
    object["comment"] = {1, 2, 3};
    expectSame(parseSystemFile(object.dump()), smallFile());
}

TEST(SystemFile, TakesIntegersForNumbers) {
    json object = json::parse(systemFileText(smallFile()));
    object["A"] = {{1}};
    object["sampleTime"] = 60;
    const SystemFile file = parseSystemFile(object.dump());
    EXPECT_EQ(file.system.A(0, 0), 1.0);
    EXPECT_EQ(file.system.sampleTime, 60.0);
}

TEST(SystemFile, OfAnotherFormatIsRefused) {
    const std::string expected = "this is not a system file, whose field \"format\" is \"qormath-system\"";
    EXPECT_EQ(errorAfter([](json& object) { object["format"] = "another"; }), expected);
    EXPECT_EQ(errorAfter([](json& object) { object["format"] = 7; }), expected);
    EXPECT_EQ(errorAfter([](json& object) { object.erase("format"); }), expected);
    for (const char* text : {"[]", "{}", "17", "null", "\"qormath-system\""}) {
        EXPECT_EQ(errorOf([&] { parseSystemFile(text); }), expected);
    }
}

TEST(SystemFile, OfAnotherVersionIsRefused) {
    EXPECT_EQ(errorAfter([](json& object) { object["formatVersion"] = 2; }),
              "the system file has the format version 2; this program reads version 1");
    EXPECT_EQ(errorAfter([](json& object) { object["formatVersion"] = "1"; }),
              "the system file has the format version \"1\"; this program reads version 1");
}

TEST(SystemFile, WithoutAFieldIsRefused) {
    for (const char* name : {"formatVersion", "type", "sampleTime", "curveOffset", "states", "inputCount",
                             "outputCount", "inputs", "outputs", "A", "B", "C", "D"}) {
        EXPECT_EQ(errorAfter([&](json& object) { object.erase(name); }),
                  "the field \"" + std::string(name) + "\" is missing");
    }
}

TEST(SystemFile, WithCountsThatAreNoCountsIsRefused) {
    const json values[] = {-1, 1.5, "1", nullptr, 1e300, 4294967297, {1}, std::numeric_limits<std::uint64_t>::max()};
    for (const char* name : {"states", "inputCount", "outputCount"}) {
        for (const json& value : values) {
            EXPECT_EQ(errorAfter([&](json& object) { object[name] = value; }),
                      "the field \"" + std::string(name) + "\" is to be an integer from 0 to 2147483647");
        }
    }
}

TEST(SystemFile, WithAnotherCurveOffsetIsRefused) {
    for (const json& value : {json(-1), json(2), json(0.5), json("1"), json(true)}) {
        EXPECT_EQ(errorAfter([&](json& object) { object["curveOffset"] = value; }),
                  "the field \"curveOffset\" is to be an integer from 0 to 1");
    }
}

TEST(SystemFile, WithCountsBeyondItsMatricesIsRefusedWithoutMemoryForThem) {
    EXPECT_EQ(errorAfter([](json& object) { object["states"] = 2147483647; }),
              "the field \"A\" is to be a list of 2147483647 rows");
    EXPECT_EQ(errorAfter([](json& object) { object["inputCount"] = 2147483647; }),
              "the field \"inputs\" is to be a list of 2147483647 names");
}

TEST(SystemFile, WithMatricesOfOtherShapesIsRefused) {
    EXPECT_EQ(errorAfter([](json& object) {
                  object["A"] = {{1, 2}};
              }),
              "the field \"A\" is to have 1 numbers in row 1");
    EXPECT_EQ(errorAfter([](json& object) { object["B"] = json::array(); }),
              "the field \"B\" is to be a list of 1 rows");
    EXPECT_EQ(errorAfter([](json& object) { object["C"] = {1}; }), "the field \"C\" is to have 1 numbers in row 1");
    EXPECT_EQ(errorAfter([](json& object) { object["D"] = 1; }), "the field \"D\" is to be a list of 1 rows");
}

TEST(SystemFile, WithElementsThatAreNoNumbersIsRefused) {
    for (const json& value : {json(nullptr), json("1"), json(true), json::array()}) {
        EXPECT_EQ(errorAfter([&](json& object) { object["C"] = {{value}}; }),
                  "the field \"C[0][0]\" is to be a finite number");
        EXPECT_EQ(errorAfter([&](json& object) { object["sampleTime"] = value; }),
                  "the field \"sampleTime\" is to be a finite number");
    }
}

TEST(SystemFile, WithoutATimeBetweenSamplesIsRefused) {
    const std::string expected = "the field \"sampleTime\" is to be a time in seconds above 0";
    EXPECT_EQ(errorAfter([](json& object) { object["sampleTime"] = 0; }), expected);
    EXPECT_EQ(errorAfter([](json& object) { object["sampleTime"] = -1.0; }), expected);
}

TEST(SystemFile, OfAnotherTypeIsRefused) {
    EXPECT_EQ(errorAfter([](json& object) { object["type"] = "hybrid"; }),
              "the field \"type\" is to be \"discrete\" or \"continuous\"");
}

TEST(SystemFile, WithOtherNamesThanTextsIsRefused) {
    EXPECT_EQ(errorAfter([](json& object) { object["inputs"] = {1}; }), "the field \"inputs\" is to hold texts alone");
    EXPECT_EQ(errorAfter([](json& object) {
                  object["outputs"] = {"A", "B"};
              }),
              "the field \"outputs\" is to be a list of 1 names");
}

TEST(SystemFile, WithNumbersBeyondDoublesIsRefused) {
    std::string text = systemFileText(smallFile());
    text.replace(text.find("[0.5]"), 5, "[1e999]");
    EXPECT_EQ(errorOf([&] { parseSystemFile(text); }), "a number in it is too large");
}

TEST(SystemFile, CutOffAnywhereIsRefused) {
    const std::string text = systemFileText(smallFile());
    for (std::size_t length = 0; length < text.find_last_of('}'); ++length) {
        EXPECT_THAT(errorOf([&] { parseSystemFile(text.substr(0, length)); }), HasSubstr("this is not JSON")) << length;
    }
}

TEST(SystemFile, ThatIsNotJsonIsRefusedWithTheLine) {
    EXPECT_EQ(errorOf([] { parseSystemFile("{\n\"format\":\n?}"); }), "this is not JSON: something is wrong in line 3");
    EXPECT_EQ(errorOf([] { parseSystemFile(""); }), "this is not JSON: something is wrong in line 1");
}

TEST(SystemFile, WithBracketsBeyondMeasureIsRefused) {
    EXPECT_THAT(errorOf([] { parseSystemFile(std::string(1000000, '[')); }), HasSubstr("nested without end"));
    const std::string deep = std::string(1000000, '[') + std::string(1000000, ']');
    EXPECT_THAT(errorOf([&] { parseSystemFile(deep); }), HasSubstr("this is not a system file"));
}

TEST(WriteSystemFile, WritesWhatReadSystemFileReads) {
    const TemporaryFolder folder;
    const SystemFile file = fileOf(3, 2, 2, anyFinite());
    writeSystemFile(folder.file("system.json"), file);
    expectSame(readSystemFile(folder.file("system.json")), file);
}

TEST(WriteSystemFile, LeavesTheOldFileIfTheSystemIsNotFinite) {
    const TemporaryFolder folder;
    const std::string path = folder.file("system.json");
    writeFile(path, "old");
    SystemFile file = smallFile();
    file.system.A(0, 0) = nan;
    EXPECT_EQ(errorOf([&] { writeSystemFile(path, file); }),
              path + ": cannot be written: the matrix A of the system has an element that is not a finite number");
    EXPECT_EQ(textOfFile(path), "old");
    EXPECT_THAT(folder.names(), ElementsAre("system.json"));
}

TEST(ReadSystemFile, NamesTheFileInItsErrors) {
    const TemporaryFolder folder;
    const std::string path = folder.file("system.json");
    EXPECT_EQ(errorOf([&] { readSystemFile(path); }), path + ": cannot be read: No such file or directory");
    writeFile(path, "{}");
    EXPECT_EQ(errorOf([&] { readSystemFile(path); }),
              path + ": this is not a system file, whose field \"format\" is \"qormath-system\"");
    EXPECT_EQ(errorOf([&] { readSystemFile(folder.path()); }), folder.path() + ": cannot be read: Is a directory");
}

}  // namespace
}  // namespace qormath::cli
