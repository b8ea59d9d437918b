// SPDX-License-Identifier: Apache-2.0
#include "tests/laws/told_changes.h"

#include "frame/contract/notifications.h"
#include "platform/document/artboard.h"
#include "platform/document/common_property_collections.h"
#include "platform/document/data_merge_filters.h"
#include "platform/document/data_merge_source.h"
#include "platform/document/data_merge_warnings_notification.h"
#include "platform/document/document_renderer.h"
#include "platform/document/export_article.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/story/story_index.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>

namespace {

using Rect = Kernel::RectT<double>;
using Untold = CommandExample::Untold;
using Shown = ShownDocument::Shown;

constexpr double c_scale = 0.5;
// Around the spread, in document units: examples stand partly outside of it.
constexpr double c_margin = 160;
// Of places, in document units.
constexpr double c_tolerance = 1e-6;

Rect Inflated(Rect const& r, double by) { return {r.left - by, r.top - by, r.right + by, r.bottom + by}; }

bool Holds(Rect const& outer, Rect const& inner) {
    return inner.IsEmpty() || (inner.left >= outer.left - c_tolerance && inner.top >= outer.top - c_tolerance &&
                               inner.right <= outer.right + c_tolerance && inner.bottom <= outer.bottom + c_tolerance);
}

ShownDocument::Picture Paint(SpreadNode const& spread, Rect const& area) {
    SpreadPictureOptions options;
    options.area = area;
    options.scale = c_scale;
    auto const target = MakeSpreadPicture(spread, options);
    ShownDocument::Picture picture;
    picture.area = area;
    picture.scale = c_scale;
    picture.width = target->GetOptions().width;
    picture.height = target->GetOptions().height;
    picture.pixels.resize(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height));
    auto const buffer = target->Render({0, 0, picture.width, picture.height});
    buffer->ReadPixels(buffer->GetBounds(), picture.pixels.data(), static_cast<std::size_t>(picture.width) * 4);
    return picture;
}

bool SameStates(AttributeTable const& a, AttributeTable const& b, std::set<InterfaceId> const& except) {
    if (a.SharesDataWith(b))
        return true;
    for (int i = 0; i != c_interfaceCount; ++i) {
        auto const id = static_cast<InterfaceId>(i);
        auto const* const left = a.Find(id);
        auto const* const right = b.Find(id);
        if (left != right && !except.contains(id) && (left == nullptr || right == nullptr || !left->IsEqualTo(*right)))
            return false;
    }
    return true;
}

// States that say nothing of how an object looks.
std::set<InterfaceId> const& GetUnseen() {
    static std::set<InterfaceId> const s_unseen{InterfaceId::Description, InterfaceId::ExportTagging,
                                                InterfaceId::Metadata};
    return s_unseen;
}

std::vector<std::string> DescribeReadingOrder(DocumentController& controller) {
    std::vector<std::string> entries;
    Kernel::Counted<DocumentController const> const shared(&controller);
    for (auto const& entry : controller.GetExportArticles()) {
        auto line = std::to_string(entry->GetArticleIndex(shared, true)) + (entry->GetArticle() ? " article " : " ") +
                    (entry->GetArticle() ? entry->GetName().ToStdString() : std::string());
        line += std::to_string(entry->IsHidden()) + std::to_string(entry->IsAutoHide());
        for (auto const& member : entry->GetMembers())
            line += " #" + std::to_string(member->GetId());
        entries.push_back(std::move(line));
    }
    return entries;
}

std::string DescribeRule(DataMergeRule const& rule) {
    auto text = " rule " + std::to_string(static_cast<int>(rule.GetAggregateFunction()));
    for (auto const& clause : rule.GetClauses()) {
        text += " " + clause->GetFieldId().ToStdString() + std::to_string(static_cast<int>(clause->GetOperator())) +
                clause->GetMatchValue().ToStdString() + std::to_string(clause->GetMatchValues().GetDefaultInclude());
        for (auto const& value : clause->GetMatchValues().GetExceptions())
            text += "," + value.ToStdString();
    }
    return text;
}

