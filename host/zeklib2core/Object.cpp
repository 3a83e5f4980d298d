// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/Object.h"

namespace TEVRA {

IObject::~IObject() = default;

void IObject::SetInstance(const char* name) {
    m_instance = name == nullptr ? "" : name;
}

IPluginObject::~IPluginObject() = default;

IVectorizable::~IVectorizable() = default;

} // namespace TEVRA
