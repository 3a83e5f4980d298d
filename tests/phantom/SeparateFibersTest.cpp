// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/SeparateFibers.h"

#include "phantom/Drawing.h"

#include "VexoBase/ProgressMonitor.h"
#include "support/RecordingMonitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <set>
#include <stdexcept>
#include <string>

namespace {

using namespace TEVRA;
using namespace TEVRA::phantom;
using Vector = std::array<double, 3>;

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vector between(const Vector& from, const Vector& to) {
    return {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
}

/// Least distance of two lines within a cube around the image, by walking along the first.
double distance_inside(const SPhantomFiber& a, const SPhantomFiber& b, double extent) {
    double least = 1e9;
    for (double way = -2.0 * extent; way <= 2.0 * extent; way += 0.25) {
        const Vector at{a.point[0] + way * a.axis[0], a.point[1] + way * a.axis[1],
                        a.point[2] + way * a.axis[2]};
        if (std::any_of(at.begin(), at.end(), [&](double x) { return x < 0.0 || x > extent - 1.0; })) {
            continue;
        }
        const Vector offset = between(b.point, at);
        const double along = dot(offset, b.axis);
        least = std::min(least, std::sqrt(std::max(dot(offset, offset) - along * along, 0.0)));
    }
    return least;
}

Vector axis_at(const SPhantom& phantom, std::size_t pixel) {
    const auto theta = static_cast<double>(phantom.theta->Pixels<float>()[pixel]);
    const auto phi = static_cast<double>(phantom.phi->Pixels<float>()[pixel]);
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

bool is_fiber(const SPhantom& phantom, std::size_t pixel) {
    return phantom.theta->Pixels<float>()[pixel] >= 0.0F;
}

std::string message_of(const SSeparateOptions& options) {
    try {
        MakeSeparatePhantom(options);
    } catch (const std::invalid_argument& refusal) {
        return refusal.what();
    }
    return "";
}

TEST(SeparateFibers, StayTwoRadiiApart) {
    SSeparateOptions options;
    options.sizePx = CSize(64, 64, 64);
    options.fiberRadius = 3.0;
    options.places = SScatteredFibers{0.15, 0.0};
    const SPhantom phantom = MakeSeparatePhantom(options);
    ASSERT_GT(phantom.fibers.size(), 20U);
    EXPECT_GE(phantom.volumeFraction, 0.15);
    EXPECT_LT(phantom.volumeFraction, 0.18);
    for (std::size_t i = 0; i < phantom.fibers.size(); ++i) {
        for (std::size_t j = 0; j < phantom.fibers.size(); ++j) {
            if (i != j) {
                EXPECT_GE(distance_inside(phantom.fibers[i], phantom.fibers[j], 64.0), 2.0 * 3.0 - 0.25)
                    << i << " and " << j;
            }
        }
    }
}

TEST(SeparateFibers, FillAQuarterOfAnIsotropicVolume) {
    SSeparateOptions options;
    options.sizePx = CSize(64, 64, 64);
    options.fiberRadius = 3.0;
    options.places = SScatteredFibers{0.25, 0.0};
    const SPhantom phantom = MakeSeparatePhantom(options);
    EXPECT_GE(phantom.volumeFraction, 0.25);
    EXPECT_NEAR(phantom.tensor[0][0] + phantom.tensor[1][1] + phantom.tensor[2][2], 1.0, 1e-6);
}

TEST(SeparateFibers, HaveTheirAxisInTheMapsAndTheirMeanInTheTensor) {
    SSeparateOptions options;
    options.sizePx = CSize(48, 40, 36);
    options.fiberRadius = 3.0;
    options.places = SScatteredFibers{0.1, 0.0};
    const SPhantom phantom = MakeSeparatePhantom(options);
    std::array<double, 9> sum{};
    long long count = 0;
    for (std::size_t pixel = 0; pixel < phantom.theta->Size().Elements(); ++pixel) {
        if (!is_fiber(phantom, pixel)) {
            continue;
        }
        const Vector axis = axis_at(phantom, pixel);
        double nearest = 0.0;
        for (const SPhantomFiber& fiber : phantom.fibers) {
            nearest = std::max(nearest, std::abs(dot(axis, fiber.axis)));
        }
        ASSERT_GT(nearest, 1.0 - 1e-6);
        for (std::size_t i = 0; i < 9; ++i) {
            sum[i] += axis[i / 3] * axis[i % 3];
        }
        ++count;
    }
    EXPECT_EQ(count, phantom.fiberPixelCount);
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(phantom.tensor[i / 3][i % 3], sum[i] / static_cast<double>(count), 1e-6);
    }
}

TEST(SeparateFibers, WaveAroundTheirLines) {
    SSeparateOptions options;
    options.sizePx = CSize(96, 48, 48);
    options.fiberRadius = 3.0;
    options.directions = SOneAxis{{1.0, 0.0, 0.0}};
    options.places = SScatteredFibers{0.1, 0.0};
    options.waveAmplitude = 3.0;
    options.waveLength = 48.0;
    const SPhantom phantom = MakeSeparatePhantom(options);
    const double steepest = std::atan(2.0 * std::numbers::pi * 3.0 / 48.0);
    double largest = 0.0;
    for (std::size_t pixel = 0; pixel < phantom.theta->Size().Elements(); ++pixel) {
        if (is_fiber(phantom, pixel)) {
            largest = std::max(largest, std::acos(std::min(std::abs(axis_at(phantom, pixel)[0]), 1.0)));
        }
    }
    EXPECT_NEAR(largest, steepest, 0.01);
    EXPECT_LT(phantom.tensor[0][0], 0.97);
    EXPECT_GT(phantom.tensor[0][0], 0.9);
}

TEST(SeparateFibers, MayBeHollow) {
    SSeparateOptions options;
    options.sizePx = CSize(40, 40, 20);
    options.fiberRadius = 6.0;
    options.holeRadius = 3.0;
    options.directions = SOneAxis{{0.0, 0.0, 1.0}};
    options.places = SScatteredFibers{0.05, 0.0};
    const SPhantom phantom = MakeSeparatePhantom(options);
    const auto* const grey = phantom.image->Pixels<unsigned char>();
    const SPhantomFiber& fiber = phantom.fibers.front();
    const auto pixel_at = [&](double x, double y) {
        return static_cast<std::size_t>(std::llround(y)) * 40 + static_cast<std::size_t>(std::llround(x));
    };
    const double way = -fiber.point[2] / fiber.axis[2];
    const double x = fiber.point[0] + way * fiber.axis[0];
    const double y = fiber.point[1] + way * fiber.axis[1];
    EXPECT_EQ(grey[pixel_at(x, y)], 50);
    EXPECT_TRUE(is_fiber(phantom, pixel_at(x, y)));
    const double inwards = x < 20.0 ? 4.5 : -4.5;
    EXPECT_EQ(grey[pixel_at(x + inwards, y)], 200);
}

TEST(SeparateFibers, MayBeDarkAndBlurred) {
    SSeparateOptions options;
    options.sizePx = CSize(48, 48, 24);
    options.fiberRadius = 3.0;
    options.backgroundGrey = 180.0;
    options.fiberGrey = 60.0;
    const SPhantom sharp = MakeSeparatePhantom(options);
    options.blurSigma = 1.5;
    const SPhantom blurred = MakeSeparatePhantom(options);
    const auto* const before = sharp.image->Pixels<unsigned char>();
    const auto* const after = blurred.image->Pixels<unsigned char>();
    double sumBefore = 0.0;
    double sumAfter = 0.0;
    int lowest = 255;
    std::set<int> greys;
    for (std::size_t pixel = 0; pixel < sharp.image->Size().Elements(); ++pixel) {
        sumBefore += before[pixel];
        sumAfter += after[pixel];
        lowest = std::min<int>(lowest, before[pixel]);
        greys.insert(after[pixel]);
    }
    const auto count = static_cast<double>(sharp.image->Size().Elements());
    EXPECT_EQ(lowest, 60);
    EXPECT_NEAR(sumAfter / count, sumBefore / count, 1.0);
    EXPECT_GT(greys.size(), 80U);
    EXPECT_EQ(std::memcmp(sharp.theta->Pixels<float>(), blurred.theta->Pixels<float>(),
                          sharp.theta->Size().Elements() * sizeof(float)),
              0);
}

TEST(SeparateFibers, LieInLayersOfTheirOwnDirections) {
    SSeparateOptions options;
    options.sizePx = CSize(64, 64, 64);
    options.fiberRadius = 4.0;
    SFiberLayers layers;
    layers.volumeFraction = 0.9;
    layers.anglesRad = {0.0, 0.5 * std::numbers::pi};
    layers.rows = 2;
    options.places = layers;
    const SPhantom phantom = MakeSeparatePhantom(options);
    // Rows of touching fibers are 2 r sqrt(3) / 2 apart, so that a layer of two is 8 + 6.93 thick.
    const auto column = [&](long long z) { return static_cast<std::size_t>(z) * 64 * 64 + 32 * 64; };
    for (std::size_t x = 0; x < 64; ++x) {
        if (is_fiber(phantom, column(3) + x)) {
            EXPECT_NEAR(std::abs(axis_at(phantom, column(3) + x)[0]), 1.0, 1e-6);
        }
        if (is_fiber(phantom, column(18) + x)) {
            EXPECT_NEAR(std::abs(axis_at(phantom, column(18) + x)[1]), 1.0, 1e-6);
        }
    }
    EXPECT_GT(phantom.volumeFraction, 0.75);
    EXPECT_NEAR(phantom.tensor[2][2], 0.0, 1e-9);
}

TEST(SeparateFibers, AreRoundInPhysicalUnits) {
    SSeparateOptions options;
    options.sizePx = CSize(60, 60, 30);
    options.spacing = {0.5, 0.5, 1.0};
    options.fiberRadius = 3.0;
    options.directions = SOneAxis{{1.0, 0.0, 0.0}};
    options.places = SScatteredFibers{0.02, 0.0};
    const SPhantom phantom = MakeSeparatePhantom(options);
    const SPhantomFiber& fiber = phantom.fibers.front();
    long long alongY = 0;
    long long alongZ = 0;
    const auto y0 = std::clamp<long long>(std::llround(fiber.point[1] / 0.5), 0, 59);
    const auto z0 = std::clamp<long long>(std::llround(fiber.point[2]), 0, 29);
    for (long long y = 0; y < 60; ++y) {
        alongY += is_fiber(phantom, static_cast<std::size_t>((z0 * 60 + y) * 60 + 30)) ? 1 : 0;
    }
    for (long long z = 0; z < 30; ++z) {
        alongZ += is_fiber(phantom, static_cast<std::size_t>((z * 60 + y0) * 60 + 30)) ? 1 : 0;
    }
    // Counts as far as the fiber lies in the image.
    const double lowY = std::max(fiber.point[1] - 3.0, 0.0);
    const double highY = std::min(fiber.point[1] + 3.0, 29.5);
    const double lowZ = std::max(fiber.point[2] - 3.0, 0.0);
    const double highZ = std::min(fiber.point[2] + 3.0, 29.0);
    EXPECT_NEAR(static_cast<double>(alongY), (highY - lowY) / 0.5, 2.0);
    EXPECT_NEAR(static_cast<double>(alongZ), highZ - lowZ, 2.0);
}

TEST(SeparateFibers, AreTheSameForTheSameSeed) {
    SSeparateOptions options;
    options.sizePx = CSize(40, 40, 40);
    options.noiseSd = 10.0;
    const SPhantom first = MakeSeparatePhantom(options);
    const SPhantom second = MakeSeparatePhantom(options);
    options.seed = 2;
    const SPhantom third = MakeSeparatePhantom(options);
    const std::size_t bytes = first.image->Size().Elements();
    EXPECT_EQ(std::memcmp(first.image->Pixels<unsigned char>(), second.image->Pixels<unsigned char>(), bytes),
              0);
    EXPECT_NE(std::memcmp(first.image->Pixels<unsigned char>(), third.image->Pixels<unsigned char>(), bytes),
              0);
}

TEST(SeparateFibers, ComeInBundles) {
    SSeparateOptions options;
    options.sizePx = CSize(80, 80, 40);
    options.fiberRadius = 2.5;
    options.directions = SOneAxis{{0.0, 0.0, 1.0}};
    options.places = SFiberBundles{0.12, 12.0};
    const SPhantom phantom = MakeSeparatePhantom(options);
    EXPECT_GE(phantom.volumeFraction, 0.12);
    // Neighbours within a bundle lie closer than scattered ones could: 2 r / sqrt(0.7 / 0.907) apart.
    double nearest = 1e9;
    for (std::size_t i = 1; i < phantom.fibers.size(); ++i) {
        nearest = std::min(nearest, distance_inside(phantom.fibers[0], phantom.fibers[i], 80.0));
    }
    EXPECT_NEAR(nearest, 2.0 * 2.5 / std::sqrt(0.7 / 0.9069), 0.05);
}

/// What the monitor was told and asked while a phantom was made.
std::vector<std::string> events_of(const SSeparateOptions& options) {
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    MakeSeparatePhantom(options);
    return monitor.events;
}

TEST(SeparateFibers, AskOnTheWayThroughLargeImagesWhetherToGoOn) {
    constexpr int PIECES = 4; // of the image, each as large as what lies between two questions
    SSeparateOptions options;
    options.sizePx = CSize(128, 128, 64);
    static_assert(PIECES * PIXELS_BETWEEN_POLLS == 128LL * 128 * 64);
    options.places = SFiberLayers{0.1, {0.0}, 4};
    options.fiberRadius = 2.0;
    options.blurSigma = 1.0;
    const std::vector<std::string> events = events_of(options);
    const auto polls_between = [&events](const char* first, const char* last) {
        const auto from = std::find(events.begin(), events.end(), first);
        return std::count(from, std::find(from, events.end(), last), "poll");
    };
    const auto placing = std::find_if(events.begin(), events.end(),
                                      [](const std::string& event) { return event.starts_with("begin"); });
    EXPECT_EQ(std::count(events.begin(), placing, "poll"), 6 * PIECES); // all that is kept per pixel
    EXPECT_GE(polls_between("begin 64 Blurring the image", "end"), 64);
    EXPECT_EQ(polls_between("begin 64 Drawing the image", "end"), PIECES + 64);
    const auto drawn =
        std::find(std::find(events.begin(), events.end(), "begin 64 Drawing the image"), events.end(), "end");
    EXPECT_EQ(std::count(drawn, events.end(), "poll"), 2 * PIECES); // both angles
}

TEST(SeparateFibers, AskWithinAThickFiberWhetherToGoOn) {
    SSeparateOptions options;
    options.sizePx = CSize(64, 64, 64);
    options.fiberRadius = 16.0;
    options.directions = SOneAxis{{0.0, 0.0, 1.0}};
    options.places = SScatteredFibers{0.01, 0.0}; // one fiber
    const std::vector<std::string> events = events_of(options);
    const auto placing = std::find(events.begin(), events.end(), "begin 100 Placing fibers");
    const auto placed = std::find(placing, events.end(), "end");
    // Room is taken around at least 64 places on its line, in half a ball of twice the diameter at least.
    const double looks = 64.0 * 0.5 * std::pow(64.0, 3);
    EXPECT_GE(static_cast<double>(std::count(placing, placed, "poll")),
              looks / static_cast<double>(PIXELS_BETWEEN_POLLS));
}

TEST(SeparateFibers, AskWhileTheyLookForRoomWhetherToGoOn) {
    SSeparateOptions options;
    options.sizePx = CSize(32, 32, 32);
    options.fiberRadius = 4.0;
    options.places = SScatteredFibers{0.4, 0.0};
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    EXPECT_THROW(MakeSeparatePhantom(options), std::invalid_argument); // there is none
    // The last fiber that is looked for tries 100000 times, and each looks at one place at least.
    const auto lastStep = std::find(monitor.events.rbegin(), monitor.events.rend(), "step");
    EXPECT_GE(std::count(monitor.events.rbegin(), lastStep, "poll"), 3);
}

TEST(SeparateFibers, EndAtPollsOfAllStagesThatTheMonitorCancels) {
    SSeparateOptions options;
    options.sizePx = CSize(72, 72, 52); // a little more than what lies between two questions
    options.fiberRadius = 3.0;
    options.blurSigma = 1.0;
    for (const SeparatePlaces& places :
         {SeparatePlaces(SScatteredFibers{0.02, 0.0}), SeparatePlaces(SFiberBundles{0.02, 12.0}),
          SeparatePlaces(SFiberLayers{0.5, {0.0, 1.0}, 4})}) {
        options.places = places;
        const std::vector<std::string> events = events_of(options);
        const auto polls = static_cast<int>(std::count(events.begin(), events.end(), "poll"));
        constexpr int SAMPLES = 8;
        for (int sample = 0; sample <= SAMPLES; ++sample) {
            const int poll = 1 + (polls - 1) * sample / SAMPLES; // the first and the last are among them
            test::CRecordingMonitor monitor;
            monitor.cancelFromPoll = poll;
            const CProgressMonitorScope scope(monitor);
            EXPECT_THROW(MakeSeparatePhantom(options), CCancelled) << "poll " << poll;
            EXPECT_EQ(monitor.polls, poll);
            EXPECT_EQ(monitor.openReports, 0);
        }
    }
}

TEST(SeparateFibers, SayThatThereIsNoRoom) {
    SSeparateOptions options;
    options.sizePx = CSize(32, 32, 32);
    options.fiberRadius = 4.0;
    options.places = SScatteredFibers{0.4, 0.0};
    EXPECT_THAT(message_of(options),
                testing::HasSubstr("there is no room for so many fibers that do not overlap"));
}

TEST(SeparateFibers, RefuseOptionsOutOfRange) {
    SSeparateOptions options;
    options.places = SScatteredFibers{0.6, 0.0};
    EXPECT_THAT(message_of(options),
                testing::HasSubstr("the volume fraction is 0.6, but must be greater than 0"));
    options = {};
    options.holeRadius = 4.0;
    EXPECT_THAT(message_of(options), testing::HasSubstr("the hole's radius is 4, but must be"));
    options = {};
    options.waveAmplitude = 1.0;
    EXPECT_THAT(message_of(options),
                testing::HasSubstr("the wave's length is 0, but must be greater than 0"));
    options = {};
    options.spacing[1] = 0.0;
    EXPECT_THAT(message_of(options), testing::HasSubstr("the spacing is 0, but must be greater than 0"));
    options = {};
    options.places = SFiberBundles{0.2, 5.0};
    EXPECT_THAT(message_of(options),
                testing::HasSubstr("the bundle radius is 5, but must be at least twice"));
    options.sizePx = CSize(64, 48, 32);
    options.places = SFiberBundles{0.2, 129.0};
    EXPECT_THAT(message_of(options), testing::HasSubstr("at most twice the largest extent, 128."));
    options = {};
    options.sizePx = CSize(64, 48, 32);
    options.spacing = {1.0, 1.0, 4.0};
    for (const double blur : {-1.0, 128.5, 1e300, std::numeric_limits<double>::quiet_NaN()}) {
        options.blurSigma = blur;
        EXPECT_THAT(message_of(options),
                    testing::ContainsRegex("the blur is .*, but must be 0 or more and at most the largest "
                                           "extent, 128\\."))
            << blur;
    }
    options.blurSigma = 0.0;
    options.waveAmplitude = 1e9;
    options.waveLength = 10.0;
    EXPECT_THAT(message_of(options), testing::HasSubstr("the wave's amplitude is 1e+09, but must be 0 or "
                                                        "more and at most the largest extent, 128."));
    options = {};
    options.sizePx = CSize(64, 64);
    options.places = SFiberLayers{};
    EXPECT_THAT(message_of(options), testing::HasSubstr("the image is 2D; give a third extent"));
    options = {};
    options.fiberGrey = 50.0;
    EXPECT_THAT(message_of(options), testing::HasSubstr("must differ, or no fiber can be seen"));
}

} // namespace
