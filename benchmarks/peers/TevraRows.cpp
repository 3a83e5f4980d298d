// SPDX-License-Identifier: BSD-3-Clause
// What `tevra analyze` does: rows of slices from image to angles, and the sums of every subfield of 64 voxels
// along each axis and of the whole field. It does more than the other programs, which stop at the angles.
#include "Peer.h"
#include "stream/StreamingAnalysis.h"
#include "volume/MemoryReader.h"

#include <algorithm>
#include <utility>

namespace TEVRA::benchmarks {
namespace {

constexpr long long SUBFIELD_PX = 64;

/// Maps in memory in the place of files.
class CMapSink : public stream::IAngleSink {
  public:
    CMapSink(float* theta, float* phi, std::size_t slicePixels)
        : m_theta(theta), m_phi(phi), m_slicePixels(slicePixels) {}

    stream::SAngleSlices Place(const stream::SSliceRange& slices) override {
        const std::size_t first = static_cast<std::size_t>(slices.first) * m_slicePixels;
        return {m_theta + first, m_phi + first};
    }
    void Write(const stream::SSliceRange& /*slices*/, const float* /*theta*/, const float* /*phi*/) override {
    }

  private:
    float* m_theta;
    float* m_phi;
    std::size_t m_slicePixels;
};

class CTevraRows : public IPeer {
  public:
    explicit CTevraRows(const SPeerOptions& options) : m_options(options) {}

    void Prepare(SVolume volume) override {
        m_volume = std::move(volume);
        const CSize size(static_cast<long long>(m_volume.size[0]), static_cast<long long>(m_volume.size[1]),
                         static_cast<long long>(m_volume.size[2]));
        m_reader =
            std::make_unique<volume::CMemoryReader>(size, volume::EPixelType::u8, m_volume.grey.data());
        m_theta.reset();
        m_phi.reset();
    }
    void Compute() override {
        const CSize& size = m_reader->Info().size;
        const long long subfieldPx = std::min(SUBFIELD_PX, size[0] / 2);
        stream::SStreamParameters parameters;
        parameters.fiberRadius = m_options.sigmaPx;
        parameters.otsuFactor = m_options.otsuFactor;
        parameters.subfieldPx = {subfieldPx, subfieldPx, subfieldPx};
        stream::SStreamResources resources;
        resources.threads = m_options.threads;
        resources.memoryBytes = stream::DefaultBudget();
        const auto process = stream::SingleProcess();
        stream::CStreamingAnalysis analysis({*m_reader}, parameters, resources, *process, true);
        m_theta = std::make_unique_for_overwrite<float[]>(m_volume.Voxels());
        m_phi = std::make_unique_for_overwrite<float[]>(m_volume.Voxels());
        CMapSink sink(m_theta.get(), m_phi.get(), m_reader->SliceBytes());
        m_result = analysis.Run(&sink);
    }
    std::span<const float> Theta() const override { return {m_theta.get(), m_volume.Voxels()}; }
    std::span<const float> Phi() const override { return {m_phi.get(), m_volume.Voxels()}; }

  private:
    SPeerOptions m_options;
    SVolume m_volume;
    std::unique_ptr<volume::CMemoryReader> m_reader;
    std::unique_ptr<float[]> m_theta;
    std::unique_ptr<float[]> m_phi;
    stream::SStreamResult m_result;
};

IPeer* make(const SPeerOptions& options) {
    return new CTevraRows(options);
}

} // namespace
} // namespace TEVRA::benchmarks

int main(int argc, char** argv) {
    return TEVRA::benchmarks::RunPeer(argc, argv, TEVRA::benchmarks::make);
}
