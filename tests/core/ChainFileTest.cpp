// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainFile.h"

#include "Chain.h"
#include "RTTI.h"
#include "support/ScriptedElement.h"

#include <QDomElement>
#include <QFile>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

/// An element with one required setting.
class LevelElement : public ScriptedElement {
    Q_OBJECT
    Q_CLASSINFO("UniqueID", "org.zuviewer.tests.LevelElement")
public:
    Q_INVOKABLE LevelElement() = default;

    bool saveSettings(QDomDocument& document, QDomElement& element) const override {
        const bool saved = CzChainable::saveSettings(document, element);
        element.setAttribute("level", level);
        return saved;
    }
    bool loadSettings(const QDomElement& element) override {
        const bool loaded = CzChainable::loadSettings(element);
        if (!element.hasAttribute("level"))
            return false;
        level = element.attribute("level").toInt();
        return loaded;
    }

    int level = 3;
};

class ChainFileTest : public testing::Test {
protected:
    ChainFileTest() {
        CzRTTI::instance()->registerClass(nullptr, LevelElement::staticMetaObject, "CzChainable");
    }
    ~ChainFileTest() override { CzRTTI::instance()->unregisterClasses(nullptr); }

    QString parseError(const QByteArray& xml) {
        QString sentence;
        EXPECT_FALSE(CzChainFile().parse(xml, &sentence));
        return sentence;
    }

    QByteArray chainOf(const QByteArray& elements) {
        return "<chain version=\"1\">\n" + elements + "\n</chain>\n";
    }

    const QByteArray level5 = R"(<chainable uniqueId="org.zuviewer.tests.LevelElement" level="5"/>)";
    CzChainFile file;
    CzChain chain;
    QStringList warnings;
    QString error;
};

TEST_F(ChainFileTest, MakesTheElementsWithTheirSettings) {
    ASSERT_TRUE(file.parse(chainOf(level5), &error)) << error.toStdString();
    ASSERT_TRUE(file.appendTo(chain, &warnings, &error));
    EXPECT_TRUE(warnings.isEmpty());
    ASSERT_EQ(1, chain.elements().size());
    EXPECT_EQ(5, static_cast<LevelElement*>(chain.elements()[0])->level);
}

TEST_F(ChainFileTest, SavingAndLoadingGivesTheSameTextEveryTime) {
    auto* const element = new LevelElement;
    element->level = -7;
    element->setState(EzChainableState::Bypassed);
    chain.append(element);
    const QByteArray xml = CzChainFile::describe(chain).toXml();
    EXPECT_EQ(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<chain version=\"1\">\n"
        "  <chainable uniqueId=\"org.zuviewer.tests.LevelElement\" level=\"-7\" state=\"1\"/>\n</chain>\n",
        xml.toStdString());

    CzChain copy;
    ASSERT_TRUE(file.parse(xml, &error));
    ASSERT_TRUE(file.appendTo(copy, &warnings, &error));
    EXPECT_EQ(EzChainableState::Bypassed, copy.elements()[0]->state());
    EXPECT_EQ(xml, CzChainFile::describe(copy).toXml());
}

TEST_F(ChainFileTest, AnElementWithoutLoadedClassStaysWordForWordAndRefusesToRun) {
    const QByteArray unknown = "<chainable  b='1'   a=\"&lt;2\" uniqueId=\"com.example.Future\" >\n"
                               "    text &amp; <inner x='y'/><!-- kept -->\n  </chainable>";
    ASSERT_TRUE(file.parse(chainOf("  " + unknown + "\n  " + level5), &error)) << error.toStdString();
    EXPECT_EQ(2, file.count());
    ASSERT_TRUE(file.appendTo(chain, &warnings, &error));
    ASSERT_EQ(1, warnings.size());
    EXPECT_TRUE(warnings[0].contains("com.example.Future"));
    EXPECT_TRUE(chain.elements()[0]->caption().contains("com.example.Future"));

    EXPECT_FALSE(chain.start());
    EXPECT_TRUE(chain.errorMessage().contains("com.example.Future"));
    EXPECT_TRUE(CzChainFile::describe(chain).toXml().contains(unknown));

    CzChain again;
    CzChainFile saved = CzChainFile::describe(chain);
    ASSERT_TRUE(saved.parse(saved.toXml(), &error));
    ASSERT_TRUE(saved.appendTo(again, nullptr, &error));
    EXPECT_TRUE(CzChainFile::describe(again).toXml().contains(unknown));
}

