// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <QString>
#include <QtPlugin>

class CzImageData;
class QGraphicsSceneMouseEvent;
class QSettings;

/// What a plug-in module offers the host. The order of the operations is part of the interface. All are
/// called on the GUI thread; the host loads the module, checks coreVersion(), calls initialize() once and
/// finish() before the end.
class ZUCORE_EXPORT CzPlugin {
public:
    virtual ~CzPlugin();

    /// Registers what the plug-in brings with CzRTTI. False refuses the plug-in; what it registered is
    /// forgotten.
    virtual bool initialize() = 0;
    virtual void finish();

    virtual void loadSettings(QSettings* settings);
    virtual void saveSettings(QSettings* settings);

    virtual QString copyrightNotice() const;
    virtual QString pluginName() = 0;
    virtual QString vendorName() = 0;
    virtual QString pluginDescription() = 0;
    /// The plug-in's own version; unless overridden that of the core it runs with.
    virtual QString version() const;

    /// The core version that the plug-in needs; a host that is older refuses it.
    virtual void coreVersion(int& major, int& minor, int& build) = 0;
    virtual QString vendorUrl() = 0;

    virtual void activeViewChanged(int view);
    virtual void viewAboutToClose(int view);
    virtual void newCameraConnected(void* camera);
    virtual void cameraDisconnected(void* camera);
    virtual void viewGotNewImage(int view, const CzImageData* image);

    // True: the event was handled and the host does nothing more with it.
    virtual bool viewMouseBtnPressEvent(int view, QGraphicsSceneMouseEvent* event);
    virtual bool viewMouseMoveEvent(int view, QGraphicsSceneMouseEvent* event);
    virtual bool viewMouseBtnReleaseEvent(int view, QGraphicsSceneMouseEvent* event);
    virtual bool viewMouseDoubleClickEvent(int view, QGraphicsSceneMouseEvent* event);
    virtual bool customCommand(const QString& command, int first, int second, void* in, void* out);
};

Q_DECLARE_INTERFACE(CzPlugin, "org.zuviewer.CzPlugin")

/// Interface identifier in the metadata record of a module with processing elements.
#define CzProcessingPlugin_iid "org.zuviewer.CzProcessingPlugin"
