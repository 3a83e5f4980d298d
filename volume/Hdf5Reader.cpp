// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Failure.h"
#include "volume/HeaderText.h"
#include "volume/Readers.h"
#include "volume/Spacing.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include <hdf5.h>

namespace TEVRA::volume {
namespace {

constexpr std::size_t LARGEST_CHUNK_CACHE_BYTES = std::size_t{1} << 30;
constexpr std::size_t SMALLEST_CHUNK_CACHE_BYTES = std::size_t{1} << 20;
constexpr std::size_t CACHE_SLOTS = 100'003; // a prime, many times the chunks of a layer
constexpr std::size_t MOST_NAMES = 20;       // of datasets in a message

/// HDF5 prints its error stack to stderr unless told otherwise.
class CSilentHdf5 {
  public:
    CSilentHdf5() {
        H5Eget_auto2(H5E_DEFAULT, &m_function, &m_data);
        H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    }
    CSilentHdf5(const CSilentHdf5&) = delete;
    CSilentHdf5& operator=(const CSilentHdf5&) = delete;
    ~CSilentHdf5() { H5Eset_auto2(H5E_DEFAULT, m_function, m_data); }

  private:
    H5E_auto2_t m_function = nullptr;
    void* m_data = nullptr;
};

/// Owner of an HDF5 identifier.
class CHandle {
  public:
    using Close = herr_t (*)(hid_t);
    CHandle(hid_t id, Close close) noexcept : m_id(id), m_close(close) {}
    CHandle(CHandle&& other) noexcept
        : m_id(std::exchange(other.m_id, H5I_INVALID_HID)), m_close(other.m_close) {}
    CHandle& operator=(CHandle&& other) noexcept {
        std::swap(m_id, other.m_id);
        std::swap(m_close, other.m_close);
        return *this;
    }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;
    ~CHandle() {
        if (m_id >= 0) {
            m_close(m_id);
        }
    }
    hid_t Id() const noexcept { return m_id; }
    explicit operator bool() const noexcept { return m_id >= 0; }

