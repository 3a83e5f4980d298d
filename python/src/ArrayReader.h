// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "python/src/Pybind.h"
#include "volume/ImageReader.h"

#include <cstddef>
#include <exception>
#include <string>
#include <vector>

namespace TEVRA::python {

/// What an array of these extents, slowest axis first, and of this type is as an image.
volume::SImageInfo ArrayInfo(const std::string& argument, const std::vector<long long>& shape,
                             volume::EPixelType type);

/// The pixel type of a NumPy dtype in the machine's byte order or another. @throws py::type_error that names
/// the argument for other types.
volume::EPixelType PixelTypeOf(const std::string& argument, const py::dtype& dtype);

/// The dtype of pixels.
py::dtype DtypeOf(volume::EPixelType type);

/// An array read as if it were an image file.
///
/// A C-contiguous NumPy array is read where it lies, without the interpreter's lock; anything else that has
/// shape and dtype is sliced, as in array[3:5], a few slices at a time, with the lock taken only for that.
class CArrayReader : public volume::IImageReader {
  public:
    /// @param argument that the array was given as, for messages. @throws py::type_error, py::value_error.
    CArrayReader(std::string argument, py::object array);
    /// With the interpreter's lock or without.
    ~CArrayReader() override; // NOLINT(bugprone-exception-escape)

    const volume::SImageInfo& Info() const override { return m_info; }
    std::vector<std::string> Files() const override { return m_files; }
    std::size_t BufferBytes() const override;
    void LimitBuffers(std::size_t bytes) override;

    /// Where the array's pixels are read; null if it is sliced.
    const std::byte* Pixels() const noexcept { return m_pixels; }
    /// Lets go of the array, once everything has been read; its size and type stay known.
    void Release();
    /// What slicing has thrown; nothing if it has not.
    std::exception_ptr Failure() const noexcept { return m_failure; }

  private:
    void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) override;
    void fetch(long long piece);

    std::string m_argument;
    py::object m_array;
    volume::SImageInfo m_info;
    std::vector<std::string> m_files;
    const std::byte* m_pixels = nullptr;
    bool m_givesPagesBack = false; // of a mapped file, once they were read
    long long m_pieceSlices = 1;   // fetched at a time
    long long m_piece = -1;        // the one fetched last
    py::object m_pieceArray;
    std::exception_ptr m_failure;
};

} // namespace TEVRA::python
