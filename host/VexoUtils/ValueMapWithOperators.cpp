// SPDX-License-Identifier: BSD-3-Clause
#include "VexoUtils/ValueMapWithOperators.h"

#include <algorithm>

namespace TEVRA {
namespace {

void add_numbers(CValueMap& sum, const CValueMap& other, const std::vector<std::string>& leftOut);

void add_value(CValueMap& sum, const CValue_Key& key, const CValue& value) {
    const bool isNumber = value.GenericType() == CValue::eDouble || value.GenericType() == CValue::eLong;
    const bool isMap = value.GenericType() == CValue::eMap;
    CValue* target = sum.Entry(key);
    if (target == nullptr) {
        if (isNumber || isMap) {
            sum.SetEntry(key, value.Clone(eTfShare));
        }
        return;
    }
    if (target->GenericType() != value.GenericType()) {
        return;
    }
    if (value.GenericType() == CValue::eDouble) {
        target->Double() += value.Double();
    } else if (value.GenericType() == CValue::eLong) {
        target->Long() += value.Long();
    } else if (isMap) {
        add_numbers(target->Map(), value.Map(), {});
    }
}

void add_numbers(CValueMap& sum, const CValueMap& other, const std::vector<std::string>& leftOut) {
    for (auto it = other.begin(); it != other.end(); ++it) {
        const bool skipped =
            it.Key().IsName() && std::find(leftOut.begin(), leftOut.end(), it.Key().Name()) != leftOut.end();
        if (!skipped) {
            add_value(sum, it.Key(), *it.Value());
        }
    }
}

void divide_numbers(CValueMap& map, double divisor) {
    for (const CValue_Key& key : map.Keys()) {
        CValue* value = map.Entry(key);
        if (value->GenericType() == CValue::eDouble) {
            value->Double() /= divisor;
        } else if (value->GenericType() == CValue::eLong) {
            value->Long() = static_cast<std::int32_t>(value->Long() / divisor);
        } else if (value->GenericType() == CValue::eMap) {
            divide_numbers(value->Map(), divisor);
        }
    }
}

} // namespace

CValueMapWithOperators::CValueMapWithOperators() = default;

CValueMapWithOperators::CValueMapWithOperators(const CValueMapWithOperators& other) = default;

CValueMapWithOperators::CValueMapWithOperators(const CValueMap& prototype,
                                               const std::vector<std::string>& keys)
    : CValueMap(prototype), m_leftOut(keys) {
    for (const std::string& key : keys) {
        RemoveEntry(key.c_str());
    }
}

CValueMapWithOperators& CValueMapWithOperators::operator=(const CValueMapWithOperators& other) = default;

CValueMapWithOperators::~CValueMapWithOperators() = default;

CValueMapWithOperators& CValueMapWithOperators::operator+=(const CValueMap& other) {
    if (this == &other) {
        const CValueMap copy(other);
        add_numbers(*this, copy, m_leftOut);
    } else {
        add_numbers(*this, other, m_leftOut);
    }
    return *this;
}

CValueMapWithOperators& CValueMapWithOperators::operator/=(double divisor) {
    divide_numbers(*this, divisor);
    return *this;
}

CValueMapWithOperators* CValueMapWithOperators::Clone(EnTfOwnership ownership) const {
    auto copy = std::make_unique<CValueMapWithOperators>();
    copy->Copy(*this, ownership, true);
    copy->m_leftOut = m_leftOut;
    return copy.release();
}

} // namespace TEVRA
