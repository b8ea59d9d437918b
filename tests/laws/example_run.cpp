// SPDX-License-Identifier: Apache-2.0
#include "tests/laws/example_run.h"

#include "lines/line_arguments.h"
#include "platform/document/add_child_nodes_command.h"
#include "platform/document/change_text_wrap_command.h"
#include "platform/document/compound_command.h"
#include "platform/document/detach_symbol_command.h"
#include "platform/document/reflow_pages_command.h"
#include "platform/document/selection_commands.h"
#include "platform/document/set_chosen_generation_command.h"
#include "platform/document/transform_command.h"
#include "platform/document/vectorise_object_command.h"
#include "platform/kernel/type_name.h"
#include "shapes/fill_holes_command.h"
#include "tests/examples/scenes/artboard_documents.h"
#include "tests/examples/scenes/example_documents.h"
#include "tests/examples/scenes/generated_documents.h"
#include "tests/examples/scenes/line_documents.h"
#include "tests/examples/scenes/raster_documents.h"
#include "tests/examples/scenes/shape_documents.h"
#include "tests/examples/scenes/text_documents.h"
#include "tests/laws/text_command_examples.h"
#include "tests/support/borrowed_outline_node.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace {

template <class C, class... Own>
CommandExample LineExample(Own const&... own) {
    return {std::string(Kernel::TypeName<C>()),
            ExampleDocuments::Lines,
            [=](DocumentController&) -> Kernel::Counted<DocumentCommand> {
                return Kernel::MakeCounted<C>(own..., ContentType::Object, false, true,
                                              LineCommandDefaultsMode::SelectionOnly,
                                              Kernel::Counted<Selection const>());
            },
            {}};
}

// The line of a shape says that it is behind the fill, as well as its object: so older programs kept it. Lines of
// letters are kept like that still.
void LinesOfAnOlderDocument(DocumentController& controller) {
    auto const shape = ExampleDocuments::MakeRectangle({40, 40, 160, 160}, 0.2, 0.4, 0.8);
    auto const makeLine = [](double weight) {
        auto const line = Kernel::MakeCounted<Renderer::LineStyleDescriptor>(
            Kernel::Consolidated<Renderer::LineStyle>(Kernel::MakeCounted<Renderer::LineStyle const>(weight)));
        line->SetDrawBehindFill(true);
        return line;
    };
    auto const state = Kernel::MakeCounted<LineStyleState>();
    state->line = makeLine(20);
    state->penFill = Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(1, 0, 0));
    shape->SetState(InterfaceId::LineStyle, Kernel::Counted<InterfaceState const>(state));
    shape->SetLineBehindFill(true);
    ExampleDocuments::Append(*controller.GetCurrentSpread(), shape);
    auto const text = ExampleDocuments::MakeTextFrame({40, 200, 200, 300}, "Letters with lines");
    text->GetMutableStory(true)->FormatText({0, 7}, *Story::MakeDelta(Story::GlyphAtt::Object::LineStyle, makeLine(2)));
    text->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    ExampleDocuments::Append(*controller.GetCurrentSpread(), text);
    ExampleDocuments::Select(controller, {shape, text});
}

// The inner commands of those that set lines.
std::vector<CommandExample> LineExamples() {
    Commands::LineArgument const wide{.weight = 5, .dash = {3, 2}};
    Kernel::Counted<Renderer::LineStyleDescriptor> const line = wide;
    Kernel::Counted<Renderer::LineStyleArrowHead const> const none,
        head = Kernel::MakeCounted<Renderer::LineStyleArrowHead const>(
            Commands::MakeArrowHeadShape(Commands::ArrowHeadShape::Barbed), 1, 1);
    auto const pressure = Kernel::MakeCounted<Geometry::CurveDbl>();
    pressure->MoveTo({0, 1});
    pressure->LineTo({1, 0.25});
    Kernel::Counted<Geometry::CurveDbl const> const profile = pressure;
    return {LineExample<SetLineStyleCommand>(line->GetLineStyle(), 0),
            LineExample<SetLineAlignmentCommand>(Renderer::StrokeAlignment::Outside),
            LineExample<SetDrawLineBehindFillCommand>(true),
            {"SetDrawLineBehindFillCommand",
             LinesOfAnOlderDocument,
             [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
                 return Kernel::MakeCounted<SetDrawLineBehindFillCommand>(false, ContentType::Object, false, true,
                                                                          LineCommandDefaultsMode::SelectionOnly,
                                                                          Kernel::Counted<Selection const>());
             },
             {}},
            LineExample<SetStrokeArrowHeadsCommand>(true, head, false, none, true),
            LineExample<SetStrokeArrowHeadAlignmentCommand>(true),
            LineExample<SetStrokeArrowHeadScaleCommand>(true, 2.0, true, 3.0),
            LineExample<SetLineStylePressureCommand>(profile)};
}

