// SPDX-License-Identifier: BSD-3-Clause
// A filter bank as a plain loop around FFTW in single precision, in two manners.
//   --transform complex: as one writes it first. Full complex transforms, and an exponential per voxel.
//   --transform real: lean. Half spectra, and masks by recurrence: along y the logarithm of a mask is a
//     parabola, so that each value follows from the last by a factor, and the factor by another.
// Both plan with ESTIMATE or MEASURE (--planning); planning counts as part of the work.
#include "Foreground.h"
#include "Peer.h"

#include <fftw3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

namespace TEVRA::benchmarks {
namespace {

using Complex = std::complex<float>;
using Axis = std::array<double, 3>;

struct SFree {
    void operator()(void* memory) const { fftwf_free(memory); }
};
template <typename T>
using Buffer = std::unique_ptr<T[], SFree>;

template <typename T>
Buffer<T> allocate(std::size_t count) {
    return Buffer<T>(static_cast<T*>(fftwf_malloc(count * sizeof(T))));
}

struct SDestroy {
    void operator()(fftwf_plan plan) const { fftwf_destroy_plan(plan); }
};
using Plan = std::unique_ptr<std::remove_pointer_t<fftwf_plan>, SDestroy>;

fftwf_complex* raw(const Buffer<Complex>& buffer) {
    return reinterpret_cast<fftwf_complex*>(buffer.get());
}

/// Ranges of 0 to count - 1, one thread each.
void in_parallel(int threads, std::size_t count, const std::function<void(std::size_t, std::size_t)>& work) {
    const auto parts = static_cast<std::size_t>(threads);
    std::vector<std::jthread> helpers;
    for (std::size_t part = 1; part < parts; ++part) {
        helpers.emplace_back(work, part * count / parts, (part + 1) * count / parts);
    }
    work(0, count / parts);
}

std::vector<Axis> read_directions(const std::string& path) {
    std::ifstream file(path);
    std::vector<Axis> directions;
    Axis axis{};
    while (file >> axis[0] >> axis[1] >> axis[2]) {
        directions.push_back(axis);
    }
    if (directions.empty() || directions.size() > 255) {
        throw std::invalid_argument("--directions '" + path + "' is not a file of 1 to 255 axes");
    }
    return directions;
}

/// Frequencies of an axis in the transform's own order, in [-1, 1).
std::vector<double> frequencies(std::size_t extent) {
    std::vector<double> w(extent);
    const std::size_t centrePixel = extent / 2;
    const auto centre = static_cast<double>(centrePixel);
    for (std::size_t k = 0; k < extent; ++k) {
        w[k] =
            (static_cast<double>(k) - (k < extent - extent / 2 ? 0.0 : static_cast<double>(extent))) / centre;
    }
    return w;
}

/// Half the exponents of a filter: |w|^2 times `across`, (w . axis)^2 times `along`.
struct SFilter {
    double along;
    double across;

    double Exponent(const Axis& w, const Axis& axis) const {
        const double dot = w[0] * axis[0] + w[1] * axis[1] + w[2] * axis[2];
        return -0.5 * (along * dot * dot + across * (w[0] * w[0] + w[1] * w[1] + w[2] * w[2]));
    }
};

class CFftwBank : public IPeer {
  public:
    explicit CFftwBank(const SPeerOptions& options)
        : m_options(options), m_directions(read_directions(options.directions)),
          m_pad(
              static_cast<std::size_t>(std::lround(2.0 * std::max(options.majorWidth, options.minorWidth)))) {
        constexpr double WIDEST =
            30.0; // a recurrence that starts at w_y = 0 must not start from an underflow
        if (std::max(options.majorWidth, options.minorWidth) > WIDEST) {
            throw std::invalid_argument("widths above 30 are not for this program");
        }
        if (fftwf_init_threads() == 0) {
            throw std::runtime_error("FFTW cannot start threads");
        }
    }

    void Prepare(SVolume volume) override {
        m_volume = std::move(volume);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            m_padded[axis] = m_volume.size[axis] + 2 * m_pad;
            m_w[axis] = frequencies(m_padded[axis]);
        }
        m_isReal = m_options.transform == "real";
        m_rowLength = m_isReal ? m_padded[0] / 2 + 1 : m_padded[0];
        m_theta.reset();
        m_phi.reset();
    }

