// SPDX-License-Identifier: GPL-3.0-or-later
#include "FftPlans.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>
#include <list>
#include <mutex>
#include <utility>

namespace {

// A picture's transform needs two plans, and starts after 0.3 s at the latest.
constexpr double secondsPerPlan = 0.15;

/// More lengths than any chain uses at a time.
constexpr std::size_t keptPlans = 64;

/// Lengths for which measuring a single plan takes longer than all plans may: these are estimated.
constexpr int longestMeasured = 1 << 20;

/// The one user of FFTW's planner, which serves one thread at a time and has but one memory of its
/// experience.
class Planner {
public:
    FftPlan plan(EzFftKind kind, int length) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const Key key(kind, length);
        const auto found = std::find_if(m_plans.begin(), m_plans.end(),
                                        [&](const Entry& entry) { return entry.first == key; });
        if (found != m_plans.end()) {
            m_plans.splice(m_plans.begin(), m_plans, found);
            return found->second;
        }
        const FftPlan made = make(kind, length);
        if (!made)
            return nullptr;
        m_plans.emplace_front(key, made);
        if (m_plans.size() > keptPlans)
            forgetOldest();
        return made;
    }

private:
    using Key = std::pair<EzFftKind, int>;
    using Entry = std::pair<Key, FftPlan>;

    /// Whoever uses a plan holds a reference, but only this one destroys it: under the lock.
    void forgetOldest() {
        const auto unused = std::find_if(m_plans.rbegin(), m_plans.rend(),
                                         [](const Entry& entry) { return entry.second.use_count() == 1; });
        if (unused == m_plans.rend())
            return;
        m_plans.erase(std::next(unused).base());
    }

    FftPlan make(EzFftKind kind, int length) {
        if (!m_wisdomRead)
            readWisdom();
        m_wisdomRead = true;

        // Measuring overwrites both, so they belong to the planner.
        const auto samples = std::size_t(length) * (kind == EzFftKind::RealColumns ? fftColumns : 2);
        const FftMemory input = allocateFftMemory(samples * sizeof(float));
        const FftMemory output = allocateFftMemory((samples + 2 * fftColumns) * sizeof(float));
        if (!input || !output)
            return nullptr;
        const auto planned = [&](unsigned flags) {
            auto* const in = static_cast<float*>(input.get());
            auto* const out = static_cast<fftwf_complex*>(output.get());
            switch (kind) {
            case EzFftKind::RealLine:
                return fftwf_plan_dft_r2c_1d(length, in, out, flags);
            case EzFftKind::RealColumns:
                return fftwf_plan_many_dft_r2c(1, &length, fftColumns, in, nullptr, fftColumns, 1, out,
                                               nullptr, fftColumns, 1, flags);
            case EzFftKind::ComplexLine:
                break;
            }
            return fftwf_plan_dft_1d(length, static_cast<fftwf_complex*>(input.get()), out, FFTW_FORWARD,
                                     flags);
        };
        const auto owned = [](fftwf_plan plan) { return FftPlan(plan, &fftwf_destroy_plan); };

        if (length > longestMeasured)
            return owned(planned(FFTW_ESTIMATE));
        if (const fftwf_plan known = planned(FFTW_MEASURE | FFTW_WISDOM_ONLY))
            return owned(known);
        fftwf_set_timelimit(secondsPerPlan);
        const fftwf_plan measured = planned(FFTW_MEASURE);
        writeWisdom();
        return owned(measured);
    }

    void readWisdom() {
        constexpr qint64 plenty = 1 << 24; // bytes
        QFile file(fftWisdomFile());
        if (file.open(QIODevice::ReadOnly))
            fftwf_import_wisdom_from_string(file.read(plenty).constData());
    }

    /// Together with what other processes have found out meanwhile. Without it the next start takes longer,
    /// and that is all.
    void writeWisdom() {
        readWisdom();
        char* const wisdom = fftwf_export_wisdom_to_string();
        if (!wisdom)
            return;
        QDir().mkpath(QFileInfo(fftWisdomFile()).path());
        QSaveFile file(fftWisdomFile());
        if (file.open(QIODevice::WriteOnly)) {
            file.write(wisdom);
            file.commit();
        }
        fftwf_free(wisdom);
    }

    std::mutex m_mutex;
    std::list<Entry> m_plans; // the last used first
    bool m_wisdomRead = false;
};

} // namespace

FftPlan fftPlan(EzFftKind kind, int length) {
    // Never destroyed: some other static object may still hold a plan when the process ends.
    static auto& planner = *new Planner;
    return length < 1 || length > longestFft ? nullptr : planner.plan(kind, length);
}

QString fftWisdomFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
           QStringLiteral("/zuviewer/fftwf-wisdom");
}
