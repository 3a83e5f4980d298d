// SPDX-License-Identifier: BSD-3-Clause
// Prints the tables of docs/accuracy.md that compare estimators: errors by condition on fibers that do not overlap, and
// the bias of the pixel grid on tilted lattices.
#include "FilterOrientations/HessianOrientations.h"
#include "FilterOrientations/LineVotingOrientations.h"
#include "FilterOrientations/StructureTensorOrientations.h"
#include "phantom/RandomNumbers.h"
#include "phantom/SeparateFibers.h"
#include "src/accuracy/AxisField.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iostream>
#include <limits>
#include <memory>
#include <numbers>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace TEVRA;
using namespace TEVRA::test;

constexpr int SEEDS = 2; // phantoms per row
constexpr double BORDER_RADII = 2.0;
constexpr double INNER_BORDER_RADII = 7.0; // farther from the edges, no neighbours are missing

// Of all rows unless they say otherwise: an image as scanners and microscopes give it. Fibers are 150 grey values
// brighter than the background.
constexpr double USUAL_BLUR_PX = 1.0;
constexpr double USUAL_NOISE_SD = 30.0;  // signal to noise 5
constexpr double STRONG_NOISE_SD = 50.0; // signal to noise 3

struct SCondition {
    std::string name;
    phantom::SSeparateOptions options;
    long long sliceThicknessPx = 1; // every slice is the mean over it
};

phantom::SSeparateOptions imaged(double radius, const phantom::SeparatePlaces& places,
                                 const phantom::DirectionLaw& law) {
    phantom::SSeparateOptions options;
    options.fiberRadius = radius;
    options.places = places;
    options.directions = law;
    options.blurSigma = USUAL_BLUR_PX;
    options.noiseSd = USUAL_NOISE_SD;
    return options;
}

phantom::SSeparateOptions scattered(double radius, double volumeFraction, const phantom::DirectionLaw& law,
                                    double length = 0.0) {
    return imaged(radius, phantom::SScatteredFibers{volumeFraction, length}, law);
}

/// The first direction is oblique to the pixels.
phantom::SSeparateOptions layers(double packing, long long rows, bool isCrossed) {
    constexpr double FIRST_RAD = 0.35;
    std::vector<double> angles{FIRST_RAD};
    if (isCrossed) {
        angles.push_back(FIRST_RAD + std::numbers::pi / 2);
    }
    return imaged(3, phantom::SFiberLayers{packing, angles, rows}, phantom::SBetaFamily{});
}

