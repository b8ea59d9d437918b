// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Raster::Fragments {

// The beginning of every kernel: one set of names for types and functions that the languages call differently.
char const* GetPrelude(int language);
// Functions of both languages that all fragments may use.
char const* GetSharedFunctions();
// The places of pixel centres, by the Transform of where the text stands.
char const* GetPixelCentreText();
// The end of every kernel: the function that drivers call.
char const* GetEntry(int language);

} // namespace Raster::Fragments
