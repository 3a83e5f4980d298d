// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/RecursiveGaussian.h"

#include "DirectGaussian.h"
#include "support/InstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>
#include <random>
#include <span>
#include <vector>

namespace TEVRA::test {
namespace {

using Impl::SRecursionPlanes;
using Impl::SRecursiveGaussian;

/// Both passes over a line without rounding to float in between.
std::vector<double> smooth_in_double(const SRecursiveGaussian& filter, std::vector<double> line) {
    const double last = line.back();
    auto state = Impl::StartCausal(line.front());
    for (double& sample : line) {
        sample = Impl::Step(filter, state, sample);
    }
    state = Impl::StartAnticausal(filter, state, last);
    for (std::size_t k = line.size(); k-- > 0;) {
        line[k] = Impl::Step(filter, state, line[k]);
    }
    return line;
}

std::vector<float> random_line(std::size_t length, unsigned seed) {
    std::mt19937 generator(seed);
    std::vector<float> line(length);
    for (float& sample : line) {
        sample = static_cast<float>(generator() % 100000) / 391.0F;
    }
    return line;
}

struct SImpulse {
    long long center = 0;
    std::vector<double> response;
};

SImpulse impulse_response(double sigmaPx) {
    SImpulse impulse;
    impulse.center = static_cast<long long>(std::ceil(25.0 * sigmaPx));
    std::vector<double> line(static_cast<std::size_t>(2 * impulse.center + 1));
    line[static_cast<std::size_t>(impulse.center)] = 1.0;
    impulse.response = smooth_in_double(SRecursiveGaussian::FromSigma(sigmaPx), line);
    return impulse;
}

struct SAccuracy {
    double sigmaPx;
    double response;         // largest error as a share of the peak
    double secondDifference; // largest error as a share of its peak
};

void PrintTo(const SAccuracy& promised, std::ostream* out) {
    *out << "sigma " << promised.sigmaPx << " px";
}

class ImpulseResponse : public testing::TestWithParam<SAccuracy> {};

TEST_P(ImpulseResponse, IsAsCloseToTheSampledGaussianAsDocumented) {
    const SAccuracy& promised = GetParam();
    const SImpulse impulse = impulse_response(promised.sigmaPx);
    const std::vector<double> gaussian = SampledGaussianWeights(promised.sigmaPx, impulse.center);
    const auto exact = [&](long long k) {
        const auto distance = static_cast<std::size_t>(std::abs(k - impulse.center));
        return distance < gaussian.size() ? gaussian[distance] : 0.0;
    };
    const auto found = [&](long long k) { return impulse.response[static_cast<std::size_t>(k)]; };
    const double curvature = 2.0 * (exact(impulse.center) - exact(impulse.center + 1));
    for (long long k = 1; k < 2 * impulse.center; ++k) {
        ASSERT_NEAR(found(k), exact(k), promised.response * exact(impulse.center)) << "sample " << k;
        ASSERT_NEAR(found(k - 1) - 2.0 * found(k) + found(k + 1),
                    exact(k - 1) - 2.0 * exact(k) + exact(k + 1), promised.secondDifference * curvature)
            << "second difference at " << k;
    }
}

// The table of SRecursiveGaussian's docstring.
INSTANTIATE_TEST_SUITE_P(Table, ImpulseResponse,
                         testing::Values(SAccuracy{2.5, 5.15e-4, 7.35e-3}, SAccuracy{3.0, 3.6e-4, 4.7e-3},
                                         SAccuracy{4.0, 2.9e-4, 2.9e-3}, SAccuracy{5.0, 2.9e-4, 2.3e-3},
                                         SAccuracy{7.0, 2.8e-4, 2.1e-3}, SAccuracy{10.0, 2.8e-4, 1.9e-3},
                                         SAccuracy{20.0, 2.7e-4, 1.9e-3}, SAccuracy{100.0, 2.7e-4, 1.8e-3},
                                         SAccuracy{500.0, 2.7e-4, 1.8e-3}),
                         [](const auto& testCase) {
                             return "sigma" +
                                    std::to_string(
                                        static_cast<int>(std::lround(10.0 * testCase.param.sigmaPx))) +
                                    "tenths";
                         });

TEST(RecursiveGaussian, HasTheVarianceOfTheGaussian) {
    for (const double sigmaPx : {2.5, 2.9, 4.0, 7.3, 20.0, 150.0}) {
        const SImpulse impulse = impulse_response(sigmaPx);
        double gain = 0.0;
        double moment = 0.0;
        for (std::size_t k = 0; k < impulse.response.size(); ++k) {
            const double distance = static_cast<double>(k) - static_cast<double>(impulse.center);
            gain += impulse.response[k];
            moment += distance * distance * impulse.response[k];
        }
        EXPECT_NEAR(gain, 1.0, 1e-10) << "sigma " << sigmaPx;
        EXPECT_NEAR(moment / (sigmaPx * sigmaPx), 1.0, 1e-8) << "sigma " << sigmaPx;
    }
}

TEST(RecursiveGaussian, KeepsConstantLinesExactly) {
    for (const double sigmaPx : {2.5, 3.7, 20.0, 500.0, 1e6}) {
        const auto filter = SRecursiveGaussian::FromSigma(sigmaPx);
        for (const std::size_t length : {1U, 2U, 3U, 7U, 1000U}) {
            std::vector<float> line(length, 0.1F);
            Impl::SmoothLine(filter, line);
            EXPECT_EQ(line, std::vector<float>(length, 0.1F)) << "sigma " << sigmaPx << ", length " << length;
        }
    }
}

TEST(RecursiveGaussian, LeavesAnEmptyLineAlone) {
    std::vector<float> line;
    Impl::SmoothLine(SRecursiveGaussian::FromSigma(3.0), line);
    EXPECT_TRUE(line.empty());
}

TEST(RecursiveGaussian, TreatsTheEndsAsIfTheLineContinuedConstantly) {
    for (const double sigmaPx : {2.5, 4.0, 30.0, 300.0}) {
        const auto filter = SRecursiveGaussian::FromSigma(sigmaPx);
        const auto beyond = static_cast<std::size_t>(40.0 * sigmaPx);
        for (const std::size_t length : {1U, 2U, 3U, 5U, 17U, 64U}) {
            const std::vector<float> samples = random_line(length, static_cast<unsigned>(length));
            const std::vector<double> line(samples.begin(), samples.end());
            std::vector<double> continued(beyond, line.front());
            continued.insert(continued.end(), line.begin(), line.end());
            continued.insert(continued.end(), beyond, line.back());

            const std::vector<double> found = smooth_in_double(filter, line);
            const std::vector<double> expected = smooth_in_double(filter, continued);
            for (std::size_t k = 0; k < length; ++k) {
                EXPECT_NEAR(found[k], expected[k + beyond], 1e-10)
                    << "sigma " << sigmaPx << ", length " << length << ", sample " << k;
            }
        }
    }
}

TEST(RecursiveGaussian, KeepsRampsStraightAwayFromTheEnds) {
    for (const double sigmaPx : {2.5, 6.0, 15.0}) {
        const auto margin = static_cast<std::size_t>(25.0 * sigmaPx);
        std::vector<double> line(2 * margin + 50);
        for (std::size_t k = 0; k < line.size(); ++k) {
            line[k] = 0.75 * static_cast<double>(k) - 20.0;
        }
        const std::vector<double> smoothed = smooth_in_double(SRecursiveGaussian::FromSigma(sigmaPx), line);
        for (std::size_t k = margin; k < margin + 50; ++k) {
            EXPECT_NEAR(smoothed[k], line[k], 1e-8) << "sigma " << sigmaPx << ", sample " << k;
        }
    }
}

TEST(RecursiveGaussian, AddsTheVarianceToAParabolaAwayFromTheEnds) {
    const double sigmaPx = 5.0;
    const long long center = 200;
    std::vector<double> line(401);
    for (long long k = 0; k <= 400; ++k) {
        line[static_cast<std::size_t>(k)] = static_cast<double>((k - center) * (k - center));
    }
    const std::vector<double> smoothed = smooth_in_double(SRecursiveGaussian::FromSigma(sigmaPx), line);
    for (std::size_t k = 180; k <= 220; ++k) {
        EXPECT_NEAR(smoothed[k], line[k] + sigmaPx * sigmaPx, 1e-6) << "sample " << k;
    }
}

TEST(RecursiveGaussian, GivesAMirroredLineForAMirroredLine) {
    for (const double sigmaPx : {2.5, 8.0, 200.0}) {
        const auto filter = SRecursiveGaussian::FromSigma(sigmaPx);
        std::vector<float> line =
            random_line(131, 5); // up to 256: float rounds by up to 1.5e-5 once per pass
        std::vector<float> mirrored(line.rbegin(), line.rend());
        Impl::SmoothLine(filter, line);
        Impl::SmoothLine(filter, mirrored);
        for (std::size_t k = 0; k < line.size(); ++k) {
            EXPECT_NEAR(line[k], mirrored[line.size() - 1 - k], 4e-5)
                << "sigma " << sigmaPx << ", sample " << k;
        }
    }
}

TEST(RecursiveGaussian, StaysFiniteAndBoundedForAStepAtAnySigma) {
    for (const double sigmaPx : {2.5, 50.0, 1000.0, 1e6}) {
        std::vector<float> line(300, 0.0F);
        std::fill(line.begin() + 150, line.end(), 1.0F);
        Impl::SmoothLine(SRecursiveGaussian::FromSigma(sigmaPx), line);
        for (const float sample : line) {
            ASSERT_TRUE(sample > -1e-3F && sample < 1.001F) << sample << " at sigma " << sigmaPx;
        }
    }
}

/// Many lines side by side, in steps, as a walk over planes does it.
std::vector<std::vector<float>> smooth_as_planes(const SRecursiveGaussian& filter,
                                                 std::vector<std::vector<float>> lines,
                                                 std::size_t linesPerPart) {
    const std::size_t count = lines.size();
    const std::size_t length = lines.front().size();
    std::vector<std::vector<float>> planes(length, std::vector<float>(count));
    for (std::size_t i = 0; i < length; ++i) {
        for (std::size_t line = 0; line < count; ++line) {
            planes[i][line] = lines[line][i];
        }
    }
    std::vector<double> memory(SRecursionPlanes::MemoryFor(count));
    const SRecursionPlanes states = SRecursionPlanes::Over(memory);
    const std::vector<float> last = planes.back();
    Impl::StartCausal(states, planes.front());
    for (std::size_t i = 0; i < length; ++i) {
        std::vector<float> out(count); // apart from the input, as when a slice is read and another one kept
        for (std::size_t first = 0; first < count; first += linesPerPart) {
            const std::size_t part = std::min(linesPerPart, count - first);
            Impl::Step(filter, states.From(first), std::span(planes[i]).subspan(first, part),
                       std::span(out).subspan(first, part));
        }
        planes[i] = out;
    }
    Impl::StartAnticausal(filter, states, last);
    for (std::size_t i = length; i-- > 0;) {
        Impl::Step(filter, states, planes[i], planes[i]);
    }
    for (std::size_t i = 0; i < length; ++i) {
        for (std::size_t line = 0; line < count; ++line) {
            lines[line][i] = planes[i][line];
        }
    }
    return lines;
}

/// As above, by walks instead of steps, and in place.
std::vector<std::vector<float>> smooth_by_walks(const SRecursiveGaussian& filter,
                                                std::vector<std::vector<float>> lines) {
    const std::size_t count = lines.size();
    const std::size_t length = lines.front().size();
    const std::size_t step = count + 3; // rows need not follow each other closely
    std::vector<float> rows(step * length, -1.0F);
    for (std::size_t at = 0; at < count * length; ++at) {
        rows[at / count * step + at % count] = lines[at % count][at / count];
    }
    std::vector<double> memory(SRecursionPlanes::MemoryFor(count));
    const SRecursionPlanes states = SRecursionPlanes::Over(memory);
    float* const first = rows.data();
    float* const last = first + (length - 1) * step;
    const std::vector<float> lastSamples(last, last + count);
    const auto down = static_cast<std::ptrdiff_t>(step);
    Impl::StartCausal(states, std::span(rows).first(count));
    Impl::Walk(filter, states, {.in = {first, down}, .out = {first, down}, .lines = count, .rows = length});
    Impl::StartAnticausal(filter, states, lastSamples);
    Impl::Walk(filter, states, {.in = {last, -down}, .out = {last, -down}, .lines = count, .rows = length});
    for (std::size_t at = 0; at < step * length; ++at) {
        if (at % step < count) {
            lines[at % step][at / step] = rows[at];
        } else {
            EXPECT_EQ(rows[at], -1.0F) << "written beside the lines";
        }
    }
    return lines;
}

class RecursionBits : public testing::TestWithParam<Impl::EInstructionSet> {};

TEST_P(RecursionBits, AreTheSameForLinesAloneAndSideBySide) {
    if (!Impl::IsSupported(GetParam())) {
        GTEST_SKIP() << "this processor does not have " << Impl::NameOf(GetParam());
    }
    const CInstructionSetScope scope(GetParam());
    for (const double sigmaPx : {2.5, 4.3, 60.0}) {
        const auto filter = SRecursiveGaussian::FromSigma(sigmaPx);
        for (const std::size_t count : {1U, 2U, 3U, 8U, 13U, 16U, 23U, 70U}) {
            std::vector<std::vector<float>> lines;
            for (std::size_t line = 0; line < count; ++line) {
                lines.push_back(random_line(45, static_cast<unsigned>(100 + line)));
            }
            const auto together = smooth_as_planes(filter, lines, count);
            const auto inParts = smooth_as_planes(filter, lines, 5);
            const auto byWalks = smooth_by_walks(filter, lines);
            for (std::vector<float>& line : lines) {
                Impl::SmoothLine(filter, line);
            }
            EXPECT_EQ(together, lines) << "sigma " << sigmaPx << ", " << count << " lines";
            EXPECT_EQ(inParts, lines) << "sigma " << sigmaPx << ", " << count << " lines";
            EXPECT_EQ(byWalks, lines) << "sigma " << sigmaPx << ", " << count << " lines";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(With, RecursionBits,
                         testing::Values(Impl::EInstructionSet::baseline, Impl::EInstructionSet::avx2,
                                         Impl::EInstructionSet::avx512),
                         [](const auto& testCase) { return std::string(Impl::NameOf(testCase.param)); });

/// Three numbers side by side, as a vector register holds them.
struct STriple {
    std::array<double, 3> lane{};

    STriple() = default;
    explicit STriple(double all) : lane{all, all, all} {}
    STriple(double a, double b, double c) : lane{a, b, c} {}
};

template <typename OperationT>
STriple for_each_lane(const STriple& a, const STriple& b, OperationT operation) {
    return {operation(a.lane[0], b.lane[0]), operation(a.lane[1], b.lane[1]),
            operation(a.lane[2], b.lane[2])};
}
STriple operator+(const STriple& a, const STriple& b) {
    return for_each_lane(a, b, [](double x, double y) { return x + y; });
}
STriple operator-(const STriple& a, const STriple& b) {
    return for_each_lane(a, b, [](double x, double y) { return x - y; });
}
STriple operator*(double factor, const STriple& a) {
    return for_each_lane(a, a, [factor](double x, double) { return factor * x; });
}

TEST(RecursiveGaussian, TakesAnyArithmeticTypeAndGivesTheSameBits) {
    const auto filter = SRecursiveGaussian::FromSigma(3.3);
    const std::vector<float> line = random_line(50, 9);
    auto single = Impl::StartCausal(static_cast<double>(line[0]));
    auto triple = Impl::StartCausal(STriple(line[0]));
    double lastSingle = 0.0;
    STriple lastTriple;
    for (const float sample : line) {
        lastSingle = Impl::Step(filter, single, static_cast<double>(sample));
        lastTriple = Impl::Step(filter, triple, STriple(sample, 2.0 * sample, -sample));
        ASSERT_EQ(lastTriple.lane[0], lastSingle);
    }
    single = Impl::StartAnticausal(filter, single, lastSingle);
    triple = Impl::StartAnticausal(filter, triple, lastTriple);
    for (std::size_t k = 0; k < single.value.size(); ++k) {
        EXPECT_EQ(triple.value[k].lane[0], single.value[k]);
        EXPECT_EQ(triple.velocity[k].lane[0], single.velocity[k]);
    }
}

} // namespace
} // namespace TEVRA::test
