// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/attributes.h"

// The place of an object in the reading order, and how it is shown there.
class REDRAFT_ENGINE ExportTaggingState final : public InterfaceStateT<ExportTaggingState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::ExportTagging;
    int articleIndex = -1, sequenceIndex = -1;
    bool includeUntagged = false, hidden = false, autoHide = false;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Artc", &ExportTaggingState::articleIndex},
                                 Kernel::Field{"Sequ", &ExportTaggingState::sequenceIndex},
                                 Kernel::Field{"Incl", &ExportTaggingState::includeUntagged},
                                 Kernel::Field{"Hide", &ExportTaggingState::hidden},
                                 Kernel::Field{"Auto", &ExportTaggingState::autoHide}};
    }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

// An object that can have a place in the reading order of its document. All frames of a text have one, which the owner
// of the text keeps. The state is kept by the commands that set it, and not by the brackets around visits.
class REDRAFT_ENGINE ExportTaggingInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::ExportTagging;
    // The number of the object's article or, where the document has no article of that number, its own; -1 for none.
    int GetArticleIndex() const { return GetTagging().articleIndex; }
    void SetArticleIndex(int index);
    // The place within the article, from 0; -1 for none.
    int GetSequenceIndex() const { return GetTagging().sequenceIndex; }
    void SetSequenceIndex(int index);
    // Whether the object is in the reading order even while it has no number.
    bool IsIncludeUntagged() const { return GetTagging().includeUntagged; }
    void SetIncludeUntagged(bool include);
    // For an object that is an entry by itself: whether it is left out of what readers get, and whether that was
    // decided by a program and not by the user.
    bool IsHidden() const { return GetTagging().hidden; }
    bool IsAutoHide() const { return GetTagging().autoHide; }
    void SetHide(bool hidden, bool autoHide);

    // The object that keeps the state.
    virtual ExportTaggingInterface& GetExportTaggingOwner() { return *this; }

private:
    ExportTaggingState const& GetTagging() const {
        return const_cast<ExportTaggingInterface*>(this)->GetExportTaggingOwner().GetState<ExportTaggingState>();
    }
};
