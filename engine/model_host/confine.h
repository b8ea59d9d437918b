// SPDX-License-Identifier: Apache-2.0
#pragma once

// From here on the process can compute, with threads, in so much address space, and talk through its socket, and no
// more. Memory of 0 sets no limit.
void Confine(unsigned long long memoryBytes);
