// SPDX-License-Identifier: Apache-2.0
#pragma once

// Leaves this process what a filter needs: the socket to the engine, files to read, `memoryBytes` of address space (0:
// without limit), threads. No files to write, no other processes or programs, no signals to others, no network, no
// dumps, and no life without the engine. To be called before foreign code is. What a machine cannot refuse is allowed.
void Confine(unsigned long long memoryBytes);
