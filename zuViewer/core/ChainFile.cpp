// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainFile.h"

#include "Chain.h"
#include "Chainable.h"
#include "MissingElement.h"
#include "RTTI.h"

#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QSaveFile>
#include <QTextCodec>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <memory>
#include <tuple>

namespace {

const QString kChainTag = QStringLiteral("chain");
const QString kElementTag = QStringLiteral("chainable");
const QString kUniqueIdKey = QStringLiteral("uniqueId");
const QString kVersion = QStringLiteral("1");

QString inFile(const QString& path, const QString& sentence) {
    return QStringLiteral("%1: %2").arg(QDir::toNativeSeparators(path), sentence);
}

/// Writes an element the same way every time: the identifier first, then the attributes in alphabetical
/// order.
void writeElement(QXmlStreamWriter& writer, const QDomElement& element) {
    writer.writeStartElement(element.tagName());
    const QDomNamedNodeMap attributes = element.attributes();
    QStringList names;
    for (int i = 0; i < attributes.count(); ++i)
        names.append(attributes.item(i).nodeName());
    std::sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
        return std::make_tuple(a != kUniqueIdKey, a) < std::make_tuple(b != kUniqueIdKey, b);
    });
    for (const QString& name : qAsConst(names))
        writer.writeAttribute(name, element.attribute(name));
    for (QDomNode child = element.firstChild(); !child.isNull(); child = child.nextSibling()) {
        if (child.isElement())
            writeElement(writer, child.toElement());
        else if (child.isText())
            writer.writeCharacters(child.nodeValue());
    }
    writer.writeEndElement();
}

QString elementText(const QDomElement& element) {
    QString text;
    QXmlStreamWriter writer(&text);
    writeElement(writer, element);
    return text;
}

/// The element that stands in an entry's text. The document must outlive it.
QDomElement parseElement(const QString& xml, QDomDocument& document) {
    document.setContent(xml);
    return document.documentElement();
}

QString settingsText(const CzChainable& element) {
    QDomDocument document;
    QDomElement settings = document.createElement(kElementTag);
    document.appendChild(settings);
    element.saveSettings(document, settings);
    return elementText(settings);
}

/// The settings that an element writes but did not find.
QStringList missingSettings(const CzChainable& element, const QDomElement& settings) {
    QDomDocument document;
    const QDomElement complete = parseElement(settingsText(element), document);
    const QDomNamedNodeMap attributes = complete.attributes();
    QStringList missing;
    for (int i = 0; i < attributes.count(); ++i)
        if (!settings.hasAttribute(attributes.item(i).nodeName()))
            missing.append(attributes.item(i).nodeName());
    missing.sort();
    return missing;
}

} // namespace

bool CzChainFile::parse(const QByteArray& xml, QString* error) {
    QVector<Entry> entries;
    QTextCodec::ConverterState decoding;
    const QString text = QTextCodec::codecForName("UTF-8")->toUnicode(xml.constData(), xml.size(), &decoding);
    QXmlStreamReader reader(text);
    // A prefix need not be declared where the element is saved again: names are taken as they are written.
    reader.setNamespaceProcessing(false);
    const auto refuse = [&](const QString& reason) {
        if (error)
            *error =
                tr("line %1, column %2: %3").arg(reader.lineNumber()).arg(reader.columnNumber()).arg(reason);
        return false;
    };
    if (decoding.invalidChars > 0 || decoding.remainingChars > 0)
        return refuse(tr("the text is not UTF-8."));

    while (!reader.atEnd() && reader.readNext() != QXmlStreamReader::StartElement)
        if (reader.isDTD()) // its entities would be missing when an element is saved again
            return refuse(tr("expected the element <chain>, found a document type."));
    if (!reader.isStartElement())
        return refuse(reader.hasError() ? reader.errorString() : tr("there is no <chain> element."));
    if (reader.name() != kChainTag)
        return refuse(tr("expected the element <chain>, found <%1>.").arg(reader.name().toString()));
    const QString version = reader.attributes().value(QLatin1String("version")).toString();
    if (version != kVersion)
        return refuse(tr("expected chain version %1, found \"%2\".").arg(kVersion, version));

    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::StartElement) {
            if (reader.name() != kElementTag)
                return refuse(
                    tr("expected the element <chainable>, found <%1>.").arg(reader.name().toString()));
            const QString id = reader.attributes().value(kUniqueIdKey).toString();
            if (id.isEmpty())
                return refuse(tr("the element <chainable> has no attribute \"uniqueId\"."));
            // The reader may already have looked at the character behind a token, never at a second tag.
            const int begin = text.lastIndexOf(QLatin1Char('<'), int(reader.characterOffset()) - 1);
            reader.skipCurrentElement();
            const int end = text.lastIndexOf(QLatin1Char('>'), int(reader.characterOffset()) - 1) + 1;
            if (!reader.hasError())
                entries.append({id, text.mid(begin, end - begin)});
        } else if (token == QXmlStreamReader::Characters && !reader.isWhitespace()) {
            return refuse(tr("expected the element <chainable>, found text."));
        }
    }
    if (reader.hasError())
        return refuse(reader.errorString());
    m_entries = entries;
    return true;
}

