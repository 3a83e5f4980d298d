// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/Phantom.h"

#include "phantom/Drawing.h"

#include "support/RecordingMonitor.h"
#include "zeklib2image/HeaderTools.h"
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <ostream>
#include <span>
#include <string>
#include <vector>

namespace {

using namespace TEVRA;
using namespace TEVRA::phantom;
using Vector = std::array<double, 3>;
using testing::HasSubstr;

constexpr float NO_ANGLE = -4.1415925F;
constexpr double PI = std::numbers::pi;

std::span<const float> floats(const CImage& image) {
    return {image.Pixels<float>(), image.Size().Elements()};
}

std::span<const unsigned char> greys(const CImage& image) {
    return {image.Pixels<unsigned char>(), image.Size().Elements()};
}

Vector axis_of(double theta, double phi) {
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

double distance_to_line(const Vector& pixel, const SPhantomFiber& fiber) {
    Vector cross{};
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        cross[i] = (pixel[j] - fiber.point[j]) * fiber.axis[k] - (pixel[k] - fiber.point[k]) * fiber.axis[j];
    }
    return std::sqrt(cross[0] * cross[0] + cross[1] * cross[1] + cross[2] * cross[2]);
}

/// Calls visit(pixel index, position) for every pixel.
template <typename VisitT>
void for_each_pixel(const CSize& size, VisitT visit) {
    std::size_t index = 0;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x) {
                visit(index++,
                      Vector{static_cast<double>(x), static_cast<double>(y), static_cast<double>(z)});
            }
        }
    }
}

SPhantomOptions single_fiber(const Vector& axis) {
    SPhantomOptions options;
    options.sizePx = CSize(40, 41, 42);
    options.directions = SOneAxis{axis};
    options.places = SThroughCentre{};
    return options;
}

/// Second moments of the family around z from its density: {E[x^2] = E[y^2], E[z^2]}, by the midpoint rule.
std::array<double, 2> second_moments(double beta) {
    constexpr int INTERVALS = 200000;
    double weight = 0.0;
    double zz = 0.0;
    for (int i = 0; i < INTERVALS; ++i) {
        const double cosine = (i + 0.5) / INTERVALS;
        const double density = std::pow(1.0 + (beta * beta - 1.0) * cosine * cosine, -1.5);
        weight += density;
        zz += density * cosine * cosine;
    }
    return {0.5 * (1.0 - zz / weight), zz / weight};
}

TEST(Phantom, SameSeedGivesTheSamePhantomAndAnotherSeedAnother) {
    SPhantomOptions options;
    options.sizePx = CSize(30, 20, 25);
    options.noiseSd = 10.0;
    const SPhantom first = MakePhantom(options);
    const SPhantom again = MakePhantom(options);
    options.seed = 2;
    const SPhantom other = MakePhantom(options);
    EXPECT_TRUE(std::ranges::equal(greys(*first.image), greys(*again.image)));
    EXPECT_TRUE(std::ranges::equal(floats(*first.theta), floats(*again.theta)));
    EXPECT_TRUE(std::ranges::equal(floats(*first.phi), floats(*again.phi)));
    EXPECT_FALSE(std::ranges::equal(greys(*first.image), greys(*other.image)));
    EXPECT_FALSE(std::ranges::equal(floats(*first.theta), floats(*other.theta)));
}

TEST(Phantom, NoiseDoesNotMoveTheFibers) {
    SPhantomOptions options;
    options.sizePx = CSize(30, 20, 25);
    const SPhantom clean = MakePhantom(options);
    options.noiseSd = 20.0;
    const SPhantom noisy = MakePhantom(options);
    EXPECT_TRUE(std::ranges::equal(floats(*clean.theta), floats(*noisy.theta)));
    EXPECT_FALSE(std::ranges::equal(greys(*clean.image), greys(*noisy.image)));
}

