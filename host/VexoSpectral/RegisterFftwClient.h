// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA {

/// Guard whose lifetime brackets a client's use of the transform. It does nothing on construction; when the
/// last one goes, the transform's process-wide tables are released.
class CRegisterFftwClient {
  public:
    CRegisterFftwClient() noexcept;
    CRegisterFftwClient(const CRegisterFftwClient&) = delete;
    CRegisterFftwClient& operator=(const CRegisterFftwClient&) = delete;
    ~CRegisterFftwClient();
};

} // namespace TEVRA
