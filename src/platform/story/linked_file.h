// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/attributes.h"

namespace Story {

// The file from which paragraphs were taken, as an attribute of each of them. Immutable once it is shared.
class REDRAFT_ENGINE LinkedFileAtt final : public Kernel::Serialisable {
public:
    LinkedFileAtt() = default;
    explicit LinkedFileAtt(Kernel::String path) : m_path(std::move(path)) {}
    // Stands for no file: its path is empty.
    static Kernel::Counted<LinkedFileAtt const> const& GetDefault();
    // The file of a paragraph; the default where it has none.
    static Kernel::Counted<LinkedFileAtt const> Of(ParagraphAtts const& atts);
    Kernel::String const& GetPath() const { return m_path; }
    bool IsSet() const { return !m_path.empty(); }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<LinkedFileAtt>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::String m_path;
};

} // namespace Story
