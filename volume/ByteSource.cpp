// SPDX-License-Identifier: BSD-3-Clause
#include "volume/ByteSource.h"

#include "volume/Failure.h"
#include "volume/PackedSize.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <system_error>
#include <vector>

#include <zlib.h>

namespace TEVRA::volume {
namespace {

constexpr std::size_t CHUNK_BYTES = std::size_t{1} << 18;
constexpr std::size_t STREAM_BYTES = std::size_t{1} << 14;  // of an input stream's buffer, generously
constexpr std::size_t INFLATE_BYTES = std::size_t{1} << 16; // zlib's window of 32 kB and its tables
constexpr int ANY_HEADER = 15 + 32; // zlib's code for largest window, zlib or gzip header

std::ifstream open_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw CEnvironmentError(path + ": cannot be opened for reading; check its permissions");
    }
    return file;
}

class CFileBytes : public IByteSource {
  public:
    CFileBytes(const std::string& path, unsigned long long startBytes)
        : m_path(path), m_file(open_file(path)), m_startBytes(startBytes) {}

    void Read(unsigned long long offsetBytes, std::size_t bytes, std::byte* target) override {
        m_file.clear();
        m_file.seekg(static_cast<std::streamoff>(m_startBytes + offsetBytes));
        m_file.read(reinterpret_cast<char*>(target), static_cast<std::streamsize>(bytes));
        if (m_file.eof()) {
            throw CInputError(m_path + ": the file is truncated; copy or export it again");
        }
        if (!m_file) {
            throw CEnvironmentError(m_path + ": reading failed; check the disk or the network");
        }
    }
    const std::string& Path() const override { return m_path; }
    std::size_t BufferBytes() const override { return STREAM_BYTES; }

  private:
    std::string m_path;
    std::ifstream m_file;
    unsigned long long m_startBytes;
};

class CInflatedBytes : public IByteSource {
  public:
    CInflatedBytes(const std::string& path, unsigned long long startBytes, unsigned long long skippedBytes)
        : m_path(path), m_file(open_file(path)), m_startBytes(startBytes), m_skippedBytes(skippedBytes),
          m_input(CHUNK_BYTES) {
        if (inflateInit2(&m_stream, ANY_HEADER) != Z_OK) {
            throw std::bad_alloc();
        }
        rewind();
    }
    ~CInflatedBytes() override { inflateEnd(&m_stream); }

    void Read(unsigned long long offsetBytes, std::size_t bytes, std::byte* target) override {
        offsetBytes += m_skippedBytes;
        if (offsetBytes < m_position) {
            rewind();
        }
        std::vector<std::byte> skipped;
        while (m_position < offsetBytes) {
            skipped.resize(CHUNK_BYTES);
            unpack(
                static_cast<std::size_t>(std::min<unsigned long long>(CHUNK_BYTES, offsetBytes - m_position)),
                skipped.data());
        }
        unpack(bytes, target);
        check_sum();
    }
    const std::string& Path() const override { return m_path; }
    std::size_t BufferBytes() const override { return STREAM_BYTES + 2 * CHUNK_BYTES + INFLATE_BYTES; }

  private:
    void rewind() {
        m_file.clear();
        m_file.seekg(static_cast<std::streamoff>(m_startBytes));
        inflateReset2(&m_stream, ANY_HEADER);
        m_stream.avail_in = 0;
        m_position = 0;
        m_isPartDone = false;
    }

    void unpack(std::size_t bytes, std::byte* target) {
        while (bytes > 0) {
            const auto room =
                static_cast<uInt>(std::min<std::size_t>(bytes, std::numeric_limits<uInt>::max()));
            m_stream.next_out = reinterpret_cast<Bytef*>(target);
            m_stream.avail_out = room;
            inflate_once();
            const std::size_t done = room - m_stream.avail_out;
            bytes -= done;
            target += done;
            m_position += done;
        }
    }

    /// If the packed data ends where the last read did, its check sum comes next and tells broken pixels. What lies
    /// behind it is not looked at: it may be anything.
    void check_sum() {
        if (!m_isPartDone && refill()) {
            Bytef nowhere = 0;
            m_stream.next_out = &nowhere;
            m_stream.avail_out = 0;
            advance();
        }
    }

    /// False at the end of the file.
    bool refill() {
        if (m_stream.avail_in == 0) {
            m_file.read(reinterpret_cast<char*>(m_input.data()),
                        static_cast<std::streamsize>(m_input.size()));
            m_stream.next_in = m_input.data();
            m_stream.avail_in = static_cast<uInt>(m_file.gcount());
        }
        return m_stream.avail_in > 0;
    }

    void inflate_once() {
        if (!refill()) {
            fail("the file is truncated");
        }
        advance();
    }

    void advance() {
        const int status = inflate(&m_stream, Z_NO_FLUSH);
        m_isPartDone = status == Z_STREAM_END;
        if (m_isPartDone) {
            inflateReset2(&m_stream, ANY_HEADER); // gzip files may hold several parts, one after the other
        } else if (status != Z_OK && status != Z_BUF_ERROR) {
            fail("the compressed data is broken");
        }
    }

    [[noreturn]] void fail(const std::string& what) const {
        throw CInputError(m_path + ": " + what + "; copy or export it again");
    }

    std::string m_path;
    std::ifstream m_file;
    unsigned long long m_startBytes;
    unsigned long long m_skippedBytes;
    unsigned long long m_position = 0; // in the unpacked bytes
    bool m_isPartDone = false;         // and checked: nothing of the next one has been read
    std::vector<unsigned char> m_input;
    z_stream m_stream{};
};

} // namespace

IByteSource::~IByteSource() = default;

std::unique_ptr<IByteSource> OpenFileBytes(const std::string& path, unsigned long long startBytes,
                                           unsigned long long neededBytes) {
    const unsigned long long present = FileBytes(path);
    if (present < startBytes || present - startBytes < neededBytes) {
        throw CInputError(path + ": the file is truncated: the image takes " + std::to_string(neededBytes) +
                          " bytes from byte " + std::to_string(startBytes) + " on, but the file has " +
                          std::to_string(present) + " bytes; copy or export it again");
    }
    return std::make_unique<CFileBytes>(path, startBytes);
}

std::unique_ptr<IByteSource> OpenInflatedBytes(const std::string& path, unsigned long long startBytes,
                                               unsigned long long skippedBytes,
                                               unsigned long long neededBytes) {
    const unsigned long long present = FileBytes(path);
    const unsigned long long packed = present - std::min(present, startBytes);
    CheckPackedSize(path, static_cast<double>(skippedBytes) + static_cast<double>(neededBytes),
                    static_cast<double>(packed), DEFLATE_EXPANSION);
    return std::make_unique<CInflatedBytes>(path, startBytes, skippedBytes);
}

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

} // namespace TEVRA::volume
