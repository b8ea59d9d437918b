// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/custom_field_source.h"
#include "platform/document/export_tagging.h"
#include "platform/document/node.h"
#include "platform/document/view_point_data.h"
#include "platform/story/style_sheet.h"

#include <map>
#include <memory>
#include <mutex>

// A node with a place and an appearance on a spread.
class REDRAFT_ENGINE SceneNode : public Node,
                                 public TransformInterface,
                                 public VisibilityInterface,
                                 public EditabilityInterface,
                                 public TransparencyInterface,
                                 public BlendModeInterface,
                                 public FilterEffectsInterface,
                                 public TextWrapInterface,
                                 public HyperlinkInterface,
                                 public DataMergeInterface,
                                 public ExportTaggingInterface {
public:
    Raster::AffineTransform::Params GetBaseToSpreadTransform() const override;
    bool IsContent() const override { return IsVisible() && !GetOwnerReference(); }
    // True when the node and all above it are visible.
    bool IsVisibleWithAncestors() const;
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    Raster::AffineTransform::Params GetParentToSpreadTransform() const override;
    void CopyMembersFrom(Node const& other) override;
};

// A node that is only what its children are: commands that work on shapes look inside.
class REDRAFT_ENGINE LogicalNode : public SceneNode {
public:
    bool IsVisibleInDomain() const;
};

class REDRAFT_ENGINE GroupNode : public LogicalNode {
public:
    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
};

// The word of transform constraints: c_transformConstraintBits bits for the horizontal axis and, above them, as many
// for the vertical one. When the box that an object stands in changes, what may give along an axis shares the change in
// proportion to its length: the distances to the box's edges and the object's own size. With the neutral word
// everything may, so that the object is scaled together with its box.
enum TransformConstraint : unsigned {
    // The distance to the left or top edge stays as it is.
    c_nearDistanceStays = 1,
    // The size may change. Where nothing else may, it does without this bit too.
    c_sizeFollows = 2,
    // The distance to the right or bottom edge stays as it is.
    c_farDistanceStays = 4
};
inline constexpr unsigned c_transformConstraintBits = 3;
static_assert(c_neutralTransformConstraints == (c_sizeFollows | c_sizeFollows << c_transformConstraintBits));

// A group with a box of its own. When the box changes, its members follow by their transform constraints. No transform
// of the group or of a member has anything to do with them.
class REDRAFT_ENGINE ConstraintsGroupNode : public GroupNode, public BaseBoxInterface {
public:
    // In the group's own space. Until a box has been set it is around the outlines of the members.
    Kernel::RectT<double> GetBaseBox(bool includeBleed) const override;
    // Members that are turned are stretched along the box's axes.
    void SetBaseBox(Kernel::RectT<double> box);

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

protected:
    void CopyMembersFrom(Node const& other) override;

private:
    // Empty until one has been set.
    Kernel::RectT<double> m_box;
};

// A box whose content is kept up to date from elsewhere. The content is held apart from the child lists.
class REDRAFT_ENGINE CloudSyncedNode : public LogicalNode {
public:
    ~CloudSyncedNode() override;
    Kernel::JailCounted<Node> GetBoxContents() const { return m_boxContents; }
    // Throws Kernel::Exception when the contents hold this box or are another's already.
    void SetBoxContents(Kernel::JailCounted<Node> contents);

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::RectT<double> GetOwnBounds(Raster::AffineTransform::Params const& toSpread,
                                       bool includeLines) const override;

protected:
    void CopyMembersFrom(Node const& other) override;

private:
    // False, with nothing changed, when the contents cannot be this box's.
    bool Contain(Kernel::JailCounted<Node> contents);

    Kernel::JailCounted<Node> m_boxContents;
};

// A node with an outline, a fill and a line.
class REDRAFT_ENGINE CurvesNode : public SceneNode,
                                  public BrushFillInterface,
                                  public LineStyleInterface,
                                  public DrawOrderInterface,
                                  public ContourInterface,
                                  public ConstCurvesInterface {
public:
    TransformedCurveList GetConstPolyPolyCurves() const override;
    Raster::AffineTransform::Params GetCurvesToDomainTransform() const override;
    bool IsVisibleInDomain() const override;

    Kernel::RectT<double> GetOwnBounds(Raster::AffineTransform::Params const& toSpread,
                                       bool includeLines) const override;
};

// A shape whose curves are computed from its parameters.
class REDRAFT_ENGINE ShapeNode final : public CurvesNode, public ShapeInterface, public GeometryModifierInterface {
public:
    ShapeNode() = default;
    explicit ShapeNode(Kernel::Counted<ShapeDefinition const> definition);

