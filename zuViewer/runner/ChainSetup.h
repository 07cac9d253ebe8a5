// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>

class CzChain;
class CzChainFile;

/// Reads a chain file and changes settings in it, each change as INDEX.KEY=VALUE. False, and it was said why,
/// when the file is no chain, or a change names an element or a setting that does not exist or gives no
/// number to a setting that is one.
bool readChain(const QString& path, const QStringList& changes, CzChainFile& file);

/// Makes the elements; says which classes are missing and which settings could not be read. False, and it was
/// said why, when the chain refuses an element.
bool buildChain(const QString& path, const CzChainFile& file, CzChain& chain);

/// Whether the classes of all elements are loaded. A chain without one of them can be shown but not run.
bool allElementsKnown(const CzChainFile& file);
