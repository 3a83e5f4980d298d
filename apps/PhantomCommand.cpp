// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Console.h"
#include "apps/Failure.h"
#include "apps/Interruption.h"
#include "jobs/PendingFile.h"

#include "phantom/Phantom.h"
#include "phantom/SeparateFibers.h"
#include "report/Json.h"
#include "volume/Failure.h"
#include "volume/MetaImageWriter.h"
#include "volume/NumberText.h"
#include "volume/TiffWriter.h"

#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <memory>
#include <numbers>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace TEVRA::apps {

namespace {

using Vector = std::array<double, 3>;
using OptionalText = std::optional<std::string>;

/// The options as given.
struct SPhantomArguments {
    std::string output;
    OptionalText truthPrefix;
    std::string size = "128,128,128";
    std::string fiberRadius = "4";
    OptionalText volumeFraction;
    OptionalText layout;
    OptionalText fiberDistance;
    bool overlap = false;
    OptionalText bundleRadius;
    OptionalText layerAngles;
    OptionalText layerRows;
    OptionalText wave;
    OptionalText hole;
    OptionalText blur;
    OptionalText beta;
    OptionalText axis;
    bool planar = false;
    OptionalText symmetryAxis;
    std::string grey = "50,200";
    std::string noise = "0";
    std::string seed = "1";
    OptionalText spacing;
    bool quiet = false;
};

enum class EFormat { tiff, metaImage };

EFormat format_of(const std::string& path) {
    RequireName({"-o", path});
    std::string ending = std::filesystem::path(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending == ".tif" || ending == ".tiff") {
        return EFormat::tiff;
    }
    if (ending == ".mha") {
        return EFormat::metaImage;
    }
    throw CUsageError("-o: '" + path + "' ends with neither .tif, .tiff nor .mha; these formats are written");
}

Vector read_vector(const SArgument& argument) {
    const std::vector<double> components = ReadNumbers(argument);
    if (components.size() != 2 && components.size() != 3) {
        throw CUsageError(argument.name + ": '" + argument.text + "' is not a direction, as in 0,0,1");
    }
    return {components[0], components[1], components.size() == 3 ? components[2] : 0.0};
}

CSize read_size(const SArgument& argument) {
    const std::vector<long long> extents = ReadWholeNumbers(argument);
    if (extents.size() == 2) {
        return {extents[0], extents[1]};
    }
    if (extents.size() == 3) {
        return {extents[0], extents[1], extents[2]};
    }
    throw CUsageError(argument.name + ": '" + argument.text +
                      "' is not two or three extents in pixels, as in 512,512 or 128,128,64");
}

/// Fiber directions; without a choice isotropic ones.
phantom::DirectionLaw read_directions(const SPhantomArguments& arguments, int dim) {
    if (arguments.axis) {
        if (arguments.symmetryAxis) {
            throw CUsageError("--symmetry-axis goes with --beta or --planar, not with --axis");
        }
        return phantom::SOneAxis{read_vector({"--axis", *arguments.axis})};
    }
    const Vector symmetryAxis = arguments.symmetryAxis
                                    ? read_vector({"--symmetry-axis", *arguments.symmetryAxis})
                                    : Vector{0.0, 0.0, 1.0};
    if (arguments.planar || (dim == 2 && !arguments.beta)) {
        return phantom::SPlanar{symmetryAxis};
    }
    const double beta = arguments.beta ? ReadPositiveNumber({"--beta", *arguments.beta}) : 1.0;
    return phantom::SBetaFamily{beta, symmetryAxis};
}

/// A length in pixels. Without a unit it is in mm if there is a spacing, else in pixels.
double read_length_px(const SArgument& argument, const SPhantomArguments& arguments, double spacingMm) {
    const jobs::SLength length = ReadLength(argument);
    if (!length.unit.empty() && !arguments.spacing) {
        throw CUsageError(argument.name + ": '" + argument.text +
                          "' has a unit, but the image gets no spacing; give --spacing, or pixels as a "
                          "number alone");
    }
    return (length.unit.empty() ? length.value : jobs::LengthIn("mm", length)) / spacingMm;
}

std::string layout_of(const SPhantomArguments& arguments) {
    std::string layout = arguments.layout.value_or("random");
    if (layout != "random" && layout != "bundles" && layout != "layers" && layout != "single" &&
        layout != "grid") {
        throw CUsageError("--layout: '" + layout + "' is none of random, bundles, layers, single, grid");
    }
    if (arguments.volumeFraction && (layout == "single" || layout == "grid")) {
        throw CUsageError("--volume-fraction goes with --layout random, bundles and layers only");
    }
    return layout;
}

/// Whether fibers may not overlap.
bool are_separate(const SPhantomArguments& arguments) {
    const std::string layout = layout_of(arguments);
    if (arguments.overlap && layout != "random") {
        throw CUsageError("--overlap goes with --layout random only");
    }
    return layout == "bundles" || layout == "layers" || (layout == "random" && !arguments.overlap);
}

void require_separate(const SPhantomArguments& arguments) {
    const std::string layout = layout_of(arguments);
    const auto require = [](bool isRight, bool isGiven, const char* option, const char* rest) {
        if (isGiven && !isRight) {
            throw CUsageError(std::string(option) + " goes with " + rest);
        }
    };
    require(layout == "bundles", arguments.bundleRadius.has_value(), "--bundle-radius",
            "--layout bundles only");
    require(layout == "layers", arguments.layerAngles.has_value(), "--layer-angles", "--layout layers only");
    require(layout == "layers", arguments.layerRows.has_value(), "--layer-rows", "--layout layers only");
    const bool isSeparate = are_separate(arguments);
    const char* const others =
        "fibers that do not overlap only: --layout random without --overlap, bundles or layers";
    require(isSeparate, arguments.wave.has_value(), "--wave", others);
    require(isSeparate, arguments.hole.has_value(), "--hole", others);
    require(isSeparate, arguments.blur.has_value(), "--blur", others);
}

phantom::FiberPlaces read_places(const SPhantomArguments& arguments, double spacingMm) {
    const std::string layout = layout_of(arguments);
    if (arguments.fiberDistance && layout != "grid") {
        throw CUsageError("--fiber-distance goes with --layout grid only");
    }
    if (layout == "single") {
        return phantom::SThroughCentre{};
    }
    if (layout == "random") {
        return phantom::SRandomPlaces{
            ReadPositiveNumber({"--volume-fraction", arguments.volumeFraction.value_or("0.1")})};
    }
    if (!arguments.fiberDistance) {
        throw CUsageError("--layout grid needs --fiber-distance");
    }
    return phantom::SParallelGrid{
        read_length_px({"--fiber-distance", *arguments.fiberDistance}, arguments, spacingMm)};
}

/// Spacing along x, y, z in mm; 1 where none is given.
Vector read_spacing(const SPhantomArguments& arguments, int dim) {
    if (!arguments.spacing) {
        return {1.0, 1.0, 1.0};
    }
    std::vector<double> lengths;
    for (const std::string_view part : volume::SplitAtCommas(*arguments.spacing)) {
        const jobs::SLength length = ReadLength({"--spacing", std::string(part)});
        lengths.push_back(length.unit.empty() ? length.value : jobs::LengthIn("mm", length));
    }
    if (lengths.size() != 1 && lengths.size() != static_cast<std::size_t>(dim)) {
        throw CUsageError("--spacing has " + std::to_string(lengths.size()) + " lengths, but the image has " +
                          std::to_string(dim) + " axes; give one for all axes or one per axis");
    }
    Vector spacing{lengths.front(), lengths.front(), lengths.front()};
    std::copy(lengths.begin(), lengths.end(), spacing.begin());
    return spacing;
}

/// One spacing along all axes.
double equal_spacing(const Vector& spacing, int dim) {
    if (std::any_of(spacing.begin(), spacing.begin() + dim,
                    [&](double length) { return length != spacing[0]; })) {
        throw CUsageError(
            "--spacing: fibers that may overlap, single ones and grids come with one spacing along all "
            "axes");
    }
    return spacing[0];
}

std::array<double, 2> read_greys(const SPhantomArguments& arguments) {
    const std::vector<double> greys = ReadNumbers({"--grey", arguments.grey});
    if (greys.size() != 2) {
        throw CUsageError("--grey: '" + arguments.grey +
                          "' is not two grey values, background and fibers, as in 50,200");
    }
    return {greys[0], greys[1]};
}

/// What does not depend on the kind of phantom; of an image whose size is known.
template <typename OptionsT>
void read_common(const SPhantomArguments& arguments, OptionsT& options) {
    options.directions = read_directions(arguments, options.sizePx.Dim());
    const std::array<double, 2> greys = read_greys(arguments);
    options.backgroundGrey = greys[0];
    options.fiberGrey = greys[1];
    options.noiseSd = ReadNumber({"--noise", arguments.noise});
    options.seed = static_cast<std::uint64_t>(ReadWholeNumber({"--seed", arguments.seed}, 0));
}

phantom::SPhantomOptions read_options(const SPhantomArguments& arguments) {
    phantom::SPhantomOptions options;
    options.sizePx = read_size({"--size", arguments.size});
    options.spacingMm = equal_spacing(read_spacing(arguments, options.sizePx.Dim()), options.sizePx.Dim());
    options.fiberRadiusPx =
        read_length_px({"--fiber-radius", arguments.fiberRadius}, arguments, options.spacingMm);
    options.places = read_places(arguments, options.spacingMm);
    read_common(arguments, options);
    return options;
}

/// Two lengths, as in "3,60".
std::array<double, 2> read_wave(const SPhantomArguments& arguments) {
    const std::string& text = *arguments.wave;
    const std::size_t comma = text.find(',');
    if (comma == std::string::npos) {
        throw CUsageError("--wave: '" + text + "' is not the amplitude and the length of a wave, as in 3,60");
    }
    return {read_length_px({"--wave", text.substr(0, comma)}, arguments, 1.0),
            read_length_px({"--wave", text.substr(comma + 1)}, arguments, 1.0)};
}

phantom::SeparatePlaces read_separate_places(const SPhantomArguments& arguments, double fiberRadius) {
    const std::string layout = layout_of(arguments);
    const auto fraction = [&](const char* otherwise) {
        return ReadPositiveNumber({"--volume-fraction", arguments.volumeFraction.value_or(otherwise)});
    };
    if (layout == "bundles") {
        const double radius =
            arguments.bundleRadius
                ? read_length_px({"--bundle-radius", *arguments.bundleRadius}, arguments, 1.0)
                : 4.0 * fiberRadius;
        return phantom::SFiberBundles{fraction("0.15"), radius};
    }
    if (layout == "layers") {
        phantom::SFiberLayers layers;
        layers.volumeFraction = fraction("0.5");
        layers.anglesRad.clear();
        for (const double degrees : ReadNumbers({"--layer-angles", arguments.layerAngles.value_or("0,90")})) {
            layers.anglesRad.push_back(degrees * std::numbers::pi / 180.0);
        }
        layers.rows = ReadWholeNumber({"--layer-rows", arguments.layerRows.value_or("4")}, 1);
        return layers;
    }
    return phantom::SScatteredFibers{fraction("0.1"), 0.0};
}

/// Lengths are in mm, or in pixels without --spacing.
phantom::SSeparateOptions read_separate_options(const SPhantomArguments& arguments) {
    phantom::SSeparateOptions options;
    options.sizePx = read_size({"--size", arguments.size});
    options.spacing = read_spacing(arguments, options.sizePx.Dim());
    options.fiberRadius = read_length_px({"--fiber-radius", arguments.fiberRadius}, arguments, 1.0);
    if (arguments.hole) {
        options.holeRadius = read_length_px({"--hole", *arguments.hole}, arguments, 1.0);
    }
    if (arguments.blur) {
        options.blurSigma = read_length_px({"--blur", *arguments.blur}, arguments, 1.0);
    }
    if (arguments.wave) {
        const std::array<double, 2> wave = read_wave(arguments);
        options.waveAmplitude = wave[0];
        options.waveLength = wave[1];
    }
    options.places = read_separate_places(arguments, options.fiberRadius);
    read_common(arguments, options);
    return options;
}

/// What the files need to know of a phantom's options, of either kind.
struct SPhantomFacts {
    CSize sizePx;
    Vector spacing{1.0, 1.0, 1.0};
    double fiberRadiusPx = 0.0; ///< along x
    phantom::DirectionLaw directions;
    std::uint64_t seed = 1;
};

nlohmann::ordered_json law_json(const phantom::SOneAxis& law) {
    return {{"axis", law.axis}};
}

nlohmann::ordered_json law_json(const phantom::SBetaFamily& law) {
    return {{"beta", law.beta}, {"symmetry_axis", law.symmetryAxis}};
}

nlohmann::ordered_json law_json(const phantom::SPlanar& law) {
    return {{"plane_normal", law.normal}};
}

/// The truth as numbers: the tensor, and what it takes to make the phantom again.
std::string truth_json(const phantom::SPhantom& phantom, const SPhantomFacts& options) {
    nlohmann::ordered_json json;
    const std::string axes = options.sizePx.Dim() == 2 ? "xy" : "xyz";
    for (std::size_t row = 0; row < axes.size(); ++row) {
        for (std::size_t col = 0; col < axes.size(); ++col) {
            json["tensor"][std::string{axes[row], axes[col]}] = phantom.tensor[row][col];
        }
    }
    json["volume_fraction"] = phantom.volumeFraction;
    json["fiber_pixels"] = phantom.fiberPixelCount;
    json["fibers"] = phantom.fibers.size();
    json["fiber_radius_px"] = options.fiberRadiusPx;
    json["directions"] = std::visit([](const auto& law) { return law_json(law); }, options.directions);
    json["seed"] = options.seed;
    return report::ToText(json);
}

/// Where the files go: all are announced before the work, so that a bad place shows at once.
class CPhantomFiles {
  public:
    CPhantomFiles(const SPhantomArguments& arguments, int dim)
        : m_format(format_of(arguments.output)), m_target(arguments.output) {
        if (arguments.truthPrefix) {
            m_thetaTarget = *arguments.truthPrefix + "theta.mha";
            m_phiTarget = dim == 3 ? *arguments.truthPrefix + "phi.mha" : "";
            m_tensorTarget = *arguments.truthPrefix + "tensor.json";
            check_names_differ();
        }
        m_path = m_pending.Add(m_target);
        m_thetaPath = add(m_thetaTarget);
        m_phiPath = add(m_phiTarget);
    }