/// Every pixel of a phantom, computed from the list of fibers alone.
void expect_pixels_follow_from_fibers(const SPhantom& phantom, const SPhantomOptions& options) {
    ASSERT_FALSE(phantom.fibers.empty());
    const bool flat = options.sizePx.Dim() == 2;
    const auto grey = greys(*phantom.image);
    const auto theta = floats(*phantom.theta);
    long long fiberPixels = 0;
    std::vector<long long> owned(phantom.fibers.size(), 0);
    for_each_pixel(options.sizePx, [&](std::size_t index, const Vector& pixel) {
        const auto nearest =
            std::ranges::min_element(phantom.fibers, {}, [&pixel](const SPhantomFiber& fiber) {
                return distance_to_line(pixel, fiber);
            });
        const double depth = options.fiberRadiusPx - distance_to_line(pixel, *nearest);
        const double coverage = std::clamp(depth + 0.5, 0.0, 1.0);
        ASSERT_NEAR(grey[index],
                    options.backgroundGrey + coverage * (options.fiberGrey - options.backgroundGrey), 0.501)
            << "pixel " << index;
        if (std::abs(depth) < 1e-5) {
            return; // on the surface within rounding: either is right
        }
        if (depth < 0.0) {
            ASSERT_EQ(theta[index], flat ? NO_ANGLE : -1.0F) << "pixel " << index;
            return;
        }
        ++fiberPixels;
        ++owned[static_cast<std::size_t>(nearest - phantom.fibers.begin())];
        ASSERT_GE(theta[index], 0.0F) << "pixel " << index;
        const Vector axis = flat ? Vector{std::cos(theta[index]), std::sin(theta[index]), 0.0}
                                 : axis_of(theta[index], floats(*phantom.phi)[index]);
        const Vector& truth = nearest->axis;
        const double cosine = axis[0] * truth[0] + axis[1] * truth[1] + axis[2] * truth[2];
        ASSERT_NEAR(flat ? std::abs(cosine) : cosine, 1.0, 1e-6) << "pixel " << index;
    });
    EXPECT_NEAR(static_cast<double>(fiberPixels), static_cast<double>(phantom.fiberPixelCount), 5.0);
    for (std::size_t i = 0; i < owned.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(owned[i]), static_cast<double>(phantom.fibers[i].pixelCount), 5.0);
    }
}

TEST(Phantom, PixelsOfCrossingFibersFollowFromDistancesToTheirAxes) {
    SPhantomOptions options;
    options.sizePx = CSize(33, 26, 29);
    options.fiberRadiusPx = 2.7;
    options.places = SRandomPlaces{0.5};
    options.directions = SBetaFamily{1.0, {0.0, 0.0, 1.0}};
    expect_pixels_follow_from_fibers(MakePhantom(options), options);
}

TEST(Phantom, PixelsOf2DFibersFollowFromDistancesToTheirAxes) {
    SPhantomOptions options;
    options.sizePx = CSize(150, 131);
    options.fiberRadiusPx = 2.2;
    options.places = SRandomPlaces{0.4};
    options.directions = SPlanar{};
    options.backgroundGrey = 220.0; // dark fibers
    options.fiberGrey = 30.0;
    const SPhantom phantom = MakePhantom(options);
    EXPECT_EQ(phantom.phi, nullptr);
    expect_pixels_follow_from_fibers(phantom, options);
}

TEST(Phantom, FiberThroughTheCentreHasTheVolumeOfItsCylinder) {
    const SPhantom phantom = MakePhantom(single_fiber({0.0, 0.0, 1.0}));
    ASSERT_EQ(phantom.fibers.size(), 1U);
    // The grey values hold the partial volumes, so they come closer to the cylinder's volume than a count.
    double covered = 0.0;
    for (const unsigned char grey : greys(*phantom.image)) {
        covered += (grey - 50.0) / 150.0;
    }
    EXPECT_NEAR(covered, PI * 16.0 * 42.0, 0.01 * PI * 16.0 * 42.0);
    EXPECT_EQ(greys(*phantom.image)[(20 * 41 + 20) * 40 + 20], 200);
    EXPECT_EQ(greys(*phantom.image)[0], 50);
}

TEST(Phantom, AnglesHaveTheFormOfTheEstimatorsMaps) {
    struct SCase {
        Vector axis;
        float theta;
        float phi;
    };
    const float halfPi = static_cast<float>(PI / 2.0);
    const std::vector<SCase> cases{
        {{0, 0, -2}, 0.0F, 0.0F},
        {{3, 0, 0}, halfPi, 0.0F},
        {{-3, 0, 0}, halfPi, static_cast<float>(PI)},
        {{0, -1, 0}, halfPi, -halfPi},
        {{1, 1, -1}, static_cast<float>(std::acos(1.0 / std::sqrt(3.0))), static_cast<float>(-0.75 * PI)}};
    for (const SCase& one : cases) {
        const SPhantom phantom = MakePhantom(single_fiber(one.axis));
        long long count = 0;
        for (std::size_t i = 0; i < phantom.theta->Size().Elements(); ++i) {
            if (floats(*phantom.theta)[i] >= 0.0F) {
                ++count;
                ASSERT_FLOAT_EQ(floats(*phantom.theta)[i], one.theta);
                ASSERT_FLOAT_EQ(floats(*phantom.phi)[i], one.phi);
            } else {
                ASSERT_EQ(floats(*phantom.theta)[i], -1.0F);
                ASSERT_EQ(floats(*phantom.phi)[i], NO_ANGLE);
            }
        }
        EXPECT_EQ(count, phantom.fiberPixelCount);
        EXPECT_GT(count, 0);
    }
}

