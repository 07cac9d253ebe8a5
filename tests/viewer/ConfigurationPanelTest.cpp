// SPDX-License-Identifier: GPL-3.0-or-later
#include "ConfigurationPanel.h"

#include "ChainSession.h"
#include "FrameSource.h"
#include "ModelTestSupport.h"
#include "PluginLoader.h"
#include "RTTI.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLayout>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTextBrowser>

#include <gtest/gtest.h>

namespace {

/// An element whose widget is a view of a scroll bar "level", and too small for it.
class ScrolledElement : public AdjustableElement {
public:
    QWidget* createConfigWidget() override {
        auto* const bar = new QScrollBar(Qt::Horizontal);
        bar->setObjectName(QStringLiteral("level"));
        bar->setFixedHeight(2000);
        bar->setValue(level);
        QObject::connect(bar, &QScrollBar::valueChanged, bar, [this](int value) { level = value; });
        auto* const view = new QScrollArea;
        view->setWidget(bar);
        return view;
    }
};

void turnWheelDown(QWidget& widget) {
    const QPoint middle = widget.rect().center();
    QWheelEvent wheel(middle, widget.mapToGlobal(middle), QPoint(), QPoint(0, -120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&widget, &wheel);
}

class ConfigurationPanelTest : public testing::Test {
protected:
    ~ConfigurationPanelTest() override { m_gate.open(); }

    AdjustableElement* add(int level) {
        auto element = std::make_unique<AdjustableElement>();
        element->level = level;
        AdjustableElement* const added = element.get();
        m_session.insert(1000, std::move(element));
        return added;
    }
    void arrive(int width) {
        m_session.chain().source().setFormat(makeFrame(0, 0, width)->picBuf(), CzImageMetadata());
    }
    void show() {
        m_panel.resize(300, 400);
        m_panel.show();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&m_panel));
    }
    /// A chain of one element, whose widget is shown, that holds the first frame, and all that follow, until
    /// the gate is opened.
    AdjustableElement* addAndHang(int level) {
        AdjustableElement* const element = add(level);
        m_panel.showElement(0);
        show();
        hang(*element);
        return element;
    }
    void hang(AdjustableElement& element) {
        m_session.setRunning(false);
        EXPECT_TRUE(waitFor([this] { return m_session.state() == CzChainSession::EzState::Stopped; }));
        m_gate.guard(element);
        m_session.setRunning(true);
        letTheNextFrameHang();
    }
    void letTheNextFrameHang() {
        EXPECT_TRUE(m_session.chain().source().push(makeFrame(1)));
        m_gate.awaitArrival();
    }
    bool hangs() const { return m_session.chain().workerState().element >= 0; }
    bool runs() const {
        return m_session.state() == CzChainSession::EzState::Running && !m_session.chain().stopped();
    }
    /// What waits for the chain is through, and it goes on.
    bool goesOn() {
        bool isThrough = false;
        m_session.interrupt([&] { isThrough = true; });
        return waitFor([&] { return isThrough && runs(); });
    }
    static QPoint upArrow(QSpinBox& box) {
        QStyleOptionSpinBox option;
        option.initFrom(&box);
        option.subControls = QStyle::SC_All;
        return box.style()->subControlRect(QStyle::CC_SpinBox, &option, QStyle::SC_SpinBoxUp, &box).center();
    }

    QString caption() const { return m_panel.findChild<QLabel*>(QStringLiteral("caption"))->text(); }
    QString help() const { return m_panel.findChild<QTextBrowser*>(QStringLiteral("help"))->toPlainText(); }
    template <class T>
    T* inWidget(const char* name) const {
        return m_panel.elementWidget()->findChild<T*>(QLatin1String(name));
    }

    const ElementClasses m_classes;
    Gate m_gate;
    CzChainSession m_session;
    CzConfigurationPanel m_panel{m_session};
};

} // namespace

TEST_F(ConfigurationPanelTest, ShowsTheWidgetOfTheElementWithItsHelp) {
    EXPECT_FALSE(m_panel.elementWidget());
    EXPECT_EQ(QStringLiteral("Select an element of the chain to configure it."), caption());
    add(3);
    AdjustableElement* const second = add(4);
    m_panel.showElement(1);
    EXPECT_EQ(QStringLiteral("Level 4"), caption());
    EXPECT_EQ(QStringLiteral("Raises the brightness of pictures."), help());
    EXPECT_EQ(4, inWidget<QSpinBox>("level")->value());
    m_panel.showElement(1);
    EXPECT_EQ(1, second->widgetsMade);
    second->level = 5;
    m_panel.refresh();
    EXPECT_EQ(QStringLiteral("Level 5"), caption());
    m_panel.showElement(-1);
    EXPECT_FALSE(m_panel.elementWidget());
    EXPECT_EQ(0, AdjustableElement::widgetsAlive);
}

