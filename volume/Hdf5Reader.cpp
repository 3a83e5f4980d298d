// SPDX-License-Identifier: BSD-3-Clause
#include "volume/ByteSource.h"
#include "volume/Failure.h"
#include "volume/HeaderText.h"
#include "volume/PackedSize.h"
#include "volume/Readers.h"
#include "volume/Spacing.h"
#include "volume/StoredPixels.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <hdf5.h>

namespace TEVRA::volume {
namespace {

constexpr std::size_t LARGEST_CHUNK_CACHE_BYTES = std::size_t{1} << 28;
constexpr std::size_t LEAST_CACHE_SLOTS = 521;
constexpr std::size_t MOST_CACHE_SLOTS = 100'003;
constexpr std::size_t SLOTS_PER_CHUNK = 10;
constexpr std::size_t LIBRARY_BYTES = std::size_t{4}
                                      << 20; // of metadata, conversion, and lists of free blocks
constexpr std::size_t FREE_BLOCK_BYTES = std::size_t{1} << 20;
constexpr std::size_t STORED_BYTES = std::size_t{4}
                                     << 20; // converted at a time, or one slice if that is more
constexpr std::size_t MOST_NAMES = 20;      // of datasets in a message

/// HDF5 prints its error stack to stderr unless told otherwise, once per thread; also while it closes a
/// broken file, up to the end of the program. It also keeps freed blocks for later.
void tame_hdf5() {
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    constexpr int ALL = static_cast<int>(FREE_BLOCK_BYTES);
    constexpr int EACH = ALL / 16;
    H5set_free_list_limits(ALL, EACH, ALL, EACH, ALL, EACH);
}

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

/// The slowest axis of more than one pixel; with three extents it is the first even if others are 1. Nothing
/// if there are fewer.
std::optional<std::size_t> slice_axis(const std::vector<hsize_t>& extents) {
    std::size_t behind = 0; // axes of extent 1 behind x that `image_extents` leaves out
    while (extents.size() > behind + 3 && extents[extents.size() - 1 - behind] == 1) {
        ++behind;
    }
    return extents.size() < 3 ? std::nullopt : std::optional(extents.size() - behind - 3);
}

/// How a dataset is cut into pieces that are read and unpacked as a whole.
struct SChunks {
    double chunkBytes = 0.0; ///< unpacked; 0 if the dataset is in one piece
    double perLayer = 0.0;   ///< chunks that the same slice goes through
    bool packed = false;     ///< by any filter

