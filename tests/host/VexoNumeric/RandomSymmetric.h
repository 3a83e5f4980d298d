// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Matrix.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace TEVRA::test {

/// Random numbers for matrices.
class CRandom {
  public:
    explicit CRandom(unsigned seed) : m_engine(seed) {}

    /// Standard normal.
    double Normal() { return m_normal(m_engine); }
    /// 10^-e with e even in [0, decades).
    double Small(double decades) { return std::pow(10.0, -decades * m_even(m_engine)); }
    bool Coin() { return m_engine() % 2 == 0; }
    int Whole(int low, int high) {
        return low + static_cast<int>(m_engine() % static_cast<unsigned>(high - low + 1));
    }

  private:
    std::mt19937 m_engine;
    std::normal_distribution<double> m_normal;
    std::uniform_real_distribution<double> m_even;
};

inline CMatrix<double> SymmetricFromElements(std::size_t n, const std::function<double()>& next) {
    CMatrix<double> matrix(n, n);
    for (std::size_t row = 0; row < n; ++row) {
        for (std::size_t col = row; col < n; ++col) {
            matrix(row, col) = matrix(col, row) = next();
        }
    }
    return matrix;
}

/// Q diag(eigenvalues) Q^T with a random rotation Q, rounded once.
inline CMatrix<double> SymmetricFromEigenvalues(const std::vector<double>& eigenvalues, CRandom& random) {
    const std::size_t n = eigenvalues.size();
    // Rows of Q: Gram-Schmidt on random vectors, in extended precision.
    std::vector<std::vector<long double>> q;
    while (q.size() < n) {
        std::vector<long double> vector(n);
        for (long double& component : vector) {
            component = random.Normal();
        }
        for (int round = 0; round < 2; ++round) {
            for (const auto& other : q) {
                long double dot = 0.0L;
                for (std::size_t i = 0; i < n; ++i) {
                    dot += vector[i] * other[i];
                }
                for (std::size_t i = 0; i < n; ++i) {
                    vector[i] -= dot * other[i];
                }
            }
        }
        long double square = 0.0L;
        for (const long double component : vector) {
            square += component * component;
        }
        for (long double& component : vector) {
            component /= std::sqrt(square);
        }
        q.push_back(vector);
    }
    CMatrix<double> matrix(n, n);
    for (std::size_t row = 0; row < n; ++row) {
        for (std::size_t col = row; col < n; ++col) {
            long double sum = 0.0L;
            for (std::size_t k = 0; k < n; ++k) {
                sum += q[k][row] * static_cast<long double>(eigenvalues[k]) * q[k][col];
            }
            matrix(row, col) = matrix(col, row) = static_cast<double>(sum);
        }
    }
    return matrix;
}

/// A kind of symmetric matrix that decompositions stumble over.
struct SSymmetricKind {
    std::string name;
    std::function<CMatrix<double>(std::size_t, CRandom&)> make;
};

inline std::ostream& operator<<(std::ostream& out, const SSymmetricKind& kind) {
    return out << kind.name;
}

/// The kind's name in the names of parameterised tests.
inline std::string NameForTest(std::string name) {
    for (char& c : name) {
        c = c == ' ' || c == ',' || c == '-' ? '_' : c;
    }
    return name;
}

inline std::vector<SSymmetricKind> SymmetricKinds() {
    const auto elements = [](const std::function<double(CRandom&)>& next) {
        return [next](std::size_t n, CRandom& random) {
            return SymmetricFromElements(n, [&] { return next(random); });
        };
    };
    const auto eigenvalues = [](const std::function<double(CRandom&, double, std::size_t)>& next) {
        return [next](std::size_t n, CRandom& random) {
            const double first = random.Normal();
            std::vector<double> values;
            for (std::size_t k = 0; k < n; ++k) {
                values.push_back(next(random, first, k));
            }
            return SymmetricFromEigenvalues(values, random);
        };
    };
    return {
        {"random elements", elements([](CRandom& r) { return r.Normal(); })},
        {"graded elements", elements([](CRandom& r) { return r.Normal() * r.Small(40.0); })},
        {"small whole elements", elements([](CRandom& r) { return r.Whole(-2, 2); })},
        {"sparse", elements([](CRandom& r) { return r.Coin() ? 0.0 : r.Normal(); })},
        {"diagonal",
         [](std::size_t n, CRandom& random) {
             CMatrix<double> matrix(n, n);
             for (std::size_t i = 0; i < n; ++i) {
                 matrix(i, i) = random.Coin() ? random.Whole(-1, 1) : random.Normal();
             }
             return matrix;
         }},
        {"nearly diagonal",
         [](std::size_t n, CRandom& random) {
             const double off = random.Small(20.0);
             CMatrix<double> matrix = SymmetricFromElements(n, [&] { return random.Normal() * off; });
             for (std::size_t i = 0; i < n; ++i) {
                 matrix(i, i) = random.Normal();
             }
             return matrix;
         }},
        {"rank 1", eigenvalues([](CRandom&, double first, std::size_t k) { return k == 0 ? first : 0.0; })},
        {"outer product",
         [](std::size_t n, CRandom& random) {
             std::vector<double> v;
             for (std::size_t i = 0; i < n; ++i) {
                 v.push_back(random.Normal());
             }
             CMatrix<double> matrix(n, n);
             for (std::size_t row = 0; row < n; ++row) {
                 for (std::size_t col = 0; col < n; ++col) {
                     matrix(row, col) = v[row] * v[col];
                 }
             }
             return matrix;
         }},
        {"double eigenvalue",
         eigenvalues([](CRandom& r, double first, std::size_t k) { return k < 2 ? first : r.Normal(); })},
        {"opposite eigenvalues", eigenvalues([](CRandom& r, double first, std::size_t k) {
             return k == 0 ? first : k == 1 ? -first : r.Normal();
         })},
        {"all eigenvalues equal", eigenvalues([](CRandom&, double first, std::size_t) { return first; })},
        {"nearly equal eigenvalues", // relative distances 1e-8 to 1e-18
         eigenvalues([](CRandom& r, double first, std::size_t) {
             return first * (1.0 + 1e-8 * r.Normal() * r.Small(10.0));
         })},
        {"one large, others small", eigenvalues([](CRandom& r, double first, std::size_t k) {
             return k == 0 ? first : r.Normal() * r.Small(30.0);
         })},
        {"negative definite",
         eigenvalues([](CRandom& r, double, std::size_t) { return -std::fabs(r.Normal()) - 1e-3; })},
        {"orientation tensor",
         eigenvalues([](CRandom&, double, std::size_t k) { return k == 0 ? 0.9 : 0.05; })},
    };
}

} // namespace TEVRA::test
