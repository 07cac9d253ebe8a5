// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMap>
#include <QString>

class CzChainable;
class CzPluginLoader;

/// Loads the plug-ins of the usual folders. What is refused is said, and the rest loads.
void loadPlugins(CzPluginLoader& loader);

/// The identifiers of all elements that can be made, in the order of their registration.
QStringList elementIds();

/// The settings of an element as it would save them, without what the host adds, by their keys.
QMap<QString, QString> settingsOf(const CzChainable& element);

/// The identifier of the one element that is named in full or by the last part of its identifier. Empty, and
/// it was said, when no element or more than one is.
QString findElementId(const QString& name);
