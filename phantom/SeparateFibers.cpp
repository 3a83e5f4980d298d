// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/SeparateFibers.h"

#include "phantom/Drawing.h"
#include "phantom/OptionChecks.h"

#include "Axes/AxisAngles.h"
#include "Axes/Markers.h"
#include "LocalTensors/DirectSmoothing.h"
#include "VexoBase/ProgressMonitor.h"
#include "zeklib2image/HeaderTools.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <numbers>
#include <optional>
#include <string>

namespace TEVRA::phantom {
namespace {

using Vector = std::array<double, 3>;

constexpr double MOST_SCATTERED = 0.4;
constexpr double MOST_IN_LAYERS = 0.9; // touching fibers fill 0.907
constexpr double PACKING_OF_BUNDLES = 0.7;
constexpr int MOST_TRIES = 100000; // without room for a fiber, before fibers get shorter
constexpr double SHORTEST_RADII = 6.0;
constexpr int PLACING_STEPS = 100;

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vector moved(const Vector& point, double way, const Vector& direction) {
    return {point[0] + way * direction[0], point[1] + way * direction[1], point[2] + way * direction[2]};
}

/// A fiber's centre line: a sinusoid around a straight line, from `begin` to `end` along it.
struct SCentreLine {
    Vector point{};
    Vector axis{};
    Vector side{}; // of the wave
    double amplitude = 0.0;
    double wavesPerLength = 0.0; // rad per length
    double phase = 0.0;
    double begin = 0.0;
    double end = 0.0;

    Vector At(double way) const {
        return moved(moved(point, way, axis), amplitude * std::sin(wavesPerLength * way + phase), side);
    }
    Vector TangentAt(double way) const {
        return Normalised(
            moved(axis, amplitude * wavesPerLength * std::cos(wavesPerLength * way + phase), side));
    }
};

/// Distances to the centre lines placed so far, at the pixels of the image and of a margin around it, for what fibers
/// beyond its edges take of the room.
class CRoom {
  public:
    CRoom(const SSeparateOptions& options, double radius)
        : m_spacing(options.spacing), m_radius(radius), m_dim(options.sizePx.Dim()) {
        double squares = 0.0;
        for (std::size_t axis = 0; axis < static_cast<std::size_t>(m_dim); ++axis) {
            squares += m_spacing[axis] * m_spacing[axis];
        }
        m_diagonal = std::sqrt(squares);
        for (std::size_t axis = 0; axis < static_cast<std::size_t>(m_dim); ++axis) {
            m_margin[axis] = static_cast<long long>(std::ceil(2.0 * radius / m_spacing[axis])) + 2;
            m_extents[axis] = options.sizePx[static_cast<long long>(axis)] + 2 * m_margin[axis];
        }
        m_distance = Filled(static_cast<std::size_t>(m_extents[0] * m_extents[1] * m_extents[2]),
                            std::numeric_limits<float>::infinity());
    }

    /// False, too, for a line that misses the image. Looks at a few places far from each other first: most lines that
    /// find no room show it there.
    bool HasRoomFor(const SCentreLine& line) const {
        const double step = *std::min_element(m_spacing.begin(), m_spacing.begin() + m_dim);
        const auto places = static_cast<long long>(std::ceil((line.end - line.begin) / step)) + 1;
        constexpr long long STRIDE = 16;
        bool isSeen = false;
        for (long long first = 0; first < STRIDE; ++first) {
            for (long long place = (first * 7) % STRIDE; place < places; place += STRIDE) {
                const double way = std::min(line.begin + static_cast<double>(place) * step, line.end);
                const std::optional<double> distance = distance_at(line.At(way));
                m_polls.Add(1);
                if (distance && *distance < 2.0 * m_radius) {
                    return false;
                }
                isSeen = isSeen || distance.has_value();
            }
        }
        return isSeen;
    }

    void Take(const SCentreLine& line) {
        const double reach = 2.0 * m_radius + 2.0 * m_diagonal;
        const double step =
            0.25 * *std::min_element(m_spacing.begin(), m_spacing.begin() + m_dim) + 0.05 * m_radius;
        double way = line.begin;
        while (way < line.end) {
            take_ball(line.At(way), reach);
            way += step;
        }
        take_ball(line.At(line.end), reach);
    }

