// SPDX-License-Identifier: Apache-2.0
#include "platform/document/data_merge_output.h"

#include "engine/document/merge/record_pictures.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/records/read_table.h"
#include "platform/story/field_data_source.h"
#include "platform/story/field_glyphs.h"

#include <algorithm>
#include <set>
#include <unordered_map>

namespace {

using Result = Records::Result;

// A source with its records, and how many of them a copy takes.
struct MergedSource {
    Kernel::Counted<DataMergeSource> source;
    Kernel::Counted<Result const> result;
    std::size_t firstSpread = 0, lastSpread = 0;
    std::size_t recordsPerCopy = 1;

    std::size_t CountCopies() const { return (result->rows.size() + recordsPerCopy - 1) / recordsPerCopy; }
};

// Spreads that go together, and the sources that fill them; without sources they come once.
struct Block {
    std::size_t firstSpread = 0, endSpread = 0;
    std::vector<MergedSource const*> sources;
    std::size_t copies = 1;
};

// The values of fields in one copy.
class CopyFields final : public Story::FieldDataSource {
public:
    CopyFields(std::vector<MergedSource const*> const& sources, std::size_t copy) : m_sources(sources), m_copy(copy) {}
    MergedSource const* FindSource(Kernel::String const& guid) const {
        auto const found =
            std::ranges::find_if(m_sources, [&](auto const* merged) { return merged->source->GetGuid() == guid; });
        return found == m_sources.end() ? nullptr : *found;
    }
    std::size_t GetPlace(MergedSource const& merged, std::uint32_t offset) const {
        return m_copy * merged.recordsPerCopy + offset;
    }
    std::optional<Kernel::String> GetMergeFieldValue(Kernel::String const& source, Kernel::String const& field,
                                                     std::uint32_t offset) const override {
        auto const* const merged = FindSource(source);
        if (merged == nullptr)
            return {};
        return Kernel::String(std::string(merged->result->GetText(GetPlace(*merged, offset), field.view())));
    }

private:
    std::vector<MergedSource const*> const& m_sources;
    std::size_t m_copy;
};

void CheckAbort(bool const* abort) {
    if (Kernel::IsAbortSet(abort))
        throw Kernel::AbortException();
}

template <class F>
void ForEachField(Story::Story const& story, F const& visit) {
    story.VisitObjects(story.GetAll(), [&](std::uint32_t index, Kernel::Counted<Story::Glyph const> const& glyph) {
        if (auto const* const field = Kernel::CastPointer<Story::MergeFieldGlyph const>(glyph.get()))
            visit(index, *field);
        return true;
    });
}

} // namespace

struct DataMergeOutput::Implementation {
    Implementation(Kernel::Counted<DocumentController const> document, bool* flag)
        : controller(std::move(document)), spreads(controller->GetDocument()->GetSpreads()), abort(flag) {
        FindSources();
        CountRecordsPerCopy();
        MakeBlocks();
    }

    Kernel::Counted<DocumentController const> controller;
    std::vector<Kernel::Counted<SpreadNode>> spreads;
    bool* abort;
    std::vector<MergedSource> sources;
    std::vector<Block> blocks;
    std::vector<Records::Warning> warnings;
    std::uint64_t furtherWarnings = 0;
    Kernel::Counted<DocumentController> shown;
    // That document's own copies of the spreads.
    std::vector<Kernel::Counted<SpreadNode>> shownModels;
    // Guids of sources, and names of columns that fields have and the data do not.
    std::set<std::pair<std::string, std::string>> missingColumns;

    void Warn(Records::Warning warning) {
        if (warnings.size() < Records::c_maximumWarnings)
            warnings.push_back(std::move(warning));
        else
            ++furtherWarnings;
    }

    void FindSources();
    MergedSource* FindMerged(Kernel::String const& guid);
    void MeetField(Kernel::String const& guid, Kernel::String const& field, std::uint32_t offset);
    std::size_t FindSpreadOfPage(int page) const;
    void CountRecordsPerCopy();
    void MakeBlocks();

    // Copies of a block's spreads with one copy's records. `models`: all spreads, as the document that gets the copies
    // has them, for topics, symbols and the like that copies share with their models.
    std::vector<Kernel::Counted<SpreadNode>> MakeCopy(std::vector<Kernel::Counted<SpreadNode>> const& models,
                                                      Block const& block, std::size_t copy);
    void FillText(TextNode& text, CopyFields const& fields);
    void FillPicture(SceneNode& node, CopyFields const& fields);
    Kernel::Counted<DocumentController> MakeTarget();
};

