// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "tests/lives/random.h"

#include <string>

namespace Lives {

// The things outside the document that lines may refer to.
struct Props {
    // A picture file.
    std::string picture;
    // Names of installed plug-in filters.
    std::vector<std::string> plugins;
    // SVG drawings to start from; may be empty.
    std::vector<std::string> drawings;
    // Names of classes that lives run more than others; mostly empty.
    std::vector<std::string> preferred;
};

// A document to start from, saved at the path: spreads filled with what the examples of commands are tried on, or an
// imported drawing.
void MakeStart(Random& random, Props const& props, std::string const& path);

// A line that fits the document as it is: any command with any values on any selection, a move through the history, or
// what else a life knows. Throws std::runtime_error for a command with a parameter of a type that has no values here.
std::string ChooseLine(Random& random, Props const& props, DocumentController& document);

// Whether no life runs a command of the class: required of it, a history that was loaded does not lead back to the
// states that it had, or not even one that was not loaded. Nor does a life
// have a service that makes pictures.
bool IsInexact(std::string const& className);

} // namespace Lives
