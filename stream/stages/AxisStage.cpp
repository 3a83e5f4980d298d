// SPDX-License-Identifier: BSD-3-Clause
#include "stream/stages/AxisStage.h"

namespace TEVRA::stream {

IAxisStage::~IAxisStage() = default;

} // namespace TEVRA::stream
