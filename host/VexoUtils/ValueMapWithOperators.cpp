// SPDX-License-Identifier: BSD-3-Clause
#include "VexoUtils/ValueMapWithOperators.h"

#include "zeklib2core/ValueLeaf.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

namespace TEVRA {
namespace {

/// The keys that take no part, and the path of the map at hand; without any keys the path is not followed.
class CLeftOutKeys {
  public:
    explicit CLeftOutKeys(const std::vector<std::string>& keys) : m_keys(keys) {}

    CLeftOutKeys Below(const CValue_Key& key) const {
        return m_keys.empty() ? *this : CLeftOutKeys(m_keys, m_path + key.Name() + "/");
    }
    bool Contain(const CValue_Key& key) const {
        return key.IsName() && !m_keys.empty() &&
               std::find(m_keys.begin(), m_keys.end(), m_path + key.Name()) != m_keys.end();
    }

  private:
    CLeftOutKeys(const std::vector<std::string>& keys, std::string path)
        : m_keys(keys), m_path(std::move(path)) {}

    const std::vector<std::string>& m_keys;
    std::string m_path;
};

std::int32_t to_long(double number) {
    if (std::isnan(number)) {
        return 0;
    }
    constexpr auto LOWEST = static_cast<double>(std::numeric_limits<std::int32_t>::min());
    constexpr auto HIGHEST = static_cast<double>(std::numeric_limits<std::int32_t>::max());
    return static_cast<std::int32_t>(std::clamp(number, LOWEST, HIGHEST));
}

bool is_number(const CValue& value) {
    return value.GenericType() == CValue::eDouble || value.GenericType() == CValue::eLong;
}

double as_double(const CValue& number) {
    return number.GenericType() == CValue::eDouble ? number.Double() : number.Long();
}

/// `target` is the number's counterpart in `sum`, null if there is none yet.
void add_number(CValueMap& sum, const CValue_Key& key, CValue* target, const CValue& number) {
    if (target == nullptr) {
        sum.SetEntry(key, number.GenericType() == CValue::eDouble
                              ? static_cast<CValue*>(new CValueDouble(number.Double()))
                              : new CValueLong(number.Long()));
    } else if (!is_number(*target)) {
        return;
    } else if (target->GenericType() == CValue::eDouble) {
        target->Double() += as_double(number);
    } else if (number.GenericType() == CValue::eLong) {
        target->Long() = to_long(as_double(*target) + as_double(number)); // exact: far below 2^53
    } else {
        sum.SetEntry(key, new CValueDouble(as_double(*target) + as_double(number)));
    }
}

void add_numbers(CValueMap& sum, const CValueMap& other, const CLeftOutKeys& leftOut);

/// `target` is the map's counterpart in `sum`, null if there is none yet.
void add_map(CValueMap& sum, const CValue_Key& key, CValue* target, const CValueMap& map,
             const CLeftOutKeys& leftOut) {
    if (target != nullptr) {
        if (target->GenericType() == CValue::eMap) {
            add_numbers(target->Map(), map, leftOut);
        }
        return;
    }
    auto fresh = std::make_unique<CValueMap>();
    add_numbers(*fresh, map, leftOut);
    if (!fresh->IsEmpty()) {
        sum.SetEntry(key, fresh.release());
    }
}

void add_numbers(CValueMap& sum, const CValueMap& other, const CLeftOutKeys& leftOut) {
    for (auto it = other.begin(); it != other.end(); ++it) {
        if (leftOut.Contain(it.Key())) {
            continue;
        }
        CValue* target = sum.Entry(it.Key());
        if (is_number(*it.Value())) {
            add_number(sum, it.Key(), target, *it.Value());
        } else if (it.Value()->GenericType() == CValue::eMap) {
            add_map(sum, it.Key(), target, it.Value()->Map(), leftOut.Below(it.Key()));
        }
    }
}

void divide_numbers(CValueMap& map, double divisor, const CLeftOutKeys& leftOut) {
    for (const CValue_Key& key : map.Keys()) {
        if (leftOut.Contain(key)) {
            continue;
        }
        CValue* value = map.Entry(key);
        if (value->GenericType() == CValue::eDouble) {
            value->Double() /= divisor;
        } else if (value->GenericType() == CValue::eLong) {
            value->Long() = to_long(value->Long() / divisor);
        } else if (value->GenericType() == CValue::eMap) {
            divide_numbers(value->Map(), divisor, leftOut.Below(key));
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
    // Adding a map to itself only changes numbers in place, never the list of entries that is walked over.
    add_numbers(*this, other, CLeftOutKeys(m_leftOut));
    return *this;
}

CValueMapWithOperators& CValueMapWithOperators::operator/=(double divisor) {
    divide_numbers(*this, divisor, CLeftOutKeys(m_leftOut));
    return *this;
}

CValueMapWithOperators* CValueMapWithOperators::Clone(EnTfOwnership ownership) const {
    auto copy = std::make_unique<CValueMapWithOperators>();
    copy->Copy(*this, ownership, true);
    copy->m_leftOut = m_leftOut;
    return copy.release();
}

} // namespace TEVRA