  private:
    /// Between pixels by linear interpolation; none beyond the margin.
    std::optional<double> distance_at(const Vector& place) const {
        std::array<long long, 3> at{};
        std::array<double, 3> rest{};
        for (std::size_t axis = 0; axis < static_cast<std::size_t>(m_dim); ++axis) {
            const double position = place[axis] / m_spacing[axis] + static_cast<double>(m_margin[axis]);
            const double below = std::floor(position);
            if (!(below >= 0.0 && below + 1.0 < static_cast<double>(m_extents[axis]))) {
                return std::nullopt;
            }
            at[axis] = static_cast<long long>(below);
            rest[axis] = position - below;
        }
        double sum = 0.0;
        for (std::size_t corner = 0; corner < (std::size_t{1} << static_cast<unsigned>(m_dim)); ++corner) {
            double weight = 1.0;
            std::array<long long, 3> pixel = at;
            for (std::size_t axis = 0; axis < static_cast<std::size_t>(m_dim); ++axis) {
                const bool isUpper = ((corner >> axis) & 1U) != 0;
                pixel[axis] += isUpper ? 1 : 0;
                weight *= isUpper ? rest[axis] : 1.0 - rest[axis];
            }
            if (weight > 0.0) {
                sum += weight * static_cast<double>(m_distance[index(pixel)]);
            }
        }
        return sum;
    }

    std::size_t index(const std::array<long long, 3>& pixel) const {
        return static_cast<std::size_t>((pixel[2] * m_extents[1] + pixel[1]) * m_extents[0] + pixel[0]);
    }

    void take_ball(const Vector& centre, double reach) {
        std::array<long long, 3> lo{};
        std::array<long long, 3> hi{};
        for (std::size_t axis = 0; axis < static_cast<std::size_t>(m_dim); ++axis) {
            const double at = centre[axis] / m_spacing[axis] + static_cast<double>(m_margin[axis]);
            lo[axis] = std::max(0LL, static_cast<long long>(std::ceil(at - reach / m_spacing[axis])));
            hi[axis] = std::min(m_extents[axis] - 1,
                                static_cast<long long>(std::floor(at + reach / m_spacing[axis])));
        }
        const auto offset = [&](std::size_t axis, long long at) {
            return axis < static_cast<std::size_t>(m_dim)
                       ? static_cast<double>(at - m_margin[axis]) * m_spacing[axis] - centre[axis]
                       : 0.0;
        };
        for (long long z = lo[2]; z <= hi[2]; ++z) {
            for (long long y = lo[1]; y <= hi[1]; ++y) {
                const double rest = offset(1, y) * offset(1, y) + offset(2, z) * offset(2, z);
                for (long long x = lo[0]; x <= hi[0]; ++x) {
                    const double square = offset(0, x) * offset(0, x) + rest;
                    float& distance = m_distance[index({x, y, z})];
                    if (square < static_cast<double>(distance) * static_cast<double>(distance)) {
                        distance = static_cast<float>(std::sqrt(square));
                    }
                }
                m_polls.Add(std::max(hi[0] - lo[0] + 1, 0LL));
            }
        }
    }

    std::array<double, 3> m_spacing;
    double m_radius;
    int m_dim;
    double m_diagonal = 0.0; // of a pixel
    std::array<long long, 3> m_margin{};
    std::array<long long, 3> m_extents{1, 1, 1};
    std::vector<float> m_distance;
    mutable CPolls m_polls{PIXELS_BETWEEN_POLLS}; // looking takes its time, too
};

/// The image as it is filled with fibers.
class CCanvas {
  public:
    explicit CCanvas(const SSeparateOptions& options)
        : m_options(options), m_dim(options.sizePx.Dim()), m_extents{options.sizePx[0], options.sizePx[1],
                                                                     m_dim == 3 ? options.sizePx[2] : 1},
          m_pixels(static_cast<std::size_t>(m_extents[0] * m_extents[1] * m_extents[2])),
          m_coverage(Filled(m_pixels, 0.0F)),
          m_distance(Filled(m_pixels, std::numeric_limits<float>::infinity())),
          m_theta(Filled(m_pixels, m_dim == 3 ? Impl::NO_COLATITUDE : Impl::NO_ANGLE)),
          m_phi(Filled(m_pixels, Impl::NO_ANGLE)),
          m_ownDistance(Filled(m_pixels, std::numeric_limits<float>::infinity())),
          m_ownWay(Filled(m_pixels, 0.0F)) {
        m_edge = *std::min_element(options.spacing.begin(), options.spacing.begin() + m_dim);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            m_centre[axis] = static_cast<int>(axis) < m_dim
                                 ? 0.5 * static_cast<double>(m_extents[axis] - 1) * options.spacing[axis]
                                 : 0.0;
        }
    }

