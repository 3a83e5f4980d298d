// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/SliceRange.h"

#include "zeklib2image/Size.h"

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace TEVRA::stream {

/// Memory for what an analysis finds in some slices.
struct SAngleSlices {
    float* theta = nullptr;
    float* phi = nullptr;        ///< null in 2D
    float* confidence = nullptr; ///< null if nobody wants it
};

/// What an analysis has found in some slices; pixels of all of them, x fastest.
struct SFoundSlices {
    SSliceRange slices;
    const float* theta = nullptr; ///< as in the maps of CHessianOrientations
    const float* phi = nullptr;   ///< the same; null in 2D
    /// Of the axes, in [0, 1], 0 where there is none; null for stages without one, or if no sink wants it.
    const float* confidence = nullptr;
};

/// Takes slices of an analysis: angles, and the image's grey values. One call at a time, of any thread; what
/// pointers lead to is gone after the call, unless it is the sink's own memory.
class ISliceSink {
  public:
    ISliceSink() = default;
    ISliceSink(const ISliceSink&) = delete;
    ISliceSink& operator=(const ISliceSink&) = delete;
    virtual ~ISliceSink();

    /// Whether the confidence is of use. Asked before the analysis begins.
    virtual bool WantsConfidence() const { return false; }
    /// Whether it takes angles. Those that nobody takes are not kept.
    virtual bool WantsAngles() const { return true; }
    /// Where the angles of these slices shall be put, for a sink that keeps maps in memory; nothing for memory
    /// of the analysis.
    virtual SAngleSlices Place(const SSliceRange& slices);
    /// Takes complete slices in ascending order. They lie at the sink's own place if it gave one.
    virtual void TakeAngles(const SFoundSlices& found) = 0;
    /// Takes slices of the image as its file holds them, in ascending order, before any angles. A run that goes
    /// on with the volumes of an earlier one reads no image, and one may be read twice where it has values that
    /// are no numbers.
    virtual void TakeGrey(const SSliceRange& slices, const std::byte* pixels);
};

/// Hands what it is given to any number of sinks, in the order in which they were added.
class CSinkFan : public ISliceSink {
  public:
    CSinkFan() = default;
    CSinkFan(std::initializer_list<ISliceSink*> sinks) : m_sinks(sinks) {}
    /// @param sink must outlive the analysis.
    void Add(ISliceSink& sink) { m_sinks.push_back(&sink); }
    /// A sink that wants confidence may be added after the analysis has been planned.
    void ExpectConfidence() { m_expectsConfidence = true; }

    bool WantsConfidence() const override;
    /// A sink that wants angles will be added before the run: the analysis plans its memory for it.
    void ExpectAngles() { m_expectsAngles = true; }

    bool WantsAngles() const override;
    /// The place of the first sink that gives one; the others are handed that memory.
    SAngleSlices Place(const SSliceRange& slices) override;
    void TakeAngles(const SFoundSlices& found) override;
    void TakeGrey(const SSliceRange& slices, const std::byte* pixels) override;

  private:
    std::vector<ISliceSink*> m_sinks;
    bool m_expectsConfidence = false;
    bool m_expectsAngles = false;
};

/// The maps of an analysis in memory.
class CMapsInMemory : public ISliceSink {
  public:
    enum class EMaps { angles, anglesAndConfidence };

    /// @param size of the image. The memory is not set to anything: it is filled by the analysis, the map of
    /// confidence with 0 if the estimator has none.
    explicit CMapsInMemory(const CSize& size, EMaps maps = EMaps::angles);

    bool WantsConfidence() const override { return m_confidence != nullptr; }
    SAngleSlices Place(const SSliceRange& slices) override;
    /// Copies what does not lie at its place yet.
    void TakeAngles(const SFoundSlices& found) override;

    std::span<const float> Theta() const { return {m_theta.get(), m_pixels}; }
    std::span<const float> Phi() const { return {m_phi.get(), m_phi ? m_pixels : 0}; }
    std::span<const float> Confidence() const { return {m_confidence.get(), m_confidence ? m_pixels : 0}; }

  private:
    std::size_t m_slicePixels;
    std::size_t m_pixels;
    std::unique_ptr<float[]> m_theta;
    std::unique_ptr<float[]> m_phi;        // null in 2D
    std::unique_ptr<float[]> m_confidence; // null if not asked for
};

} // namespace TEVRA::stream
