// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/changed_areas.h"
#include "platform/document/data_merge_source.h"
#include "platform/document/text_update_command.h"

// Turns the names of a source's columns, written as "{{Name}}" in texts, into fields that show records, and objects of
// such a name into places of pictures. "{{Name@2}}" is the field of the second record of a page. A column that is named
// so itself comes first. Words in braces that are no columns stay.
class REDRAFT_ENGINE PlaceMergeFieldsCommand final
    : public Kernel::StoredClass<PlaceMergeFieldsCommand, TextUpdateCommand> {
public:
    // In all texts, and for all objects, of the document.
    explicit PlaceMergeFieldsCommand(Kernel::JailCounted<DataMergeSource> source);
    ~PlaceMergeFieldsCommand() override;

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    // Placed by the last Do.
    std::size_t GetFieldCount() const { return m_fieldCount; }
    std::size_t GetPictureCount() const { return m_pictures ? m_pictures->GetNodes().size() : 0; }

    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    void UpdateTexts(BeforeChange const& beforeChange) override;

private:
    PlaceMergeFieldsCommand();
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = PlaceMergeFieldsCommand;
        return Kernel::FieldList{Kernel::Field{"Srce", &This::m_source}, Kernel::Field{"Pics", &This::m_pictures}};
    }
    void PlacePictures();
    void PutPicturesBack(Direction direction);

    Kernel::Counted<DataMergeSource> m_source;
    // The objects that became places of pictures; null before Do.
    Kernel::Counted<Selection const> m_pictures;
    ChangedAreas m_pictureAreas;
    std::size_t m_fieldCount = 0;
};