    TransformedCurveList GetConstPolyPolyCurves() const override;
    Raster::AffineTransform::Params GetCurvesToDomainTransform() const override { return {}; }
    Geometry::WindingOrderMode GetWindingOrderMode() const override { return Geometry::WindingOrderMode::NonZero; }
    Kernel::Counted<Geometry::PolyCurveDbl const> GetOutline() const override;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

protected:
    Kernel::String GetDefaultDescription() const override;
};

// How outlines make one: the area of all of them, of the first without the others, of all in common, or of those points
// that an odd number of them cover.
enum class CompoundOperation : std::uint32_t { Add = 0, Subtract = 1, Intersect = 2, Xor = 3 };

class REDRAFT_ENGINE CompoundOperationInterface : public virtual AttributeOwner {
public:
    virtual CompoundOperation GetCompoundOperation() const = 0;
    virtual void SetCompoundOperation(CompoundOperation operation) = 0;
};

// A curve node with curves of its own. One that took a compound's place keeps its operation, and has no use for it.
class REDRAFT_ENGINE PolyCurveNode final : public CurvesNode,
                                           public MutableCurvesInterface,
                                           public CompoundOperationInterface {
public:
    PolyCurveNode() = default;
    CompoundOperation GetCompoundOperation() const override { return m_operation; }
    void SetCompoundOperation(CompoundOperation operation) override;
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Geometry::WindingOrderMode GetWindingOrderMode() const override { return GetState<CurvesState>().windingOrderMode; }
    Kernel::Counted<Geometry::PolyCurveDbl const> GetOutline() const override { return GetCurves(); }

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

protected:
    void CopyMembersFrom(Node const& other) override;

private:
    CompoundOperation m_operation = CompoundOperation::Add;
};

// One outline made of those of its children by its operation; they keep their own shapes. Its fill and line paint the
// whole. Children that are no areas take no part.
class REDRAFT_ENGINE CompoundCurveNode final : public CurvesNode, public CompoundOperationInterface {
public:
    CompoundCurveNode() = default;
    Geometry::WindingOrderMode GetWindingOrderMode() const override { return m_windingOrderMode; }
    void SetWindingOrderMode(Geometry::WindingOrderMode mode);
    TransformedCurveList GetConstPolyPolyCurves() const override;
    Raster::AffineTransform::Params GetCurvesToDomainTransform() const override { return {}; }
    // In this node's space; made anew when a child's outline is another one than the last time.
    Kernel::Counted<Geometry::PolyCurveDbl const> GetOutline() const override;
    CompoundOperation GetCompoundOperation() const override { return m_operation; }
    void SetCompoundOperation(CompoundOperation operation) override;
    bool DrawsChildren() const override { return false; }
    // Children are parts of the outline, which pieces and members of other groups are not.
    bool HasSpecialisedChildren() const override { return true; }

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    void CopyMembersFrom(Node const& other) override;

private:
    struct MadeOutline;
    CompoundOperation m_operation = CompoundOperation::Add;
    Geometry::WindingOrderMode m_windingOrderMode = Geometry::WindingOrderMode::Alternating;
    mutable std::mutex m_outlineMutex;
    mutable std::shared_ptr<MadeOutline const> m_madeOutline;
};

// Pixels that can be painted on. One pixel is one unit of node space.
class REDRAFT_ENGINE RasterNode final : public SceneNode, public MutableRasterInterface {
public:
    RasterNode() = default;
    Raster::AffineTransform::Params GetRasterToDomainTransform() const override { return GetBaseToSpreadTransform(); }

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

    Kernel::RectT<double> GetOwnBounds(Raster::AffineTransform::Params const& toSpread,
                                       bool includeLines) const override;
};

// A picture that is placed and not painted on: a rectangle in node space, filled with the picture.
class REDRAFT_ENGINE ImageNode final : public CurvesNode, public ImageResourceInterface, public PictureFrameInterface {
public:
    ImageNode() = default;
    Geometry::WindingOrderMode GetWindingOrderMode() const override { return Geometry::WindingOrderMode::NonZero; }
    TransformedCurveList GetConstPolyPolyCurves() const override;
    Raster::AffineTransform::Params GetCurvesToDomainTransform() const override { return {}; }
    // The picture's rectangle, one pixel a unit.
    Kernel::Counted<Geometry::PolyCurveDbl const> GetOutline() const override;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
};