TEST_F(ConfigurationPanelTest, AnElementMayHaveNoWidget) {
    add(1)->hasWidget = false;
    m_panel.showElement(0);
    EXPECT_FALSE(m_panel.elementWidget());
    EXPECT_EQ(QStringLiteral("Level 1"), caption());
    m_panel.refresh();
}

TEST_F(ConfigurationPanelTest, TheWidgetIsNotPulledApartAndNobodyScrollsSideways) {
    add(1);
    m_panel.showElement(0);
    QWidget* const widget = m_panel.elementWidget();
    EXPECT_EQ(widget->sizeHint().height(), widget->height());
    const int narrow = m_panel.minimumSizeHint().width();
    auto* const wide = new QWidget;
    wide->setMinimumWidth(narrow + 50);
    widget->layout()->addWidget(wide); // as a row that is shown later
    EXPECT_TRUE(waitFor([&] { return m_panel.minimumSizeHint().width() >= narrow + 50; }));
    m_panel.showElement(-1);
    EXPECT_TRUE(waitFor([&] { return m_panel.minimumSizeHint().width() <= narrow; }));
}

TEST_F(ConfigurationPanelTest, TheWidgetIsMadeAnewWhenAnotherFormatArrives) {
    AdjustableElement* const element = add(1);
    m_panel.showElement(0);
    arrive(8);
    m_panel.refresh();
    EXPECT_EQ(2, element->widgetsMade);
    m_panel.refresh();
    arrive(8);
    m_panel.refresh();
    EXPECT_EQ(2, element->widgetsMade);
    arrive(16);
    m_panel.refresh();
    EXPECT_EQ(3, element->widgetsMade);
    EXPECT_EQ(1, AdjustableElement::widgetsAlive);
}

TEST_F(ConfigurationPanelTest, AnElementBeforeItThatIsSwitchedMayChangeTheFormat) {
    AdjustableElement* const narrowing = add(1);
    narrowing->negotiate = [](SzPicBufInfo format) {
        format.width /= 2;
        return format;
    };
    AdjustableElement* const element = add(2);
    arrive(8);
    m_panel.showElement(1);
    m_session.setBypassed(0, true);
    m_panel.refresh();
    EXPECT_EQ(2, element->widgetsMade);
}

TEST_F(ConfigurationPanelTest, TheWidgetStaysWhileADialogIsOpen) {
    AdjustableElement* const element = add(1);
    m_panel.showElement(0);
    QDialog dialog(m_panel.elementWidget());
    dialog.setModal(true);
    dialog.show();
    arrive(8);
    m_panel.refresh();
    EXPECT_EQ(1, element->widgetsMade);
    dialog.hide();
    dialog.setParent(nullptr);
    m_panel.refresh();
    EXPECT_EQ(2, element->widgetsMade);
}

// The widget's destructor looks at its element: the address sanitizer tells when that is gone.
TEST_F(ConfigurationPanelTest, TheWidgetGoesBeforeItsElement) {
    add(1);
    m_panel.showElement(0);
    EXPECT_EQ(1, AdjustableElement::widgetsAlive);
    m_session.clear();
    EXPECT_EQ(0, AdjustableElement::widgetsAlive);
    EXPECT_EQ(0, AdjustableElement::alive);
    EXPECT_EQ(QStringLiteral("Select an element of the chain to configure it."), caption());

    add(2);
    m_panel.showElement(0);
    m_session.remove(0);
    EXPECT_FALSE(m_panel.elementWidget()) << "is in no chain";
    m_session.undo();
    m_panel.showElement(0);
    EXPECT_EQ(2, inWidget<QSpinBox>("level")->value());
}

TEST_F(ConfigurationPanelTest, TheWidgetGoesBeforeItsElementAlsoAtTheEnd) {
    auto session = std::make_unique<CzChainSession>();
    CzConfigurationPanel panel(*session);
    session->insert(0, ElementClasses::adjustable);
    panel.showElement(0);
    EXPECT_EQ(1, AdjustableElement::widgetsAlive);
    session.reset();
    EXPECT_EQ(0, AdjustableElement::widgetsAlive);
}

