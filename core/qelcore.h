/* qelcore: the services libqelr takes from its host: aligned memory, the
 * processor's feature bits and the number of threads a call may use.
 * Any library that provides these four operations can stand in for it. */
#ifndef QELCORE_H
#define QELCORE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define QELCORE_API __attribute__((visibility("default")))
#else
#define QELCORE_API
#endif

/* A block of `size` bytes aligned to 64 bytes, or null when `size` is not
 * positive or there is no memory.  The memory is not cleared. */
QELCORE_API void* qelMalloc(int32_t size);

/* Releases a block from qelMalloc; a null pointer is a no-op. */
QELCORE_API void qelFree(void* ptr);

/* Feature mask: bit value 16 when SSSE3 may be used, 32 when the processor
 * has MOVBE. */
QELCORE_API uint64_t qelGetEnabledCpuFeatures(void);

/* Threads that one library call may use: set by qelSetNumThreads, else
 * OMP_NUM_THREADS when it holds a positive number, else the processor count. */
QELCORE_API int32_t ownGetNumThreads(void);

/* Fixes the thread count for later calls; 0 or below returns to the default. */
QELCORE_API void qelSetNumThreads(int32_t count);

#ifdef __cplusplus
}
#endif

#endif /* QELCORE_H */
