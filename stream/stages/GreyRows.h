// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/GreySlices.h"

#include <cstddef>
#include <vector>

namespace TEVRA::stream {

/// Reads slices of the image one by one into rows of floats.
class CGreyRows {
  public:
    /// @param grey must outlive the object.
    explicit CGreyRows(CGreySlices& grey);

    /// @param rows receives row y at `rows + y * rowFloats`. @return the range of the file's values.
    volume::SValueRange Fill(long long z, float* rows, std::size_t rowFloats);
    /// The slice read last, as the file holds it.
    const std::byte* Raw() const { return m_raw.data(); }

  private:
    CGreySlices& m_grey;
    std::vector<std::byte> m_raw;
    std::vector<std::byte> m_prepared;
};

} // namespace TEVRA::stream
