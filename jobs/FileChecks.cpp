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

bool add_bytes(CFnv1a& hash, int file, off_t first, off_t count) {
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

} // namespace

std::optional<report::SFileCheck> CheckOf(const std::filesystem::path& file, const std::string& name) {
    constexpr off_t WHOLE_BYTES = off_t{1} << 20;
    constexpr off_t BLOCKS = 64;
    constexpr off_t BLOCK_BYTES = 4096;
    const stream::COpenFile opened(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!opened.IsOpen() || fstat(opened.Descriptor(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    CFnv1a hash;
    const off_t bytes = status.st_size;
    if (bytes <= WHOLE_BYTES) {
        if (!add_bytes(hash, opened.Descriptor(), 0, bytes)) {
            return std::nullopt;
        }
    } else {
        const off_t lastBlock = bytes - BLOCK_BYTES;
        for (off_t block = 0; block < BLOCKS; ++block) {
            // The first and the last block are those of the file; the quotient first, for large files.
            const off_t at =
                lastBlock / (BLOCKS - 1) * block + lastBlock % (BLOCKS - 1) * block / (BLOCKS - 1);
            if (!add_bytes(hash, opened.Descriptor(), at, BLOCK_BYTES)) {
                return std::nullopt;
            }
        }
    }
    return report::SFileCheck{name, static_cast<unsigned long long>(bytes), hash.Text()};
}

} // namespace TEVRA::jobs
