// SPDX-License-Identifier: BSD-3-Clause
// Prints the tables of docs/accuracy.md that compare estimators: errors by condition on fibers that do not overlap, and
// the bias of the pixel grid on tilted lattices.
#include "FilterOrientations/HessianOrientations.h"
#include "FilterOrientations/LineVotingOrientations.h"
#include "FilterOrientations/StructureTensorOrientations.h"
#include "phantom/SeparateFibers.h"
#include "src/accuracy/AxisField.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iostream>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

namespace {

using namespace TEVRA;
using namespace TEVRA::test;

constexpr int SEEDS = 2; // phantoms per row
constexpr double BORDER_RADII = 2.0;

struct SCondition {
    std::string name;
    phantom::SSeparateOptions options;
};

/// Scattered fibers, unless told otherwise.
phantom::SSeparateOptions scattered(double radius, double volumeFraction, const phantom::DirectionLaw& law) {
    phantom::SSeparateOptions options;
    options.fiberRadius = radius;
    options.places = phantom::SScatteredFibers{volumeFraction, 0.0};
    options.directions = law;
    return options;
}

std::vector<SCondition> conditions() {
    using Options = phantom::SSeparateOptions;
    const phantom::DirectionLaw aligned = phantom::SBetaFamily{0.1, {0.3, 0.2, 1.0}};
    const phantom::DirectionLaw parallel = phantom::SOneAxis{{0.3, 0.2, 1.0}};
    const phantom::DirectionLaw isotropic = phantom::SBetaFamily{1.0};
    const phantom::DirectionLaw planar = phantom::SPlanar{};
    std::vector<SCondition> list;
    const auto add = [&list](const std::string& name, Options options, const auto& change) {
        change(options);
        list.push_back({name, std::move(options)});
    };
    const auto as_is = [](Options&) {};
    add("parallel, 25 %, r 3", scattered(3, 0.25, parallel), as_is);
    add("aligned (beta 0.1), 25 %, r 3", scattered(3, 0.25, aligned), as_is);
    add("planar, 25 %, r 3", scattered(3, 0.25, planar), as_is);
    add("isotropic, 5 %, r 3", scattered(3, 0.05, isotropic), as_is);
    add("isotropic, 15 %, r 3", scattered(3, 0.15, isotropic), as_is);
    add("isotropic, 25 %, r 3", scattered(3, 0.25, isotropic), as_is);
    add("aligned, 25 %, r 2", scattered(2, 0.25, aligned), as_is);
    add("isotropic, 15 %, r 2", scattered(2, 0.15, isotropic), as_is);
    add("isotropic, 25 %, r 2", scattered(2, 0.25, isotropic), as_is);
    add("aligned, 25 %, r 5", scattered(5, 0.25, aligned), as_is);
    add("isotropic, 15 %, r 5", scattered(5, 0.15, isotropic), as_is);
    add("isotropic, 25 %, r 5", scattered(5, 0.25, isotropic), as_is);
    for (const long long rows : {10LL, 4LL}) {
        add(rows == 10 ? "two touching layers at 90 degrees, r 3"
                       : "layers of four fibers at 90 degrees, r 3",
            Options{}, [rows](Options& o) {
                o.fiberRadius = 3;
                o.places = phantom::SFiberLayers{0.7, {0.35, 0.35 + std::numbers::pi / 2}, rows};
            });
    }
    for (const double fraction : {0.1, 0.2}) {
        add(fraction < 0.2 ? "bundles, isotropic, 10 %, r 3" : "bundles, parallel, 20 %, r 3", Options{},
            [&, fraction](Options& o) {
                o.fiberRadius = 3;
                o.places = phantom::SFiberBundles{fraction, 12.0};
                o.directions = fraction < 0.2 ? isotropic : parallel;
            });
    }
    add("hollow (half the radius), isotropic, 15 %, r 4", scattered(4, 0.15, isotropic),
        [](Options& o) { o.holeRadius = 2; });
    add("blur 1.5 px, isotropic, 15 %, r 3", scattered(3, 0.15, isotropic),
        [](Options& o) { o.blurSigma = 1.5; });
    add("blur 1.5 px, isotropic, 25 %, r 3", scattered(3, 0.25, isotropic),
        [](Options& o) { o.blurSigma = 1.5; });
    add("signal to noise 3, isotropic, 15 %, r 3", scattered(3, 0.15, isotropic),
        [](Options& o) { o.noiseSd = 50; });
    add("signal to noise 3, aligned, 25 %, r 3", scattered(3, 0.25, aligned),
        [](Options& o) { o.noiseSd = 50; });
    add("signal to noise 3, isotropic, 25 %, r 2", scattered(2, 0.25, isotropic),
        [](Options& o) { o.noiseSd = 50; });
    add("slices twice as thick, isotropic, 15 %, r 3", scattered(3, 0.15, isotropic), [](Options& o) {
        o.sizePx = CSize(128, 128, 64);
        o.spacing = {1.0, 1.0, 2.0};
    });
    add("wavy (radius of curvature 30 r), 15 %, r 3", scattered(3, 0.15, aligned), [](Options& o) {
        o.waveAmplitude = 4;
        o.waveLength = 120;
    });
    add("wavy (radius of curvature 3 r), 10 %, r 3", scattered(3, 0.10, aligned), [](Options& o) {
        o.waveAmplitude = 4;
        o.waveLength = 38;
    });
    for (const double fraction : {0.15, 0.25}) {
        add(fraction < 0.2 ? "2D, all directions, 15 %, r 3" : "2D, all directions, 25 %, r 3",
            scattered(3, fraction, planar), [](Options& o) { o.sizePx = CSize(512, 512); });
    }
    add("2D, signal to noise 3, 15 %, r 3", scattered(3, 0.15, planar), [](Options& o) {
        o.sizePx = CSize(512, 512);
        o.noiseSd = 50;
    });
    return list;
}

enum class EEstimator { lineVoting, lineVotingNotAlong, structureTensor, hessian };
constexpr std::array ESTIMATORS{EEstimator::lineVoting, EEstimator::structureTensor, EEstimator::hessian};

bool is_cubic(const phantom::SSeparateOptions& options) {
    return options.spacing[0] == options.spacing[1] &&
           (options.sizePx.Dim() == 2 || options.spacing[0] == options.spacing[2]);
}

SAxisField find_axes(EEstimator estimator, CImage& image, const phantom::SSeparateOptions& options) {
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    const auto maps_of = [&](auto& found) {
        found.get(theta, phi);
        return FieldOfMaps(*theta, phi);
    };
    if (estimator == EEstimator::structureTensor) {
        CStructureTensorOrientations found;
        SStructureTensorOptions how;
        how.spacing = options.spacing;
        found.compute(image, options.fiberRadius, nullptr, how);
        return maps_of(found);
    }
    if (estimator == EEstimator::hessian) {
        CHessianOrientations found;
        found.compute(image, options.fiberRadius / options.spacing[0], nullptr,
                      CHessianOrientations::eEVSmallest);
        if (options.sizePx.Dim() == 2) {
            found.get(theta);
            return FieldOfMaps(*theta, nullptr);
        }
        return maps_of(found);
    }
    CLineVotingOrientations found;
    SLineVotingOptions how;
    how.spacing = options.spacing;
    if (estimator == EEstimator::lineVotingNotAlong) {
        how.along = 0.0;
    }
    found.compute(image, options.fiberRadius, nullptr, how);
    return maps_of(found);
}

SPixelBox evaluated_area(const phantom::SSeparateOptions& options) {
    SPixelBox box{};
    for (int axis = 0; axis < 3; ++axis) {
        const auto i = static_cast<std::size_t>(axis);
        const bool isThere = axis < options.sizePx.Dim();
        box.first[i] = isThere ? std::llround(BORDER_RADII * options.fiberRadius / options.spacing[i]) : 0;
        box.end[i] = isThere ? options.sizePx[axis] - box.first[i] : 1;
    }
    return box;
}

SAxisField inside(const SAxisField& field, const SPixelBox& box) {
    SAxisField part = field;
    const long long depth = field.sizePx.Dim() == 3 ? field.sizePx[2] : 1;
    std::size_t index = 0;
    for (long long z = 0; z < depth; ++z) {
        for (long long y = 0; y < field.sizePx[1]; ++y) {
            for (long long x = 0; x < field.sizePx[0]; ++x, ++index) {
                const bool isInside = x >= box.first[0] && x < box.end[0] && y >= box.first[1] &&
                                      y < box.end[1] && z >= box.first[2] && z < box.end[2];
                part.foreground[index] = isInside ? part.foreground[index] : 0;
            }
        }
    }
    return part;
}

struct SErrors {
    double mean = 0.0;
    double median = 0.0;
    double ninetieth = 0.0;
    double tensor = 0.0; // largest component

