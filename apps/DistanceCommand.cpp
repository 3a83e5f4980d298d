// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Console.h"
#include "apps/Failure.h"
#include "apps/Interruption.h"
#include "jobs/AngleMaps.h"
#include "jobs/DistanceJob.h"
#include "jobs/PendingFile.h"

#include "volume/MetaImageWriter.h"

#include <CLI/App.hpp>

#include <array>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>

namespace TEVRA::apps {

namespace {

struct SDistanceOptions {
    std::string theta;
    std::string phi;
    std::string reference;
    std::string output;
};

void run(const SDistanceOptions& options) {
    const std::array<double, 3> reference = ReadDirection({"--reference", options.reference}, 3);
    RequireName({"-o", options.output});
    if (std::filesystem::path(options.output).extension() != ".mha") {
        throw CUsageError("-o: '" + options.output + "' must end in .mha, the format it is written in");
    }
    CConsole console(EVerbosity::normal);
    jobs::CPendingFiles files(jobs::CInputFiles({options.theta, options.phi}));
    const std::string pending = files.Add(options.output);
    const jobs::SAngleMaps maps = jobs::ReadAngleMaps(options.theta, options.phi);
    const jobs::SDistances result = jobs::MeasureDistances(maps, reference);
    volume::WriteMetaImage(pending, *result.distances, maps.spacing, maps.spacingUnit);
    ThrowIfInterrupted();
    files.Commit();
    if (result.axes == 0) {
        console.Warn("'" + options.theta + "' holds no axis; every pixel of the result is -1");
        return;
    }
    std::ostringstream text;
    text << result.axes << " axes, mean distance " << result.meanRad << " rad; wrote '" << options.output
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
