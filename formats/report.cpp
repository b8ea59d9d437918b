// SPDX-License-Identifier: Apache-2.0
#include "formats/report.h"

namespace Formats {

std::string Describe(Note const& note) {
    switch (note.kind) {
    case Note::Kind::NotTakenOver:
        return "not taken over: " + note.text;
    case Note::Kind::Damaged:
        return "left out: " + note.text;
    default:
        return note.text;
    }
}

} // namespace Formats