    void Add(const SErrors& other, double share) {
        mean += share * other.mean;
        median += share * other.median;
        ninetieth += share * other.ninetieth;
        tensor += share * other.tensor;
    }
};

SErrors errors_of(const SAxisField& found, const SAxisField& truth, const SPixelBox& box) {
    const std::vector<double> degrees = DifferencesDeg(inside(truth, box), found);
    if (degrees.empty()) { // a threshold above all values
        const double none = std::numeric_limits<double>::quiet_NaN();
        return {none, none, none, none};
    }
    return {Mean(degrees), Quantile(degrees, 0.5), Quantile(degrees, 0.9),
            LargestDifference(MeanTensor(found, box), MeanTensor(truth, box))};
}

/// Mean / median / 90th percentile, largest error of a tensor component.
std::string text_of(const SErrors& errors) {
    if (std::isnan(errors.mean)) {
        return "no foreground | ";
    }
    std::array<char, 80> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%.2f° / %.2f° / %.1f° | %.4f", errors.mean,
                                    errors.median, errors.ninetieth, errors.tensor));
    return text.data();
}

/// @param only part of the names of the rows to print.
void print_conditions(const std::string& only) {
    std::printf("| fibers | line voting | a2 | structure tensor | a2 | Hessian | a2 "
                "|\n|---|---|---|---|---|---|---|\n");
    std::array<SErrors, ESTIMATORS.size()> overall{};
    std::size_t rows = 0;
    for (const SCondition& condition : conditions()) {
        if (condition.name.find(only) == std::string::npos) {
            continue;
        }
        const bool isForAll = is_cubic(condition.options);
        std::array<SErrors, ESTIMATORS.size()> errors{};
        SErrors notAlong;
        const bool isWavy = condition.options.waveAmplitude > 0.0;
        for (int seed = 1; seed <= SEEDS; ++seed) {
            phantom::SSeparateOptions options = condition.options;
            options.seed = static_cast<std::uint64_t>(seed);
            const phantom::SPhantom made = phantom::MakeSeparatePhantom(options);
            const SAxisField truth = FieldOfMaps(*made.theta, made.phi.get());
            const SPixelBox box = evaluated_area(options);
            const auto measured = [&](EEstimator estimator) {
                return errors_of(find_axes(estimator, *made.image, options), truth, box);
            };
            for (std::size_t i = 0; i < ESTIMATORS.size(); ++i) {
                if (isForAll || ESTIMATORS[i] != EEstimator::hessian) {
                    errors[i].Add(measured(ESTIMATORS[i]), 1.0 / SEEDS);
                }
            }
            if (isWavy) {
                notAlong.Add(measured(EEstimator::lineVotingNotAlong), 1.0 / SEEDS);
            }
        }
        std::printf("| %s |", condition.name.c_str());
        for (std::size_t i = 0; i < ESTIMATORS.size(); ++i) {
            const bool isMeasured = isForAll || ESTIMATORS[i] != EEstimator::hessian;
            std::printf(" %s |", isMeasured ? text_of(errors[i]).c_str() : "refuses | ");
        }
        std::printf("\n");
        if (isWavy) {
            std::printf("| the same, votes not averaged along the axis | %s | | | | |\n",
                        text_of(notAlong).c_str());
        }
        static_cast<void>(std::fflush(stdout));
        const auto isNothing = [](const SErrors& one) { return std::isnan(one.mean); };
        if (isForAll && std::none_of(errors.begin(), errors.end(), isNothing)) {
            ++rows;
            for (std::size_t i = 0; i < ESTIMATORS.size(); ++i) {
                overall[i].Add(errors[i], 1.0);
            }
        }
    }
    if (rows == 0) {
        return;
    }
    std::printf("| **mean of the rows with all three** |");
    for (const SErrors& sum : overall) {
        SErrors mean;
        mean.Add(sum, 1.0 / static_cast<double>(rows));
        std::printf(" %s |", text_of(mean).c_str());
    }
    std::printf("\n");
}

