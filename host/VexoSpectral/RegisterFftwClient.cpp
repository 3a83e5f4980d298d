// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSpectral/RegisterFftwClient.h"

#include "VexoSpectral/FftwPlan.h"

namespace TEVRA {

CRegisterFftwClient::CRegisterFftwClient() noexcept {
    Impl::AddFftwUser();
}

CRegisterFftwClient::~CRegisterFftwClient() {
    Impl::RemoveFftwUser();
}

} // namespace TEVRA
