// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

namespace TEVRA::jobs {

/// From now on messages say `name` where their text says `path`: of a file that stands under another name
/// until it is finished, the name that its user knows. Safe to call from several threads.
void NameInMessages(const std::string& path, const std::string& name);

/// The message with these names.
std::string WithNames(std::string message);

} // namespace TEVRA::jobs
