// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainSession.h"

#include "FrameSource.h"
#include "ModelTestSupport.h"
#include "RTTI.h"

#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using State = CzChainSession::EzState;
using testing::ElementsAre;

namespace {

class ChainSessionTest : public testing::Test {
protected:
    ChainSessionTest() {
        QObject::connect(&m_session, &CzChainSession::failed,
                         [this](const QString& message) { m_failures.append(message); });
        QObject::connect(&m_session, &CzChainSession::warned,
                         [this](const QStringList& warnings) { m_warnings += warnings; });
    }
    ~ChainSessionTest() override { m_gate.open(); }

    AdjustableElement* add(int level = 0, int index = 1000) {
        auto element = std::make_unique<AdjustableElement>();
        element->level = level;
        AdjustableElement* const added = element.get();
        m_session.insert(index, std::move(element));
        return added;
    }

    /// What tells the elements apart, in the order of the chain.
    std::vector<int> levels() const {
        std::vector<int> found;
        for (CzChainable* const element : m_session.elements())
            found.push_back(dynamic_cast<AdjustableElement&>(*element).level);
        return found;
    }

    void push(int frameNo) { ASSERT_TRUE(m_session.chain().source().push(makeFrame(frameNo))); }

    /// From now on the worker is at a frame, and stays there.
    void block(AdjustableElement& element, int frameNo = 7) {
        m_gate.guard(element);
        m_session.setRunning(true);
        push(frameNo);
        m_gate.awaitArrival();
    }

    bool runsOn() {
        return waitFor([this] { return m_session.state() == State::Running; });
    }
    bool comesToRest() {
        return waitFor([this] { return m_session.state() == State::Stopped; });
    }

    QString file(const QString& name, const QByteArray& content) const {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }
    QString path(const QString& name) const { return m_folder.filePath(name); }
    static QByteArray contentOf(const QString& path) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    static QByteArray chainText(const QByteArray& elements) {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<chain version=\"1\">\n" + elements +
               "</chain>\n";
    }
    static QByteArray adjustable(int level) {
        return "  <chainable uniqueId=\"org.zuviewer.tests.AdjustableElement\" level=\"" +
               QByteArray::number(level) + "\"/>\n";
    }

    const ElementClasses m_classes;
    QTemporaryDir m_folder;
    QStringList m_failures;
    QStringList m_warnings;
    Gate m_gate;
    CzChainSession m_session;
};

} // namespace

// ---- The GUI thread never waits for a picture ----
// Where one of these calls waited for the worker, the test would not come to its end: only the test itself
// lets the worker go on.

TEST_F(ChainSessionTest, ChangesReturnAtOnceWhileTheWorkerIsBlockedAndAreMadeInOrderAfterwards) {
    AdjustableElement* const first = add(1);
    AdjustableElement* const gate = add(2);
    add(3);
    block(*gate);
    std::vector<std::vector<int>> seen;
    QObject::connect(&m_session, &CzChainSession::chainChanged, [&] { seen.push_back(levels()); });

    add(4, 0);
    m_session.remove(2);
    m_session.move(0, 3);
    m_session.setBypassed(0, true);
    m_session.pressButton(0, AdjustableElement::Wild);
    m_session.duplicate(1);
    m_session.undo();
    m_session.undo();
    m_session.redo();
    m_session.save(path(QStringLiteral("a.zuchain")));

    EXPECT_EQ(State::Stopping, m_session.state());
    EXPECT_TRUE(m_session.isWanted());
    EXPECT_THAT(levels(), ElementsAre(1, 2, 3));
    EXPECT_TRUE(seen.empty());

    m_gate.open();
    ASSERT_TRUE(runsOn());
    EXPECT_THAT(seen, ElementsAre(ElementsAre(4, 1, 2, 3), ElementsAre(4, 1, 2), ElementsAre(4, 2, 1),
                                  ElementsAre(4, 2, 2, 1), ElementsAre(4, 2, 1), ElementsAre(4, 2, 1),
                                  ElementsAre(4, 2, 1)));
    EXPECT_EQ(EzChainableState::Bypassed, first->state());
    EXPECT_EQ(AdjustableElement::Wild, first->mood);
    EXPECT_TRUE(m_failures.isEmpty());
    EXPECT_EQ(1U, m_session.chain().counters().framesOut);
}