// A page on a spread.
class REDRAFT_ENGINE PageNode final : public Node, public BaseBoxInterface {
public:
    PageNode() = default;
    explicit PageNode(Kernel::RectT<double> box) : m_box(box) {}
    Kernel::RectT<double> GetBaseBox(bool includeBleed) const override;
    void SetBaseBox(Kernel::RectT<double> box);
    bool IsContent() const override { return false; }

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    void CopyMembersFrom(Node const& other) override;

private:
    Kernel::RectT<double> m_box;
};

class ArtboardInterface;
class DataMergeSource;
class EPubCoverInfo;
class SlicePage;
namespace EPub {
class CSSFile;
}

// A spread: pages side by side, in list Pages, and what is drawn on them, in list Plain. Its space is the domain.
class REDRAFT_ENGINE SpreadNode final : public Node, public BaseBoxInterface {
public:
    SpreadNode();
    explicit SpreadNode(Kernel::RectT<double> box);
    ~SpreadNode() override;
    Kernel::RectT<double> GetBaseBox(bool includeBleed) const override;
    void SetBaseBox(Kernel::RectT<double> box);
    void AddPage(Kernel::Counted<PageNode> page);
    // The page that the middle of a box in spread space is on, from 0; where it is on none, the one nearest to it. 0
    // for a spread without pages.
    int GetPageIndexOfBox(Kernel::RectT<double> const& box) const;
    // The number of pages on the spreads in front of this one; 0 outside of documents.
    int GetFirstPageIndex() const;
    // The enabled artboards among the plain children, in their order; empty beyond their number.
    Kernel::Counted<ArtboardInterface> GetArtboardAtIndex(int index) const;
    // The slice that is the whole spread; see platform/document/slice_page.h. A new spread has one.
    Kernel::Counted<SlicePage> const& GetSlicePage() const { return m_slicePage; }
    // Null for none. A slice belongs to one spread.
    void SetSlicePage(Kernel::Counted<SlicePage> slice);

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    void CopyMembersFrom(Node const& other) override;

private:
    void Own(Kernel::Counted<SlicePage> slice);

    Kernel::RectT<double> m_box;
    Kernel::Counted<SlicePage> m_slicePage;
};

// The root of a symbol: what its instances show. Symbols stand in list Symbols of the document node.
class REDRAFT_ENGINE SymbolNode final : public GroupNode {
public:
    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
};

// A new linked instance of a symbol, outside the tree: a group that shows what the symbol shows.
REDRAFT_ENGINE Kernel::Counted<GroupNode> MakeSymbolInstance(SymbolNode& symbol);

class DocumentPropertyCollection;
class ExportArticle;
class IndexPreview;
class StoredProfiles;

namespace Story {
class Index;
}

// The root of the tree, with what belongs to the document as a whole.
class REDRAFT_ENGINE DocumentNode final : public Node {
public:
    DocumentNode();
    ~DocumentNode() override;

    Raster::Format GetFormat() const { return m_format; }
    void SetFormat(Raster::Format format);
    // The profiles of the document's colours. Read from the document's store when they are first asked for:
    // DamagedDataException when that cannot give them.
    Raster::ICCProfileSet GetProfiles() const;
    void SetProfiles(Raster::ICCProfileSet const& profiles);

    // Empty: the built-in colour.
    Kernel::Counted<Renderer::FillDescriptor const> GetGuidesFill() const { return m_guidesFill; }
    void SetGuidesFill(Kernel::Counted<Renderer::FillDescriptor const> fill);
    std::vector<ViewPointData> GetViewPoints() const { return m_viewPoints; }
    void SetViewPoints(std::vector<ViewPointData> viewPoints);

    // The styles of the document's texts; never null.
    Kernel::Counted<Story::StyleSheet const> GetTextStyleSheet() const;
    void SetTextStyleSheet(Kernel::Counted<Story::StyleSheet const> styles);

    // The names that captions can count by, beside those of the program; in the order of their bytes. Adding a name
    // that is there, or removing one that is not, changes nothing.
    std::vector<Kernel::String> const& GetCustomCaptionCounterTypes() const { return m_captionCounterTypes; }
    void AddCustomCaptionCounterType(Kernel::String const& name);
    void RemoveCustomCaptionCounterType(Kernel::String const& name);

    // The fields that texts of the document can show.
    CustomFieldSource& GetCustomFieldSource() { return m_customFields; }
    CustomFieldSource const& GetCustomFieldSource() const { return m_customFields; }

