// SPDX-License-Identifier: BSD-3-Clause
// What `tevra analyze` does: rows of slices from image to angles, and the sums of every subfield of 64 voxels
// along each axis and of the whole field. It does more than the other programs, which stop at the angles.
#include "Peer.h"
#include "stream/StreamingAnalysis.h"
#include "volume/MemoryReader.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace TEVRA::benchmarks {
namespace {

constexpr long long SUBFIELD_PX = 64;

class CTevraRows : public IPeer {
  public:
    explicit CTevraRows(const SPeerOptions& options) : m_options(options) {}

    void Prepare(SVolume volume) override {
        m_volume = std::move(volume);
        const CSize size(static_cast<long long>(m_volume.size[0]), static_cast<long long>(m_volume.size[1]),
                         static_cast<long long>(m_volume.size[2]));
        m_reader =
            std::make_unique<volume::CMemoryReader>(size, volume::EPixelType::u8, m_volume.grey.data());
        m_maps.reset();
    }
    void Compute() override {
        const CSize& size = m_reader->Info().size;
        const long long subfieldPx = std::min(SUBFIELD_PX, size[0] / 2);
        Impl::SAnalysisRequest parameters;
        parameters.fiberRadius = m_options.sigmaPx;
        const stream::SEstimator* const estimator = stream::EstimatorNamed(m_options.estimator);
        if (estimator == nullptr) {
            throw std::invalid_argument("there is no estimator '" + m_options.estimator + "'");
        }
        parameters.otsuFactor = estimator == &stream::HESSIAN ? m_options.otsuFactor : estimator->otsuFactor;
        parameters.estimator = estimator->name;
        parameters.subfieldPx = {subfieldPx, subfieldPx, subfieldPx};
        stream::SStreamResources resources;
        resources.threads = m_options.threads;
        resources.memoryBytes = stream::DefaultBudget();
        const auto process = stream::SingleProcess();
        m_maps.emplace(size);
        stream::CStreamingAnalysis analysis({*m_reader, nullptr, std::nullopt, estimator}, parameters,
                                            resources, *process, &*m_maps);
        m_result = analysis.Run();
    }
    std::span<const float> Theta() const override { return m_maps->Theta(); }
    std::span<const float> Phi() const override { return m_maps->Phi(); }

  private:
    SPeerOptions m_options;
    SVolume m_volume;
    std::unique_ptr<volume::CMemoryReader> m_reader;
    std::optional<stream::CMapsInMemory> m_maps;
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
