// SPDX-License-Identifier: GPL-3.0-or-later
#include "Scenes.h"

#include "ImageData.h"
#include "PicBufAPI.h"
#include "PictureView.h"

#include <QCoreApplication>
#include <QFont>
#include <QFontMetricsF>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QVector>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numeric>
#include <vector>

namespace {

/// SplitMix64 by Sebastiano Vigna, after Steele, Lea and Flood: also usable as a hash of its counter.
class SplitMix64 {
public:
    explicit SplitMix64(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next() { return finish(m_state += golden); }

    /// From 0 up to but without 1.
    double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53; }
    double uniform(double low, double high) { return low + (high - low) * uniform(); }

    /// What next() returns at the call number index (from 0 on) after seeding.
    static std::uint64_t at(std::uint64_t seed, std::uint64_t index) {
        return finish(seed + (index + 1) * golden);
    }

private:
    static constexpr std::uint64_t golden = 0x9E3779B97F4A7C15U;

    static std::uint64_t finish(std::uint64_t z) {
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31);
    }

    std::uint64_t m_state;
};

/// Nearly normal noise of mean 0 and deviation 1 out of 64 random bits: the sum of four 16-bit numbers. No
/// transcendental function takes part, so it is the same everywhere.
float normalNoise(std::uint64_t bits) {
    const auto sum = static_cast<std::int32_t>((bits & 0xFFFF) + ((bits >> 16) & 0xFFFF) +
                                               ((bits >> 32) & 0xFFFF) + (bits >> 48));
    constexpr float deviation = 37837.227F; // 65536 × √(4 / 12)
    return static_cast<float>(sum - 2 * 65535) / deviation;
}

// ---- Spectra ----

// Wavelengths in nanometres at which all spectra are given, straight lines between.
constexpr std::array<double, 12> knots = {400, 450, 500, 550, 600, 650, 680, 700, 740, 800, 950, 1000};
using Spectrum = std::array<double, knots.size()>;

double valueAt(const Spectrum& spectrum, double wavelength) {
    if (wavelength <= knots.front())
        return spectrum.front();
    for (std::size_t i = 1; i < knots.size(); ++i)
        if (wavelength <= knots[i])
            return spectrum[i - 1] +
                   (spectrum[i] - spectrum[i - 1]) * (wavelength - knots[i - 1]) / (knots[i] - knots[i - 1]);
    return spectrum.back();
}

constexpr Spectrum daylight = {0.70, 0.98, 1.03, 1.02, 0.98, 0.94, 0.92, 0.88, 0.84, 0.78, 0.58, 0.60};
constexpr Spectrum silicon = {0.35, 0.52, 0.62, 0.64, 0.61, 0.57, 0.54, 0.52, 0.47, 0.41, 0.27, 0.15};

/// A dye or paint, by its reflectance in blue, green, red and the near infrared.
Spectrum paint(double red, double green, double blue, double nir) {
    const double cyan = (blue + green) / 2;
    const double yellow = (green + red) / 2;
    return {blue * 0.8, blue, cyan, green, yellow, red, red, (3 * red + nir) / 4, nir, nir, nir, nir};
}

Spectrum grey(double reflectance) {
    return paint(reflectance, reflectance, reflectance, reflectance);
}

/// What the scene is made of. The colour chart's patches follow Patches, a byte numbers them all.
enum Material : std::uint8_t {
    Sky,
    Cloud,
    Sun,
    Glow,
    Hill,
    Meadow,
    Leaves,
    SunlitLeaves,
    Bark,
    Plaster,
    RoofTile,
    WindowGlass,
    Door,
    Card,
    White,
    Black,
    Frame,
    RedBall,
    YellowBall,
    BlueBall,
    Patches,
};
constexpr int patchColumns = 6;
constexpr int patchRows = 4;

struct Surface {
    Spectrum reflectance; ///< above 1 for what shines by itself
    float texture;        ///< how much of the light its roughness takes or gives, 0 ... 1
};