  private:
    hid_t m_id;
    Close m_close;
};

std::vector<hsize_t> extents_of(const CHandle& dataset) {
    const CHandle space(H5Dget_space(dataset.Id()), H5Sclose);
    const int rank = H5Sget_simple_extent_ndims(space.Id());
    std::vector<hsize_t> extents(static_cast<std::size_t>(std::max(rank, 0)));
    if (rank > 0) {
        H5Sget_simple_extent_dims(space.Id(), extents.data(), nullptr);
    }
    return extents;
}

std::vector<std::string> dataset_names(const CHandle& file) {
    std::vector<std::string> names;
    const auto visit = [](hid_t group, const char* name, const H5L_info_t*, void* data) -> herr_t {
        const CHandle object(H5Oopen(group, name, H5P_DEFAULT), H5Oclose);
        if (object && H5Iget_type(object.Id()) == H5I_DATASET) {
            static_cast<std::vector<std::string>*>(data)->push_back(std::string("/") + name);
        }
        return 0;
    };
    H5Lvisit(file.Id(), H5_INDEX_NAME, H5_ITER_NATIVE, visit, &names);
    return names;
}

[[noreturn]] void refuse_with_names(const std::string& path, const CHandle& file, const std::string& why) {
    const std::vector<std::string> names = dataset_names(file);
    std::string list;
    for (std::size_t i = 0; i < std::min(names.size(), MOST_NAMES); ++i) {
        list += (i == 0 ? "" : ", ") + names[i];
    }
    list += names.size() > MOST_NAMES ? ", ..." : "";
    throw CInputError(
        path + ": " + why + "; " +
        (names.empty() ? "the file holds no dataset"
                       : "give one of its datasets as in '" + path + ":" + names[0] + "'; it holds " + list));
}

CHandle open_file(const std::string& path) {
    CHandle file(H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose);
    if (!file) {
        throw CInputError(path +
                          ": the HDF5 file is broken, truncated or being written; copy or export it again");
    }
    return file;
}

/// A chunk cache that holds a whole layer of chunks, so that reading slice by slice unpacks each chunk once.
std::size_t cache_bytes(const CHandle& dataset, std::size_t pixelBytes) {
    const CHandle creation(H5Dget_create_plist(dataset.Id()), H5Pclose);
    const std::vector<hsize_t> extents = extents_of(dataset);
    std::vector<hsize_t> chunk(extents.size());
    if (H5Pget_layout(creation.Id()) != H5D_CHUNKED ||
        H5Pget_chunk(creation.Id(), static_cast<int>(chunk.size()), chunk.data()) !=
            static_cast<int>(chunk.size())) {
        return SMALLEST_CHUNK_CACHE_BYTES;
    }
    double bytes = static_cast<double>(pixelBytes);
    for (std::size_t axis = 0; axis < chunk.size(); ++axis) {
        const hsize_t size = std::max<hsize_t>(chunk[axis], 1);
        const bool whole = axis + 2 >= chunk.size(); // in plane
        bytes *= static_cast<double>(whole ? (extents[axis] + size - 1) / size * size : size);
    }
    return static_cast<std::size_t>(std::clamp(bytes, static_cast<double>(SMALLEST_CHUNK_CACHE_BYTES),
                                               static_cast<double>(LARGEST_CHUNK_CACHE_BYTES)));
}

CHandle open_dataset(const std::string& path, const CHandle& file, const std::string& name) {
    CHandle dataset(H5Dopen2(file.Id(), name.c_str(), H5P_DEFAULT), H5Dclose);
    if (!dataset) {
        refuse_with_names(path, file, "there is no dataset " + name);
    }
    const CHandle type(H5Dget_type(dataset.Id()), H5Tclose);
    const CHandle access(H5Pcreate(H5P_DATASET_ACCESS), H5Pclose);
    H5Pset_chunk_cache(access.Id(), CACHE_SLOTS, cache_bytes(dataset, H5Tget_size(type.Id())),
                       H5D_CHUNK_CACHE_W0_DEFAULT);
    dataset = CHandle(H5I_INVALID_HID, H5Dclose);
    return {H5Dopen2(file.Id(), name.c_str(), access.Id()), H5Dclose};
}

EStoredType stored_type(const std::string& name, const CHandle& dataset) {
    const CHandle type(H5Dget_type(dataset.Id()), H5Tclose);
    const int bits = static_cast<int>(8 * H5Tget_size(type.Id()));
    switch (H5Tget_class(type.Id())) {
    case H5T_INTEGER:
        return SupportedType(name,
                             H5Tget_sign(type.Id()) == H5T_SGN_2 ? ENumberKind::signedInteger
                                                                 : ENumberKind::unsignedInteger,
                             bits);
    case H5T_FLOAT:
        return SupportedType(name, ENumberKind::floatingPoint, bits);
    case H5T_ENUM: // true and false
        return SupportedType(name, ENumberKind::unsignedInteger, bits);
    case H5T_COMPOUND:
        RefusePixels(name, "compounds of several numbers (colors or complex numbers)");
    case H5T_STRING:
        RefusePixels(name, "texts");
    default:
        RefusePixels(name, "of a type other than numbers");
    }
}

hid_t memory_type(EPixelType type) {
    switch (type) {
    case EPixelType::u8:
        return H5T_NATIVE_UINT8;
    case EPixelType::u16:
        return H5T_NATIVE_UINT16;
    case EPixelType::f32:
        break;
    }
    return H5T_NATIVE_FLOAT;
}

/// Extents as of images, x first. Files of other programs add axes of extent 1 for channels behind x.
std::vector<long long> image_extents(const std::vector<hsize_t>& extents) {
    std::vector<long long> reversed;
    reversed.reserve(extents.size());
    for (const hsize_t extent : extents) {
        reversed.push_back(static_cast<long long>(std::min<hsize_t>(extent, std::uint64_t{1} << 62)));
    }
    std::reverse(reversed.begin(), reversed.end());
    while (reversed.size() > 3 && reversed.front() == 1) {
        reversed.erase(reversed.begin());
    }
    return reversed;
}

/// The attribute that several programs write: distances in micrometres, slowest axis first.
SSpacing spacing_of(const CHandle& dataset, int dim) {
    const char* name = "element_size_um";
    SSpacing none{std::nullopt, "", "the dataset has no attribute element_size_um"};
    if (H5Aexists(dataset.Id(), name) <= 0) {
        return none;
    }
    const CHandle attribute(H5Aopen(dataset.Id(), name, H5P_DEFAULT), H5Aclose);
    const CHandle space(H5Aget_space(attribute.Id()), H5Sclose);
    const hssize_t count = H5Sget_simple_extent_npoints(space.Id());
    if (count < dim || count > 16) {
        return none;
    }
    std::vector<double> values(static_cast<std::size_t>(count));
    if (H5Aread(attribute.Id(), H5T_NATIVE_DOUBLE, values.data()) < 0) {
        return none;
    }
    std::array<double, 3> distances{1.0, 1.0, 1.0};
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(dim); ++axis) {
        distances[axis] = values[values.size() - 1 - axis];
    }
    return CheckedSpacing(distances, "um", dim, name);
}

class CHdf5Reader : public IImageReader {
  public:
    CHdf5Reader(const std::string& path, const std::string& name)
        : m_name(path + ":" + name), m_file(open_file(path)), m_dataset(open_dataset(path, m_file, name)),
          m_extents(extents_of(m_dataset)) {
        const EStoredType type = stored_type(m_name, m_dataset);
        m_info.format = "HDF5";
        m_info.size = ImageSize(m_name, image_extents(m_extents));
        m_info.pixelType = HandedOutType(type);
        m_info.storedType = volume::Description(type);
        const SSpacing spacing = spacing_of(m_dataset, m_info.size.Dim());
        m_info.spacing = spacing.distances;
        m_info.spacingUnit = spacing.unit;
        m_info.spacingNote = spacing.note;
    }

