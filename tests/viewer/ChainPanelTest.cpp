// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainPanel.h"

#include "ChainRow.h"
#include "ChainSession.h"
#include "FrameSource.h"
#include "ModelTestSupport.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPointer>
#include <QSignalSpy>
#include <QThread>
#include <QTimer>
#include <QToolButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace {

class ChainPanelTest : public testing::Test {
protected:
    void SetUp() override {
        m_list = m_panel.findChild<CzChainList*>(QStringLiteral("chain"));
        m_panel.resize(320, 500);
        m_panel.show();
        m_list->setFocus();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&m_panel));
    }
    ~ChainPanelTest() override { m_gate.open(); }

    AdjustableElement* add(int level) {
        auto element = std::make_unique<AdjustableElement>();
        element->level = level;
        AdjustableElement* const added = element.get();
        m_session.insert(1000, std::move(element));
        return added;
    }
    void block(AdjustableElement& element) {
        m_gate.guard(element);
        m_session.setRunning(true);
        ASSERT_TRUE(m_session.chain().source().push(makeFrame(1)));
        m_gate.awaitArrival();
    }
    bool runsOn() {
        return waitFor([this] { return m_session.state() == CzChainSession::EzState::Running; });
    }

    CzChainRow* row(int index) const {
        return static_cast<CzChainRow*>(m_list->itemWidget(m_list->item(index)));
    }
    template <class T>
    T* inRow(int index, const char* name) const {
        return row(index)->findChild<T*>(QLatin1String(name));
    }
    /// The captions of all rows.
    std::vector<std::string> captions() const {
        std::vector<std::string> found;
        for (int i = 0; i < m_list->count(); ++i)
            found.push_back(inRow<QLabel>(i, "caption")->text().toStdString());
        return found;
    }
    /// The buttons that a row shows.
    QVector<QToolButton*> buttons(int index) const {
        QVector<QToolButton*> found;
        for (QToolButton* const button : row(index)->findChildren<QToolButton*>())
            if (!button->isHidden())
                found.append(button);
        return found;
    }
    void click(int index, const char* name) {
        auto* const box = inRow<QCheckBox>(index, name);
        QTest::mouseClick(box, Qt::LeftButton, {}, {8, box->height() / 2});
    }
    QAction& action(const char* name) const { return *m_panel.findChild<QAction*>(QLatin1String(name)); }

    /// Drops a row at a height of the list, as at the end of a drag.
    void drop(int from, int y) {
        QTest::mouseClick(m_list->viewport(), Qt::LeftButton, {}, {20, bottom(from)});
        const std::unique_ptr<QMimeData> data(m_list->model()->mimeData({m_list->model()->index(from, 0)}));
        QDropEvent event(QPointF(20, y), Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
        // Qt delivers drops only at the end of a drag, and there are none on this platform.
        struct Opened : CzChainList {
            using CzChainList::dropEvent;
        };
        (m_list->*&Opened::dropEvent)(&event);
        EXPECT_TRUE(event.isAccepted());
        EXPECT_EQ(Qt::IgnoreAction, event.dropAction()) << "or the drag would take the row away at its end";
    }
    int top(int index) const { return m_list->visualItemRect(m_list->item(index)).top() + 2; }
    int bottom(int index) const { return m_list->visualItemRect(m_list->item(index)).bottom() - 2; }

    const ElementClasses m_classes;
    Gate m_gate;
    CzChainSession m_session;
    CzChainPanel m_panel{m_session};
    CzChainList* m_list = nullptr;
};

} // namespace

// ---- Rows ----

TEST_F(ChainPanelTest, ShowsTheSourceAndTheElementsInOrder) {
    EXPECT_THAT(captions(), ElementsAre("No source"));
    EXPECT_TRUE(inRow<QCheckBox>(0, "switch")->isHidden());
    m_panel.setSourceCaption(QStringLiteral("scene"));
    add(1);
    AdjustableElement* const second = add(2);
    EXPECT_THAT(captions(), ElementsAre("scene", "Level 1", "Level 2"));
    second->level = 3;
    m_panel.refresh(SzChainFigures());
    EXPECT_THAT(captions(), ElementsAre("scene", "Level 1", "Level 3"));
    m_session.undo();
    EXPECT_THAT(captions(), ElementsAre("scene", "Level 1"));
}

