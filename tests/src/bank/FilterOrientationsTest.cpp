// SPDX-License-Identifier: BSD-3-Clause
// The pipeline: padding, filtering, the best response, exclusion, progress and failure.
#include "FilterOrientations/FilterOrientations.h"

#include "FilterOrientations/PointsOnSphere.h"
#include "VexoSpectral/FftwPlan.h"
#include "src/bank/TestAccess.h"
#include "support/MakeImage.h"
#include "support/MemoryLimit.h"
#include "support/RecordingMonitor.h"
#include "support/StridedImage.h"
#include "support/ThreadCount.h"
#include "support/TransposedView.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

using EResolution = CFilterOrientations::EOrientationResolution;
constexpr unsigned char EXCLUDED = 255;

std::unique_ptr<CImage> random_image(const CSize& size) {
    std::mt19937_64 random(11);
    return test::MakeImage<float>(IMAGE_GREY_F, size,
                                  [&](long long, long long, long long) { return 1 + random() % 100; });
}

std::unique_ptr<CImage> full_mask(const CSize& size) {
    return test::MakeImage<unsigned char>(IMAGE_BINARY_FG, size,
                                          [](long long, long long, long long) { return 1; });
}

std::unique_ptr<CImage> floats_like(const IImage& image) {
    return std::make_unique<CImage>(IMAGE_GREY_F, image.Size(), CSize(0, 0, 0));
}

std::vector<float> best_response(const CFilterOrientations& estimator, const IImage& image) {
    const auto out = floats_like(image);
    EXPECT_TRUE(estimator.GetBestResponse(*out));
    return test::PixelsOf<float>(*out);
}

std::vector<unsigned char> index_of(const CFilterOrientations& estimator) {
    const IImage& index = CTestAccess::Index(estimator);
    const std::unique_ptr<IImage::IAccess> access(index.CreateAccess(true));
    const auto* first = static_cast<const unsigned char*>(access->ConstData());
    return std::vector<unsigned char>(first, first + index.Size().Elements());
}

/// Responses of one direction by direct sums in double precision, at the pixels of the unpadded image: the
/// image is convolved with the inverse transform of the mask, on the padded and periodic grid.
class CDirectFilter {
  public:
    CDirectFilter(const CImage& image, double major, double minor, int pad)
        : m_image(image), m_major(major), m_minor(minor) {
        for (int axis = 0; axis < 3; ++axis) {
            m_extent[axis] = image.Size()[axis] + (axis < image.Size().Dim() ? 2 * pad : 0);
        }
    }

    std::vector<double> Responses(const std::array<double, 3>& v) const {
        const std::vector<double> kernel = kernel_of(v);
        const CSize& size = m_image.Size();
        std::vector<double> responses;
        for (long long z = 0; z < size[2]; ++z) {
            for (long long y = 0; y < size[1]; ++y) {
                for (long long x = 0; x < size[0]; ++x) {
                    responses.push_back(response_at(kernel, x, y, z));
                }
            }
        }
        return responses;
    }

  private:
    /// Inverse transform of the mask, real part, at every shift.
    std::vector<double> kernel_of(const std::array<double, 3>& v) const {
        const auto count = static_cast<std::size_t>(m_extent[0] * m_extent[1] * m_extent[2]);
        std::vector<double> kernel(count, 0.0);
        for (long long k = 0; k < static_cast<long long>(count); ++k) {
            const std::array<long long, 3> p = position(k);
            double along = 0.0;
            double square = 0.0;
            std::array<double, 3> frequency{};
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const long long half = m_extent[axis] / 2;
                const long long f = m_extent[axis] == 1 ? 0 : p[axis] - half;
                const double w = half == 0 ? 0.0 : static_cast<double>(f) / static_cast<double>(half);
                along += w * v[axis];
                square += w * w;
                frequency[axis] = static_cast<double>(f) / static_cast<double>(m_extent[axis]);
            }
            const double value = std::exp(
                -0.5 * (m_major * m_major * along * along + m_minor * m_minor * (square - along * along)));
            for (long long s = 0; s < static_cast<long long>(count); ++s) {
                const std::array<long long, 3> shift = position(s);
                const double phase = frequency[0] * static_cast<double>(shift[0]) +
                                     frequency[1] * static_cast<double>(shift[1]) +
                                     frequency[2] * static_cast<double>(shift[2]);
                kernel[static_cast<std::size_t>(s)] += value * std::cos(2.0 * std::numbers::pi * phase);
            }
        }
        for (double& value : kernel) {
            value /= static_cast<double>(count);
        }
        return kernel;
    }
    std::array<long long, 3> position(long long at) const {
        return {at % m_extent[0], at / m_extent[0] % m_extent[1], at / (m_extent[0] * m_extent[1])};
    }
    double response_at(const std::vector<double>& kernel, long long x, long long y, long long z) const {
        const CSize& size = m_image.Size();
        double sum = 0.0;
        const float* pixel = m_image.Pixels<float>();
        for (long long c = 0; c < size[2]; ++c) {
            for (long long b = 0; b < size[1]; ++b) {
                for (long long a = 0; a < size[0]; ++a) {
                    const long long dx = (x - a + m_extent[0]) % m_extent[0];
                    const long long dy = (y - b + m_extent[1]) % m_extent[1];
                    const long long dz = (z - c + m_extent[2]) % m_extent[2];
                    sum += static_cast<double>(*pixel++) *
                           kernel[static_cast<std::size_t>((dz * m_extent[1] + dy) * m_extent[0] + dx)];
                }
            }
        }
        return sum;
    }

    const CImage& m_image;
    double m_major;
    double m_minor;
    std::array<long long, 3> m_extent{};
};

