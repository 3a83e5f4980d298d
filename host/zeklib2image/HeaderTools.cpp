// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/HeaderTools.h"

#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueVector.h"

namespace TEVRA {
namespace {

constexpr const char* SPACING_KEY = "spacing";

} // namespace

const std::string CVexoHeaderTools::c_sMetaMinMax = "minmax";

bool CVexoHeaderTools::GetSpacing(const IImage& image, double& x, double& y, double& z) {
    const CValue* spacing = GetMetaInfo(image, SPACING_KEY);
    if (spacing == nullptr) {
        return false;
    }
    const CValueVector& values = spacing->Vector();
    x = values.Entry(0)->Double();
    y = values.Entry(1)->Double();
    z = values.Entry(2)->Double();
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