std::vector<Surface> surfaces() {
    // Chlorophyll: dark in red, five times as bright beyond 700 nm, with water's dip at 970 nm.
    const Spectrum leaf = {0.04, 0.04, 0.07, 0.17, 0.10, 0.06, 0.050, 0.12, 0.46, 0.52, 0.46, 0.44};
    Spectrum grass = leaf;
    Spectrum hill = leaf;
    Spectrum sunlit = leaf;
    for (std::size_t i = 0; i < knots.size(); ++i) {
        grass[i] = 1.25 * leaf[i] + 0.03;
        hill[i] = 0.55 * leaf[i] + 0.09;
        sunlit[i] = 1.6 * leaf[i];
    }
    std::vector<Surface> all = {
        {{0.66, 0.70, 0.60, 0.50, 0.42, 0.35, 0.32, 0.30, 0.26, 0.22, 0.14, 0.12}, 0.0F}, // Sky
        {grey(0.93), 0.0F},                                                               // Cloud
        {grey(12.0), 0.0F},                                                               // Sun
        {grey(1.5), 0.0F},                                                                // Glow
        {hill, 0.35F},                                                                    // Hill
        {grass, 0.65F},                                                                   // Meadow
        {leaf, 0.8F},                                                                     // Leaves
        {sunlit, 0.7F},                                                                   // SunlitLeaves
        {paint(0.16, 0.12, 0.09, 0.30), 0.6F},                                            // Bark
        {paint(0.74, 0.69, 0.58, 0.78), 0.08F},                                           // Plaster
        {paint(0.42, 0.15, 0.09, 0.50), 0.35F},                                           // RoofTile
        {paint(0.05, 0.06, 0.08, 0.05), 0.0F},                                            // WindowGlass
        {paint(0.07, 0.16, 0.38, 0.45), 0.1F},                                            // Door
        {grey(0.38), 0.06F},                                                              // Card
        {grey(0.88), 0.0F},                                                               // White
        {grey(0.03), 0.0F},                                                               // Black
        {grey(0.05), 0.0F},                                                               // Frame
        {paint(0.62, 0.06, 0.05, 0.70), 0.0F},                                            // RedBall
        {paint(0.72, 0.55, 0.05, 0.75), 0.0F},                                            // YellowBall
        {paint(0.05, 0.17, 0.55, 0.60), 0.0F},                                            // BlueBall
    };
    const std::array<Spectrum, patchColumns* patchRows> patches = {{
        paint(0.17, 0.09, 0.06, 0.40),
        paint(0.55, 0.31, 0.23, 0.65),
        paint(0.12, 0.19, 0.34, 0.35),
        leaf,
        paint(0.24, 0.22, 0.44, 0.60),
        paint(0.13, 0.51, 0.42, 0.45),
        paint(0.68, 0.21, 0.03, 0.72),
        paint(0.07, 0.11, 0.38, 0.55),
        paint(0.53, 0.10, 0.13, 0.66),
        paint(0.11, 0.05, 0.14, 0.50),
        paint(0.34, 0.50, 0.05, 0.60),
        paint(0.74, 0.36, 0.02, 0.76),
        paint(0.03, 0.05, 0.29, 0.30),
        paint(0.06, 0.30, 0.07, 0.28),
        paint(0.43, 0.04, 0.05, 0.68),
        paint(0.80, 0.57, 0.01, 0.82),
        paint(0.50, 0.10, 0.30, 0.72),
        paint(0.02, 0.24, 0.36, 0.20),
        grey(0.90),
        grey(0.59),
        grey(0.36),
        grey(0.20),
        grey(0.09),
        grey(0.035),
    }};
    for (const Spectrum& patch : patches)
        all.push_back({patch, 0.0F});
    return all;
}

// ---- Sensors ----

/// Sensitivity around a wavelength: a smooth bump that is 0 outside centre ± halfWidth.
struct Passband {
    double centre;
    double halfWidth;
    double leak; ///< sensitivity to everything else, of the peak's
    QString name;
};

struct Sensor {
    std::uint32_t bitDepth;
    std::uint32_t cellWidth;
    std::uint32_t cellHeight;
    QVector<Passband> bands; ///< by their place in the cell
    EzColorFilterArray colorFilterArray;
    bool rgbNir;
    QString mosaicName;
    float fullWell;           ///< electrons of the largest sample
    float readNoise;          ///< electrons
    bool isBalanced;          ///< white comes out alike behind all filters
    bool isDefocused = false; ///< the lens makes a disc of every point
};

QVector<Passband> snapshotBands(int count, double first, double step, double halfWidth) {
    QVector<Passband> bands;
    for (int place = 0; place < count; ++place) {
        // Neighbours on the sensor are no neighbours in the spectrum; 7 is coprime to 16 and 25.
        const double wavelength = first + step * ((7 * place + 3) % count);
        bands.append({wavelength, halfWidth, 0.01, QStringLiteral("%1 nm").arg(wavelength, 0, 'f', 0)});
    }
    return bands;
}

bool findSensor(const QString& scene, Sensor& sensor) {
    using Cfa = EzColorFilterArray;
    const Passband panchromatic{650, 600, 0.0, QString()};
    const Passband red{615, 85, 0.01, QStringLiteral("R")};
    const Passband green{535, 80, 0.01, QStringLiteral("G")};
    const Passband blue{460, 75, 0.01, QStringLiteral("B")};
    const Passband nir{840, 140, 0.03, QStringLiteral("NIR")};
    if (scene == QLatin1String("mono") || scene == QLatin1String("stripes"))
        sensor = {12, 1, 1, {panchromatic}, Cfa::None, false, QString(), 11000, 6, false};
    else if (scene == QLatin1String("sequence"))
        sensor = {12, 1, 1, {panchromatic}, Cfa::None, false, QString(), 700, 9, false};
    else if (scene == QLatin1String("defocus"))
        sensor = {12, 1, 1, {panchromatic}, Cfa::None, false, QString(), 11000, 6, false, true};
    else if (scene == QLatin1String("bayer"))
        sensor = {12, 2, 2, {red, green, green, blue}, Cfa::BayerRGGB, false, QString(), 11000, 6, true};
    else if (scene == QLatin1String("rgbnir"))
        sensor = {
            12,    2, 2,   {nir, blue, red, green}, Cfa::Hyperspectral, true, QStringLiteral("RGB-NIR 2 × 2"),
            11000, 6, true};
    else if (scene == QLatin1String("hsi4x4"))
        sensor = {10,
                  4,
                  4,
                  snapshotBands(16, 470, 10, 14),
                  Cfa::Hyperspectral,
                  false,
                  QStringLiteral("470–620 nm 4 × 4"),
                  9000,
                  8,
                  false};
    else if (scene == QLatin1String("hsi5x5"))
        sensor = {10,
                  5,
                  5,
                  snapshotBands(25, 675, 285.0 / 24, 14),
                  Cfa::Hyperspectral,
                  false,
                  QStringLiteral("675–960 nm 5 × 5"),
                  9000,
                  8,
                  false};
    else
        return false;
    return true;
}