TEST_F(ChainSessionTest, LoadingReturnsAtOnceWhileTheWorkerIsBlocked) {
    const QString saved = file(QStringLiteral("a.zuchain"), chainText(adjustable(5) + adjustable(6)));
    AdjustableElement* const gate = add(1);
    block(*gate);
    m_session.load(saved);
    m_session.clear();
    m_session.load(saved);
    EXPECT_EQ(State::Stopping, m_session.state());
    EXPECT_THAT(levels(), ElementsAre(1));
    EXPECT_EQ(QString(), m_session.path());
    m_gate.open();
    ASSERT_TRUE(runsOn());
    EXPECT_THAT(levels(), ElementsAre(5, 6));
    EXPECT_EQ(saved, m_session.path());
    EXPECT_EQ(2, AdjustableElement::alive);
}

TEST_F(ChainSessionTest, StoppingAndStartingReturnAtOnceWhileTheWorkerIsBlocked) {
    AdjustableElement* const gate = add();
    block(*gate);
    EXPECT_EQ(State::Running, m_session.state());
    m_session.setRunning(false);
    EXPECT_EQ(State::Stopping, m_session.state());
    m_session.setRunning(true);
    m_session.setRunning(false);
    m_session.setRunning(true);
    m_gate.open();
    ASSERT_TRUE(runsOn());
    push(8);
    EXPECT_TRUE(waitFor([this] { return m_session.chain().counters().framesOut == 2; }));
}

TEST_F(ChainSessionTest, TheFrameThatHangsIsNamedWithItsElement) {
    add();
    AdjustableElement* const gate = add();
    EXPECT_FALSE(m_session.isStuck(0.0));
    block(*gate, 9);
    m_session.setRunning(false);
    EXPECT_TRUE(waitFor([this] { return m_session.isStuck(20.0); }));
    EXPECT_EQ(1, m_session.chain().workerState().element);
    EXPECT_EQ(9, m_session.chain().workerState().frameNo);
    EXPECT_GT(m_session.chain().workerState().milliseconds, 20.0);
    EXPECT_FALSE(m_session.isStuck(1e9));
    m_gate.open();
    ASSERT_TRUE(comesToRest());
    EXPECT_FALSE(m_session.isStuck(0.0));
}

TEST_F(ChainSessionTest, ChangesOfAnElementThatIsGoneByThenComeToNothing) {
    add(1);
    AdjustableElement* const gate = add(2);
    block(*gate);
    m_session.remove(0);
    m_session.remove(0);
    m_session.move(0, 1);
    m_session.setBypassed(0, true);
    m_session.pressButton(0, AdjustableElement::Wild);
    m_session.clear();
    m_session.remove(1);
    m_session.setBypassed(1, true);
    m_session.pressButton(1, AdjustableElement::Wild);
    m_gate.open();
    ASSERT_TRUE(runsOn());
    EXPECT_TRUE(m_session.elements().isEmpty());
    EXPECT_EQ(0, AdjustableElement::alive);
    EXPECT_EQ(0, m_session.undoStack().count());
    EXPECT_TRUE(m_failures.isEmpty());
}

TEST_F(ChainSessionTest, AnElementSwitchedOffAndOnWhileItWaitsIsOnInTheEnd) {
    AdjustableElement* const gate = add();
    block(*gate);
    m_session.setBypassed(0, true);
    m_session.setBypassed(0, true);
    m_session.setBypassed(0, false);
    EXPECT_EQ(EzChainableState::Processing, gate->state());
    m_gate.open();
    ASSERT_TRUE(runsOn());
    EXPECT_EQ(EzChainableState::Processing, gate->state());
    EXPECT_EQ(3, m_session.undoStack().count()) << "added, switched off, switched on";
}

// ---- Changes lose nothing ----

