// Configuration requests as the IPMI daemon sends them: each sets one value.
// Sent twice, the second request finds the value already held and must
// change nothing (no file written, no service restarted).
#pragma once

#include <cstring>
#include <vector>

namespace qbench {

using Request = std::vector<unsigned char>;

// Syslog destination 0: enabled, Idl + Audit, 10.20.30.40 port 514.
inline Request syslogDestination() {
    Request r(55, 0);
    r[0] = 1;
    r[1] = 0;
    r[2] = 1;
    r[3] = 3;
    std::memcpy(&r[4], "10.20.30.40", 11);
    r[53] = 0x02;  // port, most significant byte first
    r[54] = 0x02;
    return r;
}

// SNMP trap destination 1: address text.
inline Request snmpTrapDestination() {
    const char *host = "192.168.17.5";
    Request r{1, 1, 1};
    r.insert(r.end(), host, host + std::strlen(host));
    return r;
}

// SMTP record: server address text.
inline Request smtpServer() {
    const char *host = "mail.quorix.lan";
    Request r{0, 1};
    r.insert(r.end(), host, host + std::strlen(host));
    return r;
}

}  // namespace qbench