Kernel::Counted<AddChildNodesCommand> AddOf(bool selectNodes, NodeChildListType list, InsertionMode mode,
                                            std::vector<Kernel::Counted<Node>> const& nodes) {
    auto const command = Kernel::MakeCounted<AddChildNodesCommand>(selectNodes, list, mode);
    for (auto const& node : nodes)
        command->AddNode(node);
    return command;
}

std::vector<Kernel::Counted<Node>> TwoShapes() {
    return {ExampleDocuments::MakeRectangle({60, 60, 160, 90}, 1, 0, 0),
            ExampleDocuments::MakeEllipse({100, 200, 180, 300})};
}

// Commands that others run for their new nodes and selections.
std::vector<CommandExample> StructureExamples() {
    using List = NodeChildListType;
    auto const aroundShapes = [](DocumentController& controller) {
        ExampleDocuments::TextAroundShapes(controller, true);
    };
    auto const add = [](bool selectNodes, List list, InsertionMode mode) {
        return [=](DocumentController&) -> Kernel::Counted<DocumentCommand> {
            return AddOf(selectNodes, list, mode, TwoShapes());
        };
    };
    return {
        {"AddChildNodesCommand", ExampleDocuments::NestedGroups, add(false, List::Plain, InsertionMode::Inside), {}},
        {"AddChildNodesCommand", ExampleDocuments::NestedGroups, add(true, List::Plain, InsertionMode::Above), {}},
        {"AddChildNodesCommand", aroundShapes, add(true, List::Plain, InsertionMode::FrontOfSpread), {}},
        {"AddChildNodesCommand", aroundShapes, add(false, List::WrapShape, InsertionMode::Inside), {}},
        {"AddChildNodesCommand",
         ExampleDocuments::GroupsWithLooks,
         add(false, List::Clipping, InsertionMode::Inside),
         {}},
        {"SetChosenGenerationCommand",
         ExampleDocuments::GeneratedImages,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<SetChosenGenerationCommand>(1u);
         },
         {}},
        // A shape that text runs around comes itself.
        {"AddChildNodesCommand",
         aroundShapes,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             auto const shape = ExampleDocuments::MakeRectangle({60, 60, 160, 90}, 1, 0, 0);
             shape->SetTextWrapStyle(Story::WrapStyle::Around);
             return AddOf(false, List::Plain, InsertionMode::FrontOfSpread, {shape});
         },
         {}},
        {"SetCurrentSelectionCommand",
         ExampleDocuments::NestedGroups,
         [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
             Kernel::Counted<Node> const first(controller.GetCurrentSpread()->GetFirstChild(List::Plain));
             return Kernel::MakeCounted<SetCurrentSelectionCommand>(
                 Kernel::MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>{first}), false, false, false);
         },
         {}},
        {"CommandAndSetSelectionCommand",
         ExampleDocuments::NestedGroups,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             auto const shapes = TwoShapes();
             return Kernel::MakeCounted<CommandAndSetSelectionCommand>(
                 AddOf(false, List::Plain, InsertionMode::Above, shapes), Kernel::MakeCounted<Selection const>(shapes));
         },
         {}},
        {"ChangeTextWrapCommand",
         [](DocumentController& controller) { ExampleDocuments::TextAroundShapes(controller, false); },
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<ChangeTextWrapCommand>(Story::WrapStyle::Around);
         },
         {}},
    };
}

CommandExample TransformExample(Raster::AffineTransform::Params const& transform, bool inOwnSpace, bool withoutContent,
                                bool isFrameTextScale, void (*prepare)(DocumentController&)) {
    return {"TransformCommand", prepare, [=](DocumentController&) -> Kernel::Counted<DocumentCommand> {
                auto command = Kernel::MakeCounted<TransformCommand>(transform, inOwnSpace, true, withoutContent,
                                                                     Kernel::Counted<Selection const>());
                command->SetIsFrameTextScale(isFrameTextScale);
                return command;
            }};
}

