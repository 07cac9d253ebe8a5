// SPDX-License-Identifier: GPL-3.0-or-later
#include "Sidecar.h"

#include "PictureText.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <type_traits>

namespace {

/// Takes values of a given type out of a JSON tree. The first one of another type is remembered as a sentence
/// with its place; missing values leave the target as it is.
class JsonReader {
public:
    QString problem() const { return m_problem; }

    void expected(const QString& place, const QString& what) {
        if (m_problem.isEmpty())
            m_problem = SzPictureText::tr("%1: expected %2").arg(place, what);
    }

    template <class Integer>
    static bool isWholeNumber(const QJsonValue& value) {
        constexpr double lowest = std::numeric_limits<Integer>::min();
        constexpr double highest = std::numeric_limits<Integer>::max();
        const double number = value.toDouble(lowest - 1);
        return number >= lowest && number <= highest && number == std::floor(number);
    }

    template <class Integer>
    void readWhole(const QJsonValue& value, const QString& place, Integer& target) {
        if (value.isUndefined())
            return;
        if (isWholeNumber<Integer>(value))
            target = static_cast<Integer>(value.toDouble());
        else
            expected(place, SzPictureText::tr("a whole number from %1 to %2")
                                .arg(std::numeric_limits<Integer>::min())
                                .arg(std::numeric_limits<Integer>::max()));
    }

    /// For optional values: numbers that are an enumeration's count as they stand, known or not.
    template <class T>
    void readWhole(const QJsonValue& value, const QString& place, std::optional<T>& target) {
        if (value.isUndefined())
            return;
        std::uint32_t number = 0;
        readWhole(value, place, number);
        target = static_cast<T>(number);
    }

    template <class Bool>
    void readBool(const QJsonValue& value, const QString& place, Bool& target) {
        if (value.isBool())
            target = value.toBool();
        else if (!value.isUndefined())
            expected(place, SzPictureText::tr("true or false"));
    }

    void readNumber(const QJsonValue& value, const QString& place, double& target) {
        if (value.isDouble())
            target = value.toDouble();
        else if (!value.isUndefined())
            expected(place, SzPictureText::tr("a number"));
    }

    void readString(const QJsonValue& value, const QString& place, QString& target) {
        if (value.isString())
            target = value.toString();
        else if (!value.isUndefined())
            expected(place, SzPictureText::tr("a text"));
    }

    template <class Integer>
    void readWholes(const QJsonValue& value, const QString& place, const QString& what,
                    std::initializer_list<Integer*> targets) {
        if (value.isUndefined())
            return;
        const QJsonArray numbers = value.toArray();
        bool fits = value.isArray() && numbers.size() == static_cast<int>(targets.size());
        for (const QJsonValue& number : numbers)
            fits = fits && isWholeNumber<Integer>(number);
        if (!fits) {
            expected(place, what);
            return;
        }
        int index = 0;
        for (Integer* target : targets)
            *target = static_cast<Integer>(numbers.at(index++).toDouble());
    }

