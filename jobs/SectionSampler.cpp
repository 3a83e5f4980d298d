// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/SectionSampler.h"

#include "Axes/DirectionColor.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <numeric>
#include <span>

namespace TEVRA::jobs {
namespace {

/// So many sections across an axis of a 3D image, x first: most across z, as images are usually looked at.
constexpr std::array<long long, 3> SECTIONS{5, 5, 9};
/// Most pixels of all sections together. A pixel has at most six bytes, eight as text: 3.6 MB and 4.4 MB of the report in
/// the worst case, noise that is foreground everywhere.
constexpr long long MOST_PIXELS_3D = 450'000;
constexpr long long MOST_PIXELS_2D = 550'000;

constexpr int SECTION_MESSAGE = 21; // tag

/// Percentiles of the grey values that are shown as black and white.
constexpr double DARKEST = 0.005;
constexpr double BRIGHTEST = 0.995;

float value_at(volume::EPixelType type, const std::byte* pixels, std::size_t at) {
    switch (type) {
    case volume::EPixelType::u8:
        return static_cast<float>(reinterpret_cast<const std::uint8_t*>(pixels)[at]);
    case volume::EPixelType::u16:
        return static_cast<float>(reinterpret_cast<const std::uint16_t*>(pixels)[at]);
    case volume::EPixelType::f32:
        break;
    }
    const float value = reinterpret_cast<const float*>(pixels)[at];
    return std::isfinite(value) ? value : 0.0F;
}

std::uint8_t byte_of(double share) {
    return static_cast<std::uint8_t>(std::floor(255.0 * std::clamp(share, 0.0, 1.0) + 0.5));
}

} // namespace

/// What is added up of an axis, so that the mean of a block has the color of its mean axis: in 3D the absolute
/// components, in 2D the doubled angle as a vector, moved to positive numbers.
struct CSectionSampler::SParts {
    static constexpr std::size_t COUNT = 5; ///< numbers of a pixel: axes, then these
    static constexpr double SCALE_2D = 127.0;
    static constexpr double SHIFT_2D = 128.0;

    std::array<std::uint32_t, 3> direction{};
    std::uint32_t confidence = 0;

