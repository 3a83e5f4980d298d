// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/HessianOrientations.h"
#include "FilterOrientations/SubfieldFiberDirections.h"
#include "Numeric/Matrix.h"
#include "support/MakeImage.h"
#include "support/RecordingMonitor.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/ValueMap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

namespace TEVRA {
namespace {

/// Asks to stop at one poll, and either at all that follow or at none.
class CStopAt : public test::CRecordingMonitor {
  public:
    explicit CStopAt(int poll, bool insists = true) : m_poll(poll), m_insists(insists) {}
    bool CancelRequested() override {
        ++polls;
        return polls == m_poll || (m_insists && polls > m_poll);
    }

  private:
    int m_poll;
    bool m_insists;
};

const CSize PLANE(16, 14);
const CSize VOLUME(12, 11, 10);

/// Bright fibers along x on a dark ground that is not even.
std::unique_ptr<CImage> fibers(const CSize& size, const IImage::CType& type = IMAGE_GREY_8) {
    const auto value = [](long long x, long long y, long long z) {
        return ((y + z / 2) % 6 < 2 ? 200 : 20) + (x + 3 * y) % 7;
    };
    if (type == IMAGE_GREY_16) {
        return test::MakeImage<unsigned short>(type, size, value);
    }
    return type == IMAGE_GREY_F ? test::MakeImage<float>(type, size, value)
                                : test::MakeImage<unsigned char>(type, size, value);
}

bool fails(const std::function<void()>& call) {
    try {
        call();
    } catch (const CException&) {
        return true;
    }
    return false;
}

bool analysis_gives_numbers(const CSize& size) {
    CSubfieldFiberDirections analysis(1.5, 1.25, -1, -1, -1);
    std::string parameters;
    const auto image = fibers(size);
    const bool hasDocument = !fails([&] {
        const std::unique_ptr<CValueMap> document(analysis.Compute(*image, parameters, nullptr, false));
    });
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    const bool hasMaps = !fails([&] { analysis.GetDirections(theta, phi); });
    const std::unique_ptr<const IImage> thetaOwner(theta);
    const std::unique_ptr<const IImage> phiOwner(phi);
    return hasDocument || hasMaps || !parameters.empty();
}

bool estimator_gives_numbers(const CSize& size) {
    CHessianOrientations estimator;
    const auto image = fibers(size);
    // An earlier run must not show through.
    {
        CStopAt never(test::CRecordingMonitor::NEVER);
        const CProgressMonitorScope scope(never);
        estimator.compute(*image, 2.0, nullptr, CHessianOrientations::eEVSmallest);
    }
    estimator.compute(*image, 1.5, nullptr, CHessianOrientations::eEVSmallest);
    const auto dim = static_cast<std::size_t>(size.Dim());
    CMatrix<double> tensor(dim, dim);
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    const bool hasMaps = !fails([&] { estimator.get(theta, phi); });
    const bool hasTensor =
        !fails([&] { estimator.OrientationTensor(tensor, CBox(0, 0, 0, 9, 9, 9), true, nullptr); });
    return hasMaps || hasTensor;
}

bool filter_gives_numbers(const CSize& size) {
    CFilterOrientations estimator(2.0F, 1.0F, nullptr, nullptr);
    estimator.Compute(*fibers(size), CFilterOrientations::eCoarse, nullptr);
    CStopAt never(test::CRecordingMonitor::NEVER);
    const CProgressMonitorScope scope(never);
    CImage response(IMAGE_GREY_F, size, CSize(0, 0, 0));
    return estimator.GetBestResponse(response);
}

/// Calls an operation on the results of a run that nobody cancels.
bool output_gives_numbers(const std::function<bool(const CFilterOrientations&)>& output) {
    CFilterOrientations estimator(2.0F, 1.0F, nullptr, nullptr);
    {
        CStopAt never(test::CRecordingMonitor::NEVER);
        const CProgressMonitorScope scope(never);
        estimator.Compute(*fibers(PLANE), CFilterOrientations::eCoarse, nullptr);
    }
    return output(estimator);
}

bool threshold_gives_numbers(const IImage::CType& type) {
    return !std::isnan(CFilterOrientations::ComputeThreshold(*fibers(PLANE, type), 1.25));
}

struct SOperation {
    const char* name;
    std::function<bool()> givesNumbers;
};

void PrintTo(const SOperation& operation, std::ostream* out) {
    *out << operation.name;
}

class Cancellation : public testing::TestWithParam<SOperation> {};

TEST_P(Cancellation, AtAnyPollLeavesNoNumbers) {
    int polls = 0;
    {
        CStopAt monitor(test::CRecordingMonitor::NEVER);
        const CProgressMonitorScope scope(monitor);
        ASSERT_TRUE(GetParam().givesNumbers());
        polls = monitor.polls;
    }
    ASSERT_GT(polls, 0) << "the operation never asks";
    for (const bool insists : {true, false}) {
        for (int poll = 1; poll <= polls; ++poll) {
            CStopAt monitor(poll, insists);
            const CProgressMonitorScope scope(monitor);
            EXPECT_FALSE(GetParam().givesNumbers())
                << "poll " << poll << " of " << polls << (insists ? " and after" : " only");
            EXPECT_EQ(monitor.openReports, 0) << "poll " << poll;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    EveryOperation, Cancellation,
    testing::Values(SOperation{"SubfieldsInThePlane", [] { return analysis_gives_numbers(PLANE); }},
                    SOperation{"SubfieldsInSpace", [] { return analysis_gives_numbers(VOLUME); }},
                    SOperation{"HessianInThePlane", [] { return estimator_gives_numbers(PLANE); }},
                    SOperation{"HessianInSpace", [] { return estimator_gives_numbers(VOLUME); }},
                    SOperation{"FilterInThePlane", [] { return filter_gives_numbers(PLANE); }},
                    SOperation{"FilterInSpace", [] { return filter_gives_numbers(CSize(6, 5, 4)); }},
                    SOperation{"ThresholdOf8Bit", [] { return threshold_gives_numbers(IMAGE_GREY_8); }},
                    SOperation{"ThresholdOf16Bit", [] { return threshold_gives_numbers(IMAGE_GREY_16); }},
                    SOperation{"ThresholdOfFloat", [] { return threshold_gives_numbers(IMAGE_GREY_F); }},
                    SOperation{"BestResponse",
                               [] {
                                   return output_gives_numbers([](const CFilterOrientations& estimator) {
                                       CImage response(IMAGE_GREY_F, PLANE, CSize(0, 0, 0));
                                       return estimator.GetBestResponse(response);
                                   });
                               }},
                    SOperation{"OrientationHistogram",
                               [] {
                                   return output_gives_numbers([](const CFilterOrientations& estimator) {
                                       CValueMap histogram;
                                       return estimator.OrientationHistogram(histogram) ||
                                              !histogram.IsEmpty();
                                   });
                               }}),
    [](const auto& operation) { return std::string(operation.param.name); });

} // namespace
} // namespace TEVRA
