// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/HeaderTools.h"

#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueVector.h"

#include <algorithm>
#include <array>

namespace TEVRA {
namespace {

constexpr const char* SPACING_KEY = "spacing";

} // namespace

const std::string CVexoHeaderTools::c_sMetaMinMax = "minmax";

bool CVexoHeaderTools::GetSpacing(const IImage& image, double& x, double& y, double& z) {
    const CValue* spacing = GetMetaInfo(image, SPACING_KEY);
    if (spacing == nullptr || spacing->GenericType() != CValue::eVector || spacing->Vector().Size() < 2) {
        return false;
    }
    std::array<double, 3> values{1.0, 1.0, 1.0};
    const std::size_t count = std::min(values.size(), spacing->Vector().Size());
    for (std::size_t axis = 0; axis < count; ++axis) {
        const CValue* value = spacing->Vector().Entry(static_cast<int>(axis));
        if (value->GenericType() != CValue::eDouble) {
            return false;
        }
        values[axis] = value->Double();
    }
    x = values[0];
    y = values[1];
    z = values[2];
    return true;
}

void CVexoHeaderTools::SetSpacing(IImage& image, double x, double y, double z) {
    SetMetaInfo(image, SPACING_KEY,
                CValueVector(new CValueDouble(x), new CValueDouble(y), new CValueDouble(z)));
}

void CVexoHeaderTools::SetMetaInfo(IImage& image, const char* key, const CValue& value) {
    image.Attributes().SetEntry(key, value.Clone(eTfShare));
}

const CValue* CVexoHeaderTools::GetMetaInfo(const IImage& image, const char* key) {
    return image.Attributes().Entry(key);
}

} // namespace TEVRA
