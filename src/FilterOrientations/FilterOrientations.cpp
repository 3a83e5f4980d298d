// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/FilterOrientations.h"

#include "FilterOrientations/Threshold.h"
#include "Utils/PointOperationsImpl.h"
#include "Utils/visitors/PointOperationStatistics.h"
#include "VexoSegmentation/Otsu.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

#include <vector>

namespace TEVRA {
namespace {

constexpr const char* SOURCE = "src/FilterOrientations/FilterOrientations";

using Histogram = std::vector<unsigned long long>;
using Visit = Impl::VisitorHelper<0>;

template <typename PixelT>
double integer_threshold(const IImage& image, double factor) {
    Histogram histogram;
    visitors::CAnalyzerHistogram<PixelT, unsigned long long> counter(histogram);
    Visit::VisitImageData(image, counter, CProgressMonitor::Obj());
    return static_cast<double>(COtsu::CalculateThreshold(histogram)) * factor;
}

double float_threshold(const IImage& image, double factor) {
    visitors::CAnalyzerMinMax<float> range;
    Visit::VisitImageData(image, range, CProgressMonitor::Obj());
    Histogram histogram;
    visitors::CAnalyzerHistogram<float, unsigned long long> counter(histogram, range.Min(), range.Max(),
                                                                    Impl::FLOAT_HISTOGRAM_BINS);
    Visit::VisitImageData(image, counter, CProgressMonitor::Obj());
    return Impl::ThresholdOfFloatBin(COtsu::CalculateThreshold(histogram), factor, range.Min(), range.Max());
}

} // namespace

double CFilterOrientations::ComputeThreshold(const IImage& image, double factor) {
    if (image.Type() == IMAGE_GREY_8) {
        return integer_threshold<unsigned char>(image, factor);
    }
    if (image.Type() == IMAGE_GREY_16) {
        return integer_threshold<unsigned short>(image, factor);
    }
    if (image.Type() == IMAGE_GREY_F) {
        return float_threshold(image, factor);
    }
    CString message("Not implemented for this image type '%1'.", CString::eEncodingUtf8);
    message.Arg(image.Type().ToString());
    throw CException(TEVRA_LOCATION(SOURCE, "TEVRA::CFilterOrientations::ComputeThreshold", __LINE__),
                     message.c_str());
}

} // namespace TEVRA
