// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/Phantom.h"

#include "phantom/Drawing.h"
#include "phantom/OptionChecks.h"

#include "Axes/AxisAngles.h"
#include "VexoBase/ProgressMonitor.h"
#include "zeklib2image/HeaderTools.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <sstream>
#include <string>

namespace TEVRA::phantom {
namespace {

using Vector = std::array<double, 3>;

constexpr std::int32_t NO_FIBER = -1;
constexpr double LARGEST_VOLUME_FRACTION = 0.9;
constexpr double SMALLEST_DISTANCE_PX = 1.0;
constexpr double SMALLEST_BETA =
    1e-6;                            // beyond, all axes lie along or across the symmetry axis, and squares of
constexpr double LARGEST_BETA = 1e6; // still larger ones overflow
constexpr double EDGE_PX = 0.5;      // half-width of the soft edge
constexpr int PLACING_STEPS = 100;

void check_vector(const char* quantity, const Vector& vector) {
    const bool finite =
        std::all_of(vector.begin(), vector.end(), [](double component) { return std::isfinite(component); });
    const bool zero =
        std::all_of(vector.begin(), vector.end(), [](double component) { return component == 0.0; });
    std::ostringstream seen;
    seen << vector[0] << "," << vector[1] << "," << vector[2];
    Require(finite && !zero, quantity, seen.str(), "a finite vector other than 0,0,0");
}

void check_law(const SOneAxis& law, int dim) {
    check_vector("the fiber axis", law.axis);
    Require(dim != 2 || law.axis[2] == 0.0, "the z component of the fiber axis", law.axis[2],
            "0 in a 2D image");
}

void check_law(const SBetaFamily& law, int dim) {
    check_vector("the symmetry axis", law.symmetryAxis);
    Require(law.beta >= SMALLEST_BETA && law.beta <= LARGEST_BETA, "beta", law.beta, "0.000001 to 1000000");
    if (dim == 2) {
        Refuse("the directions given by beta are spatial, but the image is 2D; give a third "
               "extent, one axis, or planar directions.");
    }
}

void check_law(const SPlanar& law, int dim) {
    check_vector("the normal of the fibers' plane", law.normal);
    if (dim == 2 && (law.normal[0] != 0.0 || law.normal[1] != 0.0)) {
        Refuse("the fibers' plane of a 2D image is its own, so that only the z axis can be "
               "normal to it.");
    }
}

void check_places(const SPhantomOptions& options) {
    if (const auto* random = std::get_if<SRandomPlaces>(&options.places)) {
        CheckVolumeFraction(random->volumeFraction, LARGEST_VOLUME_FRACTION, "0.9");
        return;
    }
    if (!std::holds_alternative<SOneAxis>(options.directions)) {
        Refuse("a fiber through the centre or a grid of fibers needs one axis.");
    }
    if (const auto* grid = std::get_if<SParallelGrid>(&options.places)) {
        Require(std::isfinite(grid->distancePx) && grid->distancePx >= SMALLEST_DISTANCE_PX,
                "the distance of parallel fibers in pixels", grid->distancePx, "1 or more, and finite");
    }
}

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// Indices of the pixels along one axis whose coordinate lies within `reach` of `centre`.
struct SInterval {
    long long first;
    long long last; // less than `first` if there are none
};
SInterval pixels_within(double centre, double reach, long long extent) {
    return {std::max(0LL, static_cast<long long>(std::ceil(centre - reach))),
            std::min(extent - 1, static_cast<long long>(std::floor(centre + reach)))};
}

/// Collects fibers: per pixel the nearest fiber and its distance.
class CFiberField {
  public:
    CFiberField(const CSize& sizePx, double radiusPx)
        : m_extent{sizePx[0], sizePx[1], sizePx[2]}, m_stride{1, m_extent[0], m_extent[0] * m_extent[1]},
          m_flat(sizePx.Dim() == 2), m_radius(radiusPx),
          m_reach(radiusPx + EDGE_PX), m_centre{centre_of(0), centre_of(1), centre_of(2)},
          m_squaredDistance(Filled(sizePx.Elements(), std::numeric_limits<float>::infinity())),
          m_owner(Filled(sizePx.Elements(), NO_FIBER)) {}