TEST(Phantom, AnglesOf2DAxesLieBetweenZeroAndPi) {
    for (const auto& [axis, angle] : std::vector<std::pair<Vector, double>>{{{1, 0, 0}, 0.0},
                                                                            {{-1, 0, 0}, PI},
                                                                            {{-1, -0.0, 0}, PI},
                                                                            {{0, -1, 0}, PI / 2.0},
                                                                            {{1, -1, 0}, 0.75 * PI}}) {
        SPhantomOptions options = single_fiber(axis);
        options.sizePx = CSize(30, 30);
        const SPhantom phantom = MakePhantom(options);
        for (const float theta : floats(*phantom.theta)) {
            ASSERT_TRUE(theta == NO_ANGLE || theta == static_cast<float>(angle)) << theta;
        }
    }
}

TEST(Phantom, WantedVolumeFractionIsReachedWithinOneFiber) {
    for (const double fraction : {0.02, 0.25, 0.9}) {
        SPhantomOptions options;
        options.sizePx = CSize(64, 60, 50);
        options.places = SRandomPlaces{fraction};
        const SPhantom phantom = MakePhantom(options);
        const auto& map = floats(*phantom.theta);
        const auto count = std::ranges::count_if(map, [](float theta) { return theta >= 0.0F; });
        EXPECT_EQ(count, phantom.fiberPixelCount);
        EXPECT_DOUBLE_EQ(phantom.volumeFraction,
                         static_cast<double>(count) / static_cast<double>(map.size()));
        EXPECT_GE(phantom.volumeFraction, fraction);
        EXPECT_LT(phantom.volumeFraction, fraction + PI * 16.0 * 101.0 / (64.0 * 60.0 * 50.0));
    }
}

TEST(Phantom, TensorIsTheMeanOverTheFiberPixelsOfTheMaps) {
    SPhantomOptions options;
    options.sizePx = CSize(50, 40, 60);
    options.directions = SBetaFamily{0.5, {1.0, 1.0, 0.0}};
    const SPhantom phantom = MakePhantom(options);
    std::array<std::array<double, 3>, 3> sum{};
    for (std::size_t pixel = 0; pixel < phantom.theta->Size().Elements(); ++pixel) {
        const float theta = floats(*phantom.theta)[pixel];
        if (theta >= 0.0F) {
            const Vector axis = axis_of(theta, floats(*phantom.phi)[pixel]);
            for (std::size_t i = 0; i < 3; ++i) {
                for (std::size_t j = 0; j < 3; ++j) {
                    sum[i][j] += axis[i] * axis[j] / static_cast<double>(phantom.fiberPixelCount);
                }
            }
        }
    }
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            EXPECT_NEAR(phantom.tensor[i][j], sum[i][j], 1e-6);
        }
    }
    EXPECT_NEAR(phantom.tensor[0][0] + phantom.tensor[1][1] + phantom.tensor[2][2], 1.0, 1e-12);
}

/// Mean diagonal of the truth tensor over independent phantoms, with the standard error of the mean.
struct SDiagonal {
    Vector mean{};
    Vector standardError{};
};
SDiagonal mean_diagonal(SPhantomOptions options, int phantoms) {
    SDiagonal result;
    Vector squares{};
    for (int seed = 1; seed <= phantoms; ++seed) {
        options.seed = static_cast<std::uint64_t>(seed);
        const SPhantom phantom = MakePhantom(options);
        for (std::size_t i = 0; i < 3; ++i) {
            result.mean[i] += phantom.tensor[i][i] / phantoms;
            squares[i] += phantom.tensor[i][i] * phantom.tensor[i][i] / phantoms;
        }
    }
    for (std::size_t i = 0; i < 3; ++i) {
        result.standardError[i] =
            std::sqrt(std::max(0.0, squares[i] - result.mean[i] * result.mean[i]) / (phantoms - 1));
    }
    return result;
}