    void Compute() override {
        fftwf_plan_with_nthreads(m_options.threads);
        const std::size_t voxels = m_volume.Voxels();
        const std::size_t paddedVoxels = m_padded[0] * m_padded[1] * m_padded[2];
        m_scale = 1.0F / static_cast<float>(paddedVoxels);
        const auto spectrum = allocate<Complex>(m_rowLength * m_padded[1] * m_padded[2]);
        const auto filtered = allocate<Complex>(m_rowLength * m_padded[1] * m_padded[2]);
        const auto real = m_isReal ? allocate<float>(paddedVoxels) : nullptr;
        m_best = std::make_unique_for_overwrite<float[]>(voxels);
        m_index = std::make_unique_for_overwrite<std::uint8_t[]>(voxels);

        const auto start = std::chrono::steady_clock::now();
        const auto [forward, backward] = plans(spectrum, filtered, real);
        m_planning = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (m_isReal) {
            fill_padded(real.get());
        } else {
            fill_padded(spectrum.get());
        }
        fftwf_execute(forward.get());
        std::fill_n(m_best.get(), voxels, -1.0F);
        std::fill_n(m_index.get(), voxels, std::uint8_t{0});
        for (std::size_t d = 0; d < m_directions.size(); ++d) {
            in_parallel(m_options.threads, m_padded[2], [&](std::size_t first, std::size_t last) {
                for (std::size_t z = first; z < last; ++z) {
                    const std::size_t at = z * m_padded[1] * m_rowLength;
                    if (m_isReal) {
                        filter_plane_by_recurrence(&spectrum[at], &filtered[at], z, m_directions[d]);
                    } else {
                        filter_plane(&spectrum[at], &filtered[at], z, m_directions[d]);
                    }
                }
            });
            fftwf_execute(backward.get());
            in_parallel(m_options.threads, m_volume.size[2], [&](std::size_t first, std::size_t last) {
                if (m_isReal) {
                    keep_maximum(real.get(), first, last, static_cast<std::uint8_t>(d));
                } else {
                    keep_maximum(filtered.get(), first, last, static_cast<std::uint8_t>(d));
                }
            });
        }
        fill_maps();
    }

    std::span<const float> Theta() const override { return {m_theta.get(), m_volume.Voxels()}; }
    std::span<const float> Phi() const override { return {m_phi.get(), m_volume.Voxels()}; }
    double PlanningSeconds() const override { return m_planning; }

  private:
    std::pair<Plan, Plan> plans(const Buffer<Complex>& spectrum, const Buffer<Complex>& filtered,
                                const Buffer<float>& real) const {
        const unsigned flags = m_options.planning == "measure" ? FFTW_MEASURE : FFTW_ESTIMATE;
        const auto x = static_cast<int>(m_padded[0]);
        const auto y = static_cast<int>(m_padded[1]);
        const auto z = static_cast<int>(m_padded[2]);
        if (m_isReal) {
            return {Plan(fftwf_plan_dft_r2c_3d(z, y, x, real.get(), raw(spectrum), flags)),
                    Plan(fftwf_plan_dft_c2r_3d(z, y, x, raw(filtered), real.get(), flags))};
        }
        return {Plan(fftwf_plan_dft_3d(z, y, x, raw(spectrum), raw(spectrum), FFTW_FORWARD, flags)),
                Plan(fftwf_plan_dft_3d(z, y, x, raw(filtered), raw(filtered), FFTW_BACKWARD, flags))};
    }

    template <typename T>
    void fill_padded(T* padded) const {
        std::fill_n(padded, m_padded[0] * m_padded[1] * m_padded[2], T(0));
        const auto& size = m_volume.size;
        for (std::size_t z = 0; z < size[2]; ++z) {
            for (std::size_t y = 0; y < size[1]; ++y) {
                const unsigned char* const from = &m_volume.grey[(z * size[1] + y) * size[0]];
                std::transform(from, from + size[0], padded + padded_row(y, z),
                               [](unsigned char grey) { return T(static_cast<float>(grey)); });
            }
        }
    }

    /// The first pixel of an inner row in the padded image.
    std::size_t padded_row(std::size_t y, std::size_t z) const {
        return ((z + m_pad) * m_padded[1] + y + m_pad) * m_padded[0] + m_pad;
    }

    SFilter filter() const {
        const double across = m_options.minorWidth * m_options.minorWidth;
        return {m_options.majorWidth * m_options.majorWidth - across, across};
    }

    void filter_plane(const Complex* in, Complex* out, std::size_t z, const Axis& axis) const {
        const auto along = static_cast<float>(filter().along);
        const auto across = static_cast<float>(filter().across);
        const std::array<float, 3> v{static_cast<float>(axis[0]), static_cast<float>(axis[1]),
                                     static_cast<float>(axis[2])};
        const auto wz = static_cast<float>(m_w[2][z]);
        for (std::size_t y = 0; y < m_padded[1]; ++y) {
            const auto wy = static_cast<float>(m_w[1][y]);
            for (std::size_t x = 0; x < m_rowLength; ++x, ++in, ++out) {
                const auto wx = static_cast<float>(m_w[0][x]);
                const float dot = wx * v[0] + wy * v[1] + wz * v[2];
                const float square = wx * wx + wy * wy + wz * wz;
                *out = *in * std::exp(-0.5F * (along * dot * dot + across * square));
            }
        }
    }

