// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Console.h"
#include "apps/Failure.h"
#include "apps/ImageInput.h"
#include "apps/Interruption.h"
#include "jobs/PendingFile.h"
#include "jobs/Texts.h"
#include "jobs/TransformSizes.h"

#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/OrientationTensor.h"
#include "Numeric/Matrix.h"
#include "VexoBase/Parallelism.h"
#include "report/Json.h"
#include "volume/Failure.h"
#include "volume/ImageConversion.h"
#include "volume/ImageReader.h"
#include "volume/MetaImageWriter.h"

#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::apps {

namespace {

using EResolution = CFilterOrientations::EOrientationResolution;

struct SFilterOptions {
    std::string image;
    std::string major;
    std::string minor;
    std::string resolution;
    std::string outputFolder;
    std::optional<std::string> mask;
    std::optional<std::string> box;
    std::optional<std::string> raw;
    std::optional<std::string> threads;
    bool quiet = false;
};

float read_width(const SArgument& argument) {
    constexpr double LARGEST = 1000.0; // zeros twice as wide are put around the image
    const double width = ReadPositiveNumber(argument);
    if (width > LARGEST) {
        throw CUsageError(argument.name + ": '" + argument.text +
                          "' is too wide; give at most 1000, a standard deviation of 318 pixels");
    }
    return static_cast<float>(width);
}

EResolution read_resolution(const std::string& text) {
    for (const EResolution id :
         {CFilterOrientations::eCoarse, CFilterOrientations::eMedium, CFilterOrientations::eFine}) {
        if (text == CFilterOrientations::ResolutionIdToString(id)) {
            return id;
        }
    }
    throw CUsageError("--resolution: '" + text + "' is not coarse, medium or fine");
}

/// The box of the option, or the whole image. Its upper corner is exclusive.
CBox read_box(const std::optional<std::string>& text, const CSize& size) {
    const auto dim = static_cast<std::size_t>(size.Dim());
    std::vector<long long> corners(2 * dim, 0);
    if (text) {
        corners = ReadWholeNumbers({"--box", *text});
        if (corners.size() != 2 * dim) {
            throw CUsageError("--box: '" + *text + "' has " + std::to_string(corners.size()) +
                              " numbers; give two corners, " +
                              (dim == 3 ? "x0,y0,z0,x1,y1,z1" : "x0,y0,x1,y1"));
        }
    } else {
        for (std::size_t axis = 0; axis < dim; ++axis) {
            corners[dim + axis] = size[static_cast<long long>(axis)];
        }
    }
    CPos lower;
    CPos upper;
    lower.SetDim(size.Dim());
    upper.SetDim(size.Dim());
    for (int axis = 0; axis < size.Dim(); ++axis) {
        const auto at = static_cast<std::size_t>(axis);
        lower[axis] = corners[at];
        upper[axis] = corners[dim + at];
        const long long a = std::min(lower[axis], upper[axis]);
        const long long b = std::max(lower[axis], upper[axis]);
        if (a < 0 || b > size[axis]) {
            throw CUsageError("--box: '" + *text + "' leaves the image of " +
                              jobs::SizeText(jobs::ExtentsOf(size)) + " px");
        }
    }
    return {lower, upper};
}

/// One pixel without a value would spread over the whole image by the transform.
void require_numbers(const CImage& image, const std::string& path) {
    if (!(image.Type() == IMAGE_GREY_F)) {
        return;
    }
    const float* first = image.Pixels<float>();
    const float* last = first + image.Size().Elements();
    if (std::any_of(first, last, [](float value) { return !std::isfinite(value); })) {
        throw CWorkError("'" + path +
                         "' holds pixels without a finite value (NaN or infinite); replace them by the grey "
                         "value of the background");
    }
}

template <typename PixelT>
bool is_constant(const CImage& image) {
    const PixelT* first = image.Pixels<PixelT>();
    const PixelT* last = first + image.Size().Elements();
    return std::all_of(first, last, [first](PixelT value) { return value == *first; });
}

void require_contrast(const CImage& image, const std::string& path) {
    const bool isConstant = image.Type() == IMAGE_GREY_8    ? is_constant<unsigned char>(image)
                            : image.Type() == IMAGE_GREY_16 ? is_constant<unsigned short>(image)
                                                            : is_constant<float>(image);
    if (isConstant) {
        throw CWorkError("no foreground: all pixels of '" + path +
                         "' have the same value; give an image with fibers, or a mask with --mask");
    }
}

std::unique_ptr<CImage> read_mask(const std::string& path, const CSize& size) {
    const auto reader = OpenMask(path, size);
    try {
        return volume::ReadMask(*reader);
    } catch (const volume::CInputError& error) {
        throw CWorkError("mask '" + path + "': " + error.what());
    }
}

void require_foreground(const CImage& mask, const std::string& path) {
    const auto* first = mask.Pixels<unsigned char>();
    const unsigned char* last = first + mask.Size().Elements();
    if (std::none_of(first, last, [](unsigned char pixel) { return pixel != 0; })) {
        throw CWorkError("no foreground: mask '" + path + "' marks no pixel");
    }
}

/// Filters know pixels only: where those are no cubes, angles are not those of the material.
void warn_unless_equal(const std::array<double, 3>& spacing, int dim, CConsole& console) {
    constexpr double TOLERANCE = 1e-4; // headers hold rounded numbers
    for (std::size_t axis = 1; axis < static_cast<std::size_t>(dim); ++axis) {
        if (std::abs(spacing[axis] - spacing[0]) > TOLERANCE * spacing[0]) {
            console.Warn(
                "the spacing of the pixels is not equal along all axes; angles are those between rows, "
                "columns and slices of pixels");
            return;
        }
    }
}

nlohmann::ordered_json tensor_json(const CFilterOrientations& estimator, const CBox& box, int dim) {
    const auto extent = static_cast<std::size_t>(dim);
    CMatrix<double> tensor(extent, extent);
    const long long count = estimator.OrientationTensor(tensor, box);
    constexpr std::array<const char*, 3> AXES{"x", "y", "z"};
    nlohmann::ordered_json json;
    json["lower_corner_px"] = nlohmann::ordered_json::array();
    json["upper_corner_px"] = nlohmann::ordered_json::array();
    for (int axis = 0; axis < dim; ++axis) {
        json["lower_corner_px"].push_back(box.Point0()[axis]);
        json["upper_corner_px"].push_back(box.Point1()[axis]);
    }
    json["pixels"] = count;
    for (std::size_t row = 0; row < extent; ++row) {
        for (std::size_t col = row; col < extent; ++col) {
            json[std::string("a_") + AXES[row] + AXES[col]] = tensor(row, col);
        }
    }
    if (count > 0) {
        CMatrix<double> eigenvalues(extent, 1);
        COrientationTensor::Eigenvalues(eigenvalues, tensor);
        for (std::size_t i = 0; i < extent; ++i) {
            json["lambda_" + std::to_string(i + 1)] = eigenvalues(i, 0);
        }
    }
    return json;
}

void run(const SFilterOptions& options) {
    const float major = read_width({"--major", options.major});
    const float minor = read_width({"--minor", options.minor});
    const EResolution resolution = read_resolution(options.resolution);

    CParallelism::SetThreads(ReadThreads(options.threads));
    CConsole console(options.quiet ? EVerbosity::quiet : EVerbosity::normal);
    const auto reader = OpenInput(options.image, options.raw);
    const CSize size = reader->Info().size;
    const CBox box = read_box(options.box, size);
    jobs::COutputFolder folder(options.outputFolder);
    jobs::CPendingFiles files;
    const auto path_of = [&](const char* name) { return files.Add(folder.Path() / name); };
    const std::string indexPath = path_of("index.mha");
    const std::string responsePath = path_of("response.mha");
    const std::string colatitudePath = path_of("colatitude.mha");
    const std::string longitudePath = path_of("longitude.mha");

    const std::unique_ptr<CImage> image = volume::ReadImage(*reader);
    require_numbers(*image, options.image);
    std::unique_ptr<CImage> mask;
    if (options.mask) {
        mask = read_mask(*options.mask, size);
        require_foreground(*mask, *options.mask);
    } else {
        require_contrast(*image, options.image);
    }
    CFilterOrientations estimator(major, minor, nullptr, nullptr);
    if (const auto note = jobs::SlowTransformNote(size, estimator.PadWidth())) {
        console.Say(*note);
    }
    estimator.Compute(*image, resolution, mask.get());

    const std::array<double, 3> spacing =
        reader->Info().spacing.value_or(std::array<double, 3>{1.0, 1.0, 1.0});
    const std::string& unit = reader->Info().spacingUnit;
    warn_unless_equal(spacing, size.Dim(), console);
    CImage first(IMAGE_GREY_F, size, CSize(0, 0, 0));
    CImage second(IMAGE_GREY_F, size, CSize(0, 0, 0));
    estimator.GetBestResponse(first);
    volume::WriteMetaImage(responsePath, first, spacing, unit);
    estimator.GetOrientations(first, second);
    volume::WriteMetaImage(colatitudePath, first, spacing, unit);
    volume::WriteMetaImage(longitudePath, second, spacing, unit);
    volume::WriteMetaImage(indexPath, *estimator.Index(), spacing, unit);
    CValueMap histogram;
    estimator.OrientationHistogram(histogram);
    files.WriteText(folder.Path() / "histogram.json", report::ToText(report::ToJson(histogram)));
    const nlohmann::ordered_json tensor = tensor_json(estimator, box, size.Dim());
    files.WriteText(folder.Path() / "tensor.json", report::ToText(tensor));
    ThrowIfInterrupted();
    files.Commit();
    folder.Keep();
    if (tensor["pixels"] == 0) {
        console.Warn("the box holds no foreground pixel; its tensor is 0");
    }
    console.Say(tensor["pixels"].dump() + " pixels in the tensor; wrote into '" + options.outputFolder +
                "': index.mha response.mha colatitude.mha longitude.mha histogram.json tensor.json");
}

} // namespace