TEST(Phantom, FiberVolumeFollowsTheLawInAFlatBoxToo) {
    // A slab has the longest ways along x and y: any preference for long or for many hits would show here.
    for (const double beta : {0.3, 1.0, 3.0}) {
        SPhantomOptions options;
        options.sizePx = CSize(80, 80, 8);
        options.fiberRadiusPx = 0.8;
        options.places = SRandomPlaces{0.15};
        options.directions = SBetaFamily{beta, {0.0, 0.0, 1.0}};
        const SDiagonal diagonal = mean_diagonal(options, 100);
        const std::array<double, 2> expected = second_moments(beta);
        // 0.003: phantoms end with the fiber that reaches the wanted share, more likely a long one.
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_LT(diagonal.standardError[i], 0.006);
            EXPECT_NEAR(diagonal.mean[i], expected[i == 2 ? 1 : 0], 4.0 * diagonal.standardError[i] + 0.003)
                << "beta " << beta << ", axis " << i;
        }
    }
}

TEST(Phantom, FibersFillTheImageEvenly) {
    SPhantomOptions options;
    options.sizePx = CSize(40, 40, 40);
    options.fiberRadiusPx = 1.0;
    options.places = SRandomPlaces{0.2};
    options.directions = SBetaFamily{1.0, {0.0, 0.0, 1.0}};
    double inner = 0.0;
    double innerSquared = 0.0;
    constexpr int PHANTOMS = 60;
    for (int seed = 1; seed <= PHANTOMS; ++seed) {
        options.seed = static_cast<std::uint64_t>(seed);
        const SPhantom phantom = MakePhantom(options);
        const auto theta = floats(*phantom.theta);
        double count = 0.0;
        for_each_pixel(options.sizePx, [&](std::size_t index, const Vector& pixel) {
            const bool inside = std::ranges::all_of(pixel, [](double p) { return p >= 10.0 && p < 30.0; });
            count += inside && theta[index] >= 0.0F ? 1.0 : 0.0;
        });
        const double share = count / static_cast<double>(phantom.fiberPixelCount);
        inner += share / PHANTOMS;
        innerSquared += share * share / PHANTOMS;
    }
    const double standardError = std::sqrt((innerSquared - inner * inner) / (PHANTOMS - 1));
    EXPECT_LT(standardError, 0.005);
    EXPECT_NEAR(inner, 0.125, 4.0 * standardError); // the inner box is an eighth of the volume
}

TEST(Phantom, PlanarFibersStayInTheirPlaneIn3D) {
    SPhantomOptions options;
    options.sizePx = CSize(60, 60, 60);
    options.fiberRadiusPx = 1.5;
    options.directions = SPlanar{};
    const SPhantom phantom = MakePhantom(options);
    EXPECT_NEAR(phantom.tensor[2][2], 0.0, 1e-15);
    const SDiagonal diagonal = mean_diagonal(options, 30);
    EXPECT_NEAR(diagonal.mean[0], 0.5, 4.0 * diagonal.standardError[0]);
}

TEST(Phantom, ParallelGridKeepsItsDistanceAndHasAFiberInTheCentre) {
    SPhantomOptions options;
    options.sizePx = CSize(49, 49, 33);
    options.fiberRadiusPx = 2.0;
    options.directions = SOneAxis{{0.0, 0.0, 1.0}};
    options.places = SParallelGrid{16.0};
    const SPhantom phantom = MakePhantom(options);
    const auto theta = floats(*phantom.theta);
    for_each_pixel(options.sizePx, [&](std::size_t index, const Vector& pixel) {
        const double dx = std::remainder(pixel[0] - 24.0, 16.0);
        const double dy = std::remainder(pixel[1] - 24.0, 16.0);
        ASSERT_EQ(theta[index] >= 0.0F, dx * dx + dy * dy <= 4.0);
    });
    EXPECT_EQ(phantom.fibers.size(), 9U);
}

TEST(Phantom, ParallelGridIn2DIsASetOfEquallySpacedLines) {
    SPhantomOptions options;
    options.sizePx = CSize(41, 61);
    options.fiberRadiusPx = 3.0;
    options.directions = SOneAxis{{1.0, 0.0, 0.0}};
    options.places = SParallelGrid{15.0};
    const SPhantom phantom = MakePhantom(options);
    const auto theta = floats(*phantom.theta);
    for_each_pixel(options.sizePx, [&](std::size_t index, const Vector& pixel) {
        ASSERT_EQ(theta[index] >= 0.0F, std::abs(std::remainder(pixel[1] - 30.0, 15.0)) <= 3.0);
    });
}