TEST_F(ConfigurationPanelTest, TheElementStaysWhenItIsMoved) {
    add(1);
    AdjustableElement* const element = add(2);
    m_panel.showElement(1);
    m_session.move(1, 0);
    EXPECT_EQ(QStringLiteral("Level 2"), caption());
    ASSERT_TRUE(m_panel.elementWidget());
    QTest::keyClick(inWidget<QSpinBox>("level"), Qt::Key_Up);
    EXPECT_EQ(3, element->level);
}

TEST_F(ConfigurationPanelTest, TellsThatTheUserHasTouchedTheWidgetAfterItChangedTheElement) {
    AdjustableElement* const element = add(1);
    m_panel.showElement(0);
    show();
    std::vector<int> levels;
    std::vector<int> moods;
    QObject::connect(&m_panel, &CzConfigurationPanel::touched, [&] {
        levels.push_back(element->level);
        moods.push_back(element->mood);
    });
    auto* const level = inWidget<QSpinBox>("level");
    QTest::mouseClick(level, Qt::LeftButton, {}, upArrow(*level));
    ASSERT_TRUE(waitFor([&] { return !levels.empty(); }));
    EXPECT_EQ(2, levels.front());

    levels.clear();
    QTest::keyClick(level, Qt::Key_Up);
    ASSERT_TRUE(waitFor([&] { return !levels.empty(); }));
    EXPECT_EQ(3, levels.front());

    // A list that pops up is a window of its own, made when it is first needed.
    auto* const mood = inWidget<QComboBox>("mood");
    QTest::mouseClick(mood, Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return mood->view()->isVisible(); }));
    const QPoint second = mood->view()->visualRect(mood->model()->index(1, 0)).center();
    ASSERT_TRUE(waitFor([&] {
        if (mood->view()->isVisible()) // at first it takes clicks for the end of the one that opened it
            QTest::mouseClick(mood->view()->viewport(), Qt::LeftButton, {}, second);
        return !moods.empty() && moods.back() == AdjustableElement::Wild;
    }));
}

TEST_F(ConfigurationPanelTest, WhatIsBesideTheWidgetIsNotTouched) {
    add(1);
    m_panel.showElement(0);
    show();
    QSignalSpy touched(&m_panel, &CzConfigurationPanel::touched);
    QTest::mouseClick(m_panel.findChild<QLabel*>(QStringLiteral("caption")), Qt::LeftButton);
    QTest::mouseClick(m_panel.findChild<QTextBrowser*>(QStringLiteral("help")), Qt::LeftButton);
    QCoreApplication::processEvents();
    EXPECT_EQ(0, touched.count());
}

// ---- While the chain runs ----
// Where the widget was let to stop the chain itself while a frame hangs, the test would not come to its end:
// only the test itself lets the worker go on.

