// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QString>
#include <QStringList>
#include <QVector>

class CzChain;

/// The text of a saved chain (*.zuchain): which elements, in which order, with which settings.
///
/// An element whose class is not loaded stays word for word what it was in the file, through any number of
/// loads and saves; in the chain a placeholder stands for it, which refuses to run.
class ZUCORE_EXPORT CzChainFile {
    Q_DECLARE_TR_FUNCTIONS(CzChainFile)
public:
    /// Reads chain XML. False, with one sentence that names line and column in error, when it is none.
    bool parse(const QByteArray& xml, QString* error);

    /// Reads a file; the sentence in error names it.
    bool read(const QString& path, QString* error);

    /// Number of elements, and the identifier of one.
    int count() const { return m_entries.size(); }
    QString uniqueId(int index) const { return m_entries.at(index).uniqueId; }

    /// Sets an attribute of an element, over the one in the file.
    bool setAttribute(int index, const QString& key, const QString& value, QString* error);

    /// Makes the elements and appends them to a stopped chain. An element that could not read all its
    /// settings keeps its defaults for the rest and adds a sentence to warnings; so does one whose class is
    /// missing. False, with a sentence in error, when the chain refuses an element.
    bool appendTo(CzChain& chain, QStringList* warnings, QString* error) const;

    /// The elements of a chain with their settings as they are now.
    static CzChainFile describe(const CzChain& chain);

    /// One element of the class with this identifier and its default settings; false when the class is not
    /// loaded.
    bool appendDefault(const QString& uniqueId);

    QByteArray toXml() const;

    /// Replaces a file atomically; the sentence in error names it.
    bool write(const QString& path, QString* error) const;

private:
    struct Entry {
        QString uniqueId;
        QString xml; ///< the element, word for word
    };
    QVector<Entry> m_entries;
};
