// SPDX-License-Identifier: BSD-3-Clause
#include "stream/SliceSink.h"

#include "Axes/Markers.h"

#include <algorithm>

namespace TEVRA::stream {
namespace {

float* offset(const std::unique_ptr<float[]>& map, std::size_t pixels) {
    return map ? map.get() + pixels : nullptr;
}

void copy_unless_there(const float* from, std::size_t count, float* to) {
    if (from != nullptr && to != nullptr && from != to) {
        std::copy_n(from, count, to);
    }
}

} // namespace

ISliceSink::~ISliceSink() = default;

SAngleSlices ISliceSink::Place(const SSliceRange& /*slices*/) {
    return {};
}

void ISliceSink::TakeGrey(const SSliceRange& /*slices*/, const std::byte* /*pixels*/) {}

bool CSinkFan::WantsConfidence() const {
    return m_expectsConfidence || std::any_of(m_sinks.begin(), m_sinks.end(),
                                              [](const ISliceSink* sink) { return sink->WantsConfidence(); });
}

bool CSinkFan::WantsAngles() const {
    return m_expectsAngles || std::any_of(m_sinks.begin(), m_sinks.end(),
                                          [](const ISliceSink* sink) { return sink->WantsAngles(); });
}

SAngleSlices CSinkFan::Place(const SSliceRange& slices) {
    for (ISliceSink* const sink : m_sinks) {
        const SAngleSlices place = sink->Place(slices);
        if (place.theta != nullptr) {
            return place;
        }
    }
    return {};
}

void CSinkFan::TakeAngles(const SFoundSlices& found) {
    for (ISliceSink* const sink : m_sinks) {
        if (sink->WantsAngles()) {
            sink->TakeAngles(found);
        }
    }
}

void CSinkFan::TakeGrey(const SSliceRange& slices, const std::byte* pixels) {
    for (ISliceSink* const sink : m_sinks) {
        sink->TakeGrey(slices, pixels);
    }
}

CMapsInMemory::CMapsInMemory(const CSize& size, EMaps maps)
    : m_slicePixels(static_cast<std::size_t>(size[0] * size[1])), m_pixels(size.Elements()),
      m_theta(std::make_unique_for_overwrite<float[]>(m_pixels)),
      m_phi(size.Dim() == 3 ? std::make_unique_for_overwrite<float[]>(m_pixels) : nullptr),
      m_confidence(maps == EMaps::anglesAndConfidence ? std::make_unique_for_overwrite<float[]>(m_pixels)
                                                      : nullptr) {}

SAngleSlices CMapsInMemory::Place(const SSliceRange& slices) {
    const std::size_t first = static_cast<std::size_t>(slices.first) * m_slicePixels;
    return {offset(m_theta, first), offset(m_phi, first), offset(m_confidence, first)};
}

void CMapsInMemory::TakeAngles(const SFoundSlices& found) {
    const SAngleSlices place = CMapsInMemory::Place(found.slices);
    const std::size_t count = static_cast<std::size_t>(found.slices.Count()) * m_slicePixels;
    copy_unless_there(found.theta, count, place.theta);
    copy_unless_there(found.phi, count, place.phi);
    copy_unless_there(found.confidence, count, place.confidence);
    if (found.confidence == nullptr && place.confidence != nullptr) {
        std::fill_n(place.confidence, count, Impl::NO_CONFIDENCE);
    }
}

} // namespace TEVRA::stream
