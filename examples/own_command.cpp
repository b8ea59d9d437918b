// SPDX-License-Identifier: Apache-2.0
// A command of one's own, beside those of the library: what it is called, what it receives, what it keeps, and its line
// in the list of classes. Undo, Redo and both after a reload come from the frame.
//
//   own_command [FILE]      FILE is written over; its name ends in .redraft
#include "frame/persistence/registered_class.h"
#include "frame/selection/property_command.h"
#include "platform/document/document_controller.h"

#include <cstdio>

namespace {

// Sets how much of what lies below shows through the selected objects.
class SetOpacityCommand final : public PropertyCommand<SetOpacityCommand, TransparencyInterface, double> {
public:
    using PropertyCommand::PropertyCommand;
    static constexpr auto c_description = Kernel::Localisable("Set opacity", "Command description");
    static void Set(TransparencyInterface& object, double opacity) { object.SetOpacity(opacity); }
    static constexpr auto Fields() {
        return Kernel::FieldList{Value("Opac").As("opacity", "0 is invisible").Between(0, 1)};
    }
};

// In the list of a library of commands.
RegisteredClass<SetOpacityCommand> const c_XOpC{"XOpC", 1, SelectionCommandBase::GetTypeClassProperties(),
                                                Coverage::No};

double GetOpacityOfFirst(DocumentController& controller) {
    return Kernel::CastPointer<TransparencyInterface>(
               controller.GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain))
        ->GetOpacity();
}

} // namespace

int main(int argumentCount, char** arguments) {
    std::string const path = argumentCount > 1 ? arguments[1] : "own_command.redraft";
    try {
        {
            auto const controller = DocumentController::CreateNew({100, 100}, Raster::FormatRGBA8, 1);
            auto const node = Kernel::MakeCounted<ShapeNode>(Kernel::MakeCounted<RectangleShape>());
            controller->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, node, nullptr);
            controller->Run(Kernel::MakeCounted<SetOpacityCommand>(
                0.25, Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{node})));
            controller->Save(path);
        }
        auto const controller = DocumentController::Open(path, true);
        double const after = GetOpacityOfFirst(*controller);
        controller->Undo();
        double const before = GetOpacityOfFirst(*controller);
        controller->Redo();
        std::printf("opacity %g, undone %g, redone %g\n", after, before, GetOpacityOfFirst(*controller));
        return after == 0.25 && before == 1 && GetOpacityOfFirst(*controller) == 0.25 ? 0 : 1;
    } catch (Kernel::Exception const& error) {
        std::fprintf(stderr, "own_command: %s\n", error.what());
        return 3;
    }
}