/// Electrons that a surface in full light yields behind each filter of the sensor, in units of the full well:
/// index material × bands + band.
std::vector<float> responses(const Sensor& sensor, const std::vector<Surface>& materials) {
    const std::size_t bands = static_cast<std::size_t>(sensor.bands.size());
    std::vector<double> sums(materials.size() * bands, 0.0);
    for (double wavelength = 400; wavelength <= 1000; wavelength += 2) {
        const double light = valueAt(daylight, wavelength) * valueAt(silicon, wavelength);
        for (std::size_t band = 0; band < bands; ++band) {
            const Passband& filter = sensor.bands.at(static_cast<int>(band));
            const double u = (wavelength - filter.centre) / filter.halfWidth;
            const double bump = std::abs(u) < 1 ? (1 - u * u) * (1 - u * u) : 0.0;
            const double passed = light * (bump + filter.leak * 0.1);
            for (std::size_t material = 0; material < materials.size(); ++material)
                sums[material * bands + band] +=
                    passed * valueAt(materials[material].reflectance, wavelength);
        }
    }
    // White in full light comes to 85 % of the full well, behind the most sensitive filter or behind all.
    const auto white = sums.begin() + static_cast<std::ptrdiff_t>(White * bands);
    const double strongest = *std::max_element(white, white + static_cast<std::ptrdiff_t>(bands));
    std::vector<float> result(sums.size());
    for (std::size_t i = 0; i < sums.size(); ++i)
        result[i] = static_cast<float>(0.85 * sums[i] /
                                       (sensor.isBalanced ? sums[White * bands + i % bands] : strongest));
    return result;
}

// ---- The picture before the sensor ----

/// Which material each pixel shows, softened edges included, and in what light.
class Canvas {
public:
    Canvas(std::uint32_t width, std::uint32_t height)
        : m_width(static_cast<int>(width))
        , m_height(static_cast<int>(height))
        , m_below(std::size_t{width} * height, Sky)
        , m_above(m_below.size(), Sky)
        , m_coverage(m_below.size(), 0)
        , m_light(m_below.size(), fullLight) {}

    int width() const { return m_width; }
    int height() const { return m_height; }

    static constexpr int fullLight = 4096;

    /// Covers a shape with a material in full light; the brush's alpha says how much.
    void cover(std::uint8_t material, const QPainterPath& shape, const QBrush& brush = Qt::black) {
        forEachCovered(shape, brush, [&](std::size_t pixel, int coverage) {
            const int shadow = fullLight - m_light[pixel];
            m_light[pixel] = static_cast<std::uint16_t>(fullLight - shadow * (255 - coverage) / 255);
            if (coverage == 255) {
                m_below[pixel] = material;
                m_coverage[pixel] = 0;
                return;
            }
            if (m_coverage[pixel] != 0 && m_above[pixel] == material)
                coverage += m_coverage[pixel] * (255 - coverage) / 255;
            else if (m_coverage[pixel] > 127)
                m_below[pixel] = m_above[pixel];
            m_above[pixel] = material;
            m_coverage[pixel] = static_cast<std::uint8_t>(coverage);
        });
    }

    /// Dims the light on a shape, down to darkest (0 ... 1) where the brush is opaque.
    void shade(const QPainterPath& shape, const QBrush& brush, double darkest) {
        const int loss = static_cast<int>((1 - darkest) * 256);
        forEachCovered(shape, brush, [&](std::size_t pixel, int coverage) {
            const int light = m_light[pixel] * (255 * 256 - loss * coverage) / (255 * 256);
            m_light[pixel] = static_cast<std::uint16_t>(light);
        });
    }

    struct Pixel {
        std::uint8_t below;
        std::uint8_t above;
        std::uint8_t coverage; ///< of above, 255: all
        std::uint16_t light;   ///< fullLight: all
    };
    Pixel at(std::size_t pixel) const {
        return {m_below[pixel], m_above[pixel], m_coverage[pixel], m_light[pixel]};
    }

private:
    template <class Function>
    void forEachCovered(const QPainterPath& shape, const QBrush& brush, Function&& function) {
        const QRect area = shape.boundingRect().toAlignedRect() & QRect(0, 0, m_width, m_height);
        if (area.isEmpty())
            return;
        QImage mask(area.size(), QImage::Format_Alpha8);
        if (mask.isNull())
            return;
        mask.fill(0);
        QPainter painter(&mask);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(-area.topLeft());
        painter.fillPath(shape, brush);
        painter.end();
        for (int y = 0; y < area.height(); ++y) {
            const std::uint8_t* line = mask.constScanLine(y);
            const std::size_t first =
                static_cast<std::size_t>(area.y() + y) * static_cast<std::size_t>(m_width) +
                static_cast<std::size_t>(area.x());
            for (int x = 0; x < area.width(); ++x)
                if (line[x] != 0)
                    function(first + static_cast<std::size_t>(x), line[x]);
        }
    }

