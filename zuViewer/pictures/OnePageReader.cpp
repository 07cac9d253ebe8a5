// SPDX-License-Identifier: GPL-3.0-or-later
#include "OnePageReader.h"

#include "ImageData.h"
#include "PictureText.h"

#include <QFile>

bool CzOnePageReader::open(const QString& path, QString* problem) {
    m_path = path;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = file.errorString();
        return false;
    }
    m_file = file.readAll();
    return readFormat(problem);
}

std::unique_ptr<CzImageData> CzOnePageReader::read(int page, const SzSidecar& sidecar, QString* error) {
    QString problem;
    std::unique_ptr<CzImageData> frame;
    if (page == 0)
        frame = decode(sidecar, &problem);
    else
        problem = SzPictureText::tr("there is no such page");
    if (!frame && error)
        *error = SzPictureText::tr("%1, page %2: %3").arg(m_path, QString::number(page + 1), problem);
    return frame;
}
