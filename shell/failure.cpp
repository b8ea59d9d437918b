// SPDX-License-Identifier: Apache-2.0
#include "shell/failure.h"

#include "platform/kernel/exception.h"

#include <new>
#include <stdexcept>

namespace Shell {

namespace {

constexpr std::size_t c_quotedBytes = 60;

// Messages of files begin with the path, which is the subject already.
std::string_view WithoutSubject(std::string_view message, std::string_view subject) {
    if (message.starts_with(subject) && message.substr(subject.size()).starts_with(": "))
        message.remove_prefix(subject.size() + 2);
    return message;
}

} // namespace

Failure::Failure(ExitStatus status, std::string subject, std::string reason)
    : m_status(status), m_line(OneLine(subject) + ": " + OneLine(reason, 1000)) {}

Failure::~Failure() = default;

Failure Failure::WithPlace(std::string_view place) const {
    Failure result(*this);
    result.m_line = OneLine(place) + ": " + m_line;
    return result;
}

void RethrowAsFailure(ExitStatus status, std::string const& subject) {
    try {
        throw;
    } catch (Failure const&) {
        throw;
    } catch (Kernel::AbortException const&) {
        throw Failure(ExitStatus::Interrupted, subject, "interrupted, nothing was saved");
    } catch (std::bad_alloc const&) {
        throw Failure(status, subject, "not enough memory");
    } catch (std::length_error const&) {
        throw Failure(status, subject, "not enough memory");
    } catch (std::exception const& error) {
        throw Failure(status, subject, std::string(WithoutSubject(error.what(), subject)));
    }
}

std::string OneLine(std::string_view text, std::size_t maxBytes) {
    // Kernel::String mends malformed UTF-8.
    std::string line = Kernel::String(text.substr(0, maxBytes)).ToStdString();
    for (char& c : line) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = ' ';
    }
    if (text.size() > maxBytes)
        line += "...";
    return line;
}

std::string Quote(std::string_view text) { return "'" + OneLine(text, c_quotedBytes) + "'"; }

} // namespace Shell
