// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/document/selection.h"
#include "platform/document/spread_rects.h"
#include "platform/story/composition.h"
#include "platform/story/story_selection.h"

#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <unordered_set>

class CaptionInfo;
class TextFlow;

// A node that shows text.
//
// Texts are values: GetMutableStory puts a copy of the story in its place and hands it out to be edited; who edits it
// calls OnStoryChange afterwards. Undo keeps the story that was there before.
class REDRAFT_ENGINE TextNode : public SceneNode,
                                public BrushFillInterface,
                                public LineStyleInterface,
                                public DrawOrderInterface,
                                public ContourInterface,
                                public StoryInterface {
public:
    ~TextNode() override;
    // The story that the node shows, whole also where the node shows a part of it. Never null.
    virtual Kernel::Counted<Story::Story const> GetStory() const = 0;
    virtual void SetStory(Kernel::Counted<Story::Story const> story) = 0;
    // `markChanged` false: for edits that are taken back before anyone looks.
    Kernel::Counted<Story::Story> GetMutableStory(bool markChanged);
    void SetText(Story::GlyphString const& text, Story::GlyphAttsRef const& glyphAtts,
                 Story::ParagraphAttsRef const& paragraphAtts);
    // To be called around an edit of the mutable story, with `changed` false before it and true after it. What the edit
    // did not reach stays composed. The result, which may be null, comes to hold where texts lie or read otherwise than
    // at the first call.
    void OnStoryChange(ChangeResult* result, bool changed, Story::StoryChange const& change, bool notify);
    // Adds where the story shows, as far as it has been composed: from the node on that shows the first place of the
    // change.
    void GetStoryInvalidationBox(SpreadRects& areas, Story::StoryChange const& change) const;
    // The node whose state holds the story: the head of a chain, else the node itself.
    virtual TextNode& GetStoryOwner() { return *this; }
    // A node that stands in no tree is composed with the styles and fields of this document. Null: with none. In a tree
    // it makes no difference.
    void SetDocumentForComposition(DocumentNode const* document);

    // Two calls around a change of where the node stands, or of its size: `after` false before it, true after it. The
    // first one takes down where the node shows and how texts lie that run round it, the second one adds to `result`
    // where the node shows now, and the texts that lie otherwise. `geometry`: the outline changes, and not the look
    // alone. `recompose`: texts are composed again at once. The result may be null.
    void OnTransformChange(ChangeResult* result, bool after, bool geometry, bool recompose);
    // Adds where the node shows; without `lines`, what its lines cover beyond its outline is left out. Nothing for a
    // node outside the tree.
    void GetTransformInvalidationBox(SpreadRects& areas, bool lines) const;

    // The composition of the whole story, at least up to the end that the conditions name.
    Kernel::Counted<Story::ComposedStory> MakeComposedStory(Story::CompositionEndConditions const& conditions) const;
    // The part of the story that the node shows, as composed now; `withStoryEnd`: with the story's own last separator.
    // An empty span at the place where the text goes on for a node that shows none.
    Story::Selection GetContainedText(bool withStoryEnd) const;
    // The spread that the node stands on; null outside of spreads.
    Kernel::JailCounted<SpreadNode> GetSpreadNode() const { return Kernel::JailCounted<SpreadNode>(GetSpread()); }
    // Composes what the node shows, so that the next one who asks need not wait.
    void EnsureTextComposed() const { static_cast<void>(MakeComposedText()); }
    // The composition of the whole story, as far as somebody has asked for it.
    Kernel::Counted<Story::ComposedStory> GetComposition() const;
    // The node's text, as composed now. Never null.
    Story::ComposedFramePtr MakeComposedText() const;
    // All nodes that show the story, in its order.
    Kernel::Counted<TextFlow> GetTextFlow() const;
    Kernel::Counted<Story::StyleSheet const> GetTextStyleSheet() const;
    // The document that the text is composed with; null for none.
    Kernel::Counted<DocumentNode const> GetDocumentForComposition() const;

protected:
    TextNode();
    void OnStateChanged(InterfaceId id) override;
    // The nodes that show the story, with the places where they show it.
    virtual Kernel::Counted<TextFlow> MakeTextFlow() const = 0;
    // Whether most of the story is read from right to left; kept until the story or the styles change.
    bool IsReadRightToLeft() const;
    // Everything that was found out about the nodes that show this node's story is found out anew.
    void ForgetTextFlow() const;

    struct Cache;
    Cache& GetCache() const { return *m_cache; }

private:
    void NoteStoryChange() const;

    std::unique_ptr<Cache> m_cache;
};

