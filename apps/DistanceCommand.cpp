// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Console.h"
#include "apps/Failure.h"
#include "apps/Interruption.h"
#include "jobs/AngleMaps.h"
#include "jobs/PendingFile.h"

#include "FilterOrientations/OrientationSpace.h"
#include "Numeric/Matrix.h"
#include "volume/MetaImageWriter.h"

#include <CLI/App.hpp>

#include <cmath>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::apps {

namespace {

struct SDistanceOptions {
    std::string theta;
    std::string phi;
    std::string reference;
    std::string output;
};

/// The unit vector along the direction given.
CMatrix<double> read_reference(const std::string& text) {
    const std::vector<double> given = ReadNumbers({"--reference", text});
    if (given.size() != 3) {
        throw CUsageError("--reference: '" + text + "' is not a direction X,Y,Z, as in 0,0,1");
    }
    const double length = std::hypot(given[0], given[1], given[2]);
    if (!(length > 0.0) || !std::isfinite(length)) {
        throw CUsageError("--reference: '" + text + "' has no direction; give a vector that is not 0");
    }
    CMatrix<double> reference(3, 1);
    for (std::size_t i = 0; i < 3; ++i) {
        reference(i, 0) = given[i] / length;
    }
    return reference;
}

/// What is said about a map of distances.
struct SSummary {
    long long axes = 0;
    double meanRad = 0.0;
};

/// Sets pixels whose product with the reference was rounded beyond 1 to distance 0, and sums up the rest.
SSummary finish(CImage& distances) {
    SSummary summary;
    float* pixel = distances.Pixels<float>();
    const std::size_t count = distances.Size().Elements();
    for (std::size_t i = 0; i < count; ++i) {
        if (std::isnan(pixel[i])) {
            pixel[i] = 0.0F;
        }
        if (pixel[i] >= 0.0F) {
            summary.meanRad += static_cast<double>(pixel[i]);
            ++summary.axes;
        }
    }
    if (summary.axes > 0) {
        summary.meanRad /= static_cast<double>(summary.axes);
    }
    return summary;
}

void run(const SDistanceOptions& options) {
    const CMatrix<double> reference = read_reference(options.reference);
    if (std::filesystem::path(options.output).extension() != ".mha") {
        throw CUsageError("-o: '" + options.output + "' must end in .mha, the format it is written in");
    }
    CConsole console(EVerbosity::normal);
    jobs::CPendingFiles files;
    const std::string pending = files.Add(options.output);
    const jobs::SAngleMaps maps = jobs::ReadAngleMaps(options.theta, options.phi);
    CImage distances(IMAGE_GREY_F, maps.theta->Size(), CSize(0, 0, 0));
    COrientationSpace::PointWiseDistance(distances, *maps.theta, *maps.phi, reference);
    const SSummary summary = finish(distances);
    volume::WriteMetaImage(pending, distances, maps.spacing, maps.spacingUnit);
    ThrowIfInterrupted();
    files.Commit();
    if (summary.axes == 0) {
        console.Warn("'" + options.theta + "' holds no axis; every pixel of the result is -1");
        return;
    }
    std::ostringstream text;
    text << summary.axes << " axes, mean distance " << summary.meanRad << " rad; wrote '" << options.output
         << "'";
    console.Say(text.str());
}

} // namespace

SCommand AddDistanceCommand(CLI::App& program) {
    const auto options = std::make_shared<SDistanceOptions>();
    CLI::App* const parser =
        program.add_subcommand("distance", "Measure the angle of every fiber axis to a reference direction");
    parser
        ->add_option("THETA", options->theta,
                     "Map of colatitudes in radians, negative where there is no axis: theta.mha of 'tevra "
                     "analyze --maps' or colatitude.mha of 'tevra filter', 3D")
        ->required();
    parser
        ->add_option("PHI", options->phi,
                     "Map of longitudes in radians, of the same size: phi.mha or longitude.mha")
        ->required();
    parser->add_option("--reference", options->reference, "Reference direction; its length does not matter")
        ->required()
        ->type_name("X,Y,Z");
    parser
        ->add_option("-o,--output", options->output,
                     "File for the angles (.mha, 32-bit float): radians from 0 to pi/2, -1 where there is no "
                     "axis")
        ->required()
        ->type_name("FILE");
    parser->footer("A direction and its opposite are the same axis.\n\n"
                   "Example: tevra distance theta.mha phi.mha --reference 0,0,1 -o distance.mha");
    return {parser, [options] { run(*options); }};
}

} // namespace TEVRA::apps
