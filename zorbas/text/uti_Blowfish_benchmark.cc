// Blowfish over 64 MiB against OpenSSL's Blowfish on the same data and key, ECB and CBC. OpenSSL
// has no bulk ECB call, so its ECB anchor is BF_ecb_encrypt block by block (the loop its own ECB
// mode runs); its CBC anchor is the one bulk BF_cbc_encrypt call. Both sides give the same bytes,
// checked before timing.
#include <benchmark/benchmark.h>

// OpenSSL 3 deprecates the low-level Blowfish calls; they are still the fastest form it offers.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/blowfish.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "zorbas/text/uti_Blowfish.h"

namespace {

constexpr size_t kBytes = size_t(64) << 20;
const char kKey[] = "bench-password-16";

struct Data {
    std::vector<uint8_t> in, out;
    uti_Blowfish ours{kKey, 16};
    BF_KEY ref;
    Data() : in(kBytes), out(kBytes) {
        std::mt19937_64 rng(5);
        for (size_t i = 0; i < kBytes; i += 8) {
            uint64_t v = rng();
            std::memcpy(&in[i], &v, 8);
        }
        BF_set_key(&ref, 16, reinterpret_cast<const unsigned char*>(kKey));
        std::vector<uint8_t> check(4096);
        ours.EncryptECB(in.data(), out.data(), check.size() / 8);
        for (size_t i = 0; i < check.size(); i += 8)
            BF_ecb_encrypt(&in[i], &check[i], &ref, BF_ENCRYPT);
        if (std::memcmp(out.data(), check.data(), check.size()) != 0) {
            std::fputs("blowfish_benchmark: the two ciphers disagree\n", stderr);
            std::abort();
        }
    }
};

Data& Shared() {
    static Data data;
    return data;
}

void BM_Blowfish_ECB_Ours(benchmark::State& state) {
    Data& d = Shared();
    for (auto _ : state) {
        d.ours.EncryptECB(d.in.data(), d.out.data(), kBytes / 8);
        benchmark::DoNotOptimize(d.out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBytes));
}

void BM_Blowfish_ECB_OpenSSL(benchmark::State& state) {
    Data& d = Shared();
    for (auto _ : state) {
        for (size_t i = 0; i < kBytes; i += 8)
            BF_ecb_encrypt(&d.in[i], &d.out[i], &d.ref, BF_ENCRYPT);
        benchmark::DoNotOptimize(d.out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBytes));
}

void BM_Blowfish_CBC_Ours(benchmark::State& state) {
    Data& d = Shared();
    for (auto _ : state) {
        uint8_t iv[8] = {};
        d.ours.EncryptCBC(d.in.data(), d.out.data(), kBytes / 8, iv);
        benchmark::DoNotOptimize(d.out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBytes));
}

void BM_Blowfish_CBC_OpenSSL(benchmark::State& state) {
    Data& d = Shared();
    for (auto _ : state) {
        unsigned char iv[8] = {};
        BF_cbc_encrypt(d.in.data(), d.out.data(), static_cast<long>(kBytes), &d.ref, iv,
                       BF_ENCRYPT);
        benchmark::DoNotOptimize(d.out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBytes));
}

BENCHMARK(BM_Blowfish_ECB_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Blowfish_ECB_OpenSSL)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Blowfish_CBC_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Blowfish_CBC_OpenSSL)->Unit(benchmark::kMillisecond);

}  // namespace
