// SPDX-License-Identifier: BSD-3-Clause
#include "src/accuracy/Analysis.h"

#include "FilterOrientations/SubfieldFiberDirections.h"
#include "Numeric/Matrix.h"
#include "phantom/Phantom.h"
#include "zeklib2core/Value.h"
#include "zeklib2image/HeaderTools.h"
#include "zeklib2image/ImageExtraction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

using namespace TEVRA::phantom;

constexpr double RADIUS_PX = 3.0;

/// A field of fibers whose three extents differ, with greys in 20 ... 127 so that they can be doubled.
SPhantom fibers(const CSize& sizePx) {
    SPhantomOptions options;
    options.sizePx = sizePx;
    options.fiberRadiusPx = RADIUS_PX;
    options.backgroundGrey = 40.0;
    options.fiberGrey = 100.0;
    options.noiseSd = 4.0;
    options.seed = 5;
    if (sizePx.Dim() == 2) {
        options.places = SRandomPlaces{0.2};
        options.directions = SPlanar{};
    } else {
        options.places = SRandomPlaces{0.12};
        options.directions = SBetaFamily{0.7, {1.0, 2.0, 2.0}}; // no symmetry with the axes of the grid
    }
    return MakePhantom(options);
}

SAnalysis analyse(IImage& image, IImage* mask = nullptr) {
    return Analyse(image, {.fiberRadiusPx = RADIUS_PX, .otsuFactor = 1.25, .mask = mask});
}

/// The image with every grey value replaced by change(grey).
template <typename ChangeT>
std::unique_ptr<CImage> with_greys(const CImage& image, ChangeT change) {
    std::unique_ptr<CImage> changed(CImageExtraction::Clone(image));
    auto* pixels = changed->Pixels<unsigned char>();
    std::transform(pixels, pixels + changed->Size().Elements(), pixels,
                   [&change](unsigned char grey) { return static_cast<unsigned char>(change(grey)); });
    return changed;
}

std::unique_ptr<CImage> full_mask(const CSize& sizePx) {
    auto mask = std::make_unique<CImage>(IMAGE_BINARY_FG, sizePx, CSize(0, 0, 0));
    std::fill_n(mask->Pixels<unsigned char>(), sizePx.Elements(), static_cast<unsigned char>(1));
    return mask;
}

/// A symmetry of the grid: component i of the new position is component `from[i]` of the old one, counted
/// from the other end where `mirrored[i]`.
struct SGridSymmetry {
    std::array<std::size_t, 3> from{0, 1, 2};
    std::array<bool, 3> mirrored{false, false, false};

    std::string Name() const {
        std::ostringstream name;
        for (std::size_t i = 0; i < 3; ++i) {
            name << (mirrored[i] ? "-" : "+") << "xyz"[from[i]];
        }
        return name.str();
    }

    CSize Size(const CSize& old) const {
        CSize size = old;
        for (int i = 0; i < old.Dim(); ++i) {
            size.Set(i, old[static_cast<long long>(from[static_cast<std::size_t>(i)])]);
        }
        return size;
    }

    /// Index in the old image of the pixel at a position of the new one.
    std::size_t OldIndex(const CSize& old, const std::array<long long, 3>& position) const {
        std::array<long long, 3> oldPosition{};
        for (std::size_t i = 0; i < 3; ++i) {
            const long long extent = old[static_cast<long long>(from[i])];
            oldPosition[from[i]] = mirrored[i] ? extent - 1 - position[i] : position[i];
        }
        return static_cast<std::size_t>((oldPosition[2] * old[1] + oldPosition[1]) * old[0] + oldPosition[0]);
    }

    /// For every pixel of the new image the index of its pixel in the old one.
    std::vector<std::size_t> OldIndices(const CSize& old) const {
        const CSize size = Size(old);
        std::vector<std::size_t> indices;
        indices.reserve(size.Elements());
        for (long long z = 0; z < size[2]; ++z) {
            for (long long y = 0; y < size[1]; ++y) {
                for (long long x = 0; x < size[0]; ++x) {
                    indices.push_back(OldIndex(old, {x, y, z}));
                }
            }
        }
        return indices;
    }

    std::unique_ptr<CImage> Apply(const CImage& image) const {
        auto moved = std::make_unique<CImage>(image.Type(), Size(image.Size()), CSize(0, 0, 0));
        const std::vector<std::size_t> indices = OldIndices(image.Size());
        std::transform(indices.begin(), indices.end(), moved->Pixels<unsigned char>(),
                       [&image](std::size_t index) { return image.Pixels<unsigned char>()[index]; });
        return moved;
    }

    SAxisField Apply(const SAxisField& field) const {
        SAxisField moved{Size(field.sizePx), {}, {}};
        for (const std::size_t index : OldIndices(field.sizePx)) {
            moved.foreground.push_back(field.foreground[index]);
            Axis axis{};
            for (std::size_t i = 0; i < 3; ++i) {
                axis[i] = field.axes[index][from[i]] * (mirrored[i] ? -1.0 : 1.0);
            }
            moved.axes.push_back(axis);
        }
        return moved;
    }

