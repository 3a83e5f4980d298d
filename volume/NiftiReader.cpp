// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Failure.h"
#include "volume/HeaderText.h"
#include "volume/NumberText.h"
#include "volume/RawPixels.h"
#include "volume/Readers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

namespace TEVRA::volume {
namespace {

constexpr std::size_t NIFTI1_BYTES = 348;
constexpr std::size_t NIFTI2_BYTES = 540;
constexpr int SPACE_UNIT_MASK = 7; // the higher bits are the unit of time

/// The fields of a header, whatever the version and byte order of the file.
class CNiftiHeader {
  public:
    explicit CNiftiHeader(IByteSource& bytes, const std::string& path) : m_path(path) {
        bytes.Read(0, sizeof(std::int32_t), m_bytes.data());
        const bool one = detect(NIFTI1_BYTES);
        m_isTwo = !one && detect(NIFTI2_BYTES);
        if (!one && !m_isTwo) {
            RefuseHeader(path, "it does not begin with the size of a NIfTI header");
        }
        bytes.Read(0, m_isTwo ? NIFTI2_BYTES : NIFTI1_BYTES, m_bytes.data());
        const char* magic = reinterpret_cast<const char*>(m_bytes.data()) + (m_isTwo ? 4 : 344);
        if (std::string_view(magic, 3) != (m_isTwo ? "n+2" : "n+1")) {
            throw CInputError(path + ": is not a NIfTI file with header and pixels in one; save it as .nii");
        }
    }

    EByteOrder ByteOrder() const { return m_order; }
    std::vector<long long> Extents() const {
        const long long dims = dim(0);
        if (dims < 1 || dims > 7) {
            RefuseHeader(m_path, "the number of dimensions is " + std::to_string(dims));
        }
        std::vector<long long> extents;
        for (long long axis = 1; axis <= dims; ++axis) {
            extents.push_back(dim(axis));
        }
        return extents;
    }
    int DataType() const { return value<std::int16_t>(m_isTwo ? 12 : 70); }
    double PixelDistance(std::size_t axis) const { // 0 for x
        return m_isTwo ? value<double>(112 + 8 * axis) : FewestDigits(value<float>(80 + 4 * axis));
    }
    int SpaceUnit() const {
        const int units = m_isTwo ? value<std::int32_t>(500) : static_cast<int>(m_bytes[123]);
        return units & SPACE_UNIT_MASK;
    }
    double PixelsOffset() const {
        return m_isTwo ? static_cast<double>(value<std::int64_t>(168)) : value<float>(108);
    }
    std::optional<SValueScale> Scale() const {
        const double slope = m_isTwo ? value<double>(176) : value<float>(112);
        const double intercept = m_isTwo ? value<double>(184) : value<float>(116);
        const bool unused = slope == 0.0 || (slope == 1.0 && intercept == 0.0);
        if (unused || !std::isfinite(slope) || !std::isfinite(intercept)) {
            return std::nullopt;
        }
        return SValueScale{slope, intercept};
    }

  private:
    bool detect(std::size_t headerBytes) {
        for (const EByteOrder order : {EByteOrder::little, EByteOrder::big}) {
            m_order = order;
            if (value<std::int32_t>(0) == static_cast<std::int32_t>(headerBytes)) {
                return true;
            }
        }
        return false;
    }

    long long dim(long long index) const {
        const auto at = static_cast<std::size_t>(index);
        return m_isTwo ? value<std::int64_t>(16 + 8 * at) : value<std::int16_t>(40 + 2 * at);
    }

    template <typename ValueT>
    ValueT value(std::size_t offset) const {
        std::array<std::byte, sizeof(ValueT)> bytes{};
        std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.size(), bytes.begin());
        if (NeedsSwap(m_order)) {
            std::reverse(bytes.begin(), bytes.end());
        }
        ValueT result{};
        std::memcpy(&result, bytes.data(), bytes.size());
        return result;
    }

    std::string m_path;
    std::array<std::byte, NIFTI2_BYTES> m_bytes{};
    EByteOrder m_order = EByteOrder::little;
    bool m_isTwo = false;
};

EStoredType data_type(const std::string& path, int code) {
    switch (code) {
    case 2:
        return EStoredType::u8;
    case 4:
        return EStoredType::i16;
    case 16:
        return EStoredType::f32;
    case 256:
        return EStoredType::i8;
    case 512:
        return EStoredType::u16;
    case 8:
        return EStoredType::i32;
    case 64:
        return EStoredType::f64;
    case 768:
        return EStoredType::u32;
    case 1024:
        return EStoredType::i64;
    case 1280:
        return EStoredType::u64;
    case 1:
        RefusePixels(path, "1-bit");
    case 32:
    case 1792:
    case 2048:
        RefusePixels(path, "complex numbers");
    case 128:
    case 2304:
        RefusePixels(path, "RGB colors");
    case 1536:
        RefusePixels(path, NumberDescription(ENumberKind::floatingPoint, 128));
    default:
        RefusePixels(path, "of NIfTI data type " + std::to_string(code));
    }
}

SSpacing spacing_of(const CNiftiHeader& header, int dim) {
    std::array<double, 3> distances{1.0, 1.0, 1.0};
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(dim); ++axis) {
        distances[axis] = std::abs(header.PixelDistance(axis));
    }
    constexpr std::array<double, 4> FACTORS{1.0, 1000.0, 1.0, 1.0};
    constexpr std::array<const char*, 4> UNITS{"", "mm", "mm", "um"}; // none, metre, millimetre, micrometre
    const int code = header.SpaceUnit();
    const std::size_t unit = code < 4 ? static_cast<std::size_t>(code) : 0;
    for (double& distance : distances) {
        distance *= FACTORS[unit];
    }
    if (std::all_of(distances.begin(), distances.begin() + dim,
                    [](double distance) { return distance == 0.0; })) {
        return {std::nullopt, "", "the header states none"};
    }
    return CheckedSpacing(distances, UNITS[unit], dim, "pixdim");
}

bool is_gzip(const std::string& path) {
    return FirstBytes(path, 2) == "\x1F\x8B";
}

} // namespace

std::unique_ptr<IImageReader> OpenNifti(const std::string& path) {
    const bool compressed = is_gzip(path);
    std::unique_ptr<IByteSource> headerBytes =
        compressed ? OpenInflatedBytes(path, 0, 0, NIFTI1_BYTES) : OpenFileBytes(path, 0, NIFTI1_BYTES);
    const CNiftiHeader header(*headerBytes, path);
    const EStoredType type = data_type(path, header.DataType());
    const std::optional<SValueScale> scale = header.Scale();
    SImageInfo info;
    info.format = "NIfTI";
    info.size = ImageSize(path, header.Extents());
    SetStoredType(info, type);
    if (scale) {
        info.pixelType = EPixelType::f32;
    }
    SetSpacing(info, spacing_of(header, info.size.Dim()));
    const double offset = header.PixelsOffset();
    if (!(offset >= static_cast<double>(NIFTI1_BYTES) && offset < 1e9)) {
        RefuseHeader(path, "the pixels begin at byte " + NumberText(offset));
    }
    const auto start = static_cast<unsigned long long>(offset);
    const unsigned long long bytes = info.size.Elements() * BytesPerPixel(type);
    const SRawPixelsLayout layout{type, header.ByteOrder(),
                                  static_cast<std::size_t>(info.size[0] * info.size[1]), scale};
    return MakeRawPixelsReader(
        path, info, compressed ? OpenInflatedBytes(path, 0, start, bytes) : OpenFileBytes(path, start, bytes),
        layout);
}

} // namespace TEVRA::volume
