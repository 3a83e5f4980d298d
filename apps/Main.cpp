// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Program.h"

int main(int argc, char** argv) {
    return TEVRA::apps::RunProgram(argc, argv);
}
