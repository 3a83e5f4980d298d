// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA {

/// Guard whose lifetime brackets a client's use of the transform. Its construction only counts; when the last
/// guard is gone and no transform holds plans, the transform's process-wide tables are released. Made to be a
/// static object: it does not depend on the order in which source files are set up and torn down.
class CRegisterFftwClient {
  public:
    CRegisterFftwClient() noexcept;
    CRegisterFftwClient(const CRegisterFftwClient&) = delete;
    CRegisterFftwClient& operator=(const CRegisterFftwClient&) = delete;
    ~CRegisterFftwClient();
};

} // namespace TEVRA