TEST_F(ChainFileTest, WhateverStandsInAnUnknownElementIsSavedAsItWasWritten) {
    const QByteArray id = "uniqueId='com.example.Future'";
    const QByteArrayList elements = {
        "<chainable " + id + "/>",
        "<chainable\r\n\t" + id + "\r\n  a='\r\n'\r\n>\r\ntext\r\n</chainable\r\n>",
        "<chainable a='>' " + id + " b=\"/>\" ><e/>></chainable >",
        "<chainable " + id + "><![CDATA[ < </chainable> ]]><!-- </chainable> > --><?pi > ?></chainable>",
        "<chainable " + id + "><chainable " + id + "/><chainable></chainable></chainable>",
        "<chainable " + id + " a='&#10;&quot;&amp;'>&lt;&#x41;&gt;</chainable>",
        "<chainable " + id + " name='\xc3\xa4\xf0\x9f\x98\x80'>\xe2\x82\xac\xf0\x9f\x98\x80</chainable>",
        "<chainable x:mode='1' xmlns:y='urn:y' " + id + "><x:part y:a='2'/></chainable>",
        "<chainable " + id + ">" + QByteArray(100000, 'a') + "</chainable>",
    };
    for (const QByteArray& before : {QByteArray(), QByteArray("\r\n  "), QByteArray("<!-- <chainable> -->"),
                                     QByteArray("\xc3\xa4").prepend("<?pi ").append("?>")}) {
        const QByteArray xml =
            "\xef\xbb\xbf<?xml version=\"1.0\"?>\r\n<chain version='1' xmlns:x='urn:x' a='>'>" + before +
            elements.join(before) + "</chain>";
        ASSERT_TRUE(file.parse(xml, &error)) << error.toStdString();
        ASSERT_EQ(elements.size(), file.count());
        for (int round = 0; round < 2; ++round) {
            CzChain own;
            ASSERT_TRUE(file.appendTo(own, nullptr, &error));
            const QByteArray saved = CzChainFile::describe(own).toXml();
            EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<chain version=\"1\">\n  " +
                          elements.join("\n  ").toStdString() + "\n</chain>\n",
                      saved.toStdString());
            ASSERT_TRUE(file.parse(saved, &error)) << error.toStdString();
        }
    }
}

TEST_F(ChainFileTest, ADocumentTypeIsRefusedForItsEntitiesWouldBeLost) {
    const QByteArray chainText = chainOf("<chainable uniqueId=\"a\">&e;</chainable>");
    EXPECT_TRUE(parseError("<!DOCTYPE chain [<!ENTITY e \"text\">]>" + chainText)
                    .endsWith("expected the element <chain>, found a document type."));
    EXPECT_TRUE(parseError(chainText).contains("'e'"));
}

TEST_F(ChainFileTest, ElementsAroundAMissingOneAreInsertedAndTaken) {
    const QByteArray unknown = R"(<chainable uniqueId="com.example.Future" a="1"/>)";
    ASSERT_TRUE(file.parse(chainOf(level5 + unknown + level5), &error)) << error.toStdString();
    ASSERT_TRUE(file.appendTo(chain, nullptr, &error));
    ASSERT_TRUE(chain.insert(1, new LevelElement));
    ASSERT_TRUE(chain.insert(3, new LevelElement));
    EXPECT_EQ(5, chain.elements().size());
    delete chain.take(0);
    delete chain.take(3);
    EXPECT_TRUE(CzChainFile::describe(chain).toXml().contains("  " + unknown + "\n"));
    EXPECT_FALSE(chain.start());

    delete chain.take(1);
    EXPECT_EQ(chain.elements()[0], chain.elements()[1]->predecessor());
    EXPECT_TRUE(chain.start()) << "nothing is missing any more";
}

TEST_F(ChainFileTest, AMissingSettingIsAWarningThatNamesElementAndSetting) {
    ASSERT_TRUE(file.parse(chainOf(R"(<chainable uniqueId="org.zuviewer.tests.LevelElement"/>)"), &error));
    ASSERT_TRUE(file.appendTo(chain, &warnings, &error));
    ASSERT_EQ(1, warnings.size());
    EXPECT_EQ("Scripted: the settings lack level.", warnings[0].toStdString());
    EXPECT_EQ(3, static_cast<LevelElement*>(chain.elements()[0])->level);
}

TEST_F(ChainFileTest, AStateThatDoesNotExistIsAWarning) {
    ASSERT_TRUE(file.parse(
        chainOf(R"(<chainable uniqueId="org.zuviewer.tests.LevelElement" level="4" state="maybe"/>)"),
        &error));
    ASSERT_TRUE(file.appendTo(chain, &warnings, &error));
    EXPECT_EQ(1, warnings.size());
    EXPECT_EQ(4, static_cast<LevelElement*>(chain.elements()[0])->level);
    EXPECT_EQ(EzChainableState::Processing, chain.elements()[0]->state());
}

TEST_F(ChainFileTest, AnAttributeCanBeSetBeforeTheElementIsMade) {
    ASSERT_TRUE(file.parse(chainOf(level5), &error));
    ASSERT_TRUE(file.setAttribute(0, "level", "11", &error));
    ASSERT_TRUE(file.appendTo(chain, &warnings, &error));
    EXPECT_EQ(11, static_cast<LevelElement*>(chain.elements()[0])->level);
}

