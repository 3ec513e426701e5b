// Blowfish (16 rounds, 64-bit blocks, subkeys from the hexadecimal digits of pi) under a password
// of 4 to 56 bytes: the block cipher, ECB and CBC over whole blocks, and the string form that
// keeps a text unreadable in a file. The key schedule costs 521 block encryptions (about 4 KiB of
// state per object, kept by value); after it, a block costs 16 rounds of four table lookups.
//
// String form. `Encrypt` pads the text's bytes to a whole number of blocks with 1 to 8 bytes that
// each hold the pad's length (a full block of 8 when the text fills its blocks), enciphers them in
// CBC mode with an all-zero initial block, and writes each enciphered byte as two upper-case
// hexadecimal digits: a text of n bytes gives 16 * (n / 8 + 1) characters. The same text under the
// same password always gives the same output, and texts that share their first blocks share the
// output's first digits: the form hides a text, it does not authenticate it. `Decrypt` reverses
// this and throws ZORBasDecipherException on text that is not in this form or whose padding does
// not check (most often a wrong password); the caller's strings are left as they were.
//
// Block byte order is big-endian: bytes 0..3 are the left half, as in the published test vectors.
#pragma once

#include <cstddef>
#include <cstdint>

#include "companions/alloc/mem_Malloc.h"
#include "companions/coreutils/ZORBasException.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_String.h"

// A cipher text that is not hexadecimal, not a whole number of blocks, or whose padding does not
// check after deciphering.
ZORBAS_MESSAGE_EXCEPTION(ZORBasDecipherException, 401);

class ZORBAS_API uti_Blowfish : public mem_AllocationOperators {
  public:
    static constexpr int kBlockSize = 8;
    static constexpr int kMinKey = 4;
    static constexpr int kMaxKey = 56;

    // Runs the key schedule. A key of fewer than 4 or more than 56 bytes throws
    // ZORBasAssertException.
    explicit uti_Blowfish(const cow_String& password);
    uti_Blowfish(const void* key, int length);

    // One block as two 32-bit halves.
    void EncryptBlock(uint32_t& left, uint32_t& right) const;
    void DecryptBlock(uint32_t& left, uint32_t& right) const;
    // `count` blocks of 8 bytes, each on its own; `in` and `out` may be the same buffer.
    void EncryptECB(const void* in, void* out, size_t count) const;
    void DecryptECB(const void* in, void* out, size_t count) const;
    // `count` blocks chained from `iv` (8 bytes), which is updated to the last cipher block so
    // that a long message may be enciphered in pieces.
    void EncryptCBC(const void* in, void* out, size_t count, uint8_t* iv) const;
    void DecryptCBC(const void* in, void* out, size_t count, uint8_t* iv) const;

    // The string form described above.
    cow_String Encrypt(const cow_String& text) const;
    cow_String Decrypt(const cow_String& cipher) const;
    static cow_String Encrypt(const cow_String& text, const cow_String& password);
    static cow_String Decrypt(const cow_String& cipher, const cow_String& password);

  private:
    uint32_t F(uint32_t x) const;
    void Schedule(const uint8_t* key, int length);

    uint32_t m_p[18];
    uint32_t m_s[4][256];
};