TEST_F(ChainSessionTest, ChangesOfARunningChainKeepTheElementsThemselves) {
    AdjustableElement* const first = add(1);
    AdjustableElement* const second = add(2);
    first->mood = AdjustableElement::Wild; // is in no file
    QSignalSpy starts(&m_session, &CzChainSession::started);
    m_session.setRunning(true);
    const auto elements = [this] {
        EXPECT_TRUE(runsOn());
        return std::vector<CzChainable*>(m_session.elements().begin(), m_session.elements().end());
    };
    m_session.move(0, 1);
    EXPECT_THAT(elements(), ElementsAre(second, first));
    m_session.remove(1);
    EXPECT_THAT(elements(), ElementsAre(second));
    EXPECT_EQ(nullptr, first->chain());
    m_session.undo();
    EXPECT_THAT(elements(), ElementsAre(second, first));
    m_session.undo();
    EXPECT_THAT(elements(), ElementsAre(first, second));
    m_session.redo();
    m_session.redo();
    EXPECT_THAT(elements(), ElementsAre(second));
    m_session.undo();
    EXPECT_THAT(elements(), ElementsAre(second, first));
    EXPECT_EQ(AdjustableElement::Wild, first->mood);
    EXPECT_EQ(1, first->level);
    EXPECT_EQ(2, AdjustableElement::alive);
    EXPECT_GE(starts.count(), 6);
    push(1);
    EXPECT_TRUE(waitFor([this] { return m_session.chain().counters().framesOut == 1; }));
}

TEST_F(ChainSessionTest, ADuplicateHasTheSettingsOfItsModelAndIsSwitchedAsIt) {
    AdjustableElement* const model = add(3);
    add(4);
    model->mood = AdjustableElement::Wild;
    m_session.setBypassed(0, true);
    m_session.duplicate(0);
    EXPECT_THAT(levels(), ElementsAre(3, 3, 4));
    auto& copy = dynamic_cast<AdjustableElement&>(*m_session.elements().at(1));
    EXPECT_NE(model, &copy);
    EXPECT_EQ(AdjustableElement::Wild, copy.mood);
    EXPECT_EQ(EzChainableState::Bypassed, copy.state());
}

TEST_F(ChainSessionTest, WhatIsOutsideTheChainIsDeletedWithTheHistory) {
    add(1);
    m_session.remove(0);
    EXPECT_EQ(1, AdjustableElement::alive);
    m_session.clear();
    EXPECT_EQ(0, AdjustableElement::alive);
    add(2);
    m_session.undo();
    EXPECT_EQ(1, AdjustableElement::alive);
    add(3); // what could be redone goes
    EXPECT_EQ(1, AdjustableElement::alive);
}

// ---- Undo ----

TEST_F(ChainSessionTest, TheHistoryTellsWhatItUndoes) {
    const auto undoText = [this] { return m_session.undoStack().undoText().toStdString(); };
    add(1);
    EXPECT_EQ("Add Level 1", undoText());
    add(2);
    m_session.move(0, 1);
    EXPECT_EQ("Move Level 1", undoText());
    m_session.setBypassed(0, true);
    EXPECT_EQ("Switch off Level 2", undoText());
    m_session.setBypassed(0, false);
    EXPECT_EQ("Switch on Level 2", undoText());
    m_session.duplicate(1);
    EXPECT_EQ("Duplicate Level 1", undoText());
    m_session.remove(0);
    EXPECT_EQ("Remove Level 2", undoText());
    for (int i = 0; i < 7; ++i)
        m_session.undo();
    EXPECT_TRUE(levels().empty());
    EXPECT_FALSE(m_session.undoStack().canUndo());
    m_session.undo();
    for (int i = 0; i < 8; ++i)
        m_session.redo();
    EXPECT_THAT(levels(), ElementsAre(1, 1));
}

TEST_F(ChainSessionTest, KeepsNoEndlessHistory) {
    add();
    for (int i = 0; i < 300; ++i)
        m_session.setBypassed(0, i % 2 == 0);
    EXPECT_EQ(100, m_session.undoStack().count());
}

TEST_F(ChainSessionTest, WhatChangesNothingIsNotInTheHistory) {
    add(1);
    add(2);
    m_session.move(0, 0);
    m_session.move(1, 5);
    m_session.move(0, -3);
    m_session.move(2, 0);
    m_session.remove(2);
    m_session.remove(-1);
    m_session.duplicate(7);
    m_session.setBypassed(0, false);
    m_session.setBypassed(-1, true);
    m_session.pressButton(5, 0);
    EXPECT_EQ(2, m_session.undoStack().count());
    EXPECT_THAT(levels(), ElementsAre(1, 2));
    EXPECT_TRUE(m_failures.isEmpty());
}

