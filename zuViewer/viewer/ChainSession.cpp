// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainSession.h"

#include "Chainable.h"
#include "RTTI.h"

#include <QUndoCommand>

#include <algorithm>
#include <utility>

namespace {

constexpr int outside = -1;

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

} // namespace

CzChainSession::CzChainSession(QObject* parent) : QObject(parent) {
    m_savedText = text();
    connect(&m_poll, &QTimer::timeout, this, &CzChainSession::poll);
    m_poll.start(usualPollMs);
}

CzChainSession::~CzChainSession() = default;

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
    m_pending.push_back(std::move(change));
    if (!m_changing)
        poll();
}

bool CzChainSession::isStuck(double afterMilliseconds) const {
    const SzWorkerState worker = m_chain.workerState();
    return worker.element >= 0 && worker.milliseconds > afterMilliseconds;
}

void CzChainSession::poll() {
    const bool mustStop = !m_wanted || !m_pending.empty();
    if (mustStop && !m_chain.stopped())
        m_chain.requestStop(); // again, when an element's widget has started the chain meanwhile
    if (m_chain.stopped()) {
        m_chain.stop(); // has ended: does not wait
        makePendingChanges();
        startIfWanted();
    }
    m_poll.setInterval(state() == EzState::Stopping ? impatientPollMs : usualPollMs);
    if (std::exchange(m_toldState, state()) != m_toldState)
        emit stateChanged();
}

void CzChainSession::makePendingChanges() {
    m_changing = true;
    for (std::size_t i = 0; i < m_pending.size(); ++i) // a change may ask for another one
        std::exchange(m_pending[i], nullptr)();
    m_pending.clear();
    m_changing = false;
}

void CzChainSession::startIfWanted() {
    if (!m_wanted)
        return;
    if (m_chain.start()) {
        emit started();
    } else {
        m_wanted = false;
        emit failed(m_chain.errorMessage());
    }
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
    place(tr("Add %1").arg(element->caption()), std::move(element), nullptr, index);
}

void CzChainSession::remove(int index) {
    if (CzChainable* const element = elements().value(index))
        place(tr("Remove %1").arg(element->caption()), nullptr, element, outside);
}

void CzChainSession::duplicate(int index) {
    if (CzChainable* const element = elements().value(index))
        place(tr("Duplicate %1").arg(element->caption()), std::unique_ptr<CzChainable>(element->duplicate()),
              nullptr, index + 1);
}

void CzChainSession::move(int from, int to) {
    if (CzChainable* const element = elements().value(from); element && from != to)
        place(tr("Move %1").arg(element->caption()), nullptr, element, to);
}

void CzChainSession::place(const QString& text, std::unique_ptr<CzChainable> fresh, CzChainable* present,
                           int to) {
    // A function that can be copied: nobody copies it.
    auto shared = std::make_shared<std::unique_ptr<CzChainable>>(std::move(fresh));
    whenStopped([this, text, shared, present, to] {
        const int from = present ? elements().indexOf(present) : outside;
        if (present && from < 0)
            return; // a change before this one has removed it
        const int last = elements().size() - (present ? 1 : 0);
        auto command =
            std::make_unique<PlaceElement>(text, m_chain, std::move(*shared), from, std::min(to, last));
        emit aboutToChange();
        if (command->tryNow())
            m_undoStack.push(command.release());
        else
            emit failed(tr("%1: the elements beside it do not fit.").arg(text));
        emit chainChanged();
    });
}

void CzChainSession::setBypassed(int index, bool bypassed) {
    CzChainable* const element = elements().value(index);
    const EzChainableState state = bypassed ? EzChainableState::Bypassed : EzChainableState::Processing;
    if (!element || element->state() == state)
        return;
    // In its turn: a change that waits may move the elements.
    whenStopped([this, element, state, bypassed] {
        if (const int place = elements().indexOf(element); place >= 0)
            m_undoStack.push(new BypassElement(
                (bypassed ? tr("Switch off %1") : tr("Switch on %1")).arg(element->caption()), m_chain, place,
                state));
    });
}

void CzChainSession::pressButton(int index, int buttonId) {
    // The element stops a running chain itself, and waits for it.
    if (CzChainable* const element = elements().value(index))
        whenStopped([this, element, buttonId] {
            if (elements().contains(element))
                element->simpleStateConfigButtonPressed(buttonId);
        });
}

void CzChainSession::undo() {
    whenStopped([this] {
        emit aboutToChange();
        m_undoStack.undo();
        emit chainChanged();
    });
}

void CzChainSession::redo() {
    whenStopped([this] {
        emit aboutToChange();
        m_undoStack.redo();
        emit chainChanged();
    });
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

void CzChainSession::loadText(const QByteArray& xml, const QString& path) {
    CzChainFile file;
    QString error;
    if (file.parse(xml, &error))
        replace(file, path);
    else
        emit failed(error);
}

void CzChainSession::clear() {
    replace(CzChainFile(), QString());
}

void CzChainSession::replace(const CzChainFile& file, const QString& path) {
    // Made beside the present chain, which stays when this one is refused.
    auto made = std::make_shared<CzChain>();
    QStringList warnings;
    QString error;
    if (!file.appendTo(*made, &warnings, &error)) {
        emit failed(path.isEmpty() ? error : tr("%1: %2").arg(path, error));
        return;
    }
    whenStopped([this, made, warnings, path] {
        emit aboutToChange();
        m_undoStack.clear();
        while (!elements().isEmpty())
            delete m_chain.take(elements().size() - 1);
        QVector<CzChainable*> fresh;
        while (!made->elements().isEmpty())
            fresh.prepend(made->take(made->elements().size() - 1));
        for (CzChainable* const element : qAsConst(fresh))
            m_chain.append(element);
        m_path = path;
        m_savedText = text();
        emit chainChanged();
        emit pathChanged();
        if (!warnings.isEmpty())
            emit warned(warnings);
    });
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