/// Compares a coarse run with full mask to direct sums.
void expect_as_direct_sums(const CSize& size, float major, float minor, int pad) {
    const auto image = random_image(size);
    CFilterOrientations estimator(major, minor, nullptr, nullptr);
    estimator.Compute(*image, CFilterOrientations::eCoarse, full_mask(size).get());
    const std::vector<float> best = best_response(estimator, *image);
    const std::vector<unsigned char> index = index_of(estimator);

    const CDirectFilter direct(*image, static_cast<double>(major), static_cast<double>(minor), pad);
    const std::unique_ptr<CMatrix<double>> directions(Impl::StPointsOnSphere::GetPoints(0, size.Dim()));
    std::vector<std::vector<double>> responses;
    for (std::size_t k = 0; k < directions->Rows(); ++k) {
        responses.push_back(direct.Responses(
            {(*directions)(k, 0), (*directions)(k, 1), size.Dim() == 3 ? (*directions)(k, 2) : 0.0}));
    }
    constexpr double TOLERANCE = 1e-3; // of grey values up to 100, single precision
    for (std::size_t i = 0; i < best.size(); ++i) {
        double largest = -1.0;
        for (const std::vector<double>& ofDirection : responses) {
            largest = std::max(largest, ofDirection[i]);
        }
        ASSERT_NEAR(best[i], largest, TOLERANCE) << size.ToString() << " pixel " << i;
        ASSERT_LT(index[i], responses.size());
        ASSERT_NEAR(responses[index[i]][i], largest, TOLERANCE) << size.ToString() << " pixel " << i;
    }
}

/// A bright line in the middle of an image, through the middle pixel along an axis.
std::unique_ptr<CImage> line(const CSize& size, int axis) {
    return test::MakeImage<unsigned char>(IMAGE_GREY_8, size, [&](long long x, long long y, long long z) {
        const long long p[3] = {x, y, z};
        for (int other = 0; other < size.Dim(); ++other) {
            if (other != axis && p[other] != size[other] / 2) {
                return 0;
            }
        }
        return 200;
    });
}

/// All of what a finished run left.
struct SSnapshot {
    std::vector<unsigned char> index;
    std::vector<float> best;

    friend bool operator==(const SSnapshot&, const SSnapshot&) = default;
};

SSnapshot snapshot(const CFilterOrientations& estimator, const IImage& image) {
    return {index_of(estimator), best_response(estimator, image)};
}

/// An estimator with a result, and another image to run it on.
struct SSecondRun {
    std::unique_ptr<CImage> first = line(CSize(9, 8), 0);
    std::unique_ptr<CImage> second = line(CSize(9, 8), 1);
    CFilterOrientations estimator{2.0F, 1.0F, nullptr, nullptr};
    SSnapshot before;

    SSecondRun() {
        estimator.Compute(*first, CFilterOrientations::eCoarse, nullptr);
        before = snapshot(estimator, *first);
    }
    void Run() { estimator.Compute(*second, CFilterOrientations::eMedium, nullptr); }
    bool IsUnchanged() const { return snapshot(estimator, *first) == before; }
};

constexpr const char* NESTED = "TEVRA::Impl::VisitorHelper<0>::VisitImageData processing...";

