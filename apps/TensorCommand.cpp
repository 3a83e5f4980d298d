// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Failure.h"

#include "FilterOrientations/OrientationTensor.h"
#include "Numeric/Matrix.h"
#include "report/Json.h"

#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::apps {

namespace {

// Components are often typed with three digits; a trace off by no more than their rounding is no mistake.
constexpr double TRACE_TOLERANCE = 0.005;
constexpr double LARGEST_COMPONENT = 1e100;             // beyond it, squares overflow
constexpr double NEGATIVE_EIGENVALUE_TOLERANCE = 0.001; // of the trace, for the same reason

struct STensorOptions {
    std::string components;
    bool json = false;
};

struct SEvaluation {
    std::vector<double> eigenvalues; // largest first
    std::vector<double> meanOrientation;
    std::optional<double> shape; // 3D only
    std::optional<double> strength;
};

CMatrix<double> read_tensor(const std::string& components) {
    const std::vector<double> given = ReadNumbers({"COMPONENTS", components});
    if (given.size() != 3 && given.size() != 6) {
        throw CUsageError("COMPONENTS: '" + components + "' has " + std::to_string(given.size()) +
                          " components; give XX,XY,XZ,YY,YZ,ZZ or, in 2D, XX,XY,YY");
    }
    for (const double component : given) {
        if (std::abs(component) > LARGEST_COMPONENT) {
            throw CUsageError("COMPONENTS: '" + components +
                              "' has components too large to evaluate; those of an orientation tensor lie "
                              "between -1 and 1");
        }
    }
    const std::size_t dim = given.size() == 3 ? 2 : 3;
    CMatrix<double> tensor(dim, dim);
    auto next = given.begin();
    for (std::size_t row = 0; row < dim; ++row) {
        for (std::size_t col = row; col < dim; ++col) {
            tensor(row, col) = tensor(col, row) = *next++;
        }
    }
    return tensor;
}

double trace_of(const CMatrix<double>& tensor) {
    double trace = 0.0;
    for (std::size_t i = 0; i < tensor.Rows(); ++i) {
        trace += tensor(i, i);
    }
    return trace;
}

double minor_2x2(const CMatrix<double>& a, std::size_t i, std::size_t j) {
    return a(i, i) * a(j, j) - a(i, j) * a(i, j);
}

double determinant_3x3(const CMatrix<double>& a) {
    return a(0, 0) * minor_2x2(a, 1, 2) - a(0, 1) * (a(0, 1) * a(2, 2) - a(0, 2) * a(1, 2)) +
           a(0, 2) * (a(0, 1) * a(1, 2) - a(0, 2) * a(1, 1));
}

/// A symmetric matrix has no negative eigenvalue exactly when none of its principal minors is negative.
bool has_negative_eigenvalue(CMatrix<double> tensor, double tolerance) {
    const std::size_t dim = tensor.Rows();
    for (std::size_t i = 0; i < dim; ++i) {
        tensor(i, i) += tolerance;
    }
    for (std::size_t i = 0; i < dim; ++i) {
        if (tensor(i, i) < 0.0) {
            return true;
        }
        for (std::size_t j = 0; j < i; ++j) {
            if (minor_2x2(tensor, j, i) < 0.0) {
                return true;
            }
        }
    }
    return dim == 3 && determinant_3x3(tensor) < 0.0;
}

void warn_of_what_is_no_orientation_tensor(const CMatrix<double>& tensor) {
    const double trace = trace_of(tensor);
    if (std::abs(trace - 1.0) > TRACE_TOLERANCE) {
        std::ostringstream text;
        text << "the trace is " << trace << ", but that of an orientation tensor is 1";
        PrintWarning(std::cerr, text.str());
    }
    if (has_negative_eigenvalue(tensor, NEGATIVE_EIGENVALUE_TOLERANCE * std::abs(trace))) {
        PrintWarning(std::cerr, "the tensor has a negative eigenvalue, which no orientation tensor has; the "
                                "eigenvalues printed are absolute values");
    }
}

/// A direction and its opposite are one orientation: the largest component is made positive.
void fix_sign(std::vector<double>& direction) {
    const auto largest = std::max_element(direction.begin(), direction.end(),
                                          [](double a, double b) { return std::abs(a) < std::abs(b); });
    const double sign = *largest < 0.0 ? -1.0 : 1.0;
    for (double& component : direction) {
        component = component == 0.0 ? 0.0 : sign * component; // and no -0
    }
}

std::vector<double> elements_of(const CMatrix<double>& column) {
    std::vector<double> elements;
    for (std::size_t i = 0; i < column.Rows(); ++i) {
        elements.push_back(column(i, 0));
    }
    return elements;
}

SEvaluation evaluate(const CMatrix<double>& tensor) {
    SEvaluation result;
    CMatrix<double> column(tensor.Rows(), 1);
    COrientationTensor::Eigenvalues(column, tensor);
    result.eigenvalues = elements_of(column);
    COrientationTensor::MeanOrientation(column, tensor);
    result.meanOrientation = elements_of(column);
    fix_sign(result.meanOrientation);
    if (tensor.Rows() == 3) {
        COrientationTensor::OrientationParameters(result.shape.emplace(), result.strength.emplace(), tensor);
    }
    return result;
}

void print_row(const char* name, const std::vector<double>& numbers) {
    constexpr double LARGEST_FIXED = 1e6; // larger numbers would not fit into their columns
    std::cout << std::left << std::setw(18) << name << std::right << std::setprecision(6);
    for (const double number : numbers) {
        std::cout << (std::abs(number) < LARGEST_FIXED ? std::fixed : std::scientific) << std::setw(15)
                  << number;
    }
    std::cout << '\n';
}

void print_text(const SEvaluation& result) {
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

void print_json(const SEvaluation& result) {
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
    const CMatrix<double> tensor = read_tensor(options.components);
    warn_of_what_is_no_orientation_tensor(tensor);
    const SEvaluation result = evaluate(tensor);
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
