#include "system_file.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "json_text.hpp"
#include "program_error.hpp"
#include "text.hpp"

namespace qormath::cli {

namespace {

using Json = nlohmann::json;
using QorMathLA::Matrix;

constexpr const char* formatName = "qormath-system";
constexpr int formatVersion = 1;

/// What a message shows of a version that is none.
constexpr std::size_t longestQuotation = 40;

// ---------------------------------------------------------------- writing

/// The elements of a matrix of the shape told. A matrix without elements has that shape if the shape has none either.
Json rowsOf(const char* name, const Matrix<double>& matrix, int rows, int columns) {
    const bool bothAreEmpty = (rows == 0 || columns == 0) && (matrix.rows() == 0 || matrix.cols() == 0);
    if (!bothAreEmpty && (matrix.rows() != rows || matrix.cols() != columns)) {
        throw ProgramError(std::string("the matrix ") + name + " of the system is " + std::to_string(matrix.rows()) +
                           " by " + std::to_string(matrix.cols()) + ", not " + std::to_string(rows) + " by " +
                           std::to_string(columns));
    }
    Json result = Json::array();
    for (int i = 0; i < rows; ++i) {
        Json row = Json::array();
        for (int j = 0; j < columns; ++j) {
            if (!std::isfinite(matrix(i, j))) {
                throw ProgramError(std::string("the matrix ") + name +
                                   " of the system has an element that is not a finite number");
            }
            row.push_back(matrix(i, j));
        }
        result.push_back(std::move(row));
    }
    return result;
}

/// A matrix with a line for each row.
std::string matrixText(const Json& rows) {
    std::string result = "[";
    for (const Json& row : rows) {
        result += (result.size() == 1 ? "\n    " : ",\n    ") + row.dump();
    }
    return result + (rows.empty() ? "]" : "\n  ]");
}

int countOf(const std::vector<std::string>& names, const char* what) {
    if (names.size() > static_cast<std::size_t>(INT_MAX)) {
        throw ProgramError(std::string("there are too many ") + what);
    }
    return static_cast<int>(names.size());
}

// ---------------------------------------------------------------- reading

ProgramError fieldError(const std::string& field, const std::string& cause) {
    return ProgramError("the field \"" + field + "\" " + cause);
}

const Json& field(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end()) {
        throw fieldError(name, "is missing");
    }
    return *found;
}

int integerField(const Json& object, const char* name, int smallest, int largest) {
    const Json& value = field(object, name);
    const bool isInRange =
        value.is_number_integer() && value.get<double>() >= smallest && value.get<double>() <= largest;
    if (!isInRange) {
        throw fieldError(name,
                         "is to be an integer from " + std::to_string(smallest) + " to " + std::to_string(largest));
    }
    return value.get<int>();
}

double finiteNumber(const Json& value, const std::string& place) {
    if (!value.is_number() || !std::isfinite(value.get<double>())) {
        throw fieldError(place, "is to be a finite number");
    }
    return value.get<double>();
}

std::vector<std::string> namesField(const Json& object, const char* name, int count) {
    const Json& list = field(object, name);
    if (!list.is_array() || list.size() != static_cast<std::size_t>(count)) {
        throw fieldError(name, "is to be a list of " + std::to_string(count) + " names");
    }
    std::vector<std::string> names;
    for (const Json& element : list) {
        if (!element.is_string()) {
            throw fieldError(name, "is to hold texts alone");
        }
        names.push_back(element.get<std::string>());
    }
    return names;
}

/// A matrix of the shape told. All counts are checked against the elements that are there before anything is allocated.
Matrix<double> matrixField(const Json& object, const char* name, int rows, int columns) {
    const Json& list = field(object, name);
    if (!list.is_array() || list.size() != static_cast<std::size_t>(rows)) {
        throw fieldError(name, "is to be a list of " + std::to_string(rows) + " rows");
    }
    std::size_t number = 0;
    for (const Json& row : list) {
        ++number;
        if (!row.is_array() || row.size() != static_cast<std::size_t>(columns)) {
            throw fieldError(name,
                             "is to have " + std::to_string(columns) + " numbers in row " + std::to_string(number));
        }
    }
    if (std::int64_t{rows} * columns > INT_MAX) {
        throw fieldError(name, "has more elements than a matrix can hold");
    }
    Matrix<double> matrix(rows, columns);
    for (int i = 0; i < rows; ++i) {
        const Json& row = list[static_cast<std::size_t>(i)];
        for (int j = 0; j < columns; ++j) {
            const std::string place = std::string(name) + "[" + std::to_string(i) + "][" + std::to_string(j) + "]";
            matrix(i, j) = finiteNumber(row[static_cast<std::size_t>(j)], place);
        }
    }
    return matrix;
}

systemType typeField(const Json& object) {
    const Json& type = field(object, "type");
    if (type == "discrete") {
        return discreteSystem;
    }
    if (type == "continuous") {
        return continuousSystem;
    }
    throw fieldError("type", "is to be \"discrete\" or \"continuous\"");
}

double sampleTimeField(const Json& object, systemType type) {
    const double sampleTime = finiteNumber(field(object, "sampleTime"), "sampleTime");
    if (sampleTime < 0.0 || (type == discreteSystem && sampleTime == 0.0)) {
        throw fieldError("sampleTime", "is to be a time in seconds above 0");
    }
    return sampleTime;
}

void requireFormat(const Json& object) {
    if (!object.is_object() || !object.contains("format") || object["format"] != formatName) {
        throw ProgramError(std::string("this is not a system file, whose field \"format\" is \"") + formatName + "\"");
    }
    const Json& version = field(object, "formatVersion");
    if (!version.is_number_integer() || version != formatVersion) {
        const std::string found = version.dump();
        throw ProgramError("the system file has the format version " +
                           (found.size() > longestQuotation ? found.substr(0, longestQuotation) + "..." : found) +
                           "; this program reads version " + std::to_string(formatVersion));
    }
}

SystemFile systemOf(const TextSource& source) {
    const Json object = jsonObject(source, {"format", "formatVersion", "type", "sampleTime", "curveOffset", "states",
                                            "inputCount", "outputCount", "inputs", "outputs", "A", "B", "C", "D"});
    requireFormat(object);
    const int states = integerField(object, "states", 0, INT_MAX);
    const int inputs = integerField(object, "inputCount", 0, INT_MAX);
    const int outputs = integerField(object, "outputCount", 0, INT_MAX);

    SystemFile file;
    file.inputs = namesField(object, "inputs", inputs);
    file.outputs = namesField(object, "outputs", outputs);
    file.curveOffset = integerField(object, "curveOffset", 0, 1);
    const systemType type = typeField(object);
    const double sampleTime = sampleTimeField(object, type);
    const Matrix<double> a = matrixField(object, "A", states, states);
    const Matrix<double> b = matrixField(object, "B", states, inputs);
    const Matrix<double> c = matrixField(object, "C", outputs, states);
    const Matrix<double> d = matrixField(object, "D", outputs, inputs);
    file.system = LTIStateSpaceModel(a, b, c, d, type, sampleTime);
    return file;
}

/// A file to be read part by part.
class TextFile {
  public:
    explicit TextFile(const std::string& path) : part_(partSize), file_(std::fopen(path.c_str(), "re"), &std::fclose) {
        if (file_ == nullptr) {
            throw readError();
        }
    }