    const Vector& Centre() const { return m_centre; }
    /// From the centre to a corner.
    double HalfDiagonal() const { return std::sqrt(dot(m_centre, m_centre)); }
    std::size_t Pixels() const { return m_pixels; }
    long long FiberPixels() const { return m_fiberPixels; }
    const std::vector<float>& Coverage() const { return m_coverage; }
    const std::vector<float>& Theta() const { return m_theta; }
    const std::vector<float>& Phi() const { return m_phi; }
    const std::array<std::array<double, 3>, 3>& TensorSum() const { return m_tensor; }
    const std::vector<SPhantomFiber>& Fibers() const { return m_fibers; }

    void Draw(const SCentreLine& line) {
        m_touched.clear();
        const double reach = m_options.fiberRadius + 0.5 * m_edge;
        // Short pieces: a wave is nearly straight along them.
        const double piece = line.amplitude > 0.0 ? 0.5 * m_edge : m_options.fiberRadius;
        const auto pieces = static_cast<long long>(std::ceil((line.end - line.begin) / piece));
        for (long long i = 0; i < pieces; ++i) {
            const double from = line.begin + static_cast<double>(i) * piece;
            measure(line, from, std::min(from + piece, line.end), reach);
        }
        SPhantomFiber fiber{line.axis, line.point, 0};
        for (const std::size_t pixel : m_touched) {
            commit(line, pixel, fiber);
            m_polls.Add(1);
            m_ownDistance[pixel] = std::numeric_limits<float>::infinity();
        }
        if (!m_touched.empty()) {
            m_fibers.push_back(fiber);
        }
    }

  private:
    /// Distances of pixels to a straight piece of a centre line.
    void measure(const SCentreLine& line, double from, double to, double reach) {
        const Vector start = line.At(from);
        const Vector end = line.At(to);
        const Vector way = moved(end, -1.0, start);
        const double squaredLength = dot(way, way);
        std::array<long long, 3> lo{};
        std::array<long long, 3> hi{};
        for (std::size_t axis = 0; axis < static_cast<std::size_t>(m_dim); ++axis) {
            const double spacing = m_options.spacing[axis];
            lo[axis] = std::max(
                0LL, static_cast<long long>(std::ceil((std::min(start[axis], end[axis]) - reach) / spacing)));
            hi[axis] = std::min(
                m_extents[axis] - 1,
                static_cast<long long>(std::floor((std::max(start[axis], end[axis]) + reach) / spacing)));
        }
        for (long long z = lo[2]; z <= hi[2]; ++z) {
            for (long long y = lo[1]; y <= hi[1]; ++y) {
                for (long long x = lo[0]; x <= hi[0]; ++x) {
                    const Vector at{static_cast<double>(x) * m_options.spacing[0],
                                    static_cast<double>(y) * m_options.spacing[1],
                                    m_dim == 3 ? static_cast<double>(z) * m_options.spacing[2] : 0.0};
                    const Vector offset = moved(at, -1.0, start);
                    const double share =
                        squaredLength > 0.0 ? std::clamp(dot(offset, way) / squaredLength, 0.0, 1.0) : 0.0;
                    const Vector rest = moved(offset, -share, way);
                    const auto distance = static_cast<float>(std::sqrt(dot(rest, rest)));
                    if (static_cast<double>(distance) > reach) {
                        continue;
                    }
                    const auto pixel = static_cast<std::size_t>((z * m_extents[1] + y) * m_extents[0] + x);
                    if (std::isinf(m_ownDistance[pixel])) {
                        m_touched.push_back(pixel);
                    }
                    if (distance < m_ownDistance[pixel]) {
                        m_ownDistance[pixel] = distance;
                        m_ownWay[pixel] = static_cast<float>(from + share * (to - from));
                    }
                }
                m_polls.Add(std::max(hi[0] - lo[0] + 1, 0LL));
            }
        }
        m_polls.Add(1); // most pieces of some lines lie beside the image
    }

