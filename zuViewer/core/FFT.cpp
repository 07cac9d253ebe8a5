// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT.h"

#include "FftPlans.h"
#include "InstructionSet.h"
#include "PicBufGeometry.h"
#include "PictureView.h"
#include "PrimeFactorStage.h"

#include <omp.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

namespace {

// ---- Lines ----

struct SzTransform1D {
    int length;
    FftPlan plan;
};

// ---- Pictures ----

// Two columns of real samples are transformed as one line of complex values, the left one as its real part.
// Their spectra are taken apart by the symmetry that each of them has.

constexpr std::size_t linesAtOnce = 8;
constexpr std::size_t columnsAtOnce = 2 * linesAtOnce;

/// Pictures with fewer pixels are done before a second thread has woken up.
constexpr std::size_t leastPixelsForThreads = 512 * 512;

struct SzTransform2D {
    EzImageDataType dataType;
    int width;
    int height;
    std::unique_ptr<const PrimeFactorStage> primeFactor; ///< of the columns, if it is better split off
    FftPlan columns;                                     ///< of what is left of them
    FftPlan rows;
    int threads;
    std::size_t pitch;        ///< complex values from row to row of the columns' spectra
    std::size_t linePitch;    ///< complex values from line to line of columns
    std::size_t scratchBytes; ///< work memory of each thread

