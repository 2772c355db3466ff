// The accuracy tester every vector function is held to.
//
// For a kernel and an MPFR reference it measures the error of each result in
// units in the last place (ulp) of the exact value, over a list of arguments:
// special and boundary values, log-uniform random samples over the domain, or
// (for long runs, not CI) every single-precision argument. It reports the
// largest error, the argument where it occurs, the number of results that are
// not the correctly rounded value, special-value mismatches (NaN, infinity,
// sign of zero) and, when asked, statuses that differ from the expected ones.
//
// The reference is evaluated at 192 bits, far beyond the 2p + a few bits that
// make the rounding decision certain except for rare hard cases. An error in
// ulp is |got - exact| / ulp(exact), where ulp(y) = 2^(e - p + 1) for
// 2^e <= |y| < 2^(e+1), with e held at the format's least normal exponent for
// subnormal results, and at the largest finite binade for results beyond it.
#pragma once

#include <gmp.h>
#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace nex::accuracy {

using MpfrUnary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
using MpfrBinary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);

template <class T>
struct Format {
  static constexpr int kPrecision = std::numeric_limits<T>::digits;   // 24 / 53
  static constexpr int kMinExp = std::numeric_limits<T>::min_exponent - 1;  // -126 / -1022
  static constexpr int kMaxExp = std::numeric_limits<T>::max_exponent - 1;  // 127 / 1023
};

inline constexpr mpfr_prec_t kReferenceBits = 192;

// A 192-bit MPFR number with RAII.
class Big {
 public:
  Big() { mpfr_init2(v_, kReferenceBits); }
  ~Big() { mpfr_clear(v_); }
  Big(const Big&) = delete;
  Big& operator=(const Big&) = delete;
  mpfr_ptr get() { return v_; }
  mpfr_srcptr get() const { return v_; }

 private:
  mpfr_t v_;
};

template <class T>
inline void SetExact(mpfr_ptr r, T x) {
  if constexpr (sizeof(T) == 4) {
    mpfr_set_flt(r, x, MPFR_RNDN);
  } else {
    mpfr_set_d(r, x, MPFR_RNDN);
  }
}

// The exact value rounded to nearest in T, subnormals and overflow included.
template <class T>
T CorrectlyRounded(mpfr_srcptr exact) {
  using F = Format<T>;
  const mpfr_exp_t old_min = mpfr_get_emin(), old_max = mpfr_get_emax();
  mpfr_set_emin(F::kMinExp - F::kPrecision + 2);  // the least subnormal is 2^emin
  mpfr_set_emax(F::kMaxExp + 1);
  mpfr_t r;
  mpfr_init2(r, F::kPrecision);
  int t = mpfr_set(r, exact, MPFR_RNDN);
  t = mpfr_check_range(r, t, MPFR_RNDN);
  mpfr_subnormalize(r, t, MPFR_RNDN);
  T out;
  if constexpr (sizeof(T) == 4) {
    out = mpfr_get_flt(r, MPFR_RNDN);
  } else {
    out = mpfr_get_d(r, MPFR_RNDN);
  }
  mpfr_clear(r);
  mpfr_set_emin(old_min);
  mpfr_set_emax(old_max);
  return out;
}

// |got - exact| in ulp of exact (see the file comment).
template <class T>
double UlpError(T got, mpfr_srcptr exact) {
  using F = Format<T>;
  if (mpfr_zero_p(exact)) {
    if (got == 0) return 0;
    // Distance in units of the least subnormal.
    return std::fabs(static_cast<double>(got)) /
           std::ldexp(1.0, F::kMinExp - F::kPrecision + 1);
  }
  long e = static_cast<long>(mpfr_get_exp(exact)) - 1;  // 2^e <= |exact| < 2^(e+1)
  if (e < F::kMinExp) e = F::kMinExp;
  if (e > F::kMaxExp) e = F::kMaxExp;
  Big diff;
  SetExact(diff.get(), got);
  mpfr_sub(diff.get(), diff.get(), exact, MPFR_RNDN);
  mpfr_abs(diff.get(), diff.get(), MPFR_RNDN);
  mpfr_mul_2si(diff.get(), diff.get(), -(e - F::kPrecision + 1), MPFR_RNDN);
  return mpfr_get_d(diff.get(), MPFR_RNDN);
}

template <class T>
struct Report {
  size_t count = 0;
  double max_ulp = 0;
  T worst_a{}, worst_b{}, worst_got{}, worst_want{};
  size_t not_correctly_rounded = 0;
  size_t special_mismatches = 0;  // NaN, infinity or zero sign wrong
  size_t status_mismatches = 0;
  std::string first_special;  // description of the first special mismatch
  std::string first_status;   // description of the first status mismatch

  // Adds the counts of another report (e.g. of the next chunk of arguments)
  // and keeps the larger maximum with its place.
  void Merge(const Report& other) {
    if (other.max_ulp > max_ulp) {
      max_ulp = other.max_ulp;
      worst_a = other.worst_a;
      worst_b = other.worst_b;
      worst_got = other.worst_got;
      worst_want = other.worst_want;
    }
    count += other.count;
    not_correctly_rounded += other.not_correctly_rounded;
    special_mismatches += other.special_mismatches;
    status_mismatches += other.status_mismatches;
    if (first_special.empty()) first_special = other.first_special;
    if (first_status.empty()) first_status = other.first_status;
  }