    double share_within(double radius, double distance) const {
        return std::clamp((radius - distance) / m_edge + 0.5, 0.0, 1.0);
    }

    void commit(const SCentreLine& line, std::size_t pixel, SPhantomFiber& fiber) {
        const auto distance = static_cast<double>(m_ownDistance[pixel]);
        double coverage = share_within(m_options.fiberRadius, distance);
        if (m_options.holeRadius > 0.0) {
            coverage -= share_within(m_options.holeRadius, distance);
        }
        m_coverage[pixel] = std::min(m_coverage[pixel] + static_cast<float>(coverage), 1.0F);
        if (distance > m_options.fiberRadius || m_ownDistance[pixel] >= m_distance[pixel]) {
            return;
        }
        const Vector axis = line.TangentAt(static_cast<double>(m_ownWay[pixel]));
        const double taken = std::isinf(m_distance[pixel]) ? 0.0 : 1.0;
        if (taken > 0.0) { // at a touching line of neighbours
            add_products(Impl::SAxisAngles{m_theta[pixel], m_phi[pixel]}, -1.0);
        } else {
            ++m_fiberPixels;
        }
        m_distance[pixel] = m_ownDistance[pixel];
        ++fiber.pixelCount;
        if (m_dim == 3) {
            const Impl::SAxisAngles angles = Impl::AnglesOfAxis(axis);
            m_theta[pixel] = angles.colatitudeRad;
            m_phi[pixel] = angles.longitudeRad;
        } else {
            m_theta[pixel] = Impl::AngleOfAxis({axis[0], axis[1]});
        }
        add_products({m_theta[pixel], m_phi[pixel]}, 1.0);
    }

    void add_products(const Impl::SAxisAngles& angles, double count) {
        const auto theta = static_cast<double>(angles.colatitudeRad);
        const auto phi = static_cast<double>(angles.longitudeRad);
        const Vector axis = m_dim == 3 ? Vector{std::sin(theta) * std::cos(phi),
                                                std::sin(theta) * std::sin(phi), std::cos(theta)}
                                       : Vector{std::cos(theta), std::sin(theta), 0.0};
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                m_tensor[i][j] += count * axis[i] * axis[j];
            }
        }
    }

    const SSeparateOptions& m_options;
    int m_dim;
    std::array<long long, 3> m_extents;
    std::size_t m_pixels;
    double m_edge = 1.0; // width of the soft edge: a pixel
    Vector m_centre{};
    std::vector<float> m_coverage;
    std::vector<float> m_distance; // to the centre line of the fiber that a pixel belongs to
    std::vector<float> m_theta;
    std::vector<float> m_phi;
    std::vector<float> m_ownDistance; // of the fiber being drawn
    std::vector<float> m_ownWay;
    std::vector<std::size_t> m_touched;
    std::vector<SPhantomFiber> m_fibers;
    std::array<std::array<double, 3>, 3> m_tensor{};
    long long m_fiberPixels = 0;
    CPolls m_polls{PIXELS_BETWEEN_POLLS};
};

/// Steps of a bar that fills as pixels do.
class CFilling {
  public:
    explicit CFilling(double wanted)
        : m_wanted(wanted), m_report(CProgressMonitor::Obj(), PLACING_STEPS, "Placing fibers") {}
    void Show(long long pixels) {
        const double done = std::min(static_cast<double>(pixels) / m_wanted, 1.0);
        for (; m_steps < static_cast<int>(PLACING_STEPS * done); ++m_steps) {
            m_report.Step();
        }
    }

  private:
    double m_wanted;
    CProgressReport m_report;
    int m_steps = 0;
};