    const SImageInfo& Info() const override { return m_info; }

  private:
    void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) override {
        if (sliceCount == 0) {
            return;
        }
        const CSilentHdf5 silent;
        std::vector<hsize_t> start(m_extents.size(), 0);
        std::vector<hsize_t> count = m_extents;
        if (m_info.size.Dim() == 3) {
            const std::size_t z = slice_axis();
            start[z] = static_cast<hsize_t>(firstSlice);
            count[z] = static_cast<hsize_t>(sliceCount);
        }
        hsize_t pixelCount = 1;
        for (const hsize_t extent : count) {
            pixelCount *= extent;
        }
        const CHandle space(H5Dget_space(m_dataset.Id()), H5Sclose);
        const CHandle memory(H5Screate_simple(1, &pixelCount, nullptr), H5Sclose);
        if (H5Sselect_hyperslab(space.Id(), H5S_SELECT_SET, start.data(), nullptr, count.data(), nullptr) <
                0 ||
            H5Dread(m_dataset.Id(), memory_type(m_info.pixelType), memory.Id(), space.Id(), H5P_DEFAULT,
                    pixels) < 0) {
            throw CInputError(m_name +
                              ": the dataset cannot be read: it is broken, truncated, or compressed by a "
                              "method that is not installed");
        }
    }

    /// The slowest axis of more than one pixel; with three extents it is the first even if others are 1.
    std::size_t slice_axis() const {
        std::size_t behind = 0; // axes of extent 1 behind x that `image_extents` leaves out
        while (m_extents.size() - behind > 3 && m_extents[m_extents.size() - 1 - behind] == 1) {
            ++behind;
        }
        return m_extents.size() - behind - 3;
    }

    std::string m_name;
    CHandle m_file;
    CHandle m_dataset;
    std::vector<hsize_t> m_extents;
    SImageInfo m_info;
};

} // namespace

std::unique_ptr<IImageReader> OpenHdf5(const std::string& path, const std::string& dataset) {
    const CSilentHdf5 silent;
    if (dataset.empty()) {
        refuse_with_names(path, open_file(path), "an HDF5 file may hold several images");
    }
    return std::make_unique<CHdf5Reader>(path, dataset);
}

} // namespace TEVRA::volume
