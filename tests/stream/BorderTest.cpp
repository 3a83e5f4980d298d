// SPDX-License-Identifier: BSD-3-Clause
// No seams: the angle maps beside every border that cuts the work, held to those of the whole image.
#include "stream/RankThreads.h"
#include "stream/Streamed.h"

#include "stream/RankSlices.h"
#include "stream/TileSums.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using namespace TEVRA;
using namespace TEVRA::test;
using stream::SPixelRange;
using stream::SSliceRange;

namespace {

/// Slices or rows on either side of a border. Derivatives reach one pixel far.
constexpr long long REACH = 2;

/// Where the work is cut, and the pixels beside it.
struct SBorder {
    std::string name;
    SSliceRange slices;
    SPixelRange rows;
};

/// How the work is shared and cut.
struct SCut {
    int ranks = 1;
    stream::SStreamResources resources{1, PLENTY, "/tmp"};
};

using Borders = std::vector<SBorder>;

/// The borders of a run.
class CBorders {
  public:
    CBorders(const SCase& task, const stream::SMemoryPlan& plan, int ranks)
        : m_task(task), m_size(task.image.Size()), m_plan(plan), m_ranks(ranks) {}

    /// Between the slices of two processes.
    Borders OfRanks() const {
        Borders borders;
        for (int rank = 1; rank < m_ranks; ++rank) {
            borders.push_back(
                before_slice("ranks " + std::to_string(rank - 1) + " and " + std::to_string(rank),
                             stream::SlicesOfRank(m_size[2], m_ranks, rank).first));
        }
        return borders;
    }

    /// Between the slabs of every process.
    Borders OfSlabs() const {
        Borders borders;
        for (int rank = 0; rank < m_ranks; ++rank) {
            const SSliceRange own = stream::SlicesOfRank(m_size[2], m_ranks, rank);
            for (long long slab = 1; slab < stream::SlabCount(own, m_plan.slabSlices); ++slab) {
                borders.push_back(before_slice("two slabs of rank " + std::to_string(rank),
                                               stream::SlabOf(own, m_plan.slabSlices, slab).first));
            }
        }
        return borders;
    }

    /// Between strips, which end anywhere in a row.
    Borders OfStrips() const {
        Borders borders;
        const auto strip = static_cast<long long>(m_plan.stripPixels);
        for (long long pixel = strip; pixel < m_size[0] * m_size[1]; pixel += strip) {
            const long long row = pixel / m_size[0];
            borders.push_back({"the strips that meet at column " + std::to_string(pixel % m_size[0]) +
                                   " of row " + std::to_string(row),
                               {0, m_size[2]},
                               rows_beside(row)});
        }
        return borders;
    }

    /// Between the bands of rows that threads work on.
    Borders OfBands() const {
        Borders borders;
        const Impl::CSubfieldLayout layout(m_size, m_task.parameters.fiberRadius,
                                           m_task.parameters.subfieldPx);
        const stream::CTileGrid grid(layout, m_size);
        const auto& bands = grid.Bands();
        for (std::size_t band = 1; band < bands.size(); ++band) {
            const long long row = bands[band].rows.lo;
            borders.push_back(
                {"the bands that meet at row " + std::to_string(row), {0, m_size[2]}, rows_beside(row)});
        }
        return borders;
    }

  private:
    SBorder before_slice(const std::string& neighbours, long long z) const {
        return {neighbours + ", which meet at slice " + std::to_string(z),
                {std::max(z - REACH, 0LL), std::min(z + REACH, m_size[2])},
                {0, m_size[1]}};
    }
    SPixelRange rows_beside(long long row) const {
        return {std::max(row - REACH, 0LL), std::min(row + REACH, m_size[1])};
    }

