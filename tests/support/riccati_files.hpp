#pragma once

// Reads the published Riccati equations of tests/data/riccati, whose README names their sources.

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <support/riccati_problems.hpp>
#include <vector>

#include <qormath/core/matrix.hpp>

namespace qormath::test {

inline QorMathLA::Matrix<double> riccatiMatrix(const nlohmann::json& rows) {
    const int rowCount = static_cast<int>(rows.size());
    const int colCount = rowCount == 0 ? 0 : static_cast<int>(rows.at(0).size());
    QorMathLA::Matrix<double> result(rowCount, colCount);
    for (int i = 0; i < rowCount; ++i) {
        for (int j = 0; j < colCount; ++j) {
            result(i, j) = rows.at(static_cast<std::size_t>(i)).at(static_cast<std::size_t>(j)).get<double>();
        }
    }
    return result;
}

/// Reads one problem; a file that is not as expected throws an exception of the JSON library, which fails the test.
inline RiccatiEquation readRiccati(const std::filesystem::path& file) {
    std::ifstream stream(file);
    const nlohmann::json json = nlohmann::json::parse(stream);
    RiccatiEquation problem;
    problem.name = json.at("name").get<std::string>();
    problem.type = json.at("time") == "discrete" ? discreteSystem : continuousSystem;
    problem.a = riccatiMatrix(json.at("A"));
    problem.b = riccatiMatrix(json.at("B"));
    problem.q = riccatiMatrix(json.at("Q"));
    problem.r = riccatiMatrix(json.at("R"));
    problem.s = riccatiMatrix(json.at("S"));
    if (json.contains("X")) {
        problem.x = riccatiMatrix(json.at("X"));
    }
    problem.noSolution = json.value("noSolution", std::string());
    problem.newtonLoses = json.value("newtonLoses", std::string());
    return problem;
}

inline std::vector<RiccatiEquation> readRiccatiFolder(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".json") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    std::vector<RiccatiEquation> problems;
    std::transform(files.begin(), files.end(), std::back_inserter(problems), readRiccati);
    return problems;
}

/// The problems of the files, and those that are generated with their parameters varied, in the order of the
/// collections.
inline std::vector<RiccatiEquation> publishedRiccatiEquations(const std::filesystem::path& folder) {
    std::vector<RiccatiEquation> all = readRiccatiFolder(folder);
    const auto addAll = [&all](RiccatiEquation (*make)(double), std::initializer_list<double> parameters) {
        std::transform(parameters.begin(), parameters.end(), std::back_inserter(all), make);
    };
    const auto addSizes = [&all](RiccatiEquation (*make)(int), std::initializer_list<int> sizes) {
        std::transform(sizes.begin(), sizes.end(), std::back_inserter(all), make);
    };
    addAll(carex21, {1e-2, 1e-4, 1e-8});
    addAll(carex22, {1.0, 1e-4, 1e-6});
    addAll(carex23, {1.0, 1e2, 1e4});
    addAll(carex24, {1.0, 1e-4, 1e-6, 1e-8});
    addAll(carex25, {1e-2, 1e-4, 1e-6, 1e-8});
    addAll(carex26, {1e2, 1e4});
    addAll(carex28, {1e-2, 1e-4, 1e-6, 1e-8});
    addSizes(carex31, {2, 5, 10, 50});
    addSizes(carex32, {4, 16, 100});
    addSizes(carex41, {3, 5, 10, 40});
    all.push_back(carex41Weighted(21, 100.0, 1.0));
    all.push_back(carex41Weighted(21, 1.0, 100.0));
    addSizes(carex43, {2, 5, 10, 50});
    addAll(darex21, {1e2, 1e4});
    addAll(darex22, {1.0, 1e2, 1e4});
    addAll(darex23, {1e2, 1e4});
    addAll(darex25, {1e2, 1e4, 1e6});
    addSizes(darex41, {10, 50});
    constexpr std::size_t numberEnd = sizeof("carex_1_01") - 1;
    std::stable_sort(all.begin(), all.end(), [](const RiccatiEquation& one, const RiccatiEquation& other) {
        return one.name.compare(0, numberEnd, other.name, 0, numberEnd) < 0;
    });
    return all;
}

}  // namespace qormath::test
