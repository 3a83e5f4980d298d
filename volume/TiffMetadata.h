// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/Spacing.h"

#include <string>

namespace TEVRA::volume {

enum class ETiffResolutionUnit { none, inch, centimetre };

/// The resolution tags of a TIFF page.
struct STiffResolution {
    double xPixelsPerUnit = 0.0; ///< 0 if not stated
    double yPixelsPerUnit = 0.0;
    ETiffResolutionUnit unit = ETiffResolutionUnit::inch;
};

/// Who wrote a TIFF file's image description, and with it what the file's other tags mean.
enum class ETiffDialect { plain, imageJ, ome };
ETiffDialect TiffDialectOf(const std::string& description);

/// How the pages of a TIFF file are meant, from its image description. 1 where it says nothing.
struct STiffAxes {
    long long channels = 1;
    long long slices = 1;
    long long timePoints = 1;
    long long images = 1; ///< ImageJ only: number of images, of which all but the first may have no page
};
STiffAxes TiffAxesOf(const std::string& description);

/// The spacing that a TIFF file states. OME metadata come first, then ImageJ's, then the resolution tags,
/// which are believed if they cannot be those of a print (see `IsInstrumentResolution`).
/// @param description text of the first page's ImageDescription tag. @param dim 2 or 3.
SSpacing TiffSpacing(const std::string& description, const STiffResolution& resolution, int dim);

} // namespace TEVRA::volume