std::vector<SCondition> conditions() {
    using Options = phantom::SSeparateOptions;
    const phantom::DirectionLaw aligned = phantom::SBetaFamily{0.1, {0.3, 0.2, 1.0}};
    const phantom::DirectionLaw parallel = phantom::SOneAxis{{0.3, 0.2, 1.0}};
    const phantom::DirectionLaw isotropic = phantom::SBetaFamily{1.0};
    const phantom::DirectionLaw planar = phantom::SPlanar{};
    std::vector<SCondition> list;
    const auto add = [&list](const std::string& name, Options options) {
        list.push_back({name, std::move(options), 1});
    };
    const auto changed = [](Options options, const auto& change) {
        change(options);
        return options;
    };
    add("parallel, 25 %, r 3", scattered(3, 0.25, parallel));
    add("aligned (beta 0.1), 25 %, r 3", scattered(3, 0.25, aligned));
    add("planar, 25 %, r 3", scattered(3, 0.25, planar));
    add("isotropic, 5 %, r 3", scattered(3, 0.05, isotropic));
    add("isotropic, 15 %, r 3", scattered(3, 0.15, isotropic));
    add("isotropic, 25 %, r 3", scattered(3, 0.25, isotropic));
    add("aligned, 25 %, r 2", scattered(2, 0.25, aligned));
    add("isotropic, 15 %, r 2", scattered(2, 0.15, isotropic));
    add("isotropic, 25 %, r 2", scattered(2, 0.25, isotropic));
    add("aligned, 25 %, r 5", scattered(5, 0.25, aligned));
    add("isotropic, 15 %, r 5", scattered(5, 0.15, isotropic));
    add("isotropic, 25 %, r 5", scattered(5, 0.25, isotropic));
    add("short fibers (length 12 r), isotropic, 15 %, r 3", scattered(3, 0.15, isotropic, 36));
    add("short fibers (length 12 r), isotropic, 25 %, r 3", scattered(3, 0.25, isotropic, 36));
    add("fibers in layers at 90 degrees, 70 % of the volume, r 3", layers(0.7, 4, true));
    add("two layers that touch, fibers at 90 degrees, 50 % of the volume, r 3", layers(0.5, 10, true));
    add("two layers that touch, fibers at 90 degrees, 70 % of the volume, r 3", layers(0.7, 10, true));
    add("two layers of touching fibers at 90 degrees, r 3", layers(0.9, 10, true));
    add("parallel touching fibers, 90 % of the volume, r 3", layers(0.9, 4, false));
    add("bundles, isotropic, 10 %, r 3", imaged(3, phantom::SFiberBundles{0.1, 12.0}, isotropic));
    add("bundles, parallel, 20 %, r 3", imaged(3, phantom::SFiberBundles{0.2, 12.0}, parallel));
    add("hollow (half the radius), isotropic, 15 %, r 4",
        changed(scattered(4, 0.15, isotropic), [](Options& o) { o.holeRadius = 2; }));
    const auto imaged_otherwise = [&](Options options, double blurPx, double noiseSd) {
        return changed(std::move(options), [&](Options& o) {
            o.blurSigma = blurPx;
            o.noiseSd = noiseSd;
        });
    };
    add("no blur, no noise, aligned, 25 %, r 3", imaged_otherwise(scattered(3, 0.25, aligned), 0.0, 0.0));
    add("no blur, no noise, isotropic, 15 %, r 3", imaged_otherwise(scattered(3, 0.15, isotropic), 0.0, 0.0));
    add("no blur, no noise, isotropic, 25 %, r 3", imaged_otherwise(scattered(3, 0.25, isotropic), 0.0, 0.0));
    add("blur 2 px, isotropic, 15 %, r 3",
        imaged_otherwise(scattered(3, 0.15, isotropic), 2.0, USUAL_NOISE_SD));
    add("blur 2 px, isotropic, 25 %, r 3",
        imaged_otherwise(scattered(3, 0.25, isotropic), 2.0, USUAL_NOISE_SD));
    const auto in_strong_noise = [&](Options options) {
        return imaged_otherwise(std::move(options), USUAL_BLUR_PX, STRONG_NOISE_SD);
    };
    add("signal to noise 3, aligned, 25 %, r 3", in_strong_noise(scattered(3, 0.25, aligned)));
    add("signal to noise 3, isotropic, 15 %, r 3", in_strong_noise(scattered(3, 0.15, isotropic)));
    add("signal to noise 3, isotropic, 25 %, r 2", in_strong_noise(scattered(2, 0.25, isotropic)));
    add("signal to noise 3, two layers of touching fibers, r 3", in_strong_noise(layers(0.9, 10, true)));
    add("signal to noise 10, two layers that touch, 70 % of the volume, r 3",
        imaged_otherwise(layers(0.7, 10, true), 1.0, 15.0));
    for (const long long thickness : {2, 3, 4}) {
        list.push_back({"slices " + std::to_string(thickness) + " px thick, isotropic, 15 %, r 3",
                        scattered(3, 0.15, isotropic), thickness});
    }
    const auto wavy = [&](double volumeFraction, double waveLength) {
        return changed(scattered(3, volumeFraction, aligned), [&](Options& o) {
            o.waveAmplitude = 4;
            o.waveLength = waveLength;
        });
    };
    add("wavy (radius of curvature 30 r), 15 %, r 3", wavy(0.15, 120));
    add("wavy (radius of curvature 3 r), 10 %, r 3", wavy(0.10, 38));
    const auto flat = [&](double radius, double volumeFraction) {
        return changed(scattered(radius, volumeFraction, planar),
                       [](Options& o) { o.sizePx = CSize(512, 512); });
    };
    add("2D, all directions, 15 %, r 3", flat(3, 0.15));
    add("2D, all directions, 25 %, r 3", flat(3, 0.25));
    add("2D, all directions, 25 %, r 2", flat(2, 0.25));
    add("2D, signal to noise 3, 25 %, r 3", in_strong_noise(flat(3, 0.25)));
    return list;
}

enum class EEstimator { lineVoting, lineVotingNotAlong, structureTensor, hessian };
constexpr std::array ESTIMATORS{EEstimator::lineVoting, EEstimator::structureTensor, EEstimator::hessian};

/// A phantom as it is measured.
struct SImaged {
    phantom::SSeparateOptions options;
    std::unique_ptr<CImage> image;
    SAxisField truth;
};

/// Slices as microscopes and serial sections give them. @param fine with cubes for pixels and without noise.
SImaged in_thick_slices(const phantom::SPhantom& fine, const phantom::SSeparateOptions& options,
                        long long thickness) {
    const SAxisField all = FieldOfMaps(*fine.theta, fine.phi.get());
    SImaged thick{options, nullptr, {}};
    const CSize size(options.sizePx[0], options.sizePx[1], options.sizePx[2] / thickness);
    thick.options.sizePx = size;
    thick.options.spacing[2] *= static_cast<double>(thickness);
    thick.image = std::make_unique<CImage>(IMAGE_GREY_8, size, CSize(0, 0, 0));
    thick.truth = {size, std::vector<unsigned char>(size.Elements()), std::vector<Axis>(size.Elements())};
    phantom::CRandomNumbers random(options.seed);
    const auto slice = static_cast<std::size_t>(size[0] * size[1]);
    const auto deep = static_cast<std::size_t>(thickness);
    const auto* const from = std::as_const(*fine.image).Pixels<unsigned char>();
    auto* const to = thick.image->Pixels<unsigned char>();
    for (std::size_t at = 0; at < thick.truth.axes.size(); ++at) {
        const std::size_t first = at / slice * deep * slice + at % slice;
        double sum = 0.0;
        for (std::size_t z = 0; z < deep; ++z) {
            sum += static_cast<double>(from[first + z * slice]);
        }
        const double grey = sum / static_cast<double>(deep) + options.noiseSd * random.Normal();
        to[at] = static_cast<unsigned char>(std::floor(std::clamp(grey, 0.0, 255.0) + 0.5));
        const std::size_t middle = first + (deep - 1) / 2 * slice;
        thick.truth.foreground[at] = all.foreground[middle];
        thick.truth.axes[at] = all.axes[middle];
    }
    return thick;
}