    bool IsFlat() const { return m_flat; }
    const Vector& Centre() const { return m_centre; }
    std::size_t PixelCount() const { return m_owner.size(); }
    long long FiberPixelCount() const { return m_fiberPixelCount; }
    const std::vector<SPhantomFiber>& Fibers() const { return m_fibers; }
    /// Index of the fiber that the pixel belongs to, NO_FIBER if to none.
    std::int32_t Owner(std::size_t pixel) const { return m_owner[pixel]; }
    /// Share of the pixel that is fiber, by a linear ramp over the edge.
    double Coverage(std::size_t pixel) const {
        const double distance = std::sqrt(static_cast<double>(m_squaredDistance[pixel]));
        return std::clamp(m_reach - distance, 0.0, 1.0);
    }
    /// Distance from the centre of the image beyond which no line is seen.
    double LineReach() const { return std::sqrt(dot(m_centre, m_centre)) + m_reach; }

    /// Adds the endless cylinder with this unit axis through this point, unless it misses the image.
    void Add(const Vector& axis, const Vector& point) {
        SWalk walk{};
        walk.along = largest_component(axis);
        // The in-plane axis of the smaller stride is the inner one.
        walk.inner = walk.along == 0 ? 1 : 0;
        walk.outer = walk.along == 2 ? 1 : 2;
        // The cylinder's section with a plane across `along` is an ellipse; these are its half extents.
        const double innerSlope = axis[walk.inner] / axis[walk.along];
        const double outerSlope = axis[walk.outer] / axis[walk.along];
        walk.innerReach = m_reach * std::sqrt(1.0 + innerSlope * innerSlope);
        walk.outerReach = m_reach * std::sqrt(1.0 + outerSlope * outerSlope);

        m_touched = false;
        m_fibers.push_back({axis, point, 0});
        for (long long plane = 0; plane < m_extent[walk.along]; ++plane) {
            const double way = static_cast<double>(plane) - point[walk.along];
            add_section(walk, plane, point[walk.inner] + way * innerSlope,
                        point[walk.outer] + way * outerSlope);
        }
        if (!m_touched) {
            m_fibers.pop_back();
        }
    }

  private:
    struct SWalk {
        std::size_t along, inner, outer; // axes
        double innerReach, outerReach;   // pixels
    };

    double centre_of(std::size_t axis) const { return 0.5 * static_cast<double>(m_extent[axis] - 1); }

    static std::size_t largest_component(const Vector& axis) {
        std::size_t largest = 0;
        for (std::size_t i = 1; i < 3; ++i) {
            if (std::abs(axis[i]) > std::abs(axis[largest])) {
                largest = i;
            }
        }
        return largest;
    }

    /// The cylinder's pixels in one plane, which its axis pierces at (innerCentre, outerCentre).
    void add_section(const SWalk& walk, long long plane, double innerCentre, double outerCentre) {
        const Vector& axis = m_fibers.back().axis;
        const SInterval outer = pixels_within(outerCentre, walk.outerReach, m_extent[walk.outer]);
        const SInterval inner = pixels_within(innerCentre, walk.innerReach, m_extent[walk.inner]);
        for (long long j = outer.first; j <= outer.last; ++j) {
            const double outerOffset = static_cast<double>(j) - outerCentre;
            for (long long i = inner.first; i <= inner.last; ++i) {
                const double innerOffset = static_cast<double>(i) - innerCentre;
                const double alongAxis = innerOffset * axis[walk.inner] + outerOffset * axis[walk.outer];
                const double squaredDistance =
                    innerOffset * innerOffset + outerOffset * outerOffset - alongAxis * alongAxis;
                if (squaredDistance <= m_reach * m_reach) {
                    offer(static_cast<std::size_t>(plane * m_stride[walk.along] + i * m_stride[walk.inner] +
                                                   j * m_stride[walk.outer]),
                          static_cast<float>(std::max(0.0, squaredDistance)));
                }
            }
            m_polls.Add(std::max(inner.last - inner.first + 1, 0LL));
        }
    }

