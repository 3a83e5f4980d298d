// SPDX-License-Identifier: BSD-3-Clause
// Which passes an analysis makes, and that its progress ends with them.
#include "stream/Streamed.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace TEVRA;
using namespace TEVRA::test;
using testing::ElementsAre;

namespace {

using Names = std::vector<std::string>;

/// The steps of the outermost report.
class COuterProgress : public IProgressMonitor {
  public:
    long long announced = 0;
    long long done = 0;

    void BeginProgress(long long steps, const char* /*text*/) override {
        if (++m_depth == 1) {
            announced = steps;
        }
    }
    void StepProgress() override { done += m_depth == 1 ? 1 : 0; }
    bool CancelRequested() override { return false; }
    void EndProgress() override { --m_depth; }

  private:
    int m_depth = 0;
};

class Passes : public testing::Test {
  protected:
    /// Runs an analysis and returns the names of its passes; fails unless its progress came to its end.
    Names run(const CImage* maskImage, const std::optional<stream::SCheckpointFiles>& checkpoint) {
        const auto image = ReaderOf(*m_image);
        const auto mask = maskImage != nullptr ? ReaderOf(*maskImage) : nullptr;
        Impl::SAnalysisRequest parameters;
        parameters.fiberRadius = 2.0;
        const std::unique_ptr<stream::ICommunicator> alone = stream::SingleProcess();
        stream::CStreamingAnalysis analysis({*image, mask.get(), std::nullopt, &stream::HESSIAN}, parameters,
                                            {1, PLENTY, testing::TempDir(), checkpoint}, *alone);
        COuterProgress progress;
        const CProgressMonitorScope scope(progress);
        const stream::SStreamResult result = analysis.Run();
        EXPECT_EQ(progress.done, progress.announced);
        EXPECT_GT(progress.announced, 0);
        Names names;
        const std::vector<Impl::SPassTime>& passes = result.analysis.passes;
        std::transform(passes.begin(), passes.end(), std::back_inserter(names),
                       [](const Impl::SPassTime& pass) { return pass.name; });
        return names;
    }

    std::unique_ptr<CImage> m_image = FiberImage(CSize(40, 30, 20));
    std::unique_ptr<CImage> m_mask = BlobMask(CSize(40, 30, 20));
    CTemporaryFolder m_folder;
};

TEST_F(Passes, WithoutAMaskDoNotCheckOne) {
    EXPECT_THAT(run(nullptr, std::nullopt), ElementsAre("slices", "columns", "threshold", "directions"));
}

TEST_F(Passes, WithAMaskCheckItFirst) {
    EXPECT_THAT(run(m_mask.get(), std::nullopt),
                ElementsAre("mask", "slices", "columns", "threshold", "directions"));
}

TEST_F(Passes, OfAContinuedRunLeaveOutTheSmoothing) {
    const stream::SCheckpointFiles files{m_folder / "state", "this image"};
    run(m_mask.get(), files);
    EXPECT_THAT(run(m_mask.get(), files), ElementsAre("mask", "threshold", "directions"));
    EXPECT_THAT(run(nullptr, files), ElementsAre("threshold", "directions"));
}

} // namespace
