// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "frame/persistence/optional_picture.h"
#include "platform/document/epub_cover_info.h"

// How programs outside the library give covers.

inline constexpr std::string_view c_ePubCoverKindNames[] = {"none", "firstPage", "picture"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<EPubCoverKind>{c_ePubCoverKindNames};

namespace Commands {

// A cover as a record of values.
struct EPubCoverArgument {
    EPubCoverKind kind = EPubCoverKind::FirstPage;
    OptionalPicture picture;
    Kernel::String alternativeText;

    static constexpr auto Fields() {
        using This = EPubCoverArgument;
        using Kernel::Unstored;
        return Kernel::FieldList{
            Unstored{&This::kind}.As("kind", "none, a picture of the first page, or a picture of its own",
                                     EPubCoverKind::FirstPage),
            Unstored{&This::picture}.As("picture", "a PNG, JPEG or TIFF file, for the kind picture", nullptr),
            Unstored{&This::alternativeText}.As("alternativeText", "for readers that do not see the picture",
                                                std::string_view())};
    }
    operator Kernel::Counted<EPubCoverInfo const>() const {
        return Kernel::MakeCounted<EPubCoverInfo>(kind, picture.picture, alternativeText);
    }
};

} // namespace Commands
