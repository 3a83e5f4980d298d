// SPDX-License-Identifier: BSD-3-Clause
// Prints the tables of docs/accuracy.md: how far the analysis lies from the truth on random fibers.
#include "phantom/Phantom.h"
#include "src/accuracy/Analysis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iostream>
#include <vector>

namespace {

using namespace TEVRA;
using namespace TEVRA::test;

constexpr double FIBER_RADIUS_PX = 4.0;
constexpr int SEEDS = 3; // phantoms per row; their numbers are averaged

struct SRow {
    double volumeFraction = 0.0;
    double foregroundShare = 0.0;
    double medianErrorDeg = 0.0;
    double medianCoreErrorDeg = 0.0; ///< within half a radius of a fiber's axis
    double medianFlankErrorDeg = 0.0;
    double meanErrorDeg = 0.0;
    Axis trueDiagonal{};
    Axis estimatedDiagonal{};
};

/// What the fibers of a phantom are drawn from.
struct SMaterial {
    double volumeFraction = 0.15;
    double beta = 0.5;
    double noiseSd = 0.0;
};

phantom::SPhantom make_fibers(const SMaterial& material, int seed) {
    phantom::SPhantomOptions options;
    options.sizePx = CSize(128, 128, 128);
    options.fiberRadiusPx = FIBER_RADIUS_PX;
    options.places = phantom::SRandomPlaces{material.volumeFraction};
    options.directions = phantom::SBetaFamily{material.beta, {0.0, 0.0, 1.0}};
    options.noiseSd = material.noiseSd;
    options.seed = static_cast<std::uint64_t>(seed);
    return phantom::MakePhantom(options);
}

double squared_distance(const std::array<double, 3>& pixel, const phantom::SPhantomFiber& fiber) {
    double squared = 0.0;
    double along = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        const double offset = pixel[i] - fiber.point[i];
        squared += offset * offset;
        along += offset * fiber.axis[i];
    }
    return squared - along * along;
}

/// The part of the field within half a radius of a fiber's axis.
SAxisField core_of(const SAxisField& field, const phantom::SPhantom& phantom) {
    SAxisField core = field;
    std::size_t index = 0;
    for (long long z = 0; z < field.sizePx[2]; ++z) {
        for (long long y = 0; y < field.sizePx[1]; ++y) {
            for (long long x = 0; x < field.sizePx[0]; ++x, ++index) {
                if (field.foreground[index] == 0) {
                    continue;
                }
                const std::array<double, 3> pixel{static_cast<double>(x), static_cast<double>(y),
                                                  static_cast<double>(z)};
                const auto inCore = [&pixel](const phantom::SPhantomFiber& fiber) {
                    return squared_distance(pixel, fiber) <= 0.25 * FIBER_RADIUS_PX * FIBER_RADIUS_PX;
                };
                core.foreground[index] = std::ranges::any_of(phantom.fibers, inCore) ? 1 : 0;
            }
        }
    }
    return core;
}

SAxisField without(const SAxisField& field, const SAxisField& part) {
    SAxisField rest = field;
    for (std::size_t i = 0; i < rest.foreground.size(); ++i) {
        rest.foreground[i] = field.foreground[i] != 0 && part.foreground[i] == 0 ? 1 : 0;
    }
    return rest;
}

void add_measurement(SRow& row, const phantom::SPhantom& phantom, double radiusGivenPx) {
    const SAxisField truth = FieldOfMaps(*phantom.theta, phantom.phi.get());
    const SAnalysis analysis = Analyse(*phantom.image, {.fiberRadiusPx = radiusGivenPx});
    const std::vector<double> errors = DifferencesDeg(truth, analysis.axes);
    const SAxisField core = core_of(truth, phantom);
    const Tensor trueTensor = MeanTensor(truth, WithoutBorder(truth.sizePx, std::llround(radiusGivenPx)));
    const auto pixels = static_cast<double>(truth.sizePx.Elements());
    row.volumeFraction += phantom.volumeFraction / SEEDS;
    row.foregroundShare += static_cast<double>(analysis.axes.Count()) / pixels / SEEDS;
    row.medianErrorDeg += Quantile(errors, 0.5) / SEEDS;
    row.medianCoreErrorDeg += Quantile(DifferencesDeg(core, analysis.axes), 0.5) / SEEDS;
    row.medianFlankErrorDeg += Quantile(DifferencesDeg(without(truth, core), analysis.axes), 0.5) / SEEDS;
    row.meanErrorDeg += Mean(errors) / SEEDS;
    for (std::size_t i = 0; i < 3; ++i) {
        row.trueDiagonal[i] += trueTensor[i][i] / SEEDS;
        row.estimatedDiagonal[i] += analysis.fieldTensor[i][i] / SEEDS;
    }
}

SRow measure(const SMaterial& material, double radiusGivenPx) {
    SRow row;
    for (int seed = 1; seed <= SEEDS; ++seed) {
        add_measurement(row, make_fibers(material, seed), radiusGivenPx);
    }
    return row;
}

void print_materials(double radiusGivenPx) {
    std::printf("\nRadius given: %g px (fibers: %g px), no noise\n\n", radiusGivenPx, FIBER_RADIUS_PX);
    std::printf(
        "| volume fraction | beta | foreground | median error | in the core | on the flank | mean error | "
        "a_xx true | found | a_yy true | found | a_zz true | found |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    for (const double volumeFraction : {0.05, 0.15, 0.25}) {
        for (const double beta : {0.1, 0.5, 1.0, 3.0}) {
            const SRow row = measure({volumeFraction, beta, 0.0}, radiusGivenPx);
            std::printf("| %.2f | %g | %.2f | %.1f° | %.1f° | %.1f° | %.1f° |", row.volumeFraction, beta,
                        row.foregroundShare, row.medianErrorDeg, row.medianCoreErrorDeg,
                        row.medianFlankErrorDeg, row.meanErrorDeg);
            for (std::size_t i = 0; i < 3; ++i) {
                std::printf(" %.2f | **%.2f** |", row.trueDiagonal[i], row.estimatedDiagonal[i]);
            }
            std::printf("\n");
            static_cast<void>(std::fflush(stdout));
        }
    }
}

void print_noise() {
    std::printf("\nVolume fraction 0.15, beta 0.5, contrast 150 grey values: median error\n\n");
    std::printf("| noise (grey values) | radius given 4 px | 3 px | 2 px | 1 px |\n|---|---|---|---|---|\n");
    for (const double noiseSd : {0.0, 15.0, 30.0, 60.0}) {
        std::printf("| %g |", noiseSd);
        for (const double radiusGivenPx : {4.0, 3.0, 2.0, 1.0}) {
            std::printf(" %.1f° |", measure({0.15, 0.5, noiseSd}, radiusGivenPx).medianErrorDeg);
        }
        std::printf("\n");
        static_cast<void>(std::fflush(stdout));
    }
}

} // namespace

int main() {
    try {
        for (const double radiusGivenPx : {FIBER_RADIUS_PX, 0.5 * FIBER_RADIUS_PX}) {
            print_materials(radiusGivenPx);
        }
        print_noise();
    } catch (const std::exception& error) {
        std::cerr << "accuracy_table: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