    Tensor Apply(const Tensor& tensor) const {
        Tensor moved{};
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                moved[i][j] = tensor[from[i]][from[j]] * (mirrored[i] == mirrored[j] ? 1.0 : -1.0);
            }
        }
        return moved;
    }
};

/// Two fields as equal as single-precision smoothing in another order leaves them: a few pixels change sides
/// of the threshold, and where two eigenvalues are nearly equal a pixel's axis may jump.
void expect_same_axes(const SAxisField& actual, const SAxisField& expected) {
    EXPECT_LT(ForegroundMismatch(actual, expected), 1e-4);
    const std::vector<double> differences = DifferencesDeg(actual, expected);
    EXPECT_LT(Quantile(differences, 0.5), 0.01);
    EXPECT_LT(Quantile(differences, 0.99), 0.5);
}

/// The analysis of the moved image is the moved analysis: axes at every pixel, and the tensor of the
/// evaluated area, which lies within the border, clear of the last planes that sums leave out.
void expect_symmetry(const SPhantom& phantom, const SGridSymmetry& symmetry) {
    SCOPED_TRACE(symmetry.Name());
    const SAnalysis original = analyse(*phantom.image);
    const std::unique_ptr<CImage> moved = symmetry.Apply(*phantom.image);
    const SAnalysis analysis = analyse(*moved);
    expect_same_axes(analysis.axes, symmetry.Apply(original.axes));
    EXPECT_LT(LargestDifference(analysis.fieldTensor, symmetry.Apply(original.fieldTensor)), 1e-4);
}

const SPhantom& volume_of_fibers() {
    static const SPhantom phantom = fibers(CSize(47, 60, 53));
    return phantom;
}

const SPhantom& plane_of_fibers() {
    static const SPhantom phantom = fibers(CSize(151, 120));
    return phantom;
}

TEST(Invariance, PermutingTheAxesOfAVolumePermutesItsAxesAndTensor) {
    std::array<std::size_t, 3> from{0, 1, 2};
    while (std::ranges::next_permutation(from).found) {
        expect_symmetry(volume_of_fibers(), {from, {}});
    }
}

TEST(Invariance, MirroringAVolumeMirrorsItsAxesAndTensor) {
    for (std::size_t i = 0; i < 3; ++i) {
        SGridSymmetry mirror;
        mirror.mirrored[i] = true;
        expect_symmetry(volume_of_fibers(), mirror);
    }
    expect_symmetry(volume_of_fibers(), {{0, 1, 2}, {true, true, true}});
}

TEST(Invariance, TurningAVolumeByARightAngleExchangesTensorComponents) {
    const Tensor t = analyse(*volume_of_fibers().image).fieldTensor;
    // Around z: x goes to y, y to -x.
    const SGridSymmetry turn{{1, 0, 2}, {true, false, false}};
    const std::unique_ptr<CImage> turned = turn.Apply(*volume_of_fibers().image);
    const Tensor u = analyse(*turned).fieldTensor;
    EXPECT_NEAR(u[0][0], t[1][1], 1e-4);
    EXPECT_NEAR(u[1][1], t[0][0], 1e-4);
    EXPECT_NEAR(u[2][2], t[2][2], 1e-4);
    EXPECT_NEAR(u[0][1], -t[0][1], 1e-4);
    EXPECT_NEAR(u[0][2], -t[1][2], 1e-4);
    EXPECT_NEAR(u[1][2], t[0][2], 1e-4);
    EXPECT_GT(std::abs(t[0][1]), 0.01) << "signs must show";

    expect_symmetry(volume_of_fibers(), {{0, 2, 1}, {false, true, false}}); // around x
    expect_symmetry(volume_of_fibers(), {{2, 1, 0}, {false, false, true}}); // around y
}

TEST(Invariance, PermutingAndMirroringAnImageDoesTheSameToItsAxesAndTensor) {
    for (const bool mirrorX : {false, true}) {
        for (const bool mirrorY : {false, true}) {
            expect_symmetry(plane_of_fibers(), {{0, 1, 2}, {mirrorX, mirrorY, false}});
            expect_symmetry(plane_of_fibers(), {{1, 0, 2}, {mirrorX, mirrorY, false}});
        }
    }
}

TEST(Invariance, SumsOverAMirroredImageLeaveOutTheFirstPlanesInsteadOfTheLast) {
    const SGridSymmetry mirror{{0, 1, 2}, {true, true, true}};
    const std::unique_ptr<CImage> mirrored = mirror.Apply(*volume_of_fibers().image);
    CHessianOrientations estimator;
    estimator.compute(*mirrored, RADIUS_PX, nullptr, CHessianOrientations::eEVSmallest);
    CMatrix<double> sums(3, 3);
    const long long count = estimator.OrientationTensor(sums, CBox(0, 0, 0, 47, 60, 53), true, nullptr);

    const SAxisField axes = analyse(*volume_of_fibers().image).axes;
    const SPixelBox withoutFirst{{1, 1, 1}, {47, 60, 53}};
    const Tensor expected = MeanTensor(axes, withoutFirst);
    double difference = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            difference = std::max(difference, std::abs(sums(i, j) - expected[i][j]));
        }
    }
    EXPECT_LT(difference, 1e-4);
    EXPECT_NEAR(static_cast<double>(count), static_cast<double>(axes.Count(withoutFirst)), 5.0);
    EXPECT_GT(axes.Count() - axes.Count(withoutFirst), 100U) << "planes left out must show";
}

