// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/ScriptedElement.h"

#include <QSemaphore>
#include <QTest>

#include <atomic>
#include <functional>
#include <memory>

/// Lets the event loop run until the condition holds; false when it does not come true.
inline bool waitFor(const std::function<bool()>& condition) {
    return QTest::qWaitFor(condition, 60000);
}

/// A picture on the heap, all of whose samples have one value.
std::unique_ptr<CzImageData> makeFrame(int frameNo, int value = 0, int width = 8, int height = 4);

/// The first sample of a picture.
int valueOf(const CzImageData& picture);

/// An element with everything that a user can set: a level, which is saved with a chain, a mood, which is
/// not, two buttons for the mood, a third one while there is something more, and a widget. As elements do, it
/// stops its chain for what is changed in the widget, and starts it again.
class AdjustableElement : public ScriptedElement {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Adjustable")
    Q_CLASSINFO("UniqueID", "org.zuviewer.tests.AdjustableElement")
public:
    enum Button { Calm, Wild, More };

    Q_INVOKABLE AdjustableElement();
    ~AdjustableElement() override;

    int level = 0;
    int mood = Calm;
    bool hasMore = false;
    int waits = 0; ///< how often the widget had to stop the chain, and so to wait for the frame at hand
    std::function<void(int)> onButton = [](int) {};
    int widgetsMade = 0;
    bool hasWidget = true;

    /// How many there are, and how many widgets of theirs.
    static int alive;
    static int widgetsAlive;

    QString caption() override { return QStringLiteral("Level %1").arg(level); }
    CzChainable* duplicate() override;
    QWidget* createConfigWidget() override;
    bool isConfigurable() override { return true; }
    void simpleStateConfigButtons(QList<CzSimpleStateConfigButton>& buttons, bool& exclusive) override;
    void simpleStateConfigButtonPressed(int id) override;
    bool saveSettings(QDomDocument& document, QDomElement& element) const override;
    bool loadSettings(const QDomElement& element) override;
    bool hasHelp() const override { return true; }
    QString help(QString&) override { return QStringLiteral("Raises the <b>bright</b>ness of pictures."); }
};

/// The widget of an AdjustableElement: a spin box "level", a list "mood", a button "ask" that asks in a
/// message box "wild" whether the mood shall be wild.
class AdjustableWidget : public QWidget {
    Q_OBJECT
public:
    explicit AdjustableWidget(AdjustableElement& element);
    ~AdjustableWidget() override;

private:
    void set(int AdjustableElement::*parameter, int value);

    AdjustableElement& m_element;
};

/// An element that stands behind none.
class LonelyElement : public ScriptedElement {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Lonely")
    Q_CLASSINFO("UniqueID", "org.zuviewer.tests.LonelyElement")
public:
    Q_INVOKABLE LonelyElement() { accepts = false; }
};

/// While one lives, the classes of these elements are registered.
class ElementClasses {
public:
    ElementClasses();
    ~ElementClasses();
    ElementClasses(const ElementClasses&) = delete;
    ElementClasses& operator=(const ElementClasses&) = delete;

    static const QString adjustable;
    static const QString lonely;
};

/// Holds up whoever comes through.
class Gate {
public:
    /// Waits until the gate is opened.
    void pass() {
        m_arrived.release();
        m_open.acquire();
    }
    /// Waits until somebody stands at the gate.
    void awaitArrival() { m_arrived.acquire(); }
    void letOnePass() { m_open.release(); }
    void open() { m_open.release(1000000); }

    /// Makes an element stop at the gate with each frame.
    void guard(ScriptedElement& element) {
        element.process = [this](ScriptedElement&, IzChainData* input) {
            pass();
            return input;
        };
    }

private:
    QSemaphore m_arrived;
    QSemaphore m_open;
};
