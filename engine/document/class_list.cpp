// SPDX-License-Identifier: Apache-2.0
// Every persisted class of the document model, with its tag. Tags and versions are the stored format's key.

#include "engine/document/catalogues/document_property_collection.h"
#include "platform/document/add_child_nodes_command.h"
#include "platform/document/alter_toc_command.h"
#include "platform/document/artboard.h"
#include "platform/document/caption_info.h"
#include "platform/document/change_text_wrap_command.h"
#include "platform/document/compound_command.h"
#include "platform/document/data_merge_filters.h"
#include "platform/document/data_merge_source.h"
#include "platform/document/detach_symbol_command.h"
#include "platform/document/document_controller.h"
#include "platform/document/epub_cover_info.h"
#include "platform/document/export_article.h"
#include "platform/document/exportable_commands.h"
#include "platform/document/generated_image_node.h"
#include "platform/document/generations_property.h"
#include "platform/document/index_commands.h"
#include "platform/document/line_commands.h"
#include "platform/document/mask_node.h"
#include "platform/document/pinned_node.h"
#include "platform/document/place_merge_fields_command.h"
#include "platform/document/raster_command.h"
#include "platform/document/reflow_pages_command.h"
#include "platform/document/selection_command_proxy_state_manager.h"
#include "platform/document/selection_commands.h"
#include "platform/document/set_chosen_generation_command.h"
#include "platform/document/set_data_merge_preview_command.h"
#include "platform/document/slice_page.h"
#include "platform/document/text_commands.h"
#include "platform/document/text_nodes.h"
#include "platform/document/text_style_command.h"
#include "platform/document/transform_command.h"
#include "platform/document/update_cross_references_command.h"
#include "platform/document/update_index_command.h"
#include "platform/document/vectorise_object_command.h"
#include "platform/epub/accessibility_metadata.h"
#include "platform/epub/css_file.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/hashed_by_content.h"
#include "platform/kernel/type_name.h"

#include <optional>

namespace {

// Properties are made when they are first asked for, so that a base's exist before those of a derived class in every
// kind of build.
template <class T>
Kernel::ClassProperties const* Register(Kernel::ClassUID tag, Kernel::ClassProperties const* base = nullptr) {
    struct Entry {
        Entry(Kernel::ClassUID uid, Kernel::ClassProperties const* parent)
            : properties(uid, MakeFactory(), 1, nullptr, parent, Kernel::TypeName<T>().data()), init(&properties) {
            // States are shared by the nodes and the snapshots that have them.
            if constexpr (std::is_base_of_v<InterfaceState, T> || std::is_same_v<T, DrawingScale>)
                value.emplace(&properties);
        }
        static Kernel::ClassProperties::Factory MakeFactory() {
            if constexpr (requires { T::CreateObject(); })
                return &T::CreateObject;
            else
                return nullptr;
        }
        Kernel::ClassProperties properties;
        Kernel::ClassPropertiesBase::Init init;
        std::optional<Kernel::HashedByContent> value;
    };
    static Entry const s_entry(tag, base);
    return &s_entry.properties;
}

} // namespace

using Properties = Kernel::ClassProperties const*;