  std::string Describe(const std::string& name) const {
    std::ostringstream s;
    s.precision(std::numeric_limits<T>::max_digits10);
    s << name << ": " << count << " arguments, max " << max_ulp << " ulp at a=" << worst_a;
    if (worst_b != T{} || worst_b != worst_b) s << " b=" << worst_b;
    s << " (got " << worst_got << ", exact ~" << worst_want << "), " << not_correctly_rounded
      << " not correctly rounded, " << special_mismatches << " special mismatches, "
      << status_mismatches << " status mismatches";
    if (!first_special.empty()) s << "; first special: " << first_special;
    if (!first_status.empty()) s << "; first status: " << first_status;
    return s.str();
  }
};

// Records one result against its exact value.
template <class T>
void Score(Report<T>& rep, T a, T b, T got, mpfr_srcptr exact) {
  ++rep.count;
  const T want = CorrectlyRounded<T>(exact);
  const bool got_nan = got != got, want_nan = mpfr_nan_p(exact) != 0;
  auto special = [&](const char* why) {
    ++rep.special_mismatches;
    if (rep.first_special.empty()) {
      std::ostringstream s;
      s.precision(std::numeric_limits<T>::max_digits10);
      s << why << " at a=" << a << " b=" << b << ": got " << got << ", want " << want;
      rep.first_special = s.str();
    }
  };
  if (got_nan || want_nan) {
    if (got_nan != want_nan) special("NaN");
    return;
  }
  std::memcmp(&got, &want, sizeof(T)) == 0 ? void() : void(++rep.not_correctly_rounded);
  if (std::isinf(want) || std::isinf(got)) {
    if (got == want) return;
    if (std::isinf(want) && mpfr_inf_p(exact)) {  // a true infinity must be exact
      special("infinity");
      return;
    }
  }
  if (got == 0 && want == 0 && std::signbit(got) != std::signbit(want)) special("sign of zero");
  const double err = UlpError<T>(got, exact);
  if (err > rep.max_ulp || err != err) {
    rep.max_ulp = err;
    rep.worst_a = a;
    rep.worst_b = b;
    rep.worst_got = got;
    rep.worst_want = static_cast<T>(mpfr_get_d(exact, MPFR_RNDN));
  }
}

// The statuses a kernel reported for a chunk of elements, by index. Filled by
// a status probe around each kernel call (see StatusProbe below).
struct ReportedStatus {
  int index;
  int status;
};
// Installs a probe for one kernel call and returns what it saw. The default
// probe sees nothing; suites that check statuses pass one built on the error
// callback of the vector library.
using StatusProbe = std::function<std::vector<ReportedStatus>(const std::function<void()>&)>;

template <class T>
using ExpectedStatus1 = int (*)(T a, mpfr_srcptr exact);
template <class T>
using ExpectedStatus2 = int (*)(T a, T b, mpfr_srcptr exact);

template <class T>
void CheckStatuses(Report<T>& rep, const std::vector<ReportedStatus>& seen, const std::vector<int>& want,
                   size_t base, const std::function<std::string(size_t)>& describe) {
  std::vector<int> got(want.size(), 0);
  for (const ReportedStatus& s : seen)
    if (s.index >= 0 && static_cast<size_t>(s.index) < got.size()) got[s.index] = s.status;
  for (size_t i = 0; i < want.size(); ++i) {
    if (got[i] != want[i]) {
      ++rep.status_mismatches;
      if (rep.first_status.empty())
        rep.first_status = describe(base + i) + ": status " + std::to_string(got[i]) + ", want " +
                           std::to_string(want[i]);
    }
  }
}

// Measures a one-argument kernel against an MPFR function.
template <class T>
Report<T> MeasureUnary(void (*kernel)(int, const T*, T*), MpfrUnary reference, const std::vector<T>& args,
                       StatusProbe probe = {}, ExpectedStatus1<T> expected = nullptr) {
  Report<T> rep;
  constexpr size_t kChunk = 4096;
  std::vector<T> out(kChunk);
  Big x, y;
  for (size_t base = 0; base < args.size(); base += kChunk) {
    const int n = static_cast<int>(std::min(kChunk, args.size() - base));
    auto call = [&] { kernel(n, args.data() + base, out.data()); };
    std::vector<ReportedStatus> seen;
    if (probe) {
      seen = probe(call);
    } else {
      call();
    }
    std::vector<int> want(n, 0);
    for (int i = 0; i < n; ++i) {
      SetExact(x.get(), args[base + i]);
      reference(y.get(), x.get(), MPFR_RNDN);
      Score(rep, args[base + i], T{}, out[i], y.get());
      if (expected) want[i] = expected(args[base + i], y.get());
    }
    if (probe && expected) {
      CheckStatuses(rep, seen, want, base, [&](size_t k) {
        std::ostringstream s;
        s.precision(std::numeric_limits<T>::max_digits10);
        s << "a=" << args[k];
        return s.str();
      });
    }
  }
  return rep;
}

