// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <vector>

namespace TEVRA::Impl {

/// Counts bins, neighbours in tables of their own: values that lie side by side are often alike, and counting
/// one into the same bin would wait for the one before.
template <typename CountT>
class CBinCounter {
  public:
    CBinCounter() = default;
    /// @param bins numbers from 0 to `bins` - 1 are counted.
    explicit CBinCounter(std::size_t bins) : m_bins(bins), m_tables(TABLES * bins) {}

    template <typename BinT>
    void Add(const BinT* bins, std::size_t count) {
        CountT* const tables = m_tables.data();
        std::size_t x = 0;
        for (; x + TABLES <= count; x += TABLES) {
            for (std::size_t table = 0; table < TABLES; ++table) {
                ++tables[table * m_bins + bins[x + table]];
            }
        }
        for (; x < count; ++x) {
            ++tables[bins[x]];
        }
    }

    /// Adds the counts of the first bins to a histogram of as many, and forgets all.
    void MoveTo(std::vector<CountT>& histogram) {
        for (std::size_t table = 0; table * m_bins < m_tables.size(); ++table) {
            for (std::size_t bin = 0; bin < histogram.size(); ++bin) {
                histogram[bin] += m_tables[table * m_bins + bin];
            }
        }
        m_tables.assign(m_tables.size(), 0);
    }

  private:
    static constexpr std::size_t TABLES = 4;
    std::size_t m_bins = 0;
    std::vector<CountT> m_tables; // one after the other
};

} // namespace TEVRA::Impl
