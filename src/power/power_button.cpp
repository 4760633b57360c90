// The power-button lock: the library's only mutex.
#include <pthread.h>

#include "core/export.h"
#include "core/slot_table.h"

namespace {
unsigned char g_pwrBtnMutexInitialised = 0;
}  // namespace

extern "C" {

QRX_EXPORT pthread_mutex_t PwrBtnmutex = PTHREAD_MUTEX_INITIALIZER;

QRX_EXPORT int QuorixBMCControlPwrBtnmutexInit(void) {
    // Checked and set without a lock: daemons call this once at start-up.
    if (g_pwrBtnMutexInitialised != 1) {
        pthread_mutex_init(&PwrBtnmutex, nullptr);
        g_pwrBtnMutexInitialised = 1;
    }
    return 0;
}

QRX_EXPORT int QuorixBMCControlPwrBtnGetSet(void) {
    pthread_mutex_lock(&PwrBtnmutex);
    int buttonInfo = QuorixGetMBCPLDButtonInfo();
    qrx::slotFn<78>()(buttonInfo);
    pthread_mutex_unlock(&PwrBtnmutex);
    return 0;
}

}  // extern "C"
