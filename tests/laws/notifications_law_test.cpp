// SPDX-License-Identifier: Apache-2.0
// The notifications of commands, judged by what a front end must be able to show from them: after Do, Undo and Redo of
// every example, in previews too. The judge is judged as well: it must notice when something is left out or bent.

#include "frame/contract/notifications.h"
#include "platform/document/data_merge_warnings_notification.h"
#include "platform/document/front_end_listener.h"
#include "platform/kernel/cast.h"
#include "tests/laws/example_run.h"
#include "tests/laws/told_changes.h"

#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <typeindex>

namespace {

using Rect = Kernel::RectT<double>;
using Untold = CommandExample::Untold;

class FrontEnd final : public FrontEndListener {
public:
    explicit FrontEnd(DocumentController& controller) : m_controller(&controller) { controller.AddListener(this); }
    FrontEnd(FrontEnd const&) = delete;
    FrontEnd& operator=(FrontEnd const&) = delete;
    ~FrontEnd() override { m_controller->RemoveListener(this); }
    void Receive(Kernel::NonCounted<Kernel::Notification> notification) override {
        heard.push_back(notification.ToCounted());
    }
    Kernel::NotificationList heard;

private:
    DomainController* m_controller;
};

// One operation with the document on both sides of it.
struct Step {
    std::string name;
    ShownDocument before, after;
    Kernel::NotificationList told;
};

// Everything that an example does, in order.
struct Course {
    explicit Course(CommandExample const& theExample) : run(theExample), frontEnd(*run.controller) {
        run.controller->SetActive(true);
        auto& controller = *run.controller;
        Note("Do", [&] { run.Do(); });
        if (controller.GetLastResult().stacked) {
            for (int round = 0; round != 2; ++round) {
                Note("Undo", [&] { controller.Undo(); });
                Note("Redo", [&] { controller.Redo(); });
            }
            return;
        }
        // Outside the history the command's own operations still tell what they do.
        auto const tellAfter = [&](void (Command::*operation)()) {
            ((*run.command).*operation)();
            run.command->NotifyWithCacheUpdates(frontEnd.heard);
        };
        Note("Undo", [&] { tellAfter(&Command::Undo); });
        Note("Redo", [&] { tellAfter(&Command::Redo); });
    }
    void Note(char const* name, std::function<void()> const& operation) {
        ShownDocument before(*run.controller);
        frontEnd.heard.clear();
        operation();
        steps.push_back({name, std::move(before), ShownDocument(*run.controller), std::move(frontEnd.heard)});
    }
    Judgement Judge(Step const& step, Kernel::NotificationList const& told) const {
        return JudgeNotifications({run.controller, run.command, run.example.tellsWholeDocument,
                                   run.example.keptInDocument, step.before, step.after},
                                  told);
    }

