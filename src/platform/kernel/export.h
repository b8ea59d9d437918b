// SPDX-License-Identifier: Apache-2.0
#pragma once

// Marks what a shared library shows. REDRAFT_ENGINE: declared under src/platform, defined by the engine.
// REDRAFT_API: the command library itself. Everything else stays hidden.
#define REDRAFT_ENGINE __attribute__((visibility("default")))
#define REDRAFT_API __attribute__((visibility("default")))
