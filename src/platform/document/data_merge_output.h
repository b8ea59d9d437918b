// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/data_merge_source.h"
#include "platform/document/document_controller.h"

#include <functional>

// The pages that the records of a document's merge sources fill. Each source has pages that it covers, as whole
// spreads; sources that share a spread go on together. The spreads of a block of sources are repeated for as many
// records as they have, and those that no source covers come once. Where fields have offsets, each copy takes several
// records.
//
// Fields become text and pictures of the copies. Fields of sources that are not enabled stay as they are. The document
// that is merged must not change meanwhile.
class REDRAFT_ENGINE DataMergeOutput {
public:
    // Reads the data and takes them through the filters. Throws Kernel::Exception in one line when no source is
    // enabled, when one of them has no data, or when pages that a source covers are not there, and
    // Kernel::AbortException when the flag is set, which is looked at now and in the other operations.
    DataMergeOutput(Kernel::Counted<DocumentController const> document, bool* abort);
    ~DataMergeOutput();
    DataMergeOutput(DataMergeOutput const&) = delete;

    // How many copies of spreads the records fill; spreads that come once are none of them.
    std::size_t GetCopyCount() const;
    // Fills a document of its own with the spreads of one copy, which takes the place of the one before. The same
    // object each time.
    Kernel::Counted<DocumentController> ShowCopy(std::size_t copy);
    // A document with all pages, without a history. `told`: how many copies are done.
    Kernel::Counted<DocumentController> MakeDocument(std::function<void(std::size_t done)> const& told = {});
    // Of the files that the copies read as pictures, those that are there now.
    std::vector<Kernel::String> GetPicturePaths() const;
    // Of the sources, of columns that fields name and the data do not have, and of pictures that could not be read.
    std::vector<Records::Warning> const& GetWarnings() const;
    std::uint64_t GetFurtherWarnings() const;

private:
    struct Implementation;
    std::unique_ptr<Implementation> m_implementation;
};
