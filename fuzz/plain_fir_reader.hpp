#pragma once

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <utility>
#include <vector>

/// The step-response model file once more, read with fgets and sscanf, line by line as its layout is described: no
/// line buffer, no number parser and no container of the library. The oracle of the fuzz targets and of the tests, and
/// what the benchmark measures against. Right in the C locale only.
namespace qormath::test {

struct PlainVariable {
    std::string name;
    std::string descriptor;
    int ramp = 0;
};

struct PlainCurve {
    std::size_t output = 0;
    std::size_t input = 0;
    int offset = 0;
    double gain = 0.0;  // the gain field; in a file of another version what follows from the last coefficients
};

/// Seven significant digits, by the definition.
inline double plainRound7(double value) {
    if (value >= -1e-30 && value <= 1e-30) {
        return 0.0;
    }
    if (!std::isfinite(value)) {
        return value;
    }
    const int exponent = static_cast<int>(std::floor(std::log10(std::fabs(value))));
    double scaled = std::pow(10.0, 6 - exponent) * value;
    scaled = scaled > 0.0 ? scaled + 0.5 : scaled - 0.5;
    return std::pow(10.0, exponent - 6) * static_cast<double>(static_cast<int>(scaled));
}

/// What opening and then scanning a file finds.
class PlainFIRFile {
  public:
    explicit PlainFIRFile(const std::string& path) : stream(std::fopen(path.c_str(), "r")) {
        openStatus = stream == nullptr ? 3 : open();
        if (openStatus == 0) {
            scanStatus = scan();
        }
        if (stream != nullptr) {
            std::fclose(stream);
        }
    }

    PlainFIRFile(const PlainFIRFile&) = delete;
    PlainFIRFile& operator=(const PlainFIRFile&) = delete;

    /// Whether the file makes a model: its counts and its curves have to fit the containers too.
    bool makesModel() const {
        constexpr int most = std::numeric_limits<int>::max();
        // A vector has no room for the element before the first of so many coefficients.
        const bool hasRoom = curves.empty() || coefficientCount < most;
        return openStatus == 0 && scanStatus == 0 && inputCount >= 0 && outputCount >= 0 && hasRoom &&
               static_cast<long>(inputCount) * outputCount <= most;
    }

    /// The curve in the model: an element 0 before the coefficients, and the last one from the gain.
    std::vector<double> modelCurve(const PlainCurve& curve) const {
        std::vector<double> elements = {0.0};
        for (int k = 0; k < coefficientCount; ++k) {
            elements.push_back(plainRound7(static_cast<double>(data[static_cast<std::size_t>(curve.offset + k)])));
        }
        const double before = outputs[curve.output].ramp > 0 ? elements[elements.size() - 2] : 0.0;
        elements.back() = outputs[curve.output].ramp > 0 ? curve.gain + before : curve.gain;
        return elements;
    }

    int openStatus = 0;
    int scanStatus = 0;
    int version = -999;
    int inputCount = 0;
    int outputCount = 0;
    int coefficientCount = 0;
    int valueCount = 0;
    int horizonSeconds = 0;
    bool needsScan = true;
    std::string comment;
    std::vector<PlainVariable> inputs;   // as far as they have been read
    std::vector<PlainVariable> outputs;  // as far as they have been read
    std::vector<int> curveCounts;
    std::vector<PlainCurve> curves;
    std::vector<float> data;

  private:
    bool line() { return std::fgets(buffer.data(), static_cast<int>(buffer.size()), stream) != nullptr; }

    bool lines(long count) {
        while (count > 0 && line()) {
            --count;
        }
        return count <= 0;
    }

    static bool toInt(double value, int& result) {
        if (!(value > -2147483649.0 && value < 2147483648.0)) {
            return false;
        }
        result = static_cast<int>(value);
        return true;
    }

    bool integer(int& value) {
        long wide = 0;
        return line() && std::sscanf(buffer.data(), "%ld", &wide) == 1 && wide >= std::numeric_limits<int>::min() &&
               wide <= std::numeric_limits<int>::max() && toInt(static_cast<double>(wide), value);
    }

