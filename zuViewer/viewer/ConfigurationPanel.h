// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageMetadata.h"
#include "PicBuf.h"

#include <QPointer>
#include <QSet>
#include <QWidget>

#include <deque>
#include <memory>

class CzChainSession;
class CzChainable;
class QLabel;
class QScrollArea;
class QTextBrowser;

/// The selected element's own configuration widget, with the element's help below. The widget is made anew
/// when another format arrives at the element, as it then may offer something else.
///
/// Elements stop a running chain themselves for what their users change, and so wait for the frame at hand.
/// That nobody waits in the GUI thread, clicks and keys are held back from the widget of a running chain and
/// sent to it, in order, as soon as the chain stands still; it goes on behind them. While the element has a
/// modal dialog open on them it stands still.
class CzConfigurationPanel : public QWidget {
    Q_OBJECT
public:
    /// The session must outlive the panel.
    explicit CzConfigurationPanel(CzChainSession& session, QWidget* parent = nullptr);

    /// Index of an element of the chain; -1: none.
    void showElement(int index);

    /// Brings caption and widget up to date.
    void refresh();

    /// The element's widget; null when there is none.
    QWidget* elementWidget() const;

signals:
    /// The user may just have changed a parameter.
    void touched();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// What a configuration widget is made for.
    struct SzOffer {
        bool known = false;
        SzPicBufInfo format;
        CzImageMetadata metadata;
        bool configurable = false;

        bool operator==(const SzOffer& other) const;
    };
    static SzOffer offerOf(CzChainable& element);
    void release();
    void build();
    void fitWidth();
    bool isInElementWidget(const QObject* object) const;
    /// Whether the widget may change its element on an event that somebody sends to it.
    bool mayChangeElement(const QObject& target, const QEvent& event);
    void hold(QObject& target, QEvent& event);
    void sendHeld();

    CzChainSession& m_session;
    QPointer<CzChainable> m_element;
    SzOffer m_offer;
    QLabel* m_caption;
    QLabel* m_waiting;
    QScrollArea* m_area;
    QTextBrowser* m_help;

    struct SzHeld {
        QPointer<QObject> target;
        std::unique_ptr<QEvent> event;
    };
    std::deque<SzHeld> m_held;
    bool m_isSending = false;
    bool m_buildsAfterwards = false; ///< another element was selected while events were held
    QSet<int> m_keysDown;            ///< that were pressed in the widget
    bool m_isTypedInto = false;      ///< what was typed may take effect when the focus leaves
};
