// SPDX-License-Identifier: GPL-3.0-or-later
#include "RunnerFixture.h"

#include <QDir>

#include <gmock/gmock.h>

namespace {

using CatalogueTest = RunnerTest;

} // namespace

TEST_F(CatalogueTest, ListsElementsWithPlainHelpAndDefaults) {
    const SzProgramResult result = zurun({"elements"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out.toStdString(), testing::HasSubstr("org.zuviewer.test.CzTroubleCnbl\n"
                                                             "    Trouble\n"
                                                             "    Makes trouble & more.\n"
                                                             "    On purpose.\n"
                                                             "    consumeAt=-1\n"
                                                             "    doubleAt=-1\n"
                                                             "    hangAt=-1\n"
                                                             "    refuseStart=0\n"
                                                             "    reportAt=-1\n"
                                                             "    throwAt=-1\n"));
    EXPECT_THAT(result.out.toStdString(), testing::HasSubstr("org.zuviewer.CzExtractChannelCnbl\n"
                                                             "    Extract Channel\n"));
}

TEST_F(CatalogueTest, ShowsOneElementByTheLastPartOfItsIdentifier) {
    const SzProgramResult result = zurun({"elements", "CzTroubleCnbl", "--json"});
    EXPECT_EQ(result.exitCode, 0);
    const QJsonArray elements = result.json().value("elements").toArray();
    ASSERT_EQ(elements.size(), 1);
    EXPECT_EQ(elements[0].toObject(), (QJsonObject{{"uniqueId", "org.zuviewer.test.CzTroubleCnbl"},
                                                   {"name", "Trouble"},
                                                   {"help", "Makes trouble & more.\nOn purpose."},
                                                   {"settings", QJsonObject{{"consumeAt", "-1"},
                                                                            {"doubleAt", "-1"},
                                                                            {"hangAt", "-1"},
                                                                            {"refuseStart", "0"},
                                                                            {"reportAt", "-1"},
                                                                            {"throwAt", "-1"}}}}));
}

TEST_F(CatalogueTest, UnknownElementIsMisuseAndListsWhatExists) {
    // Identifiers distinguish upper and lower case, and a part of the last part is not enough.
    for (const char* id : {"CzUnheardOfCnbl", "cztroublecnbl", "TroubleCnbl", "org.zuviewer.CzTroubleCnbl"}) {
        for (const char* command : {"elements", "new"}) {
            const SzProgramResult result = zurun({command, id});
            EXPECT_EQ(result.exitCode, 2) << id;
            EXPECT_EQ(result.out, "");
            ASSERT_EQ(result.sentences().size(), 1);
            EXPECT_THAT(result.err.toStdString(), testing::HasSubstr("org.zuviewer.CzExtractChannelCnbl"));
        }
    }
}

TEST_F(CatalogueTest, NewChainRunsAsItIs) {
    const SzProgramResult result =
        zurun({"new", "CzExtractChannelCnbl", "org.zuviewer.test.CzTroubleCnbl", "CzExtractChannelCnbl"});
    ASSERT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    writeFile("c.zuchain", result.out);
    writeRamp("a.tif", 4, 4, 9);
    const SzProgramResult run = zurun({"run", "c.zuchain", "a.tif", "--json"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.json().value("elements").toArray().size(), 3);
}

TEST_F(CatalogueTest, EveryExampleChainLoadsWithoutAWarning) {
    const QDir folder(QStringLiteral(EXAMPLES_FOLDER));
    const QStringList chains = folder.entryList({"*.zuchain"}, QDir::Files);
    EXPECT_FALSE(chains.isEmpty());
    writeRamp("a.tif", 32, 32, 9);
    for (const QString& chain : chains) {
        const SzProgramResult result = zurun({"info", folder.filePath(chain), "a.tif"});
        EXPECT_EQ(result.exitCode, 0) << chain.toStdString();
        EXPECT_EQ(result.err, "") << chain.toStdString();
    }
}

TEST_F(CatalogueTest, MissingPluginFolderIsSaid) {
    environment.insert("ZUVIEWER_PLUGIN_PATH", path("nowhere"));
    const SzProgramResult result = zurun({"elements"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "");
    ASSERT_EQ(result.sentences().size(), 1);
    EXPECT_THAT(result.err.toStdString(), testing::HasSubstr("nowhere"));
}

TEST_F(CatalogueTest, RefusedPluginFileIsAWarningAndTheOthersLoad) {
    writeFile("plugins/broken.so", "not a library");
    environment.insert("ZUVIEWER_PLUGIN_PATH", path("plugins") + ":" + PLUGIN_FOLDERS);
    const SzProgramResult result = zurun({"elements", "CzTroubleCnbl"});
    EXPECT_EQ(result.exitCode, 0);
    ASSERT_EQ(result.sentences().size(), 1);
    EXPECT_THAT(result.err.toStdString(), testing::HasSubstr("broken.so"));
}

TEST_F(CatalogueTest, FindsTheInstalledPluginsByItself) {
    environment.remove("ZUVIEWER_PLUGIN_PATH");
    const SzProgramResult result = zurun({"elements", "CzExtractChannelCnbl"});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
}

TEST_F(CatalogueTest, HelpAndVersionAreResults) {
    for (const QStringList& arguments : {QStringList{"--help"}, QStringList{"run", "--help"},
                                         QStringList{"info", "--help"}, QStringList{"elements", "--help"},
                                         QStringList{"new", "--help"}, QStringList{"generate", "--help"}}) {
        const SzProgramResult result = zurun(arguments);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.err, "");
        const QString command = arguments.size() > 1 ? arguments.first() : QStringLiteral("COMMAND");
        EXPECT_THAT(result.out.toStdString(), testing::StartsWith("Usage: zurun " + command.toStdString()));
    }
    EXPECT_EQ(zurun({"--version"}).out.toStdString(), "zurun 1.0.0\n");
}
