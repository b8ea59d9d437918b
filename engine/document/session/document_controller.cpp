// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_controller.h"

#include "engine/document/file/document_file.h"
#include "engine/document/tree/reading_order.h"
#include "platform/document/document_notification.h"
#include "platform/document/edit_journal.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/abortable.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/hash_accumulator.h"

#include <algorithm>
#include <cmath>

namespace {

Node* FindSymbol(DocumentNode const& document, int index) {
    Node* symbol = index < 0 ? nullptr : document.GetFirstChild(NodeChildListType::Symbols);
    while (symbol != nullptr && index-- != 0)
        symbol = symbol->GetNextSibling();
    return symbol;
}

} // namespace

DocumentController::DocumentController()
    : m_document(Kernel::MakeCounted<DocumentNode>()),
      m_readingOrder(std::make_unique<ReadingOrderCache>()),
      m_settings(Kernel::MakeCounted<DocumentSettings>()),
      m_defaults(Kernel::MakeCounted<DocumentDefaults>()),
      m_selection(Kernel::MakeCounted<Selection>()),
      m_rasterSelection(Kernel::MakeCounted<SelectionRasterNode>()),
      m_history(Kernel::MakeCounted<History>()) {}

Kernel::Counted<DocumentController> DocumentController::CreateNew(Kernel::SizeT<double> pageSize, Raster::Format format,
                                                                  int pageCount) {
    bool const isSize =
        std::isfinite(pageSize.width) && std::isfinite(pageSize.height) && pageSize.width > 0 && pageSize.height > 0;
    if (!isSize)
        throw Kernel::Exception("a page needs a width and a height above 0");
    if (pageCount < 1)
        throw Kernel::Exception("a document has at least one page");
    Kernel::Counted<DocumentController> controller(new DocumentController);
    auto& document = *controller->m_document;
    document.SetFormat(format);
    document.AdoptIds(document);
    Kernel::RectT<double> const box{0, 0, pageSize.width, pageSize.height};
    for (int page = 0; page != pageCount; ++page) {
        auto spread = Kernel::MakeCounted<SpreadNode>(box);
        spread->AddPage(Kernel::MakeCounted<PageNode>(box));
        document.InsertChild(NodeChildListType::Plain, spread, nullptr);
    }
    controller->m_currentSpread = document.GetSpreads().front();
    return controller;
}

// The end of the commands may need the controller once more. The count that it holds of itself meanwhile keeps it from
// being destroyed a second time by those that come and go.
DocumentController::~DocumentController() {
    StopThread();
    GetControlBlock()->AcquireStrong();
    if (m_preview)
        m_preview->Teardown();
    m_preview.reset();
    TearDownFrom(0);
    GetControlBlock()->ReleaseStrong();
}

Kernel::JailCounted<SpreadNode> DocumentController::GetCurrentSpread() const { return m_currentSpread; }

void DocumentController::SetCurrentSpread(Kernel::JailCounted<SpreadNode> spread) {
    if (!spread)
        throw Kernel::Exception("a document is always at one of its spreads");
    RunExclusive([&] {
        EditJournal::NoteValue(*this, m_currentSpread);
        m_currentSpread = std::move(spread);
    });
}

void DocumentController::EnsureTextComposed(bool allSpreads, bool* abort) const {
    Kernel::Abortable flag;
    flag.SetAbortPointer(abort);
    Node& top = allSpreads ? static_cast<Node&>(*m_document) : *m_currentSpread;
    ForEachNode(top, [&](Node& node) {
        auto const* const text = Kernel::CastPointer<TextNode const>(&node);
        if (text != nullptr && !flag.IsAborted())
            text->EnsureTextComposed();
    });
}

void DocumentController::SetSelection(Kernel::Counted<Selection const> selection, bool notify) {
    if (!selection)
        selection = Kernel::MakeCounted<Selection>();
    RunExclusive([&] {
        EditJournal::NoteValue(*this, m_selection);
        m_selection = selection;
    });
    if (notify) {
        SendNotification(Kernel::MakeCounted<InvalidateDocumentNotification>(
            Kernel::Counted<DocumentController const>(this), Kernel::RectT<double>(), selection, false, true, true,
            true));
    }
}

void DocumentController::SetRasterSelection(Kernel::Counted<SelectionRasterNode> selection) {
    if (!selection)
        selection = Kernel::MakeCounted<SelectionRasterNode>();
    RunExclusive([&] {
        EditJournal::NoteValue(*this, m_rasterSelection);
        m_rasterSelection = selection;
    });
}

void DocumentController::SetChannelMask(int channels) {
    RunExclusive([&] {
        EditJournal::NoteValue(*this, m_channelMask);
        m_channelMask = channels;
    });
}

int DocumentController::MergeChannelMask(Kernel::NonCounted<MutableRasterInterface const> layer) const {
    auto const bitmap = layer->GetBitmap();
    return bitmap ? Raster::GetFormatInfo(bitmap->GetFormat()).allChannels & m_channelMask : 0;
}