TEST_F(ChainSessionTest, AnElementThatDoesNotFitIsToldAndTheChainStays) {
    add(1);
    AdjustableElement* const second = add(2);
    m_session.insert(1, ElementClasses::lonely);
    EXPECT_THAT(m_failures, ElementsAre(QStringLiteral("Add Scripted: the elements beside it do not fit.")));
    second->accepts = false;
    m_session.move(0, 1);
    m_session.remove(0);
    EXPECT_EQ(3, m_failures.size());
    EXPECT_THAT(levels(), ElementsAre(1, 2));
    EXPECT_EQ(2, m_session.undoStack().count());
}

TEST_F(ChainSessionTest, AnUndoThatHasBecomeImpossibleIsTold) {
    add(1);
    AdjustableElement* const second = add(2);
    m_session.remove(1);
    second->accepts = false;
    m_session.undo();
    EXPECT_EQ(1, m_failures.size());
    EXPECT_THAT(levels(), ElementsAre(1));
    EXPECT_EQ(0, m_session.undoStack().count()) << "what was before does not fit this chain";
    m_session.undo();
    EXPECT_EQ(1, m_failures.size());
}

TEST_F(ChainSessionTest, AnUnknownClassIsTold) {
    m_session.insert(0, QStringLiteral("org.example.Unknown"));
    EXPECT_THAT(m_failures, ElementsAre(QStringLiteral(
                                "No plug-in that is loaded knows the element org.example.Unknown.")));
    EXPECT_TRUE(m_session.elements().isEmpty());
}

// ---- Running ----

TEST_F(ChainSessionTest, EveryStateIsTold) {
    std::vector<State> states;
    QObject::connect(&m_session, &CzChainSession::stateChanged, [&] { states.push_back(m_session.state()); });
    AdjustableElement* const gate = add();
    block(*gate);
    m_session.setRunning(false);
    m_gate.open();
    ASSERT_TRUE(comesToRest());
    EXPECT_TRUE(waitFor([&] { return states.size() == 3; }));
    EXPECT_THAT(states, ElementsAre(State::Running, State::Stopping, State::Stopped));
}

TEST_F(ChainSessionTest, AChainThatRefusesToStartSaysWhyAndIsNotTriedAgain) {
    AdjustableElement* const element = add();
    element->initResult = false;
    m_session.setRunning(true);
    EXPECT_THAT(m_failures, ElementsAre(QStringLiteral("not today")));
    EXPECT_FALSE(m_session.isWanted());
    EXPECT_EQ(State::Stopped, m_session.state());
    add();
    EXPECT_EQ(1, m_failures.size());
    element->initResult = true;
    m_session.setRunning(true);
    EXPECT_EQ(State::Running, m_session.state());
}

TEST_F(ChainSessionTest, AnElementThatRestartsTheChainDoesNotKeepItFromStopping) {
    AdjustableElement* const gate = add();
    block(*gate);
    m_session.setRunning(false);
    m_gate.open();
    m_session.chain().stop(); // as an element's widget does when its user changes something
    ASSERT_TRUE(m_session.chain().start());
    EXPECT_EQ(State::Stopping, m_session.state());
    ASSERT_TRUE(comesToRest());
    EXPECT_FALSE(m_session.isWanted());
}

TEST_F(ChainSessionTest, AnElementThatRestartsTheChainDoesNotKeepItFromChanges) {
    AdjustableElement* const gate = add(1);
    block(*gate);
    add(2);
    m_gate.open();
    m_session.chain().stop();
    ASSERT_TRUE(m_session.chain().start());
    EXPECT_THAT(levels(), ElementsAre(1));
    ASSERT_TRUE(runsOn());
    EXPECT_THAT(levels(), ElementsAre(1, 2));
}

TEST_F(ChainSessionTest, ChangesAndStartsThatAChangeAsksForAreMadeToo) {
    bool isFirst = true;
    QObject::connect(&m_session, &CzChainSession::chainChanged, [&] {
        m_session.setRunning(true);
        if (std::exchange(isFirst, false))
            add(2);
    });
    add(1);
    EXPECT_THAT(levels(), ElementsAre(1, 2));
    EXPECT_EQ(State::Running, m_session.state());
}

