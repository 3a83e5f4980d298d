// SPDX-License-Identifier: BSD-3-Clause
#include "stream/MemoryPlan.h"

#include "stream/Failure.h"
#include "stream/OrientationPass.h"
#include "stream/RankSlices.h"
#include "stream/TileAccumulator.h"
#include "stream/stages/AxisStage.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace TEVRA::stream {
namespace {

using EKind = SScratchPlace::EKind;

constexpr std::size_t MEGABYTE = std::size_t{1} << 20;
/// The program and its libraries, and each thread's stack, heap and buffers of the smoothing along x and y.
constexpr std::size_t PROGRAM_BYTES = 24 * MEGABYTE;
constexpr std::size_t BYTES_PER_THREAD = 3 * MEGABYTE;
/// Memory that comes with a slab of mapped slices at either end of it: the system maps files in pieces of up
/// to 2 MB.
constexpr std::size_t SLAB_SLACK = 4 * MEGABYTE;
/// A subfield's entry in the result document with its text in the result files.
constexpr std::size_t DOCUMENT_BYTES_PER_TILE = 16384;
constexpr std::size_t FOURTH_ORDER_BYTES_PER_TILE = 40960;
constexpr long long USEFUL_SLICES_PER_THREAD = 4;
/// Strips per slice: enough for processes to work side by side.
constexpr std::size_t USEFUL_STRIPS = 32;
constexpr std::size_t STRIPS_PER_PROCESS = 16;
constexpr std::size_t USEFUL_STRIP_PIXELS = 16384; // threads wait for each other at the end of each strip
constexpr std::size_t SMALLEST_STRIP_PIXELS = 4096;

std::size_t bytes_of(long long count, std::size_t bytesEach) {
    return static_cast<std::size_t>(count) * bytesEach;
}

/// Memory of the passes of one cut.
class CDemand {
  public:
    explicit CDemand(const SWorkload& workload)
        : m_workload(workload), m_scratch(workload.stage.Scratch()),
          m_own(SlicesOfRank(workload.imageSize[2], workload.processes, 0).Count()),
          m_slicePixels(static_cast<std::size_t>(workload.imageSize[0] * workload.imageSize[1])) {}

    long long Slices() const { return m_own; }
    std::size_t SlicePixels() const { return m_slicePixels; }

    std::size_t ScratchBytes() const {
        const long long room = m_scratch.roomSlices * (m_workload.processes > 1 ? 2 : 0);
        return bytes_of(std::min(m_own + room, m_workload.imageSize[2]) * m_scratch.volumes,
                        m_slicePixels * sizeof(float));
    }

    std::size_t PeakBytes(const SMemoryPlan& plan) const {
        const bool isInFile = plan.scratchKind == EKind::file;
        const std::size_t working =
            std::max({reading(plan, isInFile), stage_passes(plan), orientations(plan, isInFile)});
        const std::size_t scratch = isInFile ? 0 : plan.scratchBytes;
        const std::size_t document =
            bytes_of(m_workload.tiles,
                     m_workload.withFourthOrder ? FOURTH_ORDER_BYTES_PER_TILE : DOCUMENT_BYTES_PER_TILE);
        return ProgramBytes(m_workload.threads) + m_workload.readerBytes + m_workload.callersBytes +
               std::max(scratch + working, document);
    }

  private:
    std::size_t reading(const SMemoryPlan& plan, bool isInFile) const {
        const std::size_t raw = m_slicePixels * m_workload.bytesPerPixel;
        const std::size_t slab = bytes_of(plan.slabSlices, m_slicePixels * sizeof(float));
        return bytes_of(2 * plan.slabSlices + 1 + m_workload.threads, raw) +
               (isInFile ? slab + SLAB_SLACK : 0);
    }
    std::size_t stage_passes(const SMemoryPlan& plan) const {
        return m_workload.stage.PassBytes({m_own, m_slicePixels, plan.stripPixels, m_workload.threads,
                                           m_workload.processes, plan.scratchKind});
    }
    std::size_t orientations(const SMemoryPlan& plan, bool isInFile) const {
        const IAxisStage& stage = m_workload.stage;
        const long long width = m_workload.imageSize[0];
        const std::size_t maps = m_workload.wantsConfidenceMap ? 6 : 4; // two or three, twice
        const std::size_t slice = (m_workload.wantsAngles ? maps * m_slicePixels * sizeof(float) : 0) +
                                  (m_workload.hasMask ? 2 * m_slicePixels : 0) +
                                  CTileAccumulator<3>::BytesPerSlice(m_workload.tilesPerSlice);
        const std::size_t worker = stage.RowBytes() + OrientationBytesPerWorker(stage, width) +
                                   CTileAccumulator<3>::BytesPerWorker(width);
        const std::size_t mapped = bytes_of((plan.slabSlices + 2 * m_scratch.reachSlices) * m_scratch.volumes,
                                            m_slicePixels * sizeof(float)) +
                                   SLAB_SLACK;
        return bytes_of(plan.slabSlices, slice) + stage.PreparedBytes(plan.slabSlices, m_slicePixels) +
               (isInFile ? mapped : 0) + bytes_of(m_workload.threads, worker) +
               bytes_of(m_workload.tiles, sizeof(SSums<3>));
    }