    int m_width;
    int m_height;
    std::vector<std::uint8_t> m_below;
    std::vector<std::uint8_t> m_above;
    std::vector<std::uint8_t> m_coverage;
    std::vector<std::uint16_t> m_light;
};

QPainterPath rectangle(const QRectF& area) {
    QPainterPath path;
    path.addRect(area);
    return path;
}

QPainterPath circle(const QPointF& centre, double radius) {
    QPainterPath path;
    path.addEllipse(centre, radius, radius);
    return path;
}

/// Opaque in the middle, nothing at the rim.
QBrush softSpot(const QPointF& centre, double radius, int alpha = 255) {
    QRadialGradient gradient(centre, radius);
    gradient.setColorAt(0.0, QColor(0, 0, 0, alpha));
    gradient.setColorAt(0.4, QColor(0, 0, 0, alpha / 2));
    gradient.setColorAt(1.0, QColor(0, 0, 0, 0));
    return gradient;
}

/// Draws the scene. Places are in parts of the picture's width and height, sizes of its shorter side.
class ScenePainter {
public:
    ScenePainter(Canvas& canvas, std::uint64_t seed)
        : m_canvas(canvas), m_random(seed), m_unit(std::min(canvas.width(), canvas.height())) {}

    void paintStill() {
        paintSky();
        paintLand();
        paintHouse();
        paintTree(at(0.13, 0.27), 0.20);
        paintTree(at(0.93, 0.40), 0.11);
        paintBall(RedBall, at(0.47, 0.505), 0.055);
        paintTestCard();
    }

    /// A wall of upright stripes, black and white in turn, that repeat every stripePeriod pixels; the sun is
    /// in a mirror in front of it.
    void paintStripes() {
        m_canvas.cover(White, rectangle(area(0, 0, 1, 1)));
        QPainterPath black;
        for (int x = 0; x < m_canvas.width(); x += stripePeriod)
            black.addRect(x, 0, stripePeriod / 2, m_canvas.height());
        m_canvas.cover(Black, black);
        m_canvas.cover(Sun, circle(at(0.8, 0.2), size(0.03)));
    }

    /// What moves in a sequence: two balls that bounce across the sky and a wheel that turns.
    void paintMoving(std::uint32_t frame) {
        paintBall(YellowBall, at(0.08 + 0.84 * bounce(frame, 47), 0.30 + 0.10 * bounce(frame, 11)), 0.045);
        paintBall(BlueBall, at(0.90 - 0.80 * bounce(frame, 31), 0.52), 0.06);
        paintStar(at(0.17, 0.775), 0.135, 12, 3.0 * (frame % 120));
    }

private:
    static constexpr int stripePeriod = 20; // pixels

    QPointF at(double x, double y) const { return {x * m_canvas.width(), y * m_canvas.height()}; }
    double size(double parts) const { return parts * m_unit; }
    QRectF area(double left, double top, double right, double bottom) const {
        return {at(left, top), at(right, bottom)};
    }

    /// From 0 to 1 in period frames, and back.
    static double bounce(std::uint32_t frame, std::uint32_t period) {
        const std::uint32_t phase = frame % (2 * period);
        return static_cast<double>(phase < period ? phase : 2 * period - phase) / period;
    }

    void paintSky() {
        QLinearGradient haze(at(0, 0), at(0, 0.5));
        haze.setColorAt(0.0, QColor(0, 0, 0, 255));
        haze.setColorAt(1.0, QColor(0, 0, 0, 0));
        m_canvas.shade(rectangle(area(0, 0, 1, 0.5)), haze, 0.5);
        QLinearGradient bright(at(0, 0.32), at(0, 0.5));
        bright.setColorAt(0.0, QColor(0, 0, 0, 0));
        bright.setColorAt(1.0, QColor(0, 0, 0, 130));
        m_canvas.cover(Cloud, rectangle(area(0, 0.32, 1, 0.5)), bright);
        const QPointF sun = at(0.86, 0.13);
        m_canvas.cover(Glow, circle(sun, size(0.16)), softSpot(sun, size(0.16), 210));
        m_canvas.cover(Sun, circle(sun, size(0.035)));
        for (const auto& [x, y, width] :
             {std::array{0.40, 0.12, 0.16}, std::array{0.60, 0.21, 0.11}, std::array{0.69, 0.27, 0.07}})
            paintCloud(at(x, y), size(width));
    }