std::string DescribeFilter(DataMergeFilter const& filter) {
    std::string text = std::to_string(filter.IsEnabled());
    if (auto const* const rows = Kernel::CastPointer<DataMergeSelectedRecordsFilter const>(&filter)) {
        for (auto const& range : rows->GetAllowedIndexes().GetRanges())
            text += " " + std::to_string(range.first) + "-" + std::to_string(range.last);
    } else if (auto const* const byValue = Kernel::CastPointer<DataMergeRecordValueFilter const>(&filter)) {
        text += " all " + std::to_string(static_cast<int>(byValue->GetAggregateFunction()));
        for (auto const& rule : byValue->GetRules())
            text += DescribeRule(*rule);
    } else if (auto const* const process = Kernel::CastPointer<DataMergeProcessFilter const>(&filter)) {
        text += DescribeRule(*process->GetRule()) + std::to_string(static_cast<int>(process->GetAction())) + " " +
                process->GetWarningMessageValue().ToStdString() + " " + process->GetReplacementField().ToStdString() +
                " " + process->GetReplacementValue().ToStdString();
    } else if (auto const* const script = Kernel::CastPointer<DataMergeJavaScriptFilter const>(&filter)) {
        text += " " + script->GetName().ToStdString() + " " + script->GetScript().ToStdString();
    } else if (auto const* const sort = Kernel::CastPointer<DataMergeSortFilter const>(&filter)) {
        text += " by " + sort->GetFieldId().ToStdString() + std::to_string(sort->GetAscending());
    }
    return text;
}

std::vector<std::string> DescribeMergeSources(DocumentNode const& document) {
    std::vector<std::string> lines;
    for (auto const& source : document.GetDataMergeSettings()) {
        auto const fetcher = source->GetFetcher();
        auto const parser = source->GetParser();
        lines.push_back(source->GetGuid().ToStdString() + (source->IsUserEnabled() ? " enabled " : " ") +
                        std::to_string(source->CoversWholeDocument()) + " " + std::to_string(source->GetStartPage()) +
                        "-" + std::to_string(source->GetEndPage()) + " " +
                        (fetcher ? fetcher->GetPath().ToStdString() + fetcher->GetContent().ToStdString() : "") + " " +
                        parser->GetLocale().ToStdString() + parser->GetOptions().delimiter);
        for (auto const& filter : std::as_const(*source).GetFilters())
            lines.push_back(DescribeFilter(*filter));
    }
    return lines;
}

// The change of one node by one operation.
struct Change {
    Shown const* before = nullptr;
    Shown const* after = nullptr;
    bool CameOrWent() const { return before == nullptr || after == nullptr; }
    bool IsMoved() const { return !CameOrWent() && (before->parent != after->parent || before->list != after->list); }
    bool HasNewNeighbour() const { return !CameOrWent() && before->previousSibling != after->previousSibling; }
    bool HasNewName() const { return !CameOrWent() && before->name != after->name; }
    bool HasNewLink() const { return !CameOrWent() && before->linkSource != after->linkSource; }
    bool HasNewBox() const { return !CameOrWent() && before->box != after->box; }
    // The node's own, whatever became of its place.
    bool HasNewData() const {
        return !CameOrWent() &&
               (before->matrix != after->matrix || !SameStates(before->states, after->states, GetUnseen()));
    }
    bool HasNewMetadata() const {
        auto const find = [](Shown const& shown) { return shown.states.Find(InterfaceId::Metadata); };
        return !CameOrWent() && find(*before) != find(*after) &&
               (find(*before) == nullptr || find(*after) == nullptr || !find(*before)->IsEqualTo(*find(*after)));
    }
    bool HasNewStory() const {
        return !CameOrWent() && before->states.Find(InterfaceId::Story) != after->states.Find(InterfaceId::Story);
    }
    // Pixels change in a part of a layer only: where, the picture tells.
    bool HasOnlyNewPixels() const {
        auto unseen = GetUnseen();
        unseen.insert(InterfaceId::MutableRaster);
        return !CameOrWent() && !IsMoved() && before->matrix == after->matrix && before->bounds == after->bounds &&
               SameStates(before->states, after->states, unseen);
    }
    // The text runs otherwise, though nothing of the node's own changed.
    bool HasOtherLines() const {
        return !CameOrWent() && (before->lines != after->lines || before->characters != after->characters);
    }
    // The text is the same and reads otherwise, as its fields have other values.
    bool HasOtherFields() const {
        return !CameOrWent() && !HasNewStory() && before->lines == after->lines &&
               before->characters != after->characters;
    }
    bool LooksOther() const { return CameOrWent() || IsMoved() || HasNewData() || HasOtherLines(); }
    Shown const& Any() const { return after != nullptr ? *after : *before; }
};