TEST_F(ChainSessionTest, AFunctionRunsAtOnceOnAChainThatStandsStill) {
    int calls = 0;
    m_session.whenStopped([&] { m_session.whenStopped([&] { ++calls; }); });
    EXPECT_EQ(1, calls);
    m_session.setRunning(true);
    bool stoodStill = false;
    m_session.whenStopped([&] { stoodStill = m_session.chain().stopped(); });
    EXPECT_FALSE(stoodStill);
    ASSERT_TRUE(runsOn());
    EXPECT_TRUE(stoodStill);
}

TEST_F(ChainSessionTest, ChangesWaitWhileADialogIsOpen) {
    add(1);
    QDialog dialog;
    dialog.setModal(true);
    dialog.show();
    ASSERT_EQ(&dialog, QApplication::activeModalWidget());
    m_session.remove(0); // its widget may have opened the dialog
    m_session.setRunning(true);
    EXPECT_THAT(levels(), ElementsAre(1));
    EXPECT_EQ(State::Stopped, m_session.state());
    dialog.hide();
    ASSERT_TRUE(runsOn());
    EXPECT_TRUE(levels().empty());
}

TEST_F(ChainSessionTest, ChangesWaitWhileAListIsOpen) {
    add(1);
    QWidget list(nullptr, Qt::Popup);
    list.show();
    ASSERT_EQ(&list, QApplication::activePopupWidget());
    m_session.remove(0);
    EXPECT_THAT(levels(), ElementsAre(1));
    list.hide();
    EXPECT_TRUE(waitFor([this] { return levels().empty(); }));
}

TEST_F(ChainSessionTest, AnInterruptionComesBeforeChangesAndTheChainGoesOnAsIfNothingHadBeen) {
    AdjustableElement* const gate = add(1);
    block(*gate);
    QSignalSpy starts(&m_session, &CzChainSession::started);
    QSignalSpy states(&m_session, &CzChainSession::stateChanged);
    bool stoodStill = false;
    m_session.interrupt([&] { stoodStill = m_session.chain().stopped(); });
    EXPECT_FALSE(stoodStill);
    EXPECT_EQ(State::Running, m_session.state());
    m_gate.open();
    ASSERT_TRUE(waitFor([&] { return stoodStill; }));
    EXPECT_FALSE(m_session.chain().stopped());
    EXPECT_EQ(0, starts.count() + states.count());

    std::vector<std::size_t> elements;
    add(2);
    m_session.interrupt([&] { elements.push_back(levels().size()); });
    ASSERT_TRUE(runsOn());
    EXPECT_THAT(elements, ElementsAre(1U));
    EXPECT_THAT(levels(), ElementsAre(1, 2));
    EXPECT_EQ(1, starts.count()) << "of a chain that was changed";
}

TEST_F(ChainSessionTest, AnInterruptionDoesNotWaitForTheDialogThatItMayBeFor) {
    add(1);
    m_session.setRunning(true);
    QDialog dialog;
    dialog.setModal(true);
    dialog.show();
    bool made = false;
    m_session.interrupt([&] {
        made = true;
        m_session.remove(0); // what waits for the dialog's end
        EXPECT_THAT(levels(), ElementsAre(1));
    });
    ASSERT_TRUE(waitFor([&] { return made; }));
    EXPECT_THAT(levels(), ElementsAre(1));
    dialog.hide();
    ASSERT_TRUE(runsOn());
    EXPECT_TRUE(levels().empty());
}

TEST(ChainSessionEndTest, WhoHoldsOnToElementsIsToldBeforeTheSessionGoes) {
    const ElementClasses classes;
    bool alive = false;
    {
        CzChainSession session;
        session.insert(0, ElementClasses::adjustable);
        QObject::connect(&session, &CzChainSession::aboutToChange,
                         [&] { alive = AdjustableElement::alive == 1; });
        session.setRunning(true);
    }
    EXPECT_TRUE(alive);
    EXPECT_EQ(0, AdjustableElement::alive);
}

// ---- Files ----

