// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageMetadata.h"
#include "PicBuf.h"

#include <QPointer>
#include <QWidget>

class CzChainSession;
class CzChainable;
class QLabel;
class QScrollArea;
class QTextBrowser;

/// The selected element's own configuration widget, with the element's help below. The widget is made anew
/// when another format arrives at the element, as it then may offer something else. While a frame hangs it
/// is disabled.
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

    CzChainSession& m_session;
    QPointer<CzChainable> m_element;
    SzOffer m_offer;
    QLabel* m_caption;
    QScrollArea* m_area;
    QTextBrowser* m_help;
};
