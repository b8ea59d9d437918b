// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/source_location.h"
#include "platform/kernel/string.h"

#include <exception>

namespace Kernel {

// Base of all failures. The message is one line for a person; the place of the throw is kept for the log.
class REDRAFT_ENGINE Exception : public std::exception {
public:
    explicit Exception(String message, SourceLocation where = SourceLocation::current())
        : m_message(std::move(message)), m_where(where) {}
    ~Exception() override;
    char const* what() const noexcept override { return m_message.c_str(); }
    String const& GetMessage() const noexcept { return m_message; }
    SourceLocation const& GetSourceLocation() const noexcept { return m_where; }

private:
    String m_message;
    SourceLocation m_where;
};

// A long operation found its abort flag set.
class REDRAFT_ENGINE AbortException final : public Exception {
public:
    explicit AbortException(SourceLocation where = SourceLocation::current()) : Exception("aborted", where) {}
    ~AbortException() override;
};

// The data was written by a newer version. The argument tells whether the rest of the file can be trusted.
class REDRAFT_ENGINE FutureVersionException final : public Exception {
public:
    explicit FutureVersionException(bool recoverable, SourceLocation where = SourceLocation::current())
        : Exception("written by a newer version", where), m_recoverable(recoverable) {}
    FutureVersionException(String message, bool recoverable, SourceLocation where = SourceLocation::current())
        : Exception(std::move(message), where), m_recoverable(recoverable) {}
    ~FutureVersionException() override;
    bool IsRecoverable() const noexcept { return m_recoverable; }

private:
    bool m_recoverable;
};

// The data is damaged or was forged.
class REDRAFT_ENGINE DamagedDataException final : public Exception {
public:
    using Exception::Exception;
    ~DamagedDataException() override;
};

} // namespace Kernel
