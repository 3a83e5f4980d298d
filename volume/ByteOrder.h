// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA::volume {

enum class EByteOrder { little, big };

} // namespace TEVRA::volume