void DataMergeOutput::Implementation::FindSources() {
    for (auto const& source : controller->GetDocument()->GetDataMergeSettings()) {
        if (!source->IsUserEnabled())
            continue;
        auto const payload = source->PrepareFilterUpdate(abort);
        CheckAbort(abort);
        auto const& told = *payload->GetWarnings();
        for (auto const& warning : told.GetWarnings())
            Warn(warning);
        furtherWarnings += told.GetFurtherWarnings();
        auto const& result = payload->GetResult();
        if (!result->table)
            throw Kernel::Exception(
                "the source " + source->GetName().ToStdString() + " has no data" +
                (told.GetWarnings().empty() ? std::string() : ": " + told.GetWarnings().front().text.ToStdString()));
        MergedSource merged{source, result, 0, spreads.size() - 1};
        if (!source->CoversWholeDocument()) {
            if (source->GetEndPage() < source->GetStartPage())
                throw Kernel::Exception("the source " + source->GetName().ToStdString() + " covers no page");
            merged.firstSpread = FindSpreadOfPage(source->GetStartPage());
            merged.lastSpread = FindSpreadOfPage(source->GetEndPage());
        }
        sources.push_back(std::move(merged));
    }
    if (sources.empty())
        throw Kernel::Exception("no merge source is enabled");
}

std::size_t DataMergeOutput::Implementation::FindSpreadOfPage(int page) const {
    std::size_t end = 0;
    for (std::size_t i = 0; i != spreads.size(); ++i) {
        end += spreads[i]->CountChildren(NodeChildListType::Pages);
        if (page >= 0 && static_cast<std::size_t>(page) < end)
            return i;
    }
    throw Kernel::Exception("a source covers page " + std::to_string(std::int64_t(page) + 1) +
                            ", and the document has " + std::to_string(end));
}

MergedSource* DataMergeOutput::Implementation::FindMerged(Kernel::String const& guid) {
    auto const found =
        std::ranges::find_if(sources, [&](auto const& merged) { return merged.source->GetGuid() == guid; });
    return found == sources.end() ? nullptr : &*found;
}

void DataMergeOutput::Implementation::MeetField(Kernel::String const& guid, Kernel::String const& field,
                                                std::uint32_t offset) {
    auto* const merged = FindMerged(guid);
    if (merged == nullptr)
        return;
    merged->recordsPerCopy = std::max<std::size_t>(merged->recordsPerCopy, std::size_t(offset) + 1);
    if (!merged->result->table->FindColumn(field.view()) &&
        missingColumns.emplace(guid.ToStdString(), field.ToStdString()).second)
        Warn({Records::Warning::c_noRow, field, "the data have no such column: its fields are empty"});
}

void DataMergeOutput::Implementation::CountRecordsPerCopy() {
    for (auto const& spread : spreads) {
        ForEachNode(*spread, [&](Node& node) {
            if (auto const* const text = Kernel::CastPointer<TextNode const>(&node))
                ForEachField(*text->GetStory(), [&](std::uint32_t, Story::MergeFieldGlyph const& field) {
                    MeetField(field.GetSource(), field.GetField(), field.GetOffset());
                });
            auto const* const scene = Kernel::CastPointer<SceneNode const>(&node);
            if (scene != nullptr && !scene->GetMergeSource().empty())
                MeetField(scene->GetMergeSource(), scene->GetMergeField(), scene->GetMergeOffset());
        });
    }
}

void DataMergeOutput::Implementation::MakeBlocks() {
    for (std::size_t i = 0; i != spreads.size(); ++i) {
        Block block{i, i + 1, {}, 1};
        for (auto const& merged : sources) {
            if (i >= merged.firstSpread && i <= merged.lastSpread)
                block.sources.push_back(&merged);
        }
        // A source that goes on ties the spread to the one before.
        bool const goesOn = !blocks.empty() && std::ranges::any_of(block.sources, [&](auto const* merged) {
            return std::ranges::find(blocks.back().sources, merged) != blocks.back().sources.end();
        });
        if (!goesOn) {
            blocks.push_back(std::move(block));
            continue;
        }
        blocks.back().endSpread = i + 1;
        for (auto const* merged : block.sources) {
            if (std::ranges::find(blocks.back().sources, merged) == blocks.back().sources.end())
                blocks.back().sources.push_back(merged);
        }
    }
    for (auto& block : blocks) {
        if (block.sources.empty())
            continue;
        block.copies = 0;
        for (auto const* merged : block.sources)
            block.copies = std::max(block.copies, merged->CountCopies());
    }
}

