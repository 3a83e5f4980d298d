// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/MapFiles.h"

#include "Axes/DirectionColor.h"
#include "Axes/Markers.h"
#include "Axes/OrientationSums.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <utility>

namespace TEVRA::jobs {

namespace {

using stream::SFoundSlices;

/// Rows are turned into bytes of a file as many at a time as fit into this.
constexpr std::size_t BUFFER_BYTES = std::size_t{1} << 20;

constexpr double DEGREES = 180.0 / std::numbers::pi;

/// "theta": that of its file.
std::string name_of(EMap map) {
    const auto* const file = std::find_if(MAP_FILES.begin(), MAP_FILES.end(),
                                          [map](const auto& mapAndFile) { return mapAndFile.first == map; });
    const std::string name = file->second;
    return name.substr(0, name.rfind('.'));
}

std::string angle_text(const SMapSetup& setup, EMap map) {
    const bool isDegrees = setup.choice.angleUnit == EAngleUnit::degrees;
    const std::string unit = isDegrees ? " in degrees" : " in radians";
    const std::string none = isDegrees ? "-181" : "-4.1415925";
    if (setup.imageSize.Dim() == 2) {
        return "angle of fiber axes from x towards y" + unit + "; " + none + " where there is no fiber";
    }
    return map == EMap::phi ? "angle of fiber axes in the x-y plane from x towards y" + unit + "; " + none +
                                  " where there is no fiber"
                            : "angle of fiber axes to z" + unit + "; -1 where there is no fiber";
}

std::string content_text(const SMapSetup& setup, EMap map) {
    std::string text;
    switch (map) {
    case EMap::theta:
    case EMap::phi:
        text = angle_text(setup, map);
        break;
    case EMap::confidence:
        text = "how sure fiber axes are, 0 to 1; 0 where there is no fiber";
        break;
    case EMap::axes:
        text = "fiber axes as unit vectors x, y, z of either sign; 0, 0, 0 where there is no fiber";
        break;
    case EMap::colors:
        text = std::string(setup.imageSize.Dim() == 3 ? "fiber axes as red |x|, green |y|, blue |z|"
                                                      : "fiber axes as colors around a circle") +
               ", the greyer the less sure; black where there is no fiber";
        break;
    }
    return text + "; tevra " + setup.programVersion;
}

volume::SSliceFileInfo info_of(const SMapSetup& setup, EMap map) {
    volume::SSliceFileInfo info{MapSize(setup)};
    if (map == EMap::axes) {
        info.channels = volume::EChannels::vector;
    } else if (map == EMap::colors) {
        info.channels = volume::EChannels::color;
        info.numberType = volume::EPixelType::u8;
    }
    info.spacing = MapSpacing(setup);
    info.spacingUnit = setup.lengthUnit;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        info.firstCentre[axis] = 0.5 * (setup.spacing ? (*setup.spacing)[axis] : 1.0);
    }
    info.name = name_of(map);
    info.content = content_text(setup, map);
    return info;
}

/// Where a map has no axis its first angle is below 0.
bool is_axis(float theta) noexcept {
    return theta >= 0.0F;
}

float in_degrees(float angleRad, float marker, float markerInDegrees) noexcept {
    return angleRad == marker ? markerInDegrees : static_cast<float>(static_cast<double>(angleRad) * DEGREES);
}

std::array<float, 3> axis_at(const SFoundSlices& found, std::size_t pixel) {
    if (!is_axis(found.theta[pixel])) {
        return {};
    }
    if (found.phi == nullptr) {
        const std::array<double, 2> axis = Impl::AxisOfAngle(found.theta[pixel]);
        return {static_cast<float>(axis[0]), static_cast<float>(axis[1]), 0.0F};
    }
    const std::array<double, 3> axis = Impl::AxisOfAngles(found.theta[pixel], found.phi[pixel]);
    return {static_cast<float>(axis[0]), static_cast<float>(axis[1]), static_cast<float>(axis[2])};
}

Impl::SColor color_at(const SFoundSlices& found, std::size_t pixel) {
    if (!is_axis(found.theta[pixel])) {
        return {};
    }
    const Impl::SColor color = found.phi == nullptr
                                   ? Impl::ColorOfAngle(static_cast<double>(found.theta[pixel]))
                                   : Impl::ColorOfAngles({found.theta[pixel], found.phi[pixel]});
    return found.confidence == nullptr
               ? color
               : Impl::Desaturated(color, static_cast<double>(found.confidence[pixel]));
}

} // namespace

CSize MapSize(const SMapSetup& setup) {
    const long long stride = setup.choice.stride;
    const auto cut = [stride](long long extent) { return (extent + stride - 1) / stride; };
    const CSize& size = setup.imageSize;
    return size.Dim() == 2 ? CSize(cut(size[0]), cut(size[1]))
                           : CSize(cut(size[0]), cut(size[1]), cut(size[2]));
}

std::optional<std::array<double, 3>> MapSpacing(const SMapSetup& setup) {
    std::optional<std::array<double, 3>> spacing = setup.spacing;
    for (int axis = 0; spacing && axis < setup.imageSize.Dim(); ++axis) {
        (*spacing)[static_cast<std::size_t>(axis)] *= static_cast<double>(setup.choice.stride);
    }
    return spacing;
}

SMapMarkers MapMarkers(EAngleUnit unit) noexcept {
    // One unit below the smallest angle, as in radians.
    return unit == EAngleUnit::degrees ? SMapMarkers{-1.0F, -181.0F}
                                       : SMapMarkers{Impl::NO_COLATITUDE, Impl::NO_ANGLE};
}

