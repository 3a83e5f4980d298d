// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Failure.h"
#include "jobs/TensorEvaluation.h"
#include "jobs/Texts.h"

#include "report/Json.h"

#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

#include <cmath>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::apps {

namespace {

struct STensorOptions {
    std::string components;
    bool json = false;
};

std::vector<double> read_components(const std::string& text) {
    std::vector<double> components = ReadNumbers({"COMPONENTS", text});
    const std::string wrong = jobs::WrongComponents(components);
    if (!wrong.empty()) {
        throw CUsageError("COMPONENTS: '" + text + "' " + wrong);
    }
    return components;
}

void warn_of_what_is_no_orientation_tensor(const jobs::STensorEvaluation& result) {
    if (result.hasWrongTrace) {
        std::ostringstream text;
        text << "the trace is " << result.trace << ", but that of an orientation tensor is 1";
        PrintWarning(std::cerr, text.str());
    }
    if (result.hasNegativeEigenvalue) {
        PrintWarning(std::cerr, "the tensor has a negative eigenvalue, which no orientation tensor has; the "
                                "eigenvalues printed are absolute values");
    }
}

void print_row(const char* name, const std::vector<double>& numbers) {
    std::cout << std::left << std::setw(18) << name << std::right;
    for (const double number : numbers) {
        std::cout << std::setw(15) << jobs::FixedText(number, 6);
    }
    std::cout << '\n';
}

void print_text(const jobs::STensorEvaluation& result) {
    print_row("eigenvalues", result.eigenvalues);
    print_row("mean orientation", result.meanOrientation);
    if (result.shape) {
        print_row("shape", {*result.shape});
        print_row("strength", {*result.strength});
    }
}

nlohmann::ordered_json finite_or_null(double number) {
    return std::isfinite(number) ? nlohmann::ordered_json(number) : nlohmann::ordered_json(nullptr);
}

void print_json(const jobs::STensorEvaluation& result) {
    nlohmann::ordered_json json;
    json["eigenvalues"] = result.eigenvalues;
    json["mean_orientation"] = result.meanOrientation;
    if (result.shape) {
        json["shape"] = finite_or_null(*result.shape);
        json["strength"] = finite_or_null(*result.strength);
    }
    std::cout << report::ToText(json);
}

void run(const STensorOptions& options) {
    const jobs::STensorEvaluation result = jobs::EvaluateTensor(read_components(options.components));
    warn_of_what_is_no_orientation_tensor(result);
    if (options.json) {
        print_json(result);
    } else {
        print_text(result);
    }
}

} // namespace

SCommand AddTensorCommand(CLI::App& program) {
    const auto options = std::make_shared<STensorOptions>();
    CLI::App* const parser =
        program.add_subcommand("tensor", "Evaluate an orientation tensor: eigenvalues, mean orientation, "
                                         "shape and strength");
    parser
        ->add_option("COMPONENTS", options->components,
                     "Upper triangle of the tensor row by row, as XX,XY,XZ,YY,YZ,ZZ or, in 2D, XX,XY,YY")
        ->required();
    parser->add_flag("--json", options->json,
                     "Print JSON with all digits instead of text (a value that is infinite or not defined is "
                     "null)");
    parser->footer(
        "Eigenvalues come largest first. The mean orientation is the unit eigenvector of the largest "
        "one; its sign means nothing. With eigenvalues l1 >= l2 >= l3 the shape is ln(l1/l2) / "
        "ln(l2/l3), above 1 for clusters and below 1 for girdles, and the strength is ln(l1/l3) "
        "(3D only).");
    return {parser, [options] { run(*options); }};
}

} // namespace TEVRA::apps
