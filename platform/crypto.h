// The two functions of libcrypto that the process provides. Declared here, so that the library
// builds where the headers of libcrypto are those of another word size.
#ifndef HQOS_PLATFORM_CRYPTO_H
#define HQOS_PLATFORM_CRYPTO_H

#ifdef __cplusplus
extern "C" {
#endif

// Adds `length` bytes to the generator's seed.
void RAND_seed(const void* bytes, int length);

// Writes `length` random bytes. Returns 1, or another number on failure.
int RAND_bytes(unsigned char* bytes, int length);

#ifdef __cplusplus
}
#endif

#endif