    ExampleRun run;
    FrontEnd frontEnd;
    std::vector<Step> steps;
};

bool IsLeftOut(CommandExample const& example, Untold kind) {
    return std::find(example.untold.begin(), example.untold.end(), kind) != example.untold.end();
}

class NotificationLaws : public testing::TestWithParam<std::size_t> {
protected:
    CommandExample const& Example() const { return AllExamples()[GetParam()]; }
    void Expect(Judgement const& judgement, std::string const& step) {
        for (auto const& text : judgement.wrong)
            ADD_FAILURE() << step << ": " << text;
        for (auto const& complaint : judgement.untold) {
            m_seen.insert(complaint.kind);
            if (!IsLeftOut(Example(), complaint.kind))
                ADD_FAILURE() << step << ": " << complaint.text;
        }
    }
    std::set<Untold> m_seen;
};

TEST_P(NotificationLaws, WhatChangedIsToldAndNothingElse) {
    Course const course(Example());
    for (auto const& step : course.steps)
        Expect(course.Judge(step, step.told), step.name);
    for (auto const kind : Example().untold)
        EXPECT_TRUE(m_seen.contains(kind)) << "nothing of the kind " << static_cast<int>(kind) << " is left untold";
}

// Notifications that have no say in whether they are part of a preview.
bool IsNeverOfAPreview(DocumentNotification const& notification, std::string const& className) {
    if (Kernel::CastPointer<PlainDocumentNotification const>(&notification) != nullptr ||
        Kernel::CastPointer<SymbolsChangedNotification const>(&notification) != nullptr ||
        Kernel::CastPointer<AvailableFieldsChangedNotification const>(&notification) != nullptr ||
        Kernel::CastPointer<DataMergeWarningsNotification const>(&notification) != nullptr ||
        Kernel::CastPointer<IndexTopicsChangedNotification const>(&notification) != nullptr ||
        Kernel::CastPointer<ExportArticlesChangedNotification const>(&notification) != nullptr ||
        Kernel::CastPointer<ViewPointChangedNotification const>(&notification) != nullptr)
        return true;
    if (Kernel::CastPointer<ShowPanelNotification const>(&notification) != nullptr)
        return true;
    // Required of these commands.
    return (className == "FlipCanvasCommand" &&
            Kernel::CastPointer<InvalidateDocumentAllNotification const>(&notification) != nullptr) ||
           (className == "SetMarkAsDecorationCommand" &&
            Kernel::CastPointer<MetadataChangedNotification const>(&notification) != nullptr) ||
           (className == "AddCaptionCommand" &&
            Kernel::CastPointer<InvalidateToolAllNotification const>(&notification) != nullptr);
}

TEST_P(NotificationLaws, APreviewTellsTheSameAndSaysThatItIsOne) {
    ExampleRun run(Example());
    auto& controller = *run.controller;
    controller.SetActive(true);
    FrontEnd frontEnd(controller);
    auto const note = [&](char const* name, bool isPreview, std::function<void()> const& operation) {
        ShownDocument const before(controller);
        frontEnd.heard.clear();
        operation();
        ShownDocument const after(controller);
        for (auto const& notification : frontEnd.heard) {
            auto const about = Kernel::Cast<DocumentNotification>(notification);
            if (about && !IsNeverOfAPreview(*about, Example().className)) {
                EXPECT_EQ(isPreview, about->IsPreview()) << name << ": " << typeid(*about).name();
            }
        }
        return JudgeNotifications(
            {run.controller, run.command, Example().tellsWholeDocument, Example().keptInDocument, before, after},
            frontEnd.heard);
    };
    Expect(note("show", true, [&] { controller.RunPreview(run.command); }), "show");
    Expect(note("take back", true, [&] { controller.EndPreview(false); }), "take back");
    run.command = Example().make(controller);
    Expect(note("show again", true, [&] { controller.RunPreview(run.command); }), "show again");
    // Nothing changes any more, but those that did without the preview hear of it now.
    note("keep", false, [&] { controller.EndPreview(true); });
    EXPECT_FALSE(frontEnd.heard.empty() && !Example().untold.empty() && Example().untold.front() != Untold::Setting);
}

// Changes one notification, or leaves it out where the result is empty. A bend that does not know a notification gives
// it back.
using Bend = std::function<Kernel::Counted<Kernel::Notification>(Kernel::Counted<Kernel::Notification> const&)>;

Kernel::Counted<Kernel::Notification> WithRects(InvalidateDocumentNotification const& invalid,
                                                std::function<Rect(Rect const&)> const& change) {
    SpreadRects rects;
    for (auto rect : invalid.GetSpreadRects().GetRects()) {
        rect.rect = change(rect.rect);
        rects.Append(rect);
    }
    if (!invalid.GetSpreadRects().IsEmpty())
        return Kernel::MakeCounted<InvalidateDocumentNotification>(
            invalid.GetDocumentController(), rects, invalid.GetSelection(), invalid.IsPreview(), false, false, false);
    return Kernel::MakeCounted<InvalidateDocumentNotification>(invalid.GetDocumentController(),
                                                               change(invalid.GetArea()), invalid.GetSelection(),
                                                               invalid.IsPreview(), false, false, false);
}

// Bends rectangles of areas.
Bend BendRects(std::function<Rect(Rect const&)> const& change) {
    return [change](Kernel::Counted<Kernel::Notification> const& notification) {
        auto const invalid = Kernel::Cast<InvalidateDocumentNotification>(notification);
        bool const isBent = invalid && !Kernel::Cast<InvalidateDocumentAllNotification>(notification);
        return isBent ? WithRects(*invalid, change) : notification;
    };
}

struct NamedBend {
    std::string name;
    Bend bend;
};

std::vector<NamedBend> MakeBends(Kernel::NotificationList const& told) {
    std::vector<NamedBend> bends;
    std::set<std::type_index> classes;
    for (auto const& notification : told) {
        auto const& known = *notification;
        classes.insert(typeid(known));
    }
    for (auto const& type : classes) {
        bends.push_back({std::string("without ") + type.name(), [type](auto const& notification) {
                             auto const& known = *notification;
                             return std::type_index(typeid(known)) == type ? nullptr : notification;
                         }});
    }
    bends.push_back({"areas to the right", BendRects([](Rect const& r) {
                         double const by = r.GetWidth() / 2 + 10;
                         return r.IsEmpty() ? r : Rect{r.left + by, r.top, r.right + by, r.bottom};
                     })});
    bends.push_back({"areas upwards", BendRects([](Rect const& r) {
                         double const by = r.GetHeight() / 2 + 10;
                         return r.IsEmpty() ? r : Rect{r.left, r.top - by, r.right, r.bottom - by};
                     })});
    bends.push_back({"half of areas", BendRects([](Rect const& r) {
                         return Rect{r.left, r.top, r.left + r.GetWidth() / 2, r.bottom};
                     })});
    bends.push_back({"the whole spread", BendRects([](Rect const& r) {
                         return r.IsEmpty() ? r : Rect{-5000, -5000, 5000, 5000};
                     })});
    bends.push_back({"everything", [](auto const& notification) -> Kernel::Counted<Kernel::Notification> {
                         auto const invalid = Kernel::Cast<InvalidateDocumentNotification>(notification);
                         if (!invalid || Kernel::Cast<InvalidateDocumentAllNotification>(notification))
                             return notification;
                         return Kernel::MakeCounted<InvalidateDocumentAllNotification>(invalid->GetDocumentController(),
                                                                                       false);
                     }});
    bends.push_back(
        {"selections the other way round", [](auto const& notification) -> Kernel::Counted<Kernel::Notification> {
             auto const selection = Kernel::Cast<NewSelectionNotification>(notification);
             if (!selection)
                 return notification;
             return Kernel::MakeCounted<NewSelectionNotification>(
                 selection->GetOldSelection(), selection->GetNewSelection(), selection->GetDocumentController(),
                 selection->IsPreview());
         }});
    bends.push_back(
        {"view points the other way round", [](auto const& notification) -> Kernel::Counted<Kernel::Notification> {
             auto const point = Kernel::Cast<ViewPointChangedNotification>(notification);
             if (!point)
                 return notification;
             return Kernel::MakeCounted<ViewPointChangedNotification>(point->GetDocumentController(),
                                                                      1 - point->GetKind(), point->GetViewPoint());
         }});
    return bends;
}

// A bent notification is one that a broken command could have raised. It is found in one direction at least.
TEST_P(NotificationLaws, WhatIsLeftOutOrBentIsNoticed) {
    Course const course(Example());
    Kernel::NotificationList all;
    for (auto const& step : course.steps)
        all.insert(all.end(), step.told.begin(), step.told.end());
    for (auto const& [name, bend] : MakeBends(all)) {
        bool isBent = false, isNoticed = false;
        for (auto const& step : course.steps) {
            Kernel::NotificationList bent;
            bool isOther = false;
            for (auto const& notification : step.told) {
                auto const changed = bend(notification);
                isOther = isOther || changed != notification;
                if (changed)
                    bent.push_back(changed);
            }
            auto const selectionsAreEqual = step.before.selection == step.after.selection;
            if (!isOther || (name.starts_with("selections") && selectionsAreEqual))
                continue;
            isBent = true;
            auto const judgement = course.Judge(step, bent);
            // Omissions on purpose are there without the bend too, and do not count.
            auto const asTold = course.Judge(step, step.told).untold;
            isNoticed = isNoticed || !judgement.wrong.empty() ||
                        std::any_of(judgement.untold.begin(), judgement.untold.end(), [&](auto const& complaint) {
                            return std::none_of(asTold.begin(), asTold.end(),
                                                [&](auto const& known) { return known.text == complaint.text; });
                        });
        }
        // Where nodes leave for good, areas may be told in which nothing stands any more.
        // Required of two commands: two notifications that name the same nodes, either of which would do.
        bool const isDouble = (Example().className == "SetBrushFillScaleWithObjectCommand" ||
                               Example().className == "AddCaptionCommand") &&
                              name.find("Nodes") != name.npos;
        // Required of a third: two that name the same source.
        bool const isOfScript =
            Example().className == "SetDataMergeJavaScriptFilterScriptCommand" && name.find("DataMerge") != name.npos;
        // Required of another: it tells of guides after each change of size, and of a scale that nothing keeps.
        // A third has the editor scroll to what it selects, or draw its tool again, of which a document shows nothing;
        // another has a panel of the editor shown; a fourth tells of the names that a front end may make of metadata,
        // and of captions, which read otherwise while their stories are as before.
        auto const tells = [&](char const* className, char const* notification) {
            return Example().className == className && name.find(notification) != name.npos;
        };
        bool const isUnseen =
            tells("SetArtboardPropertiesCommand", "Guides") || tells("SetArtboardPropertiesCommand", "DocumentUnit") ||
            tells("LocateTextResourceCommand", "EnsureSelectionVisible") ||
            tells("AddCaptionCommand", "InvalidateTool") || tells("SetMetadataTagCommand", "DescriptionChanged") ||
            tells("SetMetadataTagCommand", "StoryChanged") || tells("GenerateImageNodeCommand", "ShowPanel");
        bool const isAllowed =
            isDouble || isOfScript || isUnseen || (name == "the whole spread" && Example().keptInDocument);
        EXPECT_TRUE(!isBent || isNoticed || isAllowed) << name;
    }
}

// The notifications of one direction do not serve for another one where the selections or the lists of the document
// differ.
TEST_P(NotificationLaws, TheWrongDirectionIsNoticed) {
    Course const course(Example());
    auto const tellsOfDirection = [](Kernel::NotificationList const& told) {
        return std::any_of(told.begin(), told.end(), [](auto const& notification) {
            auto const selection = Kernel::Cast<NewSelectionNotification>(notification);
            return (selection && selection->GetOldSelection() != selection->GetNewSelection()) ||
                   Kernel::Cast<ViewPointChangedNotification>(notification);
        });
    };
    for (std::size_t i = 1; i < course.steps.size(); ++i) {
        auto const& step = course.steps[i];
        auto const& other = course.steps[i - 1];
        if (tellsOfDirection(step.told)) {
            EXPECT_FALSE(course.Judge(step, other.told).wrong.empty()) << step.name;
        }
    }
}

std::string ExampleName(testing::TestParamInfo<std::size_t> const& info) {
    return AllExamples()[info.param].className + std::to_string(info.param);
}

INSTANTIATE_TEST_SUITE_P(Commands, NotificationLaws, testing::Range(std::size_t{0}, AllExamples().size()), ExampleName);

} // namespace