void DataMergeOutput::Implementation::FillText(TextNode& text, CopyFields const& fields) {
    struct Place {
        std::uint32_t index;
        std::u32string text;
    };
    std::vector<Place> places;
    Story::ExpansionContext const context{&fields, 0, 0};
    ForEachField(*text.GetStory(), [&](std::uint32_t index, Story::MergeFieldGlyph const& field) {
        if (fields.FindSource(field.GetSource()) != nullptr)
            places.push_back({index, Story::ExpandGlyph(field, context)});
    });
    if (places.empty())
        return;
    auto const story = text.GetMutableStory(true);
    for (auto place = places.rbegin(); place != places.rend(); ++place)
        story->ReplaceText({place->index, place->index + 1}, Story::GlyphString(std::u32string_view(place->text)),
                           story->GetGlyphAtts(place->index));
    text.OnStoryChange(nullptr, true, Story::StoryChange(Story::StoryChangeType::Text, Story::StoryRanges()), false);
}

void DataMergeOutput::Implementation::FillPicture(SceneNode& node, CopyFields const& fields) {
    auto const* const merged = fields.FindSource(node.GetMergeSource());
    if (merged == nullptr)
        return;
    auto const& field = node.GetMergeField();
    auto const place = fields.GetPlace(*merged, node.GetMergeOffset());
    auto const path = merged->result->GetText(place, field.view());
    Kernel::Counted<Raster::DynamicBitmap const> picture;
    if (!path.empty()) {
        try {
            picture = ReadRecordPicture(merged->source->FindPicture(path));
        } catch (Kernel::AbortException const&) {
            throw;
        } catch (Kernel::Exception const& failure) {
            Warn({std::int64_t(merged->result->rows[place]), field, Kernel::String(failure.what())});
        }
    }
    PutPicture(node, picture);
    node.SetMergeField({}, {}, 0);
}

std::vector<Kernel::Counted<SpreadNode>>
DataMergeOutput::Implementation::MakeCopy(std::vector<Kernel::Counted<SpreadNode>> const& models, Block const& block,
                                          std::size_t copy) {
    CheckAbort(abort);
    std::vector<Kernel::Counted<SpreadNode>> made;
    // Texts by the nodes that they are copies of.
    std::unordered_map<Node const*, FrameTextNode*> frames;
    std::vector<std::pair<FrameTextNode const*, FrameTextNode*>> chained;
    std::vector<TextNode*> texts;
    std::vector<SceneNode*> pictures;
    for (std::size_t i = block.firstSpread; i != block.endSpread; ++i) {
        CloneContext context(CloneType::Copy);
        auto const spread = Kernel::Cast<SpreadNode>(models[i]->Clone(context));
        std::vector<Node const*> originals;
        ForEachNode(*models[i], [&](Node& node) { originals.push_back(&node); });
        std::size_t number = 0;
        ForEachNode(*spread, [&](Node& node) {
            Node const* const original = originals[number++];
            if (auto* const text = Kernel::CastPointer<TextNode>(&node))
                texts.push_back(text);
            if (auto* const frame = Kernel::CastPointer<FrameTextNode>(&node)) {
                auto const* const model = Kernel::CastPointer<FrameTextNode const>(original);
                frames.emplace(original, frame);
                chained.emplace_back(model, frame);
            }
            auto* const scene = Kernel::CastPointer<SceneNode>(&node);
            if (scene != nullptr && !scene->GetMergeSource().empty())
                pictures.push_back(scene);
        });
        made.push_back(spread);
    }
    // Chains that begin on the copied spreads go through the copies.
    std::unordered_map<Node const*, std::vector<std::pair<std::size_t, FrameTextNode*>>> chains;
    for (auto const& [model, frame] : chained) {
        auto const master = model->GetMaster();
        auto const* const head = Kernel::CastPointer<Node const>(master.get());
        if (head != nullptr && frames.contains(head))
            chains[head].emplace_back(model->GetTextFlowIndex(), frame);
    }
    for (auto& [head, followers] : chains) {
        std::ranges::sort(followers, {}, &std::pair<std::size_t, FrameTextNode*>::first);
        auto* const first = frames.at(head);
        auto const* const model = Kernel::CastPointer<FrameTextNode const>(head);
        first->SetStory(model->GetStory()->CloneWithOwnGlyphs());
        std::vector<Kernel::Counted<FrameTextNode>> chain{Kernel::Counted<FrameTextNode>(first)};
        for (auto const& [index, frame] : followers)
            chain.emplace_back(frame);
        FrameTextNode::LinkAll(chain);
    }
    CopyFields const fields(block.sources, copy);
    for (auto* const text : texts) {
        if (&text->GetStoryOwner() == text)
            FillText(*text, fields);
    }
    for (auto* const picture : pictures)
        FillPicture(*picture, fields);
    return made;
}