    static SParts Of(const stream::SAxisRow& row, long long x) {
        SParts parts;
        if (row.angles.phi != nullptr) {
            const Impl::SColor color = Impl::ColorOfAngles({row.angles.theta[x], row.angles.phi[x]});
            parts.direction = {color.red, color.green, color.blue};
        } else {
            const double doubled = 2.0 * static_cast<double>(row.angles.theta[x]);
            parts.direction = {
                static_cast<std::uint32_t>(std::lround(SHIFT_2D + SCALE_2D * std::cos(doubled))),
                static_cast<std::uint32_t>(std::lround(SHIFT_2D + SCALE_2D * std::sin(doubled))), 0};
        }
        if (row.confidence != nullptr) {
            parts.confidence = byte_of(static_cast<double>(row.confidence[x]));
        }
        return parts;
    }
    static Impl::SColor ColorOf(const std::uint32_t* sums, int dim) {
        const double axes = sums[0];
        if (dim == 2) {
            return Impl::ColorOfAngle(0.5 * std::atan2(sums[2] / axes - SHIFT_2D, sums[1] / axes - SHIFT_2D));
        }
        return {byte_of(sums[1] / axes / 255.0), byte_of(sums[2] / axes / 255.0),
                byte_of(sums[3] / axes / 255.0)};
    }
};

CSectionSampler::CSectionSampler(const CSize& imageSize, const std::array<double, 3>& spacing,
                                 volume::EPixelType greyType)
    : m_dim(imageSize.Dim()), m_sizePx{imageSize[0], imageSize[1], m_dim == 3 ? imageSize[2] : 1},
      m_greyType(greyType) {
    choose_blocks(spacing);
    add_sections();
}

/// The smallest blocks that keep all sections below the limit.
void CSectionSampler::choose_blocks(const std::array<double, 3>& spacing) {
    const auto axes = static_cast<std::size_t>(m_dim);
    const double finest = *std::min_element(spacing.begin(), spacing.begin() + m_dim);
    const long long most = m_dim == 3 ? MOST_PIXELS_3D : MOST_PIXELS_2D;
    for (long long extent = 1; pixels_of(m_blockPx) > most; ++extent) {
        for (std::size_t axis = 0; axis < axes; ++axis) {
            m_blockPx[axis] =
                std::max(1LL, std::llround(static_cast<double>(extent) * finest / spacing[axis]));
        }
    }
}

long long CSectionSampler::pixels_of(const std::array<long long, 3>& blockPx) const {
    const auto blocks = [&](std::size_t axis) {
        return (m_sizePx[axis] + blockPx[axis] - 1) / blockPx[axis];
    };
    const auto sections = [&](std::size_t axis) { return std::min(SECTIONS[axis], m_sizePx[axis]); };
    const long long across_z = sections(2) * blocks(0) * blocks(1);
    return m_dim == 2 ? blocks(0) * blocks(1)
                      : across_z + sections(0) * blocks(1) * blocks(2) + sections(1) * blocks(0) * blocks(2);
}

void CSectionSampler::add_sections() {
    for (std::size_t axis = m_dim == 3 ? 0 : 2; axis < 3; ++axis) {
        const long long count = m_dim == 3 ? std::min(SECTIONS[axis], m_sizePx[axis]) : 1;
        for (long long number = 0; number < count; ++number) {
            SSums section{axis,
                          (2 * number + 1) * m_sizePx[axis] / (2 * count),
                          axis == 0 ? 1U : 0U,
                          axis == 2 ? 1U : 2U,
                          {},
                          {},
                          {}};
            section.size = {(m_sizePx[section.right] + m_blockPx[section.right] - 1) /
                                m_blockPx[section.right],
                            (m_sizePx[section.down] + m_blockPx[section.down] - 1) / m_blockPx[section.down]};
            const auto pixels = static_cast<std::size_t>(section.size[0] * section.size[1]);
            section.axes.resize(pixels * SParts::COUNT);
            section.grey.resize(pixels);
            m_sections.push_back(std::move(section));
        }
    }
}

std::size_t CSectionSampler::Bytes() const {
    std::size_t bytes = 0;
    for (const SSums& section : m_sections) {
        bytes += section.axes.size() * sizeof(std::uint32_t) + section.grey.size() * sizeof(float);
    }
    return bytes;
}

void CSectionSampler::AddRow(const stream::SAxisRow& row) {
    if (row.confidence != nullptr && !m_hasConfidence.load(std::memory_order_relaxed)) {
        m_hasConfidence.store(true, std::memory_order_relaxed);
    }
    for (SSums& section : m_sections) {
        if (section.axis == 0) {
            add_block(section, row, {section.slicePx, section.slicePx + 1});
        } else if (section.slicePx == (section.axis == 1 ? row.y : row.z)) {
            for (long long x = 0; x < m_sizePx[0]; x += m_blockPx[0]) {
                add_block(section, row, {x, std::min(x + m_blockPx[0], m_sizePx[0])});
            }
        }
    }
}

/// Adds the pixels of a row that lie in one block of a section. Other threads may add to the same block: in whatever
/// order, the sum is the same.
void CSectionSampler::add_block(SSums& section, const stream::SAxisRow& row, const stream::SSliceRange& xs) {
    const float none = row.angles.phi != nullptr ? Impl::NO_COLATITUDE : Impl::NO_ANGLE;
    std::array<std::uint32_t, SParts::COUNT> summands{};
    for (long long x = xs.first; x < xs.end; ++x) {
        if (row.angles.theta[x] != none) {
            const SParts parts = SParts::Of(row, x);
            ++summands[0];
            summands[1] += parts.direction[0];
            summands[2] += parts.direction[1];
            summands[3] += parts.direction[2];
            summands[4] += parts.confidence;
        }
    }
    if (summands[0] == 0) {
        return;
    }
    const std::array<long long, 3> at{xs.first, row.y, row.z};
    const long long right = at[section.right] / m_blockPx[section.right];
    const long long down = at[section.down] / m_blockPx[section.down];
    std::uint32_t* const sums =
        section.axes.data() + static_cast<std::size_t>(down * section.size[0] + right) * SParts::COUNT;
    for (std::size_t part = 0; part < summands.size(); ++part) {
        std::atomic_ref(sums[part]).fetch_add(summands[part], std::memory_order_relaxed);
    }
}

void CSectionSampler::TakeGrey(const stream::SSliceRange& slices, const std::byte* pixels) {
    m_hasGrey = true;
    const std::size_t sliceBytes =
        static_cast<std::size_t>(m_sizePx[0] * m_sizePx[1]) * volume::BytesPerPixel(m_greyType);
    for (long long z = slices.first; z < slices.end; ++z) {
        take_grey_slice(z, pixels + static_cast<std::size_t>(z - slices.first) * sliceBytes);
    }
}

void CSectionSampler::take_grey_slice(long long z, const std::byte* pixels) {
    const long long blockFirst = z / m_blockPx[2] * m_blockPx[2];
    const long long blockEnd = std::min(blockFirst + m_blockPx[2], m_sizePx[2]);
    const bool isMiddle = z == (blockFirst + blockEnd) / 2;
    for (SSums& section : m_sections) {
        if (section.axis == 2 ? z != section.slicePx : !isMiddle) {
            continue;
        }
        // The section's pixels in this slice: one row across x and y, all rows across z.
        const auto range = [&](std::size_t axis, long long block) {
            return section.axis == axis
                       ? stream::SSliceRange{section.slicePx, section.slicePx + 1}
                       : stream::SSliceRange{block * m_blockPx[axis],
                                             std::min((block + 1) * m_blockPx[axis], m_sizePx[axis])};
        };
        const long long down = section.axis == 2 ? section.size[1] : 1;
        for (long long row = 0; row < down; ++row) {
            const long long line = section.axis == 2 ? row : z / m_blockPx[2];
            for (long long column = 0; column < section.size[0]; ++column) {
                const stream::SSliceRange xs = range(0, column);
                const stream::SSliceRange ys = range(1, section.axis == 0 ? column : row);
                double sum = 0.0;
                for (long long y = ys.first; y < ys.end; ++y) {
                    for (long long x = xs.first; x < xs.end; ++x) {
                        sum += static_cast<double>(
                            value_at(m_greyType, pixels, static_cast<std::size_t>(y * m_sizePx[0] + x)));
                    }
                }
                section.grey[static_cast<std::size_t>(line * section.size[0] + column)] =
                    static_cast<float>(sum / static_cast<double>(xs.Count() * ys.Count()));
            }
        }
    }
}

report::SSections CSectionSampler::Collect(stream::ICommunicator& ranks) {
    m_hasConfidence = ranks.Largest(m_hasConfidence ? 1.0 : 0.0) > 0.0;
    for (SSums& section : m_sections) {
        if (!ranks.IsFirst()) {
            ranks.Send(0, SECTION_MESSAGE, stream::MessageOf(std::span<const std::uint32_t>(section.axes)));
            ranks.Send(0, SECTION_MESSAGE, stream::MessageOf(std::span<const float>(section.grey)));
            continue;
        }
        std::vector<std::uint32_t> axes(section.axes.size());
        std::vector<float> grey(section.grey.size());
        for (int rank = 1; rank < ranks.Size(); ++rank) {
            stream::CopyMessage(ranks.Receive(rank, SECTION_MESSAGE),
                                std::as_writable_bytes(std::span(axes)));
            stream::CopyMessage(ranks.Receive(rank, SECTION_MESSAGE),
                                std::as_writable_bytes(std::span(grey)));
            std::transform(axes.begin(), axes.end(), section.axes.begin(), section.axes.begin(), std::plus());
            // Each grey value was seen by one process and is 0 on the others.
            std::transform(grey.begin(), grey.end(), section.grey.begin(), section.grey.begin(), std::plus());
        }
    }
    report::SSections kept;
    if (!ranks.IsFirst()) {
        ranks.Flush();
        return kept;
    }
    std::vector<float> greys;
    for (const SSums& section : m_sections) {
        greys.insert(greys.end(), section.grey.begin(), section.grey.end());
    }
    const auto percentile = [&greys](double share) {
        const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(greys.size() - 1));
        std::nth_element(greys.begin(), greys.begin() + at, greys.end());
        return static_cast<double>(greys[static_cast<std::size_t>(at)]);
    };
    kept.blockPx = m_blockPx;
    kept.greyRange = {percentile(DARKEST), percentile(BRIGHTEST)};
    for (const SSums& section : m_sections) {
        kept.sections.push_back(finished(section, kept.greyRange));
    }
    return kept;
}