/// One file.
class CMapFiles::CMap {
  public:
    CMap(EMap map, const std::string& path, const SMapSetup& setup)
        : m_map(map), m_setup(setup), m_layout(LayoutOf(setup.choice.format, info_of(setup, map))),
          m_file(path, m_layout) {
        m_layout.head.clear(); // of a page per slice it may be large
    }

    static void Create(EMap map, const std::string& path, const SMapSetup& setup) {
        volume::CSliceFile::Create(path, LayoutOf(setup.choice.format, info_of(setup, map)));
    }

    void Write(const SFoundSlices& found) {
        const bool isAngle = m_map == EMap::theta || m_map == EMap::phi;
        const bool isAsFound =
            m_map == EMap::confidence || (isAngle && m_setup.choice.angleUnit == EAngleUnit::radians);
        if (isAsFound && m_setup.choice.stride == 1) {
            m_file.WriteSlices(found.slices.first, found.slices.Count(), numbers(found));
            return;
        }
        const long long stride = m_setup.choice.stride;
        for (long long z = (found.slices.first + stride - 1) / stride * stride; z < found.slices.end;
             z += stride) {
            write_slice(found, z);
        }
    }

    void Close() { m_file.Close(); }
    EMap Map() const noexcept { return m_map; }

  private:
    const float* numbers(const SFoundSlices& found) const noexcept {
        return m_map == EMap::phi ? found.phi : m_map == EMap::confidence ? found.confidence : found.theta;
    }

    /// Some rows at a time; of a vector in planes one component after the other.
    void write_slice(const SFoundSlices& found, long long z) {
        const CSize size = MapSize(m_setup);
        const std::size_t planes = m_layout.isPlanar ? 3 : 1;
        const std::size_t rowBytes = m_layout.sliceBytes / planes / static_cast<std::size_t>(size[1]);
        const auto rowsAtATime = static_cast<long long>(std::max<std::size_t>(1, BUFFER_BYTES / rowBytes));
        for (std::size_t plane = 0; plane < planes; ++plane) {
            for (long long row = 0; row < size[1]; row += rowsAtATime) {
                const long long end = std::min(row + rowsAtATime, size[1]);
                m_buffer.resize(static_cast<std::size_t>(end - row) * rowBytes);
                std::byte* next = m_buffer.data();
                for (long long y = row; y < end; ++y) {
                    next = append_row(found, z, y * m_setup.choice.stride, plane, next);
                }
                const std::size_t place =
                    (plane * static_cast<std::size_t>(size[1]) + static_cast<std::size_t>(row)) * rowBytes;
                m_file.WritePart(z / m_setup.choice.stride, place, m_buffer);
            }
        }
    }

    std::byte* append_row(const SFoundSlices& found, long long z, long long y, std::size_t plane,
                          std::byte* next) const {
        const CSize& size = m_setup.imageSize;
        const auto put = [&next](const auto& value) {
            std::memcpy(next, &value, sizeof value);
            next += sizeof value;
        };
        const auto first = static_cast<std::size_t>(((z - found.slices.first) * size[1] + y) * size[0]);
        for (long long x = 0; x < size[0]; x += m_setup.choice.stride) {
            const std::size_t pixel = first + static_cast<std::size_t>(x);
            if (m_map == EMap::colors) {
                const Impl::SColor color = color_at(found, pixel);
                put(std::array{color.red, color.green, color.blue});
            } else if (m_map != EMap::axes) {
                put(number_at(found, pixel));
            } else if (m_layout.isPlanar) {
                put(axis_at(found, pixel)[plane]);
            } else {
                put(axis_at(found, pixel));
            }
        }
        return next;
    }

    float number_at(const SFoundSlices& found, std::size_t pixel) const noexcept {
        const float number = numbers(found)[pixel];
        if (m_map == EMap::confidence || m_setup.choice.angleUnit == EAngleUnit::radians) {
            return number;
        }
        const SMapMarkers markers = MapMarkers(EAngleUnit::degrees);
        const bool isColatitude = m_map == EMap::theta && found.phi != nullptr;
        return isColatitude ? in_degrees(number, Impl::NO_COLATITUDE, markers.colatitude)
                            : in_degrees(number, Impl::NO_ANGLE, markers.angle);
    }

    EMap m_map;
    const SMapSetup& m_setup;
    volume::SSliceFileLayout m_layout;
    volume::CSliceFile m_file;
    std::vector<std::byte> m_buffer;
};

void CMapFiles::Create(const Paths& paths, const SMapSetup& setup) {
    for (const auto& [map, path] : paths) {
        if (!path.empty()) {
            CMap::Create(map, path, setup);
        }
    }
}

CMapFiles::CMapFiles(const Paths& paths, const SMapSetup& setup) : m_setup(setup) {
    for (const auto& [map, path] : paths) {
        if (!path.empty()) {
            m_maps.push_back(std::make_unique<CMap>(map, path, m_setup));
        }
    }
}

CMapFiles::~CMapFiles() = default;

bool CMapFiles::WantsConfidence() const {
    return std::any_of(m_maps.begin(), m_maps.end(), [](const std::unique_ptr<CMap>& map) {
        return map->Map() == EMap::confidence || map->Map() == EMap::colors;
    });
}

void CMapFiles::TakeAngles(const SFoundSlices& found) {
    for (const std::unique_ptr<CMap>& map : m_maps) {
        map->Write(found);
    }
}

void CMapFiles::Close() {
    for (const std::unique_ptr<CMap>& map : m_maps) {
        map->Close();
    }
}

} // namespace TEVRA::jobs
