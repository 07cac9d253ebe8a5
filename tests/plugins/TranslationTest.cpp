// SPDX-License-Identifier: GPL-3.0-or-later
#include "AveratingConfigurationWgt.h"
#include "ExtractChannelCnbl.h"
#include "ExtractChannelWidget.h"
#include "FFT1DCnbl.h"
#include "FFT1DWidget.h"
#include "FFT2DCnbl.h"
#include "FFT2DWidget.h"
#include "ImageAveragingCnbl.h"
#include "LutInmapCnbl.h"
#include "LutInmapCnblWidget.h"
#include "MedianCnbl.h"
#include "MedianWidget.h"
#include "MosaicStatFilterChnbl.h"
#include "MosaicStatFilterWidget.h"
#include "ProcessingPlugin.h"
#include "RgbNirDemosaicCnbl.h"
#include "RgbNirDemosaicWidget.h"
#include "RotateConfigurationWidget.h"
#include "RotateImageCnbl.h"
#include "TestPictures.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDomDocument>
#include <QFile>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QProcess>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTranslator>
#include <qcustomplot.h>

#include <gtest/gtest.h>

namespace {

/// The texts that Qt's tools find in a context of the plug-in's sources.
QStringList textsFoundIn(const QString& context) {
    const QTemporaryDir folder;
    const QString file = folder.filePath("found.ts");
    QProcess lupdate;
    lupdate.start(ZU_LUPDATE, {"-silent", "-no-obsolete", "-locations", "none", ZVP_SOURCES, "-ts", file});
    EXPECT_TRUE(lupdate.waitForFinished());
    EXPECT_EQ(lupdate.exitCode(), 0) << lupdate.readAllStandardError().constData();

    QFile found(file);
    EXPECT_TRUE(found.open(QIODevice::ReadOnly));
    QDomDocument document;
    EXPECT_TRUE(document.setContent(&found));
    QStringList texts;
    const QDomNodeList contexts = document.elementsByTagName("context");
    for (int i = 0; i < contexts.size(); ++i) {
        const QDomElement element = contexts.at(i).toElement();
        if (element.firstChildElement("name").text() != context)
            continue;
        const QDomNodeList sources = element.elementsByTagName("source");
        for (int j = 0; j < sources.size(); ++j)
            texts.append(sources.at(j).toElement().text());
    }
    texts.sort();
    return texts;
}

const QString mosaicHelp =
    "Applies a statistic filter on the input image.<ul><li><b>Minimum</b>: the output image contains the "
    "minimum "
    "from each hyperpixel.</li><li><b>Maximum</b>: the output image contains the maximum from each "
    "hyperpixel.</li><li><b>Averaging</b>: the output image contains the average from each "
    "hyperpixel.</li><li><b>Normalize</b>: each hyperpixel is normalized to [0; "
    "maxIntensityValue].</li></ul>If "
    "the <b>Interpolation</b> option is checked then the output image will have size of the input image "
    "decreased "
    "by one hyperpixel in width and height. The <b>mormalized</b> image has always the same size as the "
    "input "
    "image.";

/// The texts of all labels, in alphabetical order.
QStringList labelsIn(const QWidget& widget) {
    QStringList texts;
    for (const QLabel* const label : widget.findChildren<QLabel*>())
        texts.append(label->text());
    texts.sort();
    return texts;
}

TEST(Translation, toolsFindEveryTextInTheContextOfItsClass) {
    EXPECT_EQ(textsFoundIn("CzExtractChannelCnbl"),
              (QStringList{"Blue", "Channel", "Cyan", "Extract",
                           "Extracts one channel from the input image.<br>Can be used for extracting RAW "
                           "channels and HSI bands too.",
                           "Green", "Magenta", "Mono", "Red", "Yellow"}));
    EXPECT_EQ(textsFoundIn("CzExtractChannelWidget"), QStringList{"Extract Channel"});
    EXPECT_EQ(
        textsFoundIn("CzImageAveragingCnbl"),
        (QStringList{"Averaging (%1)",
                     "This object averages the user defined amounf of images into one output image.When "
                     "all the images are averaged then the output is sent to the rest of the processing "
                     "chain and next serie of the input images is averaged. <br>Warning:<ul><li> The "
                     "output framerate is decreased by the number of averaged input images.</li><li> "
                     "The static images are not averaged.</li></ul>"}));
    EXPECT_EQ(textsFoundIn("CzAveratingConfigurationWgt"),
              (QStringList{"Columns", "Image Averaging", "Line Averaging", "None",
                           "Number of images to average:", "Rows", "Subtract image from average"}));
    EXPECT_EQ(textsFoundIn("CzLutInmapCnbl"),
              (QStringList{"LUT Mapping", "Maximizes or changes contrast, applies LUTs."}));
    EXPECT_EQ(textsFoundIn("CzLutInmapCnblWidget"),
              (QStringList{"Auto min-max", "Gamma:", "Map to RGB",
                           "Max:", "Min:", "Pseudocolor:", "Tolerance:", "‰"}));
    EXPECT_EQ(
        textsFoundIn("CzMosaicStatFilterChnbl"),
        (QStringList{mosaicHelp, "Average", "Maximum", "Minimum", "Mosaic", "Normalize",
                     "Only the simple mosaic HSI images are supported.",
                     "The input image is not in RAW format.", "The processing failed.", "interpolation"}));
    EXPECT_EQ(textsFoundIn("CzMosaicStatFilterWidget"),
              (QStringList{"Filter", "Interpolation", "Mosaic Filter"}));
    EXPECT_EQ(textsFoundIn("CzMedianCnbl"),
              (QStringList{"Median", "Only the simple mosaic HSI images are supported.",
                           "Performs the median filtering with given kernel size.",
                           "The input image data type is not supported.", "The processing failed."}));
    EXPECT_EQ(textsFoundIn("CzMedianWidget"), (QStringList{"Kernel size:", "Median Filter"}));
    EXPECT_EQ(textsFoundIn("CzFFT2DCnbl"),
              (QStringList{"Blue", "Channel", "Cyan", "FFT 2D(%1)", "Green", "Magenta", "Mono",
                           "Performs the 2D Fast Fourier Transform on the given input image channel.", "Red",
                           "The input image data type is not supported.", "Yellow"}));
    EXPECT_EQ(textsFoundIn("CzFFT2DWidget"), QStringList{"FFT 2D"});
    EXPECT_EQ(
        textsFoundIn("CzFFT1DCnbl"),
        (QStringList{"FFT 1D(%1, %2)",
                     "Performs the 1D Fast Fourier Transform on the rows or columns of the input image.",
                     "The input image data type is not supported.", "amplitude", "cols", "periods/pixel",
                     "pixels/period", "rows"}));
    EXPECT_EQ(textsFoundIn("CzFFT1DWidget"),
              (QStringList{"Autoscale Y", "FFT 1D", "Include DC", "Logarithmic Y", "Max Y", "Mean of cols",
                           "Mean of rows", "Min Y", "Show grid X", "Show grid Y", "Type"}));
    EXPECT_EQ(textsFoundIn("CzRotateImageCnbl"), (QStringList{"CCW", "CW", "Rotate"}));
    EXPECT_EQ(textsFoundIn("CzRotateConfigurationWidget"),
              (QStringList{"Clockwise", "Counterclockwise", "Rotation Configuration"}));
    EXPECT_EQ(textsFoundIn("CzRgbNirDemosaicCnbl"),
              (QStringList{"Extracts RGB or NIR part of captured RGB-NIR image.<br>RGB debayering without "
                           "taking NIR pixels into account, NIR channel interpolated to match input image "
                           "dimensions.",
                           "NIR", "RGB", "RGB-NIR Demosaic"}));
    EXPECT_EQ(textsFoundIn("CzRgbNirDemosaicWidget"),
              (QStringList{"Expects input images in RAW format", "RGB-NIR Demosaic"}));
    EXPECT_EQ(textsFoundIn("CzProcessingPlugin"),
              (QStringList{"Image Processing", "This plugin implements a set of image processing objects."}));
}

/// The plug-in in another language.
class Translated : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(translator.load(ZVP_TRANSLATION));
        ASSERT_TRUE(QCoreApplication::installTranslator(&translator));
    }
    void TearDown() override { QCoreApplication::removeTranslator(&translator); }

    QStringList channels(const SzPicBufInfo& format) {
        LooseElement<CzExtractChannelCnbl> element;
        element.setInput(format);
        int selected = 0;
        return element.currentChannels(selected).names;
    }

    QStringList channels(EzColorFilterArray filter) {
        return channels(pictureFormat(8, 8, 1, EzImageDataType::UInt8, filter));
    }

    QTranslator translator;
};