std::vector<Change> FindChanges(ShownDocument const& before, ShownDocument const& after) {
    std::vector<Change> changes;
    for (auto const& [id, shown] : before.nodes) {
        auto const found = after.nodes.find(id);
        changes.push_back({&shown, found == after.nodes.end() ? nullptr : &found->second});
    }
    for (auto const& [id, shown] : after.nodes) {
        if (!before.nodes.contains(id))
            changes.push_back({nullptr, &shown});
    }
    return changes;
}

template <class N>
std::vector<Kernel::Counted<N>> Pick(Kernel::NotificationList const& told) {
    std::vector<Kernel::Counted<N>> found;
    for (auto const& notification : told) {
        if (auto const picked = Kernel::Cast<N>(notification))
            found.push_back(picked);
    }
    return found;
}

bool IsSelectionOf(Selection const* selection, Selection const* expected) {
    auto const size = [](Selection const* s) { return s == nullptr ? 0 : s->size(); };
    return selection == expected || (size(selection) == 0 && size(expected) == 0) ||
           (selection != nullptr && expected != nullptr && selection->IsEqualTo(*expected));
}

class Judge {
public:
    Judge(Operation const& operation, Kernel::NotificationList const& told)
        : m_operation(operation), m_told(told), m_changes(FindChanges(operation.before, operation.after)) {}

    Judgement Run() {
        GatherAreas();
        JudgePixels();
        JudgeNodes();
        JudgeExcess();
        JudgeSelection();
        JudgeSymbols();
        JudgeSettings();
        JudgeTool();
        return std::move(m_judgement);
    }

private:
    void Miss(Untold kind, std::string text) { m_judgement.untold.push_back({kind, std::move(text)}); }
    void Refuse(std::string text) { m_judgement.wrong.push_back(std::move(text)); }

    void GatherAreas() {
        auto const& controller = m_operation.controller;
        for (auto const& about : Pick<DocumentNotification>(m_told)) {
            if (about->GetDocumentController().get() != controller.get())
                Refuse("a notification is about another document");
        }
        m_isWhole = !Pick<InvalidateDocumentAllNotification>(m_told).empty();
        for (auto const& invalid : Pick<InvalidateDocumentNotification>(m_told)) {
            if (invalid->IsOnlyOverlays() || invalid->IsImmediate() || invalid->IsAllSpreads())
                Refuse("an area is told in a way that no command asks for");
            if (Kernel::Cast<InvalidateDocumentAllNotification>(invalid))
                continue;
            JudgeAreaSelection(invalid->GetSelection().get());
            auto const current = controller->GetCurrentSpread()->GetId();
            if (!invalid->GetArea().IsEmpty())
                m_areas[current].push_back(invalid->GetArea());
            for (auto const& rect : invalid->GetSpreadRects().GetRects()) {
                if (!rect.rect.IsEmpty())
                    m_areas[rect.spread ? rect.spread->GetId() : current].push_back(rect.rect);
            }
        }
    }