TEST_F(ChainFileTest, SettingAnAttributeOfNoElementOrOfNoNameIsRefused) {
    ASSERT_TRUE(file.parse(chainOf(level5), &error));
    EXPECT_FALSE(file.setAttribute(1, "level", "1", &error));
    EXPECT_TRUE(error.contains("1"));
    EXPECT_FALSE(file.setAttribute(-1, "level", "1", &error));
    EXPECT_FALSE(file.setAttribute(0, "no name", "1", &error));
    EXPECT_FALSE(file.setAttribute(0, "", "1", &error));
    EXPECT_FALSE(file.setAttribute(0, "uniqueId", "other", &error));
    EXPECT_TRUE(file.toXml().endsWith(chainOf("  " + level5))) << file.toXml().toStdString();
}

TEST_F(ChainFileTest, BadXmlIsRefusedWithLineAndColumn) {
    EXPECT_TRUE(parseError("<chain version=\"1\">\n  <chainable uniqueId=\"a\"\n</chain>")
                    .startsWith("line 3, column "));
    EXPECT_TRUE(parseError("").startsWith("line 1, column "));
    EXPECT_TRUE(parseError("<chain version=\"1\">").startsWith("line 1, column "));
    EXPECT_TRUE(parseError("{}").startsWith("line 1, column "));
}

TEST_F(ChainFileTest, WhatIsNoChainIsRefusedWithWhatWasExpected) {
    EXPECT_TRUE(parseError("<picture/>").contains("expected the element <chain>, found <picture>"));
    EXPECT_TRUE(parseError("<chain/>").contains("expected chain version 1"));
    EXPECT_TRUE(parseError("<chain version=\"2\"/>").contains("found \"2\""));
    EXPECT_TRUE(
        parseError(chainOf("<filter/>")).contains("expected the element <chainable>, found <filter>"));
    EXPECT_TRUE(parseError(chainOf("<chainable/>")).contains("uniqueId"));
    EXPECT_TRUE(parseError(chainOf("words")).contains("found text"));
    EXPECT_TRUE(parseError(chainOf(level5) + "<more/>").startsWith("line "));
    EXPECT_TRUE(parseError("<chain version=\"1\">\xff\xfe</chain>").contains("UTF-8"));
}

TEST_F(ChainFileTest, ARefusedTextLeavesTheFileAsItWas) {
    ASSERT_TRUE(file.parse(chainOf(level5), &error));
    EXPECT_FALSE(file.parse("rubbish", &error));
    EXPECT_EQ(1, file.count());
}

TEST_F(ChainFileTest, AnEmptyChainIsAChain) {
    EXPECT_TRUE(file.parse("<chain version=\"1\"/>", &error)) << error.toStdString();
    EXPECT_EQ(0, file.count());
}

TEST_F(ChainFileTest, AnEntityExpansionThatExplodesIsRefused) {
    QByteArray xml = "<!DOCTYPE chain [<!ENTITY a \"aaaaaaaaaa\">";
    for (char c = 'b'; c < 'k'; ++c)
        xml +=
            QByteArray("<!ENTITY ") + c + " \"" + (QByteArray("&") + char(c - 1) + ";").repeated(10) + "\">";
    xml += "]><chain version=\"1\"><chainable uniqueId=\"&j;\"/></chain>";
    EXPECT_FALSE(file.parse(xml, &error));
}

TEST_F(ChainFileTest, DefaultsAreThoseOfANewElement) {
    EXPECT_TRUE(file.appendDefault("org.zuviewer.tests.LevelElement"));
    EXPECT_FALSE(file.appendDefault("org.zuviewer.tests.Unknown"));
    EXPECT_TRUE(file.toXml().contains("level=\"3\""));
}

TEST_F(ChainFileTest, FilesAreWrittenWholeAndTheirErrorsNameThem) {
    QTemporaryDir folder;
    const QString path = folder.filePath("a.zuchain");
    ASSERT_TRUE(file.parse(chainOf(level5), &error));
    ASSERT_TRUE(file.write(path, &error));
    CzChainFile back;
    ASSERT_TRUE(back.read(path, &error));
    EXPECT_EQ(file.toXml(), back.toXml());

    EXPECT_FALSE(file.write(path + "/below-a-file.zuchain", &error));
    EXPECT_TRUE(error.contains("below-a-file.zuchain"));
    EXPECT_FALSE(back.read(folder.filePath("none.zuchain"), &error));
    EXPECT_TRUE(error.contains("none.zuchain"));
    QFile bad(folder.filePath("bad.zuchain"));
    ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
    bad.write("<chain");
    bad.close();
    EXPECT_FALSE(back.read(bad.fileName(), &error));
    EXPECT_TRUE(error.contains("bad.zuchain: line 1, column "));
}

} // namespace

#include "ChainFileTest.moc"
