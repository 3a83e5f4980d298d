// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/ScratchStore.h"

#include "zeklib2image/Size.h"

#include <cstddef>
#include <optional>
#include <string>

namespace TEVRA::stream {

class IAxisStage;

/// What the memory of an analysis depends on.
struct SWorkload {
    CSize imageSize;
    const IAxisStage& stage;       ///< of the estimator
    std::size_t bytesPerPixel = 1; ///< of the image as its file holds it
    std::size_t readerBytes = 0;   ///< that the readers of image and mask take for themselves
    std::size_t callersBytes = 0;  ///< of the caller's sinks and accumulators
    bool hasMask = false;
    bool wantsAngles = false;
    bool wantsConfidenceMap = false; ///< besides angles; only where the stage has a confidence
    bool withFourthOrder = false;
    long long tiles = 1; ///< of the layout, along all axes
    long long tilesPerSlice = 1;
    int threads = 1;
    bool keepsScratch = false; ///< in a file, for a later run
    int processes = 1;         ///< that share the slices
};

/// How an analysis is cut so that it obeys a budget of memory; of one process, the one with most slices.
struct SMemoryPlan {
    std::size_t budgetBytes = 0;
    std::size_t peakBytes = 0;    ///< most memory that is expected to be in use at a time
    std::size_t scratchBytes = 0; ///< of smoothed slices, in memory (part of the peak) or in a file
    SScratchPlace::EKind scratchKind = SScratchPlace::EKind::memory;
    long long slabSlices = 1;    ///< read, worked on and written at a time
    std::size_t stripPixels = 1; ///< of every slice, smoothed across slices at a time
};

/// The program and its libraries, and each thread's stack, heap and small buffers.
std::size_t ProgramBytes(int threads);

/// The plan for a budget: scratch in memory if that fits, else in a file, and slabs and strips as large as
/// is useful and fits.
/// @throws CMemoryLimitError if the budget is too small for any plan, naming what is needed.
SMemoryPlan PlanMemory(const SWorkload& workload, std::size_t budgetBytes);

/// Half of the machine's memory, or of what the control group of this process may use if that is less.
std::size_t DefaultBudget();

/// What the control group of this process, or one above it, may use; nothing if there is no limit.
/// @param root folder that /proc and /sys lie in.
std::optional<std::size_t> ControlGroupLimit(const std::string& root = "/");

} // namespace TEVRA::stream
