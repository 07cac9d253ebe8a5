// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainSession.h"

#include "Chainable.h"
#include "RTTI.h"

#include <QApplication>
#include <QDir>
#include <QUndoCommand>

#include <algorithm>
#include <utility>

namespace {

constexpr int outside = -1;

constexpr int undoLimit = 100; // elements that were taken out are kept for these

// How often the session looks whether the chain runs: nobody tells.
constexpr int usualPollMs = 100;
constexpr int impatientPollMs = 5;

/// An element comes into the chain, leaves it, or goes to another place in it. While it is outside it belongs
/// to the command.
class PlaceElement : public QUndoCommand {
public:
    PlaceElement(const QString& text, CzChain& chain, std::unique_ptr<CzChainable> element, int from, int to)
        : QUndoCommand(text), m_chain(chain), m_element(std::move(element)), m_from(from), m_to(to) {}

    /// Does it for the first time. False, and the chain is as it was, when the neighbours do not fit.
    bool tryNow() {
        m_done = shift(m_from, m_to);
        return m_done;
    }

    void redo() override {
        if (!m_done)
            setObsolete(!shift(m_from, m_to));
        m_done = true;
    }

    void undo() override {
        setObsolete(!shift(m_to, m_from));
        m_done = false;
    }

private:
    bool shift(int from, int to) {
        if (from != outside) {
            m_element.reset(m_chain.take(from));
            if (!m_element)
                return false;
        }
        if (to == outside)
            return true;
        const bool fits = m_chain.insert(to, m_element.get());
        if (fits || (from != outside && m_chain.insert(from, m_element.get())))
            m_element.release();
        return fits;
    }

    CzChain& m_chain;
    std::unique_ptr<CzChainable> m_element;
    int m_from;
    int m_to;
    bool m_done = false;
};

class BypassElement : public QUndoCommand {
public:
    BypassElement(const QString& text, CzChain& chain, int index, EzChainableState state)
        : QUndoCommand(text), m_chain(chain), m_index(index), m_state(state) {}

    void redo() override { exchange(); }
    void undo() override { exchange(); }

private:
    void exchange() {
        CzChainable& element = *m_chain.elements().at(m_index);
        const EzChainableState before = element.state();
        element.setState(m_state);
        m_state = before;
    }

    CzChain& m_chain;
    int m_index;
    EzChainableState m_state;
};

/// All elements out of a stopped chain; they now belong to the caller.
QVector<CzChainable*> takeAll(CzChain& chain) {
    QVector<CzChainable*> elements;
    while (!chain.elements().isEmpty())
        elements.prepend(chain.take(chain.elements().size() - 1));
    return elements;
}

bool appendAll(CzChain& chain, const QVector<CzChainable*>& elements) {
    return std::all_of(elements.begin(), elements.end(),
                       [&chain](CzChainable* element) { return chain.append(element); });
}

QString inFile(const QString& path, const QString& sentence) {
    return path.isEmpty() ? sentence : QStringLiteral("%1: %2").arg(QDir::toNativeSeparators(path), sentence);
}

/// The text of a chain that was made of a file, whatever the file's own way of putting it.
QByteArray textOf(const CzChainFile& file) {
    CzChain chain;
    file.appendTo(chain, nullptr, nullptr);
    return CzChainFile::describe(chain).toXml();
}

} // namespace

CzChainSession::CzChainSession(QObject* parent) : QObject(parent) {
    m_undoStack.setUndoLimit(undoLimit);
    m_savedText = text();
    connect(&m_poll, &QTimer::timeout, this, &CzChainSession::poll);
    m_poll.start(usualPollMs);
}

CzChainSession::~CzChainSession() {
    emit aboutToChange();
}

// ---- Running ----

CzChainSession::EzState CzChainSession::state() const {
    if (m_chain.stopped())
        return EzState::Stopped;
    return m_wanted && m_pending.empty() ? EzState::Running : EzState::Stopping;
}

void CzChainSession::setRunning(bool wanted) {
    m_wanted = wanted;
    poll();
}

void CzChainSession::whenStopped(std::function<void()> change) {
    if (m_changing) {
        change();
        return;
    }
    m_pending.push_back(std::move(change));
    poll();
}

