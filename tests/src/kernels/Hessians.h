// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

/// Hessians of awkward kinds, as single-precision images hold them.
namespace TEVRA::test {

/// Distinct entries xx, xy[, xz], yy[, yz, zz].
template <std::size_t Dim>
using Hessian = std::array<float, Dim*(Dim + 1) / 2>;

template <std::size_t Dim>
struct SHessianKind {
    std::string name;
    std::function<Hessian<Dim>(std::mt19937_64&)> make;
};

/// Q diag(values) Q^T for a random rotation, rounded to float.
template <std::size_t Dim>
Hessian<Dim> WithEigenvalues(const std::array<double, Dim>& values, std::mt19937_64& random) {
    std::normal_distribution<double> normal;
    std::array<std::array<double, Dim>, Dim> q{};
    for (std::size_t k = 0; k < Dim; ++k) { // Gram and Schmidt
        for (double& component : q[k]) {
            component = normal(random);
        }
        for (std::size_t j = 0; j < k; ++j) {
            double product = 0.0;
            for (std::size_t i = 0; i < Dim; ++i) {
                product += q[k][i] * q[j][i];
            }
            for (std::size_t i = 0; i < Dim; ++i) {
                q[k][i] -= product * q[j][i];
            }
        }
        double squares = 0.0;
        for (const double component : q[k]) {
            squares += component * component;
        }
        for (double& component : q[k]) {
            component /= std::sqrt(squares);
        }
    }
    Hessian<Dim> hessian{};
    std::size_t entry = 0;
    for (std::size_t row = 0; row < Dim; ++row) {
        for (std::size_t col = row; col < Dim; ++col) {
            double sum = 0.0;
            for (std::size_t k = 0; k < Dim; ++k) {
                sum += values[k] * q[k][row] * q[k][col];
            }
            hessian[entry++] = static_cast<float>(sum);
        }
    }
    return hessian;
}

template <std::size_t Dim>
Hessian<Dim> RandomHessian(double scale, std::mt19937_64& random) {
    std::normal_distribution<double> normal;
    Hessian<Dim> hessian{};
    for (float& entry : hessian) {
        entry = static_cast<float>(scale * normal(random));
    }
    return hessian;
}

template <std::size_t Dim>
Hessian<Dim> Diagonal(const std::array<float, Dim>& values) {
    Hessian<Dim> hessian{};
    std::size_t entry = 0;
    for (std::size_t row = 0; row < Dim; ++row) {
        hessian[entry] = values[row];
        entry += Dim - row;
    }
    return hessian;
}

template <std::size_t Dim>
std::vector<SHessianKind<Dim>> HessianKinds() {
    using Random = std::mt19937_64;
    const auto around = [](double gap) {
        return [gap](Random& random) {
            std::array<double, Dim> values{};
            values.fill(1.0);
            values[0] += gap;
            values[1] *= random() % 2 == 0 ? 1.0 : -1.0;
            if (random() % 2 == 0) {
                values[Dim - 1] = 3.0;
            }
            return WithEigenvalues<Dim>(values, random);
        };
    };
    const auto small_integers = [](Random& random) {
        Hessian<Dim> hessian{};
        for (float& entry : hessian) {
            entry = static_cast<float>(static_cast<int>(random() % 5) - 2);
        }
        return hessian;
    };
    const auto one_entry_of = [](const std::vector<float>& values) {
        return [values](Random& random) {
            Hessian<Dim> hessian = RandomHessian<Dim>(1.0, random);
            hessian[random() % hessian.size()] = values[random() % values.size()];
            return hessian;
        };
    };
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float most = std::numeric_limits<float>::max();
    constexpr float least = std::numeric_limits<float>::denorm_min();
    return {
        {"random", [](Random& random) { return RandomHessian<Dim>(1.0, random); }},
        {"huge", [](Random& random) { return RandomHessian<Dim>(1e37, random); }},
        {"tiny", [](Random& random) { return RandomHessian<Dim>(1e-37, random); }},
        {"subnormal", [](Random& random) { return RandomHessian<Dim>(1e-43, random); }},
        {"fiber",
         [](Random& random) {
             std::array<double, Dim> values{};
             values.fill(-1.0);
             values[0] = 1e-3;
             return WithEigenvalues<Dim>(values, random);
         }},
        {"close by a tenth", around(0.1)},
        {"close by 1e-3", around(1e-3)},
        {"close by 1e-5", around(1e-5)},
        {"equal but for rounding", around(0.0)},
        {"small integers", small_integers},
        {"diagonal",
         [](Random& random) {
             std::array<float, Dim> values{};
             for (float& value : values) {
                 value = static_cast<float>(static_cast<int>(random() % 5) - 2);
             }
             return Diagonal<Dim>(values);
         }},
        {"zero", [](Random& random) { return Diagonal<Dim>({random() % 2 == 0 ? 0.0F : -0.0F}); }},
        {"entries of different magnitude",
         [](Random& random) {
             Hessian<Dim> hessian = RandomHessian<Dim>(1.0, random);
             for (float& entry : hessian) {
                 entry = std::ldexp(entry, static_cast<int>(random() % 200) - 100);
             }
             return hessian;
         }},
        {"not finite", one_entry_of({infinity, -infinity, nan})},
        {"extreme", one_entry_of({most, -most, least, -least, 0.0F, -0.0F})},
    };
}

} // namespace TEVRA::test