SCommand AddFilterCommand(CLI::App& program) {
    const auto options = std::make_shared<SFilterOptions>();
    CLI::App* const parser = program.add_subcommand(
        "filter",
        "Find fiber axes by a bank of oriented filters: the best of 18, 50 or 98 directions per pixel");
    parser
        ->add_option(
            "IMAGE", options->image,
            "Grey-value image, 2D or 3D, with fibers brighter than what is around them (formats: see "
            "'tevra analyze --help')")
        ->required();
    parser
        ->add_option("--major", options->major,
                     "Width of the filters along their direction: pi times the standard deviation in pixels")
        ->required()
        ->type_name("A");
    parser
        ->add_option("--minor", options->minor,
                     "Width across, likewise; about twice the fiber radius in pixels suits, and two to three "
                     "times as much along")
        ->required()
        ->type_name("B");
    parser
        ->add_option("--resolution", options->resolution,
                     "Number of directions: coarse (18), medium (50) or fine (98)")
        ->required()
        ->type_name("NAME");
    parser->add_option("-o,--output", options->outputFolder, "Folder for the results, made if needed")
        ->required()
        ->type_name("DIR");
    parser->add_option("--mask", options->mask, MASK_OPTION_HELP)->type_name("FILE");
    parser
        ->add_option("--box", options->box,
                     "Pixels of the tensor: two corners x0,y0[,z0],x1,y1[,z1], the second one not included. "
                     "Default: the image without its last column, row and slice")
        ->type_name("CORNERS");
    parser->add_option("--raw", options->raw, RAW_OPTION_HELP)->type_name("X,Y,Z,TYPE");
    parser->add_option("--threads", options->threads, THREADS_OPTION_HELP)->type_name("N");
    parser->add_flag("--quiet", options->quiet, "Print nothing but warnings and errors");
    parser->footer(
        "Results: index.mha (number of the direction, 255 for background), response.mha (strongest filter "
        "answer), colatitude.mha and longitude.mha (radians, -1 for background; in 2D the angle from the x "
        "axis "
        "is the colatitude), histogram.json (per number: direction and pixel count), tensor.json.\n\n"
        "Example: tevra filter fibers.tif --major 12 --minor 5 --resolution medium -o results");
    return {parser, [options] { run(*options); }};
}

} // namespace TEVRA::apps