/// A random line through the image, and a random part of it if fibers are shorter.
SCentreLine random_line(const SSeparateOptions& options, const CCanvas& canvas, double length, double reach,
                        CRandomNumbers& random) {
    SCentreLine line;
    line.axis = DrawAxis(options.directions, random);
    const SPerpendicularFrame frame = PerpendicularFrame(line.axis);
    const double range = canvas.HalfDiagonal() + reach;
    const bool isFlat = options.sizePx.Dim() == 2;
    const std::array<double, 2> offset =
        isFlat ? std::array<double, 2>{2.0 * random.Uniform() - 1.0, 0.0} : random.InDisc();
    line.point =
        moved(moved(canvas.Centre(), range * offset[0], frame.first), range * offset[1], frame.second);
    line.begin = -range;
    line.end = range;
    if (length > 0.0) { // anywhere that it is seen from, in a box around the image
        for (std::size_t axis = 0; axis < (isFlat ? 2U : 3U); ++axis) {
            const double half = canvas.Centre()[axis] + reach + 0.5 * length;
            line.point[axis] = canvas.Centre()[axis] + (2.0 * random.Uniform() - 1.0) * half;
        }
        line.begin = -0.5 * length;
        line.end = 0.5 * length;
    }
    if (options.waveAmplitude > 0.0) {
        const std::array<double, 2> turn = isFlat ? std::array<double, 2>{1.0, 0.0} : random.OnCircle();
        line.side = moved(moved({}, turn[0], frame.first), turn[1], frame.second);
        line.amplitude = options.waveAmplitude;
        line.wavesPerLength = 2.0 * std::numbers::pi / options.waveLength;
        line.phase = 2.0 * std::numbers::pi * random.Uniform();
    }
    return line;
}

/// Places lines of some radius until they are drawn to the wanted share.
template <typename DrawT>
void scatter(const SSeparateOptions& options, CCanvas& canvas, CRandomNumbers& random, double radius,
             double fraction, double length, const DrawT& draw) {
    CRoom room(options, radius);
    const double wanted = fraction * static_cast<double>(canvas.Pixels());
    CFilling filling(wanted);
    const double whole = 2.0 * (canvas.HalfDiagonal() + radius);
    while (static_cast<double>(canvas.FiberPixels()) < wanted) {
        bool isPlaced = false;
        for (int attempt = 0; attempt < MOST_TRIES && !isPlaced; ++attempt) {
            const SCentreLine line = random_line(options, canvas, length, radius, random);
            if (room.HasRoomFor(line)) {
                room.Take(line);
                draw(line);
                isPlaced = true;
            }
        }
        GoOnOrThrow();
        filling.Show(canvas.FiberPixels());
        if (!isPlaced) {
            length = 0.5 * (length > 0.0 ? length : whole);
            if (length < SHORTEST_RADII * radius) {
                Refuse(
                    "there is no room for so many fibers that do not overlap: " +
                    TextOf(static_cast<double>(canvas.FiberPixels()) / static_cast<double>(canvas.Pixels())) +
                    " of the image is filled of the " + TextOf(fraction) +
                    " wanted; ask for less, or for bundles or layers.");
            }
        }
    }
}

/// Distance of the fibers of a hexagonal lattice that fills a share of the plane across it.
double lattice_distance(double radius, double fraction) {
    return std::max(2.0 * radius,
                    radius * std::sqrt(2.0 * std::numbers::pi / (std::numbers::sqrt3 * fraction)));
}

void place(const SScatteredFibers& places, const SSeparateOptions& options, CCanvas& canvas,
           CRandomNumbers& random) {
    scatter(options, canvas, random, options.fiberRadius, places.volumeFraction, places.length,
            [&](const SCentreLine& line) { canvas.Draw(line); });
}

void place(const SFiberBundles& places, const SSeparateOptions& options, CCanvas& canvas,
           CRandomNumbers& random) {
    const double distance = lattice_distance(options.fiberRadius, PACKING_OF_BUNDLES);
    const double inner = places.bundleRadius - options.fiberRadius;
    const auto rings = static_cast<long long>(places.bundleRadius / distance) + 1;
    const bool isFlat = options.sizePx.Dim() == 2;
    scatter(options, canvas, random, places.bundleRadius, places.volumeFraction, 0.0,
            [&](const SCentreLine& axis) {
                const SPerpendicularFrame frame = PerpendicularFrame(axis.axis);
                for (long long row = isFlat ? 0 : -rings; row <= (isFlat ? 0 : rings); ++row) {
                    for (long long column = -2 * rings; column <= 2 * rings; ++column) {
                        const double u =
                            distance * (static_cast<double>(column) + 0.5 * static_cast<double>(row));
                        const double v = distance * 0.5 * std::numbers::sqrt3 * static_cast<double>(row);
                        if (u * u + v * v <= inner * inner) {
                            SCentreLine line = axis;
                            line.point = moved(moved(axis.point, u, frame.first), v, frame.second);
                            canvas.Draw(line);
                        }
                    }
                }
            });
}

