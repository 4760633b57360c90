// IPMI completion codes, returned in byte 0 of a handler's response.
#pragma once

namespace qrx::cc {

inline constexpr unsigned kCcOk = 0x00, kCcReqDataLenInvalid = 0xC7, kCcParamOutOfRange = 0xC9;
inline constexpr unsigned kCcInvalidDataField = 0xCC, kCcNotAllowedNow = 0xD5;
inline constexpr unsigned kCcUnspecified = 0xFF;  // also: the file or EEPROM could not be written

}  // namespace qrx::cc
