// SPDX-License-Identifier: GPL-3.0-or-later
#include "ElementCatalogue.h"

#include "Chainable.h"
#include "RTTI.h"

#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTextBrowser>
#include <QTextDocumentFragment>

#include <algorithm>
#include <memory>

namespace {

enum ItemRole { IdRole = Qt::UserRole, HelpRole, SearchRole };

bool containsAll(const QString& text, const QStringList& words) {
    return std::all_of(words.begin(), words.end(),
                       [&text](const QString& word) { return text.contains(word, Qt::CaseInsensitive); });
}

} // namespace

CzElementCatalogue::CzElementCatalogue(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Add Element"));
    m_search = new QLineEdit;
    m_search->setObjectName(QStringLiteral("search"));
    m_search->setPlaceholderText(tr("Search in names and help"));
    m_search->setClearButtonEnabled(true);
    m_list = new QListWidget;
    m_list->setObjectName(QStringLiteral("elements"));
    m_help = new QTextBrowser;
    m_help->setObjectName(QStringLiteral("help"));
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    m_add = buttons->addButton(tr("Add"), QDialogButtonBox::AcceptRole);

    auto* const layout = new QGridLayout(this);
    layout->addWidget(m_search, 0, 0, 1, 2);
    layout->addWidget(m_list, 1, 0);
    layout->addWidget(m_help, 1, 1);
    layout->addWidget(buttons, 2, 0, 1, 2);
    layout->setColumnStretch(0, 2);
    layout->setColumnStretch(1, 3);
    m_add->setDefault(true); // now that it stands in the dialog, or Return would mean another one
    resize(640, 400);

    m_search->installEventFilter(this);
    connect(m_search, &QLineEdit::textChanged, this, &CzElementCatalogue::filter);
    connect(m_list, &QListWidget::currentItemChanged, this, &CzElementCatalogue::showHelp);
    connect(m_list, &QListWidget::itemActivated, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    fill();
    filter(QString());
}

QString CzElementCatalogue::chosenId() const {
    const QListWidgetItem* const item = m_list->currentItem();
    return item && !item->isHidden() ? item->data(IdRole).toString() : QString();
}

void CzElementCatalogue::fill() {
    const CzRTTI& registry = *CzRTTI::instance();
    for (const QMetaObject* const metaObject : registry.classes(QStringLiteral("CzChainable"))) {
        const QString id = CzRTTI::uniqueId(*metaObject);
        const std::unique_ptr<CzChainable> element(registry.createChainable(id));
        if (!element)
            continue;
        QString topic;
        const QByteArray name = CzRTTI::customName(*metaObject).toUtf8();
        auto* const item = new QListWidgetItem(
            QCoreApplication::translate(metaObject->className(), name.constData()), m_list);
        const QString help = element->hasHelp() ? element->help(topic) : QString();
        item->setData(IdRole, id);
        item->setData(HelpRole, help);
        item->setData(SearchRole, QString(item->text() + QLatin1Char('\n') +
                                          QTextDocumentFragment::fromHtml(help).toPlainText()));
    }
}

void CzElementCatalogue::filter(const QString& text) {
    const QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QListWidgetItem* first = nullptr;
    for (int i = 0; i < m_list->count(); ++i) {
        QListWidgetItem* const item = m_list->item(i);
        item->setHidden(!containsAll(item->data(SearchRole).toString(), words));
        if (!item->isHidden() && !first)
            first = item;
    }
    if (chosenId().isEmpty()) {
        m_list->setCurrentItem(first);
        showHelp(first);
    }
}

void CzElementCatalogue::showHelp(const QListWidgetItem* item) {
    m_add->setEnabled(item);
    QString help;
    if (m_list->count() == 0)
        help = tr("No plug-in with elements was loaded.");
    else if (!item)
        help = tr("No element has these words in its name or help.");
    else
        help = item->data(HelpRole).toString();
    m_help->setHtml(help.isEmpty() ? tr("There is no description.") : help);
}

bool CzElementCatalogue::eventFilter(QObject* watched, QEvent* event) {
    // The list is walked through while the cursor stays in the search line.
    if (watched == m_search && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Up || key == Qt::Key_Down || key == Qt::Key_PageUp || key == Qt::Key_PageDown)
            return QCoreApplication::sendEvent(m_list, event);
    }
    return QDialog::eventFilter(watched, event);
}
