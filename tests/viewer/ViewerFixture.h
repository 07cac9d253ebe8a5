// SPDX-License-Identifier: GPL-3.0-or-later
// Pictures, dialogs and settings for the tests of the window.
#pragma once

#include "ImageData.h"
#include "LinkTap.h"
#include "ModelTestSupport.h"
#include "support/Pictures.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QRect>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QWidget>
#include <QtConcurrentRun>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

/// Returns when the widget is to be seen.
void showOnScreen(QWidget& widget);

/// A picture on the heap, all samples 0.
std::unique_ptr<CzImageData> blackPicture(const SzPicBufInfo& format);
/// The same filled with noise.
std::unique_ptr<CzImageData> picturePattern(const SzPicBufInfo& format, std::uint32_t seed = 1);

/// The format of a raw picture of a hyperspectral sensor, with padded lines.
SzPicBufInfo mosaicFormat(std::uint32_t width, std::uint32_t height, EzImageDataType dataType);
/// Bands are called "band 0" …, with wavelengths that fall with the number. A null region: the whole picture.
CzHsiCameraParams::CzFilterZone mosaicZone(std::uint32_t cellWidth, std::uint32_t cellHeight,
                                           std::uint32_t blockWidth, std::uint32_t blockHeight,
                                           const QRect& region);
CzImageMetadata mosaicMetadata(const QVector<CzHsiCameraParams::CzFilterZone>& zones);

/// The child of this type and name; the test fails when there is none.
template <class Widget>
Widget& childOf(QWidget& parent, const char* name) {
    auto* const child = parent.findChild<Widget*>(QLatin1String(name));
    if (!child) {
        ADD_FAILURE() << "there is no " << name;
        std::abort();
    }
    return *child;
}

/// As soon as a modal dialog of this name (any, when it is empty) is open, calls the function with it.
/// Returns at once; every dialog that opens until then stays untouched.
void whenDialogOpens(const QString& name, std::function<void(QDialog&)> act);
/// Presses a button of a message box.
void answerDialog(const QString& name, QMessageBox::StandardButton button);

/// Lets nobody look into files while it lives: the thread that would do it is busy.
class SlowDisk {
public:
    SlowDisk() {
        m_pool.setMaxThreadCount(1);
        QtConcurrent::run([this] { m_answer.acquire(); });
    }
    ~SlowDisk() {
        m_answer.release();
        m_pool.waitForDone();
        m_pool.setMaxThreadCount(QThread::idealThreadCount());
    }

private:
    QThreadPool& m_pool = *QThreadPool::globalInstance();
    QSemaphore m_answer;
};

/// Settings, files and folders of a test that nobody else sees.
class ViewerTest : public testing::Test {
protected:
    ViewerTest();

    QString path(const QString& fileName) const { return m_folder.filePath(fileName); }

private:
    QTemporaryDir m_folder;
};
