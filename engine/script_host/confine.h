// SPDX-License-Identifier: Apache-2.0
#pragma once

// Leaves this process what a script needs: the socket to the engine, `memoryBytes` of address space (0: without limit)
// and the clock. No files, no network, no other processes, threads or programs, no signals, and no life without the
// engine. To be called before a script is run. Throws nothing; where the machine cannot refuse system calls, the limits
// alone hold.
void Confine(unsigned long long memoryBytes);