    /// @throws CWorkError if the disk is too full for an image of so many pixels and its maps.
    void RequireRoom(std::size_t pixels) const {
        std::vector<jobs::SRoomOfFile> files{{m_path, pixels}};
        for (const std::string& path : {m_thetaPath, m_phiPath}) {
            if (!path.empty()) {
                files.push_back({path, pixels * sizeof(float)});
            }
        }
        jobs::RequireRoom(files);
    }

    void Write(const phantom::SPhantom& phantom, const SPhantomFacts& options,
               const std::string& spacingUnit) {
        const Vector& spacing = options.spacing;
        const auto stated = spacingUnit.empty() ? std::nullopt : std::optional(spacing); // pixels are none
        if (m_format == EFormat::tiff) {
            volume::WriteTiff(m_path, *phantom.image, spacing, spacingUnit);
        } else {
            volume::WriteMetaImage(m_path, *phantom.image, stated, spacingUnit);
        }
        if (!m_thetaPath.empty()) {
            volume::WriteMetaImage(m_thetaPath, *phantom.theta, stated, spacingUnit);
        }
        if (!m_phiPath.empty()) {
            volume::WriteMetaImage(m_phiPath, *phantom.phi, stated, spacingUnit);
        }
        if (!m_tensorTarget.empty()) {
            m_pending.WriteText(m_tensorTarget, truth_json(phantom, options));
        }
    }

