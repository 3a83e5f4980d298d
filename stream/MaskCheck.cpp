// SPDX-License-Identifier: BSD-3-Clause
#include "stream/MaskCheck.h"

#include "stream/MaskSlices.h"

#include "VexoBase/ProgressMonitor.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::stream {

void CheckMask(volume::IImageReader& reader, const SSliceRange& own, long long slabSlices,
               ICommunicator& ranks) {
    CMaskSlices mask(reader);
    std::vector<std::byte> pixels(static_cast<std::size_t>(std::min(slabSlices, own.Count())) *
                                  mask.SlicePixels());
    const long long slabs = SlabCount(own, slabSlices);
    CProgressReport report(CProgressMonitor::Obj(), slabs, "Reading mask...");
    std::optional<std::string> fault;
    try {
        for (long long slab = 0; slab < slabs; ++slab) {
            mask.Read(SlabOf(own, slabSlices, slab), pixels.data());
            report.Step();
        }
    } catch (const CMaskError& error) {
        fault = error.what();
    }
    if (ranks.Largest(fault ? 1.0 : 0.0) > 0.0) { // in somebody's slices
        throw CMaskError(
            fault.value_or("the mask is not two-valued: besides 0 it holds several values; give an "
                           "image of 0 and one other value"));
    }
    // Processes may have met different values.
    const double met = mask.Values().Foreground();
    const double none = std::numeric_limits<double>::infinity();
    volume::CMaskValues all;
    for (const double value :
         {ranks.Smallest(std::isnan(met) ? none : met), ranks.Largest(std::isnan(met) ? -none : met)}) {
        if (std::isfinite(value)) {
            AddMaskValue(all, value);
        }
    }
    if (ranks.Largest(mask.HasBackground() ? 1.0 : 0.0) == 0.0) {
        throw CMaskError("it is 0 nowhere, so that it would take every pixel for fiber; background is 0");
    }
}

} // namespace TEVRA::stream
