// SPDX-License-Identifier: BSD-3-Clause
#include "python/src/ArrayReader.h"

#include "volume/Failure.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace TEVRA::python {

namespace {

constexpr long long LARGEST_EXTENT = 1'000'000;
constexpr std::size_t PIECE_BYTES = std::size_t{4} << 20; // fetched at a time, if slices are smaller

std::string text_of(const py::handle& object) {
    return py::str(object).cast<std::string>();
}

std::vector<long long> shape_of(const std::string& argument, const py::object& array) {
    try {
        return array.attr("shape").cast<std::vector<long long>>();
    } catch (const py::error_already_set&) {
    } catch (const py::cast_error&) {
    }
    throw py::type_error(argument + ": has no shape; give a NumPy array, something like it with shape, dtype "
                                    "and slicing, or a path");
}

bool is_contiguous(const py::object& array) {
    if (!py::isinstance<py::array>(array)) {
        return false;
    }
    const auto numbers = py::reinterpret_borrow<py::array>(array);
    return (numbers.flags() & py::array::c_style) != 0 && numbers.dtype().attr("isnative").cast<bool>() &&
           (numbers.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_) != 0;
}

/// Slices of one chunk along the first axis; 1 where the array has none, as in HDF5 datasets and zarr arrays.
long long chunk_slices(const py::object& array) {
    const py::object chunks = py::getattr(array, "chunks", py::none());
    if (py::isinstance<py::tuple>(chunks) && py::len(chunks) > 0) {
        const py::object first = chunks[py::int_(0)];
        if (py::isinstance<py::int_>(first)) {
            return std::max(1LL, first.cast<long long>());
        }
    }
    return 1;
}

/// Takes pages of a mapped file out of the process; the system may keep them for another read.
void give_pages_back(const std::byte* from, std::size_t bytes) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto place = reinterpret_cast<std::uintptr_t>(from);
    const std::size_t before =
        (page - place % page) % page; // bytes of a page that is not all of these slices'
    if (bytes < before + page) {
        return;
    }
    // Advice changes no bytes, though it takes a pointer that could.
    madvise(const_cast<std::byte*>(from + before), (bytes - before) / page * page, MADV_DONTNEED);
}

} // namespace

volume::SImageInfo ArrayInfo(const std::string& argument, const std::vector<long long>& shape,
                             volume::EPixelType type) {
    std::vector<long long> extents(shape.rbegin(), shape.rend());
    std::string text;
    for (const long long extent : shape) {
        text += (text.empty() ? "(" : ", ") + std::to_string(extent);
    }
    text += text.empty() ? "()" : ")";
    if (extents.size() < 2 || extents.size() > 3) {
        throw py::value_error(argument + ": has shape " + text +
                              ", but [y, x] or [z, y, x] is needed; pick one channel and one time");
    }
    if (*std::min_element(extents.begin(), extents.end()) < 1 ||
        *std::max_element(extents.begin(), extents.end()) > LARGEST_EXTENT) {
        throw py::value_error(argument + ": has shape " + text + ", but extents must be 1 to 1000000 pixels");
    }
    if (extents.size() == 3 && extents[2] == 1) {
        extents.pop_back(); // one slice is a 2D image
    }
    volume::SImageInfo info;
    info.format = "array";
    info.size =
        extents.size() == 2 ? CSize(extents[0], extents[1]) : CSize(extents[0], extents[1], extents[2]);
    info.pixelType = type;
    info.storedType = volume::Description(type);
    info.spacingNote = "an array states none";
    return info;
}

volume::EPixelType PixelTypeOf(const std::string& argument, const py::dtype& dtype) {
    if (dtype.kind() == 'u' && dtype.itemsize() == 1) {
        return volume::EPixelType::u8;
    }
    if (dtype.kind() == 'u' && dtype.itemsize() == 2) {
        return volume::EPixelType::u16;
    }
    if (dtype.kind() == 'f' && dtype.itemsize() == 4) {
        return volume::EPixelType::f32;
    }
    throw py::type_error(argument + ": has dtype " + text_of(dtype) +
                         ", but uint8, uint16 or float32 is needed; convert it, as by " + argument +
                         ".astype(numpy.float32)");
}

py::dtype DtypeOf(volume::EPixelType type) {
    switch (type) {
    case volume::EPixelType::u8:
        return py::dtype::of<std::uint8_t>();
    case volume::EPixelType::u16:
        return py::dtype::of<std::uint16_t>();
    case volume::EPixelType::f32:
        break;
    }
    return py::dtype::of<float>();
}

