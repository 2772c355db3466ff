// Pack and unpack for all four element types, through the entries (32-bit
// index integers) and through the tables with the 64-bit flag.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "nex_vtm.h"

namespace {

template <int W>
struct Elem {
  unsigned char b[W];
  bool operator==(const Elem& o) const { return std::memcmp(b, o.b, W) == 0; }
};

template <class E>
E Make(int i) {
  E e;
  for (size_t k = 0; k < sizeof e; ++k) reinterpret_cast<unsigned char*>(&e)[k] = static_cast<unsigned char>(i * 7 + k + 1);
  return e;
}
template <class E>
bool Same(const E& x, const E& y) {
  return std::memcmp(&x, &y, sizeof x) == 0;
}

// The six kernels of one type, as stored in the tables (with the flag).
template <class E>
struct Kernels {
  void (*pack_i)(int64_t, const E*, int64_t, E*, int);
  void (*pack_v)(int64_t, const E*, const void*, E*, int);
  void (*pack_m)(int64_t, const E*, const void*, E*, int);
  void (*unpack_i)(int64_t, const E*, E*, int64_t, int);
  void (*unpack_v)(int64_t, const E*, E*, const void*, int);
  void (*unpack_m)(int64_t, const E*, E*, const void*, int);
  // The exported entries (flag 1 implied).
  void (*e_pack_i)(int64_t, const E*, int64_t, E*);
  void (*e_pack_v)(int64_t, const E*, const int32_t*, E*);
  void (*e_pack_m)(int64_t, const E*, const int32_t*, E*);
  void (*e_unpack_i)(int64_t, const E*, E*, int64_t);
  void (*e_unpack_v)(int64_t, const E*, E*, const int32_t*);
  void (*e_unpack_m)(int64_t, const E*, E*, const int32_t*);
};

template <class F>
F Slot(const nex_vtm_ttab& t, int i) {
  return reinterpret_cast<F>(t.slot[i]);
}

#define NEX_KERNELS(t, E)                                                                      \
  Kernels<E> {                                                                                 \
    Slot<decltype(Kernels<E>::pack_i)>(nex_vtm_kernel_##t##PackI_ttab, 1),                     \
        Slot<decltype(Kernels<E>::pack_v)>(nex_vtm_kernel_##t##PackV_ttab, 0),                 \
        Slot<decltype(Kernels<E>::pack_m)>(nex_vtm_kernel_##t##PackM_ttab, 2),                 \
        Slot<decltype(Kernels<E>::unpack_i)>(nex_vtm_kernel_##t##UnpackI_ttab, 1),             \
        Slot<decltype(Kernels<E>::unpack_v)>(nex_vtm_kernel_##t##UnpackV_ttab, 1),             \
        Slot<decltype(Kernels<E>::unpack_m)>(nex_vtm_kernel_##t##UnpackM_ttab, 1),             \
        _vtm##t##PackI, _vtm##t##PackV, _vtm##t##PackM, _vtm##t##UnpackI, _vtm##t##UnpackV,    \
        _vtm##t##UnpackM                                                                       \
  }

template <class E>
Kernels<E> Get();
template <>
Kernels<float> Get<float>() { return NEX_KERNELS(s, float); }
template <>
Kernels<double> Get<double>() { return NEX_KERNELS(d, double); }
template <>
Kernels<VtmComplex8> Get<VtmComplex8>() { return NEX_KERNELS(c, VtmComplex8); }
template <>
Kernels<VtmComplex16> Get<VtmComplex16>() { return NEX_KERNELS(z, VtmComplex16); }

template <class E>
class PackTest : public ::testing::Test {};
using Types = ::testing::Types<float, double, VtmComplex8, VtmComplex16>;
TYPED_TEST_SUITE(PackTest, Types);

// Index/mask arrays in both widths with the same logical content.
struct Ints {
  std::vector<int32_t> narrow;
  std::vector<int64_t> wide;
  const void* data(bool is_wide) const {
    return is_wide ? static_cast<const void*>(wide.data()) : narrow.data();
  }
};
Ints MakeInts(const std::vector<int64_t>& v, bool high_half_only_for_mask) {
  Ints r;
  for (int64_t x : v) {
    r.narrow.push_back(static_cast<int32_t>(x));
    // A wide mask element set only in its high half still counts as set.
    r.wide.push_back(high_half_only_for_mask && x != 0 ? (int64_t{1} << 40) : x);
  }
  return r;
}

TYPED_TEST(PackTest, StridedIndexedAndMaskedInBothWidths) {
  using E = TypeParam;
  const Kernels<E> k = Get<E>();
  const int N = 37;
  std::vector<E> src(4 * N + 8);
  for (size_t i = 0; i < src.size(); ++i) src[i] = Make<E>(static_cast<int>(i));
  std::vector<int64_t> idx, msk;
  for (int i = 0; i < N; ++i) {
    idx.push_back((i * 5 + 3) % (2 * N));
    msk.push_back((i % 3 == 1 || i == N - 1) ? 1 : 0);
  }
  const Ints ix = MakeInts(idx, false), mask = MakeInts(msk, true);
  for (int flag : {1, 0, 2}) {
    const bool wide = flag != 1;
    for (int n : {0, 1, 2, 3, 8, 9, N}) {
      for (int64_t inc : {int64_t{1}, int64_t{3}, int64_t{0}}) {
        std::vector<E> y(N + 2, Make<E>(999)), expect(N + 2, Make<E>(999));
        k.pack_i(n, src.data(), inc, y.data(), flag);
        for (int i = 0; i < n; ++i) expect[i] = src[i * inc];
        for (int i = 0; i < N + 2; ++i) ASSERT_TRUE(Same(y[i], expect[i])) << "PackI n=" << n << " i=" << i;

        std::vector<E> z(4 * N + 8, Make<E>(555)), ze(4 * N + 8, Make<E>(555));
        k.unpack_i(n, src.data(), z.data(), inc, flag);
        for (int i = 0; i < n; ++i) ze[i * inc] = src[i];  // later wins at inc 0
        for (size_t i = 0; i < z.size(); ++i) ASSERT_TRUE(Same(z[i], ze[i])) << "UnpackI n=" << n;
      }
      std::vector<E> y(N + 2, Make<E>(999)), expect(N + 2, Make<E>(999));
      k.pack_v(n, src.data(), ix.data(wide), y.data(), flag);
      for (int i = 0; i < n; ++i) expect[i] = src[idx[i]];
      for (int i = 0; i < N + 2; ++i) ASSERT_TRUE(Same(y[i], expect[i])) << "PackV";

      std::vector<E> y2(N + 2, Make<E>(999)), e2(N + 2, Make<E>(999));
      k.pack_m(n, src.data(), mask.data(wide), y2.data(), flag);
      for (int i = 0, j = 0; i < n; ++i)
        if (msk[i]) e2[j++] = src[i];
      for (int i = 0; i < N + 2; ++i) ASSERT_TRUE(Same(y2[i], e2[i])) << "PackM";

      std::vector<E> z(2 * N + 2, Make<E>(555)), ze(2 * N + 2, Make<E>(555));
      k.unpack_v(n, src.data(), z.data(), ix.data(wide), flag);
      for (int i = 0; i < n; ++i) ze[idx[i]] = src[i];
      for (size_t i = 0; i < z.size(); ++i) ASSERT_TRUE(Same(z[i], ze[i])) << "UnpackV";

      std::vector<E> z2(N + 2, Make<E>(555)), ze2(N + 2, Make<E>(555));
      k.unpack_m(n, src.data(), z2.data(), mask.data(wide), flag);
      for (int i = 0, j = 0; i < n; ++i)
        if (msk[i]) ze2[i] = src[j++];
      for (size_t i = 0; i < z2.size(); ++i) ASSERT_TRUE(Same(z2[i], ze2[i])) << "UnpackM";
    }
  }
}

TYPED_TEST(PackTest, EntriesPassFlagOneAndCountTheLow32Bits) {
  using E = TypeParam;
  const Kernels<E> k = Get<E>();
  std::vector<E> src(8);
  for (int i = 0; i < 8; ++i) src[i] = Make<E>(i);
  const int32_t mask[3] = {1, 0, 1}, ix[3] = {2, 2, 0};
  std::vector<E> y(4, Make<E>(77));
  k.e_pack_m(3, src.data(), mask, y.data());  // 32-bit mask 1,0,1 selects 0 and 2
  EXPECT_TRUE(Same(y[0], src[0]));
  EXPECT_TRUE(Same(y[1], src[2]));
  EXPECT_TRUE(Same(y[2], Make<E>(77)));
  std::vector<E> z(4, Make<E>(77));
  k.e_unpack_v(3, src.data(), z.data(), ix);  // repeated index: the later element stays
  EXPECT_TRUE(Same(z[2], src[1]));
  EXPECT_TRUE(Same(z[0], src[2]));
  // A count whose low 32 bits are not positive does nothing with flag 1, but
  // the 64-bit flag reads the whole count.
  const int64_t n = (int64_t{1} << 32) + 0;  // low half zero
  std::vector<E> w(4, Make<E>(77));
  k.e_pack_i(n, src.data(), 1, w.data());
  EXPECT_TRUE(Same(w[0], Make<E>(77)));
  const int64_t n2 = (int64_t{1} << 32) | 2;  // low half 2: two elements with flag 1
  k.e_pack_i(n2, src.data(), 1, w.data());
  EXPECT_TRUE(Same(w[1], src[1]));
  EXPECT_TRUE(Same(w[2], Make<E>(77)));
  k.pack_i(-1, src.data(), 1, w.data(), 0);  // negative 64-bit count
  std::vector<E> u(4, Make<E>(77));
  const int32_t zeros[4] = {0, 0, 0, 0};
  k.e_unpack_m(4, src.data(), u.data(), zeros);
  k.e_pack_m(4, src.data(), zeros, u.data());
  for (const E& e : u) EXPECT_TRUE(Same(e, Make<E>(77)));
}

TEST(Pack, SignalingNanPassesBitForBit) {
  const uint32_t snan_bits = 0x7FA00001u;
  float s[2];
  std::memcpy(&s[0], &snan_bits, 4);
  s[1] = 1;
  float y[2];
  _vtmsPackI(2, s, 1, y);
  uint32_t got;
  std::memcpy(&got, &y[0], 4);
  EXPECT_EQ(got, snan_bits);
  const uint64_t dnan = 0x7FF0000000000001ull;
  double d[1], dy[1];
  std::memcpy(d, &dnan, 8);
  const int32_t ix[1] = {0};
  _vtmdUnpackV(1, d, dy, ix);
  uint64_t dgot;
  std::memcpy(&dgot, dy, 8);
  EXPECT_EQ(dgot, dnan);
}

TEST(Pack, MaskedKernelIsSharedByDoubleAndComplexSingle) {
  EXPECT_EQ(nex_vtm_kernel_dPackM_ttab.slot[1], nex_vtm_kernel_cPackM_ttab.slot[1]);
  EXPECT_EQ(nex_vtm_kernel_dUnpackM_ttab.slot[0], nex_vtm_kernel_cUnpackM_ttab.slot[2]);
  EXPECT_NE(nex_vtm_kernel_dPackI_ttab.slot[1], nex_vtm_kernel_cPackI_ttab.slot[1]);
}

}  // namespace
