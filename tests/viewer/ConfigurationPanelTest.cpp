// SPDX-License-Identifier: GPL-3.0-or-later
#include "ConfigurationPanel.h"

#include "ChainSession.h"
#include "FrameSource.h"
#include "ModelTestSupport.h"
#include "PluginLoader.h"
#include "RTTI.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLayout>
#include <QPointer>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTextBrowser>

#include <gtest/gtest.h>

namespace {

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
    QStyleOptionSpinBox option;
    option.initFrom(level);
    option.subControls = QStyle::SC_All;
    const QPoint up =
        level->style()->subControlRect(QStyle::CC_SpinBox, &option, QStyle::SC_SpinBoxUp, level).center();
    QTest::mouseClick(level, Qt::LeftButton, {}, up);
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

TEST_F(ConfigurationPanelTest, TheWidgetIsDisabledWhileAFrameHangs) {
    AdjustableElement* const gate = add(1);
    m_panel.showElement(0);
    m_gate.guard(*gate);
    m_session.setRunning(true);
    ASSERT_TRUE(m_session.chain().source().push(makeFrame(1)));
    m_gate.awaitArrival();
    m_panel.refresh();
    EXPECT_TRUE(m_panel.elementWidget()->isEnabled());
    ASSERT_TRUE(waitFor([this] { return m_session.isStuck(); }));
    m_panel.refresh();
    EXPECT_FALSE(m_panel.elementWidget()->isEnabled());
    m_gate.open();
    ASSERT_TRUE(m_session.chain().waitUntilIdle());
    m_panel.refresh();
    EXPECT_TRUE(m_panel.elementWidget()->isEnabled());
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