void CzChainSession::interrupt(std::function<void()> act) {
    m_interruptions.push_back(std::move(act));
    poll();
}

bool CzChainSession::isStuck(double afterMilliseconds) const {
    return isStuck(m_chain.workerState(), afterMilliseconds);
}

bool CzChainSession::isStuck(const SzWorkerState& worker, double afterMilliseconds) {
    return worker.element >= 0 && worker.milliseconds > afterMilliseconds;
}

void CzChainSession::poll() {
    if (m_changing || m_interrupted)
        return; // goes on behind them
    const bool mustStop = !m_wanted || !m_pending.empty() || !m_interruptions.empty();
    if (mustStop && !m_chain.stopped())
        m_chain.requestStop(); // again, when an element's widget has started the chain meanwhile
    if (m_chain.stopped()) {
        m_chain.stop(); // has ended: does not wait
        const bool wasInterrupted = !m_interruptions.empty();
        makeInterruptions();
        const bool goesOn = wasInterrupted && m_pending.empty();
        makePendingChanges();
        if (startIfWanted() && !goesOn)
            emit started();
    }
    const EzState now = state();
    const bool isWaitedFor = now == EzState::Stopping || !m_interruptions.empty();
    m_poll.setInterval(isWaitedFor ? impatientPollMs : usualPollMs);
    if (now != m_toldState) {
        m_toldState = now;
        emit stateChanged();
    }
}

void CzChainSession::makeInterruptions() {
    m_interrupted = true; // also in the event loop of a dialog that one of them opens
    for (const std::function<void()>& act : std::exchange(m_interruptions, {}))
        act();
    m_interrupted = false;
}

void CzChainSession::makePendingChanges() {
    if (QApplication::activeModalWidget() || QApplication::activePopupWidget())
        return;
    m_changing = true;
    for (const std::function<void()>& change : std::exchange(m_pending, {}))
        change();
    m_changing = false;
}

bool CzChainSession::startIfWanted() {
    if (!m_wanted || !m_pending.empty())
        return false;
    if (m_chain.start())
        return true;
    m_wanted = false;
    emit failed(m_chain.errorMessage());
    return false;
}

// ---- Changes ----

void CzChainSession::insert(int index, const QString& uniqueId) {
    std::unique_ptr<CzChainable> element(CzRTTI::instance()->createChainable(uniqueId));
    if (element)
        insert(index, std::move(element));
    else
        emit failed(tr("No plug-in that is loaded knows the element %1.").arg(uniqueId));
}

void CzChainSession::insert(int index, std::unique_ptr<CzChainable> element) {
    const QString text = tr("Add %1").arg(element->caption());
    place(text, std::move(element), nullptr, index);
}

void CzChainSession::remove(int index) {
    if (CzChainable* const element = elements().value(index))
        place(tr("Remove %1").arg(element->caption()), nullptr, element, outside);
}

void CzChainSession::duplicate(int index) {
    CzChainable* const element = elements().value(index);
    std::unique_ptr<CzChainable> copy(element ? element->duplicate() : nullptr);
    if (!copy)
        return;
    copy->setState(element->state());
    place(tr("Duplicate %1").arg(element->caption()), std::move(copy), nullptr, index + 1);
}

void CzChainSession::move(int from, int to) {
    if (CzChainable* const element = elements().value(from))
        place(tr("Move %1").arg(element->caption()), nullptr, element, std::max(to, 0));
}

void CzChainSession::place(const QString& text, std::unique_ptr<CzChainable> fresh,
                           QPointer<CzChainable> present, int to) {
    // A function that can be copied: nobody copies it.
    auto shared = std::make_shared<std::unique_ptr<CzChainable>>(std::move(fresh));
    whenStopped([this, text, shared, present, to] {
        const int from = *shared ? outside : elements().indexOf(present);
        const int last = elements().size() - (*shared ? 0 : 1);
        const int place = std::min(to, last);
        const bool isGone = from == outside && !*shared; // by a change before this one
        if (isGone || from == place)
            return;
        auto command = std::make_unique<PlaceElement>(text, m_chain, std::move(*shared), from, place);
        emit aboutToChange();
        if (command->tryNow())
            m_undoStack.push(command.release());
        else
            emit failed(tr("%1: the elements beside it do not fit.").arg(text));
        emit chainChanged();
    });
}

