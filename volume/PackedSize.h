// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

// What compressed data can unpack to at most. A header may claim any size; memory is not taken for more than
// the file can hold.
namespace TEVRA::volume {

/// Bytes that a byte of deflate data can become: its shortest codes take 2 bits and stand for 258 bytes.
inline constexpr double DEFLATE_EXPANSION = 1032.0;

/// @param neededBytes of the image that the header states. @param packedBytes of the data that it is to come
///        from. @param expansion most bytes that one of them can become.
/// @throws CInputError if that does not suffice.
void CheckPackedSize(const std::string& name, double neededBytes, double packedBytes, double expansion);

} // namespace TEVRA::volume