    // The topics of the document's index; see platform/story/story_index.h.
    Story::Index& GetIndex() const { return *m_index; }
    // The marks in the document's texts; see platform/document/index_preview.h. `visibleOnly`: without those in hidden
    // texts. `withPages`: with the pages on which they stand, for which texts are composed. `renew`: found now; without
    // any of the three the preview that was made or set last will do, as long as no text has changed.
    Kernel::Counted<IndexPreview const> GetIndexMarks(bool visibleOnly, bool withPages, bool renew) const;
    // Null drops the preview.
    void SetIndexMarkPreview(Kernel::Counted<IndexPreview> preview);

    // The articles of the reading order by their numbers; see platform/document/export_article.h. Numbers below 0 are
    // for articles that have no place in the order. An article has one number: given two, it keeps the lower one.
    using Articles = std::map<int, Kernel::Counted<ExportArticle>>;
    Articles const& GetArticles() const { return m_articles; }
    // Null when there is none.
    Kernel::Counted<ExportArticle> GetArticle(int number) const;
    // Null takes the number out of the map. Whoever changes numbers calls DocumentController::UpdateExportArticles.
    void SetArticle(int number, Kernel::Counted<ExportArticle> article);
    // Numbers without an article are left out.
    void SetArticles(Articles articles);
    // The style sheets of the document's e-books, in their order; see platform/epub/css_file.h.
    std::vector<Kernel::Counted<EPub::CSSFile const>> const& GetCssFiles() const { return m_cssFiles; }
    // In front of the file that stands at `index`; -1, or any number beyond the list: behind all.
    void AddCssFile(Kernel::Counted<EPub::CSSFile const> file, int index);
    // The first entry that is this object, if there is one.
    void RemoveCssFile(Kernel::Counted<EPub::CSSFile const> const& file);
    // Throws Kernel::Exception where there is no such entry.
    void RemoveCssFile(int index);
    // Null: no cover was set.
    Kernel::Counted<EPubCoverInfo const> const& GetEPubCoverInfo() const { return m_ePubCover; }
    void SetEPubCoverInfo(Kernel::Counted<EPubCoverInfo const> info);
    // The sources of records that fields of the document show; see platform/document/data_merge_source.h. The list that
    // may be changed counts as changed, and is put back when the step fails.
    std::vector<Kernel::JailCounted<DataMergeSource>> const& GetDataMergeSettings() const { return m_mergeSources; }
    std::vector<Kernel::JailCounted<DataMergeSource>>& GetDataMergeSettings();

    // See platform/document/common_property_collections.h. Null when there is none of the name.
    Kernel::Counted<DocumentPropertyCollection> FindPropertyCollection(Kernel::IDTag uid) const;
    void AddPropertyCollection(Kernel::Counted<DocumentPropertyCollection> collection);

    // The node of an id, also one that is out of the tree at present but kept by history; empty when there is none.
    Kernel::Counted<Node> FindNode(NodeId id) const;
    std::vector<Kernel::Counted<SpreadNode>> GetSpreads() const;
    // Of all spreads.
    int GetPageCount() const;
    // The number of a page, counted from 0 through all spreads, as the document shows it.
    Kernel::String GetFormattedPageNumber(unsigned pageIndex) const;

    // Gives ids to a node that enters, and to all below it that have none.
    void AdoptIds(Node& top);
    // Throws Kernel::DamagedDataException, in one line, when the tree breaks its own rules.
    void CheckInvariants() const;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    Raster::Format m_format{};
    // Null: the defaults.
    std::shared_ptr<StoredProfiles const> m_profiles;
    Kernel::Counted<Renderer::FillDescriptor const> m_guidesFill;
    std::vector<ViewPointData> m_viewPoints;
    // Null: without styles.
    Kernel::Counted<Story::StyleSheet const> m_textStyles;
    std::vector<Kernel::String> m_captionCounterTypes;
    CustomFieldSource m_customFields{*this};
    void PutArticles(Articles articles) noexcept;

    Articles m_articles;
    struct IndexMarkCache;
    std::unique_ptr<Story::Index> m_index;
    std::unique_ptr<IndexMarkCache> m_indexMarks;
    std::vector<Kernel::Counted<EPub::CSSFile const>> m_cssFiles;
    Kernel::Counted<EPubCoverInfo const> m_ePubCover;
    std::vector<Kernel::JailCounted<DataMergeSource>> m_mergeSources;
    std::vector<Kernel::Counted<DocumentPropertyCollection>> m_propertyCollections;
    NodeId m_nextId = 1;
};
