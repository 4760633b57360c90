// Password protection with the encryption feature on and off, checked
// against the openssl command line for the cipher and the base64 form.
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "quorix_test.h"

namespace {

constexpr const char *kFeatures = "/etc/quorix/features";
constexpr const char *kKeyFile = "/etc/quorix/encrypt.key";

class Secret : public qtest::BoundTest {
protected:
    void SetUp() override {
        BoundTest::SetUp();
        setFeature(true);
    }
    void TearDown() override {
        setFeature(true);
        BoundTest::TearDown();
    }
    static void setFeature(bool on) {
        qtest::writeFile(kFeatures, std::string("# build features\nCONFIG_FEATURE_ENABLE_USERPSWD_ENCRYPTION=") +
                                        (on ? "y" : "n") + "\n");
    }
};

std::string run(const std::string &cmd) {
    std::unique_ptr<FILE, int (*)(FILE *)> p(popen(cmd.c_str(), "r"), pclose);
    std::string out;
    char buf[256];
    while (p && std::fgets(buf, sizeof buf, p.get()) != nullptr) out += buf;
    return out;
}

TEST_F(Secret, InPlaceRoundTripKeepsTheLength) {
    unsigned char field[64] = {};
    const char *phrase = "auth-Phrase-0x1234";
    std::memcpy(field, phrase, std::strlen(phrase));
    unsigned char original[64];
    std::memcpy(original, field, sizeof field);
    ASSERT_EQ(QuorixPwEncrypt(field, 64), 0);
    EXPECT_NE(std::memcmp(field, original, 64), 0);
    unsigned char again[64];
    std::memcpy(again, original, sizeof again);
    ASSERT_EQ(QuorixPwEncrypt(again, 64), 0);
    EXPECT_EQ(std::memcmp(field, again, 64), 0) << "same key and text give the same stored form";
    ASSERT_EQ(QuorixPwDecrypt(field, 64), 0);
    EXPECT_EQ(std::memcmp(field, original, 64), 0);
    // The device key was created once, 56 bytes, root only.
    struct stat st {};
    ASSERT_EQ(stat(kKeyFile, &st), 0);
    EXPECT_EQ(st.st_size, 56);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(Secret, InPlaceRefusals) {
    unsigned char empty[8] = {};
    EXPECT_EQ(QuorixPwEncrypt(empty, 8), -1);
    EXPECT_EQ(QuorixPwEncrypt(nullptr, 8), -1);
    unsigned char big[80];
    std::memset(big, 'a', sizeof big);
    int result = 0;
    std::string out = qtest::captureStdout([&] { result = QuorixPwEncrypt(big, 65); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(out, "blowfish encrypt string length should not larger than 64 bit\n");
    EXPECT_TRUE(qtest::fileExists(kKeyFile)) << "the key is fetched before the length test";
    out = qtest::captureStdout([&] { result = QuorixPwDecrypt(big, 65); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(out, "\n Error in Decrypting the SNMP auth Password. \n");
    EXPECT_EQ(big[0], 'a');
}

TEST_F(Secret, KeyFailureMessages) {
    // A damaged key file is never replaced.
    qtest::writeFile(kKeyFile, "short");
    unsigned char buf[16] = "secret";
    int result = 0;
    std::string out = qtest::captureStdout([&] { result = QuorixPwEncrypt(buf, 16); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(out, "Unable to get the encryption key. quitting...\n");
    out = qtest::captureStdout([&] { result = QuorixPwDecrypt(buf, 16); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(out, "Error in getting the encryption key. quitting......\n");
    EXPECT_EQ(qtest::readFile(kKeyFile), "short");
    EXPECT_STREQ(reinterpret_cast<char *>(buf), "secret");
    std::remove(kKeyFile);
}

TEST_F(Secret, FeatureOffStoresPlainText) {
    setFeature(false);
    unsigned char buf[80] = "plain-secret";
    EXPECT_EQ(QuorixPwEncrypt(buf, 65), 0);
    EXPECT_EQ(QuorixPwEncrypt(buf, 12), 0);
    EXPECT_EQ(QuorixPwDecrypt(buf, 12), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(buf), "plain-secret");
    unsigned char empty[4] = {};
    EXPECT_EQ(QuorixPwEncrypt(empty, 4), -1) << "emptiness is tested before the feature";
    char out[64] = {};
    EXPECT_EQ(QuorixPwEncryptAndCyo("Secr3t", out, "key", 6), 0);
    EXPECT_EQ(out[0], '\0');
    std::memset(out, 'z', sizeof out);
    EXPECT_EQ(QuorixPwDecryptAndCyo("AAAA", out, "key", sizeof out), 0);
    EXPECT_EQ(out[0], 'z');
    EXPECT_FALSE(qtest::fileExists(kKeyFile));
}

TEST_F(Secret, Base64RoundTripMatchesOpensslTool) {
    const std::string key = "0123456789abcdef";  // 16 bytes: the tool's Blowfish key size
    const std::string plain = "Smtp-Passw0rd-1234";
    char out[64] = {};
    ASSERT_EQ(QuorixPwEncryptAndCyo(plain.c_str(), out, key.c_str(), static_cast<int>(plain.size())), 0);
    const std::string expected =
        run("printf '%s' '" + plain +
            "' | openssl enc -bf-cfb -provider legacy -provider default -K 30313233343536373839616263646566"
            " -iv 5152582d42464956 | base64 -w0");
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(std::string(out), expected);
    char back[32];
    std::memset(back, 'z', sizeof back);
    ASSERT_EQ(QuorixPwDecryptAndCyo(out, back, key.c_str(), sizeof back), 0);
    EXPECT_EQ(std::string(back), plain);
    EXPECT_EQ(back[sizeof back - 1], '\0') << "zero-filled behind the text";
}

TEST_F(Secret, Base64OutputIsCappedAtTwiceTheLength) {
    // One byte encodes to four characters; only two are kept.
    char out[8] = {};
    ASSERT_EQ(QuorixPwEncryptAndCyo("x", out, "key", 1), 0);
    EXPECT_EQ(std::strlen(out), 2u);
}

TEST_F(Secret, Base64RefusalsAndMessages) {
    // Text whose decoded form would not fit the cipher buffer is refused up front.
    const std::string huge(400, 'A');
    const struct {
        bool encrypt;
        const char *text, *key;
        int length;
        const char *says;
    } cases[] = {
        {true, "", "k", 1, "OriginPwd error. quitting...\n"},
        {true, "abc", "", 3, "the encryption key input error. quitting...\n"},
        {true, "abc", "k", 0, "Error in encrypting the  password.\n"},
        {false, "", "k", 16, "the encryption Password input error. quitting...\n"},
        {false, "QUJD", nullptr, 16, "the encryption key input error. quitting...\n"},
        {false, "not base64!", "k", 16, "Error in decrypting the password.\n"},
        {false, huge.c_str(), "k", 16, "the encryption Password input error. quitting...\n"},
    };
    for (const auto &c : cases) {
        char out[16];
        std::memset(out, 'z', sizeof out);
        int result = 0;
        std::string printed = qtest::captureStdout([&] {
            result = c.encrypt ? QuorixPwEncryptAndCyo(c.text, out, c.key, c.length)
                               : QuorixPwDecryptAndCyo(c.text, out, c.key, c.length);
        });
        EXPECT_EQ(result, -1) << c.says;
        EXPECT_EQ(printed, c.says);
        // A refused decryption leaves the caller an empty text.
        if (!c.encrypt) {
            EXPECT_EQ(std::string(out, sizeof out), std::string(sizeof out, '\0')) << c.says;
        }
    }
}

}  // namespace