TEST_F(ConfigurationPanelTest, WhatIsDoneWhileAFrameHangsIsMadeInOrderWhenItIsThrough) {
    AdjustableElement* const element = addAndHang(1);
    auto* const level = inWidget<QSpinBox>("level");
    QSignalSpy touched(&m_panel, &CzConfigurationPanel::touched);
    QTest::mouseClick(level, Qt::LeftButton, {}, upArrow(*level));
    QTest::keyClick(level, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(level, QStringLiteral("40"));
    QTest::keyClick(level, Qt::Key_Up);
    QWheelEvent wheel(level->rect().center(), level->mapToGlobal(level->rect().center()), QPoint(),
                      QPoint(0, -240), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(level, &wheel);
    QTest::mouseClick(inWidget<QPushButton>("ask"), Qt::RightButton);
    QCoreApplication::processEvents();
    EXPECT_TRUE(hangs());
    EXPECT_TRUE(level->isEnabled());
    EXPECT_EQ(1, element->level);
    EXPECT_EQ(0, touched.count());
    m_gate.open();
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(39, element->level) << "2, 40, 41, 39";
    EXPECT_EQ(0, element->waits);
    EXPECT_EQ(1, touched.count());
    ASSERT_TRUE(m_session.chain().source().push(makeFrame(2)));
    EXPECT_TRUE(waitFor([this] { return m_session.chain().counters().framesOut == 2; }));
}

TEST_F(ConfigurationPanelTest, TellsThatChangesWaitForAFrameThatHangs) {
    addAndHang(1);
    auto* const waiting = m_panel.findChild<QLabel*>(QStringLiteral("waiting"));
    ASSERT_TRUE(waitFor([this] { return m_session.isStuck(); }));
    m_panel.refresh();
    EXPECT_FALSE(waiting->isVisible());
    QTest::keyClick(inWidget<QSpinBox>("level"), Qt::Key_Up);
    m_panel.refresh();
    EXPECT_TRUE(waiting->isVisible());
    m_gate.open();
    ASSERT_TRUE(goesOn());
    EXPECT_FALSE(waiting->isVisible());
}

TEST_F(ConfigurationPanelTest, WhatWasDoneIsNotLostWhenAnotherElementIsSelected) {
    add(5);
    AdjustableElement* const second = add(7);
    m_panel.showElement(0);
    show();
    hang(*second);
    auto* const first = dynamic_cast<AdjustableElement*>(m_session.elements().first());
    QTest::keyClick(inWidget<QSpinBox>("level"), Qt::Key_Up);
    m_panel.showElement(1);
    m_gate.open();
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(6, first->level);
    EXPECT_EQ(7, inWidget<QSpinBox>("level")->value());
    EXPECT_EQ(1, AdjustableElement::widgetsAlive);
}

TEST_F(ConfigurationPanelTest, WhatWasDoneToWhatIsGoneByThenComesToNothing) {
    AdjustableElement* const element = addAndHang(1);
    QTest::keyClick(inWidget<QSpinBox>("level"), Qt::Key_Up);
    QTest::keyClick(inWidget<QComboBox>("mood"), Qt::Key_Down);
    delete inWidget<QSpinBox>("level");
    m_gate.open();
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(1, element->level);
    EXPECT_EQ(AdjustableElement::Wild, element->mood);
}

TEST_F(ConfigurationPanelTest, AButtonThatIsHeldDownRepeatsNothingWhileAFrameHangs) {
    AdjustableElement* const element = add(1);
    m_panel.showElement(0);
    show();
    m_gate.guard(*element);
    m_session.setRunning(true);
    auto* const level = inWidget<QSpinBox>("level");
    QTest::mousePress(level, Qt::LeftButton, {}, upArrow(*level));
    ASSERT_TRUE(waitFor([&] { return element->level == 2 && runs(); }));
    letTheNextFrameHang();

    /// Sees the timers of the spin box before the panel does.
    struct : QObject {
        bool eventFilter(QObject* watched, QEvent* event) override {
            timers += watched == box && event->type() == QEvent::Timer ? 1 : 0;
            return false;
        }
        QObject* box = nullptr;
        int timers = 0;
    } spy;
    spy.box = level;
    qApp->installEventFilter(&spy);
    ASSERT_TRUE(waitFor([&] { return spy.timers >= 2; }));
    EXPECT_TRUE(hangs());
    QTest::mouseRelease(level, Qt::LeftButton, {}, upArrow(*level));
    EXPECT_EQ(2, element->level);
    m_gate.open();
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(3, element->level) << "once, however often the timer came";
    EXPECT_EQ(0, element->waits);
}

TEST_F(ConfigurationPanelTest, WhatWasTypedTakesEffectWhenTheFocusLeaves) {
    AdjustableElement* const element = add(1);
    m_panel.showElement(0);
    show();
    auto* const level = inWidget<QSpinBox>("level");
    level->setKeyboardTracking(false);
    level->setFocus();
    m_gate.guard(*element);
    m_session.setRunning(true);
    QTest::keyClick(level, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(level, Qt::Key_7);
    ASSERT_TRUE(waitFor([&] { return level->text() == QStringLiteral("7") && runs(); }));
    EXPECT_EQ(1, element->level);
    letTheNextFrameHang();
    m_panel.refresh(); // another widget, for the frame's format, would take the present one's text along
    EXPECT_EQ(level, inWidget<QSpinBox>("level"));
    m_panel.findChild<QTextBrowser*>(QStringLiteral("help"))->setFocus();
    EXPECT_FALSE(level->hasFocus());
    EXPECT_EQ(1, element->level);
    m_gate.open();
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(7, element->level);
    EXPECT_EQ(0, element->waits);
    m_panel.refresh();
    EXPECT_EQ(2, element->widgetsMade);
}

TEST_F(ConfigurationPanelTest, NothingOvertakesWhatIsHeldWhenTheChainHasJustStopped) {
    AdjustableElement* const element = addAndHang(1);
    auto* const level = inWidget<QSpinBox>("level");
    level->setFocus();
    level->selectAll();
    QTest::keyClick(level, Qt::Key_1);
    m_gate.open();
    while (!m_session.chain().stopped()) // nobody has looked yet
        QTest::qSleep(1);
    QTest::keyClick(level, Qt::Key_2);
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(12, element->level);
    EXPECT_EQ(0, element->waits);
}

TEST_F(ConfigurationPanelTest, WhatChangesNothingDoesNotInterruptTheChain) {
    AdjustableElement* const element = addAndHang(1);
    const int setups = element->setupStarts;
    auto* const level = inWidget<QSpinBox>("level");
    level->setFocus();
    QTest::mouseMove(level);
    QTest::keyPress(level, Qt::Key_Control);
    QTest::keyRelease(level, Qt::Key_Control);
    QTest::keyRelease(level, Qt::Key_F8); // was pressed as a shortcut
    QTest::keyClick(level, Qt::Key_Tab);
    EXPECT_FALSE(level->hasFocus());
    QWidget* const ground = m_panel.elementWidget();
    QTest::mouseClick(ground, Qt::LeftButton, {}, QPoint(1, 1));
    QWheelEvent wheel(QPoint(1, 1), ground->mapToGlobal(QPoint(1, 1)), QPoint(), QPoint(0, -120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(ground, &wheel);
    m_panel.findChild<QTextBrowser*>(QStringLiteral("help"))->setFocus();
    QTest::mouseClick(m_panel.findChild<QLabel*>(QStringLiteral("caption")), Qt::LeftButton);
    QCoreApplication::processEvents();
    m_gate.letOnePass();
    ASSERT_TRUE(waitFor([this] { return !hangs(); }));
    ASSERT_TRUE(m_session.chain().source().push(makeFrame(2)));
    ASSERT_TRUE(waitFor([this] { return hangs(); }));
    EXPECT_EQ(setups, element->setupStarts) << "it would have been started anew";
}

TEST_F(ConfigurationPanelTest, TheBarOfAViewScrollsAtOnceAndOneThatIsASettingIsHeld) {
    auto element = std::make_unique<ScrolledElement>();
    ScrolledElement* const added = element.get();
    m_session.insert(0, std::move(element));
    m_panel.showElement(0);
    show();
    hang(*added);
    QScrollBar* const ofView = qobject_cast<QScrollArea*>(m_panel.elementWidget())->verticalScrollBar();
    ASSERT_TRUE(waitFor([&] { return ofView->maximum() > 0; }));
    turnWheelDown(*ofView);
    EXPECT_GT(ofView->value(), 0);
    turnWheelDown(*inWidget<QScrollBar>("level"));
    EXPECT_EQ(0, added->level);
    EXPECT_TRUE(hangs());
    m_gate.open();
    ASSERT_TRUE(goesOn());
    EXPECT_GT(added->level, 0);
}

TEST_F(ConfigurationPanelTest, AListPopsUpAndIsChosenFromWhileFramesFlow) {
    AdjustableElement* const element = add(1);
    m_panel.showElement(0);
    show();
    m_session.setRunning(true);
    auto* const mood = inWidget<QComboBox>("mood");
    QTest::mouseClick(mood, Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return mood->view()->isVisible() && runs(); }));
    const QPoint second = mood->view()->visualRect(mood->model()->index(1, 0)).center();
    ASSERT_TRUE(waitFor([&] {
        if (mood->view()->isVisible()) // at first it takes clicks for the end of the one that opened it
            QTest::mouseClick(mood->view()->viewport(), Qt::LeftButton, {}, second);
        return element->mood == AdjustableElement::Wild;
    }));
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(0, element->waits);
}

TEST_F(ConfigurationPanelTest, AListIsChosenFromOrLeftWhileAFrameHangs) {
    AdjustableElement* const element = add(1);
    m_panel.showElement(0);
    show();
    m_gate.guard(*element);
    m_session.setRunning(true);
    auto* const mood = inWidget<QComboBox>("mood");
    const auto open = [&] {
        QTest::mouseClick(mood, Qt::LeftButton);
        EXPECT_TRUE(waitFor([&] { return mood->view()->isVisible() && runs(); }));
        letTheNextFrameHang();
    };
    open();
    QTest::keyClick(mood->view(), Qt::Key_Escape); // or nobody could click anywhere
    EXPECT_FALSE(mood->view()->isVisible());
    EXPECT_TRUE(hangs());
    m_gate.letOnePass();

    open();
    QTest::mouseClick(QApplication::activePopupWidget(), Qt::LeftButton, {}, {-5, -5});
    EXPECT_FALSE(mood->view()->isVisible());
    EXPECT_TRUE(hangs());
    m_gate.letOnePass();
    ASSERT_TRUE(goesOn());

    open();
    QTest::keyClick(mood->view(), Qt::Key_Down);
    QTest::keyClick(mood->view(), Qt::Key_Return);
    EXPECT_EQ(AdjustableElement::Calm, element->mood);
    EXPECT_TRUE(hangs());
    m_gate.open();
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(AdjustableElement::Wild, element->mood);
    EXPECT_EQ(0, element->waits);
}

TEST_F(ConfigurationPanelTest, ADialogOfTheElementCanBeAnswered) {
    AdjustableElement* const element = addAndHang(1);
    QTest::mouseClick(inWidget<QPushButton>("ask"), Qt::LeftButton);
    QCoreApplication::processEvents();
    EXPECT_FALSE(QApplication::activeModalWidget());
    bool isAnswered = false;
    QTimer answer;
    QObject::connect(&answer, &QTimer::timeout, [&] {
        auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        answer.stop();
        m_session.remove(0);
        EXPECT_EQ(1, m_session.elements().size()) << "waits for the dialog's end";
        isAnswered = true;
        QTest::mouseClick(box->button(QMessageBox::Yes), Qt::LeftButton);
    });
    answer.start(1);
    std::vector<int> moods;
    QObject::connect(&m_session, &CzChainSession::aboutToChange, &answer,
                     [&] { moods.push_back(element->mood); });
    m_gate.open();
    ASSERT_TRUE(waitFor([&] { return isAnswered && m_session.elements().isEmpty(); }));
    EXPECT_EQ(std::vector<int>{AdjustableElement::Wild}, moods) << "answered before it was removed";
    EXPECT_EQ(0, element->waits) << "is in the history";
}

TEST_F(ConfigurationPanelTest, ADialogThatTheElementShowedBeforeCanBeUsedWhileTheChainRuns) {
    AdjustableElement* const element = addAndHang(1);
    auto* const level = inWidget<QSpinBox>("level");
    QDialog dialog(m_panel.elementWidget());
    QSpinBox inDialog(&dialog);
    QObject::connect(&inDialog, QOverload<int>::of(&QSpinBox::valueChanged), level, &QSpinBox::setValue);
    dialog.setModal(true);
    dialog.show();
    QTest::keyClick(&inDialog, Qt::Key_Up);
    QTest::keyClick(&inDialog, Qt::Key_Up);
    EXPECT_EQ(1, element->level);
    m_gate.open();
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(2, element->level);
    EXPECT_EQ(0, element->waits);
}

TEST_F(ConfigurationPanelTest, EveryElementOfThePlugInCanBeConfiguredInARunningChain) {
    CzPluginLoader loader;
    ASSERT_TRUE(loader.loadFolder(QStringLiteral(ZU_BUILT_PLUGIN_FOLDER)));
    m_session.setRunning(true);
    QStringList failures;
    QObject::connect(&m_session, &CzChainSession::failed,
                     [&](const QString& text) { failures.append(text); });
    const QList<const QMetaObject*> classes = CzRTTI::instance()->classes(QStringLiteral("CzChainable"));
    int shown = 0;
    for (const QMetaObject* const metaObject : classes) {
        const QString id = CzRTTI::uniqueId(*metaObject);
        if (id == ElementClasses::lonely)
            continue;
        m_session.insert(0, id);
        ASSERT_TRUE(waitFor([&] { return m_session.state() == CzChainSession::EzState::Running; }));
        ASSERT_TRUE(m_session.chain().source().push(makeFrame(++shown, 0, 64, 48)));
        ASSERT_TRUE(m_session.chain().waitUntilIdle());
        m_panel.showElement(0);
        m_panel.refresh();
        EXPECT_TRUE(m_panel.elementWidget()) << id.toStdString();
    }
    EXPECT_TRUE(failures.isEmpty()) << failures.join(QLatin1Char('\n')).toStdString();
    EXPECT_GT(shown, 1);
    m_session.clear();
    EXPECT_TRUE(waitFor([this] { return m_session.elements().isEmpty(); }));
}
