// SPDX-License-Identifier: BSD-3-Clause
#include "report/pictures/Pictures.h"

#include "report/pictures/Raster.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>

namespace TEVRA::report {
namespace {

constexpr SColor WHITE{255, 255, 255};
constexpr SColor INK{26, 34, 48};
constexpr SColor FAINT{213, 218, 225};
constexpr double PI = std::numbers::pi;
constexpr double LETTERS = 14.0; // height of digits
constexpr int MARGIN = 28;
constexpr std::string_view AXES = "xyz";

std::string text_of(double number) {
    char text[32]; // NOLINT(*-avoid-c-arrays)
    static_cast<void>(std::snprintf(text, sizeof text, "%.4g", number));
    return text;
}

std::string with_unit(double number, const std::string& unit) {
    return text_of(number) + (unit.empty() ? "" : " " + unit);
}

/// A half-sphere seen along z: the color of every direction.
void draw_sphere(CRaster& picture, SPoint centre, double radius) {
    for (int y = static_cast<int>(centre.y - radius) - 1; y <= static_cast<int>(centre.y + radius) + 1; ++y) {
        for (int x = static_cast<int>(centre.x - radius) - 1; x <= static_cast<int>(centre.x + radius) + 1;
             ++x) {
            const double dx = (x + 0.5 - centre.x) / radius;
            const double dy = (y + 0.5 - centre.y) / radius;
            if (const auto axis = DirectionAt(dx, dy)) {
                picture.Blend(x, y, Impl::ColorOfAxis(*axis));
            }
        }
    }
    picture.Text({centre.x + radius + 8, centre.y + LETTERS / 2}, "x", LETTERS, INK);
    picture.Text({centre.x, centre.y + radius + LETTERS + 6}, "y", LETTERS, INK, EAnchor::middle);
    picture.Text({centre.x, centre.y + LETTERS / 2}, "z", LETTERS, WHITE, EAnchor::middle);
}

/// All angles around a circle, x to the right and y down.
void draw_wheel(CRaster& picture, SPoint centre, double radius) {
    for (int y = static_cast<int>(centre.y - radius) - 1; y <= static_cast<int>(centre.y + radius) + 1; ++y) {
        for (int x = static_cast<int>(centre.x - radius) - 1; x <= static_cast<int>(centre.x + radius) + 1;
             ++x) {
            const double dx = x + 0.5 - centre.x;
            const double dy = y + 0.5 - centre.y;
            const double from = std::hypot(dx, dy) / radius;
            if (from > 0.55 && from <= 1.0) {
                picture.Blend(x, y, Impl::ColorOfAngle(std::atan2(dy, dx)));
            }
        }
    }
    picture.Text({centre.x + radius + 8, centre.y + LETTERS / 2}, "x", LETTERS, INK);
    picture.Text({centre.x, centre.y + radius + LETTERS + 6}, "y", LETTERS, INK, EAnchor::middle);
}

/// One after the other to the right, at the same scale.
struct SPanel {
    const SSection* section;
    std::array<std::size_t, 2> along; ///< axes to the right and down
    int width;
    int height;
};

void draw_section(CRaster& picture, const SPanel& panel, int left, int top) {
    const SSection& section = *panel.section;
    std::vector<long long> columns;
    columns.reserve(static_cast<std::size_t>(panel.width));
    for (int x = 0; x < panel.width; ++x) {
        columns.push_back(x * section.size[0] / panel.width);
    }
    for (int y = 0; y < panel.height; ++y) {
        const long long row = y * section.size[1] / panel.height * section.size[0];
        for (int x = 0; x < panel.width; ++x) {
            const auto at = static_cast<std::size_t>(row + columns[static_cast<std::size_t>(x)]);
            const std::uint8_t grey = section.grey[at];
            picture.Blend(left + x, top + y, {grey, grey, grey});
            picture.Blend(left + x, top + y,
                          {section.color[0][at], section.color[1][at], section.color[2][at]},
                          section.coverage[at] / 255.0);
        }
    }
}

/// A length that is round, at most a third of the extent.
double bar_length(double extent) {
    const double power = std::pow(10.0, std::floor(std::log10(extent / 3.0)));
    return power * (5.0 * power <= extent / 3.0 ? 5.0 : 2.0 * power <= extent / 3.0 ? 2.0 : 1.0);
}

/// Distances of lines that divide an extent into about five parts.
double tick_step(double extent) {
    const double power = std::pow(10.0, std::floor(std::log10(extent / 5.0)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (extent / (factor * power) <= 6.0) {
            return factor * power;
        }
    }
    return 10.0 * power;
}

void draw_rose(CRaster& picture, const std::vector<unsigned long long>& counts, SPoint centre,
               double radius) {
    constexpr int WIDTH = 5; // degrees
    constexpr int PETALS = 360 / WIDTH;
    const auto sum_of = [&counts](int petal) {
        unsigned long long sum = 0;
        for (int offset = -2; offset <= 2; ++offset) {
            sum += counts[static_cast<std::size_t>((petal * WIDTH + offset + 360) % 180)];
        }
        return static_cast<double>(sum);
    };
    double most = 1.0;
    for (int petal = 0; petal < PETALS; ++petal) {
        most = std::max(most, sum_of(petal));
    }
    for (int petal = 0; petal < PETALS; ++petal) {
        const double r = radius * std::sqrt(sum_of(petal) / most); // areas are shares
        std::vector<SPoint> outline{centre};
        for (int step = -2; step <= 2; ++step) {
            const double angle = (petal * WIDTH + step * 0.24 * WIDTH) * PI / 180.0;
            outline.push_back({centre.x + r * std::cos(angle), centre.y + r * std::sin(angle)});
        }
        picture.Polygon(outline, Impl::ColorOfAngle(petal * WIDTH * PI / 180.0));
    }
}

void draw_circle(CRaster& picture, SPoint centre, double radius, double width, SColor color) {
    std::vector<SPoint> points;
    for (int step = 0; step <= 180; ++step) {
        const double angle = step * PI / 90.0;
        points.push_back({centre.x + radius * std::cos(angle), centre.y + radius * std::sin(angle)});
    }
    for (std::size_t at = 0; at + 1 < points.size(); ++at) {
        picture.Line(points[at], points[at + 1], width, color);
    }
}

/// The density between nodes, as far as there are any around.
double density_at(const SDirectionDensity& density, double x, double y) {
    constexpr std::size_t NODES = SDirectionDensity::NODES;
    const double across = (x + 1.0) / 2.0 * (NODES - 1);
    const double down = (y + 1.0) / 2.0 * (NODES - 1);
    const auto column = std::min(static_cast<std::size_t>(across), NODES - 2);
    const auto row = std::min(static_cast<std::size_t>(down), NODES - 2);
    double sum = 0.0;
    double weights = 0.0;
    for (std::size_t i = 0; i < 2; ++i) {
        for (std::size_t j = 0; j < 2; ++j) {
            const double value = static_cast<double>(density.values[(row + i) * NODES + column + j]);
            if (std::isfinite(value)) {
                const double weight = std::max((1.0 - std::abs(down - static_cast<double>(row + i))) *
                                                   (1.0 - std::abs(across - static_cast<double>(column + j))),
                                               1e-6);
                sum += weight * value;
                weights += weight;
            }
        }
    }
    return weights > 0.0 ? sum / weights : 0.0;
}

/// Colors of values from 0 to 1: as many as a screen shows apart.
using ShareColors = std::array<SColor, 256>;
ShareColors share_colors() {
    ShareColors colors;
    for (std::size_t at = 0; at < colors.size(); ++at) {
        colors[at] = Impl::ColorOfShare(static_cast<double>(at) / static_cast<double>(colors.size() - 1));
    }
    return colors;
}
SColor color_of(const ShareColors& colors, double share) {
    const double last = static_cast<double>(colors.size() - 1);
    return colors[static_cast<std::size_t>(std::lround(std::clamp(share, 0.0, 1.0) * last))];
}

double draw_pole_figure(CRaster& picture, const SDirectionDensity& density, SPoint centre, double radius) {
    double most = 1.5;
    for (const float value : density.values) {
        if (std::isfinite(value)) {
            most = std::max(most, static_cast<double>(value));
        }
    }
    const ShareColors colors = share_colors();
    for (int y = static_cast<int>(centre.y - radius); y <= static_cast<int>(centre.y + radius); ++y) {
        for (int x = static_cast<int>(centre.x - radius); x <= static_cast<int>(centre.x + radius); ++x) {
            const double dx = (x + 0.5 - centre.x) / radius;
            const double dy = (y + 0.5 - centre.y) / radius;
            if (dx * dx + dy * dy <= 1.0) {
                picture.Blend(x, y, color_of(colors, density_at(density, dx, dy) / most));
            }
        }
    }
    return most;
}

void draw_value_bar(CRaster& picture, SPoint corner, double width, double most) {
    for (int x = 0; x < static_cast<int>(width); ++x) {
        for (int y = 0; y < 14; ++y) {
            picture.Blend(static_cast<int>(corner.x) + x, static_cast<int>(corner.y) + y,
                          Impl::ColorOfShare(x / width));
        }
    }
    picture.Text({corner.x, corner.y + 20 + LETTERS}, "0", LETTERS, INK);
    picture.Text({corner.x + width, corner.y + 20 + LETTERS}, text_of(std::round(most * 10.0) / 10.0),
                 LETTERS, INK, EAnchor::right);
}

/// Middles of the subfields whose lower corner is a slice, as a length.
double middle_of(const Impl::SAnalysisResult& result, std::size_t axis, const Impl::SProfileSlice& slice) {
    const auto at = static_cast<int>(axis);
    for (const Impl::SFieldResult& subfield : result.subfields) {
        if (subfield.box.Point0()[at] == slice.slicePx) {
            return 0.5 * static_cast<double>(subfield.box.Point0()[at] + subfield.box.Point1()[at]) *
                   result.parameters.spacing[axis];
        }
    }
    return slice.position;
}

/// One chart of the diagonal components along an axis.
void draw_profile(CRaster& picture, const Impl::SAnalysisResult& result, std::size_t axis,
                  const std::string& unit, const std::array<double, 4>& frame) {
    constexpr std::array COLORS{SColor{0, 114, 178}, SColor{213, 94, 0}, SColor{0, 158, 115}};
    const double left = frame[0]; // no structured binding: Clang 14 lets no function capture one
    const double top = frame[1];
    const double right = frame[2];
    const double bottom = frame[3];
    const auto axes = static_cast<std::size_t>(result.dim);
    std::vector<const Impl::SProfileSlice*> slices;
    for (const Impl::SProfileSlice& slice : result.profiles[axis]) {
        if (slice.values && slice.subfields > 0) {
            slices.push_back(&slice);
        }
    }
    if (slices.empty()) {
        return;
    }
    std::vector<double> middles;
    middles.reserve(slices.size());
    for (const Impl::SProfileSlice* const slice : slices) {
        middles.push_back(middle_of(result, axis, *slice));
    }
    const double first = middles.front();
    const double last = middles.back();
    const double extent = last > first ? last - first : 1.0;
    const auto x_of = [&](double position) {
        return left + 12 + (position - first) / extent * (right - left - 24);
    };
    const auto y_of = [&](double value) { return bottom - value * (bottom - top); };
    for (int tick = 0; tick <= 5; ++tick) {
        const double value = 0.2 * tick;
        picture.Line({left, y_of(value)}, {right, y_of(value)}, 1.0, FAINT);
        picture.Text({left - 10, y_of(value) + LETTERS / 2}, text_of(value), LETTERS, INK, EAnchor::right);
    }
    const double step = tick_step(extent);
    const auto lastTick = static_cast<long long>(std::floor((last + 1e-9 * extent) / step));
    for (auto tick = static_cast<long long>(std::ceil(first / step)); tick <= lastTick; ++tick) {
        const double position = static_cast<double>(tick) * step;
        picture.Line({x_of(position), bottom}, {x_of(position), bottom + 6}, 1.0, INK);
        picture.Text({x_of(position), bottom + 12 + LETTERS}, text_of(position), LETTERS, INK,
                     EAnchor::middle);
    }
    picture.Text({0.5 * (left + right), bottom + 22 + 2 * LETTERS},
                 std::string(1, AXES[axis]) + (unit.empty() ? "" : " (" + unit + ")"), LETTERS, INK,
                 EAnchor::middle);
    for (std::size_t component = 0; component < axes; ++component) {
        std::vector<SPoint> points;
        points.reserve(slices.size());
        for (std::size_t at = 0; at < slices.size(); ++at) {
            points.push_back({x_of(middles[at]), y_of(slices[at]->values->tensor(component, component))});
        }
        for (std::size_t at = 0; at + 1 < points.size(); ++at) {
            picture.Line(points[at], points[at + 1], 2.5, COLORS[component]);
        }
        for (const SPoint& point : points) {
            picture.Line(point, point, 8.0, COLORS[component]);
        }
        const double x = left + 12 + 120.0 * static_cast<double>(component);
        picture.Line({x, top - 20}, {x + 24, top - 20}, 2.5, COLORS[component]);
        picture.Text({x + 32, top - 20 + LETTERS / 2}, std::string("a_") + AXES[component] + AXES[component],
                     LETTERS, INK);
    }
}

} // namespace

std::string SectionsPng(const Impl::SAnalysisResult& result, const SRunRecord& record,
                        const SPictureData& pictures) {
    constexpr double WIDEST = 1500.0; // pixels of all panels together
    constexpr int LEGEND = 240;
    constexpr int GAP = 20;
    constexpr int CAPTION = 34;
    const std::string& unit = record.parameters.request.lengthUnit;
    const auto extent_of = [&](std::size_t axis) {
        return static_cast<double>(record.input.sizePx[axis]) * result.parameters.spacing[axis];
    };
    std::vector<SPanel> panels;
    double width = 0.0;
    for (const std::size_t axis : {2U, 1U, 0U}) {
        std::vector<const SSection*> across;
        for (const SSection& section : pictures.sections.sections) {
            if (section.axis == axis) {
                across.push_back(&section);
            }
        }
        if (!across.empty()) {
            panels.push_back({across[across.size() / 2], {axis == 0 ? 1U : 0U, axis == 2 ? 1U : 2U}, 0, 0});
            width += extent_of(panels.back().along[0]);
        }
    }
    const double scale = (panels.size() == 1 ? 0.6 : 1.0) * WIDEST / width; // pixels per length
    int height = LEGEND;
    int right = MARGIN;
    for (SPanel& panel : panels) {
        panel.width = std::max(1, static_cast<int>(std::lround(scale * extent_of(panel.along[0]))));
        panel.height = std::clamp(static_cast<int>(std::lround(scale * extent_of(panel.along[1]))), 1, 4000);
        height = std::max(height, panel.height);
        right += panel.width + GAP;
    }
    CRaster picture(right + LEGEND, height + CAPTION + 2 * MARGIN, WHITE);
    int left = MARGIN;
    for (const SPanel& panel : panels) {
        std::string caption =
            std::string(1, AXES[panel.along[0]]) + " right, " + AXES[panel.along[1]] + " down";
        if (result.dim == 3) {
            const std::size_t axis = panel.section->axis;
            caption += std::string(", ") + AXES[axis] + " = " +
                       with_unit((static_cast<double>(panel.section->slicePx) + 0.5) *
                                     result.parameters.spacing[axis],
                                 unit);
        }
        picture.Text({static_cast<double>(left), MARGIN + LETTERS}, caption, LETTERS, INK);
        const int top = MARGIN + CAPTION;
        draw_section(picture, panel, left, top);
        const double bar = bar_length(extent_of(panel.along[0]));
        const SPoint from{left + 16.0, top + panel.height - 16.0};
        picture.Line(from, {from.x + scale * bar, from.y}, 8.0, INK); // seen on bright images, too
        picture.Line(from, {from.x + scale * bar, from.y}, 4.0, WHITE);
        picture.Text({from.x, from.y - 12}, with_unit(bar, unit), LETTERS, INK);
        picture.Text({from.x - 1, from.y - 13}, with_unit(bar, unit), LETTERS, WHITE);
        left += panel.width + GAP;
    }
    const SPoint centre{left + 100.0, MARGIN + CAPTION + 90.0};
    if (result.dim == 3) {
        draw_sphere(picture, centre, 80.0);
    } else {
        draw_wheel(picture, centre, 80.0);
    }
    return picture.Png(pictures.pack);
}

std::string DirectionsPng(const Impl::SAnalysisResult& result, const SPictureData& pictures) {
    constexpr int SIZE = 720;
    constexpr double RADIUS = 280.0;
    CRaster picture(SIZE, SIZE + 90, WHITE);
    const SPoint centre{SIZE / 2.0, SIZE / 2.0};
    if (result.dim == 2) {
        draw_rose(picture, pictures.directions, centre, RADIUS);
        picture.Text({centre.x, SIZE + 30}, "area of petals: share of axes in 5 degrees", LETTERS, INK,
                     EAnchor::middle);
    } else {
        const double most = draw_pole_figure(picture, pictures.density, centre, RADIUS);
        draw_value_bar(picture, {centre.x - 160, SIZE - 10}, 320, most);
        picture.Text({centre.x, SIZE + 70}, "density of directions seen along z; even: 1", LETTERS, INK,
                     EAnchor::middle);
    }
    draw_circle(picture, centre, RADIUS, 2.0, INK);
    const double label = RADIUS + 26;
    picture.Text({centre.x + label, centre.y + LETTERS / 2}, "x", LETTERS, INK, EAnchor::middle);
    picture.Text({centre.x - label, centre.y + LETTERS / 2}, "-x", LETTERS, INK, EAnchor::middle);
    picture.Text({centre.x, centre.y + label + LETTERS / 2}, "y", LETTERS, INK, EAnchor::middle);
    picture.Text({centre.x, centre.y - label + LETTERS / 2}, "-y", LETTERS, INK, EAnchor::middle);
    const std::array<double, 3>& mean = result.field.values.meanDirection;
    if (result.dim == 2) {
        picture.Line({centre.x - RADIUS * mean[0], centre.y - RADIUS * mean[1]},
                     {centre.x + RADIUS * mean[0], centre.y + RADIUS * mean[1]}, 3.0, INK);
    } else {
        const double sign = mean[2] < 0.0 ? -1.0 : 1.0;
        const double shrink = sign * RADIUS / std::sqrt(1.0 + std::abs(mean[2]));
        draw_circle(picture, {centre.x + shrink * mean[0], centre.y + shrink * mean[1]}, 12.0, 6.0, INK);
        draw_circle(picture, {centre.x + shrink * mean[0], centre.y + shrink * mean[1]}, 12.0, 3.0, WHITE);
    }
    return picture.Png(pictures.pack);
}

std::string ProfilesPng(const Impl::SAnalysisResult& result, const SRunRecord& record,
                        const SPictureData& pictures) {
    constexpr int WIDTH = 900;
    constexpr int HEIGHT = 400; // of one chart with all around it
    CRaster picture(WIDTH, HEIGHT * result.dim, WHITE);
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(result.dim); ++axis) {
        const double top = HEIGHT * static_cast<double>(axis);
        draw_profile(picture, result, axis, record.parameters.request.lengthUnit,
                     {80.0, top + 60.0, WIDTH - 30.0, top + HEIGHT - 70.0});
    }
    return picture.Png(pictures.pack);
}

} // namespace TEVRA::report