/// Divides every length of a document that is given in the image's unit by two; returns how many there were.
int halve_lengths(CValueMap& map) {
    int count = 0;
    for (const CValue_Key& key : map.Keys()) {
        CValue& value = *map.Entry(key);
        if (value.GenericType() == CValue::eMap) {
            count += halve_lengths(value.Map());
        } else if (key == CValue_Key("Fiber radius") || key == CValue_Key("Subfield size") ||
                   key == CValue_Key("slice position")) {
            value.Double() /= 2.0;
            ++count;
        }
    }
    return count;
}

TEST(Invariance, DoublingSpacingAndRadiusChangesPhysicalLengthsOnly) {
    for (const SPhantom* phantom : {&volume_of_fibers(), &plane_of_fibers()}) {
        const std::unique_ptr<CImage> image(CImageExtraction::Clone(*phantom->image));
        const long long subfieldZ = image->Size().Dim() == 3 ? 20 : 0;
        std::vector<std::unique_ptr<CValueMap>> documents;
        for (const double spacing : {0.7, 1.4}) {
            CVexoHeaderTools::SetSpacing(*image, spacing, spacing, spacing);
            CSubfieldFiberDirections analysis(RADIUS_PX * spacing, 1.25, 20, 25, subfieldZ);
            std::string parameters;
            documents.emplace_back(analysis.Compute(*image, parameters, nullptr, true));
        }
        EXPECT_FALSE(documents[0]->EqualData(*documents[1]));
        // Radius and subfield size stand twice, once among the profile's parameters; at least one slice per
        // axis.
        EXPECT_GE(halve_lengths(*documents[1]), 4 + image->Size().Dim());
        EXPECT_TRUE(documents[0]->EqualData(*documents[1]));
    }
}

TEST(Invariance, FullMaskGivesTheSameAsAThresholdBelowAllGreyValues) {
    for (const SPhantom* phantom : {&volume_of_fibers(), &plane_of_fibers()}) {
        const std::unique_ptr<CImage> mask = full_mask(phantom->image->Size());
        const SAnalysis masked = analyse(*phantom->image, mask.get());
        const SAnalysis open = Analyse(*phantom->image, {.fiberRadiusPx = RADIUS_PX, .otsuFactor = -1.0});
        EXPECT_EQ(masked.axes.Count(), phantom->image->Size().Elements());
        EXPECT_EQ(masked.axes.foreground, open.axes.foreground);
        EXPECT_EQ(masked.axes.axes, open.axes.axes);
        EXPECT_EQ(masked.fieldTensor, open.fieldTensor);
    }
}

TEST(Invariance, MaskOfTheForegroundGivesTheSameAsTheThreshold) {
    const CImage& image = *volume_of_fibers().image;
    const SAnalysis automatic = analyse(*volume_of_fibers().image);
    CImage mask(IMAGE_BINARY_FG, image.Size(), CSize(0, 0, 0));
    std::ranges::copy(automatic.axes.foreground, mask.Pixels<unsigned char>());
    const SAnalysis masked = analyse(*volume_of_fibers().image, &mask);
    EXPECT_EQ(masked.axes.axes, automatic.axes.axes);
    EXPECT_EQ(masked.fieldTensor, automatic.fieldTensor);
}

TEST(Invariance, BrighterOrMoreContrastedImageHasTheSameAxes) {
    for (const SPhantom* phantom : {&volume_of_fibers(), &plane_of_fibers()}) {
        const SAnalysis original = analyse(*phantom->image);
        const auto brighter = with_greys(*phantom->image, [](int grey) { return grey + 97; });
        const auto doubled = with_greys(*phantom->image, [](int grey) { return 2 * grey; });
        for (CImage* changed : {brighter.get(), doubled.get()}) {
            const SAnalysis analysis = analyse(*changed);
            expect_same_axes(analysis.axes, original.axes);
            EXPECT_LT(LargestDifference(analysis.fieldTensor, original.fieldTensor), 1e-4);
        }
    }
}

TEST(Invariance, DarkFibersOnBrightGroundHaveTheSameAxesInAGivenMask) {
    const std::unique_ptr<CImage> mask = full_mask(volume_of_fibers().image->Size());
    const SAnalysis original = analyse(*volume_of_fibers().image, mask.get());
    const auto inverted = with_greys(*volume_of_fibers().image, [](int grey) { return 255 - grey; });
    const SAnalysis analysis = analyse(*inverted, mask.get());
    expect_same_axes(analysis.axes, original.axes);
}

} // namespace
} // namespace TEVRA::test