// Measures a two-argument kernel against an MPFR function.
template <class T>
Report<T> MeasureBinary(void (*kernel)(int, const T*, const T*, T*), MpfrBinary reference,
                        const std::vector<T>& a, const std::vector<T>& b, StatusProbe probe = {},
                        ExpectedStatus2<T> expected = nullptr) {
  Report<T> rep;
  constexpr size_t kChunk = 4096;
  std::vector<T> out(kChunk);
  Big x, z, y;
  for (size_t base = 0; base < a.size(); base += kChunk) {
    const int n = static_cast<int>(std::min(kChunk, a.size() - base));
    auto call = [&] { kernel(n, a.data() + base, b.data() + base, out.data()); };
    std::vector<ReportedStatus> seen;
    if (probe) {
      seen = probe(call);
    } else {
      call();
    }
    std::vector<int> want(n, 0);
    for (int i = 0; i < n; ++i) {
      SetExact(x.get(), a[base + i]);
      SetExact(z.get(), b[base + i]);
      reference(y.get(), x.get(), z.get(), MPFR_RNDN);
      Score(rep, a[base + i], b[base + i], out[i], y.get());
      if (expected) want[i] = expected(a[base + i], b[base + i], y.get());
    }
    if (probe && expected) {
      CheckStatuses(rep, seen, want, base, [&](size_t k) {
        std::ostringstream s;
        s.precision(std::numeric_limits<T>::max_digits10);
        s << "a=" << a[k] << " b=" << b[k];
        return s.str();
      });
    }
  }
  return rep;
}

// ---- Arguments -------------------------------------------------------------------

// Values log-uniform in magnitude between lo and hi (both positive), with the
// given sign choice: +1 positive, -1 negative, 0 either.
template <class T>
std::vector<T> LogUniform(T lo, T hi, size_t count, uint32_t seed, int sign = 1) {
  std::mt19937_64 gen(seed);
  const double l = std::log2(static_cast<double>(lo)), h = std::log2(static_cast<double>(hi));
  std::uniform_real_distribution<double> e(l, h);
  std::uniform_int_distribution<int> coin(0, 1);
  std::vector<T> v;
  v.reserve(count);
  while (v.size() < count) {
    T x = static_cast<T>(std::exp2(e(gen)));
    // Full random mantissa: the exponent from the draw, the fraction bits random.
    using B = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
    B bits;
    std::memcpy(&bits, &x, sizeof bits);
    const B frac_mask = (B{1} << (Format<T>::kPrecision - 1)) - 1;
    bits = (bits & ~frac_mask) | (static_cast<B>(gen()) & frac_mask);
    std::memcpy(&x, &bits, sizeof bits);
    if (!(x >= lo && x <= hi)) continue;
    if (sign < 0 || (sign == 0 && coin(gen))) x = -x;
    v.push_back(x);
  }
  return v;
}

// Uniform in [lo, hi] (for arguments near a point, e.g. x near 1).
template <class T>
std::vector<T> Uniform(T lo, T hi, size_t count, uint32_t seed) {
  std::mt19937_64 gen(seed);
  std::uniform_real_distribution<double> u(static_cast<double>(lo), static_cast<double>(hi));
  std::vector<T> v(count);
  for (T& x : v) x = static_cast<T>(u(gen));
  return v;
}

// Special values of the format and their neighbours.
template <class T>
std::vector<T> SpecialValues() {
  using L = std::numeric_limits<T>;
  std::vector<T> base = {T(0), L::denorm_min(), L::min(), T(0.5), T(1), T(2), L::max(),
                         L::infinity(), L::quiet_NaN(), L::epsilon()};
  std::vector<T> v;
  for (T x : base) {
    for (T s : {x, -x}) {
      v.push_back(s);
      if (std::isfinite(s)) {
        v.push_back(std::nextafter(s, L::infinity()));
        v.push_back(std::nextafter(s, -L::infinity()));
      }
    }
  }
  return v;
}

// Every single-precision value, in chunks, for long runs: set
// NEX_ACCURACY_EXHAUSTIVE=1 to enable in suites that offer it.
inline bool ExhaustiveRequested() {
  const char* e = std::getenv("NEX_ACCURACY_EXHAUSTIVE");
  return e != nullptr && e[0] == '1';
}

template <class F>
void ForEveryFloat(size_t chunk, F&& visit) {
  std::vector<float> v;
  v.reserve(chunk);
  for (uint64_t b = 0; b <= 0xFFFFFFFFull; ++b) {
    const uint32_t bits = static_cast<uint32_t>(b);
    float x;
    std::memcpy(&x, &bits, 4);
    v.push_back(x);
    if (v.size() == chunk || b == 0xFFFFFFFFull) {
      visit(v);
      v.clear();
    }
  }
}

template <class T>
std::vector<T> Concat(std::initializer_list<std::vector<T>> parts) {
  std::vector<T> v;
  for (const auto& p : parts) v.insert(v.end(), p.begin(), p.end());
  return v;
}

}  // namespace nex::accuracy