// clang-format off
Properties DocumentCommand::GetTypeClassProperties()       { return Register<DocumentCommand>("DcCm"); }
Properties CompoundCommand::GetTypeClassProperties()       { return Register<CompoundCommand>("CmpC", DocumentCommand::GetTypeClassProperties()); }
Properties SelectionCommandBase::GetTypeClassProperties()  { return Register<SelectionCommandBase>("SlCB", DocumentCommand::GetTypeClassProperties()); }
Properties RasterCommand::GetTypeClassProperties()         { return Register<RasterCommand>("RstC", SelectionCommandBase::GetTypeClassProperties()); }
Properties DetachSymbolCommand::GetTypeClassProperties()   { return Register<DetachSymbolCommand>("DtSy", DocumentCommand::GetTypeClassProperties()); }
Properties ReflowPagesCommand::GetTypeClassProperties()    { return Register<ReflowPagesCommand>("RflP", DocumentCommand::GetTypeClassProperties()); }
Properties SetLineStyleCommand::GetTypeClassProperties() { return Register<SetLineStyleCommand>("SLnS", SelectionCommandBase::GetTypeClassProperties()); }
Properties SetLineAlignmentCommand::GetTypeClassProperties() { return Register<SetLineAlignmentCommand>("SLnA", SelectionCommandBase::GetTypeClassProperties()); }
Properties SetDrawLineBehindFillCommand::GetTypeClassProperties() { return Register<SetDrawLineBehindFillCommand>("SLnB", SelectionCommandBase::GetTypeClassProperties()); }
Properties SetStrokeArrowHeadsCommand::GetTypeClassProperties() { return Register<SetStrokeArrowHeadsCommand>("SLnH", SelectionCommandBase::GetTypeClassProperties()); }
Properties SetStrokeArrowHeadAlignmentCommand::GetTypeClassProperties() { return Register<SetStrokeArrowHeadAlignmentCommand>("SLHA", SelectionCommandBase::GetTypeClassProperties()); }
Properties SetStrokeArrowHeadScaleCommand::GetTypeClassProperties() { return Register<SetStrokeArrowHeadScaleCommand>("SLHS", SelectionCommandBase::GetTypeClassProperties()); }
Properties SetLineStylePressureCommand::GetTypeClassProperties() { return Register<SetLineStylePressureCommand>("SLnP", SelectionCommandBase::GetTypeClassProperties()); }
Properties AddChildNodesCommand::GetTypeClassProperties()  { return Register<AddChildNodesCommand>("AdCN", SelectionCommandBase::GetTypeClassProperties()); }
Properties ChangeTextWrapCommand::GetTypeClassProperties() { return Register<ChangeTextWrapCommand>("ChTW", SelectionCommandBase::GetTypeClassProperties()); }
Properties SetCurrentSelectionCommand::GetTypeClassProperties() { return Register<SetCurrentSelectionCommand>("StCS", DocumentCommand::GetTypeClassProperties()); }
Properties CommandAndSetSelectionCommand::GetTypeClassProperties() { return Register<CommandAndSetSelectionCommand>("CmSS", CompoundCommand::GetTypeClassProperties()); }
Properties FormatTextCommand::GetTypeClassProperties() { return Register<FormatTextCommand>("FmtT", SelectionCommandBase::GetTypeClassProperties()); }
Properties InsertTextCommand::GetTypeClassProperties() { return Register<InsertTextCommand>("InsT", SelectionCommandBase::GetTypeClassProperties()); }
Properties DeleteTextCommand::GetTypeClassProperties() { return Register<DeleteTextCommand>("DelT", SelectionCommandBase::GetTypeClassProperties()); }
Properties InsertGlyphsCommand::GetTypeClassProperties() { return Register<InsertGlyphsCommand>("InsG", SelectionCommandBase::GetTypeClassProperties()); }
Properties ExpandFieldGlyphCommand::GetTypeClassProperties() { return Register<ExpandFieldGlyphCommand>("ExpF", SelectionCommandBase::GetTypeClassProperties()); }
Properties UpdateCrossReferencesCommand::GetTypeClassProperties() { return Register<UpdateCrossReferencesCommand>("UpXR", SelectionCommandBase::GetTypeClassProperties()); }
Properties AlterTocCommand::GetTypeClassProperties() { return Register<AlterTocCommand>("AltT", SelectionCommandBase::GetTypeClassProperties()); }
Properties TextStyleCommand::GetTypeClassProperties() { return Register<TextStyleCommand>("TxSC", DocumentCommand::GetTypeClassProperties()); }
Properties SetCustomFieldValueCommand::GetTypeClassProperties() { return Register<SetCustomFieldValueCommand>("SCFV", DocumentCommand::GetTypeClassProperties()); }
Properties UpdateIndexCommand::GetTypeClassProperties() { return Register<UpdateIndexCommand>("UpIx", SelectionCommandBase::GetTypeClassProperties()); }
Properties InsertIndexMarkCommand::GetTypeClassProperties() { return Register<InsertIndexMarkCommand>("IIxM", SelectionCommandBase::GetTypeClassProperties()); }
Properties AddIndexTopicCommand::GetTypeClassProperties()  { return Register<AddIndexTopicCommand>("AIxT", DocumentCommand::GetTypeClassProperties()); }
Properties SetLocalisableStringCommand::GetTypeClassProperties() { return Register<SetLocalisableStringCommand>("SLoS", DocumentCommand::GetTypeClassProperties()); }
Properties SetDataMergePreviewCommand::GetTypeClassProperties() { return Register<SetDataMergePreviewCommand>("SDPv", DocumentCommand::GetTypeClassProperties()); }
Properties PlaceMergeFieldsCommand::GetTypeClassProperties() { return Register<PlaceMergeFieldsCommand>("PlMF", SelectionCommandBase::GetTypeClassProperties()); }
Properties VectoriseObjectCommand::GetTypeClassProperties() { return Register<VectoriseObjectCommand>("VecO", SelectionCommandBase::GetTypeClassProperties()); }
Properties DataMergeSource::GetTypeClassProperties()       { return Register<DataMergeSource>("DMSo"); }
Properties DataMergeFetcher::GetTypeClassProperties()      { return Register<DataMergeFetcher>("DMFe"); }
Properties DataMergeParser::GetTypeClassProperties()       { return Register<DataMergeParser>("DMPa"); }
Properties TransformCommand::GetTypeClassProperties()      { return Register<TransformCommand>("TrfC", SelectionCommandBase::GetTypeClassProperties()); }
Properties Macro::GetTypeClassProperties()                 { return Register<Macro>("Macr"); }
Properties History::GetTypeClassProperties()               { return Register<History>("Hist"); }
Properties HistoryEntry::GetTypeClassProperties()          { return Register<HistoryEntry>("HisE"); }
Properties DocumentDefaults::GetTypeClassProperties()      { return Register<DocumentDefaults>("DcDf"); }
Properties PageManagementOptions::GetTypeClassProperties() { return Register<PageManagementOptions>("PgMO"); }
Properties SetExportableFilenameCommand::GetTypeClassProperties() { return Register<SetExportableFilenameCommand>("SEFN", DocumentCommand::GetTypeClassProperties()); }
Properties SetExportableIncludeCommand::GetTypeClassProperties() { return Register<SetExportableIncludeCommand>("SEIn", DocumentCommand::GetTypeClassProperties()); }
Properties SlicePage::GetTypeClassProperties()             { return Register<SlicePage>("SlcP"); }
Properties EPubCoverInfo::GetTypeClassProperties()         { return Register<EPubCoverInfo>("EPCv"); }
Properties EPub::CSSFile::GetTypeClassProperties()         { return Register<EPub::CSSFile>("CSSF"); }
Properties EPub::AccessibilityMetadata::GetTypeClassProperties() { return Register<EPub::AccessibilityMetadata>("AcMd"); }
Properties DocumentSettings::GetTypeClassProperties()      { return Register<DocumentSettings>("DcSe"); }
Properties Selection::GetTypeClassProperties()             { return Register<Selection>("Sele"); }
Properties SelectionItem::GetTypeClassProperties()         { return Register<SelectionItem>("SelI"); }
Properties SubSelectionItem::GetTypeClassProperties()      { return Register<SubSelectionItem>("SelS", SelectionItem::GetTypeClassProperties()); }
Properties PinnedNode::GetTypeClassProperties()            { return Register<PinnedNode>("PinN"); }
Properties TextSelection::GetTypeClassProperties()         { return Register<TextSelection>("SelT"); }

