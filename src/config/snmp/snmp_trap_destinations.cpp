// SNMP trap destinations: the four entries before the trap record, set one
// field at a time or whole.
#include <cstring>

#include "config/common/service.h"
#include "config/snmp/snmp_trap.h"
#include "config/snmp/snmp_trap_layout.h"
#include "core/export.h"
#include "core/request_reader.h"
#include "core/shared_block.h"
#include "quorix_common_interface.h"

namespace qrx::config::snmptrap {

using namespace qrx::config::svc;

namespace {

constexpr std::uint8_t kFieldEnabled = 0, kFieldAddress = 1, kFieldPort = 2, kFieldWhole = 255;

// Group, index and field come first; then the field's data.
constexpr std::size_t kHeader = 3;
constexpr LengthRule kHeaderRule = atLeast(kHeader + 1);
constexpr std::size_t kAddressMax = kDestAddressSize - 1;
constexpr LengthRule kEnabledRequest = exactly(kHeader + 1), kAddressRequest = atMost(kHeader + kAddressMax);
constexpr LengthRule kPortRequest = exactly(kHeader + 4);
// Whole entry: enabled, 47 address bytes, port most significant byte first.
constexpr LengthRule kWholeRequest = exactly(kHeader + 1 + kDestAddressSize + 4);
// The request layout the public header gives.
static_assert(QUORIX_TRAP_SET_DEST_WHOLE_LEN == kWholeRequest.value && QUORIX_TRAP_SET_DEST_WHOLE_ENABLED == kHeader &&
              QUORIX_TRAP_SET_DEST_WHOLE_ADDRESS == kHeader + 1 &&
              QUORIX_TRAP_SET_DEST_WHOLE_PORT == kHeader + 1 + kDestAddressSize);
constexpr std::uint8_t kEnabledMax = 1;
constexpr std::uint32_t kPortMax = 0xFFFF;

constexpr const char *kBadAddress = "Invalid data format of SNMPTrap destination!";

bool validText(const unsigned char *text, std::size_t length) {
    return strictText(text, length);
}

}  // namespace

unsigned setDestination(const unsigned char *request, std::size_t n, std::uint8_t &changed) {
    if (!kHeaderRule.accepts(n)) return kCcReqDataLenInvalid;
    RequestReader req(request, n);
    req.skip(1);
    const std::size_t index = req.u8();
    if (index >= kDestCount) return kCcParamOutOfRange;
    const ByteView entry = sharedBlock().at(kDestBlockOffset + index * kDestEntrySize);
    switch (req.u8()) {
        case kFieldEnabled: {
            if (!kEnabledRequest.accepts(n)) return kCcReqDataLenInvalid;
            const std::uint8_t enabled = req.u8();
            if (enabled > kEnabledMax) return kCcParamOutOfRange;
            if (enabled != entry.u8(kDestEnabled)) {
                entry.setU8(kDestEnabled, enabled);
                changed = 1;
            }
            return kCcOk;
        }
        case kFieldAddress: {
            if (!kAddressRequest.accepts(n)) return kCcReqDataLenInvalid;
            const RequestText text = req.text(kAddressMax);
            if (!validText(text.data, text.length)) return kCcParamOutOfRange;
            if (!acceptableAddress(text.data, text.length)) {
                qrx::debugLog(kLevelError, kModule, "%s", kBadAddress);
                return kCcInvalidDataField;
            }
            unsigned char wanted[kDestAddressSize] = {};
            std::memcpy(wanted, text.data, text.length);
            if (std::memcmp(wanted, entry.data() + kDestAddress, text.length) != 0) {
                entry.fill(kDestAddress, 0, kDestAddressSize);
                entry.copyIn(kDestAddress, wanted, text.length);
                changed = 1;
            }
            return kCcOk;
        }
        case kFieldPort: {
            if (!kPortRequest.accepts(n)) return kCcReqDataLenInvalid;
            const std::uint32_t port = req.u32be();
            if (port > kPortMax) return kCcParamOutOfRange;
            if (port != entry.u32(kDestPort)) {
                entry.setU32(kDestPort, port);
                changed = 1;
            }
            return kCcOk;
        }
        case kFieldWhole: {
            if (!kWholeRequest.accepts(n)) return kCcReqDataLenInvalid;
            const std::uint8_t enabled = req.u8();
            const unsigned char *address = req.text(kDestAddressSize).data;
            const std::uint32_t port = req.u32be();
            if (enabled > kEnabledMax || port > kPortMax) return kCcParamOutOfRange;
            if (!validText(address, kAddressMax)) return kCcParamOutOfRange;
            if ((enabled == 1 || address[0] != 0) && !acceptableAddress(address, kAddressMax)) {
                qrx::debugLog(kLevelError, kModule, "%s", kBadAddress);
                return kCcInvalidDataField;
            }
            entry.setU8(kDestEnabled, enabled);
            entry.copyIn(kDestAddress, address, kAddressMax);
            entry.setU8(kDestAddress + kAddressMax, 0);
            entry.setU32(kDestPort, port);
            changed = 1;
            return kCcOk;
        }
        default:
            return kCcParamOutOfRange;
    }
}

}  // namespace qrx::config::snmptrap

extern "C" {

QRX_EXPORT int QuorixGetSnmpTrapDstCfg(unsigned char *buffer) {
    if (buffer == nullptr) return -1;
    qrx::sharedBlock().copyOut(qrx::config::snmptrap::kDestBlockOffset, buffer,
                               qrx::config::snmptrap::kDestBlockSize);
    return 0;
}

}  // extern "C"
