<?xml version="1.0" encoding="utf-8"?>
<!-- SPDX-License-Identifier: GPL-3.0-or-later -->
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>CzExtractChannelCnbl</name>
    <message>
        <source>Red</source>
        <translation>Rot</translation>
    </message>
    <message>
        <source>Green</source>
        <translation>Grün</translation>
    </message>
    <message>
        <source>Blue</source>
        <translation>Blau</translation>
    </message>
    <message>
        <source>Cyan</source>
        <translation>Zyan</translation>
    </message>
    <message>
        <source>Magenta</source>
        <translation>Purpur</translation>
    </message>
    <message>
        <source>Yellow</source>
        <translation>Gelb</translation>
    </message>
    <message>
        <source>Mono</source>
        <translation>Einfarbig</translation>
    </message>
    <message>
        <source>Channel</source>
        <translation>Kanal</translation>
    </message>
    <message>
        <source>Extract</source>
        <translation>Auszug</translation>
    </message>
    <message>
        <source>Extracts one channel from the input image.&lt;br&gt;Can be used for extracting RAW channels and HSI bands too.</source>
        <translation>Zieht einen Kanal heraus.</translation>
    </message>
</context>
<context>
    <name>CzExtractChannelWidget</name>
    <message>
        <source>Extract Channel</source>
        <translation>Kanal herausziehen</translation>
    </message>
</context>
<context>
    <name>CzImageAveragingCnbl</name>
    <message>
        <source>Averaging (%1)</source>
        <translation>Mittelung (%1)</translation>
    </message>
    <message>
        <source>This object averages the user defined amounf of images into one output image.When all the images are averaged then the output is sent to the rest of the processing chain and next serie of the input images is averaged. &lt;br&gt;Warning:&lt;ul&gt;&lt;li&gt; The output framerate is decreased by the number of averaged input images.&lt;/li&gt;&lt;li&gt; The static images are not averaged.&lt;/li&gt;&lt;/ul&gt;</source>
        <translation>Mittelt mehrere Bilder.</translation>
    </message>
</context>
<context>
    <name>CzAveratingConfigurationWgt</name>
    <message>
        <source>Image Averaging</source>
        <translation>Bilder mitteln</translation>
    </message>
    <message>
        <source>Number of images to average:</source>
        <translation>Anzahl der Bilder:</translation>
    </message>
    <message>
        <source>Subtract image from average</source>
        <translation>Bild vom Mittel abziehen</translation>
    </message>
    <message>
        <source>Line Averaging</source>
        <translation>Zeilen und Spalten mitteln</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Nichts</translation>
    </message>
    <message>
        <source>Rows</source>
        <translation>Zeilen</translation>
    </message>
    <message>
        <source>Columns</source>
        <translation>Spalten</translation>
    </message>
</context>
<context>
    <name>CzMosaicStatFilterChnbl</name>
    <message>
        <source>Minimum</source>
        <translation>Kleinstes</translation>
    </message>
    <message>
        <source>Maximum</source>
        <translation>Größtes</translation>
    </message>
    <message>
        <source>Average</source>
        <translation>Mittel</translation>
    </message>
    <message>
        <source>Normalize</source>
        <translation>Gespreizt</translation>
    </message>
    <message>
        <source>Mosaic</source>
        <translation>Mosaik</translation>
    </message>
    <message>
        <source>interpolation</source>
        <translation>interpoliert</translation>
    </message>
    <message>
        <source>Applies a statistic filter on the input image.&lt;ul&gt;&lt;li&gt;&lt;b&gt;Minimum&lt;/b&gt;: the output image contains the minimum from each hyperpixel.&lt;/li&gt;&lt;li&gt;&lt;b&gt;Maximum&lt;/b&gt;: the output image contains the maximum from each hyperpixel.&lt;/li&gt;&lt;li&gt;&lt;b&gt;Averaging&lt;/b&gt;: the output image contains the average from each hyperpixel.&lt;/li&gt;&lt;li&gt;&lt;b&gt;Normalize&lt;/b&gt;: each hyperpixel is normalized to [0; maxIntensityValue].&lt;/li&gt;&lt;/ul&gt;If the &lt;b&gt;Interpolation&lt;/b&gt; option is checked then the output image will have size of the input image decreased by one hyperpixel in width and height. The &lt;b&gt;mormalized&lt;/b&gt; image has always the same size as the input image.</source>
        <translation>Filtert ein Mosaik.</translation>
    </message>
    <message>
        <source>The input image is not in RAW format.</source>
        <translation>Kein Rohbild.</translation>
    </message>
    <message>
        <source>Only the simple mosaic HSI images are supported.</source>
        <translation>Nur einfache Mosaike.</translation>
    </message>
    <message>
        <source>The processing failed.</source>
        <translation>Fehlgeschlagen.</translation>
    </message>
