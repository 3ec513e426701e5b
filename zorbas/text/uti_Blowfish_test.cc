// Blowfish: the published ECB vectors (8-byte keys), every key length from 4 to 56 and CBC
// chaining against OpenSSL as a twin, the string form's layout and padding, and its rejections.
#include "zorbas/text/uti_Blowfish.h"

#include <gtest/gtest.h>

// OpenSSL's Blowfish is deprecated in 3.0 but is the reference this cipher is checked against.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/blowfish.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

std::vector<uint8_t> FromHex(const char* hex) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; hex[i] && hex[i + 1]; i += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoi(std::string(hex + i, 2), nullptr, 16)));
    return bytes;
}

TEST(Blowfish, PublishedEcbVectors) {
    // key, plain text, cipher text
    const char* vectors[][3] = {
        {"0000000000000000", "0000000000000000", "4EF997456198DD78"},
        {"FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
        {"3000000000000000", "1000000000000001", "7D856F9A613063F2"},
        {"1111111111111111", "1111111111111111", "2466DD878B963C9D"},
        {"0123456789ABCDEF", "1111111111111111", "61F9C3802281B096"},
        {"1111111111111111", "0123456789ABCDEF", "7D0CC630AFDA1EC7"},
        {"FEDCBA9876543210", "0123456789ABCDEF", "0ACEAB0FC6A0A28D"},
        {"7CA110454A1A6E57", "01A1D6D039776742", "59C68245EB05282B"},
        {"0131D9619DC1376E", "5CD54CA83DEF57DA", "B1B8CC0B250F09A0"},
        {"07A1133E4A0B2686", "0248D43806F67172", "1730E5778BEA1DA4"},
        {"3849674C2602319E", "51454B582DDF440A", "A25E7856CF2651EB"},
        {"04B915BA43FEB5B6", "42FD443059577FA2", "353882B109CE8F1A"},
        {"0113B970FD34F2CE", "059B5E0851CF143A", "48F4D0884C379918"},
        {"0170F175468FB5E6", "0756D8E0774761D2", "432193B78951FC98"},
        {"43297FAD38E373FE", "762514B829BF486A", "13F04154D69D1AE5"},
        {"07A7137045DA2A16", "3BDD119049372802", "2EEDDA93FFD39C79"},
        {"04689104C2FD3B2F", "26955F6835AF609A", "D887E0393C2DA6E3"},
        {"37D06BB516CB7546", "164D5E404F275232", "5F99D04F5B163969"},
        {"1F08260D1AC2465E", "6B056E18759F5CCA", "4A057A3B24D3977B"},
        {"584023641ABA6176", "004BD6EF09176062", "452031C1E4FADA8E"},
        {"025816164629B007", "480D39006EE762F2", "7555AE39F59B87BD"},
        {"49793EBC79B3258F", "437540C8698F3CFA", "53C55F9CB49FC019"},
        {"4FB05E1515AB73A7", "072D43A077075292", "7A8E7BFA937E89A3"},
        {"49E95D6D4CA229BF", "02FE55778117F12A", "CF9C5D7A4986ADB5"},
        {"018310DC409B26D6", "1D9D5C5018F728C2", "D1ABB290658BC778"},
        {"1C587F1C13924FEF", "305532286D6F295A", "55CB3774D13EF201"},
        {"0101010101010101", "0123456789ABCDEF", "FA34EC4847B268B2"},
        {"1F1F1F1F0E0E0E0E", "0123456789ABCDEF", "A790795108EA3CAE"},
        {"E0FEE0FEF1FEF1FE", "0123456789ABCDEF", "C39E072D9FAC631D"},
        {"0000000000000000", "FFFFFFFFFFFFFFFF", "014933E0CDAFF6E4"},
        {"FFFFFFFFFFFFFFFF", "0000000000000000", "F21E9A77B71C49BC"},
        {"0123456789ABCDEF", "0000000000000000", "245946885754369A"},
        {"FEDCBA9876543210", "FFFFFFFFFFFFFFFF", "6B5C5A9C5D9E0A5A"},
    };
    for (const auto& v : vectors) {
        std::vector<uint8_t> key = FromHex(v[0]), plain = FromHex(v[1]), cipher = FromHex(v[2]);
        uti_Blowfish bf(key.data(), static_cast<int>(key.size()));
        uint8_t out[8], back[8];
        bf.EncryptECB(plain.data(), out, 1);
        EXPECT_EQ(std::memcmp(out, cipher.data(), 8), 0) << "key " << v[0] << " plain " << v[1];
        bf.DecryptECB(out, back, 1);
        EXPECT_EQ(std::memcmp(back, plain.data(), 8), 0) << "key " << v[0];
        uint32_t l = 0, r = 0;
        for (int i = 0; i < 4; ++i) l = l << 8 | plain[i], r = r << 8 | plain[i + 4];
        bf.EncryptBlock(l, r);
        uint32_t wantL = 0, wantR = 0;
        for (int i = 0; i < 4; ++i)
            wantL = wantL << 8 | cipher[i], wantR = wantR << 8 | cipher[i + 4];
        EXPECT_EQ(l, wantL) << "halves are big-endian, key " << v[0];
        EXPECT_EQ(r, wantR);
    }
}

TEST(Blowfish, EveryKeyLengthAndCbcAgreeWithOpenSsl) {
    std::mt19937 rng(11);
    std::vector<uint8_t> data(8 * 37), ours(data.size()), theirs(data.size());
    for (int length = uti_Blowfish::kMinKey; length <= uti_Blowfish::kMaxKey; ++length) {
        std::vector<uint8_t> key(static_cast<size_t>(length));
        for (auto& b : key) b = static_cast<uint8_t>(rng());
        for (auto& b : data) b = static_cast<uint8_t>(rng());
        uti_Blowfish bf(key.data(), length);
        BF_KEY ref;
        BF_set_key(&ref, length, key.data());

        bf.EncryptECB(data.data(), ours.data(), data.size() / 8);
        for (size_t i = 0; i < data.size(); i += 8)
            BF_ecb_encrypt(data.data() + i, theirs.data() + i, &ref, BF_ENCRYPT);
        ASSERT_EQ(ours, theirs) << "ECB, key of " << length << " bytes";

        uint8_t iv[8] = {1, 2, 3, 4, 5, 6, 7, 8}, refIv[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        // In two pieces, to check that the chaining value carries over.
        bf.EncryptCBC(data.data(), ours.data(), 5, iv);
        bf.EncryptCBC(data.data() + 40, ours.data() + 40, data.size() / 8 - 5, iv);
        BF_cbc_encrypt(data.data(), theirs.data(), static_cast<long>(data.size()), &ref, refIv,
                       BF_ENCRYPT);
        ASSERT_EQ(ours, theirs) << "CBC, key of " << length << " bytes";
        EXPECT_EQ(std::memcmp(iv, refIv, 8), 0);

        uint8_t div[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        bf.DecryptCBC(ours.data(), ours.data(), data.size() / 8, div);  // in place
        ASSERT_EQ(ours, data) << "CBC round trip, key of " << length << " bytes";
    }
}

TEST(Blowfish, PasswordOutsideFourToFiftySixBytesThrows) {
    for (const char* bad :
         {"", "abc", "0123456789012345678901234567890123456789012345678901234567"}) {
        try {
            uti_Blowfish bf{cow_String(bad)};
            ADD_FAILURE() << "accepted a password of " << std::strlen(bad) << " bytes";
        } catch (const ZORBasAssertException& e) {
            EXPECT_STREQ(e.Message(), "Blowfish password must be 4 to 56 bytes long");
        }
    }
    EXPECT_THROW(uti_Blowfish(nullptr, 8), ZORBasAssertException);
    EXPECT_NO_THROW(uti_Blowfish(cow_String("four")));
    EXPECT_NO_THROW(uti_Blowfish(cow_String(std::string(56, 'k').c_str())));
}

TEST(Blowfish, StringFormLayoutAndPadding) {
    uti_Blowfish bf(cow_String("solver-key"));
    // Lengths around the block edges: 0, 7, 8, 9 bytes give 1, 1, 2, 2 blocks.
    const int lengths[] = {0, 7, 8, 9, 15, 16};
    for (int n : lengths) {
        std::string text(static_cast<size_t>(n), 'a');
        cow_String cipher = bf.Encrypt(cow_String(text.c_str(), n));
        ASSERT_EQ(cipher.Length(), 16 * (n / 8 + 1)) << n;
        EXPECT_EQ(std::string(cipher.CStr()).find_first_not_of("0123456789ABCDEF"),
                  std::string::npos);
        // The last block deciphers (ECB, chained by hand) to the pad bytes.
        std::vector<uint8_t> bytes = FromHex(cipher.CStr());
        size_t blocks = bytes.size() / 8;
        uint8_t last[8];
        bf.DecryptECB(bytes.data() + 8 * (blocks - 1), last, 1);
        const uint8_t* prev = blocks > 1 ? bytes.data() + 8 * (blocks - 2) : nullptr;
        int pad = 8 - n % 8;
        for (int i = 8 - pad; i < 8; ++i)
            EXPECT_EQ(last[i] ^ (prev ? prev[i] : 0), pad) << "length " << n << " byte " << i;
        EXPECT_STREQ(bf.Decrypt(cipher).CStr(), text.c_str());
    }
    EXPECT_STREQ(uti_Blowfish::Encrypt("same", "password").CStr(),
                 uti_Blowfish::Encrypt("same", "password").CStr());
    EXPECT_STRNE(uti_Blowfish::Encrypt("same", "password").CStr(),
                 uti_Blowfish::Encrypt("same", "passwore").CStr());
    // Lower-case digits are read as well.
    cow_String cipher = bf.Encrypt("mixed");
    cow_String lower = cipher;
    lower.ToLower();
    EXPECT_STREQ(bf.Decrypt(lower).CStr(), "mixed");
}

TEST(Blowfish, RandomStringsUnderRandomPasswordsRoundTrip) {
    std::mt19937 rng(2026);
    for (int round = 0; round < 300; ++round) {
        int keyLength = 4 + static_cast<int>(rng() % 53);
        std::string password(static_cast<size_t>(keyLength), ' ');
        for (auto& c : password) c = static_cast<char>(33 + rng() % 94);
        std::string text(rng() % 200, ' ');
        for (auto& c : text) c = static_cast<char>(1 + rng() % 255);  // bytes, no NUL
        cow_String cipher = uti_Blowfish::Encrypt(cow_String(text.c_str()), password.c_str());
        cow_String back = uti_Blowfish::Decrypt(cipher, password.c_str());
        ASSERT_EQ(std::string(back.CStr(), static_cast<size_t>(back.Length())), text)
            << "round " << round;
    }
}

TEST(Blowfish, DecryptRejectsWhatIsNotItsForm) {
    uti_Blowfish bf(cow_String("solver-key"));
    cow_String good = bf.Encrypt("payload of two blocks");
    std::string damaged = good.CStr();
    damaged[damaged.size() - 1] = damaged.back() == '0' ? '1' : '0';
    const std::string cases[] = {"", "ABC", std::string(good.CStr()) + "00",
                                 std::string(good.CStr()).replace(3, 1, "G"), damaged};
    for (const std::string& bad : cases) {
        try {
            bf.Decrypt(cow_String(bad.c_str()));
            ADD_FAILURE() << "accepted '" << bad << "'";
        } catch (const ZORBasDecipherException& e) {
            EXPECT_EQ(e.GetCode(), 401);
            EXPECT_NE(std::strstr(e.Message(), "Blowfish"), nullptr);
        }
    }
    try {
        uti_Blowfish::Decrypt(good, "wrong-key");
        ADD_FAILURE() << "a wrong password went through";
    } catch (const ZORBasDecipherException& e) {
        EXPECT_NE(std::strstr(e.Message(), "padding"), nullptr);
    }
    EXPECT_STREQ(bf.Decrypt(good).CStr(), "payload of two blocks") << "the input is unchanged";
}

}  // namespace