    /// Calls function for each element of a list of objects, with its place.
    template <class Function>
    void readObjects(const QJsonValue& value, const QString& place, Function&& function) {
        if (value.isUndefined())
            return;
        if (!value.isArray())
            expected(place, SzPictureText::tr("a list"));
        const QJsonArray list = value.toArray();
        for (int i = 0; i < list.size(); ++i) {
            const QString itemPlace = QStringLiteral("%1[%2]").arg(place).arg(i);
            if (list.at(i).isObject())
                function(list.at(i).toObject(), itemPlace);
            else
                expected(itemPlace, SzPictureText::tr("an object"));
        }
    }

private:
    QString m_problem;
};

CzHsiCameraParams::CzFilterZone readZone(const QJsonObject& json, const QString& place, JsonReader& reader) {
    CzHsiCameraParams::CzFilterZone zone;
    zone.blockWidth = 1;
    zone.blockHeight = 1;
    const auto at = [&](const char* key) { return place + QLatin1Char('.') + QLatin1String(key); };
    reader.readWhole(json[QLatin1String("id")], at("id"), zone.id);
    reader.readWholes(json[QLatin1String("cell")], at("cell"), SzPictureText::tr("two whole numbers"),
                      {&zone.cellWidth, &zone.cellHeight});
    reader.readWholes(json[QLatin1String("block")], at("block"), SzPictureText::tr("two whole numbers"),
                      {&zone.blockWidth, &zone.blockHeight});
    reader.readWholes(json[QLatin1String("region")], at("region"),
                      SzPictureText::tr("four whole numbers (left, top, right, bottom)"),
                      {&zone.left, &zone.top, &zone.right, &zone.bottom});
    reader.readObjects(
        json[QLatin1String("bands")], at("bands"), [&](const QJsonObject& band, const QString& bandPlace) {
            QString name;
            double wavelength = 0.0;
            reader.readString(band[QLatin1String("name")], bandPlace + QLatin1String(".name"), name);
            reader.readNumber(band[QLatin1String("wavelength")], bandPlace + QLatin1String(".wavelength"),
                              wavelength);
            zone.bands.append(CzHsiCameraParams::CzBand(name, wavelength));
        });
    return zone;
}

CzHsiCameraParams readSensor(const QJsonValue& value, JsonReader& reader) {
    CzHsiCameraParams sensor;
    if (value.isUndefined())
        return sensor;
    if (!value.isObject())
        reader.expected(QStringLiteral("hsi"), SzPictureText::tr("an object"));
    const QJsonObject json = value.toObject();
    reader.readBool(json[QLatin1String("rgbNir")], QStringLiteral("hsi.rgbNir"), sensor.rgbNir);
    reader.readObjects(json[QLatin1String("zones")], QStringLiteral("hsi.zones"),
                       [&](const QJsonObject& zone, const QString& place) {
                           sensor.zones.append(readZone(zone, place, reader));
                       });
    return sensor;
}

QString zonePlace(int zone) {
    return QStringLiteral("hsi.zones[%1]").arg(zone);
}

QStringList sensorWarnings(const CzHsiCameraParams& sensor) {
    QStringList warnings;
    for (int i = 0; i < sensor.zones.size(); ++i) {
        const auto& zone = sensor.zones.at(i);
        const std::uint64_t positions = std::uint64_t{zone.cellWidth} * zone.cellHeight;
        if (positions == 0)
            warnings += SzPictureText::tr("%1.cell: no sensor has cells of %2 × %3")
                            .arg(zonePlace(i))
                            .arg(zone.cellWidth)
                            .arg(zone.cellHeight);
        if (zone.blockWidth == 0 || zone.blockHeight == 0)
            warnings += SzPictureText::tr("%1.block: no sensor has blocks of %2 × %3")
                            .arg(zonePlace(i))
                            .arg(zone.blockWidth)
                            .arg(zone.blockHeight);
        if (positions != static_cast<std::uint64_t>(zone.bands.size()))
            warnings += SzPictureText::tr("%1.bands: %2 bands for %3 cell positions")
                            .arg(zonePlace(i))
                            .arg(zone.bands.size())
                            .arg(positions);
    }
    return warnings;
}

/// "line 3, column 7" of a byte offset, both from 1 on.
QString textPlace(const QByteArray& text, int offset) {
    const QByteArray before = text.left(offset);
    const int column = before.size() - (before.lastIndexOf('\n') + 1) + 1;
    return SzPictureText::tr("line %1, column %2").arg(before.count('\n') + 1).arg(column);
}

QJsonObject sensorJson(const CzHsiCameraParams& sensor) {
    QJsonArray zones;
    for (const auto& zone : sensor.zones) {
        QJsonArray bands;
        for (const auto& band : zone.bands) {
            QJsonObject bandJson{{QStringLiteral("name"), band.name()}};
            if (std::isfinite(band.wavelength()))
                bandJson[QStringLiteral("wavelength")] = band.wavelength();
            bands.append(bandJson);
        }
        QJsonObject json{{QStringLiteral("bands"), bands}};
        const auto pair = [](std::uint32_t a, std::uint32_t b) { return QJsonArray{double(a), double(b)}; };
        if (zone.id != 0)
            json[QStringLiteral("id")] = double(zone.id);
        json[QStringLiteral("cell")] = pair(zone.cellWidth, zone.cellHeight);
        json[QStringLiteral("block")] = pair(zone.blockWidth, zone.blockHeight);
        json[QStringLiteral("region")] = QJsonArray{zone.left, zone.top, zone.right, zone.bottom};
        zones.append(json);
    }
    return {{QStringLiteral("rgbNir"), sensor.rgbNir}, {QStringLiteral("zones"), zones}};
}

QJsonObject sidecarJson(const SzSidecar& sidecar) {
    QJsonObject json;
    const auto number = [&](const char* key, auto value) {
        if (value)
            json[QLatin1String(key)] = double(static_cast<std::uint32_t>(*value));
    };
    number("bitDepth", sidecar.bitDepth);
    number("dataType", sidecar.dataType);
    number("colorFilterArray", sidecar.colorFilterArray);
    number("sensorColorFilterArray", sidecar.sensorColorFilterArray);
    number("storageFormat", sidecar.storageFormat);
    number("linePitch", sidecar.linePitch);
    if (sidecar.isColor)
        json[QStringLiteral("isColor")] = *sidecar.isColor;
    if (sidecar.still)
        json[QStringLiteral("still")] = true;
    if (sidecar.hsi != CzHsiCameraParams())
        json[QStringLiteral("hsi")] = sensorJson(sidecar.hsi);
    if (!sidecar.mosaicName.isEmpty())
        json[QStringLiteral("mosaicName")] = sidecar.mosaicName;
    return json;
}

/// Carries what differs between two objects over to a third one, and leaves all else there alone.
void makeChange(const QJsonObject& before, const QJsonObject& after, QJsonObject& target) {
    const QStringList keys = before.keys() + after.keys(); // some twice, which does no harm
    for (const QString& key : keys) {
        const QJsonValue wanted = after[key];
        if (before[key] == wanted)
            continue;
        if (wanted.isUndefined()) {
            target.remove(key);
        } else if (wanted.isObject()) {
            QJsonObject inner = target.value(key).toObject();
            makeChange(before[key].toObject(), wanted.toObject(), inner);
            target[key] = inner;
        } else {
            target[key] = wanted;
        }
    }
}

bool parseObject(const QByteArray& text, QJsonObject& object, QString* error) {
    QJsonParseError syntax;
    const QJsonDocument document = QJsonDocument::fromJson(text, &syntax);
    object = document.object();
    if (document.isObject())
        return true;
    if (error)
        *error = syntax.error == QJsonParseError::NoError
                     ? SzPictureText::tr("line 1, column 1: expected an object")
                     : QStringLiteral("%1: %2").arg(textPlace(text, syntax.offset), syntax.errorString());
    return false;
}

QString sentenceOf(const QString& path, const QString& text) {
    return QStringLiteral("%1: %2").arg(path, text);
}

bool readText(const QString& path, QByteArray& text, QString* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = sentenceOf(path, file.errorString());
        return false;
    }
    text = file.readAll();
    return true;
}

