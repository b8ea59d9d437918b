// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/story_selection_command.h"
#include "platform/document/changed_areas.h"
#include "platform/kernel/field_list.h"

// Commands that set one group of properties of the lines of a selection: of shapes, of frames of text, or of text.

// Whether a line command also sets the line that new objects of the document get.
enum class LineCommandDefaultsMode : std::uint32_t { SelectionOnly = 0, SelectionAndDefaults = 1, DefaultsOnly = 2 };

// Persists a ContentType by its name.
class REDRAFT_ENGINE ContentTypeEnumSerialiser final : public Kernel::EnumSerialiser {
public:
    static ContentTypeEnumSerialiser const& GetInstance();

private:
    ContentTypeEnumSerialiser();
};

// The options that all line commands take beside the property itself.
template <class T>
class BaseSetLineCommand : public SelectionCommandWithSingleInterfaceOrStoryInterface<T, LineStyleInterface> {
public:
    BaseSetLineCommand(ContentType contentType, bool useTextStyle, bool canMerge, LineCommandDefaultsMode defaultsMode,
                       Kernel::Counted<Selection const> selection)
        : SelectionCommandWithSingleInterfaceOrStoryInterface<T, LineStyleInterface>(std::move(selection)),
          m_contentType(contentType),
          m_defaultsMode(defaultsMode),
          m_useTextStyle(useTextStyle),
          m_canMerge(canMerge) {}

protected:
    bool TakesStory(TextNode const&) const override { return m_contentType == ContentType::Object; }

    // Whose lines are meant where texts are selected: those of the text, or of its frame.
    ContentType m_contentType;
    LineCommandDefaultsMode m_defaultsMode;
    // The line is meant for the text style too. Carried for the application; nothing here reads it.
    bool m_useTextStyle;
    // Commands of one class on one selection merge.
    bool m_canMerge;
};

// Base of commands that change something in line descriptors. A derived class says what, in ApplyToDescriptor; the
// walk, undo, the document's defaults, merging and notifications are done here. A command that found nothing to change
// is no step of the history.
class REDRAFT_ENGINE BaseSetLineDescriptorCommand : public BaseSetLineCommand<BaseSetLineDescriptorCommand> {
public:
    // `makesLines`: objects without a line get one, with the paint of the document's defaults, or else black.
    BaseSetLineDescriptorCommand(ContentType contentType, bool useTextStyle, bool canMerge,
                                 LineCommandDefaultsMode defaultsMode, bool makesLines,
                                 Kernel::Counted<Selection const> selection);
    ~BaseSetLineDescriptorCommand() override;

    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return m_stacks; }
    bool CanMerge(Kernel::Counted<Command const> newer) const override;
    bool Merge(Kernel::Counted<Command const> newer) override;

    // The options by their names outside; Save stores them.
    static constexpr auto Fields() {
        using This = BaseSetLineDescriptorCommand;
        return Kernel::FieldList{
            Kernel::Unstored{&This::m_contentType}.As("contentType", "of texts, the lines of the text or of its frame",
                                                      ContentType::Object),
            Kernel::Unstored{&This::m_useTextStyle}.As("useTextStyle", "the line is meant for the text style too",
                                                       false),
            Kernel::Unstored{&This::m_canMerge}.As("canMerge", "a newer command on the same selection may merge", true),
            Kernel::Unstored{&This::m_defaultsMode}.As("defaults", "sets the line of new objects, too, or only that",
                                                       LineCommandDefaultsMode::SelectionOnly)};
    }

    // Writes the line that was the default before under `oldDefaultTag`, the options, and what the bases write.
    void Save(Kernel::OutSerialiser& out, Kernel::IDTag oldDefaultTag) const;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version,
              Kernel::IDTag oldDefaultTag);
    void Save(Kernel::OutSerialiser& out) const override { Save(out, "OldS"); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        return Load(in, files, version, "OldS");
    }