/// By repeated multiplication: of parallel fibers there is no second axis of note.
Axis main_axis(const Tensor& tensor) {
    Axis axis{1.0, 1.0, 1.0};
    constexpr int TIMES = 50;
    for (int time = 0; time < TIMES; ++time) {
        Axis next{};
        for (std::size_t i = 0; i < 3; ++i) {
            next[i] = tensor[i][0] * axis[0] + tensor[i][1] * axis[1] + tensor[i][2] * axis[2];
        }
        const double length = std::hypot(next[0], next[1], next[2]);
        std::transform(next.begin(), next.end(), axis.begin(), [length](double x) { return x / length; });
    }
    return axis;
}

/// Parallel fibers of one direction: what is left of the error when all voxels are averaged is the grid's doing.
void print_grid_bias() {
    std::printf("\n| direction of the lattice | line voting | structure tensor |\n|---|---|---|\n");
    constexpr std::array<Axis, 5> DIRECTIONS{
        {{0.3, 0.2, 1.0}, {0.1, 0.05, 1.0}, {0.5, 0.3, 1.0}, {1.0, 0.4, 0.2}, {0.7, 0.9, 1.0}}};
    for (const Axis& direction : DIRECTIONS) {
        phantom::SPhantomOptions options;
        options.fiberRadiusPx = 3.0;
        options.places = phantom::SParallelGrid{9.7};
        options.directions = phantom::SOneAxis{direction};
        const phantom::SPhantom lattice = phantom::MakePhantom(options);
        phantom::SSeparateOptions lengths;
        lengths.fiberRadius = options.fiberRadiusPx;
        std::printf("| %g, %g, %g |", direction[0], direction[1], direction[2]);
        for (const EEstimator estimator : {EEstimator::lineVoting, EEstimator::structureTensor}) {
            const SAxisField found = find_axes(estimator, *lattice.image, lengths);
            const Tensor tensor = MeanTensor(found, evaluated_area(lengths));
            std::printf(" %.3f° |", DifferenceDeg(main_axis(tensor), direction));
        }
        std::printf("\n");
        static_cast<void>(std::fflush(stdout));
    }
}

} // namespace

/// Rows whose name holds the text given; without one all.
int main(int argc, char** argv) {
    try {
        std::printf("Mean / median / 90th percentile of the axis error, and the largest error of a tensor "
                    "component:\n\n");
        const std::string only = argc > 1 ? argv[1] : "";
        print_conditions(only);
        if (only.empty()) {
            print_grid_bias();
        }
    } catch (const std::exception& error) {
        std::cerr << "estimator_table: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