/// The events of the outermost report; nested reports become one event "nested".
std::vector<std::string> outermost(const std::vector<std::string>& events) {
    std::vector<std::string> kept;
    int depth = 0;
    for (const std::string& event : events) {
        const bool isBegin = event.rfind("begin", 0) == 0;
        if (isBegin && ++depth == 2) {
            EXPECT_NE(event.find(NESTED), std::string::npos) << event;
            kept.emplace_back("nested");
        }
        if (depth < 2) {
            kept.push_back(event);
        }
        if (event == "end") {
            --depth;
        }
    }
    return kept;
}

} // namespace

TEST(FilterResolution, IsValidFromZeroToTwo) {
    const CFilterOrientations estimator(1.0F, 1.0F, nullptr, nullptr);
    for (int id = -3; id <= 5; ++id) {
        EXPECT_EQ(estimator.IsValidResolutionId(id), id >= 0 && id <= 2) << id;
    }
}

TEST(FilterResolution, HasNames) {
    EXPECT_EQ(CFilterOrientations::ResolutionIdToString(0), "coarse");
    EXPECT_EQ(CFilterOrientations::ResolutionIdToString(1), "medium");
    EXPECT_EQ(CFilterOrientations::ResolutionIdToString(2), "fine");
    EXPECT_EQ(CFilterOrientations::ResolutionIdToString(-1), "invalid");
    EXPECT_EQ(CFilterOrientations::ResolutionIdToString(3), "invalid");
}

TEST(PadZeros, PadsByTwiceTheLargerWidth) {
    const CImage image(IMAGE_GREY_8, CSize(5, 4, 3), CSize(0, 0, 0));
    const auto pad_of = [&image](float major, float minor) {
        CFilterOrientations estimator(major, minor, nullptr, nullptr);
        return (CTestAccess::PadZeros(estimator, image)->Size()[0] - 5) / 2;
    };
    EXPECT_EQ(pad_of(3.0F, 1.0F), 6);
    EXPECT_EQ(pad_of(1.0F, 3.0F), 6);
    EXPECT_EQ(pad_of(2.0F, 2.0F), 4);
    EXPECT_EQ(pad_of(1.2F, 1.0F), 2);  // 2.9
    EXPECT_EQ(pad_of(1.25F, 1.0F), 3); // 3.0
    EXPECT_EQ(pad_of(0.2F, 0.1F), 0);
    EXPECT_EQ(pad_of(0.0F, 0.0F), 0);
    EXPECT_EQ(pad_of(-3.0F, -2.0F), 0);
}

TEST(PadZeros, CopiesTheImageIntoAFrameOfZeros) {
    const auto check = [](const IImage::CType& type, auto pixel, const CSize& size) {
        using PixelT = decltype(pixel);
        test::CStridedImage image(type, size);
        image.template Fill<PixelT>(
            [](long long x, long long y, long long z) { return 1 + x + 10 * y + 50 * z; });
        CFilterOrientations estimator(1.0F, 0.5F, nullptr, nullptr); // pads by 2
        const std::unique_ptr<IImage> padded = CTestAccess::PadZeros(estimator, image);
        EXPECT_TRUE(padded->Type() == type);
        ASSERT_EQ(padded->Size().Dim(), size.Dim());
        const std::unique_ptr<IImage::IAccess> access(padded->CreateAccess(true));
        const auto* value = static_cast<const PixelT*>(access->ConstData());
        const long long padZ = size.Dim() == 3 ? 2 : 0;
        for (long long z = 0; z < padded->Size()[2]; ++z) {
            for (long long y = 0; y < size[1] + 4; ++y) {
                for (long long x = 0; x < size[0] + 4; ++x) {
                    const bool isInside = x >= 2 && x < size[0] + 2 && y >= 2 && y < size[1] + 2 &&
                                          z >= padZ && z < size[2] + padZ;
                    const long long expected = isInside ? 1 + (x - 2) + 10 * (y - 2) + 50 * (z - padZ) : 0;
                    EXPECT_EQ(*value++, static_cast<PixelT>(expected));
                }
            }
        }
    };
    for (const CSize& size : {CSize(5, 4, 3), CSize(4, 5)}) {
        check(IMAGE_GREY_8, static_cast<unsigned char>(0), size);
        check(IMAGE_GREY_16, static_cast<unsigned short>(0), size);
        check(IMAGE_GREY_F, 0.0F, size);
    }
}

class AssignToMaximum : public testing::Test {
  protected:
    /// Pad width 2 around 3 x 2 pixels.
    CFilterOrientations m_estimator{1.0F, 1.0F, nullptr, nullptr};
    CImage m_index{IMAGE_GREY_8, CSize(3, 2), CSize(0, 0, 0)};
    CImage m_best{IMAGE_GREY_F, CSize(3, 2), CSize(0, 0, 0)};

