// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

namespace CLI {
class FormatterBase;
}

namespace TEVRA::apps {

/// Help texts of 80 columns: descriptions wrapped beside the option names, required options in the usage
/// line.
std::shared_ptr<CLI::FormatterBase> NewHelpFormatter();

} // namespace TEVRA::apps
