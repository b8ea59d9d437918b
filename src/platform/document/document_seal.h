// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/exception.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

// How a program knows the documents again that it has saved: bytes that it leaves in each, which nobody else can make.
// The library keeps them and makes sure that a file holds what the digest says; keys are the program's.
class REDRAFT_ENGINE DocumentSeal {
public:
    virtual ~DocumentSeal();
    // The seal of a file with this digest (32 bytes), whose first `untrustedSteps` steps came from a document that was
    // not trusted. Empty for a document that is not to be sealed.
    virtual std::vector<std::byte> Make(std::span<std::byte const> digest, std::uint64_t untrustedSteps) = 0;
    // How many steps are not to be trusted, of a file with this digest and seal. Empty when Make has not made the seal
    // for it.
    virtual std::optional<std::uint64_t> Check(std::span<std::byte const> digest, std::span<std::byte const> seal) = 0;
};

// A step that was loaded from a document that is not trusted does not hold, and was not done again.
class REDRAFT_ENGINE UntrustedStepException final : public Kernel::Exception {
public:
    using Exception::Exception;
    ~UntrustedStepException() override;
};