    void Commit() { m_pending.Commit(); }

    std::string Names() const {
        std::string names;
        for (const std::string& name : {m_target, m_thetaTarget, m_phiTarget, m_tensorTarget}) {
            if (!name.empty()) {
                names += (names.empty() ? "'" : ", '") + name + "'";
            }
        }
        return names;
    }

  private:
    void check_names_differ() const {
        const auto plain = [](const std::string& name) {
            return std::filesystem::absolute(name).lexically_normal();
        };
        for (const std::string& name : {m_thetaTarget, m_phiTarget, m_tensorTarget}) {
            if (!name.empty() && plain(name) == plain(m_target)) {
                throw CUsageError("-o and --truth both name '" + m_target + "'; give another prefix");
            }
        }
    }

    std::string add(const std::string& target) {
        return target.empty() ? std::string() : m_pending.Add(target);
    }

    EFormat m_format;
    std::string m_target;
    std::string m_thetaTarget; // these are empty if the file is not written
    std::string m_phiTarget;
    std::string m_tensorTarget;
    std::string m_path;
    std::string m_thetaPath;
    std::string m_phiPath;
    jobs::CPendingFiles m_pending;
};

template <typename MakeT>
phantom::SPhantom make_phantom(const MakeT& make) {
    try {
        return make();
    } catch (const std::invalid_argument& error) {
        throw CUsageError(error.what()); // all its input comes from options
    }
}

void run(const SPhantomArguments& arguments) {
    require_separate(arguments);
    const bool isSeparate = are_separate(arguments);
    phantom::SSeparateOptions separate;
    phantom::SPhantomOptions overlapping;
    SPhantomFacts facts;
    if (isSeparate) {
        separate = read_separate_options(arguments);
        facts = {separate.sizePx, separate.spacing, separate.fiberRadius / separate.spacing[0],
                 separate.directions, separate.seed};
    } else {
        overlapping = read_options(arguments);
        const double spacing = overlapping.spacingMm;
        facts = {overlapping.sizePx,
                 {spacing, spacing, spacing},
                 overlapping.fiberRadiusPx,
                 overlapping.directions,
                 overlapping.seed};
    }
    CConsole console(arguments.quiet ? EVerbosity::quiet : EVerbosity::normal);
    CPhantomFiles files(arguments, facts.sizePx.Dim());
    files.RequireRoom(facts.sizePx.Elements());
    const phantom::SPhantom phantom = make_phantom([&] {
        return isSeparate ? phantom::MakeSeparatePhantom(separate) : phantom::MakePhantom(overlapping);
    });
    files.Write(phantom, facts, arguments.spacing ? "mm" : "");
    ThrowIfInterrupted();
    files.Commit();

    std::ostringstream summary;
    summary << phantom.fibers.size() << (phantom.fibers.size() == 1 ? " fiber" : " fibers")
            << ", volume fraction " << phantom.volumeFraction << "; wrote " << files.Names();
    console.Say(summary.str());
}

} // namespace

