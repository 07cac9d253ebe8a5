// SPDX-License-Identifier: GPL-3.0-or-later
#include "ProcessingPlugin.h"

#include "CoreVersion.h"
#include "RTTI.h"

#include <QCoreApplication>
#include <QJsonObject>
#include <QLibrary>
#include <QPluginLoader>
#include <QPointer>
#include <QProcess>

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

QStringList registeredClasses() {
    QStringList names;
    for (const QMetaObject* metaObject : CzRTTI::instance()->classes("CzChainable"))
        names.append(metaObject->className());
    return names;
}

TEST(ProcessingPlugin, registersItsElementsInTheOrderOfTheHostsCatalogue) {
    CzProcessingPlugin plugin;
    EXPECT_TRUE(plugin.initialize());
    EXPECT_EQ(registeredClasses(),
              (QStringList{"CzExtractChannelCnbl", "CzImageAveragingCnbl", "CzLutInmapCnbl",
                           "CzMosaicStatFilterChnbl", "CzMedianCnbl", "CzFFT2DCnbl", "CzFFT1DCnbl",
                           "CzRotateImageCnbl", "CzRgbNirDemosaicCnbl"}));
    CzRTTI::instance()->unregisterClasses(&plugin);
    EXPECT_EQ(registeredClasses(), QStringList());
}

// ---- The module as the host loads it ----

class ProcessingModule : public testing::Test {
protected:
    ProcessingModule() : loader(ZVP_MODULE) { loader.setLoadHints(QLibrary::ResolveAllSymbolsHint); }

    CzPlugin& plugin() {
        auto* const interface = qobject_cast<CzPlugin*>(loader.instance());
        if (!interface)
            throw std::runtime_error(loader.errorString().toStdString());
        return *interface;
    }

    /// What a program of the binary utilities says about the module.
    static QString report(const QString& program, const QStringList& options) {
        QProcess process;
        process.start(program, options + QStringList{ZVP_MODULE});
        EXPECT_TRUE(process.waitForFinished());
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
        return QString::fromLocal8Bit(process.readAllStandardOutput());
    }

    QPluginLoader loader;
};

TEST_F(ProcessingModule, metadataRecordNamesInterfaceAndClass) {
    const QJsonObject record = loader.metaData();
    EXPECT_EQ(record.value("IID").toString(), "org.zuviewer.CzProcessingPlugin");
    EXPECT_EQ(record.value("className").toString(), "CzProcessingPlugin");
    EXPECT_TRUE(record.value("MetaData").toObject().isEmpty());        // Qt's moc may leave an empty one out
    EXPECT_EQ(record.value("version").toInt(), QT_VERSION & 0xffff00); // Qt leaves the patch level open
#ifdef QT_NO_DEBUG
    EXPECT_FALSE(record.value("debug").toBool());
#else
    EXPECT_TRUE(record.value("debug").toBool());
#endif
}

TEST_F(ProcessingModule, instanceIsAlwaysTheSameUntilItIsDeleted) {
    const QPointer<QObject> first = loader.instance();
    ASSERT_TRUE(first) << loader.errorString().toStdString();
    EXPECT_EQ(first->parent(), nullptr);
    EXPECT_EQ(loader.instance(), first);
    EXPECT_EQ(QPluginLoader(ZVP_MODULE).instance(), first);
    delete first;
    EXPECT_TRUE(loader.instance());
}

TEST_F(ProcessingModule, castsToItsClassAndTheHostsInterface) {
    QObject* const object = loader.instance();
    ASSERT_TRUE(object);
    auto* const interface = &plugin();
    EXPECT_EQ(object->qt_metacast("CzProcessingPlugin"), object);
    EXPECT_EQ(object->qt_metacast("CzPlugin"), interface);
    EXPECT_EQ(object->qt_metacast("org.zuviewer.CzPlugin"), interface);
    EXPECT_EQ(object->qt_metacast("QObject"), object);
    EXPECT_EQ(object->qt_metacast("CzSomethingElse"), nullptr);
    EXPECT_EQ(object->qt_metacast(nullptr), nullptr);
}

TEST_F(ProcessingModule, introducesItself) {
    EXPECT_EQ(plugin().pluginName(), "Image Processing");
    EXPECT_EQ(plugin().vendorName(), "zuViewer Project");
    EXPECT_EQ(plugin().pluginDescription(), "This plugin implements a set of image processing objects.");
    EXPECT_EQ(plugin().vendorUrl(), "https://zuviewer.example");
}

TEST_F(ProcessingModule, needsTheCoreThatIsLoaded) {
    int expected[3] = {-1, -1, -1};
    zuCoreVersion(expected[0], expected[1], expected[2]);
    int version[3] = {-2, -2, -2};
    plugin().coreVersion(version[0], version[1], version[2]);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(version[i], expected[i]);
}

TEST_F(ProcessingModule, registersTheSameElementsAsItsObjects) {
    CzProcessingPlugin linked;
    linked.initialize();
    const QStringList expected = registeredClasses();
    CzRTTI::instance()->unregisterClasses(&linked);
    EXPECT_TRUE(plugin().initialize());
    EXPECT_EQ(registeredClasses(), expected);
    CzRTTI::instance()->unregisterClasses(&plugin());
}

TEST_F(ProcessingModule, exportsTheLoadersEntryPointsAlone) {
    QStringList symbols =
        report(ZU_NM, {"-D", "--defined-only", "--format=posix"}).split('\n', Qt::SkipEmptyParts);
    for (QString& symbol : symbols)
        symbol = symbol.section(' ', 0, 0);
    symbols.sort();
    EXPECT_EQ(symbols, (QStringList{"qt_plugin_instance", "qt_plugin_query_metadata"}));
}

TEST_F(ProcessingModule, staysInMemoryAndNamesItsLibraries) {
    const QString dynamicSection = report(ZU_READELF, {"-d", "-W"});
    EXPECT_TRUE(dynamicSection.contains("NODELETE"));
    EXPECT_TRUE(dynamicSection.contains("[libzuCore.so.1]"));
    // Nothing is left undefined: every symbol resolves at once.
    EXPECT_TRUE(loader.load()) << loader.errorString().toStdString();
}

} // namespace
