// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/FileChecks.h"

#include "stream/OpenFile.h"

#include <algorithm>
#include <cstdint>
#include <fcntl.h>
#include <iomanip>
#include <span>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace TEVRA::jobs {

namespace {

class CFnv1a {
  public:
    void Add(std::span<const unsigned char> bytes) {
        for (const unsigned char byte : bytes) {
            m_hash = (m_hash ^ byte) * 0x100000001b3U;
        }
    }
    std::string Text() const {
        std::ostringstream text;
        text << std::hex << std::setw(16) << std::setfill('0') << m_hash;
        return text.str();
    }

  private:
    std::uint64_t m_hash = 0xcbf29ce484222325U;
};

struct SFilePart {
    std::string path;
    off_t bytes = 0;
};

/// Files as if they were one.
class CFileBytes {
  public:
    /// @param flags for `open` besides the usual ones.
    explicit CFileBytes(int flags) : m_flags(O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags) {}

    /// @return whether that is a plain file that can be read.
    bool Add(const std::string& path) {
        const stream::COpenFile opened(open(path.c_str(), m_flags));
        struct stat status {};
        if (!opened.IsOpen() || fstat(opened.Descriptor(), &status) != 0 || !S_ISREG(status.st_mode)) {
            return false;
        }
        m_parts.push_back({path, status.st_size}); // not open: folders of slices have thousands
        m_bytes += status.st_size;
        return true;
    }
    off_t Bytes() const noexcept { return m_bytes; }

    bool AddTo(CFnv1a& hash, off_t first, off_t count) const {
        for (const SFilePart& part : m_parts) {
            const off_t here = std::clamp<off_t>(part.bytes - first, 0, count);
            if (here > 0) {
                const stream::COpenFile opened(open(part.path.c_str(), m_flags));
                if (!opened.IsOpen() || !add_bytes(hash, opened.Descriptor(), first, here)) {
                    return false;
                }
            }
            count -= here;
            first = std::max<off_t>(0, first - part.bytes);
        }
        return count == 0;
    }

  private:
    static bool add_bytes(CFnv1a& hash, int file, off_t first, off_t count) {
        std::vector<unsigned char> buffer(std::size_t{1} << 16);
        while (count > 0) {
            const auto wanted =
                static_cast<std::size_t>(std::min<off_t>(count, static_cast<off_t>(buffer.size())));
            const ssize_t read = pread(file, buffer.data(), wanted, first);
            if (read <= 0) {
                return false;
            }
            hash.Add(std::span(buffer).first(static_cast<std::size_t>(read)));
            first += read;
            count -= read;
        }
        return true;
    }

    int m_flags;
    std::vector<SFilePart> m_parts;
    off_t m_bytes = 0;
};

std::optional<report::SFileCheck> check_of(const CFileBytes& files, const std::string& name) {
    constexpr off_t WHOLE_BYTES = off_t{1} << 20;
    constexpr off_t BLOCKS = 64;
    constexpr off_t BLOCK_BYTES = 4096;
    CFnv1a hash;
    const off_t bytes = files.Bytes();
    report::SFileCheck check{name, static_cast<unsigned long long>(bytes), {}};
    if (bytes <= WHOLE_BYTES) {
        if (!files.AddTo(hash, 0, bytes)) {
            return std::nullopt;
        }
    } else {
        check.checksumOf = std::to_string(BLOCKS) + " blocks of " + std::to_string(BLOCK_BYTES) + " bytes";
        const off_t lastBlock = bytes - BLOCK_BYTES;
        for (off_t block = 0; block < BLOCKS; ++block) {
            // The first and the last block are those of the file; the quotient first, for large files.
            const off_t at =
                lastBlock / (BLOCKS - 1) * block + lastBlock % (BLOCKS - 1) * block / (BLOCKS - 1);
            if (!files.AddTo(hash, at, BLOCK_BYTES)) {
                return std::nullopt;
            }
        }
    }
    check.checksum = hash.Text();
    return check;
}

} // namespace

std::optional<report::SFileCheck> CheckOf(const std::filesystem::path& file, const std::string& name) {
    CFileBytes bytes(O_NOFOLLOW);
    return bytes.Add(file.string()) ? check_of(bytes, name) : std::nullopt;
}

std::optional<report::SFileCheck> CheckOfInput(const std::vector<std::string>& files) {
    CFileBytes bytes(0);
    for (const std::string& file : files) {
        if (!bytes.Add(file)) {
            return std::nullopt;
        }
    }
    return files.empty() ? std::nullopt : check_of(bytes, files.front());
}

} // namespace TEVRA::jobs
