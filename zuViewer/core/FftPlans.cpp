// SPDX-License-Identifier: GPL-3.0-or-later
#include "FftPlans.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>
#include <chrono>
#include <list>
#include <memory>
#include <mutex>

namespace {

/// How often a process tries to measure a length in vain: what a busy machine does not finish at one start
/// may succeed at the next, but a length that takes longer than there ever is time for must not delay them
/// all.
constexpr int mostAttempts = 3;

/// More lengths than any chain uses at a time.
constexpr std::size_t keptPlans = 64;

/// Lengths for which measuring a single plan takes longer than all plans may: these are estimated.
constexpr int longestMeasured = 1 << 20;

struct WisdomDeleter {
    void operator()(char* wisdom) const { fftwf_free(wisdom); }
};
using Wisdom = std::unique_ptr<char, WisdomDeleter>;

/// The one user of FFTW's planner, which serves one thread at a time and has but one memory of its
/// experience.
class Planner {
public:
    FftPlan plan(EzFftKind kind, int length, double& seconds) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = std::find_if(m_plans.begin(), m_plans.end(), [&](const Entry& entry) {
            return entry.kind == kind && entry.length == length;
        });
        if (found == m_plans.end())
            m_plans.push_front({kind, length});
        else
            m_plans.splice(m_plans.begin(), m_plans, found);
        Entry& entry = m_plans.front();
        if (!entry.isFinal)
            make(entry, seconds);
        FftPlan plan = entry.plan;
        if (!plan)
            m_plans.pop_front();
        else if (m_plans.size() > keptPlans)
            forgetOldest();
        return plan;
    }

private:
    static constexpr int noLength = 0; ///< of plans that were replaced by better ones

    struct Entry {
        EzFftKind kind;
        int length;
        FftPlan plan = nullptr;
        bool isFinal = false; ///< there is no better plan, or no use in looking for one again
        int attempts = 0;     ///< to measure it, in vain
    };

    /// Whoever uses a plan holds a reference, but only this one destroys it: under the lock.
    void forgetOldest() {
        const auto unused = std::find_if(m_plans.rbegin(), m_plans.rend(),
                                         [](const Entry& entry) { return entry.plan.use_count() == 1; });
        if (unused == m_plans.rend())
            return;
        m_plans.erase(std::next(unused).base());
    }

    void replace(Entry& entry, const FftPlan& better) {
        if (!better)
            return;
        if (entry.plan.use_count() > 1)
            m_plans.push_back({entry.kind, noLength, entry.plan, true}); // until nobody uses it
        entry.plan = better;
    }

    /// Makes the entry's plan, or a better one than it has, and takes what that took off seconds. The plan
    /// stays as it is without memory.
    void make(Entry& entry, double& seconds) {
        if (!m_wisdomRead)
            readWisdom();
        m_wisdomRead = true;

        // Measuring overwrites both, so they belong to the planner.
        const int length = entry.length;
        const int lines = entry.kind == EzFftKind::EightLines ? 8 : 1;
        const std::size_t bytes = std::size_t(length) * std::size_t(lines) * sizeof(fftwf_complex);
        const FftMemory input = allocateFftMemory(bytes);
        const FftMemory output = allocateFftMemory(bytes + sizeof(fftwf_complex));
        if (!input || !output)
            return;
        const auto planned = [&](unsigned flags) {
            auto* const out = static_cast<fftwf_complex*>(output.get());
            const fftwf_plan plan =
                entry.kind == EzFftKind::RealLine
                    ? fftwf_plan_dft_r2c_1d(length, static_cast<float*>(input.get()), out, flags)
                    : fftwf_plan_many_dft(1, &length, lines, static_cast<fftwf_complex*>(input.get()),
                                          nullptr, lines, 1, out, nullptr, lines, 1, FFTW_FORWARD, flags);
            return plan ? FftPlan(plan, &fftwf_destroy_plan) : nullptr;
        };

        if (const FftPlan known = planned(FFTW_MEASURE | FFTW_WISDOM_ONLY)) {
            replace(entry, known);
            entry.isFinal = true;
        } else if (length > longestMeasured) {
            entry.plan = planned(FFTW_ESTIMATE);
            entry.isFinal = true;
        } else if (seconds > 0.0) {
            measure(entry, planned, seconds);
        } else if (!entry.plan) {
            entry.plan = planned(FFTW_ESTIMATE);
        }
    }

    template <class Planned>
    void measure(Entry& entry, const Planned& planned, double& seconds) {
        const Wisdom before(fftwf_export_wisdom_to_string());
        const auto begin = std::chrono::steady_clock::now();
        fftwf_set_timelimit(seconds);
        const FftPlan plan = planned(FFTW_MEASURE);
        fftwf_set_timelimit(FFTW_NO_TIMELIMIT);
        seconds -= std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        replace(entry, plan);

        // A planner that ran out of time takes the plan that it guessed, and remembers that as if it were all
        // that can be known: that must not last.
        if (planned(FFTW_MEASURE | FFTW_WISDOM_ONLY)) {
            entry.isFinal = true;
            writeWisdom();
            return;
        }
        fftwf_forget_wisdom();
        if (before)
            fftwf_import_wisdom_from_string(before.get());
        entry.isFinal = ++entry.attempts >= mostAttempts;
    }

    /// What the planner found out when its time ran out is left out.
    void readWisdom() {
        constexpr qint64 plenty = 1 << 24; // bytes
        QFile file(fftWisdomFile());
        if (!file.open(QIODevice::ReadOnly))
            return;
        QByteArray wisdom;
        for (const QByteArray& line : file.read(plenty).split('\n'))
            if (!line.contains("(TIMEOUT "))
                wisdom += line + '\n';
        fftwf_import_wisdom_from_string(wisdom.constData());
    }

    /// Together with what other processes have found out meanwhile. Without it the next start takes longer,
    /// and that is all.
    void writeWisdom() {
        readWisdom();
        const Wisdom wisdom(fftwf_export_wisdom_to_string());
        if (!wisdom)
            return;
        QDir().mkpath(QFileInfo(fftWisdomFile()).path());
        QSaveFile file(fftWisdomFile());
        if (file.open(QIODevice::WriteOnly)) {
            file.write(wisdom.get());
            file.commit();
        }
    }

    std::mutex m_mutex;
    std::list<Entry> m_plans; // the last used first
    bool m_wisdomRead = false;
};

} // namespace

FftPlan fftPlan(EzFftKind kind, int length, double& seconds) {
    // Never destroyed: some other static object may still hold a plan when the process ends.
    static auto& planner = *new Planner;
    return length < 1 || length > longestFft ? nullptr : planner.plan(kind, length, seconds);
}

QString fftWisdomFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
           QStringLiteral("/zuviewer/fftwf-wisdom");
}