    const SCase& m_task;
    const CSize& m_size;
    const stream::SMemoryPlan& m_plan;
    int m_ranks;
};

/// What is found beside a border.
struct SComparison {
    long long axes = 0; ///< pixels with an axis
    long long different = 0;
    std::string first; ///< of those that are different
};

SComparison compare_beside(const SBorder& border, const SAnswer& streamed, const SAnswer& inMemory,
                           const CSize& size) {
    SComparison comparison;
    for (long long z = border.slices.first; z < border.slices.end; ++z) {
        for (long long y = border.rows.lo; y < border.rows.hi; ++y) {
            for (long long x = 0; x < size[0]; ++x) {
                const auto i = static_cast<std::size_t>((z * size[1] + y) * size[0] + x);
                comparison.axes += inMemory.theta[i] >= 0.0F ? 1 : 0;
                if (streamed.theta[i] == inMemory.theta[i] && streamed.phi[i] == inMemory.phi[i]) {
                    continue;
                }
                if (++comparison.different == 1) {
                    comparison.first =
                        "(" + std::to_string(x) + ", " + std::to_string(y) + ", " + std::to_string(z) + ")";
                }
            }
        }
    }
    return comparison;
}

/// Thin fibers are smoothed by a sampled kernel, others by a recursion.
class NoSeams : public testing::TestWithParam<double> {
  protected:
    NoSeams() : m_image(FiberImage(CSize(151, 148, 47))), m_task{*m_image} {
        m_task.parameters.fiberRadius = GetParam();
        m_task.parameters.subfieldPx = {40, 37, 20};
        m_task.parameters.otsuFactor = 0.95;
        m_inMemory = InMemory(m_task);
    }

    /// Memory that makes slabs small, down to one slice, and keeps smoothed slices in a file.
    static stream::SStreamResources narrow(int threads, std::size_t megabytes) {
        return {threads, megabytes << 20, testing::TempDir()};
    }

    /// Fails the test at every border with a difference, and if there are no borders.
    void expect_no_seams(const SCut& cut, Borders (CBorders::*kind)() const) const {
        SCOPED_TRACE(std::to_string(cut.ranks) + " ranks of " + std::to_string(cut.resources.threads) +
                     " threads with " + stream::BytesText(cut.resources.memoryBytes));
        const SAnswer streamed = StreamedByRanks(m_task, cut.ranks, cut.resources);
        const CSize& size = m_image->Size();
        const Borders borders = (CBorders(m_task, streamed.plan, cut.ranks).*kind)();
        EXPECT_FALSE(borders.empty());
        for (const SBorder& border : borders) {
            const SComparison comparison = compare_beside(border, streamed, m_inMemory, size);
            EXPECT_GT(comparison.axes, 0) << "no foreground beside " << border.name;
            EXPECT_EQ(comparison.different, 0) << "pixels have other angles beside " << border.name
                                               << "; the first of them is " << comparison.first;
        }
    }

    std::unique_ptr<CImage> m_image;
    SCase m_task;
    SAnswer m_inMemory;
};

TEST_P(NoSeams, BesideTheBordersOfSlabs) {
    for (const SCut& cut : {SCut{1, narrow(1, 32)}, SCut{1, narrow(3, 44)}, SCut{2, narrow(1, 36)}}) {
        expect_no_seams(cut, &CBorders::OfSlabs);
    }
}

TEST_P(NoSeams, BesideTheBordersOfStrips) {
    for (const SCut& cut : {SCut{}, SCut{1, narrow(2, 35)}, SCut{3}}) {
        expect_no_seams(cut, &CBorders::OfStrips);
    }
}

TEST_P(NoSeams, BesideTheBordersOfRanks) {
    for (const SCut& cut : {SCut{2}, SCut{3, narrow(1, 32)}, SCut{5}, SCut{16}, SCut{47}}) {
        expect_no_seams(cut, &CBorders::OfRanks);
    }
}

TEST_P(NoSeams, BesideTheBordersOfTheBandsOfThreads) {
    expect_no_seams({1, {3, PLENTY, "/tmp"}}, &CBorders::OfBands);
}

INSTANTIATE_TEST_SUITE_P(, NoSeams, testing::Values(1.5, 3.0), [](const auto& radius) {
    return radius.param < 2.5 ? "ThinFibers" : "ThickFibers";
});

} // namespace
