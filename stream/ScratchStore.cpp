// SPDX-License-Identifier: BSD-3-Clause
#include "stream/ScratchStore.h"

#include "stream/Failure.h"
#include "zeklib2image/PrefaultPages.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <iomanip>
#include <new>
#include <sstream>
#include <string_view>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace TEVRA::stream {
namespace {

[[noreturn]] void fail(const std::string& folder, std::size_t bytes, int reason) {
    throw CScratchError("cannot keep " + BytesText(bytes) + " of intermediate images in '" + folder +
                        "': " + std::generic_category().message(reason));
}

/// A file without a name, open for reading and writing. @return its descriptor, or -1.
int open_nameless_file(const std::string& folder) {
    const int file = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) {
        return file;
    }
    // The file system knows no such files: one that loses its name at once.
    std::string name = folder + "/.tevra-XXXXXX";
    const int named = mkostemp(name.data(), O_CLOEXEC);
    if (named >= 0) {
        unlink(name.c_str());
    }
    return named;
}

/// Never through a link, and never one that is there in place of one to be made. @return as above.
int open_named_file(const std::string& name, bool isMade) {
    return open(name.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | (isMade ? O_CREAT | O_EXCL : 0), 0600);
}

} // namespace

CScratchStore::CScratchStore(const SScratchPlace& place, const SSliceRange& slices, std::size_t slicePixels,
                             int volumes)
    : m_slices(slices), m_slicePixels(slicePixels), m_volumes(volumes),
      m_bytes(static_cast<std::size_t>(volumes * slices.Count()) * slicePixels * sizeof(float)),
      m_place(place), m_discardedBelow(slices.first) {
    if (m_place.kind == SScratchPlace::EKind::memory) {
        map_memory();
        return;
    }
    try {
        map_file();
    } catch (...) {
        release();
        throw;
    }
}

CScratchStore::~CScratchStore() {
    release();
}

void CScratchStore::release() noexcept {
    if (m_pixels != nullptr) {
        munmap(m_pixels, m_bytes);
    }
    if (m_file >= 0) {
        close(m_file);
    }
}

void CScratchStore::map_memory() {
    void* const memory =
        mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    m_pixels = static_cast<float*>(memory);
}

void CScratchStore::map_file() {
    const bool isNamed = !m_place.file.empty();
    const bool isMade = m_place.content == SScratchPlace::EContent::made;
    m_file = isNamed ? open_named_file(m_place.file, isMade) : open_nameless_file(m_place.folder);
    if (m_file < 0) {
        fail(m_place.folder, m_bytes, errno);
    }
    if (const int reason = posix_fallocate(m_file, 0, static_cast<off_t>(m_bytes)); reason != 0) {
        if (isNamed && isMade) {
            unlink(m_place.file.c_str()); // what there was room for fills the disk and helps nobody
        }
        fail(m_place.folder, m_bytes, reason);
    }
    void* const memory = mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, m_file, 0);
    if (memory == MAP_FAILED) {
        fail(m_place.folder, m_bytes, errno);
    }
    m_pixels = static_cast<float*>(memory);
}

/// @param count that `pread` or `pwrite` gave: none are left of a file that somebody has cut off.
void CScratchStore::require_progress(ssize_t count) const {
    if (count == 0 || (count < 0 && errno != EINTR)) {
        fail(m_place.folder, m_bytes, count == 0 ? EIO : errno);
    }
}

void CScratchStore::Load(const SStoredSlice& slice, std::size_t first, std::span<float> strip) const {
    const std::span<std::byte> bytes = std::as_writable_bytes(strip);
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t count = pread(m_file, bytes.data() + done, bytes.size() - done,
                                    static_cast<off_t>(offset_of(slice, first) + done));
        require_progress(count);
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
}

void CScratchStore::Save(const SStoredSlice& slice, std::size_t first, std::span<const float> strip) {
    const std::span<const std::byte> bytes = std::as_bytes(strip);
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t count = pwrite(m_file, bytes.data() + done, bytes.size() - done,
                                     static_cast<off_t>(offset_of(slice, first) + done));
        require_progress(count);
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
}

void CScratchStore::Sync() {
    if (IsInFile() && (msync(m_pixels, m_bytes, MS_SYNC) != 0 || fsync(m_file) != 0)) {
        fail(m_place.folder, m_bytes, errno);
    }
}

void CScratchStore::Evict() noexcept {
    if (m_place.kind == SScratchPlace::EKind::file && m_pixels != nullptr) {
        madvise(m_pixels, m_bytes, MADV_DONTNEED);
    }
}

void CScratchStore::Fetch(long long z, int volume) noexcept {
    if (m_place.kind == SScratchPlace::EKind::memory) {
        Impl::PrefaultPages(Slice(z, volume), m_slicePixels * sizeof(float));
    }
}

void CScratchStore::DiscardBelow(long long z) noexcept {
    if (m_place.kind != SScratchPlace::EKind::memory || z <= m_discardedBelow) {
        return;
    }
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const long long end = std::min(z, m_slices.end);
    for (int volume = 0; volume < m_volumes; ++volume) {
        // Whole pages only, and none of the volume before.
        const std::size_t volumeStart = offset_of({m_slices.first, volume}, 0);
        const std::size_t from = std::max(offset_of({m_discardedBelow, volume}, 0) / page * page,
                                          (volumeStart + page - 1) / page * page);
        const std::size_t to = offset_of({end, volume}, 0) / page * page;
        if (to > from) {
            madvise(reinterpret_cast<std::byte*>(m_pixels) + from, to - from, MADV_DONTNEED);
        }
    }
    m_discardedBelow = end;
}

std::string BytesText(std::size_t bytes) {
    constexpr std::array<const char*, 5> UNITS{"kB", "MB", "GB", "TB", "PB"};
    auto amount = static_cast<double>(bytes) / 1024.0;
    std::size_t unit = 0;
    while (amount >= 1000.0 && unit + 1 < UNITS.size()) {
        amount /= 1024.0;
        ++unit;
    }
    const double step = amount < 10.0 ? 0.1 : 1.0;
    std::ostringstream text;
    text << std::fixed << std::setprecision(amount < 10.0 ? 1 : 0) << std::ceil(amount / step) * step << ' '
         << UNITS[unit];
    return text.str();
}

} // namespace TEVRA::stream