TEST_F(ChainPanelTest, ShowsTimesAndErrors) {
    AdjustableElement* const element = add(1);
    add(2);
    SzChainFigures figures;
    figures.elements = {{12.34, QString()}};
    element->report(QStringLiteral("a < b & c, so a longer sentence is needed that takes several lines"));
    m_panel.refresh(figures);
    EXPECT_EQ(QLocale().toString(12.3, 'f', 1) + QStringLiteral(" ms"), inRow<QLabel>(1, "time")->text());
    EXPECT_EQ(QString(), inRow<QLabel>(2, "time")->text());
    auto* const message = inRow<QLabel>(1, "message");
    EXPECT_TRUE(message->isVisible());
    EXPECT_TRUE(message->text().startsWith(QStringLiteral("a < b & c")));
    EXPECT_TRUE(waitFor([=] { return message->height() >= message->heightForWidth(message->width()); }))
        << "all lines can be read";
    EXPECT_TRUE(waitFor([this] { return m_list->viewport()->width() == row(1)->width(); }))
        << "nothing is cut off";
    EXPECT_FALSE(inRow<QLabel>(2, "message")->isVisible());
    element->report(QString());
    m_panel.refresh(figures);
    EXPECT_FALSE(message->isVisible());
}

TEST_F(ChainPanelTest, MissingElementsAreShownAsSuch) {
    m_session.loadText("<chain version=\"1\"><chainable uniqueId=\"org.example.Gone\"/></chain>", QString());
    EXPECT_THAT(captions(), ElementsAre("No source", "Missing: org.example.Gone"));
    EXPECT_TRUE(inRow<QLabel>(1, "caption")->font().italic());
    EXPECT_FALSE(inRow<QCheckBox>(1, "switch")->isEnabled());
    m_panel.selectElement(0);
    QTest::keyClick(m_list, Qt::Key_B, Qt::ControlModifier);
    EXPECT_EQ(EzChainableState::Processing, m_session.elements().first()->state());
    add(1);
    m_panel.selectElement(1);
    EXPECT_TRUE(action("switch").isEnabled());
    EXPECT_FALSE(inRow<QLabel>(2, "caption")->font().italic());
}

TEST_F(ChainPanelTest, TheSwitchSwitches) {
    AdjustableElement* const element = add(1);
    click(1, "switch");
    EXPECT_EQ(EzChainableState::Bypassed, element->state());
    m_panel.refresh(SzChainFigures());
    EXPECT_FALSE(inRow<QCheckBox>(1, "switch")->isChecked());
    EXPECT_FALSE(inRow<QLabel>(1, "caption")->isEnabled());
    click(1, "switch");
    EXPECT_EQ(EzChainableState::Processing, element->state());
    m_panel.selectElement(0);
    action("switch").trigger();
    EXPECT_EQ(EzChainableState::Bypassed, element->state());
    m_session.undo();
    EXPECT_EQ(EzChainableState::Processing, element->state());
    EXPECT_TRUE(inRow<QCheckBox>(1, "switch")->isChecked());
}

TEST_F(ChainPanelTest, QuickButtonsAreThoseOfTheElement) {
    AdjustableElement* const element = add(1);
    ASSERT_EQ(2, buttons(1).size());
    EXPECT_EQ(QStringLiteral("Calm"), buttons(1).at(0)->text());
    EXPECT_TRUE(buttons(1).at(0)->isChecked());
    EXPECT_FALSE(buttons(1).at(1)->isChecked());
    QTest::mouseClick(buttons(1).at(1), Qt::LeftButton);
    EXPECT_EQ(AdjustableElement::Wild, element->mood);
    EXPECT_FALSE(buttons(1).at(0)->isChecked()) << "exactly one is";
    EXPECT_TRUE(buttons(1).at(1)->isChecked());
    QTest::mouseClick(buttons(1).at(1), Qt::LeftButton);
    EXPECT_TRUE(buttons(1).at(1)->isChecked());

    element->hasMore = true; // not exclusive any more
    element->mood = AdjustableElement::Calm;
    m_panel.refresh(SzChainFigures());
    ASSERT_EQ(3, buttons(1).size());
    EXPECT_EQ(QStringLiteral("More"), buttons(1).at(2)->text());
    EXPECT_TRUE(buttons(1).at(0)->isChecked());
    EXPECT_FALSE(buttons(1).at(1)->isChecked());
}

TEST_F(ChainPanelTest, SwitchAndQuickButtonsCanBeReachedAndAreNamed) {
    AdjustableElement* const element = add(1);
    QCheckBox* const shown = inRow<QCheckBox>(1, "switch");
    EXPECT_EQ(QStringLiteral("Use Level 1"), shown->accessibleName());
    element->level = 2;
    m_panel.refresh(SzChainFigures());
    EXPECT_EQ(QStringLiteral("Use Level 2"), shown->accessibleName());
    m_panel.activateWindow();
    shown->setFocus();
    QTest::keyClick(shown, Qt::Key_Tab);
    auto* const button = qobject_cast<QToolButton*>(QApplication::focusWidget());
    ASSERT_TRUE(button);
    EXPECT_EQ(QStringLiteral("Calm"), button->text());
    QTest::keyClick(button, Qt::Key_Right); // within a group of which one is on
    EXPECT_EQ(AdjustableElement::Wild, element->mood);

    element->hasMore = true; // each for itself
    m_panel.refresh(SzChainFigures());
    bool pressedMore = false;
    element->onButton = [&](int id) { pressedMore = id == AdjustableElement::More; };
    shown->setFocus();
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    EXPECT_TRUE(pressedMore);
}

