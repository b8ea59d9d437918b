// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace EPub {

// RFC 4648, section 4, without line ends.
std::string EncodeBase64(std::span<std::byte const> bytes);

} // namespace EPub