protected:
    BaseSetLineDescriptorCommand();
    // Changes a descriptor that belongs to the command. `scale` is the object's uniform scale on the spread, by which a
    // line that scales with it is drawn; 1 for the defaults.
    virtual void ApplyToDescriptor(Kernel::Counted<Renderer::LineStyleDescriptor> descriptor, double scale) = 0;
    // For a clone: the options and the given selection.
    void CopyArgumentsFrom(BaseSetLineDescriptorCommand const& other);
    // Takes over what a newer command of the same class was told.
    virtual void TakeArguments(BaseSetLineDescriptorCommand const& newer) = 0;
    // Further changes of the object itself.
    virtual void ApplyToObject(Kernel::NonCounted<LineStyleInterface>) {}

    void ReceiveInterface(Kernel::NonCounted<LineStyleInterface> object) override;
    void ReceiveInterface(Kernel::NonCounted<TextNode> text, Story::StoryRanges const& ranges) override;

private:
    friend class SelectionCommandWithSingleInterfaceOrStoryInterface<BaseSetLineDescriptorCommand, LineStyleInterface>;
    // The changed copy of a line; empty when there is no line and none is made.
    Kernel::Counted<Renderer::LineStyleDescriptor const>
    MakeChanged(Kernel::Counted<Renderer::LineStyleDescriptor const> const& line, double scale);
    Kernel::Counted<Renderer::FillDescriptor const> GetDefaultPaint() const;
    // The selected objects, and all frames that show the story of one of them.
    Kernel::Counted<Selection const> GetShownSelection();
    void DoDefaults();

    bool m_makesLines = false;
    bool m_stacks = false;
    bool m_hasOldDefault = false;
    Kernel::Counted<Renderer::LineStyleDescriptor const> m_oldDefault, m_newDefault;
    ChangedAreas m_areas;
};

// A line command of the document model: its arguments are a struct A with a field list, and T does
// `static void Apply(A const&, Renderer::LineStyleDescriptor&)`. A default-made one is to be loaded.
template <class T, class A>
class REDRAFT_ENGINE SetLinePropertyCommand : public BaseSetLineDescriptorCommand {
public:
    A const& GetArguments() const { return m_arguments; }
    Kernel::Counted<DocumentCommand> Clone() const override {
        auto const clone = Kernel::MakeCounted<T>();
        clone->CopyArgumentsFrom(*this);
        clone->m_arguments = m_arguments;
        return clone;
    }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<T>(); }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return T::GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override {
        Kernel::SaveFields(m_arguments, out);
        BaseSetLineDescriptorCommand::Save(out);
    }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        Kernel::LoadFields(m_arguments, in);
        return BaseSetLineDescriptorCommand::Load(in, files, version);
    }

protected:
    SetLinePropertyCommand() = default;
    SetLinePropertyCommand(A arguments, ContentType contentType, bool useTextStyle, bool canMerge,
                           LineCommandDefaultsMode defaultsMode, Kernel::Counted<Selection const> selection,
                           bool makesLines = false)
        : BaseSetLineDescriptorCommand(contentType, useTextStyle, canMerge, defaultsMode, makesLines,
                                       std::move(selection)),
          m_arguments(std::move(arguments)) {}
    void ApplyToDescriptor(Kernel::Counted<Renderer::LineStyleDescriptor> descriptor, double) override {
        T::Apply(m_arguments, *descriptor);
    }
    void TakeArguments(BaseSetLineDescriptorCommand const& newer) override {
        m_arguments = static_cast<T const&>(newer).m_arguments;
    }

    A m_arguments;
};

struct LineStyleArguments {
    Kernel::Counted<Renderer::LineStyle const> style;
    // Which properties of the style are meant, by the low nine bits; 0: all. Bits 1 and 8 both mean the weight. Bit 2,
    // the brush, names nothing that a line style has.
    int mask = 0;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"LSty", &LineStyleArguments::style},
                                 Kernel::Field{"Mask", &LineStyleArguments::mask}};
    }
};