TEST_F(ChainPanelTest, AButtonMayTakeItselfAway) {
    AdjustableElement* const element = add(1);
    element->hasMore = true;
    m_panel.refresh(SzChainFigures());
    element->onButton = [&](int) {
        element->hasMore = false;
        m_panel.refresh(SzChainFigures()); // as it happens while a dialog of the element is open
    };
    QTest::mouseClick(buttons(1).at(2), Qt::LeftButton);
    EXPECT_EQ(2, buttons(1).size());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(2, buttons(1).size());
}

// ---- Keys and menus ----

TEST_F(ChainPanelTest, ActionsAreEnabledWhenTheyCanDoSomething) {
    const auto enabled = [this] {
        std::string found;
        for (const QAction* const shown : m_panel.editActions())
            if (shown->isEnabled())
                found += shown->objectName().toStdString() + ' ';
        return found;
    };
    EXPECT_EQ("add ", enabled());
    add(1);
    add(2);
    m_panel.selectElement(-1);
    EXPECT_EQ("add ", enabled());
    m_panel.selectElement(0);
    EXPECT_EQ("add remove duplicate down switch ", enabled());
    m_panel.selectElement(1);
    EXPECT_EQ("add remove duplicate up switch ", enabled());
}

TEST_F(ChainPanelTest, KeysEditTheChainAndTheSelectionFollows) {
    for (int level = 1; level <= 3; ++level)
        add(level);
    m_panel.selectElement(0);
    QTest::keyClick(m_list, Qt::Key_Down, Qt::AltModifier);
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 2", "Level 1", "Level 3"));
    EXPECT_EQ(1, m_panel.selectedElement());
    QTest::keyClick(m_list, Qt::Key_D, Qt::ControlModifier);
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 2", "Level 1", "Level 1", "Level 3"));
    EXPECT_EQ(2, m_panel.selectedElement()) << "the new one";
    QTest::keyClick(m_list, Qt::Key_Up, Qt::AltModifier);
    QTest::keyClick(m_list, Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(0, m_panel.selectedElement());
    QTest::keyClick(m_list, Qt::Key_Delete);
    QTest::keyClick(m_list, Qt::Key_Delete);
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 1", "Level 3"));
    EXPECT_EQ(0, m_panel.selectedElement()) << "the one that is there now";
    QTest::keyClick(m_list, Qt::Key_End);
    QTest::keyClick(m_list, Qt::Key_Delete);
    EXPECT_EQ(0, m_panel.selectedElement()) << "the last one that is left";
    QTest::keyClick(m_list, Qt::Key_B, Qt::ControlModifier);
    EXPECT_EQ(EzChainableState::Bypassed, m_session.elements().first()->state());
}

TEST_F(ChainPanelTest, DeleteRemovesNothingWhileTheFocusIsElsewhere) {
    add(1);
    m_panel.selectElement(0);
    QLineEdit other(&m_panel);
    other.setReadOnly(true);
    other.show();
    other.setFocus();
    QTest::keyClick(&other, Qt::Key_Delete);
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 1"));
}

TEST_F(ChainPanelTest, ElementsAreAddedBehindTheSelectedOne) {
    add(1);
    add(2);
    m_panel.selectElement(0);
    QSignalSpy selections(&m_panel, &CzChainPanel::selectionChanged);
    m_panel.add(ElementClasses::adjustable);
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 1", "Level 0", "Level 2"));
    EXPECT_EQ(1, m_panel.selectedElement());
    EXPECT_EQ(1, selections.last().at(0).toInt());
    m_panel.add(ElementClasses::lonely);
    EXPECT_EQ(1, m_panel.selectedElement()) << "it was refused";
}

TEST_F(ChainPanelTest, TheCatalogueAddsWhatIsChosenThere) {
    const auto withCatalogue = [this](const std::function<void(QWidget*)>& use) {
        bool wasOpen = false;
        QTimer::singleShot(0, &m_panel, [&] {
            wasOpen = QApplication::activeModalWidget();
            if (wasOpen)
                use(QApplication::activeModalWidget());
        });
        action("add").trigger();
        EXPECT_TRUE(wasOpen);
    };
    withCatalogue([](QWidget* catalogue) { QTest::keyClick(catalogue, Qt::Key_Escape); });
    EXPECT_THAT(captions(), ElementsAre("No source"));
    withCatalogue([](QWidget* catalogue) {
        auto* const search = catalogue->findChild<QLineEdit*>();
        QTest::keyClicks(search, QStringLiteral("bright"));
        QTest::keyClick(search, Qt::Key_Return);
    });
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 0"));
    EXPECT_EQ(0, m_panel.selectedElement());
}

// ---- Dragging ----

TEST_F(ChainPanelTest, DraggingReordersAndTheSelectionFollows) {
    for (int level = 1; level <= 3; ++level)
        add(level);
    ASSERT_TRUE(waitFor([this] { return !m_list->visualItemRect(m_list->item(3)).isEmpty(); }));
    drop(1, bottom(2));
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 2", "Level 1", "Level 3"));
    EXPECT_EQ(1, m_panel.selectedElement());
    drop(1, m_list->viewport()->height() - 2);
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 1", "Level 3", "Level 2")) << "below all rows";
    EXPECT_EQ(2, m_panel.selectedElement());
    drop(3, top(1));
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 2", "Level 1", "Level 3"));
    drop(3, top(0));
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 3", "Level 2", "Level 1")) << "behind the source";
    EXPECT_EQ(0, m_panel.selectedElement());
    const int changes = m_session.undoStack().count();
    drop(0, bottom(2));
    drop(2, top(3));
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 3", "Level 2", "Level 1"))
        << "the source stays, and so does what is there already";
    EXPECT_EQ(changes, m_session.undoStack().count());
    m_session.undo();
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 2", "Level 1", "Level 3"));
}

TEST_F(ChainPanelTest, WhatComesFromElsewhereIsNotLetIn) {
    add(1);
    add(2);
    const std::unique_ptr<QMimeData> data(m_list->model()->mimeData({m_list->model()->index(1, 0)}));
    QDragEnterEvent event({20, bottom(2)}, Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    event.ignore();
    QApplication::sendEvent(m_list->viewport(), &event);
    EXPECT_FALSE(event.isAccepted()) << "no drag of this list is under way";
}

// ---- While the worker is blocked ----

TEST_F(ChainPanelTest, EverythingCanBeAskedForWhileTheWorkerIsBlocked) {
    AdjustableElement* const first = add(1);
    add(2);
    block(*first);
    m_panel.selectElement(0);
    m_panel.add(ElementClasses::adjustable);
    QTest::keyClick(m_list, Qt::Key_Down, Qt::AltModifier);
    QTest::mouseClick(buttons(1).at(1), Qt::LeftButton);
    click(2, "switch");
    m_panel.add(ElementClasses::adjustable);
    m_panel.refresh(SzChainFigures());
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 1", "Level 2"));
    EXPECT_TRUE(inRow<QCheckBox>(2, "switch")->isChecked()) << "as it still is";
    m_gate.open();
    ASSERT_TRUE(runsOn());
    m_panel.refresh(SzChainFigures());
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 1", "Level 2", "Level 0", "Level 0"));
    EXPECT_EQ(3, m_panel.selectedElement()) << "what was added last";
    EXPECT_EQ(AdjustableElement::Wild, first->mood);
    EXPECT_FALSE(inRow<QCheckBox>(2, "switch")->isChecked());
}

TEST_F(ChainPanelTest, TheSelectionStaysWithItsElementWhenChangesWereWaiting) {
    AdjustableElement* const first = add(1);
    add(2);
    add(3);
    block(*first);
    m_panel.selectElement(1);
    m_session.move(1, 2);
    m_session.remove(0);
    m_gate.open();
    ASSERT_TRUE(runsOn());
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 3", "Level 2"));
    EXPECT_EQ(1, m_panel.selectedElement());
}

// The address sanitizer tells when a row goes that is still at work.
TEST_F(ChainPanelTest, ARowMayBeReplacedFromWithinItsOwnClick) {
    AdjustableElement* const first = add(1);
    add(2);
    block(*first);
    m_session.remove(1);
    m_gate.open();
    while (!m_session.chain().stopped()) // nobody has looked yet
        QThread::msleep(1);
    const QPointer<CzChainRow> clicked = row(1);
    click(1, "switch"); // makes the change that waits, and its own
    EXPECT_NE(clicked.data(), row(1));
    EXPECT_THAT(captions(), ElementsAre("No source", "Level 1"));
    EXPECT_EQ(EzChainableState::Bypassed, first->state());
    ASSERT_TRUE(runsOn());
    QTest::mouseClick(buttons(1).at(1), Qt::LeftButton);
    ASSERT_TRUE(runsOn());
    EXPECT_EQ(AdjustableElement::Wild, first->mood);
}