    // The objects whose look changed: those that are selected now, or that the command works on, or some that stand in
    // the document.
    void JudgeAreaSelection(Selection const* selection) {
        bool const isKnown = IsSelectionOf(selection, m_operation.after.selection.get()) ||
                             IsSelectionOf(selection, m_operation.command->GetSelection().get());
        bool const isThere = selection != nullptr && [&] {
            auto const nodes = selection->GetNodes();
            return std::any_of(nodes.begin(), nodes.end(), [](auto const& node) { return node->IsInDocument(); });
        }();
        if (!isKnown && !isThere)
            Refuse("an area is told with a selection that is none of the document's");
    }

    std::vector<Rect> const& GetAreas(NodeId spread) const {
        static std::vector<Rect> const s_none;
        auto const found = m_areas.find(spread);
        return found == m_areas.end() ? s_none : found->second;
    }

    bool IsTold(NodeId spread, Rect const& rect) const {
        if (m_isWhole || rect.IsEmpty())
            return true;
        Rect all;
        for (auto const& area : GetAreas(spread))
            all = all.United(area);
        return !all.IsEmpty() && Holds(all, rect);
    }

    void JudgePixels() {
        for (auto const& [spread, before] : m_operation.before.pictures) {
            auto const& after = m_operation.after.pictures.at(spread);
            std::size_t missed = 0;
            std::string first;
            for (int y = 0; y != before.height && !m_isWhole; ++y) {
                for (int x = 0; x != before.width; ++x) {
                    auto const at = static_cast<std::size_t>(y) * static_cast<std::size_t>(before.width) +
                                    static_cast<std::size_t>(x);
                    if (before.pixels[at] == after.pixels[at])
                        continue;
                    Rect const pixel{before.area.left + x / before.scale, before.area.top + y / before.scale,
                                     before.area.left + (x + 1) / before.scale,
                                     before.area.top + (y + 1) / before.scale};
                    auto const& areas = GetAreas(spread);
                    bool const isTold = std::any_of(areas.begin(), areas.end(), [&](Rect const& area) {
                        return !Inflated(area, c_tolerance).Intersected(pixel).IsEmpty();
                    });
                    if (!isTold && missed++ == 0)
                        first = std::to_string(pixel.left) + ", " + std::to_string(pixel.top);
                }
            }
            if (missed != 0)
                Miss(Untold::Area, std::to_string(missed) + " changed pixels are not told, the first at " + first);
        }
    }

    static std::string Describe(Shown const& shown) {
        return "#" + std::to_string(shown.node->GetId()) + " " + std::string(shown.node->GetTypeName());
    }

    // Whether one of these selections names the node or what it stands in.
    bool IsNamed(Shown const& shown, std::vector<Selection const*> const& selections) const {
        return std::any_of(selections.begin(), selections.end(), [&](Selection const* selection) {
            if (selection == nullptr)
                return false;
            auto const nodes = selection->GetNodes();
            return std::any_of(nodes.begin(), nodes.end(),
                               [&](auto const& node) { return node->IsSelfOrAncestorOf(shown.node.get()); });
        });
    }

    // The same of a node's story, which is that of all frames of its chain.
    bool IsStoryNamed(Shown const& shown, std::vector<Selection const*> const& selections) const {
        auto const* const text = Kernel::CastPointer<TextNode const>(shown.node.get());
        if (text == nullptr)
            return IsNamed(shown, selections);
        auto const flow = text->GetTextFlow();
        return std::any_of(flow->begin(), flow->end(), [&](Kernel::Counted<TextNode> const& frame) {
            Shown each = shown;
            each.node = frame;
            return IsNamed(each, selections);
        });
    }

    // Whether a text shows the story of one of these nodes.
    static bool ShowsAny(Shown const& shown, std::set<Node const*> const& owners) {
        auto const* const text = Kernel::CastPointer<TextNode const>(shown.node.get());
        if (text == nullptr || owners.empty())
            return false;
        auto const flow = text->GetTextFlow();
        return std::any_of(flow->begin(), flow->end(),
                           [&](Kernel::Counted<TextNode> const& frame) { return owners.contains(frame.get()); });
    }