    void SetUp() override { std::fill_n(m_best.Pixels<float>(), 6, -1.0F); }
    /// All pixels answer alike; the frame answers much stronger.
    void assign(float response, int direction) {
        const auto filtered = test::MakeImage<float>(
            IMAGE_GREY_F, CSize(7, 6), [response](long long x, long long y, long long) {
                return x >= 2 && x < 5 && y >= 2 && y < 4 ? response : 1e6F;
            });
        CTestAccess::AssignToMaximum(m_estimator, m_index, m_best, *filtered, direction);
    }
    void expect_all(float best, int index) {
        EXPECT_EQ(test::PixelsOf<float>(m_best), std::vector<float>(6, best));
        EXPECT_EQ(test::PixelsOf<unsigned char>(m_index),
                  std::vector<unsigned char>(6, static_cast<unsigned char>(index)));
    }
};

TEST_F(AssignToMaximum, KeepsTheLargerResponse) {
    assign(2.0F, 4);
    expect_all(2.0F, 4);
    assign(1.0F, 5);
    expect_all(2.0F, 4);
    assign(3.0F, 6);
    expect_all(3.0F, 6);
}

TEST_F(AssignToMaximum, KeepsTheLowerNumberOfEqualResponses) {
    assign(2.0F, 3);
    assign(2.0F, 7);
    expect_all(2.0F, 3);
}

TEST_F(AssignToMaximum, LeavesPixelsThatAnswerNoMoreThanMinusOne) {
    assign(-1.0F, 3);
    assign(-5.0F, 4);
    expect_all(-1.0F, 0);
}

TEST_F(AssignToMaximum, NeverTakesNaN) {
    assign(std::numeric_limits<float>::quiet_NaN(), 3);
    expect_all(-1.0F, 0);
    assign(2.0F, 4);
    assign(std::numeric_limits<float>::quiet_NaN(), 5);
    expect_all(2.0F, 4);
}

TEST_F(AssignToMaximum, ClampsTheNumberToAByte) {
    assign(1.0F, 300);
    expect_all(1.0F, 255);
    assign(2.0F, -4);
    expect_all(2.0F, 0);
}

TEST(AssignToMaximumOfImagesWithGaps, DoesTheSame) {
    const CSize size(19, 18);
    const CSize padded(23, 22); // pad width 2
    std::mt19937 random(5);
    const auto response = [&random] { return static_cast<float>(random() % 5); };
    CImage index(IMAGE_GREY_8, size, CSize(0, 0, 0));
    CImage best(IMAGE_GREY_F, size, CSize(0, 0, 0));
    CImage transposedIndex(IMAGE_GREY_8, CSize(18, 19), CSize(0, 0, 0));
    CImage transposedBest(IMAGE_GREY_F, CSize(18, 19), CSize(0, 0, 0));
    test::CTransposedView indexView(transposedIndex);
    test::CTransposedView bestView(transposedBest);
    CFilterOrientations estimator(1.0F, 1.0F, nullptr, nullptr);
    for (int direction = 0; direction < 6; ++direction) {
        const auto filtered = test::MakeImage<float>(
            IMAGE_GREY_F, padded, [&](long long, long long, long long) { return response(); });
        const auto transposed =
            test::MakeImage<float>(IMAGE_GREY_F, CSize(22, 23), [&](long long x, long long y, long long) {
                return filtered->Pixels<float>()[x * 23 + y];
            });
        test::CTransposedView filteredView(*transposed);
        CTestAccess::AssignToMaximum(estimator, index, best, *filtered, direction);
        CTestAccess::AssignToMaximum(estimator, indexView, bestView, filteredView, direction);
    }
    for (long long y = 0; y < 18; ++y) {
        for (long long x = 0; x < 19; ++x) {
            EXPECT_EQ(index.Pixels<unsigned char>()[y * 19 + x],
                      transposedIndex.Pixels<unsigned char>()[x * 18 + y]);
            EXPECT_EQ(best.Pixels<float>()[y * 19 + x], transposedBest.Pixels<float>()[x * 18 + y]);
        }
    }
}

TEST(MaskOutByThreshold, ExcludesPixelsBelowIt) {
    const auto check = [](const IImage::CType& type, auto pixel) {
        using PixelT = decltype(pixel);
        const CSize size(4, 2, 2);
        test::CStridedImage index(IMAGE_GREY_8, size);
        test::CStridedImage image(type, size);
        image.template Fill<PixelT>([](long long x, long long, long long) { return 10 * x; });
        CTestAccess::MaskOut(index, image, 20.0, 99);
        for (long long z = 0; z < 2; ++z) {
            for (long long y = 0; y < 2; ++y) {
                for (long long x = 0; x < 4; ++x) {
                    EXPECT_EQ(index.At<unsigned char>(x, y, z), x < 2 ? 99 : 0); // 20 itself stays
                }
            }
        }
        EXPECT_TRUE(index.GuardsIntact());
    };
    check(IMAGE_GREY_8, static_cast<unsigned char>(0));
    check(IMAGE_GREY_16, static_cast<unsigned short>(0));
    check(IMAGE_GREY_F, 0.0F);
}

