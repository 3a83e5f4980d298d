// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/MapFiles.h"

#include "Axes/Markers.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numbers>
#include <string>
#include <vector>

namespace TEVRA::jobs {
namespace {

using volume::ESliceFormat;

/// Angles of a 3D image, a tenth of its pixels without an axis.
struct SMaps {
    explicit SMaps(const CSize& imageSize) : size(imageSize) {
        for (std::size_t pixel = 0; pixel < size.Elements(); ++pixel) {
            const bool isFiber = pixel % 10 != 3;
            const auto share = static_cast<float>(pixel) / static_cast<float>(size.Elements());
            theta.push_back(isFiber ? 1.5F * share : Impl::NO_COLATITUDE);
            phi.push_back(isFiber ? 6.0F * share - 3.0F : Impl::NO_ANGLE);
            confidence.push_back(isFiber ? share : 0.0F);
        }
    }
    stream::SFoundSlices Slices(long long first, long long end) const {
        const std::size_t at = static_cast<std::size_t>(first * size[0] * size[1]);
        return {{first, end}, theta.data() + at, phi.data() + at, confidence.data() + at};
    }

    CSize size;
    std::vector<float> theta;
    std::vector<float> phi;
    std::vector<float> confidence;
};

class MapFiles : public testing::Test {
  protected:
    CMapFiles::Paths paths(const std::string& prefix) const {
        const auto path = [&](const char* name) { return (m_folder / (prefix + name)).string(); };
        return {{EMap::theta, path("theta")},
                {EMap::phi, path("phi")},
                {EMap::confidence, path("confidence")},
                {EMap::axes, path("axes")},
                {EMap::colors, path("colors")}};
    }
    std::vector<std::string> bytes(const std::string& prefix) const {
        std::vector<std::string> files;
        for (const char* const name : {"theta", "phi", "confidence", "axes", "colors"}) {
            files.push_back(test::ReadFile(m_folder / (prefix + name)));
        }
        return files;
    }

    test::CTemporaryFolder m_folder;
};

TEST_F(MapFiles, HoldTheSameBytesHoweverSlicesAndProcessesAreCut) {
    const SMaps maps(CSize(700, 9, 11)); // rows of vectors of more than one buffer in all
    for (const ESliceFormat format : volume::SLICE_FORMATS) {
        for (const long long stride : {1, 3}) {
            SMapSetup setup{maps.size};
            setup.choice.format = format;
            setup.choice.stride = stride;
            setup.choice.angleUnit = EAngleUnit::degrees;
            CMapFiles::Create(paths("whole"), setup);
            CMapFiles whole(paths("whole"), setup);
            whole.TakeAngles(maps.Slices(0, 11));
            whole.Close();
            CMapFiles::Create(paths("parts"), setup);
            CMapFiles one(paths("parts"), setup);
            CMapFiles other(paths("parts"), setup);
            other.TakeAngles(maps.Slices(7, 8));
            one.TakeAngles(maps.Slices(0, 2));
            other.TakeAngles(maps.Slices(8, 11));
            one.TakeAngles(maps.Slices(2, 7));
            one.Close();
            other.Close();
            EXPECT_EQ(bytes("parts"), bytes("whole")) << NameOf(format) << " " << stride;
        }
    }
}

TEST_F(MapFiles, AskForConfidenceWhereAFileShowsIt) {
    const SMapSetup setup{CSize(3, 2, 2)};
    CMapFiles::Paths some = paths("a");
    CMapFiles::Create(some, setup);
    EXPECT_TRUE(CMapFiles(some, setup).WantsConfidence());
    some[EMap::confidence].clear();
    EXPECT_TRUE(CMapFiles(some, setup).WantsConfidence()); // colors fade with it
    some.erase(EMap::colors);
    EXPECT_FALSE(CMapFiles(some, setup).WantsConfidence());
}

TEST_F(MapFiles, HaveAPixelForEveryStartedStride) {
    SMapSetup setup{CSize(7, 6, 1)};
    setup.choice.stride = 3;
    setup.spacing = {0.5, 0.25, 2.0};
    EXPECT_EQ(MapSize(setup), CSize(3, 2, 1));
    EXPECT_EQ(MapSpacing(setup), (std::array{1.5, 0.75, 6.0}));
    setup.imageSize = CSize(7, 6);
    EXPECT_EQ(MapSize(setup), CSize(3, 2));
}

} // namespace
} // namespace TEVRA::jobs
