// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstddef>
#include <unistd.h>

// Talk of a host process with the program that started it, from the host's side. For programs that link nothing.
namespace HostSocket {

// The descriptor that a host process finds open.
inline constexpr int c_descriptor = 3;

// False at the end of what comes, or when it cannot be read.
inline bool ReadAll(void* bytes, std::size_t count) {
    auto* to = static_cast<char*>(bytes);
    while (count != 0) {
        ssize_t const got = read(c_descriptor, to, count);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        to += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

// False when nobody listens.
inline bool WriteAll(void const* bytes, std::size_t count) {
    auto const* from = static_cast<char const*>(bytes);
    while (count != 0) {
        ssize_t const put = write(c_descriptor, from, count);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        from += put;
        count -= static_cast<std::size_t>(put);
    }
    return true;
}

} // namespace HostSocket