TEST(MaskOutByMask, ExcludesTheBackgroundOfBothKindsOfMask) {
    for (const IImage::CType* type : {&IMAGE_BINARY_FG, &IMAGE_BOOL}) {
        const CSize size(4, 3, 2);
        test::CStridedImage index(IMAGE_GREY_8, size, {2, 1, 1});
        test::CStridedImage mask(*type, size, {5, 0, 3});
        mask.Fill<unsigned char>([](long long x, long long y, long long) { return (x + y) % 2; });
        CTestAccess::MaskOut(index, mask, EXCLUDED);
        for (long long z = 0; z < 2; ++z) {
            for (long long y = 0; y < 3; ++y) {
                for (long long x = 0; x < 4; ++x) {
                    EXPECT_EQ(index.At<unsigned char>(x, y, z), (x + y) % 2 == 0 ? EXCLUDED : 0);
                }
            }
        }
        EXPECT_TRUE(index.GuardsIntact());
        EXPECT_EQ(index.OpenAccesses() + mask.OpenAccesses(), 0);
    }
}

TEST(FilterPipeline, AgreesWithDirectSumsInThePlane) {
    expect_as_direct_sums(CSize(7, 6), 1.0F, 0.5F, 2); // even and odd padded extents
    expect_as_direct_sums(CSize(10, 9), 2.0F, 1.0F, 4);
    expect_as_direct_sums(CSize(12, 7), 0.1F, 3.0F, 6); // wider across than along
}

TEST(FilterPipeline, AgreesWithDirectSumsInSpace) {
    expect_as_direct_sums(CSize(4, 5, 3), 1.0F, 0.5F, 2);
    expect_as_direct_sums(CSize(5, 4, 6), 1.4F, 0.7F, 3);
}

TEST(FilterPipeline, FindsLinesAlongTheAxes) {
    for (const CSize& size : {CSize(16, 15, 14), CSize(17, 16)}) {
        for (int axis = 0; axis < size.Dim(); ++axis) {
            const auto image = line(size, axis);
            for (const EResolution resolution :
                 {CFilterOrientations::eCoarse, CFilterOrientations::eMedium, CFilterOrientations::eFine}) {
                CFilterOrientations estimator(5.0F, 2.0F, nullptr, nullptr);
                estimator.Compute(*image, resolution, nullptr);
                CMatrix<double> direction(static_cast<std::size_t>(size.Dim()), 1);
                const CPos middle = size.Dim() == 3 ? CPos(size[0] / 2, size[1] / 2, size[2] / 2)
                                                    : CPos(size[0] / 2, size[1] / 2);
                ASSERT_TRUE(estimator.BestOrientation(direction, middle));
                EXPECT_GT(std::abs(direction(static_cast<std::size_t>(axis), 0)), 0.9999)
                    << size.ToString() << " axis " << axis;
            }
        }
    }
}

TEST(FilterPipeline, ExcludesTheBackgroundByTheThreshold) {
    const auto image = line(CSize(9, 8), 0);
    CFilterOrientations estimator(2.0F, 1.0F, nullptr, nullptr);
    estimator.Compute(*image, CFilterOrientations::eCoarse, nullptr);
    const std::vector<unsigned char> index = index_of(estimator);
    // Otsu's bin is 0, and so is the threshold: nothing lies below it.
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*image, 1.05), 0.0);
    EXPECT_EQ(std::count(index.begin(), index.end(), EXCLUDED), 0);

    const auto brighter = test::MakeImage<unsigned char>(
        IMAGE_GREY_8, CSize(9, 8), [](long long, long long y, long long) { return y == 4 ? 200 : 10 + y; });
    estimator.Compute(*brighter, CFilterOrientations::eCoarse, nullptr);
    const double threshold = CFilterOrientations::ComputeThreshold(*brighter, 1.05);
    const std::vector<unsigned char> excluded = index_of(estimator);
    for (std::size_t i = 0; i < excluded.size(); ++i) {
        EXPECT_EQ(excluded[i] == EXCLUDED, brighter->Pixels<unsigned char>()[i] < threshold) << i;
    }
    EXPECT_GT(std::count(excluded.begin(), excluded.end(), EXCLUDED), 0);
}

