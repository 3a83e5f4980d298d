// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/ValueLeaf.h"

namespace TEVRA::test {

/// A double value that counts its destruction, so that tests see who deletes it and when.
class CCountedValue : public CValueDouble {
  public:
    explicit CCountedValue(int& destroyed, double value = 0.0)
        : CValueDouble(value), m_destroyed(destroyed) {}
    ~CCountedValue() override { ++m_destroyed; }
    CCountedValue(const CCountedValue&) = delete;
    CCountedValue& operator=(const CCountedValue&) = delete;

  private:
    int& m_destroyed;
};

} // namespace TEVRA::test