TEST(Phantom, NoiseHasTheGivenStandardDeviationAndIsClampedToEightBits) {
    SPhantomOptions options = single_fiber({0.0, 0.0, 1.0});
    options.sizePx = CSize(100, 100, 20);
    options.noiseSd = 12.0;
    const SPhantom phantom = MakePhantom(options);
    double sum = 0.0;
    double squares = 0.0;
    double count = 0.0;
    for_each_pixel(options.sizePx, [&](std::size_t index, const Vector& pixel) {
        if (distance_to_line(pixel, phantom.fibers[0]) > 6.0) {
            const double difference = greys(*phantom.image)[index] - 50.0;
            sum += difference;
            squares += difference * difference;
            ++count;
        }
    });
    EXPECT_NEAR(sum / count, 0.0, 5.0 * 12.0 / std::sqrt(count));
    EXPECT_NEAR(std::sqrt(squares / count), std::sqrt(144.0 + 1.0 / 12.0),
                5.0 * 12.0 / std::sqrt(2.0 * count));

    options.noiseSd = 1000.0;
    const SPhantom extreme = MakePhantom(options);
    const auto black = std::ranges::count(greys(*extreme.image), 0);
    const auto white = std::ranges::count(greys(*extreme.image), 255);
    EXPECT_GT(static_cast<double>(black + white), 0.85 * 200000.0);
    EXPECT_GT(white, black / 3);
}

TEST(Phantom, SpacingStandsInTheHeadersOfAllImages) {
    SPhantomOptions options = single_fiber({0.0, 0.0, 1.0});
    options.spacingMm = 0.004;
    const SPhantom phantom = MakePhantom(options);
    for (const CImage* image : {phantom.image.get(), phantom.theta.get(), phantom.phi.get()}) {
        double x = 0.0;
        double y = 0.0;
        double z = 0.0;
        ASSERT_TRUE(CVexoHeaderTools::GetSpacing(*image, x, y, z));
        EXPECT_EQ(x, 0.004);
        EXPECT_EQ(y, 0.004);
        EXPECT_EQ(z, 0.004);
    }
}

TEST(Phantom, ProgressIsReportedToItsLastStep) {
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    SPhantomOptions options;
    options.sizePx = CSize(30, 31, 32);
    MakePhantom(options);
    EXPECT_THAT(monitor.events, testing::Contains("begin 100 Placing fibers"));
    EXPECT_THAT(monitor.events, testing::Contains("begin 32 Drawing the image"));
    EXPECT_EQ(monitor.steps, 132);
    EXPECT_EQ(monitor.openReports, 0);
}

TEST(Phantom, MonitorCanStopTheWorkByThrowing) {
    for (const int call : {1, 50, 110}) { // at once, while placing, while drawing
        test::CRecordingMonitor monitor;
        monitor.throwAtCall = call;
        const CProgressMonitorScope scope(monitor);
        SPhantomOptions options;
        options.sizePx = CSize(30, 30, 30);
        EXPECT_THROW(MakePhantom(options), test::CInterrupted);
        EXPECT_EQ(monitor.Calls(), call);
    }
}

TEST(Phantom, EndsAtWhateverPollTheMonitorCancels) {
    const auto make = [](IProgressMonitor& monitor, const FiberPlaces& places) {
        const CProgressMonitorScope scope(monitor);
        SPhantomOptions options;
        options.sizePx = CSize(20, 20, 20);
        options.places = places;
        if (!std::holds_alternative<SRandomPlaces>(places)) {
            options.directions = SOneAxis{};
        }
        MakePhantom(options);
    };
    for (const FiberPlaces& places : {FiberPlaces(SRandomPlaces{}), FiberPlaces(SParallelGrid{8.0})}) {
        test::CRecordingMonitor whole;
        make(whole, places);
        ASSERT_GT(whole.polls, 20);
        for (int poll = 1; poll <= whole.polls; ++poll) {
            test::CRecordingMonitor monitor;
            monitor.cancelFromPoll = poll;
            EXPECT_THROW(make(monitor, places), CCancelled) << "poll " << poll;
            EXPECT_EQ(monitor.polls, poll);
            EXPECT_EQ(monitor.openReports, 0);
        }
    }
}

