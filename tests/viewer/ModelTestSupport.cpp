// SPDX-License-Identifier: GPL-3.0-or-later
#include "ModelTestSupport.h"

#include "Chain.h"
#include "PicBufAPI.h"
#include "RTTI.h"

#include <QComboBox>
#include <QDomElement>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <cstring>

const QString ElementClasses::adjustable = QStringLiteral("org.zuviewer.tests.AdjustableElement");
const QString ElementClasses::lonely = QStringLiteral("org.zuviewer.tests.LonelyElement");

int AdjustableElement::alive = 0;
int AdjustableElement::widgetsAlive = 0;

std::unique_ptr<CzImageData> makeFrame(int frameNo, int value, int width, int height) {
    SzPicBufInfo format;
    format.width = static_cast<std::uint32_t>(width);
    format.height = static_cast<std::uint32_t>(height);
    format.channels = 1;
    format.bitDepth = 8;
    format.dataType = EzImageDataType::UInt8;
    SzPicBuf picture;
    if (!CzPicBufAPI::AllocPicBufFromHeap(picture, format, false))
        return nullptr;
    for (std::uint32_t y = 0; y < picture.height; ++y)
        std::memset(picture.data + std::size_t{y} * picture.linePitch, value, picture.width);
    picture.frameNo = frameNo;
    auto frame = std::make_unique<CzImageData>();
    frame->setPicBuf(picture);
    return frame;
}

int valueOf(const CzImageData& picture) {
    return *picture.picBuf().data;
}

AdjustableElement::AdjustableElement() {
    ++alive;
}

AdjustableElement::~AdjustableElement() {
    --alive;
}

CzChainable* AdjustableElement::duplicate() {
    auto* const copy = new AdjustableElement;
    copy->level = level;
    copy->mood = mood;
    return copy;
}

QWidget* AdjustableElement::createConfigWidget() {
    ++widgetsMade;
    return hasWidget ? new AdjustableWidget(*this) : nullptr;
}

void AdjustableElement::simpleStateConfigButtons(QList<CzSimpleStateConfigButton>& buttons, bool& exclusive) {
    buttons.append({QStringLiteral("Calm"), Calm, mood == Calm});
    buttons.append({QStringLiteral("Wild"), Wild, mood == Wild});
    if (hasMore)
        buttons.append({QStringLiteral("More"), More, false});
    exclusive = !hasMore;
}

void AdjustableElement::simpleStateConfigButtonPressed(int id) {
    onButton(id);
    if (id != More)
        mood = id;
}

bool AdjustableElement::saveSettings(QDomDocument& document, QDomElement& element) const {
    element.setAttribute(QStringLiteral("level"), level);
    return ScriptedElement::saveSettings(document, element);
}

bool AdjustableElement::loadSettings(const QDomElement& element) {
    level = element.attribute(QStringLiteral("level")).toInt();
    return ScriptedElement::loadSettings(element) && element.hasAttribute(QStringLiteral("level"));
}

AdjustableWidget::AdjustableWidget(AdjustableElement& element) : m_element(element) {
    ++AdjustableElement::widgetsAlive;
    auto* const level = new QSpinBox;
    level->setObjectName(QStringLiteral("level"));
    level->setValue(element.level);
    connect(level, QOverload<int>::of(&QSpinBox::valueChanged), this,
            [this](int value) { set(&AdjustableElement::level, value); });
    auto* const mood = new QComboBox;
    mood->setObjectName(QStringLiteral("mood"));
    mood->addItems({QStringLiteral("calm"), QStringLiteral("wild")});
    mood->setCurrentIndex(element.mood);
    connect(mood, QOverload<int>::of(&QComboBox::activated), this,
            [this](int index) { set(&AdjustableElement::mood, index); });
    auto* const ask = new QPushButton(QStringLiteral("ask"));
    ask->setObjectName(QStringLiteral("ask"));
    connect(ask, &QPushButton::clicked, this, [this] {
        QMessageBox box(QMessageBox::Question, QString(), QStringLiteral("Wild?"),
                        QMessageBox::Yes | QMessageBox::No, this);
        box.setObjectName(QStringLiteral("wild"));
        const bool isWild = box.exec() == QMessageBox::Yes;
        set(&AdjustableElement::mood, isWild ? AdjustableElement::Wild : AdjustableElement::Calm);
    });
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(level);
    layout->addWidget(mood);
    layout->addWidget(ask);
}

void AdjustableWidget::set(int AdjustableElement::*parameter, int value) {
    CzChain* const chain = m_element.chain();
    const bool running = chain && !chain->stopped();
    if (running) {
        ++m_element.waits;
        chain->stop();
    }
    m_element.*parameter = value;
    if (running)
        chain->start();
}

AdjustableWidget::~AdjustableWidget() {
    m_element.objectName(); // is still there
    --AdjustableElement::widgetsAlive;
}

ElementClasses::ElementClasses() {
    CzRTTI& registry = *CzRTTI::instance();
    for (const QMetaObject* const metaObject :
         {&AdjustableElement::staticMetaObject, &LonelyElement::staticMetaObject})
        registry.registerClass(nullptr, *metaObject, QStringLiteral("CzChainable"));
}

ElementClasses::~ElementClasses() {
    CzRTTI::instance()->unregisterClasses(nullptr);
}