TEST(FilterPipeline, ExcludesTheBackgroundByTheMask) {
    const CSize size(9, 8, 7);
    const auto image = random_image(size);
    const auto mask =
        test::MakeImage<unsigned char>(IMAGE_BINARY_FG, size, [](long long x, long long y, long long z) {
            return (x + y * z) % 3 == 0 ? 0 : 7;
        });
    CFilterOrientations estimator(2.0F, 1.0F, nullptr, nullptr);
    estimator.Compute(*image, CFilterOrientations::eCoarse, mask.get());
    const std::vector<unsigned char> index = index_of(estimator);
    CFilterOrientations unmasked(2.0F, 1.0F, nullptr, nullptr);
    unmasked.Compute(*image, CFilterOrientations::eCoarse, full_mask(size).get());
    const std::vector<unsigned char> all = index_of(unmasked);
    for (std::size_t i = 0; i < index.size(); ++i) {
        EXPECT_EQ(index[i], mask->Pixels<unsigned char>()[i] == 0 ? EXCLUDED : all[i]);
    }
}

TEST(FilterPipeline, GivesTheSameForEveryPixelType) {
    const CSize size(9, 8, 7);
    const auto value = [](long long x, long long y, long long z) { return (x * 7 + y * 13 + z * 29) % 100; };
    const auto run = [&](const IImage& image) {
        CFilterOrientations estimator(2.0F, 1.0F, nullptr, nullptr);
        estimator.Compute(image, CFilterOrientations::eCoarse, full_mask(size).get());
        return snapshot(estimator, image);
    };
    const SSnapshot expected = run(*test::MakeImage<float>(IMAGE_GREY_F, size, value));
    EXPECT_TRUE(run(*test::MakeImage<unsigned char>(IMAGE_GREY_8, size, value)) == expected);
    EXPECT_TRUE(run(*test::MakeImage<unsigned short>(IMAGE_GREY_16, size, value)) == expected);
}

TEST(FilterPipeline, DoesNotDependOnTheNumberOfThreads) {
    const auto image = line(CSize(21, 18, 17), 2);
    CFilterOrientations estimator(3.0F, 1.5F, nullptr, nullptr);
    estimator.Compute(*image, CFilterOrientations::eCoarse, nullptr);
    const SSnapshot one = snapshot(estimator, *image);
    for (const int threads : {2, 3}) {
        const test::CThreadCountScope scope(threads);
        estimator.Compute(*image, CFilterOrientations::eCoarse, nullptr);
        EXPECT_TRUE(snapshot(estimator, *image) == one) << threads;
    }
}

TEST(FilterPipeline, MakesPlansOnceForAllDirectionsAndRuns) {
    const CSize size(9, 8, 7);
    const auto image = random_image(size);
    const auto plans_of = [&](CFilterOrientations& estimator, EResolution resolution) {
        const long long before = Impl::FftwPlansMade();
        estimator.Compute(*image, resolution, full_mask(size).get());
        return Impl::FftwPlansMade() - before;
    };
    CFilterOrientations coarse(1.0F, 0.5F, nullptr, nullptr);
    CFilterOrientations fine(1.0F, 0.5F, nullptr, nullptr);
    const long long plans = plans_of(coarse, CFilterOrientations::eCoarse);
    EXPECT_GT(plans, 0);
    EXPECT_EQ(plans_of(fine, CFilterOrientations::eFine), plans) << "more directions";
    EXPECT_EQ(plans_of(coarse, CFilterOrientations::eMedium), 0) << "the next run";
}

TEST(FilterPipeline, IsRepeatable) {
    const auto image = random_image(CSize(10, 9, 8));
    CFilterOrientations estimator(2.0F, 1.0F, nullptr, nullptr);
    estimator.Compute(*image, CFilterOrientations::eMedium, nullptr);
    const SSnapshot first = snapshot(estimator, *image);
    estimator.Compute(*image, CFilterOrientations::eMedium, nullptr);
    EXPECT_TRUE(snapshot(estimator, *image) == first);
}

