/* Export and calling-convention macros shared by every public header. */
#ifndef NEX_API_H
#define NEX_API_H

#if defined(NEX_BUILDING_KERNEL)
#define NEX_API __attribute__((visibility("default")))
#else
#define NEX_API
#endif

#ifdef __cplusplus
#define NEX_EXTERN_C_BEGIN extern "C" {
#define NEX_EXTERN_C_END }
#else
#define NEX_EXTERN_C_BEGIN
#define NEX_EXTERN_C_END
#endif

#endif /* NEX_API_H */