    double LayerBytes() const { return chunkBytes * perLayer; }
};

SChunks chunks_of(const CHandle& dataset) {
    const CHandle creation(H5Dget_create_plist(dataset.Id()), H5Pclose);
    const CHandle type(H5Dget_type(dataset.Id()), H5Tclose);
    const std::vector<hsize_t> extents = extents_of(dataset);
    std::vector<hsize_t> chunk(extents.size());
    if (H5Pget_layout(creation.Id()) != H5D_CHUNKED ||
        H5Pget_chunk(creation.Id(), static_cast<int>(chunk.size()), chunk.data()) !=
            static_cast<int>(chunk.size())) {
        return {};
    }
    SChunks chunks{static_cast<double>(H5Tget_size(type.Id())), 1.0, H5Pget_nfilters(creation.Id()) > 0};
    for (std::size_t axis = 0; axis < chunk.size(); ++axis) {
        const hsize_t size = std::max<hsize_t>(chunk[axis], 1);
        chunks.chunkBytes *= static_cast<double>(size);
        if (axis != slice_axis(extents)) {
            const hsize_t count = (extents[axis] + size - 1) / size;
            chunks.perLayer *= static_cast<double>(count);
        }
    }
    return chunks;
}

/// A chunk cache that holds a whole layer of chunks, so that reading slice by slice unpacks each chunk once.
/// A cache of less would throw every chunk out before it is asked for again.
std::size_t cache_bytes(const SChunks& chunks, std::size_t mostBytes) {
    return chunks.LayerBytes() > static_cast<double>(mostBytes)
               ? 0
               : static_cast<std::size_t>(chunks.LayerBytes());
}

CHandle open_dataset(const std::string& path, const CHandle& file, const std::string& name) {
    CHandle dataset(H5Dopen2(file.Id(), name.c_str(), H5P_DEFAULT), H5Dclose);
    if (!dataset) {
        refuse_with_names(path, file, "there is no dataset " + name);
    }
    return dataset;
}

CHandle open_with_cache(const CHandle& file, const std::string& name, const SChunks& chunks,
                        std::size_t cacheBytes) {
    const CHandle access(H5Pcreate(H5P_DATASET_ACCESS), H5Pclose);
    const double slots = static_cast<double>(SLOTS_PER_CHUNK) * chunks.perLayer;
    H5Pset_chunk_cache(access.Id(),
                       static_cast<std::size_t>(std::clamp(slots, static_cast<double>(LEAST_CACHE_SLOTS),
                                                           static_cast<double>(MOST_CACHE_SLOTS))),
                       cacheBytes, H5D_CHUNK_CACHE_W0_DEFAULT);
    return {H5Dopen2(file.Id(), name.c_str(), access.Id()), H5Dclose};
}

std::string file_name_of(const CHandle& object) {
    const ssize_t length = H5Fget_name(object.Id(), nullptr, 0);
    std::string name(static_cast<std::size_t>(std::max<ssize_t>(length, 0)), '\0');
    if (length > 0) {
        H5Fget_name(object.Id(), name.data(), name.size() + 1);
    }
    return name;
}

std::string external_prefix(const CHandle& dataset) {
    const CHandle access(H5Dget_access_plist(dataset.Id()), H5Pclose);
    const ssize_t length = H5Pget_efile_prefix(access.Id(), nullptr, 0);
    std::string prefix(static_cast<std::size_t>(std::max<ssize_t>(length, 0)), '\0');
    if (length > 0) {
        H5Pget_efile_prefix(access.Id(), prefix.data(), prefix.size() + 1);
    }
    return prefix;
}

struct SExternalFile {
    std::string path;
    double neededBytes; ///< the file must have at least
};

/// Of all values.
double value_bytes(const CHandle& dataset) {
    const CHandle type(H5Dget_type(dataset.Id()), H5Tclose);
    double bytes = static_cast<double>(H5Tget_size(type.Id()));
    for (const hsize_t extent : extents_of(dataset)) {
        bytes *= static_cast<double>(extent);
    }
    return bytes;
}

/// Files beside the dataset's own that its values are in, as HDF5 looks for them.
std::vector<SExternalFile> external_files(const CHandle& dataset) {
    constexpr std::size_t MOST_LETTERS = 4096;
    const CHandle creation(H5Dget_create_plist(dataset.Id()), H5Pclose);
    const std::filesystem::path prefix = external_prefix(dataset);
    std::vector<SExternalFile> files;
    double left = value_bytes(dataset);
    const int count = H5Pget_external_count(creation.Id());
    for (int i = 0; i < count; ++i) {
        std::string name(MOST_LETTERS, '\0');
        off_t offset = 0;
        hsize_t bytes = 0;
        if (H5Pget_external(creation.Id(), static_cast<unsigned>(i), name.size() - 1, name.data(), &offset,
                            &bytes) >= 0) {
            const double needed = std::min(left, static_cast<double>(bytes)); // which may be "unlimited"
            left -= needed;
            files.push_back({(prefix / name.c_str()).string(), static_cast<double>(offset) + needed});
        }
    }
    std::size_t sources = 0;
    if (H5Pget_layout(creation.Id()) == H5D_VIRTUAL) {
        H5Pget_virtual_count(creation.Id(), &sources);
    }
    for (std::size_t i = 0; i < sources; ++i) {
        std::string name(MOST_LETTERS, '\0');
        if (H5Pget_virtual_filename(creation.Id(), i, name.data(), name.size()) <= 0) {
            continue;
        }
        name.resize(name.find('\0'));
        const std::string beside = BesideFile(file_name_of(dataset), name);
        std::error_code ignored;
        files.push_back({std::filesystem::exists(beside, ignored) ? beside : name, 0.0});
    }
    return files;
}

/// HDF5 fills what it does not find with zeros.
void check_stored(const std::string& name, const CHandle& dataset) {
    for (const SExternalFile& file : external_files(dataset)) {
        if (file.path != "." && static_cast<double>(FileBytes(file.path)) < file.neededBytes) {
            throw CInputError(name + ": the values are in the file " + file.path +
                              ", which is truncated; copy or export it again");
        }
    }
    const CHandle creation(H5Dget_create_plist(dataset.Id()), H5Pclose);
    if (H5Pget_layout(creation.Id()) == H5D_VIRTUAL) {
        return;
    }
    // Blocks that were never written count as packed: files with a few of them are sound.
    double expansion = DEFLATE_EXPANSION;
    const int filters = H5Pget_nfilters(creation.Id());
    for (int i = 0; i < filters; ++i) {
        unsigned flags = 0;
        std::size_t parameters = 0;
        const H5Z_filter_t filter = H5Pget_filter2(creation.Id(), static_cast<unsigned>(i), &flags,
                                                   &parameters, nullptr, 0, nullptr, nullptr);
        const bool keepsSize = filter == H5Z_FILTER_SHUFFLE || filter == H5Z_FILTER_FLETCHER32;
        if (filter != H5Z_FILTER_DEFLATE && !keepsSize) {
            expansion = std::numeric_limits<double>::infinity(); // of the others not known
        }
    }
    const auto stored = static_cast<double>(H5Dget_storage_size(dataset.Id()));
    if (stored == 0.0) {
        throw CInputError(name + ": the dataset has no values: none were ever written; export it again");
    }
    CheckPackedSize(name, value_bytes(dataset), stored, expansion);
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

hid_t memory_type(EStoredType type) {
    switch (type) {
    case EStoredType::u8:
        return H5T_NATIVE_UINT8;
    case EStoredType::u16:
        return H5T_NATIVE_UINT16;
    case EStoredType::f32:
        return H5T_NATIVE_FLOAT;
    case EStoredType::i8:
        return H5T_NATIVE_INT8;
    case EStoredType::i16:
        return H5T_NATIVE_INT16;
    case EStoredType::u32:
        return H5T_NATIVE_UINT32;
    case EStoredType::i32:
        return H5T_NATIVE_INT32;
    case EStoredType::u64:
        return H5T_NATIVE_UINT64;
    case EStoredType::i64:
        return H5T_NATIVE_INT64;
    case EStoredType::f64:
        break;
    }
    return H5T_NATIVE_DOUBLE;
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

/// The attribute that several programs write: distances in micrometres, slowest axis first, or one for all.
SSpacing spacing_of(const CHandle& dataset, int dim) {
    const char* name = "element_size_um";
    SSpacing none{std::nullopt, "", "the dataset has no attribute element_size_um"};
    if (H5Aexists(dataset.Id(), name) <= 0) {
        return none;
    }
    const CHandle attribute(H5Aopen(dataset.Id(), name, H5P_DEFAULT), H5Aclose);
    const CHandle space(H5Aget_space(attribute.Id()), H5Sclose);
    const hssize_t count = H5Sget_simple_extent_npoints(space.Id());
    if ((count != 1 && count < dim) || count > 16) {
        none.note = "the dataset's element_size_um has " + std::to_string(count) + " numbers for " +
                    std::to_string(dim) + " axes";
        return none;
    }
    std::vector<double> values(static_cast<std::size_t>(count));
    if (H5Aread(attribute.Id(), H5T_NATIVE_DOUBLE, values.data()) < 0) {
        return none;
    }
    std::array<double, 3> distances{1.0, 1.0, 1.0};
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(dim); ++axis) {
        distances[axis] = values[count == 1 ? 0 : values.size() - 1 - axis];
    }
    return CheckedSpacing(distances, "um", dim, name);
}

class CHdf5Reader : public IImageReader {
  public:
    CHdf5Reader(const std::string& path, const std::string& dataset)
        : m_path(path), m_datasetName(dataset), m_name(path + ":" + dataset), m_file(open_file(path)),
          m_dataset(open_dataset(path, m_file, dataset)), m_extents(extents_of(m_dataset)),
          m_type(stored_type(m_name, m_dataset)), m_conversion(m_name) {
        m_info.format = "HDF5";
        m_info.size = ImageSize(m_name, image_extents(m_extents));
        SetStoredType(m_info, m_type);
        SetSpacing(m_info, spacing_of(m_dataset, m_info.size.Dim()));
        check_stored(m_name, m_dataset);
        m_chunks = chunks_of(m_dataset);
        LimitBuffers(LARGEST_CHUNK_CACHE_BYTES);
    }

    const SImageInfo& Info() const override { return m_info; }

    std::vector<std::string> Files() const override {
        std::vector<std::string> files{m_path};
        if (const std::string holder = file_name_of(m_dataset); !holder.empty() && holder != m_path) {
            files.push_back(holder); // at the end of a link
        }
        for (const SExternalFile& file : external_files(m_dataset)) {
            if (std::find(files.begin(), files.end(), file.path) == files.end()) {
                files.push_back(file.path);
            }
        }
        return files;
    }

    /// A chunk on its way through the filters is there packed, unpacked, and in a buffer that grows by
    /// doubling.
    std::size_t BufferBytes() const override {
        constexpr double COPIES = 4.0;
        const double passing = m_chunks.packed ? COPIES * m_chunks.chunkBytes : 0.0;
        const std::size_t stored = IsConverted(m_type) ? std::max(stored_slice_bytes(), STORED_BYTES) : 0;
        return LIBRARY_BYTES + m_cacheBytes + static_cast<std::size_t>(passing) + stored;
    }

    void LimitBuffers(std::size_t bytes) override {
        tame_hdf5();
        m_cacheBytes = cache_bytes(m_chunks, std::min(bytes, LARGEST_CHUNK_CACHE_BYTES));
        // The size of the cache is only heard by the first who opens a dataset.
        m_dataset = CHandle(H5I_INVALID_HID, H5Dclose);
        m_dataset = open_with_cache(m_file, m_datasetName, m_chunks, m_cacheBytes);
    }

    double LargestRounding() const override { return m_conversion.LargestRounding(); }

  private:
    std::size_t stored_slice_bytes() const {
        return static_cast<std::size_t>(m_info.size[0] * m_info.size[1]) * BytesPerPixel(m_type);
    }

    void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) override {
        tame_hdf5();
        if (!IsConverted(m_type)) {
            read_stored(firstSlice, sliceCount, pixels);
            return;
        }
        const std::size_t storedBytes = stored_slice_bytes();
        const auto atOnce = std::min(
            sliceCount, static_cast<long long>(std::max<std::size_t>(STORED_BYTES / storedBytes, 1)));
        m_stored.resize(static_cast<std::size_t>(atOnce) * storedBytes);
        for (long long done = 0; done < sliceCount; done += atOnce) {
            const long long count = std::min(atOnce, sliceCount - done);
            read_stored(firstSlice + done, count, m_stored.data());
            m_conversion.Convert(m_type, m_stored.data(),
                                 static_cast<std::size_t>(count * m_info.size[0] * m_info.size[1]),
                                 pixels + static_cast<std::size_t>(done) * SliceBytes());
        }
    }

    void read_stored(long long firstSlice, long long sliceCount, std::byte* pixels) {
        if (sliceCount == 0) {
            return;
        }
        std::vector<hsize_t> start(m_extents.size(), 0);
        std::vector<hsize_t> count = m_extents;
        if (m_info.size.Dim() == 3) {
            const std::size_t z = slice_axis(m_extents).value();
            start[z] = static_cast<hsize_t>(firstSlice);
            count[z] = static_cast<hsize_t>(sliceCount);
        }
        const CHandle space(H5Dget_space(m_dataset.Id()), H5Sclose);
        // Of the selection's own rank: copying between spaces of different ranks takes ten times as long.
        const CHandle memory(H5Screate_simple(static_cast<int>(count.size()), count.data(), nullptr),
                             H5Sclose);
        if (H5Sselect_hyperslab(space.Id(), H5S_SELECT_SET, start.data(), nullptr, count.data(), nullptr) <
                0 ||
            H5Dread(m_dataset.Id(), memory_type(m_type), memory.Id(), space.Id(), H5P_DEFAULT, pixels) < 0) {
            throw CInputError(m_name +
                              ": the dataset cannot be read: it is broken, truncated, or compressed by a "
                              "method that is not installed");
        }
    }

    std::string m_path;
    std::string m_datasetName;
    std::string m_name; // of both, for messages
    CHandle m_file;
    CHandle m_dataset;
    std::vector<hsize_t> m_extents;
    EStoredType m_type;
    SChunks m_chunks;
    std::size_t m_cacheBytes = 0;
    CFloatConversion m_conversion;
    std::vector<std::byte> m_stored; // of some slices, if they have to be converted
    SImageInfo m_info;
};

} // namespace

std::unique_ptr<IImageReader> OpenHdf5(const std::string& path, const std::string& dataset) {
    tame_hdf5();
    if (dataset.empty()) {
        refuse_with_names(path, open_file(path), "an HDF5 file may hold several images");
    }
    return std::make_unique<CHdf5Reader>(path, dataset);
}

} // namespace TEVRA::volume
