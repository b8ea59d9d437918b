// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/caption_command_helper.h"
#include "platform/document/interface_map.h"

namespace Commands {

// A value of an object's metadata, as programs outside the library give it.
struct MetadataValue {
    Kernel::String text;
};

// Gives each selected object one value under a key of its metadata, in place of all that it has there, and keeps the
// captions that show it right.
class REDRAFT_API SetMetadataTagCommand final
    : public Persisted<SetMetadataTagCommand, SelectionCommandWithNodeInterfaces<SetMetadataTagCommand>> {
public:
    // An empty value takes the key away, unless SetAllowEmptyValue says otherwise.
    SetMetadataTagCommand(Kernel::String key, Kernel::String value, Kernel::Counted<Selection const> selection)
        : Persisted(std::move(selection)), m_value(std::move(value)), m_key(std::move(key)) {}
    // As programs outside give it.
    SetMetadataTagCommand(MetadataValue value, Kernel::String key, bool allowEmptyValue,
                          Kernel::Counted<Selection const> selection)
        : Persisted(std::move(selection)),
          m_value(std::move(value.text)),
          m_key(std::move(key)),
          m_allowEmptyValue(allowEmptyValue) {}

    void SetAllowEmptyValue(bool allow) { m_allowEmptyValue = allow; }

    // False where no object of the document is selected.
    static bool CanApplyTo(Kernel::Counted<Selection const> selection) {
        return selection && !selection->GetNodesInDocument().empty();
    }

    static constexpr auto c_description = Kernel::Localisable("Set Metadata", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool Merge(Kernel::Counted<Command const> newer) override;
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    // Required: without the permission of empty values.
    Kernel::Counted<DocumentCommand> Clone() const override;

    static constexpr std::string_view c_keptByUndo =
        "Of several values under the key, taking this back brings only the first one back.";

protected:
    bool ShouldOperateOnMasterItems() override { return true; }
    void ReceiveNode(Kernel::NonCounted<Node> node) override;

private:
    friend struct Kernel::FieldAccess;
    SetMetadataTagCommand() = default;
    static constexpr auto Fields() {
        using This = SetMetadataTagCommand;
        return Kernel::FieldList{
            Kernel::Field{"NewV", &This::m_value}.As<MetadataValue>("value", "the value; empty: the key goes"),
            Kernel::Field{"Tag#", &This::m_key}.As("key", "the key, as title or description"),
            Kernel::Field{"AEVl", &This::m_allowEmptyValue}.As("allowEmptyValue",
                                                               "true: the key stays with an empty value", false)};
    }
    void Put(Node& node);

    CaptionCommandHelper m_captionHelper;
    // Required: the first value of each node that had one.
    InterfaceMap<Node, Kernel::String> m_oldValues;
    Kernel::String m_value, m_key;
    bool m_allowEmptyValue = false;
};

} // namespace Commands