    void JudgeNodes() {
        bool const isStructureTold = !Pick<DocumentStructureChangedNotification>(m_told).empty();
        std::vector<Selection const*> changedNodes, changedMetadata;
        for (auto const& changed : Pick<NodesChangedNotification>(m_told))
            changedNodes.push_back(changed->GetSelection().get());
        for (auto const& changed : Pick<MetadataChangedNotification>(m_told)) {
            changedNodes.push_back(changed->GetSelection().get());
            changedMetadata.push_back(changed->GetSelection().get());
        }
        std::vector<Selection const*> changedStories;
        for (auto const& changed : Pick<StoryChangedNotification>(m_told))
            changedStories.push_back(changed->GetSelection().get());
        for (auto const& change : m_changes) {
            auto const& shown = change.Any();
            bool const isPlaced = change.CameOrWent() || change.IsMoved() || change.HasNewNeighbour();
            if (shown.isInSymbol)
                continue;
            if ((isPlaced || (shown.IsPage() && change.HasNewBox())) && !isStructureTold)
                Miss(Untold::Structure, Describe(shown) + " came, went or moved untold");
            if (change.HasNewName() && !IsNamed(shown, changedNodes))
                Refuse(Describe(shown) + " has another name untold");
            if (change.HasNewMetadata() && !IsNamed(shown, changedMetadata))
                Refuse(Describe(shown) + " has other metadata untold");
            if (change.HasNewData() && !change.IsMoved() && !m_isWhole && !IsNamed(shown, changedNodes))
                Miss(Untold::NodeData, Describe(shown) + " has other data untold");
            if (change.HasNewStory() && !IsStoryNamed(shown, changedStories))
                Miss(Untold::NodeData, Describe(shown) + " has another text untold");
            if (change.HasOtherFields() && !IsStoryNamed(shown, changedNodes) && !IsStoryNamed(shown, changedStories))
                Miss(Untold::NodeData, Describe(shown) + " has other values of fields untold");
            if (change.HasNewLink() && Pick<SymbolsChangedNotification>(m_told).empty())
                Miss(Untold::Links, Describe(shown) + " was linked or detached untold");
            if (!change.HasNewBox() && (!change.LooksOther() || change.HasOnlyNewPixels()))
                continue;
            for (auto const* at : {change.before, change.after}) {
                if (at == nullptr || !at->isDrawn)
                    continue;
                if (!IsTold(at->spread, at->bounds) || (change.HasNewBox() && !IsTold(at->spread, at->box)))
                    Miss(Untold::Area, Describe(*at) + " looks other in an area that is not told");
            }
        }
    }

    // Where something is told, something of the command's stood before or stands now.
    void JudgeExcess() {
        if (m_isWhole != m_operation.tellsWholeDocument)
            Refuse(m_isWhole ? "the whole document is told" : "the whole document is not told");
        auto const& command = m_operation.command;
        std::vector<Selection const*> const selections{
            m_operation.before.selection.get(), m_operation.after.selection.get(), command->GetSelection().get()};
        std::set<Node const*> newStories;
        for (auto const& change : m_changes) {
            if (change.HasNewStory())
                newStories.insert(change.Any().node.get());
        }
        std::map<NodeId, Rect> touched;
        for (auto const& change : m_changes) {
            bool const isTouched = change.LooksOther() || change.HasNewBox() || ShowsAny(change.Any(), newStories) ||
                                   IsStoryNamed(change.Any(), selections);
            for (auto const* at : {change.before, change.after}) {
                if (at != nullptr && isTouched)
                    touched[at->spread] =
                        touched[at->spread].United(at->bounds).United(at->IsPage() ? at->box : Rect());
            }
        }
        for (auto const& [spread, areas] : m_areas) {
            for (auto const& area : areas) {
                if (!m_operation.losesNodes && !Holds(Inflated(touched[spread], 1), area))
                    Refuse("an area is told where nothing was touched");
            }
        }
    }