bool CzChainFile::read(const QString& path, QString* error) {
    QFile file(path);
    QString reason;
    if (!file.open(QIODevice::ReadOnly))
        reason = file.errorString();
    else if (parse(file.readAll(), &reason))
        return true;
    if (error)
        *error = inFile(path, reason);
    return false;
}

bool CzChainFile::setAttribute(int index, const QString& key, const QString& value, QString* error) {
    if (index < 0 || index >= m_entries.size()) {
        if (error)
            *error = tr("there is no element %1: the chain has %2.").arg(index).arg(m_entries.size());
        return false;
    }
    QDomDocument document;
    QDomElement element = parseElement(m_entries.at(index).xml, document);
    element.setAttribute(key, value);
    const QString text = elementText(element);
    QDomDocument check;
    if (key == kUniqueIdKey || !check.setContent(text) || check.documentElement().attribute(key) != value) {
        if (error)
            *error = tr("\"%1\" cannot be set to \"%2\".").arg(key, value);
        return false;
    }
    m_entries[index].xml = text;
    return true;
}

bool CzChainFile::appendTo(CzChain& chain, QStringList* warnings, QString* error) const {
    const auto warn = [&](const QString& sentence) {
        if (warnings)
            warnings->append(sentence);
    };
    for (const Entry& entry : m_entries) {
        std::unique_ptr<CzChainable> element(CzRTTI::instance()->createChainable(entry.uniqueId));
        if (!element) {
            element = std::make_unique<CzMissingElement>(entry.uniqueId, entry.xml);
            warn(tr("The element %1 is missing: no plug-in that was loaded knows it.").arg(entry.uniqueId));
        } else {
            QDomDocument document;
            const QDomElement settings = parseElement(entry.xml, document);
            if (!element->loadSettings(settings)) {
                const QStringList missing = missingSettings(*element, settings);
                warn(missing.isEmpty() ? tr("%1: not all settings could be read.").arg(element->caption())
                                       : tr("%1: the settings lack %2.")
                                             .arg(element->caption(), missing.join(QLatin1String(", "))));
            }
        }
        if (!chain.append(element.get())) {
            if (error)
                *error = tr("%1 cannot follow in this chain.").arg(element->caption());
            return false;
        }
        element.release();
    }
    return true;
}

CzChainFile CzChainFile::describe(const CzChain& chain) {
    CzChainFile file;
    for (const CzChainable* element : chain.elements()) {
        if (auto* const missing = qobject_cast<const CzMissingElement*>(element))
            file.m_entries.append({missing->uniqueId(), missing->xml()});
        else
            file.m_entries.append({CzRTTI::uniqueId(*element->metaObject()), settingsText(*element)});
    }
    return file;
}

bool CzChainFile::appendDefault(const QString& uniqueId) {
    const std::unique_ptr<CzChainable> element(CzRTTI::instance()->createChainable(uniqueId));
    if (element)
        m_entries.append({uniqueId, settingsText(*element)});
    return element != nullptr;
}

QByteArray CzChainFile::toXml() const {
    QString text =
        QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<chain version=\"%1\">\n").arg(kVersion);
    for (const Entry& entry : m_entries)
        text += QStringLiteral("  ") + entry.xml + QLatin1Char('\n');
    text += QStringLiteral("</chain>\n");
    return text.toUtf8();
}

bool CzChainFile::write(const QString& path, QString* error) const {
    QSaveFile file(path);
    const QByteArray xml = toXml();
    if (file.open(QIODevice::WriteOnly) && file.write(xml) == xml.size() && file.commit())
        return true;
    if (error)
        *error = inFile(path, file.errorString());
    return false;
}