Properties DocumentNode::GetTypeClassProperties()          { return Register<DocumentNode>("NDoc"); }
Properties SpreadNode::GetTypeClassProperties()            { return Register<SpreadNode>("NSpr"); }
Properties PageNode::GetTypeClassProperties()              { return Register<PageNode>("NPag"); }
Properties GroupNode::GetTypeClassProperties()             { return Register<GroupNode>("NGrp"); }
Properties ConstraintsGroupNode::GetTypeClassProperties()  { return Register<ConstraintsGroupNode>("NCGr", GroupNode::GetTypeClassProperties()); }
Properties SymbolNode::GetTypeClassProperties()            { return Register<SymbolNode>("NSym", GroupNode::GetTypeClassProperties()); }
Properties MaskNode::GetTypeClassProperties()              { return Register<MaskNode>("NMsk"); }
Properties CloudSyncedNode::GetTypeClassProperties()       { return Register<CloudSyncedNode>("NCld"); }
Properties ShapeNode::GetTypeClassProperties()             { return Register<ShapeNode>("NShp"); }
Properties PolyCurveNode::GetTypeClassProperties()         { return Register<PolyCurveNode>("NCur"); }
Properties CompoundCurveNode::GetTypeClassProperties()     { return Register<CompoundCurveNode>("NCmp"); }
Properties RasterNode::GetTypeClassProperties()            { return Register<RasterNode>("NRas"); }
Properties SelectionRasterNode::GetTypeClassProperties()   { return Register<SelectionRasterNode>("NSRa"); }
Properties ImageNode::GetTypeClassProperties()             { return Register<ImageNode>("NImg"); }
Properties FrameTextNode::GetTypeClassProperties()         { return Register<FrameTextNode>("NFTx"); }
Properties ArtTextNode::GetTypeClassProperties()           { return Register<ArtTextNode>("NATx"); }
Properties ArtboardNode::GetTypeClassProperties()          { return Register<ArtboardNode>("NArt"); }
Properties ArtboardProperties::GetTypeClassProperties()    { return Register<ArtboardProperties>("ArtP"); }
Properties DrawingScale::GetTypeClassProperties()          { return Register<DrawingScale>("DrwS"); }

