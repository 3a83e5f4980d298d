// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "PlainLocalTensors.h"

#include "FilterOrientations/LocalTensorOrientations.h"
#include "zeklib2image/Image.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace TEVRA::test {

/// What an estimator of local tensors finds; `phi` is not used in 2D.
struct SMaps {
    std::vector<float> theta, phi, confidence;

    bool operator==(const SMaps&) const = default;
};

CSize SizeOf(const SPlainImage& image);

/// GREY_F.
std::unique_ptr<CImage> FloatImage(const SPlainImage& image);

SMaps MapsOf(const CLocalTensorOrientations& estimator);

inline constexpr double BACKGROUND = 20.0; ///< of `Fibers` ...
inline constexpr double CONTRAST = 180.0;  ///< ... that are brighter by this

/// A few bright fibers with soft edges at random places, and a little noise; floats. The same for the same seed.
SPlainImage Fibers(const std::array<long long, 3>& extents, double radius,
                   const std::array<double, 3>& spacing, unsigned seed);

/// Not 0 at pixels of fibers of `Fibers`.
std::vector<unsigned char> AtFibers(const SPlainImage& image);

/// Fails the test unless the maps are the plain axes, but for what single precision does to them. @param wanted not 0
/// where every axis counts; elsewhere their median does. Where hardly anything votes, sums
/// of votes in 16 bits have few digits left. By default everywhere.
void ExpectPlainAxes(const SMaps& maps, const std::vector<SPlainAxis>& truth, std::size_t dim,
                     const std::vector<unsigned char>& wanted = {});

} // namespace TEVRA::test
