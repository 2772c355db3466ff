// Pack and unpack: gather and scatter between a dense vector and a strided,
// indexed or masked one. Elements move bit for bit as integers (a signaling
// NaN passes unchanged), with no floating-point frame and no report.
//
// The last argument selects the width of the index and mask integers:
// flag 1 means 32-bit integers and a count taken from the low 32 bits of n;
// any other flag means 64-bit integers (an index read by its low 32 bits, a
// mask element set when either half is nonzero) and the full 64-bit count.
// Elements go in ascending order, so a later element wins on a shared place.
#include <cstdint>
#include <cstring>

#include "vector_frame/kernels.hpp"

namespace nex::vtm {
namespace {

template <int W>
struct Element {
  unsigned char bytes[W];
};

template <int W>
inline void Move(void* dst, const void* src) {
  std::memcpy(dst, src, W);
}

// The count to process, or 0 when nothing is to be done.
inline int64_t Count(int64_t n, int flag) {
  if (flag == 1) {
    const int32_t low = static_cast<int32_t>(static_cast<uint32_t>(n));
    return low > 0 ? low : 0;
  }
  return n > 0 ? n : 0;
}

inline int64_t IndexAt(const void* ix, int64_t i, int flag) {
  if (flag == 1) return static_cast<const int32_t*>(ix)[i];
  int64_t v;
  std::memcpy(&v, static_cast<const int64_t*>(ix) + i, sizeof v);
  return static_cast<int32_t>(static_cast<uint32_t>(v));
}

inline bool MaskAt(const void* mask, int64_t i, int flag) {
  if (flag == 1) return static_cast<const int32_t*>(mask)[i] != 0;
  return static_cast<const int64_t*>(mask)[i] != 0;
}

template <int W>
struct PackKernels {
  using E = Element<W>;
  static void PackI(int64_t n, const void* a, int64_t inc, void* y, int flag) {
    const int64_t c = Count(n, flag);
    const E* src = static_cast<const E*>(a);
    E* dst = static_cast<E*>(y);
    for (int64_t i = 0; i < c; ++i) Move<W>(dst + i, src + i * inc);
  }
  static void PackV(int64_t n, const void* a, const void* ix, void* y, int flag) {
    const int64_t c = Count(n, flag);
    const E* src = static_cast<const E*>(a);
    E* dst = static_cast<E*>(y);
    for (int64_t i = 0; i < c; ++i) Move<W>(dst + i, src + IndexAt(ix, i, flag));
  }
  static void PackM(int64_t n, const void* a, const void* mask, void* y, int flag) {
    const int64_t c = Count(n, flag);
    const E* src = static_cast<const E*>(a);
    E* dst = static_cast<E*>(y);
    int64_t j = 0;
    for (int64_t i = 0; i < c; ++i) {
      if (MaskAt(mask, i, flag)) Move<W>(dst + j++, src + i);
    }
  }
  static void UnpackI(int64_t n, const void* a, void* y, int64_t inc, int flag) {
    const int64_t c = Count(n, flag);
    const E* src = static_cast<const E*>(a);
    E* dst = static_cast<E*>(y);
    for (int64_t i = 0; i < c; ++i) Move<W>(dst + i * inc, src + i);
  }
  static void UnpackV(int64_t n, const void* a, void* y, const void* ix, int flag) {
    const int64_t c = Count(n, flag);
    const E* src = static_cast<const E*>(a);
    E* dst = static_cast<E*>(y);
    for (int64_t i = 0; i < c; ++i) Move<W>(dst + IndexAt(ix, i, flag), src + i);
  }
  static void UnpackM(int64_t n, const void* a, void* y, const void* mask, int flag) {
    const int64_t c = Count(n, flag);
    const E* src = static_cast<const E*>(a);
    E* dst = static_cast<E*>(y);
    int64_t j = 0;
    for (int64_t i = 0; i < c; ++i) {
      if (MaskAt(mask, i, flag)) Move<W>(dst + i, src + j++);
    }
  }
};

}  // namespace
}  // namespace nex::vtm

using nex::vtm::PackKernels;

// dPackM/cPackM and dUnpackM/cUnpackM are one kernel each (same width); the
// function list points the c tables at the d kernels.
#define NEX_PACK_KERNELS(t, E, W)                                                           \
  extern "C" void nex_vtm_k_##t##PackI(int64_t n, const E* a, int64_t inc, E* y, int f) {  \
    PackKernels<W>::PackI(n, a, inc, y, f);                                                \
  }                                                                                        \
  extern "C" void nex_vtm_k_##t##PackV(int64_t n, const E* a, const void* ix, E* y, int f) { \
    PackKernels<W>::PackV(n, a, ix, y, f);                                                 \
  }                                                                                        \
  extern "C" void nex_vtm_k_##t##UnpackI(int64_t n, const E* a, E* y, int64_t inc, int f) { \
    PackKernels<W>::UnpackI(n, a, y, inc, f);                                              \
  }                                                                                        \
  extern "C" void nex_vtm_k_##t##UnpackV(int64_t n, const E* a, E* y, const void* ix, int f) { \
    PackKernels<W>::UnpackV(n, a, y, ix, f);                                               \
  }
#define NEX_MASK_KERNELS(t, E, W)                                                            \
  extern "C" void nex_vtm_k_##t##PackM(int64_t n, const E* a, const void* m, E* y, int f) {  \
    PackKernels<W>::PackM(n, a, m, y, f);                                                   \
  }                                                                                         \
  extern "C" void nex_vtm_k_##t##UnpackM(int64_t n, const E* a, E* y, const void* m, int f) { \
    PackKernels<W>::UnpackM(n, a, y, m, f);                                                 \
  }

NEX_PACK_KERNELS(s, float, 4)
NEX_PACK_KERNELS(d, double, 8)
NEX_PACK_KERNELS(c, VtmComplex8, 8)
NEX_PACK_KERNELS(z, VtmComplex16, 16)
NEX_MASK_KERNELS(s, float, 4)
NEX_MASK_KERNELS(d, double, 8)
NEX_MASK_KERNELS(z, VtmComplex16, 16)
