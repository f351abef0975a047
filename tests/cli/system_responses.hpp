#pragma once

// What the system of a system file does, computed from its matrices by the definition alone.

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace qormath::test {

/// The step response of every output to an input at the samples 0 to count - 1, as response[output][sample].
inline std::vector<std::vector<double>> stepResponses(const nlohmann::json& system, std::size_t input, int count) {
    const auto states = system["states"].get<std::size_t>();
    const auto a = system["A"].get<std::vector<std::vector<double>>>();
    const auto b = system["B"].get<std::vector<std::vector<double>>>();
    const auto c = system["C"].get<std::vector<std::vector<double>>>();
    const auto d = system["D"].get<std::vector<std::vector<double>>>();
    std::vector<double> x(states, 0.0);
    std::vector<std::vector<double>> responses(c.size());
    for (int k = 0; k < count; ++k) {
        for (std::size_t output = 0; output < c.size(); ++output) {
            double y = d[output][input];
            for (std::size_t i = 0; i < states; ++i) {
                y += c[output][i] * x[i];
            }
            responses[output].push_back(y);
        }
        std::vector<double> next(states, 0.0);
        for (std::size_t i = 0; i < states; ++i) {
            next[i] = b[i][input];
            for (std::size_t j = 0; j < states; ++j) {
                next[i] += a[i][j] * x[j];
            }
        }
        x = next;
    }
    return responses;
}

/// The step response of one output.
inline std::vector<double> stepResponse(const nlohmann::json& system, std::size_t output, std::size_t input,
                                        int count) {
    return stepResponses(system, input, count)[output];
}

}  // namespace qormath::test
