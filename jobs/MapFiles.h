// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/SliceSink.h"
#include "volume/SliceFile.h"
#include "zeklib2image/Size.h"

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::jobs {

enum class EAngleUnit { radians, degrees };

/// Which maps of axes are wanted, and in which form.
struct SMapChoice {
    bool angles = true;   ///< theta and, in 3D, phi
    bool vectors = false; ///< unit vectors
    bool colors = false;  ///< of directions
    volume::ESliceFormat format = volume::ESliceFormat::mha;
    EAngleUnit angleUnit = EAngleUnit::radians;
    long long stride = 1; ///< along every axis, of the pixels that are written: 0, stride, 2 stride ...
};

/// All that the files of a run's maps depend on.
struct SMapSetup {
    CSize imageSize;
    std::optional<std::array<double, 3>> spacing{}; ///< of the image's pixels; none: not stated
    std::string lengthUnit{};
    SMapChoice choice{};
    std::string programVersion{};
};

/// Size and spacing of the maps: those of the image at a stride of 1.
CSize MapSize(const SMapSetup& setup);
std::optional<std::array<double, 3>> MapSpacing(const SMapSetup& setup);

/// What maps hold where there is no fiber: of theta in 3D, and of phi and of theta in 2D.
struct SMapMarkers {
    float colatitude;
    float angle;
};
SMapMarkers MapMarkers(EAngleUnit unit) noexcept;

/// The maps as files, written slab by slab in memory that does not depend on the image; several processes may write
/// into the same files.
class CMapFiles : public stream::ISliceSink {
  public:
    /// Empty where a map is not wanted.
    struct SPaths {
        std::string theta;
        std::string phi;
        std::string confidence;
        std::string axes;
        std::string colors;
    };

    /// Makes the files in their full size. One process does, before the others open them.
    static void Create(const SPaths& paths, const SMapSetup& setup);

    CMapFiles(const SPaths& paths, const SMapSetup& setup);
    ~CMapFiles() override;

    bool WantsConfidence() const override;
    void TakeAngles(const stream::SFoundSlices& found) override;
    void Close();

  private:
    class CMap;

    SMapSetup m_setup;
    std::vector<std::unique_ptr<CMap>> m_maps;
};

} // namespace TEVRA::jobs
