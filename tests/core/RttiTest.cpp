// SPDX-License-Identifier: GPL-3.0-or-later
#include "RTTI.h"

#include "support/ScriptedElement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace {

class NoElement : public QObject {
    Q_OBJECT
    Q_CLASSINFO("UniqueID", "org.zuviewer.tests.NoElement")
public:
    Q_INVOKABLE NoElement() = default;
};

class RttiTest : public testing::Test {
protected:
    ~RttiTest() override {
        registry.unregisterClasses(plugin);
        registry.unregisterClasses(nullptr);
    }

    CzRTTI& registry = *CzRTTI::instance();
    CzPlugin* const plugin = reinterpret_cast<CzPlugin*>(this); // only ever compared
    const QString id = "org.zuviewer.tests.ScriptedElement";
};

TEST_F(RttiTest, FindsAndMakesWhatWasRegistered) {
    registry.registerClass(plugin, ScriptedElement::staticMetaObject, "CzChainable");
    EXPECT_THAT(registry.classes("CzChainable"), testing::ElementsAre(&ScriptedElement::staticMetaObject));
    EXPECT_TRUE(registry.classes("CzOther").isEmpty());
    EXPECT_EQ(&ScriptedElement::staticMetaObject, registry.findClass(id));
    const std::unique_ptr<CzChainable> element(registry.createChainable(id));
    EXPECT_NE(nullptr, dynamic_cast<ScriptedElement*>(element.get()));
    EXPECT_EQ(QStringLiteral("Scripted"), CzRTTI::customName(ScriptedElement::staticMetaObject));
}

TEST_F(RttiTest, UnknownClassesAreNull) {
    EXPECT_EQ(nullptr, registry.findClass(id));
    EXPECT_EQ(nullptr, registry.createChainable(id));
    EXPECT_EQ(nullptr, registry.createChainable(QString()));
}

TEST_F(RttiTest, WhatIsNoElementIsNotMade) {
    registry.registerClass(plugin, NoElement::staticMetaObject, "CzChainable");
    EXPECT_NE(nullptr, registry.findClass("org.zuviewer.tests.NoElement"));
    EXPECT_EQ(nullptr, registry.createChainable("org.zuviewer.tests.NoElement"));
}

TEST_F(RttiTest, ClassesWithoutIdentifierAndSecondOnesAreRefused) {
    registry.registerClass(plugin, QObject::staticMetaObject, "CzChainable");
    registry.registerClass(plugin, ScriptedElement::staticMetaObject, "CzChainable");
    registry.registerClass(nullptr, ScriptedElement::staticMetaObject, "CzChainable");
    EXPECT_EQ(1, registry.classes("CzChainable").size());
}

TEST_F(RttiTest, APluginsClassesAreForgottenTogether) {
    registry.registerClass(plugin, ScriptedElement::staticMetaObject, "CzChainable");
    registry.registerClass(nullptr, NoElement::staticMetaObject, "CzChainable");
    registry.unregisterClasses(plugin);
    EXPECT_THAT(registry.classes("CzChainable"), testing::ElementsAre(&NoElement::staticMetaObject));
}

} // namespace

#include "RttiTest.moc"
