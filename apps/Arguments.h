// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/Length.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::apps {

/// The text of one option or argument and its name, as in {"--spacing", "0.5,0.5,1"}; the functions below
/// read it. All throw CUsageError with the name, the text and what would be right.
struct SArgument {
    std::string name;
    std::string text;
};

/// Any name of a file or folder: an empty one is a shell variable that is not set, as a rule, and would mean
/// the current folder.
void RequireName(const SArgument& argument);

/// Finite numbers separated by commas.
std::vector<double> ReadNumbers(const SArgument& argument);
/// Whole numbers separated by commas.
std::vector<long long> ReadWholeNumbers(const SArgument& argument);
/// A direction of any length, as in "0,0,1"; in the plane also as in "1,0", which is along z by 0.
/// @param fewest numbers that it must have, 2 or 3. @return the unit vector.
std::array<double, 3> ReadDirection(const SArgument& argument, std::size_t fewest);
/// Words separated by commas, each one of `known`. The error lists these, the nearest first.
std::vector<std::string> ReadNames(const SArgument& argument, const std::vector<std::string>& known);
/// One finite number.
double ReadNumber(const SArgument& argument);
/// One finite number greater than 0.
double ReadPositiveNumber(const SArgument& argument);
/// One length greater than 0, with a unit, as in "2.5um", or without.
jobs::SLength ReadLength(const SArgument& argument);
/// The same, or a number of pixels as in "3px". @throws CUsageError
jobs::SLength ReadLengthOrPixels(const SArgument& argument);
/// Distances of neighbouring pixels.
struct SGivenSpacing {
    std::vector<double> distances; ///< one for all axes, or one per axis
    std::string unit;              ///< "mm" or "um"; empty if none is given
};
/// Lengths separated by commas, with units or without; `unit` is that of the first.
SGivenSpacing ReadSpacing(const SArgument& argument);
/// One whole number of at least `smallest`.
long long ReadWholeNumber(const SArgument& argument, long long smallest);
/// What the option --threads takes, for help texts.
extern const char* const THREADS_OPTION_HELP;
/// More threads than this are not started.
inline constexpr int MOST_THREADS = 1024;
/// The value of --threads: 1 to MOST_THREADS, by default as many as the machine has cores.
int ReadThreads(const std::optional<std::string>& text);

/// An amount of memory, as in "512M" or "1.5G"; units of 1024. @return bytes, 1 or more.
std::size_t ReadBytes(const SArgument& argument);

} // namespace TEVRA::apps
