// SPDX-License-Identifier: GPL-3.0-or-later
#include "ViewerFixture.h"

#include <QApplication>
#include <QSettings>
#include <QTest>
#include <QTimer>

#include <utility>

void showOnScreen(QWidget& widget) {
    widget.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&widget));
}

std::unique_ptr<CzImageData> blackPicture(const SzPicBufInfo& format) {
    HeapPicture picture(format);
    auto image = std::make_unique<CzImageData>();
    image->setPicBuf(picture.release());
    return image;
}

std::unique_ptr<CzImageData> picturePattern(const SzPicBufInfo& format, std::uint32_t seed) {
    auto picture = blackPicture(format);
    fillPattern(picture->picBuf(), seed);
    return picture;
}

SzPicBufInfo mosaicFormat(std::uint32_t width, std::uint32_t height, EzImageDataType dataType) {
    SzPicBufInfo format = pictureFormat(width, height, 1, dataType, EzDataStorageFormat::Interleaved, 3);
    format.colorFilterArray = EzColorFilterArray::Hyperspectral;
    return format;
}

CzHsiCameraParams::CzFilterZone mosaicZone(std::uint32_t cellWidth, std::uint32_t cellHeight,
                                           std::uint32_t blockWidth, std::uint32_t blockHeight,
                                           const QRect& region) {
    CzHsiCameraParams::CzFilterZone zone;
    zone.cellWidth = cellWidth;
    zone.cellHeight = cellHeight;
    zone.blockWidth = blockWidth;
    zone.blockHeight = blockHeight;
    if (!region.isNull()) {
        zone.left = region.left();
        zone.top = region.top();
        zone.right = region.right();
        zone.bottom = region.bottom();
    }
    const std::uint32_t bands = cellWidth * cellHeight;
    for (std::uint32_t i = 0; i < bands; ++i)
        zone.bands.append(CzHsiCameraParams::CzBand(QStringLiteral("band %1").arg(i), 900.0 - 10 * i));
    return zone;
}

CzImageMetadata mosaicMetadata(const QVector<CzHsiCameraParams::CzFilterZone>& zones) {
    CzImageMetadata metadata;
    metadata.colorFilterArray = EzColorFilterArray::Hyperspectral;
    metadata.hsiCameraParams.zones = zones;
    return metadata;
}

void whenDialogOpens(const QString& name, std::function<void(QDialog&)> act) {
    QTimer::singleShot(10, qApp, [name, act = std::move(act)] {
        auto* const dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (dialog && (name.isEmpty() || dialog->objectName() == name))
            act(*dialog);
        else
            whenDialogOpens(name, act);
    });
}

void answerDialog(const QString& name, QMessageBox::StandardButton button) {
    whenDialogOpens(name, [button](QDialog& dialog) {
        QTest::mouseClick(static_cast<QMessageBox&>(dialog).button(button), Qt::LeftButton);
    });
}

ViewerTest::ViewerTest() {
    QCoreApplication::setOrganizationName(QStringLiteral("zuViewer tests"));
    QCoreApplication::setApplicationName(QStringLiteral("zuviewer"));
    QSettings::setDefaultFormat(QSettings::IniFormat);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_folder.path());
    QSettings().clear();
}
