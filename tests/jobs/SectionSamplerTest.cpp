// SPDX-License-Identifier: BSD-3-Clause
// Sections that are kept of an image, held to images whose every pixel is known.
#include "jobs/SectionSampler.h"

#include "Axes/AxisAngles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <functional>
#include <map>
#include <numbers>
#include <vector>

namespace TEVRA::jobs {
namespace {

using report::SSection;
using report::SSections;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using volume::EPixelType;

constexpr std::array<double, 3> EVEN{1.0, 1.0, 1.0};
constexpr float NONE_3D = -1.0F;
constexpr float NONE_2D = -4.1415925F;

using GreyOfPixel = std::function<int(long long x, long long y, long long z)>;

/// Hands over the slices of a range, each in a call of its own.
void give_grey(CSectionSampler& sampler, const CSize& size, const stream::SSliceRange& slices,
               const GreyOfPixel& grey) {
    for (long long z = slices.first; z < slices.end; ++z) {
        std::vector<std::uint8_t> slice;
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x) {
                slice.push_back(static_cast<std::uint8_t>(grey(x, y, z)));
            }
        }
        sampler.TakeGrey({z, z + 1}, reinterpret_cast<const std::byte*>(slice.data()));
    }
}
void give_grey(CSectionSampler& sampler, const CSize& size, const GreyOfPixel& grey) {
    give_grey(sampler, size, {0, size.Dim() == 3 ? size[2] : 1}, grey);
}

/// An axis as its angles in a map; nothing for none.
struct SPixel {
    float theta = NONE_3D;
    float phi = NONE_2D;
    float confidence = 0.0F;
};

SPixel along(const std::array<double, 3>& axis, float confidence = 0.0F) {
    const Impl::SAxisAngles angles = Impl::AnglesOfAxis(axis);
    return {angles.colatitudeRad, angles.longitudeRad, confidence};
}
SPixel at_degrees(double degrees, float confidence = 0.0F) {
    return {static_cast<float>(degrees * std::numbers::pi / 180.0), 0.0F, confidence};
}

void give_row(CSectionSampler& sampler, int dim, long long y, long long z, const std::vector<SPixel>& pixels,
              bool withConfidence = false) {
    std::vector<float> theta;
    std::vector<float> phi;
    std::vector<float> confidence;
    for (const SPixel& pixel : pixels) {
        theta.push_back(pixel.theta);
        phi.push_back(pixel.phi);
        confidence.push_back(pixel.confidence);
    }
    sampler.AddRow({y,
                    z,
                    0,
                    0,
                    {theta.data(), dim == 3 ? phi.data() : nullptr},
                    withConfidence ? confidence.data() : nullptr});
}

SSections collected(CSectionSampler& sampler) {
    return sampler.Collect(*stream::SingleProcess());
}

SSection section(const SSections& sections, std::size_t axis, long long slicePx) {
    const auto found =
        std::find_if(sections.sections.begin(), sections.sections.end(),
                     [&](const SSection& one) { return one.axis == axis && one.slicePx == slicePx; });
    if (found == sections.sections.end()) {
        throw std::runtime_error("no such section");
    }
    return *found;
}

std::array<int, 3> color(const SSection& section, std::size_t pixel) {
    return {section.color[0][pixel], section.color[1][pixel], section.color[2][pixel]};
}

// Middles of five, five and nine equal parts: of 90, 50 and 27 pixels.
TEST(SectionSampler, KeepsFiveSectionsAcrossXAndYAndNineAcrossZ) {
    CSectionSampler sampler(CSize(90, 50, 27), EVEN, EPixelType::u8);
    const SSections sections = collected(sampler);
    std::map<std::size_t, std::vector<long long>> places;
    for (const SSection& one : sections.sections) {
        places[one.axis].push_back(one.slicePx);
    }
    EXPECT_THAT(places[0], ElementsAre(9, 27, 45, 63, 81));
    EXPECT_THAT(places[1], ElementsAre(5, 15, 25, 35, 45));
    EXPECT_THAT(places[2], ElementsAre(1, 4, 7, 10, 13, 16, 19, 22, 25));
    EXPECT_THAT(section(sections, 0, 9).size, ElementsAre(50, 27));
    EXPECT_THAT(section(sections, 1, 5).size, ElementsAre(90, 27));
    EXPECT_THAT(section(sections, 2, 1).size, ElementsAre(90, 50));
}

TEST(SectionSampler, KeepsEverySliceOfAThinImage) {
    CSectionSampler sampler(CSize(60, 40, 3), EVEN, EPixelType::u8);
    const SSections sections = collected(sampler);
    EXPECT_EQ(std::count_if(sections.sections.begin(), sections.sections.end(),
                            [](const SSection& one) { return one.axis == 2; }),
              3);
}