std::vector<Kernel::Counted<ExportArticleCollector>> const& DocumentController::GetExportArticles() const {
    auto& order = *m_readingOrder;
    std::lock_guard const lock(order.mutex);
    auto const version = ReadingOrder::GetVersion();
    if (!order.isCurrent || order.version != version) {
        order.entries = ReadingOrder::Make(*m_document);
        order.version = version;
        order.isCurrent = true;
    }
    return order.entries;
}

// Numbers that are taken back were there when the order was made, or it is made anew.
bool DocumentController::UpdateExportArticles(bool& wasRead) {
    EditJournal::NoteFor(*this, [](DocumentController& controller) { controller.m_readingOrder->isCurrent = false; });
    std::lock_guard const lock(m_readingOrder->mutex);
    bool const wasCurrent = std::exchange(m_readingOrder->isCurrent, false);
    wasRead = wasRead || wasCurrent;
    return wasCurrent;
}

void DocumentController::SetShouldReflowPages(bool reflow) {
    EditJournal::NoteValue(*m_settings, m_settings->shouldReflowPages);
    m_settings->shouldReflowPages = reflow;
    m_settings->MarkChanged();
}

int DocumentController::GetScaleOverrideFlags(bool own) const {
    return own || m_settings->scaleOverrideEnabled ? m_settings->scaleOverrideFlags : 0;
}

void DocumentController::SetScaleOverrideFlags(int flags) {
    EditJournal::NoteValue(*m_settings, m_settings->scaleOverrideFlags);
    m_settings->scaleOverrideFlags = flags;
    m_settings->MarkChanged();
}

void DocumentController::SetScaleOverrideEnabled(bool enabled) {
    EditJournal::NoteValue(*m_settings, m_settings->scaleOverrideEnabled);
    m_settings->scaleOverrideEnabled = enabled;
    m_settings->MarkChanged();
}

void DocumentController::AddPressureProfile(Kernel::Counted<Geometry::CurveDbl> profile) {
    if (!profile)
        throw Kernel::Exception("there is no pressure profile to add");
    EditJournal::NoteValue(*m_settings, m_settings->pressureProfiles);
    m_settings->pressureProfiles.push_back(std::move(profile));
    m_settings->MarkChanged();
}

void DocumentController::RemovePressureProfile(Kernel::Counted<Geometry::CurveDbl> profile) {
    auto& profiles = m_settings->pressureProfiles;
    auto found = std::find(profiles.begin(), profiles.end(), profile);
    if (found == profiles.end() && profile) {
        found = std::find_if(profiles.begin(), profiles.end(), [&](auto const& other) {
            return other->CompareMembers(*profile, Kernel::CompareContext());
        });
    }
    if (found == profiles.end())
        return;
    EditJournal::NoteValue(*m_settings, m_settings->pressureProfiles);
    profiles.erase(found);
    m_settings->MarkChanged();
}

std::vector<Kernel::Counted<Geometry::CurveDbl>> const& DocumentController::GetPressureProfiles() const {
    return m_settings->pressureProfiles;
}

int DocumentController::GetSymbolCount() const {
    return static_cast<int>(m_document->CountChildren(NodeChildListType::Symbols));
}

Kernel::Counted<Node> DocumentController::GetSymbolAtIndex(int index) const {
    return Kernel::Counted<Node>(FindSymbol(*m_document, index));
}

void DocumentController::RemoveSymbolAtIndex(int index) {
    if (Node* const symbol = FindSymbol(*m_document, index))
        symbol->RemoveFromParent();
}

void DocumentController::InsertSymbolAtIndex(Kernel::Counted<Node> symbol, int index) {
    if (!symbol)
        throw Kernel::Exception("there is no symbol to insert");
    m_document->InsertChild(NodeChildListType::Symbols, std::move(symbol), FindSymbol(*m_document, std::max(index, 0)));
}

DocumentHash DocumentController::GetHash(bool withHistory) const {
    Kernel::Hash128 hash;
    RunExclusive([&] {
        Kernel::HashAccumulator accumulator;
        accumulator.AddObject(*m_document);
        accumulator.AddObject(*m_settings);
        if (withHistory)
            accumulator.AddObject(*m_history);
        hash = accumulator.GetHash();
    });
    DocumentHash bytes{};
    for (std::size_t i = 0; i != 8; ++i) {
        bytes[i] = static_cast<std::byte>(hash.high >> (56 - 8 * i));
        bytes[8 + i] = static_cast<std::byte>(hash.low >> (56 - 8 * i));
    }
    return bytes;
}

Kernel::RectT<double> DocumentController::GetHistoryInterestingRect() const {
    auto const position = m_history->GetPosition();
    if (auto const newest = position == 0 ? nullptr : m_history->GetCommand(position - 1))
        return newest->GenerateHistoryInterestingRect();
    return m_currentSpread ? m_currentSpread->GetBaseBox(true) : Kernel::RectT<double>();
}
