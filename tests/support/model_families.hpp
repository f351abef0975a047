#pragma once

// State-space models with known modes, and one table of the kinds of model that every function has to go through.

#include <cmath>
#include <complex>
#include <cstddef>
#include <string>
#include <support/random_matrices.hpp>
#include <support/random_numbers.hpp>
#include <vector>

#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

namespace qormath::test {

using Poles = std::vector<std::complex<double>>;

/// An element of either sign whose magnitude lies between 0.5 and 1.5: no mode is weak by accident.
inline double strongElement(NormalNumbers& numbers) {
    return numbers.uniform(0.5, 1.5) * (numbers.uniform() < 0.5 ? -1.0 : 1.0);
}

inline QorMathLA::Matrix<double> strongMatrix(int rows, int cols, NormalNumbers& numbers) {
    QorMathLA::Matrix<double> result(rows, cols);
    for (double& element : result) {
        element = strongElement(numbers);
    }
    return result;
}

/// Block diagonal, a block for each pole in its order; a complex pair is given by one of its poles.
inline QorMathLA::Matrix<double> modalMatrix(const Poles& poles) {
    int order = 0;
    for (const std::complex<double>& pole : poles) {
        order += pole.imag() == 0.0 ? 1 : 2;
    }
    QorMathLA::Matrix<double> a = QorMathLA::zeroMatrix(order, order);
    int k = 0;
    for (const std::complex<double>& pole : poles) {
        a(k, k) = pole.real();
        if (pole.imag() != 0.0) {
            a(k + 1, k + 1) = pole.real();
            a(k, k + 1) = pole.imag();
            a(k + 1, k) = -pole.imag();
            ++k;
        }
        ++k;
    }
    return a;
}

/// A model with uncoupled modes, each of which every input reaches and every output shows. Its states stand in the
/// order of the poles.
inline LTIStateSpaceModel modalModel(const Poles& poles, int inputs, int outputs, systemType type,
                                     NormalNumbers& numbers) {
    const QorMathLA::Matrix<double> a = modalMatrix(poles);
    return {a,
            strongMatrix(a.rows(), inputs, numbers),
            strongMatrix(outputs, a.rows(), numbers),
            strongMatrix(outputs, inputs, numbers),
            type,
            1.0};
}

/// A channel of its own for each pole, with a Hankel singular value that is given. Where no such value exists, at a
/// pole on the stability limit, the output shows nothing.
inline LTIStateSpaceModel hankelChannels(const std::vector<double>& poles, const std::vector<double>& hankel,
                                         systemType type) {
    const int n = static_cast<int>(poles.size());
    const QorMathLA::Matrix<double> zeros = QorMathLA::zeroMatrix(n, n);
    LTIStateSpaceModel model(zeros, zeros, zeros, zeros, type, 1.0);
    for (int k = 0; k < n; ++k) {
        const double pole = poles[static_cast<std::size_t>(k)];
        // x = a x + u, y = c x has the Hankel singular value |c| / (1 - a^2), continuous |c| / (-2 a).
        const double reach = type == discreteSystem ? 1.0 - pole * pole : -2.0 * pole;
        model.A(k, k) = pole;
        model.B(k, k) = 1.0;
        model.C(k, k) = hankel[static_cast<std::size_t>(k)] * reach;
    }
    return model;
}

/// The same model in other coordinates of the state: a random orthogonal transformation.
inline LTIStateSpaceModel hidden(const LTIStateSpaceModel& model, NormalNumbers& numbers) {
    using QorMathLA::product;
    const QorMathLA::Matrix<double> q = randomOrthogonal(model.A.rows(), numbers);
    return {product(product(q, model.A), q.transpose()),
            product(q, model.B),
            product(model.C, q.transpose()),
            model.D,
            model.sysType,
            model.sampleTime};
}

/// The pole of a mode exp(s t), in a discrete model at a sample time of 1.
inline std::complex<double> poleOf(std::complex<double> s, systemType type) {
    if (type == continuousSystem) {
        return s;
    }
    const std::complex<double> z = std::exp(s);
    return {z.real(), s.imag() == 0.0 ? 0.0 : z.imag()};
}

inline Poles polesOf(const Poles& exponents, systemType type) {
    Poles poles;
    for (const std::complex<double>& s : exponents) {
        poles.push_back(poleOf(s, type));
    }
    return poles;
}

struct ModelFamily {
    std::string name;
    LTIStateSpaceModel model;
    int stable = 0;    ///< states that are stable and connect inputs with outputs
    int marginal = 0;  ///< the same on the stability limit
    int unstable = 0;  ///< the same beyond it
};

/// Three inputs, two outputs, in hidden coordinates, the same models on every run.
inline std::vector<ModelFamily> modelFamilies(systemType type) {
    NormalNumbers numbers(20261121);
    const Poles wellDamped{{-0.1, 0.0}, {-0.4, 0.6}, {-1.2, 0.0}};
    const auto plain = [&](Poles extra) {
        Poles exponents = std::move(extra);
        exponents.insert(exponents.end(), wellDamped.begin(), wellDamped.end());
        return modalModel(polesOf(exponents, type), 3, 2, type, numbers);
    };
    const auto concealed = [&](const LTIStateSpaceModel& model) { return hidden(model, numbers); };

    std::vector<ModelFamily> families;
    families.push_back({"stable", concealed(plain({})), 4, 0, 0});
    families.push_back({"integrator", concealed(plain({0.0})), 4, 1, 0});

    LTIStateSpaceModel doubleIntegrator = plain({0.0, 0.0});
    doubleIntegrator.A(0, 1) = 1.0;
    // Not concealed: the rounding of other coordinates would scatter a double pole by the root of the precision.
    families.push_back({"double integrator", doubleIntegrator, 4, 2, 0});

    families.push_back({"ringer", concealed(plain({{-0.01, 0.7}})), 6, 0, 0});
    families.push_back({"unstable", concealed(plain({{0.3, 0.0}, {0.1, 0.5}})), 4, 0, 3});

    if (type == discreteSystem) {
        Poles poles{0.0, 0.0};
        const Poles others = polesOf(wellDamped, type);
        poles.insert(poles.end(), others.begin(), others.end());
        families.push_back({"delays", concealed(modalModel(poles, 3, 2, type, numbers)), 6, 0, 0});
    }

    LTIStateSpaceModel zeroGain = plain({});
    zeroGain.D = zeroGain.D - zeroGain.gain();
    families.push_back({"zero gain", concealed(zeroGain), 4, 0, 0});

    const Poles mixed = polesOf({{0.2, 0.0}, {0.0, 0.0}, {-0.5, 0.0}}, type);
    families.push_back({"no inputs", concealed(modalModel(mixed, 0, 2, type, numbers)), 0, 0, 0});
    families.push_back({"no outputs", concealed(modalModel(mixed, 3, 0, type, numbers)), 0, 0, 0});
    families.push_back({"no states", modalModel({}, 3, 2, type, numbers), 0, 0, 0});
    LTIStateSpaceModel defaulted;
    defaulted.D = strongMatrix(2, 3, numbers);
    defaulted.sysType = type;
    families.push_back({"no states and no shapes", defaulted, 0, 0, 0});

    LTIStateSpaceModel weak = plain({{-0.25, 0.0}});
    weak.B.row(0) *= 1e-6;
    families.push_back({"nearly uncontrollable", concealed(weak), 5, 0, 0});

    LTIStateSpaceModel scaled = concealed(plain({0.0}));
    for (int k = 0; k < scaled.A.rows(); ++k) {
        const double factor = std::ldexp(1.0, 4 * k - 8);
        scaled.A.row(k) *= factor;
        scaled.A.column(k) *= 1.0 / factor;
        scaled.B.row(k) *= factor;
        scaled.C.column(k) *= 1.0 / factor;
    }
    families.push_back({"badly scaled", scaled, 4, 1, 0});
    return families;
}

}  // namespace qormath::test