    void paintCloud(const QPointF& centre, double width) {
        QPainterPath puffs;
        puffs.setFillRule(Qt::WindingFill);
        for (int i = 0; i < 14; ++i) {
            const double x = m_random.uniform(-1, 1);
            const double radius = width * m_random.uniform(0.12, 0.34) * (1 - 0.5 * x * x);
            puffs.addEllipse(centre + QPointF(x * width, -0.5 * radius), radius, 0.6 * radius);
        }
        const QRectF bounds = puffs.boundingRect();
        QLinearGradient body(bounds.topLeft(), bounds.bottomLeft());
        body.setColorAt(0.0, QColor(0, 0, 0, 235));
        body.setColorAt(1.0, QColor(0, 0, 0, 120));
        m_canvas.cover(Cloud, puffs, body);
    }

    void paintLand() {
        QPainterPath hills(at(0, 0.46));
        hills.cubicTo(at(0.15, 0.36), at(0.30, 0.40), at(0.42, 0.45));
        hills.cubicTo(at(0.55, 0.49), at(0.70, 0.34), at(1, 0.42));
        hills.lineTo(at(1, 0.6));
        hills.lineTo(at(0, 0.6));
        m_canvas.cover(Hill, hills);
        QPainterPath meadow(at(0, 0.51));
        meadow.cubicTo(at(0.30, 0.48), at(0.60, 0.53), at(1, 0.50));
        meadow.lineTo(at(1, 1));
        meadow.lineTo(at(0, 1));
        m_canvas.cover(Meadow, meadow);
    }

    void paintHouse() {
        m_canvas.cover(Plaster, rectangle(area(0.62, 0.40, 0.80, 0.54)));
        m_canvas.shade(rectangle(area(0.62, 0.40, 0.80, 0.425)), Qt::black, 0.55);
        QPainterPath roof(at(0.60, 0.41));
        roof.lineTo(at(0.65, 0.31));
        roof.lineTo(at(0.77, 0.31));
        roof.lineTo(at(0.82, 0.41));
        roof.closeSubpath();
        m_canvas.cover(RoofTile, roof);
        for (const double x : {0.635, 0.675, 0.745}) {
            m_canvas.cover(White, rectangle(area(x - 0.003, 0.436, x + 0.028, 0.484)));
            m_canvas.cover(WindowGlass, rectangle(area(x, 0.44, x + 0.025, 0.48)));
            m_canvas.cover(White, rectangle(area(x + 0.0115, 0.44, x + 0.0135, 0.48)));
        }
        m_canvas.cover(Door, rectangle(area(0.712, 0.46, 0.735, 0.54)));
        m_canvas.cover(Sun, circle(at(0.752, 0.452), size(0.004))); // the sun in a window
    }

    void paintTree(const QPointF& crown, double radius) {
        const double r = size(radius);
        QPainterPath trunk(crown + QPointF(-0.10 * r, 0));
        trunk.lineTo(crown + QPointF(0.10 * r, 0));
        trunk.lineTo(crown + QPointF(0.15 * r, 1.6 * r));
        trunk.lineTo(crown + QPointF(-0.15 * r, 1.6 * r));
        m_canvas.cover(Bark, trunk);
        const QPointF foot = crown + QPointF(0, 1.6 * r);
        QPainterPath shadow;
        shadow.addEllipse(foot + QPointF(-0.3 * r, 0), 1.1 * r, 0.16 * r);
        m_canvas.shade(shadow, softSpot(foot + QPointF(-0.3 * r, 0), 1.1 * r), 0.35);
        m_canvas.cover(Leaves, tufts(crown, r, 300, 0.13));
        m_canvas.cover(SunlitLeaves, tufts(crown + QPointF(0.18 * r, -0.2 * r), 0.75 * r, 240, 0.055));
        m_canvas.cover(Leaves, tufts(crown + QPointF(-0.1 * r, 0.15 * r), 0.85 * r, 200, 0.04));
    }

    /// Round tufts of leaves, scattered over a crown.
    QPainterPath tufts(const QPointF& crown, double radius, int count, double tuft) {
        QPainterPath leaves;
        leaves.setFillRule(Qt::WindingFill);
        while (count > 0) {
            const QPointF place(m_random.uniform(-1, 1), m_random.uniform(-1, 1));
            if (QPointF::dotProduct(place, place) > 1)
                continue;
            const double r = radius * tuft * m_random.uniform(0.6, 1.2);
            leaves.addEllipse(crown + radius * place, r, r);
            --count;
        }
        return leaves;
    }

    void paintBall(Material material, const QPointF& centre, double radius) {
        const double r = size(radius);
        const QPointF light = centre + QPointF(0.35 * r, -0.4 * r);
        const QPainterPath ball = circle(centre, r);
        const QPointF ground = centre + QPointF(-0.3 * r, 0.95 * r);
        QPainterPath shadow;
        shadow.addEllipse(ground, 1.3 * r, 0.25 * r);
        m_canvas.shade(shadow, softSpot(ground, 1.3 * r), 0.25);
        m_canvas.cover(material, ball);
        QRadialGradient body(light, 1.5 * r);
        body.setColorAt(0.0, QColor(0, 0, 0, 0));
        body.setColorAt(0.5, QColor(0, 0, 0, 60));
        body.setColorAt(1.0, QColor(0, 0, 0, 255));
        m_canvas.shade(ball, body, 0.12);
        m_canvas.cover(Glow, circle(light, 0.4 * r), softSpot(light, 0.4 * r, 200));
        m_canvas.cover(Sun, circle(light, 0.07 * r)); // the sun itself: saturates
    }

