// ErfInv, ErfcInv and CdfNormInv against exact values from MPFR, with their
// statuses at and beyond the ends of the domain, on fixed samples: uniform
// over the domain, log-uniform toward each end (down to the least
// subnormal where the domain allows), and the last few hundred
// representable arguments before each end. Each test prints its measured
// maximum error.
#include <gtest/gtest.h>

#include <cstdio>

#include "nex_vtm.h"
#include "support/accuracy.hpp"
#include "support/status_probe.hpp"
#include "vector_special/inverse_cases.hpp"
#include "vector_special/inverse_oracle.hpp"

namespace {

namespace acc = nex::accuracy;
namespace st = nex::special_test;
using st::Fn;

template <class T>
struct Case {
  const char* name;
  void (*kernel)(int, const T*, T*);
  acc::MpfrUnary exact;
  Fn fn;
};

template <class T>
void Holds(const Case<T>& c) {
  // NEX_ACCURACY_EXHAUSTIVE=1 asks for long runs: here, samples 40 times
  // larger (every float would take days of MPFR root finding).
  const size_t scale = acc::ExhaustiveRequested() ? 40 : 1;
  const auto rep = acc::MeasureUnary<T>(c.kernel, c.exact, st::Arguments<T>(c.fn, scale),
                                        acc::CallbackProbe(), st::ExpectedStatus<T>);
  std::printf("%s\n", rep.Describe(c.name).c_str());
  EXPECT_LE(rep.max_ulp, 1.0) << rep.Describe(c.name);
  EXPECT_EQ(rep.special_mismatches, 0u) << rep.Describe(c.name);
  EXPECT_EQ(rep.status_mismatches, 0u) << rep.Describe(c.name);
}

class InverseDouble : public ::testing::TestWithParam<Case<double>> {};

TEST_P(InverseDouble, HoldsOneUlpOverTheDomainAndNearItsEnds) {
  Holds(GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Functions, InverseDouble,
    ::testing::Values(Case<double>{"vdErfInv", _vtmdErfInv, st::ErfInvExact, Fn::kErf},
                      Case<double>{"vdErfcInv", _vtmdErfcInv, st::ErfcInvExact, Fn::kErfc},
                      Case<double>{"vdCdfNormInv", _vtmdCdfNormInv, st::CdfNormInvExact,
                                   Fn::kCdfNorm}),
    [](const auto& info) { return std::string(info.param.name); });

class InverseSingle : public ::testing::TestWithParam<Case<float>> {};

TEST_P(InverseSingle, HoldsOneUlpOverTheDomainAndNearItsEnds) {
  Holds(GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Functions, InverseSingle,
    ::testing::Values(Case<float>{"vsErfInv", _vtmsErfInv, st::ErfInvExact, Fn::kErf},
                      Case<float>{"vsErfcInv", _vtmsErfcInv, st::ErfcInvExact, Fn::kErfc},
                      Case<float>{"vsCdfNormInv", _vtmsCdfNormInv, st::CdfNormInvExact,
                                  Fn::kCdfNorm}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
