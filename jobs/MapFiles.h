// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/Outputs.h"
#include "stream/SliceSink.h"
#include "volume/SliceFile.h"
#include "zeklib2image/Size.h"

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA::jobs {

/// The maps that there are.
enum class EMap { theta, phi, confidence, axes, colors };

/// Their files, by the names that report::Outputs has.
inline constexpr std::array<std::pair<EMap, const char*>, 5> MAP_FILES{
    {{EMap::theta, report::THETA_FILE},
     {EMap::phi, report::PHI_FILE},
     {EMap::confidence, report::CONFIDENCE_FILE},
     {EMap::axes, report::AXES_FILE},
     {EMap::colors, report::COLORS_FILE}}};

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
    /// Empty or missing where a map is not wanted.
    using Paths = std::map<EMap, std::string>;

    /// Makes the files in their full size. One process does, before the others open them.
    static void Create(const Paths& paths, const SMapSetup& setup);

    CMapFiles(const Paths& paths, const SMapSetup& setup);
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
