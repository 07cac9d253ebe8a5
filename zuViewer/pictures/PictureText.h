// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>

/// What is said of picture files and their sidecars, in the user's language.
struct SzPictureText {
    Q_DECLARE_TR_FUNCTIONS(PictureFiles)
};
