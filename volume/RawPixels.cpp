// SPDX-License-Identifier: BSD-3-Clause
#include "volume/RawPixels.h"

#include "volume/Failure.h"

#include <filesystem>
#include <system_error>

namespace TEVRA::volume {

unsigned long long FileBytes(const std::string& path) {
    std::error_code error;
    const std::uintmax_t bytes = std::filesystem::file_size(path, error);
    if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory) {
        throw CInputError(path + ": there is no such file");
    }
    if (error) {
        throw CEnvironmentError(path + ": cannot be read: " + error.message());
    }
    return bytes;
}

CRawPixels::CRawPixels(const std::string& path, const SRawPixelsLayout& layout)
    : m_path(path), m_layout(layout) {
    const unsigned long long present = FileBytes(path);
    const unsigned long long needed = layout.offsetBytes + layout.pixelsPerSlice *
                                                               static_cast<std::size_t>(layout.sliceCount) *
                                                               BytesPerPixel(layout.type);
    if (present < needed) {
        throw CInputError(path + ": the file is truncated: its header announces " + std::to_string(needed) +
                          " bytes, but it has " + std::to_string(present));
    }
    m_file.open(path, std::ios::binary);
    if (!m_file) {
        throw CEnvironmentError(path + ": cannot be opened for reading; check its permissions");
    }
}

void CRawPixels::Read(long long firstSlice, long long sliceCount, std::byte* pixels) {
    const std::size_t count = m_layout.pixelsPerSlice;
    const std::size_t storedBytes = count * BytesPerPixel(m_layout.type);
    const std::size_t handedOutBytes = count * BytesPerPixel(HandedOutType(m_layout.type));
    const bool converts = storedBytes != handedOutBytes;
    for (long long slice = 0; slice < sliceCount; ++slice) {
        std::byte* target = pixels + static_cast<std::size_t>(slice) * handedOutBytes;
        m_stored.resize(converts ? storedBytes : 0);
        std::byte* stored = converts ? m_stored.data() : target;
        read_stored(m_layout.offsetBytes + static_cast<std::size_t>(firstSlice + slice) * storedBytes,
                    storedBytes, stored);
        if (NeedsSwap(m_layout.byteOrder)) {
            SwapBytes(stored, count, BytesPerPixel(m_layout.type));
        }
        if (converts) {
            ConvertStored(m_layout.type, stored, count, target);
        }
    }
}

void CRawPixels::read_stored(unsigned long long offsetBytes, std::size_t bytes, std::byte* stored) {
    m_file.clear();
    m_file.seekg(static_cast<std::streamoff>(offsetBytes));
    m_file.read(reinterpret_cast<char*>(stored), static_cast<std::streamsize>(bytes));
    if (!m_file) {
        throw CEnvironmentError(m_path + ": reading failed before the end of the file");
    }
}

} // namespace TEVRA::volume
