// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/settings/set_scale_override_flags_command.h"
#include "platform/document/document_controller.h"
#include "platform/geometry/curve.h"
#include "shapes/ungroup_nodes_command.h"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// Documents that the benchmarks make for themselves, the same at each run.
namespace Bench {

inline constexpr int c_nodesInGroup = 10;
inline constexpr double c_spreadSide = 10'000;

// A page of groups, each of ten nodes with itself: outlines of their own of four cubics, rectangles and ellipses in
// turn, in sixteen fills, a quarter of them with a line too.
inline Kernel::Counted<DocumentController> MakeDocument(int groupCount) {
    auto document = DocumentController::CreateNew({c_spreadSide, c_spreadSide}, Raster::FormatRGBA8, 1);
    document->SetMergingEnabled(false);
    std::mt19937 random(2);
    auto const number = [&](double high) { return high * (random() / 4294967296.0); };
    std::vector<Kernel::Counted<Renderer::FillDescriptor const>> fills;
    for (int i = 0; i != 16; ++i)
        fills.push_back(
            Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(i % 4 / 3.f, i / 4 / 3.f, 0.5f)));
    auto const line =
        Kernel::MakeCounted<Renderer::LineStyleDescriptor>(Kernel::MakeConsolidated<Renderer::LineStyle>(1.0));
    auto const blob = [&] {
        auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
        curve->MoveTo({number(20), number(20)});
        curve->Reserve(13, 5);
        for (int i = 0; i != 4; ++i)
            curve->CubicTo({number(20), number(20)}, {number(20), number(20)}, {number(20), number(20)});
        curve->Close();
        return Kernel::MakeCounted<Geometry::PolyCurveDbl>(curve);
    };
    auto const makeNode = [&](int kind) -> Kernel::Counted<CurvesNode> {
        if (kind % 2 == 0) {
            auto node = Kernel::MakeCounted<PolyCurveNode>();
            node->SetCurves(blob());
            return node;
        }
        Kernel::RectT<double> const box{0, 0, 5 + number(15), 5 + number(15)};
        if (kind % 4 == 1) {
            auto shape = Kernel::MakeCounted<RectangleShape>();
            shape->box = box;
            return Kernel::MakeCounted<ShapeNode>(std::move(shape));
        }
        auto shape = Kernel::MakeCounted<EllipseShape>();
        shape->box = box;
        return Kernel::MakeCounted<ShapeNode>(std::move(shape));
    };
    auto const spread = document->GetCurrentSpread();
    for (int i = 0; i != groupCount; ++i) {
        auto group = Kernel::MakeCounted<GroupNode>();
        group->SetTransform({1, 0, number(c_spreadSide - 50), 0, 1, number(c_spreadSide - 50)}, false);
        for (int j = 1; j != c_nodesInGroup; ++j) {
            auto node = makeNode(j);
            node->SetTransform({1, 0, number(30), 0, 1, number(30)}, false);
            node->SetBrushFillDescriptor(fills[random() % fills.size()]);
            if (j % 4 == 0) {
                node->SetLineStyleDescriptor(line);
                node->SetPenFillDescriptor(fills[random() % fills.size()]);
            }
            group->InsertChild(NodeChildListType::Plain, std::move(node), nullptr);
        }
        spread->InsertChild(NodeChildListType::Plain, std::move(group), nullptr);
    }
    return document;
}

// Steps that change settings.
inline void AddSettingSteps(DocumentController& document, int count) {
    for (int i = 0; i != count; ++i)
        document.Run(Kernel::MakeCounted<Commands::SetScaleOverrideFlagsCommand>(i + 1));
}

// Steps that each dissolve one group.
inline void AddUngroupingSteps(DocumentController& document, int count) {
    Node* next = document.GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain);
    for (int i = 0; i != count; ++i) {
        Kernel::Counted<Node> const group(next);
        next = next->GetNextSibling();
        document.SetSelection(Kernel::MakeCounted<Selection const>(std::vector{group}), false);
        document.Run(Kernel::MakeCounted<Commands::UngroupNodesCommand>());
    }
}

// A folder that goes with the object.
class ScratchFolder {
public:
    ScratchFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "redraft-bench-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("cannot make a folder for the benchmark");
        m_path = name;
    }
    ~ScratchFolder() {
        // Only the process that made it: forked ones end early.
        if (m_owner == ::getpid())
            std::filesystem::remove_all(m_path);
    }
    ScratchFolder(ScratchFolder const&) = delete;
    ScratchFolder& operator=(ScratchFolder const&) = delete;
    std::string GetPath(std::string const& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
    pid_t m_owner = ::getpid();
};

// Runs work in a process of its own, so that nothing of it is in this one's memory.
inline void RunApart(std::function<void()> const& work) {
    pid_t const child = ::fork();
    if (child < 0)
        throw std::runtime_error("cannot fork");
    if (child == 0) {
        try {
            work();
        } catch (std::exception const& error) {
            std::fprintf(stderr, "%s\n", error.what());
            ::_exit(1);
        }
        ::_exit(0);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error("the preparation of the benchmark failed");
}

} // namespace Bench