// Text in a frame, alone or in a chain: what has no place in one frame goes on in the next.
class REDRAFT_ENGINE FrameTextNode final : public TextNode, public TextFrameInterface, public BaselineGridInterface {
public:
    FrameTextNode();
    // A new empty frame. `rect` is in node space.
    explicit FrameTextNode(Kernel::RectT<double> const& rect);
    ~FrameTextNode() override;

    Kernel::RectT<double> GetFrameRect() const { return GetState<TextFrameState>().rect; }
    void SetFrameRect(Kernel::RectT<double> const& rect);
    // Lets the frame follow the chain that `before` is the last frame of. The frame's own story is let go. Throws
    // Kernel::Exception for a frame that has followers, or for itself.
    void LinkBehind(FrameTextNode& before);
    // The same for many: each follows the one before it, the first one keeps its story. In time that grows with their
    // number. Throws Kernel::Exception, before any is linked, when one of them has followers or a master.
    static void LinkAll(std::span<Kernel::Counted<FrameTextNode> const> frames);
    // Ends the link: the frame is its own master again, with an empty story.
    void Unlink();

    Kernel::Counted<TextFrameInterface> GetMaster() const override;
    std::vector<Kernel::Counted<TextFrameInterface>> GetSlaves() const override;
    Kernel::Counted<Story::ComposedFrame const> MakeComposedFrame() const override { return MakeComposedText(); }
    using TextNode::MakeComposedStory;
    Kernel::Counted<Story::ComposedStory> MakeComposedStory() const override { return GetComposition(); }
    std::size_t GetTextFlowIndex() const override;
    Kernel::Counted<Geometry::PolyCurveDbl const> GetTextFrameAsCurves() const override;
    // How text is scaled on its way from text space to node space; a plain scale of both axes.
    Raster::AffineTransform::Params GetTextRenderScale() const;
    Raster::AffineTransform::Params GetTextUiScale() const { return GetTextRenderScale(); }

    Kernel::Counted<Story::Frame> GetMutableStoryFrameI() override;

    // The description of the caption that the frame is; null for other frames. Set before the frame enters a document.
    Kernel::Counted<CaptionInfo const> GetCaptionInfo() const;
    void SetCaptionInfo(Kernel::Counted<CaptionInfo const> info);

    Kernel::Counted<Story::Story const> GetStory() const override;
    void SetStory(Kernel::Counted<Story::Story const> story) override;
    TextNode& GetStoryOwner() override { return GetHead(); }
    ExportTaggingInterface& GetExportTaggingOwner() override { return GetHead(); }
    // The outline of the frame; the text may hang over it.
    Kernel::RectT<double> GetOwnBounds(Raster::AffineTransform::Params const& toSpread,
                                       bool includeLines) const override;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    void OnStateChanged(InterfaceId id) override;
    // A copy is a frame of its own, with the text that the original shows.
    void CopyMembersFrom(Node const& other) override;
    Kernel::String GetDefaultDescription() const override { return "Frame Text"; }
    Kernel::Counted<TextFlow> MakeTextFlow() const override;

private:
    FrameTextNode const& GetHead() const;
    FrameTextNode& GetHead();
    // The frames of the chain that stand in the same tree as this one, in order.
    std::vector<FrameTextNode*> GetChain() const;
    // `isRightToLeft`: the first column is the one on the right, or at the bottom where lines run from top to bottom.
    Story::FrameGeometry MakeGeometry(bool isRightToLeft, Story::WritingMode mode) const;
    void Follow(FrameTextNode& head, int flowIndex);
    void UpdateRegistration();

    // The head that this frame is registered with, and the frames that are registered here. Frames that stand in no
    // tree may end on any thread: the list is guarded.
    FrameTextNode* m_registeredAt = nullptr;
    std::unordered_set<FrameTextNode*> m_followers;
    Kernel::Counted<CaptionInfo const> m_captionInfo;
};

// Text that flows in no frame: lines end where the text says so.
class REDRAFT_ENGINE ArtTextNode final : public TextNode {
public:
    ArtTextNode();
    // `origin` is where the first baseline begins, is centred or ends, in node space.
    ArtTextNode(Kernel::Counted<Story::Story> story, Kernel::PointT<double> origin);
    ~ArtTextNode() override;

    Kernel::PointT<double> GetOrigin() const { return m_origin; }

    Kernel::Counted<Story::Story const> GetStory() const override;
    void SetStory(Kernel::Counted<Story::Story const> story) override;
    // Of the lines, by their ascents, descents and advances.
    Kernel::RectT<double> GetOwnBounds(Raster::AffineTransform::Params const& toSpread,
                                       bool includeLines) const override;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    void CopyMembersFrom(Node const& other) override;
    Kernel::String GetDefaultDescription() const override { return "Art Text"; }
    Kernel::Counted<TextFlow> MakeTextFlow() const override;

private:
    Kernel::PointT<double> m_origin;
};

