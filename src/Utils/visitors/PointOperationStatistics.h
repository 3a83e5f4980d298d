// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Utils/BinCounter.h"
#include "Utils/HistogramBin.h"
#include "Utils/RowStatistics.h"
#include "Utils/TypeName.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace TEVRA::visitors {

/// Counts pixel values into bins, bin = value: 256 bins for 8-bit, 65536 for 16-bit pixels.
template <typename PixelT, typename CountT>
class CAnalyzerHistogram {
    static_assert(std::is_unsigned_v<PixelT>, "float pixels have a form of their own");

  public:
    using PixelType = const PixelT;

    /// @param histogram receives the counts; must outlive the visitor.
    explicit CAnalyzerHistogram(std::vector<CountT>& histogram) : m_histogram(histogram) {}

    void Reset() {
        m_histogram.assign(BINS, 0);
        m_counter = Impl::CBinCounter<CountT>(BINS);
    }
    void operator()(PixelT value) { ++m_histogram[value]; }
    void VisitRow(const PixelT* row, long long count) { m_counter.Add(row, static_cast<std::size_t>(count)); }
    void Finish() { m_counter.MoveTo(m_histogram); }

    static std::string TypeName() {
        return "class TEVRA::visitors::CAnalyzerHistogram<" + Impl::TypeName<PixelT>() + "," +
               Impl::TypeName<CountT>() + ">";
    }

  private:
    static constexpr std::size_t BINS = std::size_t{std::numeric_limits<PixelT>::max()} + 1;

    std::vector<CountT>& m_histogram;
    Impl::CBinCounter<CountT> m_counter;
};

/// Counts float values into equal bins over [min, max] (Impl::HistogramBin); NaN is not counted.
template <typename CountT>
class CAnalyzerHistogram<float, CountT> {
  public:
    using PixelType = const float;

    /// @param histogram receives the counts; must outlive the visitor.
    /// @throws CException if no vector can hold that many bins, unless min < max, and for 0 bins.
    CAnalyzerHistogram(std::vector<CountT>& histogram, float min, float max, unsigned long long bins)
        : m_histogram(histogram), m_min(min), m_max(max), m_bins(static_cast<std::size_t>(bins)) {
        constexpr unsigned long long MOST = 2305843009213693951ULL; // 64-bit counts that a vector can hold
        if (bins > MOST) {
            CString message("vector size is insufficient (std::vector<T>::max_size() = %1 is lower than %2",
                            CString::eEncodingUtf8);
            message.Arg(static_cast<long long>(MOST), 0).Arg(std::to_string(bins));
            throw_from_constructor(message, __LINE__);
        }
        if (!(min < max)) {
            CString message("Value range is invalid (min value = %1 larger or equal to max value %2",
                            CString::eEncodingUtf8);
            message.Arg(static_cast<double>(min), 0).Arg(static_cast<double>(max), 0);
            throw_from_constructor(message, __LINE__);
        }
        if (bins == 0) {
            throw_from_constructor(CString("A histogram needs one bin at least.", CString::eEncodingUtf8),
                                   __LINE__);
        }
    }

    void Reset() {
        m_histogram.assign(m_bins, 0);
        m_counter = Impl::CBinCounter<CountT>(has_kernel() ? m_bins + 1 : 0);
    }
    void operator()(float value) {
        if (value == value) {
            ++m_histogram[Impl::HistogramBin(value, m_min, m_max, m_bins)];
        }
    }
    void VisitRow(const float* row, long long count) {
        const float* const end = row + count;
        if (!has_kernel()) {
            std::for_each(row, end, [this](float value) { (*this)(value); });
            return;
        }
        std::array<unsigned short, SEGMENT> bins; // NOLINT(cppcoreguidelines-pro-type-member-init)
        while (row < end) {
            const std::size_t length = std::min(SEGMENT, static_cast<std::size_t>(end - row));
            Impl::BinsOfRow({m_min, m_max, m_bins}, row, length, bins.data());
            m_counter.Add(bins.data(), length);
            row += length;
        }
    }
    void Finish() { m_counter.MoveTo(m_histogram); }

    static std::string TypeName() { return "class " + qualified_name(); }

  private:
    static constexpr std::size_t SEGMENT = 512; // values whose bins stay in the first-level cache

    bool has_kernel() const { return m_bins <= Impl::SBinning::MOST_BINS; }
    static std::string qualified_name() {
        return "TEVRA::visitors::CAnalyzerHistogram<float," + Impl::TypeName<CountT>() + ">";
    }
    [[noreturn]] static void throw_from_constructor(const CString& message, int line) {
        const std::string function = qualified_name() + "::CAnalyzerHistogram";
        throw CException(
            TEVRA_LOCATION("src/Utils/visitors/PointOperationStatistics", function.c_str(), line),
            message.c_str());
    }

    std::vector<CountT>& m_histogram;
    float m_min;
    float m_max;
    std::size_t m_bins;
    Impl::CBinCounter<CountT> m_counter; // its last bin is for NaN
};

/// Smallest and largest value, NaN left out. Without any number the minimum is above the maximum.
template <typename PixelT>
class CAnalyzerMinMax {
  public:
    using PixelType = const PixelT;

    void Reset() { *this = CAnalyzerMinMax(); }
    void operator()(PixelT value) {
        // Every comparison with NaN is false, so NaN changes nothing.
        m_min = value < m_min ? value : m_min;
        m_max = value > m_max ? value : m_max;
    }
    void VisitRow(const PixelT* row, long long count) requires std::is_same_v<PixelT, float> {
        Impl::SExtent extent{m_min, m_max};
        Impl::Extend(extent, row, static_cast<std::size_t>(count));
        m_min = extent.lo;
        m_max = extent.hi;
    }

    PixelT Min() const noexcept { return m_min; }
    PixelT Max() const noexcept { return m_max; }

    static std::string TypeName() {
        return "class TEVRA::visitors::CAnalyzerMinMax<" + Impl::TypeName<PixelT>() + ">";
    }

  private:
    PixelT m_min = std::numeric_limits<PixelT>::infinity();
    PixelT m_max = -std::numeric_limits<PixelT>::infinity();
};

} // namespace TEVRA::visitors