    /// The newest fiber takes the pixel over if it is nearer than the one before.
    void offer(std::size_t pixel, float squaredDistance) {
        m_touched = true;
        if (!(squaredDistance < m_squaredDistance[pixel])) {
            return;
        }
        m_squaredDistance[pixel] = squaredDistance;
        if (static_cast<double>(squaredDistance) > m_radius * m_radius) {
            return;
        }
        if (m_owner[pixel] == NO_FIBER) {
            ++m_fiberPixelCount;
        } else {
            --m_fibers[static_cast<std::size_t>(m_owner[pixel])].pixelCount;
        }
        m_owner[pixel] = static_cast<std::int32_t>(m_fibers.size() - 1);
        ++m_fibers.back().pixelCount;
    }

    std::array<long long, 3> m_extent;
    std::array<long long, 3> m_stride;
    bool m_flat;
    double m_radius;
    double m_reach; // where the soft edge ends
    Vector m_centre;
    std::vector<float> m_squaredDistance; // to the nearest axis, in pixels
    std::vector<std::int32_t> m_owner;
    std::vector<SPhantomFiber> m_fibers;
    long long m_fiberPixelCount = 0;
    bool m_touched = false;
    CPolls m_polls{PIXELS_BETWEEN_POLLS};
};

Vector displaced(const Vector& point, const SPerpendicularFrame& frame, const std::array<double, 2>& offset) {
    Vector moved{};
    for (std::size_t i = 0; i < 3; ++i) {
        moved[i] = point[i] + offset[0] * frame.first[i] + offset[1] * frame.second[i];
    }
    return moved;
}

void place(const SRandomPlaces& places, const DirectionLaw& law, CRandomNumbers& random, CFiberField& field) {
    const double wanted = places.volumeFraction * static_cast<double>(field.PixelCount());
    const double reach = field.LineReach();
    CProgressReport progress(CProgressMonitor::Obj(), PLACING_STEPS, "Placing fibers");
    int step = 0;
    while (static_cast<double>(field.FiberPixelCount()) < wanted) {
        const Vector axis = DrawAxis(law, random);
        std::array<double, 2> offset{};
        if (field.IsFlat()) {
            offset[0] = 2.0 * random.Uniform() - 1.0;
        } else {
            offset = random.InDisc();
        }
        field.Add(axis, displaced(field.Centre(), PerpendicularFrame(axis),
                                  {reach * offset[0], reach * offset[1]}));
        GoOnOrThrow(); // after every fiber: with few hits, steps are far between
        const double done = static_cast<double>(field.FiberPixelCount()) / wanted;
        for (; step < PLACING_STEPS && step < static_cast<int>(PLACING_STEPS * std::min(done, 1.0)); ++step) {
            progress.Step();
        }
    }
}

void place(const SThroughCentre& /*places*/, const DirectionLaw& law, CRandomNumbers& random,
           CFiberField& field) {
    field.Add(DrawAxis(law, random), field.Centre());
}

void place(const SParallelGrid& places, const DirectionLaw& law, CRandomNumbers& random, CFiberField& field) {
    const Vector axis = DrawAxis(law, random);
    const SPerpendicularFrame frame = PerpendicularFrame(axis);
    const auto rings = static_cast<long long>(field.LineReach() / places.distancePx);
    const long long columns = field.IsFlat() ? 0 : rings;
    CProgressReport progress(CProgressMonitor::Obj(), 2 * rings + 1, "Placing fibers");
    for (long long row = -rings; row <= rings; ++row) {
        for (long long column = -columns; column <= columns; ++column) {
            field.Add(axis, displaced(field.Centre(), frame,
                                      {places.distancePx * static_cast<double>(row),
                                       places.distancePx * static_cast<double>(column)}));
            GoOnOrThrow();
        }
        progress.Step();
    }
}

void set_spacing(CImage& image, double spacingMm) {
    CVexoHeaderTools::SetSpacing(image, spacingMm, spacingMm, spacingMm);
}

std::unique_ptr<CImage> make_image(const SPhantomOptions& options, const CFiberField& field,
                                   CRandomNumbers& random) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_8, options.sizePx, CSize(0, 0, 0));
    set_spacing(*image, options.spacingMm);
    DrawImage(*image, {options.backgroundGrey, options.fiberGrey, options.noiseSd}, random,
              [&field](std::size_t pixel) { return field.Coverage(pixel); });
    return image;
}

