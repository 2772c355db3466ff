/* nex_core: the service library the kernels call. Plain C interface.
 *
 * Allocation, message printing, environment, locks and exit, plus the
 * numerical services shared by several kernel families (tridiagonal solvers,
 * BLAS-form wrappers). Nothing here depends on nex_kernel. */
#ifndef NEX_CORE_H
#define NEX_CORE_H

#include <stddef.h>
#include <stdint.h>

#if defined(NEX_BUILDING_CORE)
#define NEX_CORE_API __attribute__((visibility("default")))
#else
#define NEX_CORE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Allocation -------------------------------------------------------- */

/* Returns a block of `size` bytes aligned to `alignment` (any power of two;
 * values below the pointer size are raised to it), or NULL. A size of 0
 * yields a valid, unique block of 0 usable bytes. */
NEX_CORE_API void* nex_serv_allocate(size_t size, int alignment);
/* Frees a block from nex_serv_allocate; NULL is accepted and ignored. */
NEX_CORE_API void nex_serv_deallocate(void* ptr);

/* Test hook: the k-th allocation from now (k >= 1) fails, and only that one;
 * k <= 0 disarms the hook. Counting is process-wide and thread-safe. */
NEX_CORE_API void nex_serv_set_allocation_failure(long k);
/* Number of blocks handed out and not yet freed (for leak checks). */
NEX_CORE_API long nex_serv_live_allocations(void);

/* Bounded copy: copies n bytes when n <= dest_size and returns 0; otherwise
 * copies nothing and returns a nonzero error (34 when n exceeds the
 * destination, 22 for a NULL pointer with n > 0). */
NEX_CORE_API int nex_serv_memcpy_s(void* dest, size_t dest_size, const void* src, size_t n);

/* ---- Messages ---------------------------------------------------------- */

/* Prints message `number` to standard error when `channel` is 1. `count`
 * arguments follow, of the types that message takes: 735 (name, index),
 * 736..741 (name), 742..753 (index, value as double), 760 none.
 * Returns the number of characters written, or -1 for an unknown number or
 * a count that does not fit the message. */
NEX_CORE_API int nex_serv_print(int channel, int number, int count, ...);

/* The text (a printf format) of a message, or NULL for an unknown number. */
NEX_CORE_API const char* nex_serv_message_text(int number);

/* ---- Environment, locks, exit ------------------------------------------ */

/* Copies the value of environment variable `name` into `buffer` (size bytes,
 * always terminated) and returns its length; returns 0 when it is not set and
 * -1 when the buffer is too small (nothing is copied then). */
NEX_CORE_API int nex_serv_getenv(const char* name, char* buffer, int size);

/* Spin lock on a caller-owned word, 0 meaning free. */
NEX_CORE_API void nex_serv_lock(volatile int* lock);
NEX_CORE_API void nex_serv_unlock(volatile int* lock);

/* Ends the process with the given exit code. */
NEX_CORE_API void nex_serv_exit(int code);

#ifdef __cplusplus
}
#endif

#endif /* NEX_CORE_H */