Properties RectangleShape::GetTypeClassProperties()        { return Register<RectangleShape>("ShRc"); }
Properties EllipseShape::GetTypeClassProperties()          { return Register<EllipseShape>("ShEl"); }
Properties StarShape::GetTypeClassProperties()             { return Register<StarShape>("ShSt"); }
Properties BlendModeState::GetTypeClassProperties()        { return Register<BlendModeState>("StBM"); }
Properties VisibilityState::GetTypeClassProperties()       { return Register<VisibilityState>("StVi"); }
Properties FilterEffectsState::GetTypeClassProperties()    { return Register<FilterEffectsState>("StFE"); }
Properties TransformState::GetTypeClassProperties()        { return Register<TransformState>("StTr"); }
Properties TransformSnapshot::GetTypeClassProperties()     { return Register<TransformSnapshot>("StTS"); }
Properties BrushFillState::GetTypeClassProperties()        { return Register<BrushFillState>("StBF"); }
Properties TransparencyState::GetTypeClassProperties()     { return Register<TransparencyState>("StTp"); }
Properties LineStyleState::GetTypeClassProperties()        { return Register<LineStyleState>("StLS"); }
Properties CurvesState::GetTypeClassProperties()           { return Register<CurvesState>("StCu"); }
Properties RasterState::GetTypeClassProperties()           { return Register<RasterState>("StRa"); }
Properties CaptionInfo::GetTypeClassProperties()           { return Register<CaptionInfo>("CpIn"); }
Properties StoryState::GetTypeClassProperties()            { return Register<StoryState>("StSt"); }
Properties TextFrameState::GetTypeClassProperties()        { return Register<TextFrameState>("StTF"); }
Properties TextWrapState::GetTypeClassProperties()         { return Register<TextWrapState>("StTW"); }
Properties GUIDState::GetTypeClassProperties()             { return Register<GUIDState>("StGU"); }
Properties AdjustmentParamsState::GetTypeClassProperties() { return Register<AdjustmentParamsState>("StAP"); }
Properties FilterParamsState::GetTypeClassProperties()     { return Register<FilterParamsState>("StFP"); }
Properties ImageResourceState::GetTypeClassProperties()    { return Register<ImageResourceState>("StIR"); }
Properties PictureFrameState::GetTypeClassProperties()     { return Register<PictureFrameState>("StPF"); }
Properties TagState::GetTypeClassProperties()              { return Register<TagState>("StTg"); }
Properties EditabilityState::GetTypeClassProperties()      { return Register<EditabilityState>("StEd"); }
Properties DescriptionState::GetTypeClassProperties()      { return Register<DescriptionState>("StDe"); }
Properties DrawOrderState::GetTypeClassProperties()        { return Register<DrawOrderState>("StDO"); }
Properties HyperlinkState::GetTypeClassProperties()        { return Register<HyperlinkState>("StHy"); }
Properties BaselineGridState::GetTypeClassProperties()     { return Register<BaselineGridState>("StBG"); }
Properties ContourState::GetTypeClassProperties()          { return Register<ContourState>("StCo"); }
Properties DataMergeState::GetTypeClassProperties()        { return Register<DataMergeState>("StDM"); }
Properties GeometryModifierState::GetTypeClassProperties() { return Register<GeometryModifierState>("StGM"); }
Properties ArtboardState::GetTypeClassProperties()         { return Register<ArtboardState>("StAb"); }
Properties MarginsState::GetTypeClassProperties()          { return Register<MarginsState>("StMg"); }
Properties GridsAndGuidesState::GetTypeClassProperties()   { return Register<GridsAndGuidesState>("StGG"); }
Properties ExportTaggingState::GetTypeClassProperties()    { return Register<ExportTaggingState>("StET"); }
Properties MetadataState::GetTypeClassProperties()         { return Register<MetadataState>("StMD"); }
Properties ExportArticle::GetTypeClassProperties()         { return Register<ExportArticle>("ExAr"); }
Properties ExportArticleCollector::GetTypeClassProperties() { return Register<ExportArticleCollector>("ExAC"); }
Properties DataMergeRuleClause::GetTypeClassProperties() { return Register<DataMergeRuleClause>("DMRC"); }
Properties DataMergeRule::GetTypeClassProperties() { return Register<DataMergeRule>("DMRu"); }
Properties DataMergeFilter::GetTypeClassProperties() { return Register<DataMergeFilter>("DMFi"); }
Properties DataMergeSelectedRecordsFilter::GetTypeClassProperties() { return Register<DataMergeSelectedRecordsFilter>("DMFS", DataMergeFilter::GetTypeClassProperties()); }
Properties DataMergeRecordValueFilter::GetTypeClassProperties() { return Register<DataMergeRecordValueFilter>("DMFV", DataMergeFilter::GetTypeClassProperties()); }
Properties DataMergeProcessFilter::GetTypeClassProperties() { return Register<DataMergeProcessFilter>("DMFP", DataMergeFilter::GetTypeClassProperties()); }
Properties DataMergeJavaScriptFilter::GetTypeClassProperties() { return Register<DataMergeJavaScriptFilter>("DMFJ", DataMergeFilter::GetTypeClassProperties()); }
Properties DataMergeSortFilter::GetTypeClassProperties() { return Register<DataMergeSortFilter>("DMFO", DataMergeFilter::GetTypeClassProperties()); }
Properties SetChosenGenerationCommand::GetTypeClassProperties() { return Register<SetChosenGenerationCommand>("SChG", SelectionCommandBase::GetTypeClassProperties()); }
Properties GenerativeState::GetTypeClassProperties()      { return Register<GenerativeState>("StGe"); }
Properties GeneratedImageNode::GetTypeClassProperties()   { return Register<GeneratedImageNode>("NGen"); }
Properties GenerationsProperty::GetTypeClassProperties()  { return Register<GenerationsProperty>("GnPr"); }
Properties DocumentPropertyCollection::GetTypeClassProperties() { return Register<DocumentPropertyCollection>("PrCl"); }
// clang-format on