    int spectrumRows() const { return height / 2 + 1; }
};

/// Whether pictures with these samples can be transformed.
bool isTransformable(EzImageDataType dataType) {
    return dataType == EzImageDataType::UInt8 || dataType == EzImageDataType::UInt16;
}

template <class T>
std::uint64_t sumOfLine(const T* line, std::size_t samples) {
    constexpr std::size_t block = 65536; // 16-bit samples of so many do not overflow 32 bits
    std::uint64_t sum = 0;
    for (std::size_t begin = 0; begin < samples; begin += block) {
        std::uint32_t blockSum = 0;
        const std::size_t end = std::min(begin + block, samples);
        for (std::size_t x = begin; x < end; ++x)
            blockSum += line[x];
        sum += blockSum;
    }
    return sum;
}

template <class T>
std::uint64_t sumOf(PictureView<const T> picture) {
    std::uint64_t sum = 0;
    for (std::size_t y = 0; y < picture.height; ++y)
        sum += sumOfLine(picture.row(y), picture.width);
    return sum;
}

/// Calls function(y, samples) for each row of a picture, with columnsAtOnce samples from column left on,
/// without the mean and halved. Where there are fewer columns, zeros follow.
template <class T, class Function>
inline void forEachRow(PictureView<const T> picture, std::size_t left, std::int32_t mean, Function function) {
    const std::size_t count = std::min<std::size_t>(columnsAtOnce, picture.width - left);
    for (std::size_t y = 0; y < picture.height; ++y) {
        const T* const in = picture.row(y) + left;
        float samples[columnsAtOnce] = {};
        if (count == columnsAtOnce)
            for (std::size_t x = 0; x < columnsAtOnce; ++x)
                samples[x] = 0.5F * static_cast<float>(in[x] - mean);
        else
            for (std::size_t x = 0; x < count; ++x)
                samples[x] = 0.5F * static_cast<float>(in[x] - mean);
        function(y, samples);
    }
}

/// Columns of a picture as lines of complex values, one after the other.
template <class T>
void loadColumns(PictureView<const T> picture, std::size_t left, std::int32_t mean, float* lines,
                 std::size_t linePitch) {
    forEachRow(picture, left, mean, [=](std::size_t y, const float* samples) {
        for (std::size_t line = 0; line < linesAtOnce; ++line)
            std::memcpy(lines + 2 * (line * linePitch + y), samples + 2 * line, 2 * sizeof(float));
    });
}

/// Columns of a picture as lines of complex values side by side.
template <class T>
void loadRows(PictureView<const T> picture, std::size_t left, std::int32_t mean, float* rows) {
    forEachRow(picture, left, mean, [=](std::size_t y, const float* samples) {
        std::memcpy(rows + y * columnsAtOnce, samples, columnsAtOnce * sizeof(float));
    });
}

/// Takes the spectra of columns apart and stores them side by side, one row for each frequency from 0 on.
/// valueOf(line, frequency) is where a value of them is.
template <class ValueOf>
inline void storeSpectra(std::size_t height, float* spectra, std::size_t pitch, ValueOf valueOf) {
    for (std::size_t frequency = 0; frequency <= height / 2; ++frequency) {
        const std::size_t opposite = frequency == 0 ? 0 : height - frequency;
        float* const row = spectra + 2 * frequency * pitch;
        for (std::size_t line = 0; line < linesAtOnce; ++line) {
            const float* const a = valueOf(line, frequency);
            const float* const b = valueOf(line, opposite);
            row[4 * line] = a[0] + b[0];
            row[4 * line + 1] = a[1] - b[1];
            row[4 * line + 2] = a[1] + b[1];
            row[4 * line + 3] = b[0] - a[0];
        }
    }
}

void storeColumns(const float* lines, std::size_t linePitch, std::size_t height, float* spectra,
                  std::size_t pitch) {
    storeSpectra(height, spectra, pitch, [=](std::size_t line, std::size_t frequency) {
        return lines + 2 * (line * linePitch + frequency);
    });
}

void storeRows(const float* rows, const PrimeFactorStage* order, std::size_t height, float* spectra,
               std::size_t pitch) {
    storeSpectra(height, spectra, pitch, [=](std::size_t line, std::size_t frequency) {
        return rows + order->rowOf(frequency) * columnsAtOnce + 2 * line;
    });
}

void splitComplex(const float* values, std::size_t count, float* real, float* imaginary) {
    for (std::size_t i = 0; i < count; ++i) {
        real[i] = values[2 * i];
        imaginary[i] = values[2 * i + 1];
    }
}

/// Stores the spectrum of a line of complex values with frequency 0 in the middle.
void storeLine(const float* spectrum, std::size_t length, float* real, float* imaginary) {
    const std::size_t zero = length / 2;
    splitComplex(spectrum, length - zero, real + zero, imaginary + zero);
    splitComplex(spectrum + 2 * (length - zero), zero, real, imaginary);
}

/// The other half of a real picture's spectrum: the conjugate of the line of the opposite frequency, with its
/// columns in opposite order.
void mirrorLine(const float* real, const float* imaginary, std::size_t length, float* mirroredReal,
                float* mirroredImaginary) {
    // Column x mirrors column last − x; even lengths have no partner for the first one but itself.
    const std::size_t last = length / 2 * 2;
    const std::size_t begin = last == length ? 1 : 0;
    if (begin == 1) {
        mirroredReal[0] = real[0];
        mirroredImaginary[0] = -imaginary[0];
    }
    for (std::size_t x = begin; x < length; ++x)
        mirroredReal[x] = real[last - x];
    for (std::size_t x = begin; x < length; ++x)
        mirroredImaginary[x] = -imaginary[last - x];
}

/// Transforms the columns of the picture. The spectra of real columns are given for frequencies from 0 on,
/// one row for each.
template <class T>
void transformColumns(const SzTransform2D& transform, PictureView<const T> picture, std::int32_t mean,
                      fftwf_complex* spectra, std::uint8_t* scratch) {
    const auto height = std::size_t(transform.height);
    const std::size_t linePitch = transform.linePitch;
    const int blocks = static_cast<int>((std::size_t(transform.width) + columnsAtOnce - 1) / columnsAtOnce);
#pragma omp parallel for schedule(static) num_threads(transform.threads)
    for (int block = 0; block < blocks; ++block) {
        auto* const lines = reinterpret_cast<fftwf_complex*>(scratch + transform.scratchBytes *
                                                                           std::size_t(omp_get_thread_num()));
        fftwf_complex* const results = lines + linesAtOnce * linePitch;
        const std::size_t left = std::size_t(block) * columnsAtOnce;
        float* const target = &spectra[left][0];
        if (const PrimeFactorStage* const stage = transform.primeFactor.get()) {
            forInstructionSet<&loadRows<T>>(picture, left, mean, &lines[0][0]);
            stage->apply(lines, results);
            for (std::size_t i = 0; i < stage->prime(); ++i) {
                const std::size_t begin = i * stage->rest() * linesAtOnce;
                fftwf_execute_dft(transform.columns.get(), results + begin, lines + begin);
            }
            forInstructionSet<&storeRows>(&std::as_const(lines[0][0]), stage, height, target,
                                          transform.pitch);
            continue;
        }
        forInstructionSet<&loadColumns<T>>(picture, left, mean, &lines[0][0], linePitch);
        for (std::size_t line = 0; line < linesAtOnce; ++line)
            fftwf_execute_dft(transform.columns.get(), lines + line * linePitch, results + line * linePitch);
        forInstructionSet<&storeColumns>(&std::as_const(results[0][0]), linePitch, height, target,
                                         transform.pitch);
    }
}

/// Transforms the rows of the columns' spectra and stores each where its frequency, and where the opposite
/// one belongs.
void transformRows(const SzTransform2D& transform, fftwf_complex* spectra, PictureView<float> real,
                   PictureView<float> imaginary, std::uint8_t* scratch) {
    const auto width = std::size_t(transform.width);
    const int zero = transform.height / 2;
#pragma omp parallel for schedule(static) num_threads(transform.threads)
    for (int frequency = 0; frequency < transform.spectrumRows(); ++frequency) {
        auto* const result = reinterpret_cast<fftwf_complex*>(
            scratch + transform.scratchBytes * std::size_t(omp_get_thread_num()));
        fftwf_execute_dft(transform.rows.get(), spectra + std::size_t(frequency) * transform.pitch, result);
        // The highest frequency of an even height is its own opposite and stands first.
        const auto y = std::size_t((zero + frequency) % transform.height);
        const auto opposite = std::size_t(zero - frequency);
        forInstructionSet<&storeLine>(&result[0][0], width, real.row(y), imaginary.row(y));
        if (y != opposite)
            forInstructionSet<&mirrorLine>(real.row(y), imaginary.row(y), width, real.row(opposite),
                                           imaginary.row(opposite));
    }
}

template <class T>
void transformPicture(const SzTransform2D& transform, const SzPicBuf& input, SzPicBuf& real,
                      SzPicBuf& imaginary, void* spectra, void* scratch) {
    const auto samples = view<const T>(input);
    const auto pixels = std::uint64_t{input.width} * input.height;
    const std::uint64_t sum = forInstructionSet<&sumOf<T>>(samples);
    // Of whole numbers, so that the differences are exact. What is left of the mean goes into frequency 0
    // alone, which is known exactly.
    const auto mean = static_cast<std::int32_t>((sum + pixels / 2) / pixels);
    auto* const rows = static_cast<fftwf_complex*>(spectra);
    auto* const own = static_cast<std::uint8_t*>(scratch);
    transformColumns<T>(transform, samples, mean, rows, own);
    transformRows(transform, rows, view<float>(real), view<float>(imaginary), own);
    view<float>(real).row(input.height / 2)[input.width / 2] = static_cast<float>(sum);
    view<float>(imaginary).row(input.height / 2)[input.width / 2] = 0.0F;
}

/// Whether a picture of so many lines and columns, one sample per pixel, has this size and such samples.
bool fits(const SzPicBuf& picture, const SzTransform2D& transform, std::uint32_t sampleBytes) {
    return hasPixels(picture) && picture.channels == 1 && picture.width == std::uint32_t(transform.width) &&
           picture.height == std::uint32_t(transform.height) &&
           bytesPerSample(picture.dataType) == sampleBytes;
}

/// Hands a transform and its work memory over to the caller, or nothing when a part of it is missing.
template <class Transform>
bool handOver(std::unique_ptr<Transform> transform, FftMemory first, FftMemory second, void*& a, void*& b,
              void*& c) {
    if (!first || !second)
        return false;
    a = transform.release();
    b = first.release();
    c = second.release();
    return true;
}

} // namespace

