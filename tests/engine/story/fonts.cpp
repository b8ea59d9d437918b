// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>

namespace {

// Before anything asks for a font.
[[maybe_unused]] int const c_fontsAreSet = setenv("FONTCONFIG_FILE", REDRAFT_TEST_FONTS, 1);

} // namespace
