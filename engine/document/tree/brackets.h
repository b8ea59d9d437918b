// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/interfaces.h"

#include <cstdint>
#include <optional>

// The brackets that stand around what commands do to single objects, one inside the other, of one thread. A bracket
// keeps what its object held only when that is about to change: most visits of large selections change little, and one
// that changes nothing reads nothing of the object. Objects are changed on the thread that visits them.
namespace Brackets {

// The state of an object when its bracket was opened. The object lives for as long as its bracket.
struct Before {
    AttributeTable attributes;
    Raster::AffineTransform::Params matrix;
};

// To be called before each change: the brackets around the owner keep what it holds.
void AboutToChange(AttributeOwner& owner);

// `command` only names who opens the bracket.
void Open(void const* command, AttributeOwner& owner);
// Opens a bracket around an object that the next one may change too. It is closed together with that of the next.
void OpenForNext(void const* command, AttributeOwner& owner);

// The innermost bracket of the command; what is empty has not changed.
struct Closed {
    AttributeOwner* owner = nullptr;
    std::optional<Before> before;
};
// Closes the brackets of the command from the innermost to that of `owner`, each with a call of `closed`: a receiver
// that threw has left its own open. Nothing when there is none. Those of other commands in between have been left by
// exceptions too, and are dropped.
template <class F>
void Close(void const* command, AttributeOwner const& owner, F const& closed);

// Closes the innermost bracket when it is the command's around the owner and has kept nothing.
bool CloseUnchanged(void const* command, AttributeOwner const& owner) noexcept;
// Whether the innermost bracket is the command's and has lost the one that it was opened for.
bool IsForClosed(void const* command) noexcept;
// Whether the command has a bracket around the owner, and the removal of the innermost bracket.
bool IsOpen(void const* command, AttributeOwner const& owner) noexcept;
struct Innermost {
    void const* command;
    Closed closed;
    bool isForNext;
};
Innermost TakeInnermost();
// Drops all that the command has left open.
void Forget(void const* command) noexcept;

template <class F>
void Close(void const* command, AttributeOwner const& owner, F const& closed) {
    bool isClosed = CloseUnchanged(command, owner);
    if (!isClosed && !IsOpen(command, owner))
        return;
    while (!isClosed) {
        auto const innermost = TakeInnermost();
        if (innermost.command != command)
            continue;
        closed(innermost.closed);
        isClosed = innermost.closed.owner == &owner && !innermost.isForNext;
    }
    while (IsForClosed(command))
        closed(TakeInnermost().closed);
}

} // namespace Brackets