    void JudgeSelection() {
        auto const& before = m_operation.before.selection;
        auto const& after = m_operation.after.selection;
        auto const told = Pick<NewSelectionNotification>(m_told);
        bool const isOther = !IsSelectionOf(before.get(), after.get());
        for (auto const& selection : told) {
            if (!IsSelectionOf(selection->GetOldSelection().get(), before.get()) ||
                !IsSelectionOf(selection->GetNewSelection().get(), after.get()))
                Refuse("the selections that are told are not those before and after");
        }
        if (!told.empty())
            return;
        if (isOther) {
            Miss(Untold::Selection, "the selection changed untold");
            return;
        }
        // Other attributes of a selected object are a reason to look where its marks stand.
        std::vector<Selection const*> withOtherAttributes;
        for (auto const& changed : Pick<NodesAttributesChangedNotification>(m_told))
            withOtherAttributes.push_back(changed->GetSelection().get());
        for (auto const& node : after ? after->GetNodes() : std::vector<Kernel::Counted<Node>>()) {
            auto const was = m_operation.before.nodes.find(node->GetId());
            auto const is = m_operation.after.nodes.find(node->GetId());
            bool const isThere = was != m_operation.before.nodes.end() && is != m_operation.after.nodes.end();
            if (isThere && was->second.bounds != is->second.bounds && !IsNamed(is->second, withOtherAttributes))
                Miss(Untold::Selection, "the marks of the selection stand elsewhere untold");
        }
    }

    void JudgeSymbols() {
        if (m_operation.before.symbols != m_operation.after.symbols && Pick<SymbolsChangedNotification>(m_told).empty())
            Refuse("the list of symbols changed untold");
    }

    template <class N>
    void RequireFor(bool changed, char const* what) {
        if (changed && Pick<N>(m_told).empty())
            Refuse(std::string(what) + " changed untold");
    }

    void JudgeSettings() {
        auto const& before = m_operation.before;
        auto const& after = m_operation.after;
        RequireFor<GuidesChangedNotification>(before.guides != after.guides, "the colour of guides");
        RequireFor<AvailableFieldsChangedNotification>(before.fieldNames != after.fieldNames ||
                                                           before.mergeSourceIds != after.mergeSourceIds,
                                                       "the fields of texts");
        RequireFor<IndexTopicsChangedNotification>(before.index != after.index, "the index");
        // Objects that come or go are told by the tree.
        bool const isTree = !Pick<DocumentStructureChangedNotification>(m_told).empty();
        RequireFor<ExportArticlesChangedNotification>(before.articles != after.articles && !isTree,
                                                      "the reading order");
        // Only commands on properties of filters tell of warnings.
        bool const tellsWarnings = !Pick<DataMergeFilterOptionsChangedNotification>(m_told).empty();
        RequireFor<DataMergeWarningsNotification>(tellsWarnings && !after.mergeWarnings.empty() &&
                                                      before.mergeWarnings != after.mergeWarnings,
                                                  "the warnings of a data merge");
        RequireFor<DataMergeNotification>(before.mergeSources != after.mergeSources, "a data merge");
        for (auto const& [id, properties] : before.artboardProperties) {
            auto const found = after.artboardProperties.find(id);
            bool const isOther = found != after.artboardProperties.end() && !SameStates(properties, found->second, {});
            RequireFor<GuidesChangedNotification>(isOther, "the margins or guides of an artboard");
        }
        RequireFor<UIColoursChangedNotification>(
            before.guides != after.guides || before.defaultGuides != after.defaultGuides, "a colour of the interface");
        RequireFor<ReflowPagesSettingChangedNotification>(before.reflows != after.reflows, "the flow of pages");
        RequireFor<ScaleOverrideSettingsChangedNotification>(
            before.scaleFlags != after.scaleFlags || before.scaleEnabled != after.scaleEnabled, "scale override");
        if (before.anchorsToSpine != after.anchorsToSpine || before.migration != after.migration ||
            before.pressureProfiles != after.pressureProfiles || before.accessibility != after.accessibility)
            Miss(Untold::Setting, "a setting changed untold");
        RequireFor<CSSFilesChangedNotification>(before.cssFiles != after.cssFiles, "the style sheets of e-books");
        RequireFor<Notifications::EPubCoverInfoChangedNotification>(before.cover != after.cover, "the cover");
        RequireFor<ExportablesChangedNotification>(before.slices != after.slices, "the export of a slice");
        RequireFor<GenerationsChangedNotification>(before.generations != after.generations, "the generated objects");
        JudgeViewPoints();
    }