</context>
<context>
    <name>CzMosaicStatFilterWidget</name>
    <message>
        <source>Mosaic Filter</source>
        <translation>Mosaikfilter</translation>
    </message>
    <message>
        <source>Filter</source>
        <translation>Verfahren</translation>
    </message>
    <message>
        <source>Interpolation</source>
        <translation>Interpolieren</translation>
    </message>
</context>
<context>
    <name>CzProcessingPlugin</name>
    <message>
        <source>Image Processing</source>
        <translation>Bildverarbeitung</translation>
    </message>
    <message>
        <source>This plugin implements a set of image processing objects.</source>
        <translation>Verarbeitet Bilder.</translation>
    </message>
</context>
<context>
    <name>CzLutInmapCnbl</name>
    <message>
        <source>LUT Mapping</source>
        <translation>Kontrast</translation>
    </message>
    <message>
        <source>Maximizes or changes contrast, applies LUTs.</source>
        <translation>Spreizt den Kontrast.</translation>
    </message>
</context>
<context>
    <name>CzLutInmapCnblWidget</name>
    <message>
        <source>Auto min-max</source>
        <translation>Automatisch</translation>
    </message>
    <message>
        <source>Map to RGB</source>
        <translation>In Farbe</translation>
    </message>
    <message>
        <source>Min:</source>
        <translation>Dunkel:</translation>
    </message>
    <message>
        <source>Max:</source>
        <translation>Hell:</translation>
    </message>
    <message>
        <source>Gamma:</source>
        <translation>Kurve:</translation>
    </message>
    <message>
        <source>Pseudocolor:</source>
        <translation>Farben:</translation>
    </message>
    <message>
        <source>Tolerance:</source>
        <translation>Spielraum:</translation>
    </message>
    <message>
        <source>‰</source>
        <translation>Promille</translation>
    </message>
</context>
<context>
    <name>CzFFT1DCnbl</name>
    <message>
        <source>FFT 1D(%1, %2)</source>
        <translation>Fourier 1D (%1, %2)</translation>
    </message>
    <message>
        <source>cols</source>
        <translation>Spalten</translation>
    </message>
    <message>
        <source>rows</source>
        <translation>Zeilen</translation>
    </message>
    <message>
        <source>Performs the 1D Fast Fourier Transform on the rows or columns of the input image.</source>
        <translation>Zeigt die Wellen der mittleren Zeile oder Spalte.</translation>
    </message>
    <message>
        <source>The input image data type is not supported.</source>
        <translation>Solche Samples nicht.</translation>
    </message>
    <message>
        <source>periods/pixel</source>
        <translation>Perioden/Pixel</translation>
    </message>
    <message>
        <source>pixels/period</source>
        <translation>Pixel/Periode</translation>
    </message>
    <message>
        <source>amplitude</source>
        <translation>Amplitude</translation>
    </message>
</context>
<context>
    <name>CzFFT1DWidget</name>
    <message>
        <source>FFT 1D</source>
        <translation>Fourier 1D</translation>
    </message>
    <message>
        <source>Type</source>
        <translation>Art</translation>
    </message>
    <message>
        <source>Mean of rows</source>
        <translation>Mittlere Zeile</translation>
    </message>
    <message>
        <source>Mean of cols</source>
        <translation>Mittlere Spalte</translation>
    </message>
    <message>
        <source>Include DC</source>
        <translation>Mit Mittelwert</translation>
    </message>
    <message>
        <source>Logarithmic Y</source>
        <translation>Logarithmisch</translation>
    </message>
    <message>
        <source>Autoscale Y</source>
        <translation>Y anpassen</translation>
    </message>
    <message>
        <source>Show grid X</source>
        <translation>Gitter X</translation>
    </message>
    <message>
        <source>Show grid Y</source>
        <translation>Gitter Y</translation>
    </message>
    <message>
        <source>Min Y</source>
        <translation>Mindestens</translation>
    </message>
    <message>
        <source>Max Y</source>
        <translation>Höchstens</translation>
    </message>