CArrayReader::CArrayReader(std::string argument, py::object array)
    : m_argument(std::move(argument)), m_array(std::move(array)) {
    const std::vector<long long> shape = shape_of(m_argument, m_array);
    if (!py::hasattr(m_array, "dtype")) {
        throw py::type_error(m_argument + ": has no dtype; give a NumPy array, something like it with shape, "
                                          "dtype and slicing, or a path");
    }
    const py::dtype dtype = py::dtype::from_args(m_array.attr("dtype"));
    m_info = ArrayInfo(m_argument, shape, PixelTypeOf(m_argument, dtype));
    const bool isMapped = py::isinstance(m_array, py::module_::import("numpy").attr("memmap"));
    if (isMapped && !m_array.attr("filename").is_none()) {
        m_files.push_back(text_of(m_array.attr("filename"))); // results must not replace it
    }
    if (is_contiguous(m_array)) {
        m_pixels = static_cast<const std::byte*>(py::reinterpret_borrow<py::array>(m_array).data());
        // Of private pages ("c") the caller's changes would be lost.
        m_givesPagesBack = isMapped && text_of(m_array.attr("mode")).starts_with('r');
        return;
    }
    m_pieceSlices = shape.size() == 2 ? 1 : chunk_slices(m_array);
    if (m_pieceSlices == 1) {
        m_pieceSlices = static_cast<long long>(std::max<std::size_t>(1, PIECE_BYTES / SliceBytes()));
    }
    m_pieceSlices = std::min(m_pieceSlices, SliceCount());
}

CArrayReader::~CArrayReader() { // NOLINT(bugprone-exception-escape): letting go of objects throws nothing
    const py::gil_scoped_acquire locked;
    m_pieceArray = py::object();
    m_array = py::object();
    m_failure = nullptr;
}

std::size_t CArrayReader::BufferBytes() const {
    return m_pixels != nullptr ? 0 : static_cast<std::size_t>(m_pieceSlices) * SliceBytes();
}

void CArrayReader::LimitBuffers(std::size_t bytes) {
    m_pieceSlices =
        std::clamp(static_cast<long long>(bytes / SliceBytes()), 1LL, std::max(1LL, m_pieceSlices));
    m_piece = -1;
}

void CArrayReader::Release() {
    const py::gil_scoped_acquire locked;
    m_pieceArray = py::object();
    m_array = py::object();
    m_pixels = nullptr;
    m_piece = -1;
}

void CArrayReader::read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) {
    const std::size_t sliceBytes = SliceBytes();
    if (m_pixels != nullptr) {
        const std::byte* const from = m_pixels + static_cast<std::size_t>(firstSlice) * sliceBytes;
        const std::size_t bytes = static_cast<std::size_t>(sliceCount) * sliceBytes;
        std::memcpy(pixels, from, bytes);
        if (m_givesPagesBack) {
            give_pages_back(from, bytes);
        }
        return;
    }
    const py::gil_scoped_acquire locked;
    try {
        for (long long slice = firstSlice; slice < firstSlice + sliceCount;) {
            const long long piece = slice / m_pieceSlices;
            fetch(piece);
            const long long within = slice - piece * m_pieceSlices;
            const long long count =
                std::min({m_pieceSlices - within, firstSlice + sliceCount - slice, SliceCount() - slice});
            const auto* const from =
                static_cast<const std::byte*>(py::reinterpret_borrow<py::array>(m_pieceArray).data());
            std::memcpy(pixels + static_cast<std::size_t>(slice - firstSlice) * sliceBytes,
                        from + static_cast<std::size_t>(within) * sliceBytes,
                        static_cast<std::size_t>(count) * sliceBytes);
            slice += count;
        }
    } catch (...) {
        m_failure = std::current_exception();
        throw volume::CEnvironmentError(m_argument + ": slicing failed");
    }
}

void CArrayReader::fetch(long long piece) {
    if (piece == m_piece) {
        return;
    }
    m_piece = -1;
    m_pieceArray = py::object(); // one piece at a time
    py::object part = m_array;
    if (const auto dimensions = py::len(m_array.attr("shape")); dimensions == 3) {
        const long long first = piece * m_pieceSlices;
        const long long last = std::min(first + m_pieceSlices, SliceCount());
        part = m_array[py::slice(first, last, 1)];
    } else if (!py::isinstance<py::array>(m_array)) {
        part = m_array[py::slice(py::none(), py::none(), py::none())]; // datasets become arrays
    }
    const py::object numbers =
        py::module_::import("numpy").attr("ascontiguousarray")(part, DtypeOf(m_info.pixelType));
    const long long wanted =
        std::min(m_pieceSlices, SliceCount() - piece * m_pieceSlices) * static_cast<long long>(SliceBytes());
    if (py::reinterpret_borrow<py::array>(numbers).nbytes() != wanted) {
        throw py::value_error(m_argument + ": a slice has another shape than the whole states");
    }
    m_pieceArray = numbers;
    m_piece = piece;
}

} // namespace TEVRA::python