report::SSection CSectionSampler::finished(const SSums& sums, const std::array<double, 2>& greyRange) const {
    report::SSection section;
    section.axis = sums.axis;
    section.slicePx = sums.slicePx;
    section.size = sums.size;
    const std::size_t pixels = sums.grey.size();
    section.grey.resize(pixels);
    section.coverage.resize(pixels);
    section.confidence.resize(m_hasConfidence ? pixels : 0);
    for (std::vector<std::uint8_t>& channel : section.color) {
        channel.resize(pixels);
    }
    const double span = greyRange[1] > greyRange[0] ? greyRange[1] - greyRange[0] : 1.0;
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
        section.grey[pixel] = byte_of((static_cast<double>(sums.grey[pixel]) - greyRange[0]) / span);
        const std::uint32_t* const axes = sums.axes.data() + pixel * SParts::COUNT;
        if (axes[0] == 0) {
            continue;
        }
        // Blocks at the far edges are smaller.
        const auto extent = [&](std::size_t axis, std::size_t block) {
            const long long first = static_cast<long long>(block) * m_blockPx[axis];
            return static_cast<double>(std::min(m_blockPx[axis], m_sizePx[axis] - first));
        };
        const auto width = static_cast<std::size_t>(sums.size[0]);
        const double blockPixels = extent(sums.right, pixel % width) * extent(sums.down, pixel / width);
        section.coverage[pixel] = std::max(byte_of(axes[0] / blockPixels), std::uint8_t{1});
        const Impl::SColor color = SParts::ColorOf(axes, m_dim);
        section.color[0][pixel] = color.red;
        section.color[1][pixel] = color.green;
        section.color[2][pixel] = color.blue;
        if (m_hasConfidence) {
            section.confidence[pixel] = byte_of(axes[4] / (255.0 * axes[0]));
        }
    }
    return section;
}

} // namespace TEVRA::jobs