</context>
<context>
    <name>CzRotateImageCnbl</name>
    <message>
        <source>Rotate</source>
        <translation>Drehen</translation>
    </message>
    <message>
        <source>CCW</source>
        <translation>Links</translation>
    </message>
    <message>
        <source>CW</source>
        <translation>Rechts</translation>
    </message>
</context>
<context>
    <name>CzRotateConfigurationWidget</name>
    <message>
        <source>Rotation Configuration</source>
        <translation>Drehung einstellen</translation>
    </message>
    <message>
        <source>Clockwise</source>
        <translation>Im Uhrzeigersinn</translation>
    </message>
    <message>
        <source>Counterclockwise</source>
        <translation>Gegen den Uhrzeigersinn</translation>
    </message>
</context>
<context>
    <name>CzRgbNirDemosaicCnbl</name>
    <message>
        <source>RGB-NIR Demosaic</source>
        <translation>Farbe oder Infrarot</translation>
    </message>
    <message>
        <source>RGB</source>
        <translation>Farbe</translation>
    </message>
    <message>
        <source>NIR</source>
        <translation>Infrarot</translation>
    </message>
    <message>
        <source>Extracts RGB or NIR part of captured RGB-NIR image.&lt;br&gt;RGB debayering without taking NIR pixels into account, NIR channel interpolated to match input image dimensions.</source>
        <translation>Macht ein Farb- oder Infrarotbild.</translation>
    </message>
</context>
<context>
    <name>CzRgbNirDemosaicWidget</name>
    <message>
        <source>RGB-NIR Demosaic</source>
        <translation>Farbe oder Infrarot einstellen</translation>
    </message>
    <message>
        <source>Expects input images in RAW format</source>
        <translation>Erwartet Rohbilder</translation>
    </message>
</context>
<context>
    <name>CzMedianCnbl</name>
    <message>
        <source>Median</source>
        <translation>Medianfilterung</translation>
    </message>
    <message>
        <source>Performs the median filtering with given kernel size.</source>
        <translation>Filtert mit dem Median.</translation>
    </message>
    <message>
        <source>The input image data type is not supported.</source>
        <translation>Nicht dieser Datentyp.</translation>
    </message>
    <message>
        <source>Only the simple mosaic HSI images are supported.</source>
        <translation>Nur einfache Mosaike.</translation>
    </message>
    <message>
        <source>The processing failed.</source>
        <translation>Filtern misslungen.</translation>
    </message>
</context>
<context>
    <name>CzMedianWidget</name>
    <message>
        <source>Median Filter</source>
        <translation>Medianfilter</translation>
    </message>
    <message>
        <source>Kernel size:</source>
        <translation>Größe:</translation>
    </message>
</context>
<context>
    <name>CzFFT2DCnbl</name>
    <message>
        <source>Red</source>
        <translation>Rot</translation>
    </message>
    <message>
        <source>Green</source>
        <translation>Grün</translation>
    </message>
    <message>
        <source>Blue</source>
        <translation>Blau</translation>
    </message>
    <message>
        <source>Cyan</source>
        <translation>Zyan</translation>
    </message>
    <message>
        <source>Magenta</source>
        <translation>Purpur</translation>
    </message>
    <message>
        <source>Yellow</source>
        <translation>Gelb</translation>
    </message>
    <message>
        <source>Mono</source>
        <translation>Einfarbig</translation>
    </message>
    <message>
        <source>Channel</source>
        <translation>Kanal</translation>
    </message>
    <message>
        <source>FFT 2D(%1)</source>
        <translation>Fourier 2D (%1)</translation>
    </message>
    <message>
        <source>Performs the 2D Fast Fourier Transform on the given input image channel.</source>
        <translation>Zerlegt einen Kanal in Wellen.</translation>
    </message>
    <message>
        <source>The input image data type is not supported.</source>
        <translation>Diese Samples werden nicht unterstützt.</translation>
    </message>
</context>
<context>
    <name>CzFFT2DWidget</name>
    <message>
        <source>FFT 2D</source>
        <translation>Fourier 2D</translation>
    </message>
</context>
</TS>