    void filter_plane_by_recurrence(const Complex* in, Complex* out, std::size_t z, const Axis& axis) const {
        const std::size_t rows = m_padded[1];
        const std::size_t halfOfRows = rows / 2;
        const std::size_t behind = rows - rows / 2; // the first row of negative frequency
        std::vector<double> mask(m_rowLength);
        std::vector<double> factor(m_rowLength);
        for (const bool isForward : {true, false}) {
            const double step = (isForward ? 1.0 : -1.0) / static_cast<double>(halfOfRows);
            const SFilter f = filter();
            const double factorOfFactor = std::exp(-(f.along * axis[1] * axis[1] + f.across) * step * step);
            for (std::size_t x = 0; x < m_rowLength; ++x) {
                const double here = f.Exponent({m_w[0][x], 0.0, m_w[2][z]}, axis);
                mask[x] = std::exp(here);
                factor[x] = std::exp(f.Exponent({m_w[0][x], step, m_w[2][z]}, axis) - here);
            }
            const std::size_t count = isForward ? behind : rows - behind + 1;
            for (std::size_t k = 0; k < count; ++k) {
                if (isForward || k > 0) {
                    const std::size_t y = isForward ? k : rows - k;
                    multiply_row(in + y * m_rowLength, out + y * m_rowLength, mask);
                }
                for (std::size_t x = 0; x < m_rowLength; ++x) {
                    mask[x] *= factor[x];
                    factor[x] *= factorOfFactor;
                }
            }
        }
    }

    static void multiply_row(const Complex* in, Complex* out, const std::vector<double>& mask) {
        const auto* const from = reinterpret_cast<const float*>(in);
        auto* const to = reinterpret_cast<float*>(out);
        for (std::size_t x = 0; x < mask.size(); ++x) {
            const auto m = static_cast<float>(mask[x]);
            to[2 * x] = from[2 * x] * m;
            to[2 * x + 1] = from[2 * x + 1] * m;
        }
    }

    template <typename T>
    void keep_maximum(const T* responses, std::size_t first, std::size_t last, std::uint8_t direction) {
        const auto& size = m_volume.size;
        for (std::size_t z = first; z < last; ++z) {
            for (std::size_t y = 0; y < size[1]; ++y) {
                const T* const row = responses + padded_row(y, z);
                float* const best = &m_best[(z * size[1] + y) * size[0]];
                std::uint8_t* const index = &m_index[(z * size[1] + y) * size[0]];
                for (std::size_t x = 0; x < size[0]; ++x) {
                    const float response = std::real(row[x]) * m_scale;
                    index[x] = response > best[x] ? direction : index[x];
                    best[x] = response > best[x] ? response : best[x];
                }
            }
        }
    }

    void fill_maps() {
        constexpr double FACTOR = 1.05;
        const double threshold = ThresholdOf(std::span<const unsigned char>(m_volume.grey), FACTOR);
        std::array<SAngles, 256> angles{};
        for (std::size_t d = 0; d < m_directions.size(); ++d) {
            angles[d] = AnglesOf(m_directions[d]);
        }
        const std::size_t voxels = m_volume.Voxels();
        m_theta = std::make_unique_for_overwrite<float[]>(voxels);
        m_phi = std::make_unique_for_overwrite<float[]>(voxels);
        for (std::size_t i = 0; i < voxels; ++i) {
            const bool isExcluded = threshold > static_cast<double>(m_volume.grey[i]);
            const SAngles found = isExcluded ? NO_AXIS : angles[m_index[i]];
            m_theta[i] = found.theta;
            m_phi[i] = found.phi;
        }
    }

    SPeerOptions m_options;
    std::vector<Axis> m_directions;
    std::size_t m_pad;
    bool m_isReal = true;
    SVolume m_volume;
    std::array<std::size_t, 3> m_padded{};
    std::size_t m_rowLength = 0;
    std::array<std::vector<double>, 3> m_w;
    float m_scale = 1.0F;
    double m_planning = 0.0;
    std::unique_ptr<float[]> m_best;
    std::unique_ptr<std::uint8_t[]> m_index;
    std::unique_ptr<float[]> m_theta;
    std::unique_ptr<float[]> m_phi;
};

IPeer* make(const SPeerOptions& options) {
    return new CFftwBank(options);
}

} // namespace
} // namespace TEVRA::benchmarks

int main(int argc, char** argv) {
    return TEVRA::benchmarks::RunPeer(argc, argv, TEVRA::benchmarks::make);
}
