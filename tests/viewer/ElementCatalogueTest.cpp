// SPDX-License-Identifier: GPL-3.0-or-later
#include "ElementCatalogue.h"

#include "ModelTestSupport.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTextBrowser>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace {

class ElementCatalogueTest : public testing::Test {
protected:
    void SetUp() override {
        m_catalogue = std::make_unique<CzElementCatalogue>();
        m_search = m_catalogue->findChild<QLineEdit*>(QStringLiteral("search"));
        m_list = m_catalogue->findChild<QListWidget*>(QStringLiteral("elements"));
        m_help = m_catalogue->findChild<QTextBrowser*>(QStringLiteral("help"));
        for (QPushButton* const button : m_catalogue->findChildren<QPushButton*>())
            if (button->isDefault())
                m_add = button;
        ASSERT_TRUE(m_search && m_list && m_help && m_add);
        m_catalogue->show();
        m_search->setFocus();
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_catalogue.get()));
    }

    std::vector<std::string> found() const {
        std::vector<std::string> names;
        for (int i = 0; i < m_list->count(); ++i)
            if (!m_list->item(i)->isHidden())
                names.push_back(m_list->item(i)->text().toStdString());
        return names;
    }
    void search(const QString& text) {
        m_search->clear();
        QTest::keyClicks(m_search, text);
    }

    const ElementClasses m_classes;
    std::unique_ptr<CzElementCatalogue> m_catalogue;
    QLineEdit* m_search = nullptr;
    QListWidget* m_list = nullptr;
    QTextBrowser* m_help = nullptr;
    QPushButton* m_add = nullptr;
};

} // namespace

TEST_F(ElementCatalogueTest, OffersAllElementsWithTheirHelp) {
    EXPECT_THAT(found(), ElementsAre("Adjustable", "Lonely"));
    EXPECT_EQ(ElementClasses::adjustable, m_catalogue->chosenId());
    EXPECT_EQ(QStringLiteral("Raises the brightness of pictures."), m_help->toPlainText());
    QTest::keyClick(m_search, Qt::Key_Down);
    EXPECT_EQ(ElementClasses::lonely, m_catalogue->chosenId());
    EXPECT_EQ(QStringLiteral("There is no description."), m_help->toPlainText());
    QTest::keyClick(m_search, Qt::Key_Up);
    EXPECT_EQ(ElementClasses::adjustable, m_catalogue->chosenId());
}

TEST_F(ElementCatalogueTest, SearchesNamesAndHelp) {
    search(QStringLiteral("LONE"));
    EXPECT_THAT(found(), ElementsAre("Lonely"));
    EXPECT_EQ(ElementClasses::lonely, m_catalogue->chosenId()) << "the first that is found";
    search(QStringLiteral("brightness")) /* across the tags of the help */;
    EXPECT_THAT(found(), ElementsAre("Adjustable"));
    search(QStringLiteral("pictures adjust"));
    EXPECT_THAT(found(), ElementsAre("Adjustable")) << "all words, anywhere";
    search(QStringLiteral("<b>"));
    EXPECT_TRUE(found().empty());
    search(QStringLiteral(" "));
    EXPECT_THAT(found(), ElementsAre("Adjustable", "Lonely"));
}

TEST_F(ElementCatalogueTest, WhatIsHiddenIsNotReachedByKeys) {
    search(QStringLiteral("adjust"));
    QTest::keyClick(m_search, Qt::Key_Down);
    QTest::keyClick(m_search, Qt::Key_PageDown);
    EXPECT_EQ(ElementClasses::adjustable, m_catalogue->chosenId());
}

TEST_F(ElementCatalogueTest, NothingFoundCanNotBeAdded) {
    search(QStringLiteral("xyz"));
    EXPECT_TRUE(found().empty());
    EXPECT_EQ(QString(), m_catalogue->chosenId());
    EXPECT_FALSE(m_add->isEnabled());
    EXPECT_EQ(QStringLiteral("No element has these words in its name or help."), m_help->toPlainText());
    QTest::keyClick(m_search, Qt::Key_Return);
    EXPECT_TRUE(m_catalogue->isVisible());
    m_search->clear();
    EXPECT_EQ(ElementClasses::adjustable, m_catalogue->chosenId());
    EXPECT_TRUE(m_add->isEnabled());
}

TEST_F(ElementCatalogueTest, IsAcceptedByKeyboardAndMouse) {
    QTest::keyClick(m_search, Qt::Key_Return);
    EXPECT_FALSE(m_catalogue->isVisible());
    EXPECT_EQ(QDialog::Accepted, m_catalogue->result());

    m_catalogue->show();
    QTest::keyClick(m_search, Qt::Key_Escape);
    EXPECT_EQ(QDialog::Rejected, m_catalogue->result());

    m_catalogue->show();
    const QPoint second = m_list->visualItemRect(m_list->item(1)).center();
    QTest::mouseClick(m_list->viewport(), Qt::LeftButton, {}, second);
    EXPECT_EQ(ElementClasses::lonely, m_catalogue->chosenId());
    QTest::mouseDClick(m_list->viewport(), Qt::LeftButton, {}, second);
    EXPECT_FALSE(m_catalogue->isVisible());
    EXPECT_EQ(QDialog::Accepted, m_catalogue->result());
}

TEST(EmptyElementCatalogueTest, SaysThatThereAreNoElements) {
    CzElementCatalogue catalogue;
    EXPECT_EQ(QString(), catalogue.chosenId());
    EXPECT_EQ(QStringLiteral("No plug-in with elements was loaded."),
              catalogue.findChild<QTextBrowser*>(QStringLiteral("help"))->toPlainText());
}