namespace {

template <class... T>
struct Registered {
    Registered() { (T::GetTypeClassProperties(), ...); }
};

// Enters them all while the engine is loaded, so that a document can name any of them.
Registered<DocumentCommand, CompoundCommand, SelectionCommandBase, RasterCommand, DetachSymbolCommand,
           ReflowPagesCommand, SetLineStyleCommand, SetLineAlignmentCommand, SetDrawLineBehindFillCommand,
           SetStrokeArrowHeadsCommand, SetStrokeArrowHeadAlignmentCommand, SetStrokeArrowHeadScaleCommand,
           SetLineStylePressureCommand, AddChildNodesCommand, ChangeTextWrapCommand, SetCurrentSelectionCommand,
           CommandAndSetSelectionCommand, TransformCommand, FormatTextCommand, InsertTextCommand, DeleteTextCommand,
           InsertGlyphsCommand, ExpandFieldGlyphCommand, UpdateCrossReferencesCommand, SetCustomFieldValueCommand,
           AlterTocCommand, TextStyleCommand, UpdateIndexCommand, InsertIndexMarkCommand, AddIndexTopicCommand,
           SetLocalisableStringCommand, SetExportableFilenameCommand, SetExportableIncludeCommand, SlicePage,
           EPubCoverInfo, EPub::CSSFile, EPub::AccessibilityMetadata, Macro, History, HistoryEntry, DocumentDefaults,
           PageManagementOptions, DocumentSettings, Selection, SelectionItem, SubSelectionItem, TextSelection,
           FrameTextNode, ArtTextNode, DocumentNode, SpreadNode, PageNode, GroupNode, ConstraintsGroupNode, SymbolNode,
           MaskNode, CloudSyncedNode, ShapeNode, PolyCurveNode, CompoundCurveNode, RasterNode, SelectionRasterNode,
           ImageNode, RectangleShape, EllipseShape, StarShape, BlendModeState, VisibilityState, FilterEffectsState,
           TransformState, TransformSnapshot, BrushFillState, TransparencyState, LineStyleState, CurvesState,
           RasterState, StoryState, TextFrameState, TextWrapState, GUIDState, AdjustmentParamsState, FilterParamsState,
           ImageResourceState, PictureFrameState, TagState, EditabilityState, DescriptionState, DrawOrderState,
           HyperlinkState, BaselineGridState, ContourState, DataMergeState, GeometryModifierState, ArtboardNode,
           ArtboardProperties, CaptionInfo, DrawingScale, ArtboardState, MarginsState, GridsAndGuidesState, PinnedNode,
           ExportTaggingState, MetadataState, ExportArticle, ExportArticleCollector, DataMergeRuleClause, DataMergeRule,
           DataMergeFilter, DataMergeSelectedRecordsFilter, DataMergeRecordValueFilter, DataMergeProcessFilter,
           DataMergeJavaScriptFilter, DataMergeSortFilter, SetDataMergePreviewCommand, PlaceMergeFieldsCommand,
           DataMergeSource, DataMergeFetcher, DataMergeParser, GenerativeState, GeneratedImageNode, GenerationsProperty,
           DocumentPropertyCollection, SetChosenGenerationCommand, VectoriseObjectCommand> const c_registered;

} // namespace