std::vector<CommandExample> EngineExamples() {
    return {
        {"VectoriseObjectCommand",
         ExampleDocuments::RasterLayers,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<VectoriseObjectCommand>(TracingOptions{4, 1, 40});
         },
         {}},
        {"VectoriseObjectCommand",
         ExampleDocuments::GeneratedImages,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<VectoriseObjectCommand>(TracingOptions{2, 1, 200});
         },
         {}},
        TransformExample({1.5, 0, 7, 0, 1.2, -3}, true, false, true, ExampleDocuments::Artboards),
        TransformExample({1.5, 0, 7, 0, 1.2, -3}, true, true, false, ExampleDocuments::Artboards),
        TransformExample({0.8, -0.6, 7, 0.6, 0.8, -3}, false, true, false, ExampleDocuments::NestedGroups),
        TransformExample({1.5, 0, 0, 0, 0, 0}, false, false, false, ExampleDocuments::NestedGroups),
        {"DetachSymbolCommand",
         ExampleDocuments::SymbolWithInstances,
         [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<DetachSymbolCommand>(controller.GetCurrentSelection(), true,
                                                             UnlinkRecurse::Instance, true);
         },
         {}},
        {"ReflowPagesCommand",
         [](DocumentController& controller) {
             controller.GetCurrentSpread()->AddPage(
                 Kernel::MakeCounted<PageNode>(Kernel::RectT<double>{2000, -70, 2300, 250}));
         },
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<ReflowPagesCommand>(0);
         },
         {}},
        {"CompoundCommand",
         ExampleDocuments::SymbolWithInstances,
         [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
             auto compound = Kernel::MakeCounted<CompoundCommand>(false, true, true);
             compound->AppendCommand(Kernel::MakeCounted<DetachSymbolCommand>(controller.GetCurrentSelection(), true,
                                                                              UnlinkRecurse::Nested, false));
             compound->AppendCommand(Kernel::MakeCounted<ReflowPagesCommand>(0));
             return compound;
         },
         {}},
        {"FillHolesCommand",
         [](DocumentController& controller) {
             auto const node = Kernel::MakeCounted<Support::BorrowedOutlineNode>();
             ExampleDocuments::SetFill(*node, 1, 0, 0);
             auto const ring = ExampleDocuments::MakePath(
                 {{{50, 0}, {90, 0}, {90, 40}, {50, 40}}, {{60, 10}, {60, 30}, {80, 30}, {80, 10}}}, true);
             ExampleDocuments::SetFill(*ring, 0, 0, 1);
             ExampleDocuments::Append(*controller.GetCurrentSpread(), node);
             ExampleDocuments::Append(*controller.GetCurrentSpread(), ring);
             ExampleDocuments::Select(controller, {node, ring});
         },
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<Commands::FillHolesCommand>();
         },
         "An object that stores curves and has none at present leaves the document and does not come back.",
         true,
         {},
         "The shapes that were rebuilt before the abort stay as they are then.",
         {},
         {CommandExample::Untold::NodeData}},
    };
}

} // namespace

std::vector<CommandExample> const& AllExamples() {
    static std::vector<CommandExample> const s_all = [] {
        auto all = CommandExample::GetAll();
        for (auto& example : LineExamples())
            all.push_back(std::move(example));
        for (auto& example : StructureExamples())
            all.push_back(std::move(example));
        for (auto& example : TextCommandExamples())
            all.push_back(std::move(example));
        for (auto& example : IndexTextExamples())
            all.push_back(std::move(example));
        for (auto& example : ExportableExamples())
            all.push_back(std::move(example));
        for (auto& example : MergeExamples())
            all.push_back(std::move(example));
        for (auto& example : EngineExamples())
            all.push_back(std::move(example));
        for (auto& example : OtherValueExamples())
            all.push_back(std::move(example));
        return all;
    }();
    return s_all;
}

TemporaryFolder::TemporaryFolder() {
    // In memory where the system has a place for that: the laws save thousands of documents.
    std::filesystem::path const memory = "/dev/shm";
    auto const place = access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
    auto pattern = (place / "redraft-laws-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no temporary folder");
    m_path = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

ExampleRun::ExampleRun(CommandExample const& theExample)
    : example(theExample),
      controller(DocumentController::CreateNew({793.700787, 1122.519685}, Raster::FormatRGBA8, 1)) {
    example.prepare(*controller);
    command = example.make(*controller);
    before = controller->GetHash(false);
    selectionBefore = controller->GetCurrentSelection();
}

void ExampleRun::Do() { controller->Run(command); }

std::string ExampleName(testing::TestParamInfo<std::size_t> const& info) {
    return AllExamples()[info.param].className + std::to_string(info.param);
}

std::string ReadWholeFile(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<NodeId> SelectedIds(DocumentController const& controller) {
    std::vector<NodeId> ids;
    if (auto const selection = controller.GetCurrentSelection()) {
        for (auto const& node : selection->GetNodes())
            ids.push_back(node->GetId());
    }
    return ids;
}