/// Parses the text of a sidecar file; the sentences name it.
bool parseText(const QString& path, const QByteArray& text, SzSidecar& sidecar, QString* error,
               QStringList* warnings) {
    QStringList places;
    QString problem;
    if (!parseSidecar(text, sidecar, &problem, &places)) {
        if (error)
            *error = sentenceOf(path, problem);
        return false;
    }
    if (warnings)
        for (const QString& place : qAsConst(places))
            *warnings += sentenceOf(path, place);
    return true;
}

} // namespace

QString sidecarPath(const QString& pictureFile) {
    return pictureFile + QLatin1String(".json");
}

bool parseSidecar(const QByteArray& json, SzSidecar& sidecar, QString* error, QStringList* warnings) {
    QJsonObject root;
    if (!parseObject(json, root, error))
        return false;
    const auto value = [&](const QString& key) { return root.value(key); };
    JsonReader reader;
    SzSidecar result;
    const auto whole = [&](const char* name, auto& target) {
        const QString key = QLatin1String(name);
        reader.readWhole(value(key), key, target);
    };
    whole("bitDepth", result.bitDepth);
    whole("dataType", result.dataType);
    whole("colorFilterArray", result.colorFilterArray);
    whole("sensorColorFilterArray", result.sensorColorFilterArray);
    whole("storageFormat", result.storageFormat);
    whole("linePitch", result.linePitch);
    reader.readBool(value(QStringLiteral("isColor")), QStringLiteral("isColor"), result.isColor);
    reader.readBool(value(QStringLiteral("still")), QStringLiteral("still"), result.still);
    reader.readString(value(QStringLiteral("mosaicName")), QStringLiteral("mosaicName"), result.mosaicName);
    result.hsi = readSensor(value(QStringLiteral("hsi")), reader);

    // What the picture tells of itself.
    std::uint32_t size = 0;
    whole("width", size);
    whole("height", size);
    whole("channels", size);
    std::int32_t frameNo = 0;
    whole("frameNo", frameNo);
    for (const QString& key : {QStringLiteral("floatMin"), QStringLiteral("floatMax")}) {
        double limit = 0.0;
        if (!value(key).isNull()) // an infinite limit: JSON has no number for it
            reader.readNumber(value(key), key, limit);
    }

    if (!reader.problem().isEmpty()) {
        if (error)
            *error = reader.problem();
        return false;
    }
    sidecar = result;
    if (warnings)
        *warnings += sensorWarnings(result.hsi);
    return true;
}