// The nodes that show one story, in its order, as they stood when it was made. It lasts until one of them comes, goes
// or changes. It keeps no node alive.
class REDRAFT_ENGINE TextFlow final : public virtual Kernel::Countable {
public:
    class const_iterator {
    public:
        using value_type = Kernel::Counted<TextNode>;
        using reference = value_type;
        using pointer = void;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::input_iterator_tag;
        const_iterator(TextFlow const& flow, std::size_t index) : m_flow(&flow), m_index(index) {}
        reference operator*() const { return m_flow->GetNodeAt(m_index); }
        const_iterator& operator++() {
            ++m_index;
            return *this;
        }
        const_iterator operator++(int) { return {*m_flow, m_index++}; }
        friend bool operator==(const_iterator const&, const_iterator const&) = default;

    private:
        TextFlow const* m_flow;
        std::size_t m_index;
    };

    struct Places {
        // One for each node.
        std::vector<Story::FrameGeometry> geometries;
        // Whether the columns of a frame stand from right to left, where any frame has several.
        std::optional<bool> isRightToLeft;
        // Of the story that they are for.
        Story::WritingMode writingMode = Story::WritingMode::Horizontal;
    };
    TextFlow(std::vector<TextNode*> const& nodes, Places places);
    ~TextFlow() override;
    const_iterator begin() const { return {*this, 0}; }
    const_iterator end() const { return {*this, size()}; }
    // Never 0.
    std::size_t size() const { return m_nodes.size(); }
    // Empty for a node that has gone since.
    Kernel::Counted<TextNode> GetNodeAt(std::size_t index) const { return m_nodes[index].Lock(); }
    Kernel::Counted<TextNode> GetFirst() const { return GetNodeAt(0); }
    // The node's number; size() for one that is not here.
    std::size_t GetIndex(TextNode const& node) const;
    Kernel::Counted<Story::Story const> GetStory() const { return GetFirst()->GetStory(); }
    // The place of the whole text in the reading order, which its owner keeps.
    Kernel::Counted<ExportTaggingInterface> GetExportTagging() const;
    // The node that shows a position, and its number; empty when it has no place in any. Composes as far as it must.
    Kernel::Counted<TextNode> GetNode(Story::StoryPos const& position) const;
    std::optional<std::size_t> FindNode(std::uint32_t position) const;
    // Adds each range of a selection of the story, at the node that shows its begin, or else at the first one. To be
    // called before the story is edited, or after it: in between, each call would compose anew.
    void AddToSelection(Kernel::Counted<MutableSelection> const& selection, Story::Selection const& ranges) const;

private:
    friend class TextNode;
    // It holds as long as these stay.
    struct Key {
        std::uint64_t epoch = 0, version = 0;
        DocumentNode const* document = nullptr;
        friend bool operator==(Key const&, Key const&) = default;
    };

    std::vector<Kernel::Weak<TextNode>> m_nodes;
    std::unordered_map<TextNode const*, std::size_t> m_indices;
    Places m_places;
    Key m_key;
};

// The part of an object that is selected.
class REDRAFT_ENGINE SubSelectable : public Kernel::Serialisable {};

// Spans of a text.
class REDRAFT_ENGINE TextSelection final : public SubSelectable {
public:
    TextSelection() = default;
    TextSelection(int anchor, int end) : m_ranges{{anchor, end}} {}
    explicit TextSelection(Story::StoryRange const& range)
        : TextSelection(static_cast<int>(range.begin), static_cast<int>(range.end)) {}
    explicit TextSelection(std::vector<Story::SelectionRange> ranges) : m_ranges(std::move(ranges)) {}
    std::vector<Story::SelectionRange> const& GetRanges() const { return m_ranges; }

    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<TextSelection>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    std::vector<Story::SelectionRange> m_ranges;
};

// A selected object with what of it is selected.
class REDRAFT_ENGINE SubSelectionItem final : public SelectionItem {
public:
    SubSelectionItem() = default;
    SubSelectionItem(Kernel::Counted<Selectable> selectable, Kernel::Counted<SubSelectable const> part)
        : SelectionItem(std::move(selectable)), m_part(std::move(part)) {}
    Kernel::Counted<SubSelectable const> const& GetSubSelection() const { return m_part; }
    // Only of an item that is in no selection yet.
    void SetSubSelection(Kernel::Counted<SubSelectable const> part) { m_part = std::move(part); }
    bool IsWholeObject() const override { return !m_part; }
    Story::Selection MakeStorySelection(bool wholeObjects) const override;

    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<SubSelectionItem>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    Kernel::Counted<SubSelectable const> m_part;
};

// Whether two selections name the same objects, and of texts the same spans. Either may be null.
REDRAFT_ENGINE bool NameTheSame(Selection const* a, Selection const* b);