    // Another kind of object is edited from now on.
    void JudgeTool() {
        auto const told = Pick<RecommendSpecificToolNotification>(m_told).size();
        bool const isOther =
            m_operation.command->GetObjectClassProperties()->GetName() == std::string_view("EditWrapShapeCommand");
        if (told != (isOther ? 1u : 0u))
            Refuse(isOther ? "no tool, or more than one, is recommended" : "a tool is recommended without a reason");
    }

    void JudgeViewPoints() {
        auto const& before = m_operation.before.viewPoints;
        auto const& after = m_operation.after.viewPoints;
        if (before == after)
            return;
        bool const isAdded = after.size() > before.size();
        auto const& longer = isAdded ? after : before;
        auto const told = Pick<ViewPointChangedNotification>(m_told);
        bool const isRight = std::any_of(told.begin(), told.end(), [&](auto const& changed) {
            return (changed->GetKind() == ViewPointChangedNotification::Added) == isAdded &&
                   std::find(longer.begin(), longer.end(), changed->GetViewPoint()) != longer.end();
        });
        if (!isRight)
            Refuse("the view point that came or went is not told");
    }

    Operation const& m_operation;
    Kernel::NotificationList const& m_told;
    std::vector<Change> m_changes;
    Judgement m_judgement;
    bool m_isWhole = false;
    std::map<NodeId, std::vector<Rect>> m_areas;
};

} // namespace

