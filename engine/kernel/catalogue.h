// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Kernel {

// Tells gettext where the catalogues of the text domain "redraft" lie: in the folder that REDRAFT_LOCALEDIR names,
// else in ../share/locale as seen from this library (so that a build and a moved installation find theirs), else
// where the installation puts them. False when gettext refuses UTF-8.
bool OpenCatalogues() noexcept;

} // namespace Kernel
