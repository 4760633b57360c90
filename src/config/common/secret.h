// Protection of stored passwords (SNMP pass phrases, the SMTP password).
//
// The exported calls print their failures and keep the platform's argument
// shapes; the configuration services call these C++ forms.
#pragma once

#include <cstddef>

namespace qrx::config {

inline constexpr const char *kEncryptionFeature = "CONFIG_FEATURE_ENABLE_USERPSWD_ENCRYPTION";
// Longest clear text the in-place calls protect.
inline constexpr int kInPlaceMaxLength = 64;
// Longest clear text the base64 calls protect (its base64 form fills 128 bytes).
inline constexpr int kBase64MaxLength = 96;

// True when stored passwords are protected on this build.
bool encryptionOn();
// In place, same length: 0 on success (also when encryption is off), -1 on failure.
int protectInPlace(unsigned char *buf, int length);
int unprotectInPlace(unsigned char *buf, int length);
// protectInPlace for a stored field: the bytes behind the text's first zero
// are cleared first. An empty text has no protected form, so whatever a
// request carried behind its terminator would otherwise be stored, and
// returned by a get, in clear.
int protectStoredText(unsigned char *field, int length);
// How a service keeps one protected text field of its record.
struct SecretRule {
    std::size_t size;    // bytes of the field
    std::size_t span;    // bytes protected and unprotected in place
    bool terminate;      // the field's last byte is forced to zero after protection
    bool cutAtZero;      // the protected form is stored only up to its first zero byte
};

// True when the clear form of the stored field, taken from its first taken
// bytes, equals text over compared bytes (text readable that far).
bool sameSecret(const unsigned char *field, const SecretRule &rule, std::size_t taken, const unsigned char *text,
                std::size_t compared);
// Replaces the field with length bytes of text (cut to the field): clear,
// copy, protect, terminate.
void storeSecret(unsigned char *field, const SecretRule &rule, const unsigned char *text, std::size_t length);

// Blowfish then base64 into out (zeroed by the caller, at least 2 x length bytes).
int protectToBase64(const char *plain, char *out, const char *key, int length);
// Base64 then Blowfish into out (size bytes, zero-filled behind the text).
int unprotectFromBase64(const char *b64, char *out, const char *key, std::size_t size);

}  // namespace qrx::config
