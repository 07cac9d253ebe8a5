// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <QList>
#include <QString>

class CzChainable;
class CzPlugin;
struct QMetaObject;

/// The host's class registry: which classes plug-ins offer, filed under the name of their base class. GUI
/// thread.
class ZUCORE_EXPORT CzRTTI {
public:
    static CzRTTI* instance();

    /// Records a class that the host may instantiate through its meta-object: it needs a public, invokable
    /// constructor without arguments and the class-info entry "UniqueID". A class without one, and a second
    /// class of the same identifier, are refused with a warning in the log.
    void registerClass(CzPlugin* plugin, const QMetaObject& metaObject, const QString& baseClassName);

    /// Forgets all classes of a plug-in.
    void unregisterClasses(CzPlugin* plugin);

    /// The classes filed under a base-class name, in the order of their registration.
    QList<const QMetaObject*> classes(const QString& baseClassName) const;

    /// The class with this "UniqueID"; null when there is none.
    const QMetaObject* findClass(const QString& uniqueId) const;

    /// A new element of the class with this "UniqueID", owned by the caller; null when the class is unknown
    /// or is not a CzChainable.
    CzChainable* createChainable(const QString& uniqueId) const;

    /// Class-info entries "UniqueID" and "CustomName" of a class; empty when it has none.
    static QString uniqueId(const QMetaObject& metaObject);
    static QString customName(const QMetaObject& metaObject);

private:
    CzRTTI();
    ~CzRTTI();
    CzRTTI(const CzRTTI&) = delete;
    CzRTTI& operator=(const CzRTTI&) = delete;

    struct Entry;
    QList<Entry> m_entries;
};