TEST_F(ChainSessionTest, MissingElementsAreSavedWordForWord) {
    const QByteArray missing = "<chainable level=\"1\"   uniqueId=\"org.example.Gone\" a='&lt;\xc3\xa4'>\n"
                               "    <inner x=\"2\">text &amp; more</inner><!-- why -->\n  </chainable>";
    const QString original =
        file(QStringLiteral("a.zuchain"), chainText(adjustable(1) + "  " + missing + "\n" + adjustable(2)));
    m_session.load(original);
    ASSERT_EQ(3, m_session.elements().size());
    EXPECT_EQ(QStringLiteral("Missing: org.example.Gone"), m_session.elements().at(1)->caption());
    EXPECT_EQ(1, m_warnings.size());
    EXPECT_TRUE(m_warnings.value(0).contains(QStringLiteral("org.example.Gone")));
    EXPECT_FALSE(m_session.isModified());

    const QString copy = path(QStringLiteral("b.zuchain"));
    ASSERT_TRUE(m_session.save(copy));
    EXPECT_EQ(contentOf(original), contentOf(copy));

    m_session.duplicate(1);
    m_session.move(1, 0);
    ASSERT_TRUE(m_session.save(copy));
    m_session.load(copy);
    ASSERT_TRUE(m_session.save(copy));
    EXPECT_EQ(chainText("  " + missing + "\n" + adjustable(1) + "  " + missing + "\n" + adjustable(2)),
              contentOf(copy));
}

TEST_F(ChainSessionTest, AChainWithAMissingElementDoesNotRunUntilItIsRemoved) {
    m_session.loadText(chainText("<chainable uniqueId=\"org.example.Gone\"/>"), QString());
    m_session.setRunning(true);
    EXPECT_EQ(1, m_failures.size());
    EXPECT_TRUE(m_failures.value(0).contains(QStringLiteral("org.example.Gone")));
    EXPECT_EQ(State::Stopped, m_session.state());
    m_session.remove(0);
    m_session.setRunning(true);
    EXPECT_EQ(State::Running, m_session.state());
}

TEST_F(ChainSessionTest, AChainFileThatIsRefusedLeavesTheChainAsItIs) {
    AdjustableElement* const present = add(1);
    const QString good = path(QStringLiteral("good.zuchain"));
    ASSERT_TRUE(m_session.save(good));
    present->level = 2;
    QSignalSpy changes(&m_session, &CzChainSession::chainChanged);
    const QByteArray lonely = "<chainable uniqueId=\"org.zuviewer.tests.LonelyElement\"/>";
    for (const QByteArray& text :
         {QByteArray("no chain"), QByteArray("<chain version=\"2\"/>"), QByteArray(),
          chainText("<chainable/>"), chainText(adjustable(1) + lonely), chainText("<other/>")}) {
        m_failures.clear();
        m_session.load(file(QStringLiteral("bad.zuchain"), text));
        ASSERT_EQ(1, m_failures.size()) << text.toStdString();
        EXPECT_TRUE(m_failures.first().contains(QStringLiteral("bad.zuchain"))) << text.toStdString();
        m_session.loadText(text, QString());
        EXPECT_EQ(2, m_failures.size()) << text.toStdString();
    }
    m_session.load(path(QStringLiteral("absent.zuchain")));
    EXPECT_EQ(3, m_failures.size());
    EXPECT_EQ(0, changes.count());
    ASSERT_EQ(1, m_session.elements().size());
    EXPECT_EQ(present, m_session.elements().first());
    EXPECT_EQ(good, m_session.path());
    EXPECT_TRUE(m_session.isModified());
    EXPECT_TRUE(m_session.undoStack().canUndo());
}

namespace {

/// Fits behind whatever is no chain's source with a known format.
class FickleElement : public ScriptedElement {
    Q_OBJECT
    Q_CLASSINFO("UniqueID", "org.zuviewer.tests.FickleElement")
public:
    Q_INVOKABLE FickleElement() = default;
    bool acceptsPredecessor(QObject* candidate) override {
        SzPicBufInfo format;
        return !qobject_cast<CzImageProvider*>(candidate)->currentOutputImageInfo(format, nullptr);
    }
};

} // namespace