Kernel::Counted<Kernel::Serialisable> GroupNode::CreateObject() { return Kernel::MakeCounted<GroupNode>(); }
Kernel::Counted<Kernel::Serialisable> ConstraintsGroupNode::CreateObject() {
    return Kernel::MakeCounted<ConstraintsGroupNode>();
}
Kernel::Counted<Kernel::Serialisable> SymbolNode::CreateObject() { return Kernel::MakeCounted<SymbolNode>(); }
Kernel::Counted<Kernel::Serialisable> CloudSyncedNode::CreateObject() { return Kernel::MakeCounted<CloudSyncedNode>(); }
Kernel::Counted<Kernel::Serialisable> ShapeNode::CreateObject() { return Kernel::MakeCounted<ShapeNode>(); }
Kernel::Counted<Kernel::Serialisable> PolyCurveNode::CreateObject() { return Kernel::MakeCounted<PolyCurveNode>(); }
Kernel::Counted<Kernel::Serialisable> CompoundCurveNode::CreateObject() {
    return Kernel::MakeCounted<CompoundCurveNode>();
}
Kernel::Counted<Kernel::Serialisable> RasterNode::CreateObject() { return Kernel::MakeCounted<RasterNode>(); }
Kernel::Counted<Kernel::Serialisable> SelectionRasterNode::CreateObject() {
    return Kernel::MakeCounted<SelectionRasterNode>();
}
Kernel::Counted<Kernel::Serialisable> ImageNode::CreateObject() { return Kernel::MakeCounted<ImageNode>(); }
Kernel::Counted<Kernel::Serialisable> PageNode::CreateObject() { return Kernel::MakeCounted<PageNode>(); }
Kernel::Counted<Kernel::Serialisable> SpreadNode::CreateObject() { return Kernel::MakeCounted<SpreadNode>(); }
Kernel::Counted<Kernel::Serialisable> DocumentNode::CreateObject() { return Kernel::MakeCounted<DocumentNode>(); }
