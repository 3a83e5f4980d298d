// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/RowKernels.h"

#include "Axes/SegmentKernels.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace TEVRA::Impl {
namespace {

const SSegmentKernels& kernels_of(EInstructionSet set) {
    return LoopsFor<segments::baseline::SEGMENT_KERNELS, segments::avx2::SEGMENT_KERNELS,
                    segments::avx512::SEGMENT_KERNELS>(set);
}

/// Calls `operation(first, count)` for every segment of a row.
template <typename OperationT>
void for_each_segment(std::size_t count, const OperationT& operation) {
    for (std::size_t first = 0; first < count; first += SEGMENT_PIXELS) {
        operation(first, std::min(SEGMENT_PIXELS, count - first));
    }
}

/// Hands Hessians that have no closed form to the decomposition. @return how many have no axis in the end.
template <std::size_t Dim>
std::size_t decompose(const SAxesOfSegment& segment, std::size_t count) {
    if (count == 0) {
        return 0;
    }
    CHessianAxis<Dim> kernel(segment.isSmallest ? EEigenvalue::smallest : EEigenvalue::largest);
    std::size_t failures = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t x = segment.failed[i];
        const std::size_t at = segment.failedAt[i];
        std::size_t entry = 0;
        for (std::size_t row = 0; row < Dim; ++row) {
            for (std::size_t col = row; col < Dim; ++col) {
                kernel.Set(row, col, static_cast<double>(segment.hessian[entry++][at]));
            }
        }
        std::array<double, Dim> axis{};
        const bool isFound = kernel.Decompose(axis);
        failures += isFound ? 0 : 1;
        if constexpr (Dim == 3) {
            const SAxisAngles angles = isFound ? AnglesOfAxis(axis) : SAxisAngles{NO_COLATITUDE, NO_ANGLE};
            segment.theta[x] = angles.colatitudeRad;
            segment.phi[x] = angles.longitudeRad;
        } else {
            segment.theta[x] = isFound ? AngleOfAxis(axis) : NO_ANGLE;
        }
    }
    return failures;
}

template <std::size_t Dim, typename ArraysT>
auto pointers_to(ArraysT& arrays) {
    std::array<decltype(arrays[0].data()), Dim> pointers{};
    for (std::size_t component = 0; component < Dim; ++component) {
        pointers[component] = arrays[component].data();
    }
    return pointers;
}

/// Unit axes of packed angles, which have room behind them.
template <std::size_t Dim>
void find_units(const SSegmentKernels& kernels, std::size_t count, float* theta, float* phi,
                const std::array<double*, Dim>& components) {
    if (count > 0) {
        std::fill_n(theta + count, PACKING_ROOM / 2, 0.0F);
        if constexpr (Dim == 3) {
            std::fill_n(phi + count, PACKING_ROOM / 2, 0.0F);
        }
        kernels.units[Dim - 2](theta, phi, count, components.data());
    }
}

/// Adds the products of the axes from `first` up to `end`.
template <std::size_t Dim, typename PointerT>
void add_sums(const SSegmentKernels& kernels, const std::array<PointerT, Dim>& components, std::size_t first,
              std::size_t end, CSecondOrderSums<Dim>& second, CFourthOrderSums<Dim>* fourth) {
    if (first == end) {
        return;
    }
    std::array<const double*, Dim> axes{};
    for (std::size_t component = 0; component < Dim; ++component) {
        axes[component] = components[component] + first;
    }
    // Overwritten. NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    typename CSecondOrderSums<Dim>::Sums secondSums;
    typename CFourthOrderSums<Dim>::Sums fourthSums;
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    kernels.sums[Dim - 2](axes.data(), end - first, secondSums.data(),
                          fourth != nullptr ? fourthSums.data() : nullptr);
    second.Add(secondSums, static_cast<long long>(end - first));
    if (fourth != nullptr) {
        fourth->Add(fourthSums);
    }
}

/// The largest single-precision number that is not above `threshold`: the same ones are above both.
float rounded_down(double threshold) {
    const auto nearest = static_cast<float>(threshold);
    return static_cast<double>(nearest) > threshold
               ? std::nextafter(nearest, -std::numeric_limits<float>::infinity())
               : nearest;
}

} // namespace

void ForegroundOfRow(const float* smoothed, std::size_t count, double threshold, unsigned char* foreground,
                     EInstructionSet set) {
    kernels_of(set).markForeground(smoothed, count, rounded_down(threshold), foreground);
}