// Sets type, weight, cap, join, mitre limit and dashes. It gives a line to objects that have none.
class REDRAFT_ENGINE SetLineStyleCommand final
    : public SetLinePropertyCommand<SetLineStyleCommand, LineStyleArguments> {
public:
    SetLineStyleCommand() = default;
    SetLineStyleCommand(Kernel::Counted<Renderer::LineStyle const> style, int mask, ContentType contentType,
                        bool useTextStyle, bool canMerge, LineCommandDefaultsMode defaultsMode,
                        Kernel::Counted<Selection const> selection)
        : SetLinePropertyCommand({std::move(style), mask}, contentType, useTextStyle, canMerge, defaultsMode,
                                 std::move(selection), true) {}
    Kernel::LocalisedString GetDescription() const override;
    static void Apply(LineStyleArguments const& arguments, Renderer::LineStyleDescriptor& descriptor);
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

struct LineAlignmentArguments {
    Renderer::StrokeAlignment alignment = Renderer::StrokeAlignment::Centre;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Algn", &LineAlignmentArguments::alignment}};
    }
};

class REDRAFT_ENGINE SetLineAlignmentCommand final
    : public SetLinePropertyCommand<SetLineAlignmentCommand, LineAlignmentArguments> {
public:
    SetLineAlignmentCommand() = default;
    SetLineAlignmentCommand(Renderer::StrokeAlignment alignment, ContentType contentType, bool useTextStyle,
                            bool canMerge, LineCommandDefaultsMode defaultsMode,
                            Kernel::Counted<Selection const> selection)
        : SetLinePropertyCommand({alignment}, contentType, useTextStyle, canMerge, defaultsMode, std::move(selection)) {
    }
    Kernel::LocalisedString GetDescription() const override;
    static void Apply(LineAlignmentArguments const& arguments, Renderer::LineStyleDescriptor& descriptor);
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

struct DrawLineBehindFillArguments {
    bool behind = false;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Behi", &DrawLineBehindFillArguments::behind}};
    }
};

class REDRAFT_ENGINE SetDrawLineBehindFillCommand final
    : public SetLinePropertyCommand<SetDrawLineBehindFillCommand, DrawLineBehindFillArguments> {
public:
    SetDrawLineBehindFillCommand() = default;
    SetDrawLineBehindFillCommand(bool behind, ContentType contentType, bool useTextStyle, bool canMerge,
                                 LineCommandDefaultsMode defaultsMode, Kernel::Counted<Selection const> selection)
        : SetLinePropertyCommand({behind}, contentType, useTextStyle, canMerge, defaultsMode, std::move(selection)) {}
    Kernel::LocalisedString GetDescription() const override;
    static void Apply(DrawLineBehindFillArguments const& arguments, Renderer::LineStyleDescriptor& descriptor);
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    // An object that draws its lines behind its fills says so by itself, too.
    void ApplyToObject(Kernel::NonCounted<LineStyleInterface> object) override;
};

struct ArrowHeadsArguments {
    bool setFront = false;
    Kernel::Counted<Renderer::LineStyleArrowHead const> front;
    bool setBack = false;
    Kernel::Counted<Renderer::LineStyleArrowHead const> back;
    static constexpr auto Fields() {
        using This = ArrowHeadsArguments;
        return Kernel::FieldList{Kernel::Field{"SFro", &This::setFront}, Kernel::Field{"Fron", &This::front},
                                 Kernel::Field{"SBac", &This::setBack}, Kernel::Field{"Back", &This::back}};
    }
};

// Sets the heads at the start and at the end; a null head is none.
class REDRAFT_ENGINE SetStrokeArrowHeadsCommand final
    : public SetLinePropertyCommand<SetStrokeArrowHeadsCommand, ArrowHeadsArguments> {
public:
    SetStrokeArrowHeadsCommand() = default;
    SetStrokeArrowHeadsCommand(bool setFront, Kernel::Counted<Renderer::LineStyleArrowHead const> front, bool setBack,
                               Kernel::Counted<Renderer::LineStyleArrowHead const> back, bool makesLines,
                               ContentType contentType, bool useTextStyle, bool canMerge,
                               LineCommandDefaultsMode defaultsMode, Kernel::Counted<Selection const> selection)
        : SetLinePropertyCommand({setFront, std::move(front), setBack, std::move(back)}, contentType, useTextStyle,
                                 canMerge, defaultsMode, std::move(selection), makesLines) {}
    Kernel::LocalisedString GetDescription() const override;
    static void Apply(ArrowHeadsArguments const& arguments, Renderer::LineStyleDescriptor& descriptor);
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

struct ArrowHeadAlignmentArguments {
    bool beyondEnds = false;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Beyo", &ArrowHeadAlignmentArguments::beyondEnds}};
    }
};