TEST(SectionSampler, KeepsTheImageOfAPlane) {
    CSectionSampler sampler(CSize(60, 40), EVEN, EPixelType::u8);
    const SSections sections = collected(sampler);
    ASSERT_EQ(sections.sections.size(), 1U);
    EXPECT_EQ(sections.sections[0].axis, 2U);
    EXPECT_THAT(sections.sections[0].size, ElementsAre(60, 40));
}

// Black and white in an order that no exchange of axes leaves as it is.
TEST(SectionSampler, HasTheGreyValuesOfItsPlace) {
    const auto grey = [](long long x, long long y, long long z) {
        return (x * x + 3 * y + 7 * z * y + 5 * z) % 11 < 5 ? 50 : 200;
    };
    const CSize size(30, 24, 20);
    CSectionSampler sampler(size, EVEN, EPixelType::u8);
    give_grey(sampler, size, grey);
    const SSections sections = collected(sampler);
    EXPECT_THAT(sections.greyRange, ElementsAre(50.0, 200.0));
    for (const SSection& one : sections.sections) {
        for (std::size_t pixel = 0; pixel < one.grey.size(); ++pixel) {
            const auto right = static_cast<long long>(pixel) % one.size[0];
            const auto down = static_cast<long long>(pixel) / one.size[0];
            const int expected = one.axis == 0   ? grey(one.slicePx, right, down)
                                 : one.axis == 1 ? grey(right, one.slicePx, down)
                                                 : grey(right, down, one.slicePx);
            ASSERT_EQ(one.grey[pixel], expected == 50 ? 0 : 255)
                << "axis " << one.axis << " slice " << one.slicePx << " at " << right << ' ' << down;
        }
    }
}

TEST(SectionSampler, ReadsEveryTypeOfPixels) {
    const CSize size(20, 10);
    std::vector<std::uint16_t> words;
    std::vector<float> numbers;
    for (int pixel = 0; pixel < 200; ++pixel) {
        words.push_back(pixel % 20 < 10 ? 1000 : 30000);
        numbers.push_back(pixel % 20 < 10 ? -2.5F : 1e4F);
    }
    CSectionSampler ofWords(size, EVEN, EPixelType::u16);
    ofWords.TakeGrey({0, 1}, reinterpret_cast<const std::byte*>(words.data()));
    EXPECT_THAT(collected(ofWords).greyRange, ElementsAre(1000.0, 30000.0));
    CSectionSampler ofNumbers(size, EVEN, EPixelType::f32);
    ofNumbers.TakeGrey({0, 1}, reinterpret_cast<const std::byte*>(numbers.data()));
    EXPECT_THAT(collected(ofNumbers).greyRange, ElementsAre(-2.5, 1e4));
}

// 1200 x 1000 pixels are above the limit, a quarter of them below it: blocks of 2 x 2.
constexpr long long WIDE = 1200;
constexpr long long HIGH = 1000;

TEST(SectionSampler, ShowsTheMeanGreyValueOfABlock) {
    const CSize size(WIDE + 1, HIGH);
    CSectionSampler sampler(size, EVEN, EPixelType::u8);
    give_grey(sampler, size, [](long long x, long long y, long long /*z*/) {
        return x < 400 ? 0 : x < 800 || x == WIDE ? 200 : (x + y) % 2 == 0 ? 200 : x % 2 == 0 ? 40 : 0;
    });
    const SSections sections = collected(sampler);
    ASSERT_THAT(sections.blockPx, ElementsAre(2, 2, 1));
    const SSection& one = sections.sections[0];
    EXPECT_EQ(one.grey[100], 0);
    EXPECT_EQ(one.grey[300], 255);
    EXPECT_NEAR(one.grey[500], 255.0 * (200 + 200 + 40 + 0) / 4 / 200, 0.51);
    EXPECT_EQ(one.grey[600], 255) << "at the far edge, where blocks are one pixel wide";
}

TEST(SectionSampler, ShowsAxesAlongXAndYAndZInRedAndGreenAndBlue) {
    CSectionSampler sampler(CSize(4, 3, 2), EVEN, EPixelType::u8);
    give_row(sampler, 3, 1, 0, {along({1, 0, 0}), along({0, 1, 0}), along({0, 0, 1}), along({0.6, 0, -0.8})});
    const SSection one = section(collected(sampler), 2, 0);
    EXPECT_THAT(color(one, 4), ElementsAre(255, 0, 0));
    EXPECT_THAT(color(one, 5), ElementsAre(0, 255, 0));
    EXPECT_THAT(color(one, 6), ElementsAre(0, 0, 255));
    EXPECT_THAT(color(one, 7), ElementsAre(153, 0, 204));
    EXPECT_EQ(one.coverage[4], 255);
    EXPECT_EQ(one.coverage[3], 0) << "of another row";
}