TEST(FilterImageFourier, LeavesTheSpectrumAloneAndTheProductInTheBuffer) {
    const CSize size(8, 6);
    using Complex = std::complex<float>;
    const auto spectrum =
        test::MakeImage<Complex>(IMAGE_COMPLEX_F, size, [](long long x, long long y, long long) {
            return Complex(static_cast<float>(x), static_cast<float>(y));
        });
    const std::vector<Complex> before = test::PixelsOf<Complex>(*spectrum);
    CImage buffer(IMAGE_COMPLEX_F, size, CSize(0, 0, 0));
    CImage response(IMAGE_GREY_F, size, CSize(0, 0, 0));
    CFilterOrientations estimator(1.0F, 1.0F, nullptr, nullptr);
    double direction[2] = {1.0, 0.0};
    estimator.FilterImageFourier(response, buffer, *spectrum, direction);
    EXPECT_EQ(test::PixelsOf<Complex>(*spectrum), before);
    for (long long y = 0; y < 6; ++y) {
        for (long long x = 0; x < 8; ++x) {
            const double wx = (static_cast<double>(x) - 4.0) / 4.0;
            const double wy = (static_cast<double>(y) - 3.0) / 3.0;
            const double value = std::exp(-0.5 * (wx * wx + wy * wy));
            const Complex filtered = buffer.Pixels<Complex>()[y * 8 + x];
            EXPECT_NEAR(filtered.real(), value * static_cast<double>(x), 1e-6);
            EXPECT_NEAR(filtered.imag(), value * static_cast<double>(y), 1e-6);
        }
    }
}

TEST(FilterImageFourier, DoesTheSameToImagesWithGaps) {
    using Complex = std::complex<float>;
    std::mt19937 random(6);
    const auto part = [&random] { return static_cast<float>(random() % 1000) - 500.0F; };
    const CSize size(9, 8, 7);
    const auto spectrum =
        test::MakeImage<Complex>(IMAGE_COMPLEX_F, size, [&](long long, long long, long long) {
            const float real = part();
            return Complex(real, part());
        });
    CImage buffer(IMAGE_COMPLEX_F, size, CSize(0, 0, 0));
    CImage response(IMAGE_GREY_F, size, CSize(0, 0, 0));
    CImage transposedBuffer(IMAGE_COMPLEX_F, CSize(7, 8, 9), CSize(0, 0, 0));
    test::CTransposedView bufferView(transposedBuffer);
    CImage otherResponse(IMAGE_GREY_F, size, CSize(0, 0, 0));
    CFilterOrientations estimator(3.0F, 1.0F, nullptr, nullptr);
    double direction[3] = {0.48, -0.6, 0.64};
    estimator.FilterImageFourier(response, buffer, *spectrum, direction);
    estimator.FilterImageFourier(otherResponse, bufferView, *spectrum, direction);
    EXPECT_EQ(test::PixelsOf<float>(otherResponse), test::PixelsOf<float>(response));
    for (long long z = 0; z < 7; ++z) {
        for (long long y = 0; y < 8; ++y) {
            for (long long x = 0; x < 9; ++x) {
                EXPECT_EQ(transposedBuffer.Pixels<Complex>()[(x * 8 + y) * 7 + z],
                          buffer.Pixels<Complex>()[(z * 8 + y) * 9 + x]);
            }
        }
    }
}

TEST(FilterImageFourier, SmoothsAnImpulseToAGaussian) {
    // Width s is a standard deviation of s / pi pixels.
    const CSize size(64, 64);
    using Complex = std::complex<float>;
    const auto spectrum =
        test::MakeImage<Complex>(IMAGE_COMPLEX_F, size, [](long long x, long long y, long long) {
            return Complex((x + y) % 2 == 0 ? 1.0F : -1.0F, 0.0F); // of an impulse at (32, 32)
        });
    CImage buffer(IMAGE_COMPLEX_F, size, CSize(0, 0, 0));
    CImage response(IMAGE_GREY_F, size, CSize(0, 0, 0));
    CFilterOrientations estimator(12.0F, 6.0F, nullptr, nullptr);
    double direction[2] = {1.0, 0.0};
    estimator.FilterImageFourier(response, buffer, *spectrum, direction);
    const double sigmaX = 12.0 / std::numbers::pi;
    const double sigmaY = 6.0 / std::numbers::pi;
    for (long long y = 0; y < 64; ++y) {
        for (long long x = 0; x < 64; ++x) {
            const double dx = static_cast<double>(x - 32) / sigmaX;
            const double dy = static_cast<double>(y - 32) / sigmaY;
            const double expected =
                std::exp(-0.5 * (dx * dx + dy * dy)) / (2.0 * std::numbers::pi * sigmaX * sigmaY);
            EXPECT_NEAR(response.Pixels<float>()[y * 64 + x], expected, 1e-6);
        }
    }
}

