#pragma once

#include <algorithm>
#include <array>
#include <cstdio>
#include <fuzz/plain_fir_reader.hpp>
#include <string>
#include <vector>

/// The step-response model file once more, written with fprintf, line by line as its layout is described; the reader in
/// that manner stands with the fuzz targets. Both are the oracle of the tests, and what the benchmark measures against.
/// Right in the C locale only.
namespace qormath::test {

struct PlainModel {
    std::vector<PlainVariable> inputs;
    std::vector<PlainVariable> outputs;
    int coefficientCount = 0;
    int horizonSeconds = 0;
    int version = 9896;
    std::string comment = "No comment";
    std::vector<std::string> extraComments;
    std::vector<std::vector<double>> curves;  // curve of output j and input i at inputs * j + i; empty or n values
};

inline bool isZeroCurve(const std::vector<double>& curve) {
    return std::all_of(curve.begin(), curve.end(), [](double value) { return value == 0.0; });
}

inline void writePlainly(std::FILE* stream, const PlainModel& model) {
    const auto inputs = model.inputs.size();
    const auto outputs = model.outputs.size();
    std::vector<int> counts(outputs, 0);
    int values = 0;
    for (std::size_t pair = 0; pair < model.curves.size(); ++pair) {
        if (!isZeroCurve(model.curves[pair])) {
            ++counts[pair / inputs];
            values += model.coefficientCount;
        }
    }
    std::fprintf(stream, "%s\n%12d\n", model.comment.c_str(), static_cast<int>(model.extraComments.size()));
    for (const std::string& line : model.extraComments) {
        std::fprintf(stream, "%s\n", line.c_str());
    }
    std::fprintf(stream, "%12d\n%12d\n%12d\n%12d\n", static_cast<int>(inputs), static_cast<int>(outputs),
                 model.coefficientCount, values);
    const double minutes = static_cast<float>(model.horizonSeconds / 60.0);
    std::fprintf(stream, "%16.6f\n%16.6f\n", minutes, static_cast<double>(model.version));
    for (const PlainVariable& input : model.inputs) {
        std::fprintf(stream, "%16.6f%20s%-12.12s %-12.12s\n", -999.0, "", input.name.c_str(), input.descriptor.c_str());
    }
    for (std::size_t j = 0; j < outputs; ++j) {
        const PlainVariable& output = model.outputs[j];
        std::fprintf(stream, "%16.6f%20s%-12.12s %-12.12s %5d %5d\n", -0.0, "", output.name.c_str(),
                     output.descriptor.c_str(), output.ramp, counts[j]);
    }
    for (std::size_t j = 0; j < outputs; ++j) {
        const PlainVariable& output = model.outputs[j];
        std::fprintf(stream, "%-12.12s %-12.12s%5d%14.6f\n", output.name.c_str(), output.descriptor.c_str(),
                     output.ramp, 0.0);
        for (int k = 0; k < 10; ++k) {
            std::fprintf(stream, "%16.6f\n", 0.0);
        }
        for (std::size_t i = 0; i < inputs; ++i) {
            const std::vector<double>& curve = model.curves[inputs * j + i];
            double gain = 0.0;
            if (!curve.empty()) {
                gain = curve.back() - (output.ramp > 0 ? curve[curve.size() - 2] : 0.0);
            }
            std::fprintf(stream, "%-12.12s %-12.12s%20s%24.15e\n", model.inputs[i].name.c_str(),
                         model.inputs[i].descriptor.c_str(), "", gain);
            for (std::size_t k = 0; k < static_cast<std::size_t>(model.coefficientCount); k += 5) {
                std::array<double, 5> v{};
                for (std::size_t column = 0; column < 5 && k + column < curve.size(); ++column) {
                    v[column] = curve[k + column];
                }
                std::fprintf(stream, "%15.6e%15.6e%15.6e%15.6e%15.6e\n", v[0], v[1], v[2], v[3], v[4]);
            }
        }
    }
}

inline std::string plainText(const PlainModel& model) {
    std::FILE* const stream = std::tmpfile();
    writePlainly(stream, model);
    std::string text(static_cast<std::size_t>(std::ftell(stream)), '\0');
    std::rewind(stream);
    text.resize(std::fread(text.data(), 1, text.size(), stream));
    std::fclose(stream);
    return text;
}

}  // namespace qormath::test
