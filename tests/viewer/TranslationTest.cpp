// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainFile.h"
#include "Chainable.h"
#include "MissingElement.h"
#include "PluginLoader.h"
#include "RTTI.h"
#include "ViewerFixture.h"

#include <QApplication>
#include <QDomDocument>
#include <QFile>
#include <QSet>
#include <QTranslator>

namespace {

/// The texts of a translators' file, each with its context.
QSet<QPair<QString, QString>> textsIn(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    QDomDocument document;
    EXPECT_TRUE(document.setContent(&file));
    QSet<QPair<QString, QString>> texts;
    const QDomNodeList sources = document.elementsByTagName(QStringLiteral("source"));
    for (int i = 0; i < sources.size(); ++i) {
        const QDomElement source = sources.at(i).toElement();
        const QDomNode context = source.parentNode().parentNode();
        texts.insert({context.firstChildElement(QStringLiteral("name")).text(), source.text()});
    }
    return texts;
}

class Translation : public ViewerTest {
protected:
    Translation() {
        EXPECT_TRUE(m_language.load(QStringLiteral(ZU_TEST_TRANSLATION)));
        QApplication::installTranslator(&m_language);
    }
    ~Translation() override { QApplication::removeTranslator(&m_language); }

private:
    QTranslator m_language;
};

TEST_F(Translation, WhatIsTranslatedIsCollectedForTranslators) {
    const auto translated = textsIn(QStringLiteral(ZU_TEST_TRANSLATION_SOURCE));
    const auto collected = textsIn(QStringLiteral(ZU_COLLECTED_TEXTS));
    EXPECT_GE(translated.size(), 7);
    for (const auto& [context, text] : translated)
        EXPECT_TRUE(collected.contains({context, text}))
            << context.toStdString() << ": " << text.toStdString();
}

TEST_F(Translation, ChainsAndTheirElementsSpeakTheUsersLanguage) {
    EXPECT_EQ(CzMissingElement(QStringLiteral("org.example.Gone"), QString()).caption(),
              QStringLiteral("Mankas: org.example.Gone"));
    QString error;
    EXPECT_FALSE(CzChainFile().parse("<other/>", &error));
    EXPECT_TRUE(error.endsWith(QStringLiteral("atendis la elementon <chain>, trovis <other>.")))
        << error.toStdString();
}

TEST_F(Translation, PluginsAndThoseThatAreNoneSpeakTheUsersLanguage) {
    QFile file(path(QStringLiteral("text.so")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("no library");
    file.close();
    CzPluginLoader loader;
    loader.loadFolder(path(QString()));
    ASSERT_EQ(loader.errors().size(), 1);
    EXPECT_TRUE(loader.errors().first().contains(QStringLiteral("ĝi ne estas kromaĵo")))
        << loader.errors().first().toStdString();
    loader.loadFolder(QStringLiteral(ZU_BUILT_PLUGIN_FOLDER));
    const std::unique_ptr<CzChainable> element(
        CzRTTI::instance()->createChainable(QStringLiteral("org.zuviewer.czRotateImageCnbl")));
    ASSERT_TRUE(element);
    EXPECT_TRUE(element->caption().startsWith(QStringLiteral("Turni"))) << element->caption().toStdString();
}

} // namespace
