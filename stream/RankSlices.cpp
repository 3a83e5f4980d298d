// SPDX-License-Identifier: BSD-3-Clause
#include "stream/RankSlices.h"

#include <algorithm>

namespace TEVRA::stream {
namespace {

constexpr int HALO = 3; // tag of the messages

SSliceRange common(const SSliceRange& a, const SSliceRange& b) {
    const long long first = std::max(a.first, b.first);
    return {first, std::max(first, std::min(a.end, b.end))};
}

} // namespace

SSliceRange SlicesOfRank(long long depth, int ranks, int rank) {
    const long long each = depth / ranks;
    const long long more = depth % ranks;
    const long long first = rank * each + std::min<long long>(rank, more);
    return {first, first + each + (rank < more ? 1 : 0)};
}

SSliceRange WithHalo(const SSliceRange& range, long long slices, long long depth) {
    return {std::max(range.first - slices, 0LL), std::min(range.end + slices, depth)};
}

void ExchangeHalo(CScratchStore& store, long long slices, long long depth, ICommunicator& ranks) {
    const int me = ranks.Rank();
    const SSliceRange own = SlicesOfRank(depth, ranks.Size(), me);
    for (int other = 0; other < ranks.Size(); ++other) {
        const SSliceRange theirs = SlicesOfRank(depth, ranks.Size(), other);
        const SSliceRange wanted = common(WithHalo(theirs, slices, depth), own);
        for (long long z = wanted.first; other != me && z < wanted.end; ++z) {
            for (int volume = 0; volume < store.Volumes(); ++volume) {
                ranks.Send(other, HALO,
                           MessageOf(std::span<const float>(store.Slice(z, volume), store.SlicePixels())));
            }
        }
    }
    for (int other = 0; other < ranks.Size(); ++other) {
        const SSliceRange theirs = SlicesOfRank(depth, ranks.Size(), other);
        const SSliceRange missing = common(WithHalo(own, slices, depth), theirs);
        for (long long z = missing.first; other != me && z < missing.end; ++z) {
            for (int volume = 0; volume < store.Volumes(); ++volume) {
                CopyMessage(ranks.Receive(other, HALO),
                            std::as_writable_bytes(std::span(store.Slice(z, volume), store.SlicePixels())));
            }
        }
    }
    ranks.Flush();
}

} // namespace TEVRA::stream