bool CzFFT::Alloc1D(int length, void*& a, void*& b, void*& c) {
    a = b = c = nullptr;
    double seconds = fftPlanningSeconds;
    const FftPlan plan = fftPlan(EzFftKind::RealLine, length, seconds);
    if (!plan)
        return false;
    const std::size_t samples = std::size_t(length);
    return handOver(std::make_unique<SzTransform1D>(SzTransform1D{length, plan}),
                    allocateFftMemory(samples * sizeof(float)),
                    allocateFftMemory((samples / 2 + 1) * sizeof(fftwf_complex)), a, b, c);
}

bool CzFFT::Calc1D(float* input, float* real, float* imaginary, void* a, void* b, void* c) {
    if (!input || !real || !imaginary || !a || !b || !c)
        return false;
    const auto& transform = *static_cast<const SzTransform1D*>(a);
    auto* const samples = static_cast<float*>(b);
    auto* const spectrum = static_cast<fftwf_complex*>(c);
    const int length = transform.length;
    double sum = 0.0;
    for (int i = 0; i < length; ++i)
        sum += static_cast<double>(input[i]);
    const double mean = sum / length;
    std::transform(input, input + length, samples,
                   [mean](float sample) { return static_cast<float>(static_cast<double>(sample) - mean); });
    fftwf_execute_dft_r2c(transform.plan.get(), samples, spectrum);

    const int zero = length / 2;
    real[zero] = static_cast<float>(sum);
    imaginary[zero] = 0.0F;
    for (int frequency = 1; frequency <= zero; ++frequency) {
        real[zero - frequency] = spectrum[frequency][0];
        imaginary[zero - frequency] = -spectrum[frequency][1];
        if (zero + frequency < length) {
            real[zero + frequency] = spectrum[frequency][0];
            imaginary[zero + frequency] = spectrum[frequency][1];
        }
    }
    return true;
}