    void paintTestCard() {
        const QRectF card = area(0.04, 0.60, 0.96, 0.955);
        QPainterPath shadow = rectangle(card.translated(-size(0.012), size(0.014)));
        m_canvas.shade(shadow, Qt::black, 0.4);
        m_canvas.cover(Card, rectangle(card));
        QLinearGradient falloff(card.topRight(), card.bottomLeft());
        falloff.setColorAt(0.0, QColor(0, 0, 0, 0));
        falloff.setColorAt(1.0, QColor(0, 0, 0, 255));
        paintStar(at(0.17, 0.775), 0.135, 36, 0);
        paintChart(area(0.325, 0.63, 0.645, 0.925));
        paintWriting();
        m_canvas.shade(rectangle(card), falloff, 0.72);
    }

    /// A star of as many black as white spokes on a white disc: ever finer detail towards its middle.
    void paintStar(const QPointF& centre, double radius, int spokes, double turnedBy) {
        const double r = size(radius);
        m_canvas.cover(White, circle(centre, r));
        const QRectF bounds(centre - QPointF(r, r), centre + QPointF(r, r));
        QPainterPath black;
        const double step = 360.0 / spokes;
        for (int i = 0; i < spokes; ++i) {
            black.moveTo(centre);
            black.arcTo(bounds, turnedBy + i * step, step / 2);
            black.closeSubpath();
        }
        m_canvas.cover(Black, black);
    }

    void paintChart(const QRectF& chart) {
        m_canvas.cover(Frame, rectangle(chart));
        const double gap = 0.014 * chart.width();
        const double width = (chart.width() - gap) / patchColumns;
        const double height = (chart.height() - gap) / patchRows;
        for (int i = 0; i < patchColumns * patchRows; ++i) {
            const QPointF corner(chart.x() + gap + i % patchColumns * width,
                                 chart.y() + gap + i / patchColumns * height);
            m_canvas.cover(static_cast<std::uint8_t>(Patches + i),
                           rectangle({corner, QSizeF(width - gap, height - gap)}));
        }
    }

    void paintWriting() {
        const QRectF sheet = area(0.68, 0.63, 0.93, 0.925);
        m_canvas.cover(White, rectangle(sheet));
        double top = sheet.y() + 0.05 * sheet.height();
        for (const auto& [text, part] : {std::pair{"zuViewer", 0.22},
                                         {"every pixel counts", 0.105},
                                         {"0123456789", 0.075},
                                         {"abcdefghijklmnopqrstuvwxyz", 0.045}}) {
            const double height = part * sheet.height();
            QFont font(QStringLiteral("DejaVu Sans"));
            font.setPixelSize(100); // outlines are scaled, so that no hinting depends on the size
            font.setHintingPreference(QFont::PreferNoHinting);
            QPainterPath line;
            line.addText(0, 0, font, QLatin1String(text));
            const QRectF bounds = line.boundingRect();
            if (bounds.isEmpty())
                continue;
            const double scale = std::min(height / 100, 0.9 * sheet.width() / bounds.width());
            QTransform place;
            place.translate(sheet.center().x(), top + height);
            place.scale(scale, scale);
            place.translate(-bounds.center().x(), 0);
            m_canvas.cover(Black, place.map(line));
            top += 1.25 * height;
        }
        // Bars of falling width.
        double x = sheet.x() + 0.06 * sheet.width();
        for (double width = 0.024 * sheet.width(); x < sheet.right() - 0.06 * sheet.width(); width *= 0.94) {
            m_canvas.cover(Black,
                           rectangle({x, sheet.y() + 0.68 * sheet.height(), width, 0.26 * sheet.height()}));
            x += 2 * width;
            if (width < 0.2)
                break;
        }
    }

    Canvas& m_canvas;
    SplitMix64 m_random;
    double m_unit;
};

/// Roughness that repeats every 256 pixels without a seam, mean 0, between −1 and 1: noise of three sizes.
class Texture {
public:
    Texture(std::uint64_t seed, std::uint32_t unit)
        : m_coarse(std::max<std::uint32_t>(1, unit / 400)), m_values(side * side) {
        SplitMix64 random(seed);
        std::vector<float> noise(side * side);
        for (float& value : noise)
            value = static_cast<float>(random.uniform(-1, 1));
        for (std::uint32_t y = 0; y < side; ++y)
            for (std::uint32_t x = 0; x < side; ++x)
                m_values[y * side + x] = 0.35F * noise[y * side + x] + 0.35F * smooth(noise, x, y, 4) +
                                         0.5F * smooth(noise, x, y, 16);
    }

    /// Grows with the picture, so that leaves stay leaves.
    float at(std::uint32_t x, std::uint32_t y) const {
        return m_values[y / m_coarse % side * side + x / m_coarse % side];
    }

private:
    static constexpr std::uint32_t side = 256;

    /// From 0 to 1 without a kink at either end.
    static float ease(float part) { return part * part * (3 - 2 * part); }

