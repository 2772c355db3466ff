// The reporters: one implementation over the element type.
#include "vector_frame/report.hpp"

#include "service/error_routes.hpp"
#include "vector_frame/thread_state.hpp"

namespace nex::vtm {
namespace {

namespace sv = nex::service;

constexpr uint32_t kNoErrOnly = VTM_ERRMODE_NOERR;
constexpr uint32_t kIgnoreOnly = VTM_ERRMODE_IGNORE;
// The flags that have a route: errno, standard error, exception, and NOERR
// and IGNORE when combined with others (their routes do nothing).
constexpr uint32_t kRouteFlags = 0x2F00;
constexpr int kMaxName = 47;

// Real and imaginary parts of an element, widened to double.
template <class E>
struct Parts;
template <>
struct Parts<float> {
  static constexpr int kShift = 2;  // log2 of the element size
  static constexpr bool kComplex = false;
  static double re(float x) { return x; }
  static double im(float) { return 0; }
  static void set(float& x, double re, double) { x = static_cast<float>(re); }
};
template <>
struct Parts<double> {
  static constexpr int kShift = 3;
  static constexpr bool kComplex = false;
  static double re(double x) { return x; }
  static double im(double) { return 0; }
  static void set(double& x, double re, double) { x = re; }
};
template <>
struct Parts<VtmComplex8> {
  static constexpr int kShift = 3;
  static constexpr bool kComplex = true;
  static double re(VtmComplex8 x) { return x.real; }
  static double im(VtmComplex8 x) { return x.imag; }
  static void set(VtmComplex8& x, double re, double im) {
    x.real = static_cast<float>(re);
    x.imag = static_cast<float>(im);
  }
};
template <>
struct Parts<VtmComplex16> {
  static constexpr int kShift = 4;
  static constexpr bool kComplex = true;
  static double re(VtmComplex16 x) { return x.real; }
  static double im(VtmComplex16 x) { return x.imag; }
  static void set(VtmComplex16& x, double re, double im) {
    x.real = re;
    x.imag = im;
  }
};

bool HasValues(int32_t status) {
  return status != VTM_STATUS_BAD_ARGUMENT && status != VTM_STATUS_BAD_MEMORY;
}

int ErrnoOf(int32_t status) {
  switch (status) {
    case VTM_STATUS_OK:
      return 0;
    case VTM_STATUS_DOMAIN:
      return 33;
    case VTM_STATUS_SINGULARITY:
    case VTM_STATUS_OVERFLOW:
    case VTM_STATUS_UNDERFLOW:
      return 34;
    case VTM_STATUS_BAD_ARGUMENT:
      return 22;
    case VTM_STATUS_BAD_MEMORY:
      return 13;
    default:
      return 14;
  }
}

int FirstMessageOf(int32_t status) {
  switch (status) {
    case VTM_STATUS_DOMAIN:
      return 737;
    case VTM_STATUS_SINGULARITY:
      return 738;
    case VTM_STATUS_OVERFLOW:
      return 739;
    case VTM_STATUS_UNDERFLOW:
      return 740;
    case VTM_STATUS_BAD_ARGUMENT:
      return 735;
    case VTM_STATUS_BAD_MEMORY:
      return 736;
    default:
      return 741;
  }
}

// x87 status-word flag of a status: invalid, zero divide, overflow, underflow.
uint32_t X87FlagOf(int32_t status) {
  switch (status) {
    case VTM_STATUS_DOMAIN:
      return 0x01;
    case VTM_STATUS_SINGULARITY:
      return 0x04;
    case VTM_STATUS_OVERFLOW:
      return 0x08;
    case VTM_STATUS_UNDERFLOW:
      return 0x10;
    default:
      return 0;
  }
}

uint32_t X87UnmaskOf(uint32_t mode) {
  uint32_t m = 0;
  if (mode & VTM_TRAP_INVALID) m |= 0x01;
  if (mode & VTM_TRAP_DIVBYZERO) m |= 0x04;
  if (mode & VTM_TRAP_OVERFLOW) m |= 0x08;
  if (mode & VTM_TRAP_UNDERFLOW) m |= 0x10;
  return m;
}

bool SameBits(double a, double b) {
  return __builtin_memcmp(&a, &b, sizeof a) == 0;
}

void StderrRoute(const VtmErrorRecord& rec) {
  const int32_t status = rec.code;
  if (status == VTM_STATUS_OK) return;
  if (status == VTM_STATUS_BAD_ARGUMENT) {
    sv::print_name_index(735, rec.name, rec.index);
    return;
  }
  sv::print_name(FirstMessageOf(status), rec.name);
  if (status == VTM_STATUS_BAD_MEMORY) return;
  // A second value equal to the first, or equal to zero, counts as absent.
  const bool two_args = !(SameBits(rec.a1, rec.a2) || rec.a2 == 0.0);
  const bool two_results = !(SameBits(rec.r1, rec.r2) || rec.r2 == 0.0);
  const int32_t i = rec.index;
  if (!two_args && !two_results) {
    sv::print_index_value(742, i, rec.a1);
    sv::print_index_value(743, i, rec.r1);
  } else if (!two_args) {
    sv::print_index_value(744, i, rec.a1);
    sv::print_index_value(745, i, rec.r1);
    sv::print_index_value(746, i, rec.r2);
  } else if (!two_results) {
    sv::print_index_value(747, i, rec.a1);
    sv::print_index_value(748, i, rec.a2);
    sv::print_index_value(749, i, rec.r1);
  } else {
    sv::print_index_value(750, i, rec.a1);
    sv::print_index_value(751, i, rec.a2);
    sv::print_index_value(752, i, rec.r1);
    sv::print_index_value(753, i, rec.r2);
  }
}

// Each route reads the mode word afresh, so a callback that changed it is
// obeyed by the routes that follow.
void RunRoutes(const VtmErrorRecord& rec) {
  if (GetMode() & VTM_ERRMODE_ERRNO) sv::set_errno(ErrnoOf(rec.code));
  if (GetMode() & VTM_ERRMODE_STDERR) StderrRoute(rec);
  const uint32_t mode = GetMode();
  if (mode & VTM_ERRMODE_EXCEPT) sv::raise_x87_exception(X87FlagOf(rec.code), X87UnmaskOf(mode));
}

template <class E>
void ReportOf(int32_t status, int32_t index, const E* a1, const E* a2, E* r1, E* r2,
              const char* name) {
  using P = Parts<E>;
  const uint32_t mode = GetMode();
  const uint32_t em = mode & VTM_ERRMODE_MASK;
  if (em == kNoErrOnly) return;
  VtmThreadState* state = GetThreadState();
  state->err_status = status;
  if (em == kIgnoreOnly) return;

  VtmErrorRecord rec;  // not cleared: only the fields below are promised
  rec.code = status;
  rec.index = index;
  if (state->interf_input_vector != nullptr) {
    // A chunk of a larger array: make the index global. The byte distance
    // is shifted arithmetically, so a chunk before the pointer works too.
    const ptrdiff_t bytes =
        reinterpret_cast<const char*>(a1) - static_cast<const char*>(state->interf_input_vector);
    rec.index = static_cast<int32_t>(index + (bytes >> P::kShift));
  }
  int len = 0;
  if (name != nullptr) {
    while (len < kMaxName && name[len] != '\0') {
      rec.name[len] = name[len];
      ++len;
    }
  }
  rec.name[len] = '\0';
  rec.name_len = len;
  if (HasValues(status)) {
    rec.a1 = P::re(a1[index]);
    rec.a2 = P::re(a2[index]);
    rec.r1 = P::re(r1[index]);
    rec.r2 = P::re(r2[index]);
    if constexpr (P::kComplex) {
      rec.a1_im = P::im(a1[index]);
      rec.a2_im = P::im(a2[index]);
      rec.r1_im = P::im(r1[index]);
      rec.r2_im = P::im(r2[index]);
    }
  }
  if ((mode & VTM_ERRMODE_CALLBACK) && state->err_callback != nullptr) {
    // Nonzero: the callback has dealt with the element; leave all alone.
    if (state->err_callback(&rec) != 0) return;
  }
  if (mode & kRouteFlags) RunRoutes(rec);
  if (HasValues(status)) {
    // Second result first, so that for one result (both arrays the same)
    // the first result is what stays.
    P::set(r2[index], rec.r2, P::kComplex ? rec.r2_im : 0.0);
    P::set(r1[index], rec.r1, P::kComplex ? rec.r1_im : 0.0);
  }
}

}  // namespace

void ReportS(int32_t status, int32_t index, const float* a1, const float* a2, float* r1, float* r2,
             const char* name) {
  ReportOf(status, index, a1, a2, r1, r2, name);
}
void ReportD(int32_t status, int32_t index, const double* a1, const double* a2, double* r1,
             double* r2, const char* name) {
  ReportOf(status, index, a1, a2, r1, r2, name);
}
void ReportC(int32_t status, int32_t index, const VtmComplex8* a1, const VtmComplex8* a2,
             VtmComplex8* r1, VtmComplex8* r2, const char* name) {
  ReportOf(status, index, a1, a2, r1, r2, name);
}
void ReportZ(int32_t status, int32_t index, const VtmComplex16* a1, const VtmComplex16* a2,
             VtmComplex16* r1, VtmComplex16* r2, const char* name) {
  ReportOf(status, index, a1, a2, r1, r2, name);
}

}  // namespace nex::vtm
