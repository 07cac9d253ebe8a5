// SPDX-License-Identifier: GPL-3.0-or-later
// For builds with the thread sanitizer. Qt is not built for it: the sanitizer does not see what QMutex does,
// and has to be told. The linker sends the calls of QMutex::lock() and unlock() here.
#include <QMutex>

#include <sanitizer/tsan_interface.h>

void lockInSight(QMutex* mutex) __asm__("__wrap__ZN6QMutex4lockEv");
void lockOfQt(QMutex* mutex) __asm__("__real__ZN6QMutex4lockEv");
void unlockInSight(QMutex* mutex) __asm__("__wrap__ZN6QMutex6unlockEv");
void unlockOfQt(QMutex* mutex) __asm__("__real__ZN6QMutex6unlockEv");

void lockInSight(QMutex* mutex) {
    lockOfQt(mutex);
    __tsan_acquire(mutex);
}

void unlockInSight(QMutex* mutex) {
    __tsan_release(mutex);
    unlockOfQt(mutex);
}