TEST_F(Translated, channelsAreNamedInTheLanguageOfTheUser) {
    EXPECT_EQ(channels(EzColorFilterArray::BayerRGGB), (QStringList{"Rot", "Grün 1", "Grün 2", "Blau"}));
    EXPECT_EQ(channels(EzColorFilterArray::CMYG), (QStringList{"Zyan", "Purpur", "Gelb", "Grün"}));
    EXPECT_EQ(channels(EzColorFilterArray::RGBR), (QStringList{"Rot 1", "Grün", "Blau", "Rot 2"}));
    EXPECT_EQ(channels(EzColorFilterArray::None), QStringList{"Einfarbig"});
    EXPECT_EQ(channels(pictureFormat(8, 8, 2)), (QStringList{"Kanal 0", "Kanal 1"}));
}

TEST_F(Translated, bandNamesAreTheSensors) {
    LooseElement<CzExtractChannelCnbl> element;
    auto zone = filterZone(1, 1);
    zone.bands = {CzHsiCameraParams::CzBand("Red", 650.0)};
    element.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, EzColorFilterArray::Hyperspectral),
                     hyperspectral({zone}));
    int selected = 0;
    EXPECT_EQ(element.currentChannels(selected).names, QStringList{"Red"});
}

TEST_F(Translated, elementWidgetAndPluginSpeakTheLanguageOfTheUser) {
    LooseElement<CzExtractChannelCnbl> element;
    QString topic;
    EXPECT_EQ(element.caption(), "Auszug");
    EXPECT_EQ(element.help(topic), "Zieht einen Kanal heraus.");
    EXPECT_EQ(CzExtractChannelWidget(&element).windowTitle(), "Kanal herausziehen");

    CzImageAveragingCnbl averaging;
    EXPECT_EQ(averaging.caption(), "Mittelung (3)");
    EXPECT_EQ(averaging.help(topic), "Mittelt mehrere Bilder.");
    const CzAveratingConfigurationWgt averagingWidget(&averaging);
    EXPECT_EQ(averagingWidget.windowTitle(), "Bilder mitteln");
    EXPECT_EQ(averagingWidget.findChild<QLabel*>()->text(), "Anzahl der Bilder:");
    EXPECT_EQ(averagingWidget.findChild<QCheckBox*>()->text(), "Bild vom Mittel abziehen");
    EXPECT_EQ(averagingWidget.findChild<QGroupBox*>()->title(), "Zeilen und Spalten mitteln");
    EXPECT_EQ(averagingWidget.findChild<QRadioButton*>("rbNone")->text(), "Nichts");
    EXPECT_EQ(averagingWidget.findChild<QRadioButton*>("rbRows")->text(), "Zeilen");
    EXPECT_EQ(averagingWidget.findChild<QRadioButton*>("rbCols")->text(), "Spalten");
    LooseElement<CzMedianCnbl> median;
    EXPECT_EQ(median.caption(), "Medianfilterung (3x3)");
    EXPECT_EQ(median.help(topic), "Filtert mit dem Median.");
    const CzMedianWidget medianWidget(&median);
    EXPECT_EQ(medianWidget.windowTitle(), "Medianfilter");
    const auto* const form = qobject_cast<QFormLayout*>(medianWidget.layout());
    ASSERT_TRUE(form);
    EXPECT_EQ(qobject_cast<QLabel*>(form->itemAt(0, QFormLayout::LabelRole)->widget())->text(), "Größe:");
    const auto mosaicFrame =
        numberedFrame(pictureFormat(8, 8, 1, EzImageDataType::UInt8, EzColorFilterArray::Hyperspectral));
    EXPECT_EQ(median.processData(mosaicFrame.get()), mosaicFrame.get());
    EXPECT_EQ(median.errorMessage(), "Nur einfache Mosaike.");
    LooseElement<CzMedianCnbl> other;
    const auto floats = numberedFrame(pictureFormat(8, 8, 1, EzImageDataType::Float32));
    EXPECT_EQ(other.processData(floats.get()), floats.get());
    EXPECT_EQ(other.errorMessage(), "Nicht dieser Datentyp.");
    LooseElement<CzMedianCnbl> withoutRun;
    withoutRun.usePool(1, pictureFormat(8, 8));
    const auto bayerFrame =
        numberedFrame(pictureFormat(8, 8, 1, EzImageDataType::UInt8, EzColorFilterArray::BayerRGGB));
    EXPECT_EQ(withoutRun.processData(bayerFrame.get()), bayerFrame.get());
    EXPECT_EQ(withoutRun.errorMessage(), "Filtern misslungen.");

    CzLutInmapCnbl lut;
    EXPECT_EQ(lut.caption(), "Kontrast");
    EXPECT_EQ(lut.help(topic), "Spreizt den Kontrast.");
    const CzLutInmapCnblWidget lutWidget(&lut);
    EXPECT_EQ(lutWidget.windowTitle(), "Kontrast");
    EXPECT_EQ(lutWidget.findChild<QCheckBox*>("chkAutoMinMax")->text(), "Automatisch");
    EXPECT_EQ(lutWidget.findChild<QCheckBox*>("chkMapToRgb")->text(), "In Farbe");
    EXPECT_EQ(labelsIn(lutWidget),
              (QStringList{"Dunkel:", "Farben:", "Hell:", "Kurve:", "Promille", "Spielraum:"}));
    LooseElement<CzMosaicStatFilterChnbl> mosaic;
    EXPECT_EQ(mosaic.caption(), "Mosaik Mittel (interpoliert)");
    EXPECT_EQ(mosaic.help(topic), "Filtert ein Mosaik.");
    const CzMosaicStatFilterWidget mosaicWidget(&mosaic);
    EXPECT_EQ(mosaicWidget.windowTitle(), "Mosaikfilter");
    EXPECT_TRUE(labelsIn(mosaicWidget).contains("Verfahren") &&
                labelsIn(mosaicWidget).contains("Interpolieren"));
    const auto* const filters = mosaicWidget.findChild<QComboBox*>("cboFilter");
    EXPECT_EQ(filters->itemText(0), "Kleinstes");
    EXPECT_EQ(filters->itemText(1), "Größtes");
    EXPECT_EQ(filters->itemText(3), "Gespreizt");
    CzImageData frame;
    EXPECT_EQ(mosaic.processData(&frame), &frame);
    EXPECT_EQ(mosaic.errorMessage(), "Kein Rohbild.");

    LooseElement<CzFFT2DCnbl> fft2D;
    fft2D.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, EzColorFilterArray::RGBR));
    fft2D.setChannel(3);
    fft2D.setupStart();
    EXPECT_EQ(fft2D.caption(), "Fourier 2D (Rot 2)");
    EXPECT_EQ(fft2D.help(topic), "Zerlegt einen Kanal in Wellen.");
    EXPECT_EQ(CzFFT2DWidget(&fft2D).windowTitle(), "Fourier 2D");
    const auto tooDeep = numberedFrame(pictureFormat(2, 2, 1, EzImageDataType::UInt32));
    fft2D.processData(tooDeep.get());
    EXPECT_EQ(fft2D.errorMessage(), "Diese Samples werden nicht unterstützt.");

    LooseElement<CzFFT1DCnbl> fft1D;
    fft1D.setInput(pictureFormat(8, 8));
    fft1D.setupStart();
    EXPECT_EQ(fft1D.caption(), "Fourier 1D (Einfarbig, Spalten)");
    fft1D.setTranstype(0);
    EXPECT_EQ(fft1D.caption(), "Fourier 1D (Einfarbig, Zeilen)");
    EXPECT_EQ(fft1D.help(topic), "Zeigt die Wellen der mittleren Zeile oder Spalte.");
    fft1D.processData(tooDeep.get());
    EXPECT_EQ(fft1D.errorMessage(), "Solche Samples nicht.");
    const CzFFT1DWidget fft1DWidget(&fft1D);
    EXPECT_EQ(fft1DWidget.windowTitle(), "Fourier 1D");
    EXPECT_EQ(labelsIn(fft1DWidget), (QStringList{"Art", "Gitter X", "Gitter Y", "Höchstens", "Logarithmisch",
                                                  "Mindestens", "Mit Mittelwert", "Y anpassen"}));
    EXPECT_EQ(fft1DWidget.findChild<QComboBox*>()->itemText(0), "Mittlere Zeile");
    EXPECT_EQ(fft1DWidget.findChild<QComboBox*>()->itemText(1), "Mittlere Spalte");
    SpectrumPlot plot;
    EXPECT_EQ(plot.plot().xAxis->label(), "Perioden/Pixel");
    EXPECT_EQ(plot.plot().xAxis2->label(), "Pixel/Periode");
    EXPECT_EQ(plot.plot().yAxis->label(), "Amplitude");

    CzRotateImageCnbl rotate;
    EXPECT_EQ(rotate.caption(), "Drehen");
    QList<CzChainable::CzSimpleStateConfigButton> buttons;
    bool exclusive = false;
    rotate.simpleStateConfigButtons(buttons, exclusive);
    EXPECT_EQ(buttons.at(0).caption(), "Links");
    EXPECT_EQ(buttons.at(1).caption(), "Rechts");
    const CzRotateConfigurationWidget rotateWidget(&rotate);
    EXPECT_EQ(rotateWidget.windowTitle(), "Drehung einstellen");
    EXPECT_EQ(rotateWidget.findChild<QRadioButton*>("clockButton")->text(), "Im Uhrzeigersinn");
    EXPECT_EQ(rotateWidget.findChild<QRadioButton*>("counterClockButton")->text(), "Gegen den Uhrzeigersinn");

    CzRgbNirDemosaicCnbl rgbNir;
    EXPECT_EQ(rgbNir.caption(), "Farbe oder Infrarot");
    EXPECT_EQ(rgbNir.help(topic), "Macht ein Farb- oder Infrarotbild.");
    buttons.clear();
    rgbNir.simpleStateConfigButtons(buttons, exclusive);
    EXPECT_EQ(buttons.at(0).caption(), "Farbe");
    EXPECT_EQ(buttons.at(1).caption(), "Infrarot");
    const CzRgbNirDemosaicWidget rgbNirWidget(&rgbNir);
    EXPECT_EQ(rgbNirWidget.windowTitle(), "Farbe oder Infrarot einstellen");
    EXPECT_EQ(rgbNirWidget.findChild<QLabel*>()->text(), "Erwartet Rohbilder");
    // Its slot tells the buttons apart by their texts.
    EXPECT_EQ(rgbNirWidget.findChild<QRadioButton*>("rbRgb")->text(), "RGB");
    EXPECT_EQ(rgbNirWidget.findChild<QRadioButton*>("rbNir")->text(), "NIR");

    CzProcessingPlugin plugin;
    EXPECT_EQ(plugin.pluginName(), "Bildverarbeitung");
    EXPECT_EQ(plugin.pluginDescription(), "Verarbeitet Bilder.");
    EXPECT_EQ(plugin.vendorName(), "zuViewer Project");
    EXPECT_EQ(plugin.vendorUrl(), "https://zuviewer.example");
}

} // namespace