TEST(FilterProgress, ReportsOneStepPerDirectionAndNineMore) {
    const auto image = line(CSize(9, 8), 0);
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    CFilterOrientations(2.0F, 1.0F, nullptr, nullptr).Compute(*image, CFilterOrientations::eCoarse, nullptr);
    std::vector<std::string> expected{"begin 27 Computing local orientations...",
                                      "nested", // zeros around the image
                                      "step",
                                      "poll",
                                      "step",
                                      "poll",
                                      "step",
                                      "poll",
                                      "step",
                                      "poll",
                                      "step",
                                      "poll",
                                      "step",
                                      "poll",
                                      "nested", // initial best response
                                      "step",
                                      "poll"};
    for (int direction = 0; direction < 18; ++direction) {
        expected.insert(expected.end(), {"poll", "nested", "poll", "step"});
    }
    expected.insert(expected.end(), {"step", "poll", "nested", "step", "end"});
    EXPECT_EQ(outermost(monitor.events), expected);
    EXPECT_EQ(monitor.openReports, 0);
}

TEST(FilterProgress, NeedsNoThresholdWithAMask) {
    const auto image = line(CSize(9, 8), 0);
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    CFilterOrientations(2.0F, 1.0F, nullptr, nullptr)
        .Compute(*image, CFilterOrientations::eCoarse, full_mask(image->Size()).get());
    const std::vector<std::string> events = outermost(monitor.events);
    EXPECT_EQ(std::vector<std::string>(events.end() - 4, events.end()),
              (std::vector<std::string>{"step", "poll", "step", "end"}));
}

TEST(FilterFailure, LeavesTheEarlierResultsWhereverTheRunIsCancelled) {
    SSecondRun run;
    int polls = 0;
    {
        test::CRecordingMonitor monitor;
        const CProgressMonitorScope scope(monitor);
        CFilterOrientations(2.0F, 1.0F, nullptr, nullptr)
            .Compute(*run.second, CFilterOrientations::eMedium, nullptr);
        polls = monitor.polls;
    }
    const test::CPixelLeakCheck leaks;
    for (int poll = 1; poll <= polls; ++poll) {
        test::CRecordingMonitor monitor;
        monitor.cancelFromPoll = poll;
        const CProgressMonitorScope scope(monitor);
        run.Run();
        ASSERT_EQ(monitor.openReports, 0) << "poll " << poll;
        monitor.cancelFromPoll = test::CRecordingMonitor::NEVER;
        ASSERT_TRUE(run.IsUnchanged()) << "poll " << poll;
    }
}

TEST(FilterFailure, LeavesTheEarlierResultsWhereverTheMonitorThrows) {
    SSecondRun run;
    int calls = 0;
    {
        test::CRecordingMonitor monitor;
        const CProgressMonitorScope scope(monitor);
        CFilterOrientations(2.0F, 1.0F, nullptr, nullptr)
            .Compute(*run.second, CFilterOrientations::eMedium, nullptr);
        calls = monitor.Calls();
    }
    const test::CPixelLeakCheck leaks;
    for (int call = 1; call <= calls; call += 7) {
        {
            test::CRecordingMonitor monitor;
            monitor.throwAtCall = call;
            const CProgressMonitorScope scope(monitor);
            ASSERT_THROW(run.Run(), test::CInterrupted) << "call " << call;
        }
        ASSERT_TRUE(run.IsUnchanged()) << "call " << call;
    }
}

TEST(FilterFailure, LeavesTheEarlierResultsWhereverMemoryRunsOut) {
    SSecondRun run;
    const auto image = random_image(CSize(9, 8));
    const int failures = test::CountMemoryFailures(64, [&] {
        CFilterOrientations estimator(2.0F, 1.0F, nullptr, nullptr);
        estimator.Compute(*image, CFilterOrientations::eCoarse, nullptr);
    });
    EXPECT_GT(failures, 3);
    {
        const test::CPixelMemoryLimitScope limit(1000);
        EXPECT_ANY_THROW(run.Run());
    }
    EXPECT_TRUE(run.IsUnchanged());
}

TEST(FilterFailure, LeavesTheEarlierResultsIfThereIsNoThreshold) {
    SSecondRun run;
    const auto constant = test::MakeImage<float>(IMAGE_GREY_F, CSize(9, 8),
                                                 [](long long, long long, long long) { return 3.0F; });
    EXPECT_THROW(run.estimator.Compute(*constant, CFilterOrientations::eCoarse, nullptr), CException);
    EXPECT_TRUE(run.IsUnchanged());
}

TEST(FilterRun, ReplacesTheEarlierResults) {
    SSecondRun run;
    run.Run();
    EXPECT_FALSE(run.IsUnchanged());
}

} // namespace TEVRA
