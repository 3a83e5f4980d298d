// SPDX-License-Identifier: BSD-3-Clause
// Where the angles of an analysis go.
#include "stream/Streamed.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace TEVRA::test {
namespace {

/// Maps whose memory the analysis fills directly.
class CDirectMaps : public stream::IAngleSink {
  public:
    explicit CDirectMaps(const CSize& size)
        : m_size(size), theta(static_cast<std::size_t>(size.Elements()), -77.0F),
          phi(size.Dim() == 3 ? theta.size() : 0, -77.0F) {}

    stream::SAngleSlices Place(const stream::SSliceRange& slices) override {
        const auto first = static_cast<std::size_t>(slices.first * m_size[0] * m_size[1]);
        return {theta.data() + first, m_size.Dim() == 3 ? phi.data() + first : nullptr};
    }
    void Write(const stream::SSliceRange& slices, const float* thetas, const float* phis) override {
        EXPECT_EQ(thetas, Place(slices).theta);
        EXPECT_EQ(phis, Place(slices).phi);
        EXPECT_EQ(slices.first, m_written) << "in ascending order";
        m_written = slices.end;
    }
    long long SlicesWritten() const { return m_written; }

  private:
    CSize m_size;
    long long m_written = 0;

  public:
    std::vector<float> theta;
    std::vector<float> phi;
};

TEST(AngleSink, ThatGivesMemoryGetsTheSameMapsInIt) {
    for (const CSize& size : {CSize(90, 70), CSize(40, 36, 50)}) {
        const auto image = FiberImage(size);
        stream::SStreamParameters parameters;
        parameters.fiberRadius = 2.0;
        const SAnswer copied = Streamed({*image, nullptr, parameters});
        const auto reader = ReaderOf(*image);
        const auto alone = stream::SingleProcess();
        for (const int threads : {1, 3}) {
            CDirectMaps maps(size);
            stream::CStreamingAnalysis analysis({*reader}, parameters, {threads, PLENTY, "/tmp"}, *alone,
                                                true);
            analysis.Run(&maps);
            EXPECT_EQ(maps.SlicesWritten(), size[2]);
            EXPECT_EQ(maps.theta, copied.theta) << threads << " threads";
            EXPECT_EQ(maps.phi, copied.phi) << threads << " threads";
        }
    }
}

} // namespace
} // namespace TEVRA::test