    std::string_view next() {
        const std::size_t count = std::fread(part_.data(), 1, part_.size(), file_.get());
        if (count == 0 && std::ferror(file_.get()) != 0) {
            throw readError();
        }
        return std::string_view(part_.data(), count);
    }

  private:
    static constexpr std::size_t partSize = 65536;

    static ProgramError readError() { return ProgramError(std::string("cannot be read: ") + std::strerror(errno)); }

    std::vector<char> part_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

}  // namespace

std::string systemFileText(const SystemFile& file) {
    const LTIStateSpaceModel& system = file.system;
    const int states = system.A.rows();
    const int inputs = countOf(file.inputs, "inputs");
    const int outputs = countOf(file.outputs, "outputs");
    if (!std::isfinite(system.sampleTime)) {
        throw ProgramError("the sample time of the system is not a finite number");
    }

    std::string text = "{\n";
    const auto add = [&text](const char* name, const std::string& value) {
        text += (text.size() == 2 ? "  \"" : ",\n  \"") + std::string(name) + "\": " + value;
    };
    add("format", Json(formatName).dump());
    add("formatVersion", Json(formatVersion).dump());
    add("type", system.sysType == continuousSystem ? "\"continuous\"" : "\"discrete\"");
    add("sampleTime", Json(system.sampleTime).dump());
    add("curveOffset", Json(file.curveOffset).dump());
    add("states", Json(states).dump());
    add("inputCount", Json(inputs).dump());
    add("outputCount", Json(outputs).dump());
    add("inputs", Json(file.inputs).dump());
    add("outputs", Json(file.outputs).dump());
    add("A", matrixText(rowsOf("A", system.A, states, states)));
    add("B", matrixText(rowsOf("B", system.B, states, inputs)));
    add("C", matrixText(rowsOf("C", system.C, outputs, states)));
    add("D", matrixText(rowsOf("D", system.D, outputs, inputs)));
    return text + "\n}\n";
}

SystemFile parseSystemFile(std::string_view text) {
    return systemOf([text]() mutable { return std::exchange(text, std::string_view()); });
}

FileToWrite systemFile(const std::string& path, const SystemFile& file) {
    try {
        return textFile(path, systemFileText(file));
    } catch (const ProgramError& error) {
        throw ProgramError(path, std::string("cannot be written: ") + error.what());
    }
}

void writeSystemFile(const std::string& path, const SystemFile& file) {
    replaceFiles({systemFile(path, file)});
}

SystemFile readSystemFile(const std::string& path) {
    try {
        TextFile file(path);
        return systemOf([&file] { return file.next(); });
    } catch (const ProgramError& error) {
        throw ProgramError(path, error.what());
    }
}

}  // namespace qormath::cli