void CzFFT::Free1D(void* a, void* b, void* c) {
    delete static_cast<SzTransform1D*>(a);
    const FftMemory samples(b);
    const FftMemory spectrum(c);
}

bool CzFFT::Alloc2D(const SzPicBufInfo& format, void*& a, void*& b, void*& c) {
    a = b = c = nullptr;
    if (!isTransformable(format.dataType) || format.width < 1 || format.height < 1 ||
        format.width > longestFft || format.height > longestFft)
        return false;
    auto transform = std::make_unique<SzTransform2D>();
    transform->dataType = format.dataType;
    transform->width = static_cast<int>(format.width);
    transform->height = static_cast<int>(format.height);
    // Before the plans: refused soon when there is not enough of it.
    constexpr std::size_t valuesPerLine = fftAlignment / sizeof(fftwf_complex);
    const std::size_t blocks = (std::size_t{format.width} + columnsAtOnce - 1) / columnsAtOnce;
    // No powers of two: neither rows nor lines share a cache set.
    transform->pitch = blocks * columnsAtOnce + valuesPerLine;
    transform->linePitch =
        (std::size_t{format.height} + valuesPerLine - 1) / valuesPerLine * valuesPerLine + valuesPerLine;
    const auto rows = std::size_t(transform->spectrumRows());
    const bool paysThreads = std::size_t{format.width} * format.height >= leastPixelsForThreads;
    transform->threads = paysThreads ? omp_get_max_threads() : 1;
    transform->scratchBytes = fftAligned(
        std::max(2 * linesAtOnce * transform->linePitch, std::size_t{format.width}) * sizeof(fftwf_complex));
    FftMemory spectra = allocateFftMemory(rows * transform->pitch * sizeof(fftwf_complex));
    FftMemory scratch = allocateFftMemory(transform->scratchBytes * std::size_t(transform->threads));
    if (!spectra || !scratch)
        return false;
    double seconds = fftPlanningSeconds;
    transform->primeFactor = PrimeFactorStage::forLength(transform->height);
    transform->columns = transform->primeFactor
                             ? fftPlan(EzFftKind::EightLines, int(transform->primeFactor->rest()), seconds)
                             : fftPlan(EzFftKind::ComplexLine, transform->height, seconds);
    transform->rows = fftPlan(EzFftKind::ComplexLine, transform->width, seconds);
    if (!transform->columns || !transform->rows)
        return false;
    return handOver(std::move(transform), std::move(spectra), std::move(scratch), a, b, c);
}

bool CzFFT::Calc2D(const SzPicBuf& input, SzPicBuf& real, SzPicBuf& imaginary, void* a, void* b, void* c) {
    if (!a || !b || !c)
        return false;
    const auto& transform = *static_cast<const SzTransform2D*>(a);
    if (input.dataType != transform.dataType || !fits(input, transform, bytesPerSample(transform.dataType)) ||
        !fits(real, transform, sizeof(float)) || !fits(imaginary, transform, sizeof(float)))
        return false;
    if (transform.dataType == EzImageDataType::UInt8)
        transformPicture<std::uint8_t>(transform, input, real, imaginary, b, c);
    else
        transformPicture<std::uint16_t>(transform, input, real, imaginary, b, c);
    return true;
}

void CzFFT::Free2D(void* a, void* b, void* c) {
    delete static_cast<SzTransform2D*>(a);
    const FftMemory spectra(b);
    const FftMemory scratch(c);
}