TEST(Phantom, AsksOnTheWayThroughLargeImagesWhetherToGoOn) {
    constexpr int PIECES = 4; // of the image, each as large as what lies between two questions
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    SPhantomOptions options;
    options.sizePx = CSize(128, 128, 64);
    static_assert(PIECES * PIXELS_BETWEEN_POLLS == 128LL * 128 * 64);
    options.places = SThroughCentre{};
    options.directions = SOneAxis{};
    options.fiberRadiusPx = 2.0;
    MakePhantom(options);
    const auto drawing =
        std::find(monitor.events.begin(), monitor.events.end(), "begin 64 Drawing the image");
    const auto drawn = std::find(drawing, monitor.events.end(), "end");
    EXPECT_EQ(std::count(monitor.events.begin(), drawing, "poll"), 2 * PIECES); // distances and owners
    EXPECT_EQ(std::count(drawing, drawn, "poll"), PIECES + 64);
    EXPECT_EQ(std::count(drawn, monitor.events.end(), "poll"), PIECES); // angles
}

TEST(Phantom, AsksWithinAThickFiberWhetherToGoOn) {
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    SPhantomOptions options;
    options.sizePx = CSize(128, 128, 64);
    options.places = SThroughCentre{};
    options.directions = SOneAxis{{1.0, 0.0, 0.0}};
    options.fiberRadiusPx = 31.5;
    MakePhantom(options);
    const auto drawing =
        std::find(monitor.events.begin(), monitor.events.end(), "begin 64 Drawing the image");
    const long long box = 128 * 64 * 64; // around the fiber
    EXPECT_EQ(std::count(monitor.events.begin(), drawing, "poll"), 2 * 4 + box / PIXELS_BETWEEN_POLLS);
}

TEST(Phantom, HasAllBetasUpToItsBounds) {
    for (const double beta : {1e-6, 1e6}) {
        SPhantomOptions options;
        options.sizePx = CSize(20, 20, 20);
        options.directions = SBetaFamily{beta, {0.0, 0.0, 1.0}};
        EXPECT_NEAR(MakePhantom(options).tensor[2][2], beta < 1.0 ? 1.0 : 0.0, 1e-3);
    }
}

struct SRefusal {
    const char* name;
    void (*spoil)(SPhantomOptions&);
    const char* message;
};

void PrintTo(const SRefusal& refusal, std::ostream* out) {
    *out << refusal.name;
}

class PhantomRefusal : public testing::TestWithParam<SRefusal> {};

TEST_P(PhantomRefusal, NamesQuantityValueAndWhatIsAllowed) {
    SPhantomOptions options;
    options.sizePx = CSize(20, 20, 20);
    GetParam().spoil(options);
    try {
        MakePhantom(options);
        FAIL() << "accepted";
    } catch (const std::invalid_argument& error) {
        EXPECT_THAT(error.what(), HasSubstr(GetParam().message));
        EXPECT_THAT(error.what(), testing::Not(HasSubstr("\n")));
    }
}