SImaged image_of(const SCondition& condition, int seed) {
    phantom::SSeparateOptions options = condition.options;
    options.seed = static_cast<std::uint64_t>(seed);
    if (condition.sliceThicknessPx > 1) {
        phantom::SSeparateOptions fine = options;
        fine.noiseSd = 0.0;
        return in_thick_slices(phantom::MakeSeparatePhantom(fine), options, condition.sliceThicknessPx);
    }
    phantom::SPhantom made = phantom::MakeSeparatePhantom(options);
    SAxisField truth = FieldOfMaps(*made.theta, made.phi.get());
    return {options, std::move(made.image), std::move(truth)};
}

SAxisField find_axes(EEstimator estimator, CImage& image, const phantom::SSeparateOptions& options,
                     const std::optional<double>& gradientSigma = std::nullopt) {
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
        how.gradientSigma = gradientSigma;
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

SPixelBox evaluated_area(const phantom::SSeparateOptions& options, double borderRadii = BORDER_RADII) {
    SPixelBox box{};
    for (int axis = 0; axis < 3; ++axis) {
        const auto i = static_cast<std::size_t>(axis);
        const bool isThere = axis < options.sizePx.Dim();
        box.first[i] = isThere ? std::llround(borderRadii * options.fiberRadius / options.spacing[i]) : 0;
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
        const bool isForAll = condition.sliceThicknessPx == 1; // the Hessian takes cubes only
        std::array<SErrors, ESTIMATORS.size()> errors{};
        SErrors notAlong;
        const bool isWavy = condition.options.waveAmplitude > 0.0;
        for (int seed = 1; seed <= SEEDS; ++seed) {
            const SImaged made = image_of(condition, seed);
            const SPixelBox box = evaluated_area(made.options);
            const auto measured = [&](EEstimator estimator) {
                return errors_of(find_axes(estimator, *made.image, made.options), made.truth, box);
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

/// How far the tensor leans along z in thick slices, by the standard deviation of the gradient, and by the thickness in
/// fiber radii for line voting.
void print_thick_slices() {
    constexpr std::array SIGMAS_IN_SLICES{0.5, 0.6, 0.7, 0.8, 1.0};
    std::printf("\n| slices | in fiber radii | line voting |");
    for (const double sigma : SIGMAS_IN_SLICES) {
        std::printf(" structure tensor, gradients with %g slice%s |", sigma, sigma == 1.0 ? "" : "s");
    }
    std::printf("\n|---|---|---|---|---|---|---|---|\n");
    constexpr double RADIUS = 3.0;
    for (const long long thickness : {2, 3, 4, 5}) {
        const SCondition condition{"", scattered(RADIUS, 0.15, phantom::SBetaFamily{1.0}), thickness};
        double ofVoting = 0.0;
        std::array<double, SIGMAS_IN_SLICES.size()> ofGradients{};
        for (int seed = 1; seed <= SEEDS; ++seed) {
            const SImaged made = image_of(condition, seed);
            const SPixelBox box = evaluated_area(made.options);
            const double truth = MeanTensor(made.truth, box)[2][2];
            const auto leaning = [&](EEstimator estimator, const std::optional<double>& sigma) {
                return (MeanTensor(find_axes(estimator, *made.image, made.options, sigma), box)[2][2] -
                        truth) /
                       SEEDS;
            };
            ofVoting += leaning(EEstimator::lineVoting, std::nullopt);
            for (std::size_t i = 0; i < SIGMAS_IN_SLICES.size(); ++i) {
                ofGradients[i] += leaning(EEstimator::structureTensor,
                                          SIGMAS_IN_SLICES[i] * static_cast<double>(thickness));
            }
        }
        std::printf("| %lld px | %.2f | %+.4f |", thickness, static_cast<double>(thickness) / RADIUS,
                    ofVoting);
        for (const double lean : ofGradients) {
            std::printf(" %+.4f |", lean);
        }
        std::printf("\n");
        static_cast<void>(std::fflush(stdout));
    }
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
            const auto bias_deg = [&](double borderRadii) {
                return DifferenceDeg(MainAxis(MeanTensor(found, evaluated_area(lengths, borderRadii))),
                                     direction);
            };
            std::printf(" %.3f° (%.3f°) |", bias_deg(INNER_BORDER_RADII), bias_deg(BORDER_RADII));
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
            print_thick_slices();
            print_grid_bias();
        }
    } catch (const std::exception& error) {
        std::cerr << "estimator_table: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
