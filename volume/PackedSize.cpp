// SPDX-License-Identifier: BSD-3-Clause
#include "volume/PackedSize.h"

#include "volume/Failure.h"
#include "volume/NumberText.h"

namespace TEVRA::volume {

void CheckPackedSize(const std::string& name, double neededBytes, double packedBytes, double expansion) {
    if (neededBytes > packedBytes * expansion) {
        throw CInputError(name + ": the file is truncated or its header broken: the image takes " +
                          NumberText(neededBytes) + " bytes, but the " + NumberText(packedBytes) +
                          " bytes of its pixels in the file can become no more than " +
                          NumberText(packedBytes * expansion) + "; copy or export it again");
    }
}

} // namespace TEVRA::volume
