// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Size.h"

#include <array>
#include <sstream>
#include <string>

namespace TEVRA::phantom {

/// @throws std::invalid_argument with what is wrong with a phantom's options.
[[noreturn]] void Refuse(const std::string& what);

/// A number as it stands in messages.
std::string TextOf(double number);

/// Refuses a quantity unless it is right. @param allowed completes "... is SEEN, but must be".
template <typename ValueT>
void Require(bool isRight, const std::string& quantity, const ValueT& seen, const std::string& allowed) {
    if (!isRight) {
        std::ostringstream text;
        text << quantity << " is " << seen << ", but must be " << allowed << '.';
        Refuse(text.str());
    }
}

// What all kinds of phantoms ask of their options. @throws std::invalid_argument.

void RequireNotNegative(const char* quantity, double value);
/// The image has 2 or 3 dimensions, each of 1 to 100000 pixels and of a spacing, and a fiber is at least a pixel thick and
/// fits it. @param spacing of pixels, in the unit of the radius.
void CheckExtents(const CSize& sizePx, const std::array<double, 3>& spacing, double fiberRadius);
/// Grey values lie in 0 to 255 and differ; the noise's standard deviation is 0 or more.
void CheckGreyValues(double background, double fiber, double noiseSd);
/// @param most is what `mostText` says.
void CheckVolumeFraction(double fraction, double most, const char* mostText);

} // namespace TEVRA::phantom