    static std::string cleaned(const char* text) {
        std::string result(text);
        while (!result.empty() && std::isgraph(static_cast<unsigned char>(result.back())) == 0) {
            result.pop_back();
        }
        for (char& c : result) {
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        return result;
    }

    bool extraComments() {
        int count = 0;
        return integer(count) && lines(count);
    }

    int open() {
        if (!line()) {
            return 4;
        }
        comment = buffer.data();
        while (!comment.empty() && std::isgraph(static_cast<unsigned char>(comment.back())) == 0) {
            comment.pop_back();
        }
        float minutes = 0.0F;
        float number = 0.0F;
        if (!extraComments() || !integer(inputCount) || !integer(outputCount) || !integer(coefficientCount) ||
            !integer(valueCount) || !line() || std::sscanf(buffer.data(), "%f", &minutes) != 1 ||
            !toInt(static_cast<double>(minutes * 60.0F + 0.5F), horizonSeconds) || !line() ||
            std::sscanf(buffer.data(), "%f", &number) != 1 || !toInt(static_cast<double>(number + 0.5F), version)) {
            return 4;
        }
        if (version != 9896) {
            valueCount = -1;
            return lines(listLines()) ? 0 : 4;
        }
        return lists();
    }

    long listLines() const { return static_cast<long>(std::max(inputCount, 0)) + std::max(outputCount, 0); }

    int lists() {
        std::array<char, 13> name{};
        std::array<char, 13> descriptor{};
        for (int i = 0; i < inputCount; ++i) {
            name = {};
            descriptor = {};
            if (!line() || std::sscanf(buffer.data(), "%*36c%12c%*c%12c", name.data(), descriptor.data()) < 1) {
                return 4;
            }
            inputs.push_back({cleaned(name.data()), cleaned(descriptor.data()), 0});
        }
        __int128_t total = 0;
        for (int j = 0; j < outputCount; ++j) {
            name = {};
            descriptor = {};
            int ramp = 0;
            int count = 0;
            if (!line() || std::sscanf(buffer.data(), "%*36c%12c%*c%12c %5d %5d", name.data(), descriptor.data(), &ramp,
                                       &count) != 4) {
                return 4;
            }
            outputs.push_back({cleaned(name.data()), cleaned(descriptor.data()), ramp});
            curveCounts.push_back(count);
            total += count;
        }
        if (outputCount < 1 ? valueCount != 0 : total * coefficientCount != valueCount) {
            return 13;
        }
        needsScan = false;
        return 0;
    }

    int scan() {
        if (coefficientCount < 1) {
            return 2;
        }
        std::rewind(stream);
        const int status = blocks();
        if (endedInside) {
            return status;
        }
        const bool mismatch = version == 9896 && valueCount != static_cast<long>(data.size());
        valueCount = static_cast<int>(data.size());
        needsScan = false;
        return mismatch ? 13 : status;
    }

    int blocks() {
        if (!line() || !extraComments() || !lines(6) || !lines(listLines())) {
            return 4;
        }
        for (std::size_t j = 0; static_cast<long>(j) < outputCount; ++j) {
            const int status = block(j);
            if (status != 0) {
                return status;
            }
        }
        return 0;
    }

    int block(std::size_t j) {
        if (!line()) {
            return 6;
        }
        if (version != 9896) {
            std::array<char, 13> name{};
            std::array<char, 13> descriptor{};
            int ramp = 0;
            if (std::sscanf(buffer.data(), "%12c%*c%12c%5d%*f", name.data(), descriptor.data(), &ramp) != 3) {
                return 6;
            }
            outputs.push_back({cleaned(name.data()), cleaned(descriptor.data()), ramp});
            curveCounts.push_back(0);
        }
        if (!lines(10)) {
            return 6;
        }
        int found = 0;
        for (std::size_t i = 0; static_cast<long>(i) < inputCount; ++i) {
            const int status = curve(j, i, found);
            if (status != 0) {
                return status;
            }
        }
        if (version == 9896 && found != curveCounts[j]) {
            endedInside = true;
            return 13;
        }
        return 0;
    }

    int curve(std::size_t j, std::size_t i, int& found) {
        if (!line()) {
            return 7;
        }
        double gain = 0.0;
        if (version == 9896) {
            if (std::sscanf(buffer.data(), "%*36c%lf", &gain) != 1) {
                return 6;
            }
        } else {
            std::array<char, 13> name{};
            std::array<char, 13> descriptor{};
            if (std::sscanf(buffer.data(), "%12c%*c%12c", name.data(), descriptor.data()) < 1) {
                return 7;
            }
            if (inputs.size() <= i) {
                inputs.emplace_back();
            }
            inputs[i] = {cleaned(name.data()), cleaned(descriptor.data()), 0};
        }
        values.clear();
        while (static_cast<long>(values.size()) < coefficientCount) {
            std::array<float, 5> v{};
            if (!line() || std::sscanf(buffer.data(), "%f %f %f %f %f", &v[0], &v[1], &v[2], &v[3], &v[4]) != 5) {
                return 8;
            }
            values.insert(values.end(), v.begin(), v.end());
        }
        values.resize(static_cast<std::size_t>(coefficientCount));
        if (std::all_of(values.begin(), values.end(), [](float value) { return value == 0.0F; })) {
            return 0;
        }
        if (version == 9896 && static_cast<long>(data.size() + values.size()) > valueCount) {
            endedInside = true;
            return 13;
        }
        if (version != 9896) {
            gain = derivedGain(outputs[j].ramp != 0);
        }
        curves.push_back({j, i, static_cast<int>(data.size()), gain});
        data.insert(data.end(), values.begin(), values.end());
        ++(version == 9896 ? found : curveCounts[j]);
        return 0;
    }

    double derivedGain(bool isRamp) const {
        const double last = plainRound7(static_cast<double>(values.back()));
        const double before = values.size() > 1 ? plainRound7(static_cast<double>(values[values.size() - 2])) : 0.0;
        return isRamp ? last - before : last;
    }

    std::FILE* stream;
    bool endedInside = false;
    std::array<char, 256> buffer{};
    std::vector<float> values;
};

}  // namespace qormath::test
