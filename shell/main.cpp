// SPDX-License-Identifier: Apache-2.0
#include "shell/program.h"

int main(int argumentCount, char** arguments) { return Shell::RunProgram(argumentCount, arguments); }