template <std::size_t Dim>
std::size_t AxesOfRow(const SymmetricRow<Dim>& matrices, const unsigned char* foreground, std::size_t count,
                      EEigenvalue which, const SAngleRow& angles, EPlaces places, EInstructionSet set) {
    const auto kernel = kernels_of(set).axes[Dim - 2];
    std::size_t found = 0;
    // Outputs. NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    std::array<unsigned short, SEGMENT_PIXELS> failed;
    std::array<unsigned short, SEGMENT_PIXELS> failedAt;
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    for_each_segment(count, [&](std::size_t first, std::size_t length) {
        SAxesOfSegment segment{};
        for (std::size_t entry = 0; entry < matrices.size(); ++entry) {
            segment.hessian[entry] = matrices[entry] + first;
        }
        segment.places = places;
        segment.foreground = foreground + first;
        segment.count = length;
        segment.isSmallest = which == EEigenvalue::smallest;
        segment.theta = angles.theta + first;
        segment.phi = Dim == 3 ? angles.phi + first : nullptr;
        segment.failed = failed.data();
        segment.failedAt = failedAt.data();
        const SAxesFound axes = kernel(segment);
        found += axes.foreground - decompose<Dim>(segment, axes.failed);
    });
    return found;
}

template <std::size_t Dim>
void AddRow(CSecondOrderSums<Dim>& second, CFourthOrderSums<Dim>* fourth, const SConstAngleRow& angles,
            std::size_t count, EInstructionSet set) {
    constexpr std::size_t ROOM = SEGMENT_PIXELS + PACKING_ROOM;
    const SSegmentKernels& kernels = kernels_of(set);
    // Written as far as it is read. NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    std::array<float, ROOM> theta;
    std::array<float, ROOM> phi;
    std::array<std::array<double, ROOM>, Dim> units;
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    const std::array<double*, Dim> components = pointers_to<Dim>(units);
    for_each_segment(count, [&](std::size_t first, std::size_t length) {
        const std::size_t axes = kernels.pack[Dim - 2](
            angles.theta + first, Dim == 3 ? angles.phi + first : nullptr, length, theta.data(), phi.data());
        find_units<Dim>(kernels, axes, theta.data(), phi.data(), components);
        add_sums<Dim>(kernels, components, 0, axes, second, fourth);
    });
}

template <std::size_t Dim>
CRowSums<Dim>::CRowSums(std::size_t mostPixels, EInstructionSet set)
    : m_kernels(&kernels_of(set)), m_theta(mostPixels + PACKING_ROOM),
      m_phi(Dim == 3 ? mostPixels + PACKING_ROOM : 0) {
    for (std::vector<double>& component : m_units) {
        component.resize(mostPixels + PACKING_ROOM);
    }
}

template <std::size_t Dim>
void CRowSums<Dim>::Begin() {
    m_segmentEnds.assign(1, 0);
    m_partEnds.assign(1, 0);
}

template <std::size_t Dim>
void CRowSums<Dim>::AddPart(const SConstAngleRow& angles, std::size_t count) {
    for_each_segment(count, [&](std::size_t first, std::size_t length) {
        const std::size_t axes = m_segmentEnds.back();
        const std::size_t added =
            m_kernels->pack[Dim - 2](angles.theta + first, Dim == 3 ? angles.phi + first : nullptr, length,
                                     m_theta.data() + axes, Dim == 3 ? m_phi.data() + axes : nullptr);
        m_segmentEnds.push_back(axes + added);
    });
    m_partEnds.push_back(m_segmentEnds.size() - 1);
}

template <std::size_t Dim>
void CRowSums<Dim>::FindAxes() {
    find_units<Dim>(*m_kernels, m_segmentEnds.back(), m_theta.data(), m_phi.data(),
                    pointers_to<Dim>(m_units));
}

template <std::size_t Dim>
void CRowSums<Dim>::AddTo(std::size_t part, CSecondOrderSums<Dim>& second,
                          CFourthOrderSums<Dim>* fourth) const {
    for (std::size_t segment = m_partEnds[part]; segment < m_partEnds[part + 1]; ++segment) {
        add_sums<Dim>(*m_kernels, pointers_to<Dim>(m_units), m_segmentEnds[segment],
                      m_segmentEnds[segment + 1], second, fourth);
    }
}

template class CRowSums<2>;
template class CRowSums<3>;

template std::size_t AxesOfRow<2>(const SymmetricRow<2>&, const unsigned char*, std::size_t, EEigenvalue,
                                  const SAngleRow&, EPlaces, EInstructionSet);
template std::size_t AxesOfRow<3>(const SymmetricRow<3>&, const unsigned char*, std::size_t, EEigenvalue,
                                  const SAngleRow&, EPlaces, EInstructionSet);
template void AddRow<2>(CSecondOrderSums<2>&, CFourthOrderSums<2>*, const SConstAngleRow&, std::size_t,
                        EInstructionSet);
template void AddRow<3>(CSecondOrderSums<3>&, CFourthOrderSums<3>*, const SConstAngleRow&, std::size_t,
                        EInstructionSet);

} // namespace TEVRA::Impl