    /// The noise's points period apart, and smooth between.
    static float smooth(const std::vector<float>& noise, std::uint32_t x, std::uint32_t y,
                        std::uint32_t period) {
        const std::uint32_t left = x / period * period;
        const std::uint32_t top = y / period * period;
        const std::uint32_t right = (left + period) % side;
        const std::uint32_t bottom = (top + period) % side;
        const float fx = ease(static_cast<float>(x - left) / static_cast<float>(period));
        const float fy = ease(static_cast<float>(y - top) / static_cast<float>(period));
        const float above = noise[top * side + left] * (1 - fx) + noise[top * side + right] * fx;
        const float below = noise[bottom * side + left] * (1 - fx) + noise[bottom * side + right] * fx;
        return above * (1 - fy) + below * fy;
    }

    std::uint32_t m_coarse;
    std::vector<float> m_values;
};

// ---- Exposure ----

/// The light on each pixel, in electrons.
std::vector<float> lightOn(const Canvas& canvas, const Texture& texture, const Sensor& sensor) {
    const std::vector<Surface> materials = surfaces();
    const std::vector<float> response = responses(sensor, materials);
    const std::size_t bands = static_cast<std::size_t>(sensor.bands.size());
    const auto width = static_cast<std::uint32_t>(canvas.width());
    const auto height = static_cast<std::uint32_t>(canvas.height());
    const float centreX = 0.5F * static_cast<float>(width);
    const float centreY = 0.5F * static_cast<float>(height);
    const float corner = centreX * centreX + centreY * centreY;

    std::vector<float> electrons(std::size_t{width} * height);
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::size_t bandRow = y % sensor.cellHeight * sensor.cellWidth;
        const float dy = static_cast<float>(y) - centreY;
        for (std::uint32_t x = 0; x < width; ++x) {
            const std::size_t index = std::size_t{y} * width + x;
            const std::size_t band = bandRow + x % sensor.cellWidth;
            const Canvas::Pixel pixel = canvas.at(index);
            const float above = static_cast<float>(pixel.coverage) / 255.0F;
            float light = response[pixel.below * bands + band] * (1 - above) +
                          response[pixel.above * bands + band] * above;
            const float roughness = materials[pixel.coverage > 127 ? pixel.above : pixel.below].texture;
            if (roughness > 0)
                light *= 1 + roughness * texture.at(x, y);
            const float dx = static_cast<float>(x) - centreX;
            const float vignetting = 1 - 0.18F * (dx * dx + dy * dy) / corner;
            electrons[index] =
                light * vignetting * (static_cast<float>(pixel.light) / Canvas::fullLight) * sensor.fullWell;
        }
    }
    return electrons;
}

/// Spreads the light of every pixel evenly over a disc, as a lens out of focus does. At the edges, over what
/// of the disc lies in the picture.
std::vector<float> spreadOverDiscs(const std::vector<float>& light, int width, int height, int radius) {
    std::vector<double> sums(light.size());
    std::vector<int> counts(light.size(), 0);
    std::vector<double> before(static_cast<std::size_t>(width) + 1, 0.0); // of each pixel in its row
    const auto rowOf = [width](int y) {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
    };
    for (int row = 0; row < height; ++row) {
        std::partial_sum(light.begin() + static_cast<std::ptrdiff_t>(rowOf(row)),
                         light.begin() + static_cast<std::ptrdiff_t>(rowOf(row)) + width, before.begin() + 1,
                         std::plus<double>());
        for (int dy = std::max(-radius, -row); dy <= std::min(radius, height - 1 - row); ++dy) {
            const auto reach = static_cast<int>(std::sqrt(radius * radius - dy * dy));
            for (int x = 0; x < width; ++x) {
                const int first = std::max(0, x - reach);
                const int end = std::min(width, x + reach + 1);
                const std::size_t index = rowOf(row + dy) + static_cast<std::size_t>(x);
                sums[index] +=
                    before[static_cast<std::size_t>(end)] - before[static_cast<std::size_t>(first)];
                counts[index] += end - first;
            }
        }
    }
    std::vector<float> spread(light.size());
    std::transform(sums.begin(), sums.end(), counts.begin(), spread.begin(),
                   [](double sum, int count) { return static_cast<float>(sum / count); });
    return spread;
}

/// Turns light into samples: shot noise with the variance of the light, read noise, black level, saturation.
template <class T>
void expose(const std::vector<float>& light, const Sensor& sensor, float noiseFactor, std::uint64_t noiseSeed,
            SzPicBuf& picture) {
    const float highest = static_cast<float>((1U << picture.bitDepth) - 1);
    const float black = static_cast<float>((1U << picture.bitDepth) / 64);
    const float gain = (highest - black) / sensor.fullWell;
    const float readVariance = sensor.readNoise * sensor.readNoise;

    const PictureView<T> lines = view<T>(picture);
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        T* line = lines.row(y);
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            const std::size_t index = std::size_t{y} * picture.width + x;
            const float electrons = light[index];
            const float deviation = noiseFactor * std::sqrt(electrons + readVariance);
            const float noise = normalNoise(SplitMix64::at(noiseSeed, index));
            const float value = black + gain * (electrons + deviation * noise) + 0.5F;
            line[x] = static_cast<T>(std::clamp(value, 0.0F, highest));
        }
    }
}

