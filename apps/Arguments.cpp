// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"

#include "apps/Failure.h"
#include "apps/NearestName.h"
#include "jobs/Directions.h"
#include "volume/NumberText.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>
#include <string_view>
#include <thread>

namespace TEVRA::apps {

namespace {

[[noreturn]] void refuse(const SArgument& argument, const std::string& expected) {
    throw CUsageError(argument.name + ": '" + argument.text + "' is not " + expected);
}

std::optional<double> finite_number(std::string_view text) {
    const std::optional<double> number = volume::ParseNumber(text);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

} // namespace

void RequireName(const SArgument& argument) {
    if (argument.text.empty()) {
        throw CUsageError(argument.name +
                          ": the name is empty; give one (a shell variable in its place may not be set)");
    }
}

std::vector<double> ReadNumbers(const SArgument& argument) {
    std::vector<double> numbers;
    for (const std::string_view part : volume::SplitAtCommas(argument.text)) {
        const std::optional<double> number = finite_number(part);
        if (!number) {
            refuse(argument, "a list of finite numbers separated by commas, as in 0.5,0.5,1");
        }
        numbers.push_back(*number);
    }
    return numbers;
}

std::vector<long long> ReadWholeNumbers(const SArgument& argument) {
    std::vector<long long> numbers;
    for (const std::string_view part : volume::SplitAtCommas(argument.text)) {
        const std::optional<long long> number = volume::ParseWholeNumber(part);
        if (!number) {
            refuse(argument, "a list of whole numbers separated by commas, as in 64,64,32");
        }
        numbers.push_back(*number);
    }
    return numbers;
}

std::array<double, 3> ReadDirection(const SArgument& argument, std::size_t fewest) {
    const std::vector<double> given = ReadNumbers(argument);
    if (given.size() < fewest || given.size() > 3) {
        refuse(argument, fewest == 3 ? "a direction X,Y,Z, as in 0,0,1"
                                     : "a direction X,Y,Z, as in 0,0,1, or in 2D X,Y");
    }
    const auto direction = jobs::UnitVector({given[0], given[1], given.size() == 3 ? given[2] : 0.0});
    if (!direction) {
        throw CUsageError(argument.name + ": '" + argument.text +
                          "' has no direction; give a vector that is not 0");
    }
    return *direction;
}

std::vector<std::string> ReadNames(const SArgument& argument, const std::vector<std::string>& known) {
    std::vector<std::string> names;
    for (const std::string_view part : volume::SplitAtCommas(argument.text)) {
        const std::string name(part);
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            std::vector<std::string> nearestFirst = known;
            if (const auto nearest = NearestName(name, known)) {
                std::stable_partition(nearestFirst.begin(), nearestFirst.end(),
                                      [&nearest](const std::string& one) { return one == *nearest; });
            }
            std::string refusal = argument.name;
            refusal.append(": '").append(name).append("' is none of ");
            const char* separator = "";
            for (const std::string& one : nearestFirst) {
                refusal.append(separator).append(one);
                separator = ", ";
            }
            throw CUsageError(refusal);
        }
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    }
    return names;
}

double ReadNumber(const SArgument& argument) {
    const std::optional<double> number = finite_number(argument.text);
    if (!number) {
        refuse(argument, "a finite number, as in 1.5");
    }
    return *number;
}

double ReadPositiveNumber(const SArgument& argument) {
    const std::optional<double> number = finite_number(argument.text);
    if (!number || *number <= 0.0) {
        refuse(argument, "a finite number greater than 0, as in 1.5");
    }
    return *number;
}

jobs::SLength ReadLength(const SArgument& argument) {
    const std::optional<jobs::SLength> length = jobs::ParseLength(argument.text);
    if (!length) {
        refuse(argument, "a length greater than 0, as in 1.5 or 2.5um (units: nm, um, mm, cm, m)");
    }
    return *length;
}

jobs::SLength ReadLengthOrPixels(const SArgument& argument) {
    const std::optional<jobs::SLength> length = jobs::ParseLengthOrPixels(argument.text);
    if (!length) {
        refuse(argument, "a length greater than 0, as in 1.5 or 2.5um (units: nm, um, mm, cm, m, px)");
    }
    return *length;
}

SGivenSpacing ReadSpacing(const SArgument& argument) {
    SGivenSpacing spacing;
    for (const std::string_view part : volume::SplitAtCommas(argument.text)) {
        const std::optional<jobs::SLength> length = jobs::ParseLength(part);
        if (!length) {
            refuse(argument, "a length greater than 0 or several separated by commas, as in 0.5, 0.5um or "
                             "0.5,0.5,1 (units: nm, um, mm, cm, m)");
        }
        if (spacing.distances.empty()) {
            spacing.unit = length->unit;
        } else if (spacing.unit.empty() != length->unit.empty()) {
            throw CUsageError(argument.name + ": '" + argument.text +
                              "' has lengths with a unit and without; give all of them one, or none");
        }
        spacing.distances.push_back(spacing.unit.empty() ? length->value
                                                         : jobs::LengthIn(spacing.unit, *length));
    }
    return spacing;
}

long long ReadWholeNumber(const SArgument& argument, long long smallest) {
    const std::optional<long long> number = volume::ParseWholeNumber(argument.text);
    if (!number || *number < smallest) {
        refuse(argument, "a whole number of at least " + std::to_string(smallest));
    }
    return *number;
}

std::size_t ReadBytes(const SArgument& argument) {
    constexpr std::string_view UNITS = "KMGT";
    constexpr double MOST = 1e18;
    std::string_view text = argument.text;
    if (text.ends_with('B') || text.ends_with('b')) {
        text.remove_suffix(1);
    }
    double unit = 1.0;
    if (!text.empty()) {
        const auto last = static_cast<char>(std::toupper(static_cast<unsigned char>(text.back())));
        if (const std::size_t power = UNITS.find(last); power != std::string_view::npos) {
            unit = std::pow(1024.0, static_cast<double>(power) + 1.0);
            text.remove_suffix(1);
        }
    }
    const std::optional<double> number = finite_number(text);
    if (!number || *number * unit < 1.0 || *number * unit > MOST) {
        refuse(argument, "an amount of memory, as in 512M or 1.5G");
    }
    return static_cast<std::size_t>(*number * unit);
}

const char* const THREADS_OPTION_HELP =
    "Number of threads to use; results do not depend on it. Default: all cores";

int ReadThreads(const std::optional<std::string>& text) {
    const auto cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    if (!text) {
        return cores;
    }
    const long long threads = ReadWholeNumber({"--threads", *text}, 1);
    if (threads > MOST_THREADS) {
        throw CUsageError("--threads: '" + *text + "' is more than " + std::to_string(MOST_THREADS) +
                          ", the most that are started; this machine has " + std::to_string(cores) +
                          (cores == 1 ? " core" : " cores"));
    }
    return static_cast<int>(threads);
}

} // namespace TEVRA::apps