constexpr double NAN_VALUE = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE_VALUE = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Options, PhantomRefusal,
    testing::Values(
        SRefusal{"OneDimension", [](auto& o) { o.sizePx = CSize({20}); },
                 "the number of dimensions is 1, but must be 2 or 3."},
        SRefusal{"FourDimensions",
                 [](auto& o) {
                     o.sizePx = CSize({20, 20, 20, 20});
                 },
                 "the number of dimensions is 4, but must be 2 or 3."},
        SRefusal{"EmptyExtent", [](auto& o) { o.sizePx = CSize(20, 0, 20); },
                 "an extent is 0, but must be 1 to 100000 pixels."},
        SRefusal{"HugeExtent", [](auto& o) { o.sizePx = CSize(20, 100001, 20); },
                 "an extent is 100001, but must be 1 to 100000 pixels."},
        SRefusal{"ZeroRadius", [](auto& o) { o.fiberRadiusPx = 0.0; },
                 "the fiber radius is 0, but must be half a pixel or more."},
        SRefusal{"NanRadius", [](auto& o) { o.fiberRadiusPx = NAN_VALUE; }, "must be half a pixel or more."},
        SRefusal{"InfiniteRadius", [](auto& o) { o.fiberRadiusPx = INFINITE_VALUE; },
                 "must be half a pixel or more."},
        SRefusal{"ThickFiber", [](auto& o) { o.fiberRadiusPx = 10.5; },
                 "the fiber diameter is 21, but must be at most the smallest extent, 20."},
        SRefusal{"NoFraction", [](auto& o) { o.places = SRandomPlaces{0.0}; },
                 "the volume fraction is 0, but must be greater than 0 and at most 0.9."},
        SRefusal{"FullFraction", [](auto& o) { o.places = SRandomPlaces{0.91}; },
                 "the volume fraction is 0.91, but"},
        SRefusal{"NanFraction", [](auto& o) { o.places = SRandomPlaces{NAN_VALUE}; }, "the volume fraction"},
        SRefusal{"ZeroBeta", [](auto& o) { o.directions = SBetaFamily{0.0}; },
                 "beta is 0, but must be 0.000001 to 1000000."},
        SRefusal{"HugeBeta", [](auto& o) { o.directions = SBetaFamily{1e300}; }, "beta is 1e+300"},
        SRefusal{"TinyBeta", [](auto& o) { o.directions = SBetaFamily{1e-300}; }, "beta is 1e-300"},
        SRefusal{"InfiniteBeta", [](auto& o) { o.directions = SBetaFamily{INFINITE_VALUE}; }, "beta is inf"},
        SRefusal{"ZeroSymmetryAxis",
                 [](auto& o) {
                     o.directions = SBetaFamily{1.0, {0, 0, 0}};
                 },
                 "the symmetry axis is 0,0,0, but must be a finite vector other than 0,0,0."},
        SRefusal{"NanAxis",
                 [](auto& o) {
                     o.directions = SOneAxis{{NAN_VALUE, 0, 1}};
                 },
                 "the fiber axis is"},
        SRefusal{"InfiniteNormal",
                 [](auto& o) {
                     o.directions = SPlanar{{INFINITE_VALUE, 0, 1}};
                 },
                 "the normal of the fibers' plane is"},
        SRefusal{"BetaIn2D", [](auto& o) { o.sizePx = CSize(20, 20); }, "the image is 2D"},
        SRefusal{"SpatialAxisIn2D",
                 [](auto& o) {
                     o.sizePx = CSize(20, 20);
                     o.directions = SOneAxis{{1, 0, 0.5}};
                 },
                 "the z component of the fiber axis is 0.5, but must be 0 in a 2D image."},
        SRefusal{"TiltedPlaneIn2D",
                 [](auto& o) {
                     o.sizePx = CSize(20, 20);
                     o.directions = SPlanar{{0, 1, 1}};
                 },
                 "only the z axis can be normal to it."},
        SRefusal{"GreyBelowRange", [](auto& o) { o.backgroundGrey = -1.0; },
                 "a grey value is -1, but must be 0 to 255."},
        SRefusal{"GreyAboveRange", [](auto& o) { o.fiberGrey = 256.0; }, "a grey value is 256"},
        SRefusal{"NoContrast", [](auto& o) { o.fiberGrey = o.backgroundGrey; }, "no fiber can be seen"},
        SRefusal{"NegativeNoise", [](auto& o) { o.noiseSd = -0.1; },
                 "the noise's standard deviation is -0.1, but must be 0 or more, and finite."},
        SRefusal{"NanNoise", [](auto& o) { o.noiseSd = NAN_VALUE; }, "the noise's standard deviation"},
        SRefusal{"ZeroSpacing", [](auto& o) { o.spacingMm = 0.0; },
                 "the spacing is 0, but must be greater than 0, and finite."},
        SRefusal{"CentreWithoutAxis", [](auto& o) { o.places = SThroughCentre{}; }, "needs one axis."},
        SRefusal{"GridWithoutAxis", [](auto& o) { o.places = SParallelGrid{}; }, "needs one axis."},
        SRefusal{"NarrowGrid",
                 [](auto& o) {
                     o.directions = SOneAxis{};
                     o.places = SParallelGrid{0.5};
                 },
                 "the distance of parallel fibers in pixels is 0.5, but must be 1 or more, and finite."},
        SRefusal{"FiberBetweenPixels",
                 [](auto& o) {
                     o.fiberRadiusPx = 0.5;
                     o.directions = SOneAxis{};
                     o.places = SThroughCentre{};
                 },
                 "no pixel's centre lies in a fiber"}),
    [](const auto& one) { return std::string(one.param.name); });

} // namespace