class REDRAFT_ENGINE SetStrokeArrowHeadAlignmentCommand final
    : public SetLinePropertyCommand<SetStrokeArrowHeadAlignmentCommand, ArrowHeadAlignmentArguments> {
public:
    SetStrokeArrowHeadAlignmentCommand() = default;
    SetStrokeArrowHeadAlignmentCommand(bool beyondEnds, ContentType contentType, bool useTextStyle, bool canMerge,
                                       LineCommandDefaultsMode defaultsMode, Kernel::Counted<Selection const> selection)
        : SetLinePropertyCommand({beyondEnds}, contentType, useTextStyle, canMerge, defaultsMode,
                                 std::move(selection)) {}
    Kernel::LocalisedString GetDescription() const override;
    static void Apply(ArrowHeadAlignmentArguments const& arguments, Renderer::LineStyleDescriptor& descriptor);
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

struct ArrowHeadScaleArguments {
    bool setFront = false;
    double front = 1;
    bool setBack = false;
    double back = 1;
    static constexpr auto Fields() {
        using This = ArrowHeadScaleArguments;
        return Kernel::FieldList{Kernel::Field{"SFro", &This::setFront}, Kernel::Field{"Fron", &This::front},
                                 Kernel::Field{"SBac", &This::setBack}, Kernel::Field{"Back", &This::back}};
    }
};

// Sets how many times their size heads are drawn, in both directions. Ends without a head have no scale.
class REDRAFT_ENGINE SetStrokeArrowHeadScaleCommand final
    : public SetLinePropertyCommand<SetStrokeArrowHeadScaleCommand, ArrowHeadScaleArguments> {
public:
    SetStrokeArrowHeadScaleCommand() = default;
    SetStrokeArrowHeadScaleCommand(bool setFront, double front, bool setBack, double back, ContentType contentType,
                                   bool useTextStyle, bool canMerge, LineCommandDefaultsMode defaultsMode,
                                   Kernel::Counted<Selection const> selection)
        : SetLinePropertyCommand({setFront, front, setBack, back}, contentType, useTextStyle, canMerge, defaultsMode,
                                 std::move(selection)) {}
    Kernel::LocalisedString GetDescription() const override;
    static void Apply(ArrowHeadScaleArguments const& arguments, Renderer::LineStyleDescriptor& descriptor);
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

struct LinePressureArguments {
    Kernel::Counted<Geometry::CurveDbl const> pressure;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Pres", &LinePressureArguments::pressure}};
    }
};

// Sets the pressure profile; a null one is none.
class REDRAFT_ENGINE SetLineStylePressureCommand final
    : public SetLinePropertyCommand<SetLineStylePressureCommand, LinePressureArguments> {
public:
    SetLineStylePressureCommand() = default;
    SetLineStylePressureCommand(Kernel::Counted<Geometry::CurveDbl const> pressure, ContentType contentType,
                                bool useTextStyle, bool canMerge, LineCommandDefaultsMode defaultsMode,
                                Kernel::Counted<Selection const> selection)
        : SetLinePropertyCommand({std::move(pressure)}, contentType, useTextStyle, canMerge, defaultsMode,
                                 std::move(selection)) {}
    Kernel::LocalisedString GetDescription() const override;
    static void Apply(LinePressureArguments const& arguments, Renderer::LineStyleDescriptor& descriptor);
    static Kernel::ClassProperties const* GetTypeClassProperties();
};
