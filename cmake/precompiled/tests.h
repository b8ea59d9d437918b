// SPDX-License-Identifier: Apache-2.0
// Headers that nearly every test reads.
#pragma once

#include "cmake/precompiled/document.h"

#include <gtest/gtest.h>
