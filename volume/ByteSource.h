// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace TEVRA::volume {

/// Bytes that can be read from any place on: a file's, or what a compressed file unpacks to.
class IByteSource {
  public:
    IByteSource() = default;
    IByteSource(const IByteSource&) = delete;
    IByteSource& operator=(const IByteSource&) = delete;
    virtual ~IByteSource();

    /// Reads `bytes` bytes from `offsetBytes` on, all of them.
    /// @throws CInputError if the source ends before or is broken, CEnvironmentError if reading fails.
    virtual void Read(unsigned long long offsetBytes, std::size_t bytes, std::byte* target) = 0;

    /// The file that the bytes are from.
    virtual const std::string& Path() const = 0;
    /// Memory taken for reading.
    virtual std::size_t BufferBytes() const = 0;
};

/// The bytes of a file from `startBytes` on.
/// @throws CInputError if there is no such file, or it has less than `neededBytes` from there on;
///         CEnvironmentError if it cannot be opened.
std::unique_ptr<IByteSource> OpenFileBytes(const std::string& path, unsigned long long startBytes,
                                           unsigned long long neededBytes);

/// What the zlib or gzip data of a file from `startBytes` on unpack to, from `skippedBytes` of it on. Reading
/// on from where the last read ended is fast; reading from further before unpacks all from the start again.
/// @throws CInputError if there is no such file, or it is too short to unpack to `neededBytes` behind those
///         skipped; CEnvironmentError if it cannot be opened.
std::unique_ptr<IByteSource> OpenInflatedBytes(const std::string& path, unsigned long long startBytes,
                                               unsigned long long skippedBytes,
                                               unsigned long long neededBytes);

/// Bytes of a file. @throws CInputError if there is no such file, CEnvironmentError if it cannot be read.
unsigned long long FileBytes(const std::string& path);

} // namespace TEVRA::volume
