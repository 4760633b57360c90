// The power-button lock: the library's only mutex.
#include <pthread.h>

#include "core/export.h"
#include "core/slot_table.h"

extern "C" {
QRX_EXPORT pthread_mutex_t PwrBtnmutex = PTHREAD_MUTEX_INITIALIZER;
}

namespace {
pthread_once_t g_pwrBtnMutexOnce = PTHREAD_ONCE_INIT;
void initPwrBtnMutex() { pthread_mutex_init(&PwrBtnmutex, nullptr); }
}  // namespace

extern "C" {

QRX_EXPORT int QuorixBMCControlPwrBtnmutexInit(void) {
    // Each thread of a daemon may call this before its first use of the lock:
    // only the first call initialises it and the others wait for that, so no
    // thread re-initialises the lock while another holds it.
    pthread_once(&g_pwrBtnMutexOnce, initPwrBtnMutex);
    return 0;
}

QRX_EXPORT int QuorixBMCControlPwrBtnGetSet(void) {
    pthread_mutex_lock(&PwrBtnmutex);
    int buttonInfo = qrx::slotFn<qrx::Slot::QuorixGetMBCPLDButtonInfo>()();
    qrx::slotFn<qrx::Slot::QuorixBMCControlPWRON>()(buttonInfo);
    pthread_mutex_unlock(&PwrBtnmutex);
    return 0;
}

}  // extern "C"