// The document without its spreads, but for one.
Kernel::Counted<DocumentController> DataMergeOutput::Implementation::MakeTarget() {
    auto const target = controller->MakeCopyWithoutHistory();
    target->SetSelection(Kernel::MakeCounted<Selection const>(), false);
    auto& kept = target->GetDocument()->GetDataMergeSettings();
    std::erase_if(kept, [&](auto const& source) {
        return std::ranges::any_of(sources,
                                   [&](auto const& merged) { return merged.source->GetGuid() == source->GetGuid(); });
    });
    return target;
}

namespace {

void PutSpreads(DocumentController& controller, std::vector<Kernel::Counted<SpreadNode>> const& old,
                std::vector<Kernel::Counted<SpreadNode>> const& made) {
    auto& document = *controller.GetDocument();
    for (auto const& spread : made)
        document.InsertChild(NodeChildListType::Plain, spread, nullptr);
    controller.SetCurrentSpread(made.front());
    for (auto const& spread : old)
        spread->RemoveFromParent();
}

} // namespace

DataMergeOutput::DataMergeOutput(Kernel::Counted<DocumentController const> document, bool* abort)
    : m_implementation(std::make_unique<Implementation>(std::move(document), abort)) {}
DataMergeOutput::~DataMergeOutput() = default;

std::size_t DataMergeOutput::GetCopyCount() const {
    std::size_t count = 0;
    for (auto const& block : m_implementation->blocks)
        count += block.sources.empty() ? 0 : block.copies;
    return count;
}

Kernel::Counted<DocumentController> DataMergeOutput::ShowCopy(std::size_t copy) {
    auto& own = *m_implementation;
    for (auto const& block : own.blocks) {
        if (block.sources.empty())
            continue;
        if (copy >= block.copies) {
            copy -= block.copies;
            continue;
        }
        if (!own.shown) {
            own.shown = own.MakeTarget();
            own.shownModels = own.shown->GetDocument()->GetSpreads();
        }
        auto const old = own.shown->GetDocument()->GetSpreads();
        PutSpreads(*own.shown, old, own.MakeCopy(own.shownModels, block, copy));
        return own.shown;
    }
    throw Kernel::Exception("the records fill fewer pages");
}

Kernel::Counted<DocumentController> DataMergeOutput::MakeDocument(std::function<void(std::size_t done)> const& told) {
    auto& own = *m_implementation;
    auto const target = own.MakeTarget();
    auto const old = target->GetDocument()->GetSpreads();
    std::size_t done = 0;
    bool hasSpreads = false;
    auto& document = *target->GetDocument();
    for (auto const& block : own.blocks) {
        for (std::size_t copy = 0; copy != block.copies; ++copy) {
            for (auto const& spread : own.MakeCopy(old, block, copy))
                document.InsertChild(NodeChildListType::Plain, spread, nullptr);
            hasSpreads = true;
            if (!block.sources.empty() && told)
                told(++done);
        }
    }
    if (!hasSpreads)
        throw Kernel::Exception("no record comes through the filters: there are no pages");
    for (auto const& spread : old)
        spread->RemoveFromParent();
    target->SetCurrentSpread(document.GetSpreads().front());
    return target;
}

std::vector<Kernel::String> DataMergeOutput::GetPicturePaths() const {
    auto& own = *m_implementation;
    std::set<std::pair<MergedSource const*, std::string>> fields;
    for (auto const& spread : own.spreads) {
        ForEachNode(*spread, [&](Node& node) {
            auto const* const scene = Kernel::CastPointer<SceneNode const>(&node);
            auto const* const merged = scene == nullptr ? nullptr : own.FindMerged(scene->GetMergeSource());
            if (merged != nullptr)
                fields.emplace(merged, scene->GetMergeField().ToStdString());
        });
    }
    std::set<std::string, std::less<>> named;
    std::vector<Kernel::String> paths;
    for (auto const& [merged, field] : fields) {
        named.clear();
        for (std::size_t place = 0; place != merged->result->rows.size(); ++place) {
            CheckAbort(own.abort);
            auto const name = merged->result->GetText(place, field);
            if (name.empty() || !named.emplace(name).second)
                continue;
            try {
                paths.push_back(merged->source->FindPicture(name));
            } catch (Kernel::AbortException const&) {
                throw;
            } catch (Kernel::Exception const&) {
                // The copy that shows it says so.
            }
        }
    }
    return paths;
}

std::vector<Records::Warning> const& DataMergeOutput::GetWarnings() const { return m_implementation->warnings; }
std::uint64_t DataMergeOutput::GetFurtherWarnings() const { return m_implementation->furtherWarnings; }
