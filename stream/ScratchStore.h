// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/SliceRange.h"

#include <cstddef>
#include <span>
#include <string>
#include <sys/types.h>

namespace TEVRA::stream {

/// Where intermediate slices are kept.
struct SScratchPlace {
    enum class EKind { memory, file };
    EKind kind = EKind::memory;
    std::string folder{}; ///< of the temporary file
    /// A file with this name, to be kept by the caller; none for a nameless one.
    std::string file{};
    /// Whether the named file is made, which nothing of that name may exist for, or one of the right length
    /// is there and of use.
    enum class EContent { made, reused };
    EContent content = EContent::made;
};

/// A slice of one of the volumes of a store.
struct SStoredSlice {
    long long z = 0;
    int volume = 0;
};

/// Room for a range of float slices of one size, of one or more volumes: in memory, or in a temporary file that is mapped into the
/// address space.
///
/// The file has no name, unless one is given: it goes with the process, whatever ends it. All of its room is
/// taken at once, so that a full disk shows before the work and not as a crash in the middle of it.
class CScratchStore {
  public:
    /// @param slicePixels of one slice, 1 or more. @param volumes 1 or more.
    /// @throws std::bad_alloc, CScratchError if there is not enough room.
    CScratchStore(const SScratchPlace& place, const SSliceRange& slices, std::size_t slicePixels,
                  int volumes = 1);
    ~CScratchStore();
    CScratchStore(const CScratchStore&) = delete;
    CScratchStore& operator=(const CScratchStore&) = delete;

    const SSliceRange& Slices() const noexcept { return m_slices; }
    std::size_t SlicePixels() const noexcept { return m_slicePixels; }
    int Volumes() const noexcept { return m_volumes; }
    /// The pixels of a slice; those of the next slice of the same volume follow.
    float* Slice(long long z, int volume = 0) const noexcept { return m_pixels + index_of({z, volume}); }

    /// A strip is the same pixels of each slice, side by side: pixels `first` on. In a file they are copied, since
    /// mapped files come into memory in pieces of the system's choice.
    bool IsInFile() const noexcept { return m_place.kind == SScratchPlace::EKind::file; }
    /// Copies `strip.size()` pixels of one slice out of a file, or into it; callable by several threads.
    /// @throws volume::CEnvironmentError if that fails.
    void Load(const SStoredSlice& slice, std::size_t first, std::span<float> strip) const;
    void Save(const SStoredSlice& slice, std::size_t first, std::span<const float> strip);
    /// Brings what has been written to a file onto the disk. @throws volume::CEnvironmentError if that fails.
    void Sync();
    /// Lets the system evict what has been touched from memory: in a file it is still there.
    void Evict() noexcept;
    /// Fetches the memory of a slice that is about to be written first, at once instead of page by page.
    void Fetch(long long z, int volume = 0) noexcept;
    /// The slices below `z` are never looked at again: gives their memory back, if they are in memory.
    void DiscardBelow(long long z) noexcept;

  private:
    void map_memory();
    void map_file();
    void require_progress(ssize_t count) const;
    void release() noexcept;
    /// Position of a slice's first pixel: the volumes follow each other.
    std::size_t index_of(const SStoredSlice& slice) const noexcept {
        return static_cast<std::size_t>(slice.volume * m_slices.Count() + slice.z - m_slices.first) *
               m_slicePixels;
    }
    std::size_t offset_of(const SStoredSlice& slice, std::size_t first) const noexcept {
        return (index_of(slice) + first) * sizeof(float);
    }

    SSliceRange m_slices;
    std::size_t m_slicePixels;
    int m_volumes;
    std::size_t m_bytes;
    SScratchPlace m_place;
    long long m_discardedBelow;
    int m_file = -1;
    float* m_pixels = nullptr;
};

/// "1.5 GB": a number of bytes as people write it, rounded up.
std::string BytesText(std::size_t bytes);

} // namespace TEVRA::stream