/// Makes some samples, by their place, all black or all white.
template <class T>
void sprinkle(std::uint32_t percent, std::uint64_t seed, SzPicBuf& picture) {
    const T white = static_cast<T>((1U << picture.bitDepth) - 1);
    const PictureView<T> lines = view<T>(picture);
    for (std::uint32_t y = 0; y < picture.height; ++y)
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            const std::uint64_t bits = SplitMix64::at(seed, std::uint64_t{y} * picture.width + x);
            if ((bits >> 32) * 100 >> 32 < percent)
                lines.row(y)[x] = (bits & 1) != 0 ? white : T{0};
        }
}

CzImageMetadata metadataOf(const Sensor& sensor, const SzPicBufInfo& format) {
    CzImageMetadata metadata;
    metadata.colorFilterArray = sensor.colorFilterArray;
    metadata.mosaicName = sensor.mosaicName;
    if (sensor.colorFilterArray != EzColorFilterArray::Hyperspectral)
        return metadata;
    CzHsiCameraParams::CzFilterZone zone;
    zone.cellWidth = sensor.cellWidth;
    zone.cellHeight = sensor.cellHeight;
    zone.blockWidth = 1;
    zone.blockHeight = 1;
    zone.left = 0;
    zone.top = 0;
    zone.right = static_cast<std::int32_t>(format.width) - 1;
    zone.bottom = static_cast<std::int32_t>(format.height) - 1;
    for (const Passband& band : sensor.bands)
        zone.bands.append(CzHsiCameraParams::CzBand(band.name, band.centre));
    metadata.hsiCameraParams.zones.append(zone);
    metadata.hsiCameraParams.rgbNir = sensor.rgbNir;
    return metadata;
}

} // namespace

QStringList sceneNames() {
    QStringList names;
    for (const char* const name :
         {QT_TRANSLATE_NOOP("Scenes", "mono"), QT_TRANSLATE_NOOP("Scenes", "bayer"),
          QT_TRANSLATE_NOOP("Scenes", "hsi4x4"), QT_TRANSLATE_NOOP("Scenes", "hsi5x5"),
          QT_TRANSLATE_NOOP("Scenes", "rgbnir"), QT_TRANSLATE_NOOP("Scenes", "sequence"),
          QT_TRANSLATE_NOOP("Scenes", "stripes"), QT_TRANSLATE_NOOP("Scenes", "defocus")})
        names.append(QLatin1String(name));
    return names;
}

QString sceneTitle(const QString& scene) {
    return QCoreApplication::translate("Scenes", scene.toUtf8().constData());
}

bool sceneMoves(const QString& scene, const SzSceneSettings& settings) {
    return settings.moves || scene == QLatin1String("sequence");
}

std::unique_ptr<CzImageData> renderScene(const QString& scene, const SzSceneSettings& settings) {
    Sensor sensor;
    if (!findSensor(scene, sensor))
        return nullptr;
    SzPicBufInfo format;
    format.width = settings.width;
    format.height = settings.height;
    format.channels = 1;
    format.bitDepth = settings.bitDepth == 0 ? sensor.bitDepth : std::clamp(settings.bitDepth, 8U, 16U);
    format.dataType = format.bitDepth > 8 ? EzImageDataType::UInt16 : EzImageDataType::UInt8;
    format.colorFilterArray = sensor.colorFilterArray;
    format.linePitch = static_cast<std::uint32_t>(packedLineBytes(format));
    SzPicBuf picture;
    picture.setPicFormat(format);
    if (!CzPicBufAPI::AllocPicBufFromHeap(picture, format, true))
        return nullptr;
    auto frame = std::make_unique<CzImageData>();
    picture.frameNo = static_cast<std::int32_t>(settings.frame);
    frame->setPicBuf(picture);
    frame->setImageMetadata(metadataOf(sensor, format));

    Canvas canvas(format.width, format.height);
    ScenePainter painter(canvas, settings.seed);
    if (scene == QLatin1String("stripes"))
        painter.paintStripes();
    else
        painter.paintStill();
    if (sceneMoves(scene, settings))
        painter.paintMoving(settings.frame);

    const Texture texture(settings.seed, std::min(format.width, format.height));
    // A generator of its own for each frame, far away from the others'.
    const std::uint64_t noiseSeed = SplitMix64::at(SplitMix64::at(settings.seed, 0), settings.frame);
    const std::uint64_t sprinkleSeed = SplitMix64::at(SplitMix64::at(settings.seed, 1), settings.frame);
    std::vector<float> light = lightOn(canvas, texture, sensor);
    if (sensor.isDefocused)
        light = spreadOverDiscs(light, canvas.width(), canvas.height(),
                                std::min(canvas.width(), canvas.height()) / 100);
    if (format.dataType == EzImageDataType::UInt8) {
        expose<std::uint8_t>(light, sensor, settings.noise, noiseSeed, frame->picBuf());
        sprinkle<std::uint8_t>(settings.saltAndPepper, sprinkleSeed, frame->picBuf());
    } else {
        expose<std::uint16_t>(light, sensor, settings.noise, noiseSeed, frame->picBuf());
        sprinkle<std::uint16_t>(settings.saltAndPepper, sprinkleSeed, frame->picBuf());
    }
    return frame;
}
