// SPDX-License-Identifier: GPL-3.0-or-later
#include "RTTI.h"

#include "Chainable.h"

#include <QDebug>
#include <QMetaClassInfo>

#include <algorithm>
#include <memory>

struct CzRTTI::Entry {
    CzPlugin* plugin;
    const QMetaObject* metaObject;
    QString baseClassName;
};

namespace {

QString classInfo(const QMetaObject& metaObject, const char* name) {
    const int index = metaObject.indexOfClassInfo(name);
    return index < 0 ? QString() : QString::fromUtf8(metaObject.classInfo(index).value());
}

} // namespace

CzRTTI::CzRTTI() = default;

CzRTTI::~CzRTTI() = default;

CzRTTI* CzRTTI::instance() {
    static CzRTTI registry;
    return &registry;
}

void CzRTTI::registerClass(CzPlugin* plugin, const QMetaObject& metaObject, const QString& baseClassName) {
    const QString id = uniqueId(metaObject);
    if (id.isEmpty())
        qWarning() << "Class" << metaObject.className() << "has no UniqueID and is not registered.";
    else if (findClass(id))
        qWarning() << "Class" << metaObject.className() << "is not registered:" << id << "is there already.";
    else
        m_entries.append({plugin, &metaObject, baseClassName});
}

void CzRTTI::unregisterClasses(CzPlugin* plugin) {
    const auto isFromPlugin = [plugin](const Entry& entry) { return entry.plugin == plugin; };
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(), isFromPlugin), m_entries.end());
}

QList<const QMetaObject*> CzRTTI::classes(const QString& baseClassName) const {
    QList<const QMetaObject*> found;
    for (const Entry& entry : m_entries)
        if (entry.baseClassName == baseClassName)
            found.append(entry.metaObject);
    return found;
}

const QMetaObject* CzRTTI::findClass(const QString& id) const {
    for (const Entry& entry : m_entries)
        if (uniqueId(*entry.metaObject) == id)
            return entry.metaObject;
    return nullptr;
}

CzChainable* CzRTTI::createChainable(const QString& id) const {
    const QMetaObject* const metaObject = findClass(id);
    if (!metaObject)
        return nullptr;
    std::unique_ptr<QObject> object(metaObject->newInstance());
    auto* const chainable = qobject_cast<CzChainable*>(object.get());
    if (chainable)
        object.release();
    return chainable;
}

QString CzRTTI::uniqueId(const QMetaObject& metaObject) {
    return classInfo(metaObject, "UniqueID");
}

QString CzRTTI::customName(const QMetaObject& metaObject) {
    return classInfo(metaObject, "CustomName");
}