// A single pixel with an axis, seen in the section across each axis.
TEST(SectionSampler, ShowsAnAxisAtItsPlaceInAllSectionsThroughIt) {
    const CSize size(30, 24, 20); // sections at x = 15, y = 12 and z = 10, too
    CSectionSampler sampler(size, EVEN, EPixelType::u8);
    std::vector<SPixel> row(30);
    row[15] = along({0, 1, 0});
    give_row(sampler, 3, 12, 10, row);
    const SSections sections = collected(sampler);
    EXPECT_EQ(section(sections, 0, 15).coverage[10 * 24 + 12], 255);
    EXPECT_EQ(section(sections, 1, 12).coverage[10 * 30 + 15], 255);
    EXPECT_EQ(section(sections, 2, 10).coverage[12 * 30 + 15], 255);
    long long covered = 0;
    for (const SSection& one : sections.sections) {
        covered += std::count(one.coverage.begin(), one.coverage.end(), 255);
    }
    EXPECT_EQ(covered, 3);
}

// 1 and 179 degrees are 2 degrees apart: their mean is along x, not along y.
TEST(SectionSampler, ShowsTheMeanAxisOfABlockInAPlane) {
    CSectionSampler sampler(CSize(WIDE, HIGH), EVEN, EPixelType::u8);
    std::vector<SPixel> row(WIDE, SPixel{NONE_2D});
    row[10] = at_degrees(1.0);
    row[11] = at_degrees(179.0);
    row[20] = at_degrees(90.0);
    give_row(sampler, 2, 0, 0, row);
    const SSection one = collected(sampler).sections[0];
    const Impl::SColor alongX = Impl::ColorOfAngle(0.0);
    const Impl::SColor alongY = Impl::ColorOfAngle(std::numbers::pi / 2);
    for (const auto& [pixel, expected] : {std::pair(5U, alongX), std::pair(10U, alongY)}) {
        EXPECT_NEAR(one.color[0][pixel], expected.red, 3) << pixel;
        EXPECT_NEAR(one.color[1][pixel], expected.green, 3) << pixel;
        EXPECT_NEAR(one.color[2][pixel], expected.blue, 3) << pixel;
    }
}

// Sections of 400 x 400 pixels are above the limit: a pixel stands for a block of them.
TEST(SectionSampler, ShowsTheMeanOfAbsoluteComponentsOfABlock) {
    CSectionSampler sampler(CSize(400, 400, 400), EVEN, EPixelType::u8);
    std::vector<SPixel> row(400);
    row[0] = along({1, 0, 0});
    row[1] = along({0, 0, 1});
    give_row(sampler, 3, 0, 200, row);
    const SSections sections = collected(sampler);
    const long long block = sections.blockPx[0];
    ASSERT_GE(block, 2);
    const SSection one = section(sections, 2, 200);
    EXPECT_THAT(color(one, 0), ElementsAre(128, 0, 128));
    EXPECT_NEAR(one.coverage[0], 255.0 * 2.0 / static_cast<double>(block * block), 0.51);
}

TEST(SectionSampler, TellsTheShareOfABlockThatHasAnAxis) {
    CSectionSampler sampler(CSize(WIDE + 1, HIGH), EVEN, EPixelType::u8);
    std::vector<SPixel> row(WIDE + 1, SPixel{NONE_2D});
    row[4] = at_degrees(30.0);
    row[WIDE] = at_degrees(30.0);
    give_row(sampler, 2, 6, 0, row);
    row[WIDE] = {NONE_2D};
    row[5] = at_degrees(30.0);
    give_row(sampler, 2, 7, 0, row);
    const SSection one = collected(sampler).sections[0];
    const auto width = static_cast<std::size_t>(one.size[0]);
    EXPECT_EQ(one.coverage[3 * width + 2], 191) << "three of four";
    EXPECT_EQ(one.coverage[3 * width + width - 1], 128)
        << "at the far edge a block is one pixel wide: one of two";
    EXPECT_EQ(one.coverage[3 * width + 3], 0);
}

TEST(SectionSampler, ShowsTheMeanConfidenceOfABlocksAxes) {
    CSectionSampler sampler(CSize(WIDE, HIGH), EVEN, EPixelType::u8);
    std::vector<SPixel> row(WIDE, SPixel{NONE_2D, NONE_2D, 0.9F}); // of no axis: it must not count
    row[4] = at_degrees(30.0, 0.2F);
    row[5] = at_degrees(30.0, 0.6F);
    give_row(sampler, 2, 0, 0, row, true);
    const SSection one = collected(sampler).sections[0];
    ASSERT_FALSE(one.confidence.empty());
    EXPECT_NEAR(one.confidence[2], 255 * 0.4, 0.51);
    EXPECT_EQ(one.confidence[3], 0);
}

