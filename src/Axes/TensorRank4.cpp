// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/TensorRank4.h"

#include "zeklib2core/Exception.h"

namespace TEVRA {

CTensorRank4::CTensorRank4(long long d0, long long d1, long long d2, long long d3)
    : m_dim0(d0), m_dim1(d1), m_dim2(d2), m_dim3(d3) {
    if (d0 < 1 || d1 < 1 || d2 < 1 || d3 < 1) {
        throw CException(TEVRA_LOCATION("src/FilterOrientations/HessianOrientations",
                                        "TEVRA::CTensorRank4::CTensorRank4", 36),
                         "All dimensions must have strictly positive size.");
    }
    try {
        m_data = new double***[d0]();
        for (int i = 0; i < d0; ++i) {
            m_data[i] = new double**[d1]();
            for (int j = 0; j < d1; ++j) {
                m_data[i][j] = new double*[d2]();
                for (int k = 0; k < d2; ++k) {
                    m_data[i][j][k] = new double[d3]();
                }
            }
        }
    } catch (...) {
        free();
        throw;
    }
}

CTensorRank4::~CTensorRank4() {
    free();
}

void CTensorRank4::free() noexcept {
    // Arrays that an interrupted construction did not reach are null.
    for (int i = 0; m_data != nullptr && i < m_dim0; ++i) {
        for (int j = 0; m_data[i] != nullptr && j < m_dim1; ++j) {
            for (int k = 0; m_data[i][j] != nullptr && k < m_dim2; ++k) {
                delete[] m_data[i][j][k];
            }
            delete[] m_data[i][j];
        }
        delete[] m_data[i];
    }
    delete[] m_data;
    m_data = nullptr;
}

template <typename OperationT>
void CTensorRank4::for_each(const OperationT& operation) {
    for (int i = 0; i < m_dim0; ++i) {
        for (int j = 0; j < m_dim1; ++j) {
            for (int k = 0; k < m_dim2; ++k) {
                for (int l = 0; l < m_dim3; ++l) {
                    operation(m_data[i][j][k][l], i, j, k, l);
                }
            }
        }
    }
}

CTensorRank4& CTensorRank4::operator+=(const CTensorRank4& other) {
    for_each([&other](double& element, int i, int j, int k, int l) { element += other(i, j, k, l); });
    return *this;
}

CTensorRank4& CTensorRank4::operator/=(double divisor) {
    for_each([divisor](double& element, int, int, int, int) { element /= divisor; });
    return *this;
}

} // namespace TEVRA