void place(const SFiberLayers& places, const SSeparateOptions& options, CCanvas& canvas,
           CRandomNumbers& random) {
    const double distance = lattice_distance(options.fiberRadius, places.volumeFraction);
    const double height = 0.5 * std::numbers::sqrt3 * distance;
    const double thickness = 2.0 * options.fiberRadius + static_cast<double>(places.rows - 1) * height;
    const double top = 2.0 * canvas.Centre()[2] + options.fiberRadius;
    const double reach = canvas.HalfDiagonal() + options.fiberRadius;
    const auto columns = static_cast<long long>(reach / distance) + 1;
    const auto layers = static_cast<long long>(std::ceil((top + options.fiberRadius) / thickness));
    CProgressReport progress(CProgressMonitor::Obj(), layers, "Placing fibers");
    for (long long layer = 0; layer < layers; ++layer) {
        const double angle = places.anglesRad[static_cast<std::size_t>(layer) % places.anglesRad.size()];
        const Vector axis{std::cos(angle), std::sin(angle), 0.0};
        const Vector side{-std::sin(angle), std::cos(angle), 0.0};
        const double shift = random.Uniform() * distance;
        for (long long row = 0; row < places.rows; ++row) {
            const double z = static_cast<double>(layer) * thickness +
                             static_cast<double>(row) * height; // the first at the edge
            for (long long column = -columns; column <= columns; ++column) {
                SCentreLine line;
                line.axis = axis;
                const double offset =
                    shift + distance * (static_cast<double>(column) + (row % 2 == 0 ? 0.0 : 0.5));
                line.point = moved(canvas.Centre(), offset, side);
                line.point[2] = z;
                line.begin = -reach;
                line.end = reach;
                if (options.waveAmplitude > 0.0) { // neighbours wave together, so that they stay apart
                    line.side = side;
                    line.amplitude = options.waveAmplitude;
                    line.wavesPerLength = 2.0 * std::numbers::pi / options.waveLength;
                }
                canvas.Draw(line);
            }
        }
        GoOnOrThrow();
        progress.Step();
    }
}

/// Of the image, in the unit of the radius.
double largest_extent(const SSeparateOptions& options) {
    double most = 0.0;
    for (long long axis = 0; axis < options.sizePx.Dim(); ++axis) {
        most = std::max(most, static_cast<double>(options.sizePx[axis]) *
                                  options.spacing[static_cast<std::size_t>(axis)]);
    }
    return most;
}

void check(const SScatteredFibers& places, const SSeparateOptions& /*options*/) {
    Require(places.volumeFraction > 0.0 && places.volumeFraction <= MOST_SCATTERED, "the volume fraction",
            places.volumeFraction,
            "greater than 0 and at most 0.4; denser material comes in bundles or layers");
    Require(std::isfinite(places.length) && places.length >= 0.0, "the fiber length", places.length,
            "0 or more, and finite");
}

void check(const SFiberBundles& places, const SSeparateOptions& options) {
    CheckVolumeFraction(places.volumeFraction, MOST_SCATTERED, "0.4");
    const double most = 2.0 * largest_extent(options);
    Require(places.bundleRadius >= 2.0 * options.fiberRadius && places.bundleRadius <= most,
            "the bundle radius", places.bundleRadius,
            "at least twice the fiber radius and at most twice the largest extent, " + TextOf(most));
}

void check(const SFiberLayers& places, const SSeparateOptions& options) {
    CheckVolumeFraction(places.volumeFraction, MOST_IN_LAYERS, "0.9");
    if (options.sizePx.Dim() == 2) {
        Refuse("layers lie one above the other along z, but the image is 2D; give a third extent.");
    }
    if (places.anglesRad.empty() || places.rows < 1) {
        Refuse("layers need an angle and a row of fibers at least.");
    }
}

void check_options(const SSeparateOptions& options) {
    CheckExtents(options.sizePx, options.spacing, options.fiberRadius);
    CheckGreyValues(options.backgroundGrey, options.fiberGrey, options.noiseSd);
    Require(options.holeRadius >= 0.0 && options.holeRadius < options.fiberRadius, "the hole's radius",
            options.holeRadius, "0 or more and below the fiber's");
    // Beyond the image they show nothing, and are more than numbers of pixels and memory can hold.
    const double most = largest_extent(options);
    const std::string allowed = "0 or more and at most the largest extent, " + TextOf(most);
    Require(options.blurSigma >= 0.0 && options.blurSigma <= most, "the blur", options.blurSigma, allowed);
    Require(options.waveAmplitude >= 0.0 && options.waveAmplitude <= most, "the wave's amplitude",
            options.waveAmplitude, allowed);
    if (options.waveAmplitude > 0.0) {
        Require(std::isfinite(options.waveLength) && options.waveLength > 0.0, "the wave's length",
                options.waveLength, "greater than 0");
    }
    CheckDirections(options.directions, options.sizePx.Dim());
    std::visit([&](const auto& places) { check(places, options); }, options.places);
}

