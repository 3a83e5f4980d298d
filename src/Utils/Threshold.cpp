// SPDX-License-Identifier: BSD-3-Clause
#include "Utils/Threshold.h"

#include "Utils/GreyPixels.h"
#include "Utils/PointOperationsImpl.h"
#include "Utils/visitors/PointOperationStatistics.h"
#include "VexoSegmentation/Otsu.h"

#include <type_traits>
#include <vector>

namespace TEVRA::Impl {
namespace {

using Histogram = std::vector<unsigned long long>;
using Visit = VisitorHelper<0>;

template <typename PixelT>
std::optional<double> integer_threshold(const IImage& image, double factor) {
    Histogram histogram;
    visitors::CAnalyzerHistogram<PixelT, unsigned long long> counter(histogram);
    if (!Visit::VisitImageData(image, counter, CProgressMonitor::Obj())) {
        return std::nullopt;
    }
    return static_cast<double>(COtsu::CalculateThreshold(histogram)) * factor;
}

std::optional<double> float_threshold(const IImage& image, double factor) {
    visitors::CAnalyzerMinMax<float> range;
    if (!Visit::VisitImageData(image, range, CProgressMonitor::Obj())) {
        return std::nullopt;
    }
    Histogram histogram;
    visitors::CAnalyzerHistogram<float, unsigned long long> counter(histogram, range.Min(), range.Max(),
                                                                    FLOAT_HISTOGRAM_BINS);
    if (!Visit::VisitImageData(image, counter, CProgressMonitor::Obj())) {
        return std::nullopt;
    }
    const unsigned long long bin = COtsu::CalculateThreshold(histogram);
    return ThresholdOfFloatBin(bin, factor, range.Min(), range.Max());
}

} // namespace

std::optional<double> ForegroundThreshold(const IImage& image, double factor) {
    // Reports name the operation by which callers of the library know the threshold.
    const StExLocation location = TEVRA_LOCATION("src/FilterOrientations/FilterOrientations",
                                                 "TEVRA::CFilterOrientations::ComputeThreshold", __LINE__);
    return ForGreyPixels(image, location, [&]<typename PixelT>() {
        if constexpr (std::is_same_v<PixelT, float>) {
            return float_threshold(image, factor);
        } else {
            return integer_threshold<PixelT>(image, factor);
        }
    });
}

} // namespace TEVRA::Impl