TEST(SectionSampler, HasNoConfidenceOfEstimatorsThatKnowNone) {
    CSectionSampler sampler(CSize(20, 10), EVEN, EPixelType::u8);
    give_row(sampler, 2, 0, 0, std::vector<SPixel>(20, at_degrees(30.0, 0.5F)));
    EXPECT_THAT(collected(sampler).sections[0].confidence, IsEmpty());
}

TEST(SectionSampler, KeepsTheNumberOfPixelsLimitedWhateverTheImage) {
    for (const CSize& size : {CSize(4096, 4096, 4096), CSize(100000, 30, 30), CSize(100000, 90000)}) {
        CSectionSampler sampler(size, EVEN, EPixelType::u8);
        long long pixels = 0;
        for (const SSection& one : collected(sampler).sections) {
            pixels += static_cast<long long>(one.grey.size());
        }
        EXPECT_LE(pixels, size.Dim() == 3 ? 450'000 : 550'000);
        EXPECT_GT(pixels, 200'000);
    }
}

TEST(SectionSampler, HasBlocksAboutAsLongAlongAllAxes) {
    CSectionSampler sampler(CSize(1000, 1000, 300), {0.5, 0.5, 2.0}, EPixelType::u8);
    const std::array<long long, 3> block = collected(sampler).blockPx;
    EXPECT_EQ(block[0], block[1]);
    EXPECT_GE(block[0], 4);
    EXPECT_NEAR(static_cast<double>(block[2]), static_cast<double>(block[0]) / 4.0, 0.5);
}

/// Ranks one after the other on one thread: messages wait until they are received.
struct SPost {
    std::map<int, std::deque<stream::ICommunicator::Message>> to0;
    double largest = 0.0;
};
class CRankInTurn : public stream::ICommunicator {
  public:
    CRankInTurn(SPost& post, int rank, int size) : m_post(post), m_rank(rank), m_size(size) {}
    int Rank() const override { return m_rank; }
    int Size() const override { return m_size; }
    int SizeOnThisMachine() const override { return m_size; }
    void Send(int /*to*/, int /*tag*/, Message message) override {
        m_post.to0[m_rank].push_back(std::move(message));
    }
    Message Receive(int from, int /*tag*/) override {
        Message message = m_post.to0[from].front();
        m_post.to0[from].pop_front();
        return message;
    }
    void Flush() override {}
    double Smallest(double number) override { return number; }
    double Largest(double number) override { return m_post.largest = std::max(m_post.largest, number); }
    void AddUp(std::span<unsigned long long> /*counts*/) override {}
    void Share(Message& /*message*/) override {}
    void Meet() override {}
    void Abort(int /*status*/) override {}
    double WaitedSeconds() const override { return 0.0; }

  private:
    SPost& m_post;
    int m_rank;
    int m_size;
};

TEST(SectionSampler, PutsThePartsOfAllProcessesTogether) {
    const CSize size(20, 10, 12);
    const auto grey = [](long long x, long long y, long long z) {
        return (x + 2 * y + 3 * z) % 5 < 2 ? 10 : 90;
    };
    const auto fill = [&](CSectionSampler& sampler, const stream::SSliceRange& slices) {
        give_grey(sampler, size, slices, grey);
        for (long long z = slices.first; z < slices.end; ++z) {
            for (long long y = 0; y < size[1]; ++y) {
                std::vector<SPixel> row(20);
                row[static_cast<std::size_t>(y + z) % 20] = along({0, 0.6, 0.8}, 0.5F);
                give_row(sampler, 3, y, z, row, true);
            }
        }
    };
    CSectionSampler alone(size, EVEN, EPixelType::u8);
    fill(alone, {0, 12});
    const SSections expected = collected(alone);
    SPost post;
    SSections together;
    for (int rank = 2; rank >= 0; --rank) { // the first one collects, so it comes last
        CSectionSampler part(size, EVEN, EPixelType::u8);
        fill(part, {4 * rank, 4 * rank + 4});
        CRankInTurn ranks(post, rank, 3);
        together = part.Collect(ranks);
    }
    EXPECT_EQ(together.greyRange, expected.greyRange);
    ASSERT_EQ(together.sections.size(), expected.sections.size());
    for (std::size_t at = 0; at < expected.sections.size(); ++at) {
        EXPECT_EQ(together.sections[at].grey, expected.sections[at].grey) << at;
        EXPECT_EQ(together.sections[at].color, expected.sections[at].color) << at;
        EXPECT_EQ(together.sections[at].coverage, expected.sections[at].coverage) << at;
        EXPECT_EQ(together.sections[at].confidence, expected.sections[at].confidence) << at;
    }
}

} // namespace
} // namespace TEVRA::jobs