SCommand AddPhantomCommand(CLI::App& program) {
    const auto arguments = std::make_shared<SPhantomArguments>();
    CLI::App* const parser = program.add_subcommand(
        "phantom", "Make a synthetic fiber image whose fiber directions are known exactly");
    parser->add_option("-o,--output", arguments->output, "Image to write: .tif, .tiff or .mha")
        ->required()
        ->type_name("FILE");
    parser
        ->add_option(
            "--truth", arguments->truthPrefix,
            "Write the truth too: PREFIXtheta.mha and PREFIXphi.mha (angles of the axis at every fiber "
            "pixel, in radians, as 'tevra analyze --maps' writes them; 2D: PREFIXtheta.mha only) and "
            "PREFIXtensor.json")
        ->type_name("PREFIX");
    parser->add_option("--size", arguments->size, "Extents in pixels (default 128,128,128)")
        ->type_name("NX,NY[,NZ]");
    parser
        ->add_option(
            "--fiber-radius", arguments->fiberRadius,
            "Radius of the fibers, in pixels, or with --spacing in mm or a unit, as in 2.5um (default 4)")
        ->type_name("R");
    parser
        ->add_option("--volume-fraction", arguments->volumeFraction,
                     "Share of the image to fill with fibers, above 0 (default 0.1; bundles 0.15); the last "
                     "fiber may exceed "
                     "it. Of layers: share within a layer (default 0.5, at most 0.9)")
        ->type_name("F");
    parser
        ->add_option(
            "--layout", arguments->layout,
            "random: anywhere until the volume fraction is reached, without overlap (default; up to some "
            "0.25); "
            "bundles: in bundles of parallel fibers; layers: in touching layers one above the other; single: "
            "one "
            "fiber through the centre; grid: parallel fibers on a square grid. The last two need --axis")
        ->type_name("LAYOUT");
    parser->add_flag(
        "--overlap", arguments->overlap,
        "With --layout random: place fibers without regard to each other. Their truth is ambiguous where "
        "they overlap, above a volume fraction of some 0.15");
    parser
        ->add_option("--bundle-radius", arguments->bundleRadius,
                     "With --layout bundles: radius of a bundle (default 4 fiber radii)")
        ->type_name("R");
    parser
        ->add_option(
            "--layer-angles", arguments->layerAngles,
            "With --layout layers: directions of the layers in degrees from x towards y, in turn (default "
            "0,90)")
        ->type_name("DEG,...");
    parser
        ->add_option("--layer-rows", arguments->layerRows,
                     "With --layout layers: rows of fibers per layer (default 4)")
        ->type_name("N");
    parser
        ->add_option("--wave", arguments->wave,
                     "Curved fibers: sinusoids of this amplitude and length, in the unit of the radius")
        ->type_name("A,L");
    parser
        ->add_option("--hole", arguments->hole,
                     "Hollow fibers: radius of the lumen, in the unit of the radius")
        ->type_name("R");
    parser
        ->add_option(
            "--blur", arguments->blur,
            "Standard deviation of the imaging's Gaussian blur, in the unit of the radius (default none)")
        ->type_name("S");
    parser
        ->add_option("--fiber-distance", arguments->fiberDistance,
                     "Distance of neighbours on the grid, in the unit of the radius")
        ->type_name("D");
    CLI::Option* const beta =
        parser
            ->add_option(
                "--beta", arguments->beta,
                "Directions scattered around the symmetry axis: below 1 gathered along it, 1 isotropic "
                "(default), above 1 gathered across it (3D only)")
            ->type_name("B");
    CLI::Option* const axis =
        parser->add_option("--axis", arguments->axis, "All fibers along this direction")->type_name("X,Y,Z");
    CLI::Option* const planar =
        parser->add_flag("--planar", arguments->planar,
                         "All directions of the x-y plane alike, or of the plane across --symmetry-axis (the "
                         "default in 2D)");
    beta->excludes(axis)->excludes(planar);
    axis->excludes(planar);
    parser
        ->add_option("--symmetry-axis", arguments->symmetryAxis,
                     "Axis that --beta and --planar refer to (default 0,0,1)")
        ->type_name("X,Y,Z");
    parser
        ->add_option("--grey", arguments->grey,
                     "Grey values of background and fibers (default 50,200); the lower one second for dark "
                     "fibers")
        ->type_name("BG,FG");
    parser
        ->add_option("--noise", arguments->noise,
                     "Standard deviation of Gaussian noise, in grey values (default 0)")
        ->type_name("SD");
    parser
        ->add_option(
            "--seed", arguments->seed,
            "Whole number that fixes all that is random (default 1): the same seed and options give the "
            "same image everywhere")
        ->type_name("N");
    parser
        ->add_option(
            "--spacing", arguments->spacing,
            "Distance of pixels in mm or with a unit, as in 0.5um, for all axes or per axis, written to the "
            "files in mm; lengths are then in mm, too (default: none)")
        ->type_name("S|SX,SY[,SZ]");
    parser->add_flag("--quiet", arguments->quiet, "Print nothing but warnings and errors");
    parser->footer(
        "Example: tevra phantom -o phantom.tif --size 256,256,256 --volume-fraction 0.15 --beta 0.3 "
        "--noise 10 --truth truth-");
    return {parser, [arguments] { run(*arguments); }};
}

} // namespace TEVRA::apps