    const SWorkload& m_workload;
    SStageScratch m_scratch;
    long long m_own;
    std::size_t m_slicePixels;
};

SMemoryPlan useful_plan(const SWorkload& workload, const CDemand& demand) {
    SMemoryPlan plan;
    plan.scratchBytes = demand.ScratchBytes();
    const auto slicePixels = static_cast<long long>(demand.SlicePixels());
    plan.slabSlices =
        std::max(USEFUL_SLICES_PER_THREAD * workload.threads, workload.stage.SlabSlices(slicePixels));
    plan.slabSlices = std::clamp(plan.slabSlices, 1LL, demand.Slices());
    const std::size_t strips =
        std::max(USEFUL_STRIPS, STRIPS_PER_PROCESS * static_cast<std::size_t>(workload.processes));
    plan.stripPixels = std::max(demand.SlicePixels() / strips,
                                workload.processes > 1 ? SMALLEST_STRIP_PIXELS : USEFUL_STRIP_PIXELS);
    return plan;
}

/// Halves a number, but not below `least`. @return whether it could.
template <typename T>
bool halve(T& number, T least) {
    const T half = std::max((number + 1) / 2, least);
    const bool isSmaller = half < number;
    number = std::min(half, number);
    return isSmaller;
}

} // namespace

std::size_t ProgramBytes(int threads) {
    return PROGRAM_BYTES + bytes_of(threads, BYTES_PER_THREAD);
}

SMemoryPlan PlanMemory(const SWorkload& workload, std::size_t budgetBytes) {
    const CDemand demand(workload);
    SMemoryPlan plan = useful_plan(workload, demand);
    plan.budgetBytes = budgetBytes;
    plan.peakBytes = demand.PeakBytes(plan);
    if (plan.peakBytes <= budgetBytes && !workload.keepsScratch) {
        return plan;
    }
    const std::size_t inMemory = plan.peakBytes;
    plan.scratchKind = EKind::file;
    for (bool canShrink = true; canShrink && (plan.peakBytes = demand.PeakBytes(plan)) > budgetBytes;) {
        const bool fewerSlices = halve(plan.slabSlices, 1LL);
        const bool smallerStrips = halve(plan.stripPixels, SMALLEST_STRIP_PIXELS);
        canShrink = fewerSlices || smallerStrips;
    }
    if (plan.peakBytes > budgetBytes) {
        // A file makes up for its own needs only where there are slices that memory need not hold.
        const std::size_t least = workload.keepsScratch ? plan.peakBytes : std::min(plan.peakBytes, inMemory);
        throw CMemoryLimitError("this analysis needs " + BytesText(least) +
                                " of memory at least, but is allowed " + BytesText(budgetBytes));
    }
    return plan;
}

std::size_t DefaultBudget() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageBytes = sysconf(_SC_PAGESIZE);
    constexpr std::size_t UNKNOWN = 1024 * MEGABYTE;
    const std::size_t machine = pages > 0 && pageBytes > 0
                                    ? static_cast<std::size_t>(pages) * static_cast<std::size_t>(pageBytes)
                                    : 2 * UNKNOWN;
    return std::min(machine, ControlGroupLimit().value_or(machine)) / 2;
}

std::optional<std::size_t> ControlGroupLimit(const std::string& root) {
    namespace fs = std::filesystem;
    std::optional<std::size_t> least;
    const auto take_limits = [&least](const fs::path& mount, const std::string& group, const char* name) {
        // Each group is bound by those above it. A container may see another path than its own: the top counts.
        fs::path folder = mount / fs::path(group).relative_path();
        for (bool isAbove = true; isAbove; folder = folder.parent_path()) {
            std::ifstream file(folder / name);
            std::size_t bytes = 0;
            if (file >> bytes && bytes > 0) { // "max" is no number
                least = std::min(bytes, least.value_or(bytes));
            }
            isAbove = folder != mount && folder.has_relative_path();
        }
    };
    std::ifstream groups(fs::path(root) / "proc/self/cgroup");
    const fs::path mounts = fs::path(root) / "sys/fs/cgroup";
    for (std::string line; std::getline(groups, line);) { // NUMBER:CONTROLLERS:PATH
        const std::size_t first = std::min(line.find(':'), line.size());
        const std::size_t second = line.find(':', first + 1);
        if (second == std::string::npos) {
            continue;
        }
        const std::string controllers = "," + line.substr(first + 1, second - first - 1) + ",";
        const std::string group = line.substr(second + 1);
        if (controllers == ",,") {
            take_limits(mounts, group, "memory.max");
            take_limits(mounts / "unified", group, "memory.max");
        } else if (controllers.find(",memory,") != std::string::npos) {
            take_limits(mounts / "memory", group, "memory.limit_in_bytes");
        }
    }
    return least;
}

} // namespace TEVRA::stream
