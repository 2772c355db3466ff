/* Every public header compiles as C, and the record layouts seen from C. */
#include <stddef.h>

#include "nex_core.h"
#include "nexkernel.h"

#define NEX_OFFSETS(X)                                                                   \
  X(code) X(index) X(a1) X(a2) X(r1) X(r2) X(name) X(name_len) X(reserved) X(a1_im) \
  X(a2_im) X(r1_im) X(r2_im)

/* Fills out[] with sizeof(VtmErrorRecord), the field offsets in order, and
 * sizeof(VtmThreadState); returns the count written. */
int nex_abi_c_layout(long* out) {
  int k = 0;
  out[k++] = (long)sizeof(VtmErrorRecord);
#define X(f) out[k++] = (long)offsetof(VtmErrorRecord, f);
  NEX_OFFSETS(X)
#undef X
  out[k++] = (long)sizeof(VtmThreadState);
  return k;
}

/* Calls an entry from C, as a C program would. */
float nex_abi_c_call(void) {
  float a[3] = {1.5f, -2.0f, 0.25f}, b[3] = {1.0f, 1.0f, 1.0f}, r[3];
  _vtmsAdd(3, a, b, r);
  return r[0] + r[1] + r[2];
}
