// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/document/merge/loaded_merge_sources.h"
#include "engine/store/container.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_seal.h"
#include "platform/kernel/object_graph.h"

#include <functional>

// The object that a document file begins with: everything that is saved can be reached from it.
class DocumentRoot final : public Kernel::Serialisable {
public:
    Kernel::Counted<DocumentNode> document;
    Kernel::Counted<DocumentSettings> settings;
    Kernel::Counted<DocumentDefaults> defaults;
    Kernel::Counted<History> history;
    Kernel::Counted<Selection const> selection;
    Kernel::Counted<SpreadNode> currentSpread;
    // Empty in documents that never had one.
    Kernel::Counted<SelectionRasterNode> rasterSelection;
    int channelMask = -1;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

    // Throws Kernel::DamagedDataException when something is missing or the tree breaks its rules.
    void Check() const;
};

// The file that a document was read from or last saved to, and what is in it.
struct DocumentController::File {
    // Empty before the first save.
    Kernel::Counted<Store::Container> container;
    // The container was opened by a program that cannot change it, or while another one was editing it.
    bool isReadOnly = false;
    // Decides which files its merge sources may read.
    LoadedMergeSources::Trust trust = LoadedMergeSources::Trust::Seal;
    // A save has looked for damaged pages since the file was opened.
    bool isLookedOver = false;
    std::shared_ptr<DocumentSeal> seal;
    Kernel::Counted<DocumentRoot> root = Kernel::MakeCounted<DocumentRoot>();
    Kernel::ObjectGraph graph;

    // Does something with a document while its preview, if one is up, is taken back: what is only shown is neither
    // saved nor copied. Nobody else sees the document meanwhile.
    template <class F>
    static void WithoutPreview(DocumentController& controller, F const& work);
    // Takes over what the controller holds now.
    void Gather(DocumentController const& controller);
    void SaveChanges();
    void SaveAs(std::filesystem::path const& path);

private:
    // Whether values that cannot be read may be missing from what is saved.
    enum class Losses { Forbidden, Allowed };

    bool SaveGraph(Store::Container& target, Losses losses);
    bool SaveMended(std::filesystem::path const& path, Losses losses);
    void SaveOver(std::filesystem::path const& path, std::function<void()> const& save);
    Store::SealMaker MakeSealMaker() const;
};
