// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/selection_command.h"
#include "platform/document/spread_rects.h"

// Base of commands that change the pixels of selected layers. The effect works on each layer once, in Do; Undo and Redo
// put bitmaps back, which share the tiles that did not change.
class REDRAFT_ENGINE RasterCommand : public SelectionCommandWithSingleInterface<RasterCommand, MutableRasterInterface> {
public:
    // An empty selection stands for the document's current one.
    explicit RasterCommand(Kernel::Counted<Selection const> selection);
    ~RasterCommand() override;

    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    // False: an effect acts on what the one before it has left.
    bool Merge(Kernel::Counted<Command const> newer) override;
    ProgressType GetProgressType() const override;
    // A stored step whose selection is missing works on nothing, and not on what is selected when it is undone.
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;

    static Kernel::ClassProperties const* GetTypeClassProperties();
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

    // Reports a fraction of work, 0 to 1. `command` is the RasterCommand; any thread may call.
    static void Progress(float fraction, void* command);

protected:
    void ReceiveInterface(Kernel::NonCounted<MutableRasterInterface> layer) override;
    // Changes the pixels of a layer that has a bitmap; returns what changed, in pixels, (0, 0, 0, 0) for nothing. What
    // it throws leaves all layers of the command as they were; damage is told with the layer's name.
    virtual Kernel::RectT<int> DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) = 0;
    // Whether the result may be mixed with what was there afterwards.
    virtual bool CanFadeRewind() const;
    // True for effects that must be previewed at the full size of the screen's pixels.
    virtual bool GetLooksTerribleWhenPreviewingBecauseOfRetina() const;

    // Some pixels of some layer were worked on.
    bool m_work = false;

private:
    void PrepareUndo() override;
    void TakeBack();

    struct WorkedOn {
        Kernel::Counted<MutableRasterInterface> layer;
        Kernel::Counted<Raster::DynamicBitmap const> before;
    };
    // Stands while Do runs.
    std::vector<WorkedOn> m_workedOn;
    SpreadRects m_invalidationArea;
};