ShownDocument::ShownDocument(DocumentController& controller)
    : selection(controller.GetCurrentSelection()),
      viewPoints(controller.GetDocument()->GetViewPoints()),
      guides(controller.GetDocument()->GetGuidesFill()),
      defaultGuides(controller.GetDocumentDefaults()->GetGuidesFillDescriptor()),
      reflows(controller.GetShouldReflowPages()),
      scaleFlags(controller.GetScaleOverrideFlags(true)),
      scaleEnabled(controller.GetScaleOverrideEnabled()),
      anchorsToSpine(controller.GetPageManagementOptions()->GetShouldAnchorToSpine()),
      migration(controller.GetPageManagementOptions()->GetMasterMigrationStrategy()),
      pressureProfiles(controller.GetPressureProfiles()),
      cssFiles(controller.GetDocument()->GetCssFiles()),
      cover(controller.GetDocument()->GetEPubCoverInfo()),
      accessibility(controller.GetAccessibilityMetadata()) {
    for (auto const& spread : controller.GetDocument()->GetSpreads()) {
        if (auto const& slice = spread->GetSlicePage())
            slices.emplace_back(slice->GetExportFilename(), slice->IsIncludedInExport());
    }
    if (auto const remembered =
            CommonPropertyCollections::Find(controller, CommonPropertyCollections::tagCollectionGenerationsUID))
        generations = remembered->GetChildren(remembered->GetRootNode()).size();
    auto const& fields = controller.GetDocument()->GetCustomFieldSource();
    for (auto const& guid : fields.GetGuids())
        fieldNames[guid] = fields.GetFieldName(guid);
    auto const& topics = controller.GetDocument()->GetIndex();
    for (auto const& topic : topics) {
        index.push_back(topic->GetNameWithParents());
        index.push_back(topic->GetGUID());
        index.push_back(topic->GetSortString());
        for (auto const& related : topic->GetRelatedTo())
            index.push_back(related->GetNameWithParents());
    }
    // Those that examples set.
    for (auto const* const key : {"AfterTopic", "BetweenListItems"}) {
        for (auto const* const language : {"", "sv"}) {
            auto const* const text = topics.GetString(key, language);
            index.push_back(text == nullptr ? Kernel::String("none")
                                            : Kernel::String(Story::EncodeUtf8(text->GetText())));
        }
    }
    index.push_back(topics.GetIndexLanguage()->GetIdentifier());
    for (bool const option : {topics.GetShouldIncludeSectionHeadings(), topics.GetShouldGroupPageRanges(),
                              topics.GetShouldExpandCrossReferences()})
        index.emplace_back(option ? "on" : "off");
    ForEachNode(*controller.GetDocument(), [&](Node& node) {
        if (node.GetParent() == nullptr)
            return;
        Shown shown;
        shown.parent = node.GetParent()->GetId();
        shown.previousSibling = node.GetPreviousSibling() == nullptr ? 0 : node.GetPreviousSibling()->GetId();
        shown.list = node.GetChildListType();
        shown.name = node.GetDescription(false).ToStdString();
        shown.linkSource = node.GetLinkSource();
        shown.states = node.GetAttributes();
        if (auto const* place = Kernel::CastPointer<TransformInterface const>(&node))
            shown.matrix = place->GetMatrix();
        if (auto const* artboard = Kernel::CastPointer<ArtboardNode const>(&node))
            artboardProperties.emplace(node.GetId(), artboard->GetArtboardProperties()->GetAttributes());
        if (auto const* page = Kernel::CastPointer<PageNode const>(&node))
            shown.box = page->GetBaseBox(true);
        if (auto const* text = Kernel::CastPointer<TextNode const>(&node)) {
            for (auto const& column : *text->MakeComposedText()) {
                for (auto const& line : *column) {
                    shown.lines.push_back(line.GetOrigin());
                    for (std::uint32_t i = 0; i != line.GetSize(); ++i)
                        shown.characters += line.GetCharacter(i);
                }
            }
        }
        shown.node = Kernel::Counted<Node>(&node);
        for (Node const* up = &node; up->GetParent() != nullptr; up = up->GetParent()) {
            auto const list = up->GetChildListType();
            shown.isInSymbol = shown.isInSymbol || list == NodeChildListType::Symbols;
            bool const isDrawnByParent = list == NodeChildListType::Plain && up->GetParent()->DrawsChildren();
            shown.isDrawn = shown.isDrawn && (isDrawnByParent || shown.IsPage());
        }
        // Nodes of symbols are on no spread.
        if (auto const* spread = node.GetSpread(); spread != nullptr && spread != &node) {
            shown.spread = spread->GetId();
            shown.bounds = node.GetBounds(true);
            // An artboard shows of its content what lies in its box.
            for (Node const* up = node.GetParent(); up != nullptr; up = up->GetParent()) {
                auto const* const artboard = Kernel::CastPointer<ArtboardNode const>(up);
                if (artboard != nullptr && artboard->IsArtboardEnabled())
                    shown.bounds = shown.bounds.Intersected(up->GetOwnBounds(up->GetBaseToSpreadTransform(), true));
            }
        }
        nodes.emplace(node.GetId(), std::move(shown));
    });
    for (auto const& spread : controller.GetDocument()->GetSpreads())
        pictures.emplace(spread->GetId(), Paint(*spread, Inflated({0, 0, 793.700787, 1122.519685}, c_margin)));
    articles = DescribeReadingOrder(controller);
    mergeSources = DescribeMergeSources(*controller.GetDocument());
    for (auto const& source : std::as_const(*controller.GetDocument()).GetDataMergeSettings()) {
        mergeSourceIds.push_back(source->GetGuid());
        auto const warnings = source->GetWarnings();
        for (std::size_t i = 0; warnings && i != warnings->GetWarnings().size(); ++i)
            mergeWarnings.push_back(warnings->GetWarnings()[i].text);
    }
    for (int i = 0; i != controller.GetSymbolCount(); ++i)
        symbols.push_back(controller.GetSymbolAtIndex(i)->GetId());
}

Judgement JudgeNotifications(Operation const& operation, Kernel::NotificationList const& told) {
    return Judge(operation, told).Run();
}
