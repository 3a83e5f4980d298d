// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA {

/// Fourth-order tensor of doubles, zero on construction. Elements are not checked against the sizes.
class CTensorRank4 {
  public:
    /// @throws CException unless all sizes are at least 1.
    CTensorRank4(long long d0, long long d1, long long d2, long long d3);
    CTensorRank4(const CTensorRank4&) = delete;
    CTensorRank4& operator=(const CTensorRank4&) = delete;
    ~CTensorRank4();

    double operator()(long long i, long long j, long long k, long long l) const { return m_data[i][j][k][l]; }
    double& operator()(long long i, long long j, long long k, long long l) { return m_data[i][j][k][l]; }

    /// Adds the other tensor's elements; it must be at least as large in every dimension.
    CTensorRank4& operator+=(const CTensorRank4& other);
    /// Divides every element.
    CTensorRank4& operator/=(double divisor);

  private:
    template <typename OperationT>
    void for_each(const OperationT& operation);
    void free() noexcept;

    double**** m_data = nullptr;
    long long m_dim0;
    long long m_dim1;
    long long m_dim2;
    long long m_dim3;
};

} // namespace TEVRA
