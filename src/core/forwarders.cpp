// The exported forwarders, generated from slots.def.
//
// Each kind below is one forwarding variant; a Plain forwarder compiles to
// "load table, load slot, jump" with no frame of its own.
#include "core/export.h"
#include "core/slot_table.h"

#define QRX_ARG1(a, ...) a
#define QRX_ARG2(a, b, ...) b
#define QRX_ARG3(a, b, c, ...) c
#define QRX_FIRST(args) QRX_ARG1 args
#define QRX_SECOND(args) QRX_ARG2 args
#define QRX_THIRD(args) QRX_ARG3 args

#define QRX_BODY_Plain(slot, args) return qrx::slotFn<slot>() args;
#define QRX_BODY_Ignored(slot, args) \
    qrx::slotFn<slot>() args;        \
    return 0;
#define QRX_BODY_Status(slot, args) return qrx::slotFn<slot>() args == 0 ? 0 : -1;
#define QRX_BODY_LowByte(slot, args) return static_cast<unsigned char>(qrx::slotFn<slot>() args);
#define QRX_BODY_EmptyNeg(slot, args)          \
    auto fn = qrx::slotFn<slot>();             \
    if (fn == nullptr) return -1;              \
    return fn args;
#define QRX_BODY_EmptyCallZero(slot, args)     \
    auto fn = qrx::slotFn<slot>();             \
    if (fn == nullptr) return -1;              \
    fn args;                                   \
    return 0;
#define QRX_BODY_EmptyIgnored(slot, args)      \
    auto fn = qrx::slotFn<slot>();             \
    if (fn != nullptr) fn args;                \
    return 0;
#define QRX_BODY_EmptyNoop(slot, args)         \
    auto fn = qrx::slotFn<slot>();             \
    if (fn == nullptr) return decltype(fn args)(); \
    return fn args;
#define QRX_BODY_NullFirst(slot, args)              \
    if (QRX_FIRST(args) == nullptr) return -1;      \
    return qrx::slotFn<slot>() args;
#define QRX_BODY_NullSecond(slot, args)             \
    if (QRX_SECOND(args) == nullptr) return -1;     \
    return qrx::slotFn<slot>() args;
#define QRX_BODY_NullFirstThree(slot, args)                                                     \
    if (QRX_FIRST(args) == nullptr || QRX_SECOND(args) == nullptr || QRX_THIRD(args) == nullptr) \
        return -1;                                                                              \
    return qrx::slotFn<slot>() args;
#define QRX_BODY_NullFirstEmptyZero(slot, args)     \
    if (QRX_FIRST(args) == nullptr) return -1;      \
    auto fn = qrx::slotFn<slot>();                  \
    if (fn == nullptr) return 0;                    \
    return fn args;
// The only operation that checks the table pointer itself.
#define QRX_BODY_FullyGuarded(slot, args)                        \
    if (intf_handle == nullptr || QRX_FIRST(args) == nullptr) return -1; \
    auto fn = qrx::slotFn<slot>();                               \
    if (fn == nullptr) return 0;                                 \
    return fn args;

#define QRX_DEFINE_Custom(kind, slot, ret, name, params, args)
#define QRX_DEFINE_FORWARDER(kind, slot, ret, name, params, args) \
    extern "C" QRX_EXPORT ret name params { QRX_BODY_##kind(slot, args) }
#ifdef __arm__
// GCC keeps a frame (push {lr}) in some of these tail calls on ARM, so each
// is written out: &intf_handle from the GOT, the table, the slot, jump. Only
// ip is used; the arguments stay in r0-r3 and on the caller's stack. Naked
// keeps the typed C declaration (and its debug information) for the ABI check.
#pragma GCC diagnostic ignored "-Wunused-parameter"
#define QRX_STR2(x) #x
#define QRX_STR(x) QRX_STR2(x)
#define QRX_DEFINE_Plain(kind, slot, ret, name, params, args)              \
    extern "C" QRX_EXPORT __attribute__((naked)) ret name params {         \
        asm("ldr ip, 2f\n"                                                 \
            "1: ldr ip, [pc, ip]\n"                                        \
            "ldr ip, [ip]\n"                                               \
            "ldr ip, [ip, #(" QRX_STR(slot) " * 4)]\n"                     \
            "bx ip\n"                                                      \
            "2: .word intf_handle(GOT_PREL) + (. - (1b + 8))\n");          \
    }
#else
#define QRX_DEFINE_Plain QRX_DEFINE_FORWARDER
#endif
#define QRX_DEFINE_Ignored QRX_DEFINE_FORWARDER
#define QRX_DEFINE_Status QRX_DEFINE_FORWARDER
#define QRX_DEFINE_LowByte QRX_DEFINE_FORWARDER
#define QRX_DEFINE_EmptyNeg QRX_DEFINE_FORWARDER
#define QRX_DEFINE_EmptyCallZero QRX_DEFINE_FORWARDER
#define QRX_DEFINE_EmptyIgnored QRX_DEFINE_FORWARDER
#define QRX_DEFINE_EmptyNoop QRX_DEFINE_FORWARDER
#define QRX_DEFINE_NullFirst QRX_DEFINE_FORWARDER
#define QRX_DEFINE_NullSecond QRX_DEFINE_FORWARDER
#define QRX_DEFINE_NullFirstThree QRX_DEFINE_FORWARDER
#define QRX_DEFINE_NullFirstEmptyZero QRX_DEFINE_FORWARDER
#define QRX_DEFINE_FullyGuarded QRX_DEFINE_FORWARDER

#define QRX_SLOT(kind, slot, ret, name, params, args) QRX_DEFINE_##kind(kind, slot, ret, name, params, args)
#define QRX_SLOT_UNUSED(slot)
#include "core/slots.def"
