// Export marker for the library's C entry points. Everything else is hidden
// (-fvisibility=hidden) and the linker version script keeps the list exact.
#pragma once

#define QRX_EXPORT __attribute__((visibility("default")))