QStringList regionWarnings(const CzHsiCameraParams& sensor, const SzPicBufInfo& picture) {
    QStringList warnings;
    for (int i = 0; i < sensor.zones.size(); ++i) {
        const auto& zone = sensor.zones.at(i);
        const bool inside = zone.left >= 0 && zone.top >= 0 && std::int64_t{zone.right} < picture.width &&
                            std::int64_t{zone.bottom} < picture.height;
        if (zone.hasRegion() && !inside)
            warnings +=
                SzPictureText::tr("%1.region: [%2, %3, %4, %5] lies outside a picture of %6 × %7 pixels")
                    .arg(zonePlace(i))
                    .arg(zone.left)
                    .arg(zone.top)
                    .arg(zone.right)
                    .arg(zone.bottom)
                    .arg(picture.width)
                    .arg(picture.height);
    }
    return warnings;
}

bool readSidecar(const QString& path, SzSidecar& sidecar, QString* error, QStringList* warnings) {
    QByteArray text;
    return readText(path, text, error) && parseText(path, text, sidecar, error, warnings);
}

bool changeSidecarText(const QString& path, const SzSidecarChange& change, QByteArray& text, QString* error) {
    text.clear();
    if (QFileInfo::exists(path) && !readText(path, text, error))
        return false;
    QJsonObject json;
    if (!text.isEmpty() && !parseObject(text, json, error)) {
        if (error)
            *error = sentenceOf(path, *error);
        return false;
    }
    const QJsonObject unchanged = json;
    makeChange(sidecarJson(change.before), sidecarJson(change.after), json);
    if (json != unchanged)
        text = QJsonDocument(json).toJson();
    return true;
}

bool readSidecar(const QString& path, const SzSidecarChange& change, SzSidecar& sidecar, QString* error,
                 QStringList* warnings) {
    QByteArray text;
    if (!changeSidecarText(path, change, text, error))
        return false;
    sidecar = SzSidecar();
    return text.isEmpty() || parseText(path, text, sidecar, error, warnings);
}

QByteArray sidecarText(const SzSidecar& sidecar) {
    return QJsonDocument(sidecarJson(sidecar)).toJson();
}

QByteArray sidecarText(const SzPicBuf& picture, const CzImageMetadata& metadata) {
    QJsonObject json;
    const auto number = [&](const char* key, auto value) { json[QLatin1String(key)] = double(value); };
    number("width", picture.width);
    number("height", picture.height);
    number("linePitch", picture.linePitch);
    number("channels", picture.channels);
    number("bitDepth", picture.bitDepth);
    number("dataType", static_cast<std::uint32_t>(picture.dataType));
    number("storageFormat", static_cast<std::uint32_t>(picture.storageFormat));
    number("colorFilterArray", static_cast<std::uint32_t>(picture.colorFilterArray));
    if (metadata.colorFilterArray != picture.colorFilterArray)
        number("sensorColorFilterArray", static_cast<std::uint32_t>(metadata.colorFilterArray));
    json[QStringLiteral("isColor")] = picture.isColor;
    number("frameNo", picture.frameNo);
    if (picture.frameNo == 0)
        json[QStringLiteral("still")] = true;
    if (metadata.hsiCameraParams != CzHsiCameraParams())
        json[QStringLiteral("hsi")] = sensorJson(metadata.hsiCameraParams);
    if (!metadata.mosaicName.isEmpty())
        json[QStringLiteral("mosaicName")] = metadata.mosaicName;
    if (picture.dataType == EzImageDataType::Float32 ||
        picture.dataType == EzImageDataType::SpectrumFloat32) {
        number("floatMin", picture.floatMin); // Qt writes null for what is not finite
        number("floatMax", picture.floatMax);
    }
    return QJsonDocument(json).toJson();
}
