// SPDX-License-Identifier: BSD-3-Clause
// Where the slices of an analysis go.
#include "stream/Streamed.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace TEVRA::test {
namespace {

/// Maps whose memory the analysis fills directly.
class CDirectMaps : public stream::CMapsInMemory {
  public:
    using CMapsInMemory::CMapsInMemory;
    void TakeAngles(const stream::SFoundSlices& found) override {
        EXPECT_EQ(found.theta, Place(found.slices).theta);
        EXPECT_EQ(found.phi, Place(found.slices).phi);
        EXPECT_EQ(found.confidence, nullptr);
        EXPECT_EQ(found.slices.first, m_written) << "in ascending order";
        m_written = found.slices.end;
    }
    long long SlicesWritten() const { return m_written; }

  private:
    long long m_written = 0;
};

/// Grey values as they come by.
class CGreyCopy : public stream::ISliceSink {
  public:
    explicit CGreyCopy(std::size_t sliceBytes) : m_sliceBytes(sliceBytes) {}
    void TakeAngles(const stream::SFoundSlices& /*found*/) override { hasAngles = true; }
    void TakeGrey(const stream::SSliceRange& slices, const std::byte* pixels) override {
        EXPECT_FALSE(hasAngles) << "grey values come first";
        const auto count = static_cast<std::size_t>(slices.Count()) * m_sliceBytes;
        grey.insert(grey.end(), pixels, pixels + count);
    }
    std::vector<std::byte> grey;
    bool hasAngles = false;

  private:
    std::size_t m_sliceBytes;
};

std::vector<float> copy_of(std::span<const float> map) {
    return {map.begin(), map.end()};
}

TEST(SliceSink, ThatGivesMemoryGetsTheSameMapsInIt) {
    for (const CSize& size : {CSize(90, 70), CSize(40, 36, 50)}) {
        const auto image = FiberImage(size);
        Impl::SAnalysisRequest parameters;
        parameters.fiberRadius = 2.0;
        const SAnswer copied = Streamed({*image, nullptr, parameters});
        const auto reader = ReaderOf(*image);
        const auto alone = stream::SingleProcess();
        for (const int threads : {1, 3}) {
            CDirectMaps maps(size);
            stream::CStreamingAnalysis analysis({*reader, nullptr, std::nullopt, &stream::HESSIAN},
                                                parameters, {threads, PLENTY, "/tmp"}, *alone, &maps);
            analysis.Run();
            EXPECT_EQ(maps.SlicesWritten(), size[2]);
            EXPECT_EQ(copy_of(maps.Theta()), copied.theta) << threads << " threads";
            EXPECT_EQ(copy_of(maps.Phi()), copied.phi) << threads << " threads";
        }
    }
}

TEST(SliceSink, OfAnyNumberGetsTheSame) {
    const CSize size(40, 36, 50);
    const auto image = FiberImage(size);
    Impl::SAnalysisRequest parameters;
    parameters.fiberRadius = 2.0;
    const SAnswer expected = Streamed({*image, nullptr, parameters});
    const auto reader = ReaderOf(*image);
    const auto alone = stream::SingleProcess();
    stream::CMapsInMemory first(size);
    stream::CMapsInMemory second(size);
    CGreyCopy grey(reader->SliceBytes());
    stream::CSinkFan fan{&grey, &first};
    fan.Add(second);
    // Little memory: many slabs.
    stream::CStreamingAnalysis analysis({*reader, nullptr, std::nullopt, &stream::HESSIAN}, parameters,
                                        {2, std::size_t{33} << 20, testing::TempDir()}, *alone, &fan);
    analysis.Run();
    for (const stream::CMapsInMemory* const maps : {&first, &second}) {
        EXPECT_EQ(copy_of(maps->Theta()), expected.theta);
        EXPECT_EQ(copy_of(maps->Phi()), expected.phi);
    }
    EXPECT_TRUE(grey.hasAngles);
    const auto* const pixels = image->Pixels<std::byte>();
    EXPECT_EQ(grey.grey, std::vector<std::byte>(pixels, pixels + size.Elements()));
}

} // namespace
} // namespace TEVRA::test
