#include "zorbas/text/uti_Blowfish.h"

#include <cstring>

#include "zorbas/text/uti_BlowfishTables.h"

namespace {

constexpr const char* kSourcePath = "ZORBase/ZORBasUtils.m/src/uti_Blowfish";

inline uint32_t Load(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return __builtin_bswap32(v);
}
inline void Store(uint8_t* p, uint32_t v) {
    v = __builtin_bswap32(v);
    std::memcpy(p, &v, 4);
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

[[noreturn]] void Reject(const char* why, int line) {
    ZORBasDecipherException(why).Throw(kSourcePath, line);
}

}  // namespace

inline uint32_t uti_Blowfish::F(uint32_t x) const {
    return ((m_s[0][x >> 24] + m_s[1][(x >> 16) & 0xff]) ^ m_s[2][(x >> 8) & 0xff]) +
           m_s[3][x & 0xff];
}

// Sixteen rounds, unrolled two at a time so that the halves never swap places in registers.
void uti_Blowfish::EncryptBlock(uint32_t& left, uint32_t& right) const {
    uint32_t l = left, r = right;
    for (int i = 0; i < 16; i += 2) {
        l ^= m_p[i];
        r ^= F(l);
        r ^= m_p[i + 1];
        l ^= F(r);
    }
    left = r ^ m_p[17];
    right = l ^ m_p[16];
}

void uti_Blowfish::DecryptBlock(uint32_t& left, uint32_t& right) const {
    uint32_t l = left, r = right;
    for (int i = 17; i > 1; i -= 2) {
        l ^= m_p[i];
        r ^= F(l);
        r ^= m_p[i - 1];
        l ^= F(r);
    }
    left = r ^ m_p[0];
    right = l ^ m_p[1];
}

uti_Blowfish::uti_Blowfish(const cow_String& password)
    : uti_Blowfish(password.CStr(), password.Length()) {}

uti_Blowfish::uti_Blowfish(const void* key, int length) {
    if (!key || length < kMinKey || length > kMaxKey)
        ZORBasAssertException("Blowfish password must be 4 to 56 bytes long")
            .Throw(kSourcePath, __LINE__);
    Schedule(static_cast<const uint8_t*>(key), length);
}

// The key, repeated cyclically, is folded into the P-array; then the all-zero block is enciphered
// over and over, each result replacing the next two subkeys, P-array first, then the S-boxes.
void uti_Blowfish::Schedule(const uint8_t* key, int length) {
    std::memcpy(m_s, uti_BlowfishInitialS, sizeof m_s);
    int k = 0;
    for (int i = 0; i < 18; ++i) {
        uint32_t word = 0;
        for (int b = 0; b < 4; ++b) {
            word = (word << 8) | key[k];
            k = (k + 1) % length;
        }
        m_p[i] = uti_BlowfishInitialP[i] ^ word;
    }
    uint32_t l = 0, r = 0;
    for (int i = 0; i < 18; i += 2) {
        EncryptBlock(l, r);
        m_p[i] = l;
        m_p[i + 1] = r;
    }
    for (auto& box : m_s)
        for (int i = 0; i < 256; i += 2) {
            EncryptBlock(l, r);
            box[i] = l;
            box[i + 1] = r;
        }
}

void uti_Blowfish::EncryptECB(const void* in, void* out, size_t count) const {
    const uint8_t* src = static_cast<const uint8_t*>(in);
    uint8_t* dst = static_cast<uint8_t*>(out);
    for (size_t i = 0; i < count; ++i, src += 8, dst += 8) {
        uint32_t l = Load(src), r = Load(src + 4);
        EncryptBlock(l, r);
        Store(dst, l);
        Store(dst + 4, r);
    }
}

void uti_Blowfish::DecryptECB(const void* in, void* out, size_t count) const {
    const uint8_t* src = static_cast<const uint8_t*>(in);
    uint8_t* dst = static_cast<uint8_t*>(out);
    for (size_t i = 0; i < count; ++i, src += 8, dst += 8) {
        uint32_t l = Load(src), r = Load(src + 4);
        DecryptBlock(l, r);
        Store(dst, l);
        Store(dst + 4, r);
    }
}

void uti_Blowfish::EncryptCBC(const void* in, void* out, size_t count, uint8_t* iv) const {
    const uint8_t* src = static_cast<const uint8_t*>(in);
    uint8_t* dst = static_cast<uint8_t*>(out);
    uint32_t cl = Load(iv), cr = Load(iv + 4);
    for (size_t i = 0; i < count; ++i, src += 8, dst += 8) {
        cl ^= Load(src);
        cr ^= Load(src + 4);
        EncryptBlock(cl, cr);
        Store(dst, cl);
        Store(dst + 4, cr);
    }
    Store(iv, cl);
    Store(iv + 4, cr);
}

void uti_Blowfish::DecryptCBC(const void* in, void* out, size_t count, uint8_t* iv) const {
    const uint8_t* src = static_cast<const uint8_t*>(in);
    uint8_t* dst = static_cast<uint8_t*>(out);
    uint32_t pl = Load(iv), pr = Load(iv + 4);
    for (size_t i = 0; i < count; ++i, src += 8, dst += 8) {
        uint32_t cl = Load(src), cr = Load(src + 4);
        uint32_t l = cl, r = cr;
        DecryptBlock(l, r);
        Store(dst, l ^ pl);
        Store(dst + 4, r ^ pr);
        pl = cl;
        pr = cr;
    }
    Store(iv, pl);
    Store(iv + 4, pr);
}

cow_String uti_Blowfish::Encrypt(const cow_String& text) const {
    size_t length = static_cast<size_t>(text.Length());
    size_t blocks = length / 8 + 1;
    uint8_t pad = static_cast<uint8_t>(blocks * 8 - length);
    uint8_t* bytes = static_cast<uint8_t*>(mem_Malloc(blocks * 8));
    std::memcpy(bytes, text.CStr(), length);
    std::memset(bytes + length, pad, pad);
    uint8_t iv[8] = {};
    EncryptCBC(bytes, bytes, blocks, iv);
    static const char kDigits[] = "0123456789ABCDEF";
    int hexLength = static_cast<int>(blocks * 16);
    char* hex = static_cast<char*>(mem_Malloc(blocks * 16 + 1));
    for (size_t i = 0; i < blocks * 8; ++i) {
        hex[2 * i] = kDigits[bytes[i] >> 4];
        hex[2 * i + 1] = kDigits[bytes[i] & 15];
    }
    hex[blocks * 16] = 0;
    cow_String out(hex, hexLength);
    mem_Free(hex);
    mem_Free(bytes);
    return out;
}

cow_String uti_Blowfish::Decrypt(const cow_String& cipher) const {
    int hexLength = cipher.Length();
    if (hexLength == 0 || hexLength % 16 != 0)
        Reject("Blowfish cipher text must be a non-empty multiple of 16 hexadecimal digits",
               __LINE__);
    size_t blocks = static_cast<size_t>(hexLength) / 16;
    uint8_t* bytes = static_cast<uint8_t*>(mem_Malloc(blocks * 8));
    const char* hex = cipher.CStr();
    for (size_t i = 0; i < blocks * 8; ++i) {
        int hi = HexValue(hex[2 * i]), lo = HexValue(hex[2 * i + 1]);
        if (hi < 0 || lo < 0) {
            mem_Free(bytes);
            Reject("Blowfish cipher text holds a character that is not a hexadecimal digit",
                   __LINE__);
        }
        bytes[i] = static_cast<uint8_t>(hi << 4 | lo);
    }
    uint8_t iv[8] = {};
    DecryptCBC(bytes, bytes, blocks, iv);
    uint8_t pad = bytes[blocks * 8 - 1];
    bool padOk = pad >= 1 && pad <= 8;
    for (int i = 1; padOk && i <= pad; ++i) padOk = bytes[blocks * 8 - i] == pad;
    if (!padOk) {
        mem_Free(bytes);
        Reject("Blowfish padding does not check: wrong password or damaged cipher text", __LINE__);
    }
    cow_String text(reinterpret_cast<const char*>(bytes), static_cast<int>(blocks * 8 - pad));
    mem_Free(bytes);
    return text;
}

cow_String uti_Blowfish::Encrypt(const cow_String& text, const cow_String& password) {
    return uti_Blowfish(password).Encrypt(text);
}

cow_String uti_Blowfish::Decrypt(const cow_String& cipher, const cow_String& password) {
    return uti_Blowfish(password).Decrypt(cipher);
}
