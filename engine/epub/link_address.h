// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace EPub {

// An address that a publication may lead to, with all characters escaped that no URI has (RFC 3986). Empty for an
// address of another kind than http, https, mailto and tel: it would run a program, or name a file that a reader of the
// publication does not have.
std::string MakeLinkAddress(std::string_view url);

} // namespace EPub