/// As the angle maps hold them; in 2D there is one, `phi` is not used.
struct SAngles {
    float theta;
    float phi;
};

SAngles angles_of(const Vector& axis, bool flat) {
    if (flat) {
        return {Impl::AngleOfAxis({axis[0], axis[1]}), Impl::NO_ANGLE};
    }
    const Impl::SAxisAngles angles = Impl::AnglesOfAxis(axis);
    return {angles.colatitudeRad, angles.longitudeRad};
}

void add_truth(const SPhantomOptions& options, const CFiberField& field, SPhantom& phantom) {
    std::vector<SAngles> angles;
    angles.reserve(field.Fibers().size());
    for (const SPhantomFiber& fiber : field.Fibers()) {
        angles.push_back(angles_of(fiber.axis, field.IsFlat()));
    }
    const SAngles none{field.IsFlat() ? Impl::NO_ANGLE : Impl::NO_COLATITUDE, Impl::NO_ANGLE};

    const auto new_map = [&options]() {
        auto map = std::make_unique<CImage>(IMAGE_GREY_F, options.sizePx, CSize(0, 0, 0));
        set_spacing(*map, options.spacingMm);
        return map;
    };
    phantom.theta = new_map();
    phantom.phi = field.IsFlat() ? nullptr : new_map();
    auto* theta = phantom.theta->Pixels<float>();
    auto* phi = phantom.phi ? phantom.phi->Pixels<float>() : nullptr;
    CPolls polls(PIXELS_BETWEEN_POLLS);
    for (std::size_t pixel = 0; pixel < field.PixelCount(); ++pixel) {
        const std::int32_t owner = field.Owner(pixel);
        const SAngles& here = owner == NO_FIBER ? none : angles[static_cast<std::size_t>(owner)];
        theta[pixel] = here.theta;
        if (phi != nullptr) {
            phi[pixel] = here.phi;
        }
        polls.Add(1);
    }
}

void add_tensor(const CFiberField& field, SPhantom& phantom) {
    phantom.fiberPixelCount = field.FiberPixelCount();
    phantom.volumeFraction =
        static_cast<double>(field.FiberPixelCount()) / static_cast<double>(field.PixelCount());
    phantom.fibers = field.Fibers();
    for (const SPhantomFiber& fiber : phantom.fibers) {
        const double share =
            static_cast<double>(fiber.pixelCount) / static_cast<double>(phantom.fiberPixelCount);
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                phantom.tensor[i][j] += share * (fiber.axis[i] * fiber.axis[j]);
            }
        }
    }
}

} // namespace

void CheckDirections(const DirectionLaw& directions, int dim) {
    std::visit([dim](const auto& law) { check_law(law, dim); }, directions);
}

SPhantom MakePhantom(const SPhantomOptions& options) {
    CheckExtents(options.sizePx, {1.0, 1.0, 1.0}, options.fiberRadiusPx);
    CheckGreyValues(options.backgroundGrey, options.fiberGrey, options.noiseSd);
    Require(std::isfinite(options.spacingMm) && options.spacingMm > 0.0, "the spacing", options.spacingMm,
            "greater than 0, and finite");
    CheckDirections(options.directions, options.sizePx.Dim());
    check_places(options);

    CRandomNumbers random(options.seed);
    CFiberField field(options.sizePx, options.fiberRadiusPx);
    std::visit([&](const auto& places) { place(places, options.directions, random, field); }, options.places);
    if (field.FiberPixelCount() == 0) {
        Refuse("no pixel's centre lies in a fiber; give a larger fiber radius.");
    }

    SPhantom phantom;
    phantom.image = make_image(options, field, random);
    add_truth(options, field, phantom);
    add_tensor(field, phantom);
    return phantom;
}

} // namespace TEVRA::phantom
