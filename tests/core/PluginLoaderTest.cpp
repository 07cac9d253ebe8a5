// SPDX-License-Identifier: GPL-3.0-or-later
#include "PluginLoader.h"

#include "Chainable.h"
#include "Plugin.h"
#include "RTTI.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

namespace {

class PluginLoaderTest : public testing::Test {
protected:
    void install(const QString& plugin) {
        const QString name = plugin + ".so";
        ASSERT_TRUE(QFile::copy(QStringLiteral(ZU_TEST_PLUGIN_FOLDER "/") + name, folder.filePath(name)));
    }
    void write(const QString& name, const QByteArray& text) {
        QFile file(folder.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

    QTemporaryDir folder;
    CzPluginLoader loader;
};

TEST_F(PluginLoaderTest, LoadsInitialisesAndForgetsAPlugin) {
    const QString id = "org.zuviewer.tests.ScriptedElement";
    install("zuTestPluginGood");
    {
        CzPluginLoader own;
        ASSERT_TRUE(own.loadFolder(folder.path())) << own.errors().join('\n').toStdString();
        ASSERT_EQ(1, own.plugins().size());
        EXPECT_EQ(QStringLiteral("Test"), own.plugins()[0]->pluginName());
        EXPECT_EQ(QStringLiteral("1.0.0"), own.plugins()[0]->version())
            << "that of the core unless it says another";
        const std::unique_ptr<CzChainable> element(CzRTTI::instance()->createChainable(id));
        EXPECT_NE(nullptr, element);
        EXPECT_TRUE(own.loadFile(folder.filePath("zuTestPluginGood.so"))) << "a second time is no error";
        EXPECT_EQ(1, own.plugins().size());
    }
    EXPECT_EQ(nullptr, CzRTTI::instance()->findClass(id));
}

TEST_F(PluginLoaderTest, EachRefusedFileGetsItsSentenceAndTheOthersLoad) {
    write("a-text.so", "not a library");
    write("notes.txt", "passed over");
    install("zuTestPluginFailing");
    install("zuTestPluginGood");
    install("zuTestPluginNewer");
    install("zuTestPluginOther");
    install("zuTestPluginThrowing");
    EXPECT_FALSE(loader.loadFolder(folder.path()));
    ASSERT_EQ(5, loader.errors().size()) << loader.errors().join('\n').toStdString();
    EXPECT_TRUE(loader.errors()[0].contains("a-text.so was not loaded: it is no plug-in"));
    EXPECT_TRUE(
        loader.errors()[1].contains("zuTestPluginFailing.so was not loaded: its initialisation failed"));
    EXPECT_TRUE(loader.errors()[2].contains(
        "zuTestPluginNewer.so was not loaded: it needs core version 99.0.0, this is 1.0.0"));
    EXPECT_TRUE(loader.errors()[3].contains(
        "zuTestPluginOther.so was not loaded: its interface is com.example.Other"));
    EXPECT_TRUE(
        loader.errors()[4].contains("zuTestPluginThrowing.so was not loaded: its initialisation failed"));
    EXPECT_EQ(1, loader.plugins().size());
    EXPECT_EQ(1, CzRTTI::instance()->classes("CzChainable").size())
        << "what a failed plug-in registered is forgotten";
}

TEST_F(PluginLoaderTest, AFolderThatDoesNotExistIsAnError) {
    EXPECT_FALSE(loader.loadFolder(folder.filePath("nowhere")));
    ASSERT_EQ(1, loader.errors().size());
    EXPECT_TRUE(loader.errors()[0].contains("nowhere"));
}

TEST_F(PluginLoaderTest, AnEmptyFolderIsNone) {
    EXPECT_TRUE(loader.loadFolder(folder.path()));
}

} // namespace