TEST_F(ChainSessionTest, AChainThatDoesNotFitTheSourceIsRefusedToo) {
    CzRTTI::instance()->registerClass(nullptr, FickleElement::staticMetaObject,
                                      QStringLiteral("CzChainable"));
    m_session.chain().source().setFormat(makeFrame(1)->picBuf(), CzImageMetadata());
    AdjustableElement* const present = add(1);
    const QString bad =
        file(QStringLiteral("bad.zuchain"),
             chainText("<chainable uniqueId=\"org.zuviewer.tests.FickleElement\"/>" + adjustable(2)));
    m_session.load(bad);
    EXPECT_EQ(1, m_failures.size());
    EXPECT_TRUE(m_failures.value(0).contains(QStringLiteral("bad.zuchain")));
    ASSERT_EQ(1, m_session.elements().size());
    EXPECT_EQ(present, m_session.elements().first());
    EXPECT_EQ(1, AdjustableElement::alive);
    m_session.undo();
    EXPECT_TRUE(m_session.elements().isEmpty());
}

TEST_F(ChainSessionTest, SettingsThatCouldNotBeReadAreWarnedAbout) {
    m_session.loadText(chainText("<chainable uniqueId=\"org.zuviewer.tests.AdjustableElement\"/>"),
                       QString());
    EXPECT_THAT(m_warnings, ElementsAre(QStringLiteral("Level 0: the settings lack level.")));
    EXPECT_THAT(levels(), ElementsAre(0));
}

TEST_F(ChainSessionTest, AChainThatCannotBeSavedIsToldAndStaysModified) {
    add();
    EXPECT_FALSE(m_session.save(path(QStringLiteral("no/such/folder.zuchain"))));
    EXPECT_EQ(1, m_failures.size());
    EXPECT_TRUE(m_session.isModified());
    EXPECT_EQ(QString(), m_session.path());
}

TEST_F(ChainSessionTest, AChainIsModifiedWhenItIsNotWhatWasSaved) {
    EXPECT_FALSE(m_session.isModified());
    AdjustableElement* const element = add(1);
    EXPECT_TRUE(m_session.isModified());
    m_session.undo();
    EXPECT_FALSE(m_session.isModified());
    m_session.redo();
    const QString saved = path(QStringLiteral("a.zuchain"));
    ASSERT_TRUE(m_session.save(saved));
    EXPECT_FALSE(m_session.isModified());
    element->level = 2;
    EXPECT_TRUE(m_session.isModified()) << "settings count";
    element->level = 1;
    EXPECT_FALSE(m_session.isModified());
    element->mood = AdjustableElement::Wild;
    EXPECT_FALSE(m_session.isModified()) << "what is not saved does not";
    m_session.setBypassed(0, true);
    EXPECT_TRUE(m_session.isModified());
    m_session.load(saved);
    EXPECT_FALSE(m_session.isModified());
    EXPECT_FALSE(m_session.undoStack().canUndo());
    m_session.clear();
    EXPECT_FALSE(m_session.isModified());
    EXPECT_EQ(QString(), m_session.path());
}

TEST_F(ChainSessionTest, AChainThatComesBackAsTextIsModifiedWhenItsFileSaysSomethingElse) {
    // The file says the same in its own words.
    const QString saved = file(QStringLiteral("a.zuchain"),
                               "<chain version='1'><chainable level='1' "
                               "uniqueId='org.zuviewer.tests.AdjustableElement'></chainable></chain>");
    m_session.loadText(chainText(adjustable(1)), saved);
    EXPECT_EQ(saved, m_session.path());
    EXPECT_FALSE(m_session.isModified());
    m_session.loadText(chainText(adjustable(2)), saved);
    EXPECT_TRUE(m_session.isModified());
    m_session.loadText(chainText(adjustable(2)), QString());
    EXPECT_TRUE(m_session.isModified());
    m_session.loadText(chainText(""), QString());
    EXPECT_FALSE(m_session.isModified());
    m_session.loadText(chainText(adjustable(1)), path(QStringLiteral("absent.zuchain")));
    EXPECT_TRUE(m_session.isModified());
    EXPECT_TRUE(m_failures.isEmpty());
}

#include "ChainSessionTest.moc"
