// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/selection_change.h"
#include "frame/selection/selection_command.h"
#include "platform/document/nodes.h"
#include "platform/document/object_replacement_command_helper.h"
#include "platform/kernel/stored_class.h"

class GeneratedImageNode;

// How a picture is traced.
struct TracingOptions {
    // The most colours that the drawing has, 1 to c_mostColours; 0: as many as the picture needs, c_mostColours at
    // most.
    int colours = 0;
    // How far a curve may keep away from the border of an area, in pixels, 0.05 to 10.
    double tolerance = 0.4;
    // Areas of fewer pixels go to a neighbour.
    int smallestArea = 8;

    static constexpr int c_mostColours = 64;
    friend bool operator==(TracingOptions const&, TracingOptions const&) = default;
};

// Puts drawings in the place of selected pictures: each area of one colour becomes a curve with a fill, all of a
// picture a group that stands where the picture stood. Layers of pixels, placed pictures and the picture that a
// generated one shows are traced; other objects, and pictures that are clear everywhere, stay as they are.
class REDRAFT_ENGINE VectoriseObjectCommand final
    : public Kernel::StoredClass<VectoriseObjectCommand, SelectionCommand<VectoriseObjectCommand>>,
      public ObjectReplacementCommandHelper,
      public SelectionChange {
public:
    // On the document's selection, when it runs.
    VectoriseObjectCommand();
    // Options beyond their range are brought to the nearer end.
    explicit VectoriseObjectCommand(TracingOptions const& options, Kernel::Counted<Selection const> selection = {});
    ~VectoriseObjectCommand() override;
    TracingOptions GetOptions() const { return {m_colours, m_tolerance, m_smallestArea}; }

    // The drawing of a bitmap, in sRGB, one unit a pixel, from (0, 0), in no document; `description` is the group's
    // name. Needs no controller and may be asked of a command that never runs. The group is empty where the bitmap is
    // clear everywhere. Kernel::AbortException when the command's abort flag is set, Kernel::Exception for a bitmap
    // without pixels.
    Kernel::Counted<GroupNode> VectoriseBitmap(Kernel::Counted<Raster::DynamicBitmap const> bitmap,
                                               Kernel::String description);

    // Of such a drawing, whose colours are sRGB: makes them the same ones as they are meant in a set of profiles.
    static void ConvertColours(GroupNode& drawing, Raster::ICCProfileSet const& profiles);

    Kernel::LocalisedString GetDescription() const override;
    bool CanOnlyOperateOnCurrentSpread() const override { return false; }
    Kernel::Counted<DocumentCommand> Clone() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override;
    bool* GetProgressAbortPointer() const override { return &m_abort; }
    void Receive(Kernel::Counted<RasterNode> node);
    void Receive(Kernel::NonCounted<RasterNode> node) { Receive(node.ToCounted()); }
    void Receive(Kernel::Counted<ImageNode> node);
    void Receive(Kernel::NonCounted<ImageNode> node) { Receive(node.ToCounted()); }
    void Receive(Kernel::Counted<GeneratedImageNode> node);
    void Receive(Kernel::NonCounted<GeneratedImageNode> node);
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = VectoriseObjectCommand;
        return Kernel::FieldList{Kernel::Field{"Cols", &This::m_colours}, Kernel::Field{"Tolr", &This::m_tolerance},
                                 Kernel::Field{"Smal", &This::m_smallestArea},
                                 Kernel::Field{"OldS", &This::m_oldSelection},
                                 Kernel::Field{"NewS", &This::m_newSelection}};
    }
    // `toNode`: from the bitmap's pixels to the node's space.
    void Exchange(SceneNode& node, Kernel::Counted<Raster::DynamicBitmap const> const& bitmap,
                  Raster::AffineTransform::Params const& toNode = {});

    int m_colours = 0;
    double m_tolerance = 0.4;
    int m_smallestArea = 8;
    mutable bool m_abort = false;
    // Only during Do.
    Kernel::Counted<MutableSelection> m_workSelection;
};
