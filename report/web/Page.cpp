// SPDX-License-Identifier: BSD-3-Clause
#include "report/web/Page.h"

// The assembler copies the file, whatever its size; as a string in the source it would take the compiler long.
__asm__(".section .rodata\n"
        ".global tevra_report_page\n"
        ".global tevra_report_page_end\n"
        "tevra_report_page:\n"
        ".incbin \"" TEVRA_REPORT_PAGE "\"\n"
        "tevra_report_page_end:\n"
        ".byte 0\n"
        ".previous\n");

extern "C" {
extern const char tevra_report_page[];     // NOLINT(*-avoid-c-arrays)
extern const char tevra_report_page_end[]; // NOLINT(*-avoid-c-arrays)
}

namespace TEVRA::report::web {

std::string_view Page() {
    return {tevra_report_page, tevra_report_page_end};
}

} // namespace TEVRA::report::web
