// Power-peak get and set interfaces: request sequences against the EEPROM
// delay. A request's first byte picks the handler (even get, odd set).
#include "fuzz_support.h"
#include "core/eeprom_map.h"
#include "power/power_layout.h"
#include "quorix_common_interface.h"

namespace pw = qrx::power;

namespace {

constexpr std::uint16_t kStartDelay = 0x012C;  // 300 s

qfuzz::Session &session() {
    static qfuzz::Session s({}, {{static_cast<std::size_t>(qrx::eeprom::kPowerPeakOffset), 2}});
    return s;
}

int get(unsigned char *request, int length, qfuzz::Bytes &response) {
    response = qfuzz::exact(3);
    return QuorixGetPowerPeakConfigInterface(request, length, response.data());
}

std::uint16_t currentDelay() {
    qfuzz::Bytes response;
    if (get(nullptr, 0, response) != 3 || response[0] != 0) qfuzz::fail("power peak get failed");
    return static_cast<std::uint16_t>(response[1] | (response[2] << 8));
}

void setDelay(std::uint16_t seconds) {
    unsigned char request[2] = {static_cast<unsigned char>(seconds), static_cast<unsigned char>(seconds >> 8)};
    qfuzz::Bytes response = qfuzz::exact(1);
    if (QuorixSetPowerPeakConfigInterface(request, 2, response.data()) != 1 || response[0] != 0)
        qfuzz::fail("power peak set of %u failed", seconds);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qfuzz::bindOnce();
    setDelay(kStartDelay);
    session().keepStartState();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qfuzz::Session &s = session();
    s.startInput();
    if (currentDelay() != kStartDelay) setDelay(kStartDelay);
    for (qfuzz::Bytes &chunk : qfuzz::splitRequests(data, size, 6)) {
        if (chunk.empty()) continue;
        const bool isSet = (chunk[0] & 1) != 0;
        qfuzz::Bytes req(chunk.begin() + 1, chunk.end());
        const int length = static_cast<int>(req.size());
        qfuzz::Bytes response;
        s.before();
        int n;
        if (isSet) {
            response = qfuzz::exact(1);
            n = QuorixSetPowerPeakConfigInterface(qfuzz::bytesOf(req), length, response.data());
        } else {
            n = get(qfuzz::bytesOf(req), length, response);
        }
        s.after(isSet ? "power peak set" : "power peak get", response[0]);
        if (isSet) {
            qfuzz::expectCode("power peak set", response[0], {0x00, 0xC7, 0xCC});
            if (n != 1) qfuzz::fail("power peak set answered length %d", n);
            if (response[0] == 0) {
                const std::uint16_t wanted = static_cast<std::uint16_t>(req[0] | (req[1] << 8));
                const qfuzz::Bytes stored = qfuzz::eeprom(qrx::eeprom::kPowerPeakOffset, 2);
                if (stored[0] != req[0] || stored[1] != req[1] || currentDelay() != wanted)
                    qfuzz::fail("power peak set of %u did not store it", wanted);
            }
        } else {
            qfuzz::expectCode("power peak get", response[0], {0x00, 0xC7});
            if (n != (response[0] == 0 ? 3 : 1)) qfuzz::fail("power peak get answered length %d", n);
            if (response[0] == 0 && (response[1] | (response[2] << 8)) > pw::kPowerPeakMaxDelay)
                qfuzz::fail("power peak get reported more than the longest delay");
        }
    }
    return 0;
}