void CzChainSession::setBypassed(int index, bool bypassed) {
    const EzChainableState state = bypassed ? EzChainableState::Bypassed : EzChainableState::Processing;
    // In its turn: a change that waits may move or switch the elements.
    whenStopped([this, element = QPointer<CzChainable>(elements().value(index)), state] {
        const int place = elements().indexOf(element);
        if (place < 0 || element->state() == state)
            return;
        const QString text = state == EzChainableState::Bypassed ? tr("Switch off %1") : tr("Switch on %1");
        m_undoStack.push(new BypassElement(text.arg(element->caption()), m_chain, place, state));
    });
}

void CzChainSession::pressButton(int index, int buttonId) {
    // The element stops a running chain itself, and waits for it.
    whenStopped([this, element = QPointer<CzChainable>(elements().value(index)), buttonId] {
        if (elements().contains(element))
            element->simpleStateConfigButtonPressed(buttonId);
    });
}

void CzChainSession::undo() {
    whenStopped([this] {
        if (m_undoStack.canUndo())
            retrace(m_undoStack.undoText(), &QUndoStack::undo);
    });
}

void CzChainSession::redo() {
    whenStopped([this] {
        if (m_undoStack.canRedo())
            retrace(m_undoStack.redoText(), &QUndoStack::redo);
    });
}

void CzChainSession::retrace(const QString& text, void (QUndoStack::*step)()) {
    const int commands = m_undoStack.count();
    emit aboutToChange();
    (m_undoStack.*step)();
    if (m_undoStack.count() < commands) {
        m_undoStack.clear(); // nothing in it fits the chain any more
        emit failed(tr("%1 cannot be undone or redone: the elements beside it do not fit.").arg(text));
    }
    emit chainChanged();
}

// ---- Files ----

void CzChainSession::load(const QString& path) {
    CzChainFile file;
    QString error;
    if (file.read(path, &error))
        replace(file, path);
    else
        emit failed(error);
}

bool CzChainSession::loadText(const QByteArray& xml, const QString& path) {
    CzChainFile file;
    QString error;
    if (file.parse(xml, &error)) {
        CzChainFile saved; // an empty chain when there is no file (any more)
        if (!path.isEmpty())
            saved.read(path, nullptr);
        return replace(file, path, textOf(saved));
    }
    emit failed(error);
    return false;
}

void CzChainSession::clear() {
    replace(CzChainFile(), QString());
}

bool CzChainSession::replace(const CzChainFile& file, const QString& path,
                             const std::optional<QByteArray>& savedText) {
    // Made beside the present chain, which stays when this one is refused.
    auto made = std::make_shared<CzChain>();
    QStringList warnings;
    QString error;
    if (!file.appendTo(*made, &warnings, &error)) {
        emit failed(inFile(path, error));
        return false;
    }
    whenStopped([this, made, warnings, path, savedText] {
        emit aboutToChange();
        const QVector<CzChainable*> old = takeAll(m_chain);
        const QVector<CzChainable*> fresh = takeAll(*made);
        if (!appendAll(m_chain, fresh)) { // behind this source
            takeAll(m_chain);
            qDeleteAll(fresh);
            appendAll(m_chain, old);
            emit failed(inFile(path, tr("The chain does not fit its source.")));
            emit chainChanged();
            return;
        }
        m_undoStack.clear();
        qDeleteAll(old);
        m_path = path;
        m_savedText = savedText.value_or(text());
        emit chainChanged();
        emit pathChanged();
        if (!warnings.isEmpty())
            emit warned(warnings);
    });
    return true;
}

bool CzChainSession::save(const QString& path) {
    QString error;
    if (!CzChainFile::describe(m_chain).write(path, &error)) {
        emit failed(error);
        return false;
    }
    m_path = path;
    m_savedText = text();
    emit pathChanged();
    return true;
}

QByteArray CzChainSession::text() const {
    return CzChainFile::describe(m_chain).toXml();
}

bool CzChainSession::isModified() const {
    return text() != m_savedText;
}