/// Does tasks in turn and asks before each whether to go on.
class CPolledTasks final : public ITaskRunner {
  public:
    void Run(long long count, const std::function<void(long long)>& task) override {
        for (long long number = 0; number < count; ++number) {
            GoOnOrThrow();
            task(number);
        }
    }
    int AtOnce() const noexcept override { return 1; }
};

/// Shares of fiber as a blurred imaging shows them.
std::vector<float> blurred(const SSeparateOptions& options, const std::vector<float>& coverage) {
    const auto width = static_cast<std::size_t>(options.sizePx[0]);
    const auto height = static_cast<std::size_t>(options.sizePx[1]);
    const long long depth = options.sizePx.Dim() == 3 ? options.sizePx[2] : 1;
    const std::size_t slice = width * height;
    Impl::CDirectSmoothing smoothing(options.sizePx, {0, depth}, options.blurSigma, options.spacing,
                                     [&](long long z, float* rows, std::size_t stride) {
                                         for (std::size_t y = 0; y < height; ++y) {
                                             std::copy_n(coverage.data() +
                                                             static_cast<std::size_t>(z) * slice + y * width,
                                                         width, rows + y * stride);
                                         }
                                     });
    std::vector<float> result = Filled(coverage.size(), 0.0F);
    CPolledTasks polled;
    CProgressReport progress(CProgressMonitor::Obj(), depth, "Blurring the image");
    for (long long z = 0; z < depth; ++z) {
        smoothing.Next(result.data() + static_cast<std::size_t>(z) * slice, polled);
        progress.Step();
    }
    return result;
}

std::unique_ptr<CImage> new_image(const SSeparateOptions& options, const IImage::CType& type) {
    auto image = std::make_unique<CImage>(type, options.sizePx, CSize(0, 0, 0));
    CVexoHeaderTools::SetSpacing(*image, options.spacing[0], options.spacing[1],
                                 options.sizePx.Dim() == 3 ? options.spacing[2] : options.spacing[0]);
    return image;
}

} // namespace

SPhantom MakeSeparatePhantom(const SSeparateOptions& options) {
    check_options(options);
    CRandomNumbers random(options.seed);
    CCanvas canvas(options);
    std::visit([&](const auto& places) { place(places, options, canvas, random); }, options.places);
    if (canvas.FiberPixels() == 0) {
        Refuse("no pixel's centre lies in a fiber; give a larger fiber radius.");
    }
    SPhantom phantom;
    phantom.image = new_image(options, IMAGE_GREY_8);
    const bool isBlurred = options.blurSigma > 0.0;
    const std::vector<float> blurredShares =
        isBlurred ? blurred(options, canvas.Coverage()) : std::vector<float>();
    const std::vector<float>& shares = isBlurred ? blurredShares : canvas.Coverage();
    DrawImage(*phantom.image, {options.backgroundGrey, options.fiberGrey, options.noiseSd}, random,
              [&shares](std::size_t pixel) { return static_cast<double>(shares[pixel]); });
    phantom.theta = new_image(options, IMAGE_GREY_F);
    CopyNumbers(canvas.Theta(), phantom.theta->Pixels<float>());
    if (options.sizePx.Dim() == 3) {
        phantom.phi = new_image(options, IMAGE_GREY_F);
        CopyNumbers(canvas.Phi(), phantom.phi->Pixels<float>());
    }
    phantom.fiberPixelCount = canvas.FiberPixels();
    phantom.volumeFraction = static_cast<double>(canvas.FiberPixels()) / static_cast<double>(canvas.Pixels());
    phantom.fibers = canvas.Fibers();
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            phantom.tensor[i][j] = canvas.TensorSum()[i][j] / static_cast<double>(canvas.FiberPixels());
        }
    }
    return phantom;
}

} // namespace TEVRA::phantom
