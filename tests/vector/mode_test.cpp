// The per-thread mode word: environment parsing, defaults, SetMode's field
// rules, table indices and thread independence.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>
#include <latch>
#include <thread>

#include "nex_vtm.h"
#include "vector_frame/thread_state.hpp"

namespace {

constexpr uint64_t kNone = ~uint64_t{0};

uint64_t Parse(const char* s) {
  return nex::vtm::ParseModeSetting(s, static_cast<int>(std::strlen(s)));
}

// The first GetMode of a fresh thread under a given environment value.
uint32_t FirstModeWith(const char* value) {
  if (value) {
    setenv(VTM_MODE_ENVIRONMENT, value, 1);
  } else {
    unsetenv(VTM_MODE_ENVIRONMENT);
  }
  uint32_t mode = 0;
  std::thread([&] { mode = _vtmGetMode(); }).join();
  unsetenv(VTM_MODE_ENVIRONMENT);
  return mode;
}

struct ParseCase {
  const char* text;
  uint64_t bits;
};

class ParseTest : public ::testing::TestWithParam<ParseCase> {};

TEST_P(ParseTest, Tokens) { EXPECT_EQ(Parse(GetParam().text), GetParam().bits) << GetParam().text; }

INSTANTIATE_TEST_SUITE_P(
    Setting, ParseTest,
    ::testing::Values(ParseCase{"VTM_LA", 0x1}, ParseCase{"VTM_EP", 0x3},
                      ParseCase{"VTM_LA,VTM_HA", 0x3},  // OR within a field
                      ParseCase{"VTM_DEFAULT_PRECISION", 0x0},
                      ParseCase{"VTM_DOUBLE_CONSISTEN", 0x20},
                      ParseCase{"VTM_DOUBLE_CONSISTENT", kNone},  // a T where ',' must stand
                      ParseCase{"VTM_ERRMODE_IGNORE,VTM_ERRMODE_ERRNO", 0x300},
                      ParseCase{"VTM_TRAP_INVALID,VTM_TRAP_UNDERFLOW", 0x9000000},
                      ParseCase{"VTM_HA,VTM_ERRMODE_DEFAULT,VTM_RESTORE", 0x1A32},
                      ParseCase{"VTM_LA,", kNone}, ParseCase{"VTM_LA, VTM_EP", kNone},
                      ParseCase{"vtm_LA", kNone}, ParseCase{"VTM_la", kNone},
                      ParseCase{"VTM_", kNone}, ParseCase{"VTM_XX", kNone},
                      ParseCase{"VTM_LAX", kNone}, ParseCase{"VTM_EP,VTM_BAD", kNone},
                      ParseCase{",VTM_LA", kNone}, ParseCase{"VTM_LA,,VTM_HA", kNone}),
    [](const ::testing::TestParamInfo<ParseCase>& info) {
      std::string name = std::to_string(info.index) + "_";
      for (const char* p = info.param.text; *p; ++p)
        name += std::isalnum(static_cast<unsigned char>(*p)) ? *p : '_';
      return name;
    });

TEST(ParseTest, KeywordsMustEndBeforeTheBufferLimit) {
  // A keyword is tried only if it ends below position 256.
  std::string s;
  while (s.size() < 240) s += "VTM_LA,";
  s += "VTM_HA";
  EXPECT_EQ(Parse(s.c_str()), 0x3u);
  std::string t;
  while (t.size() < 245) t += "VTM_LA,";
  t += "VTM_ERRMODE_ERRNO";  // would end past 256
  EXPECT_EQ(Parse(t.c_str()), kNone);
}

TEST(DefaultMode, FromTheEnvironmentOncePerThread) {
  EXPECT_EQ(FirstModeWith(nullptr), 0x1A02u);
  EXPECT_EQ(FirstModeWith("VTM_EP"), 0x1A03u);
  EXPECT_EQ(FirstModeWith("VTM_TRAP_INVALID"), 0x1001A02u);
  EXPECT_EQ(FirstModeWith("VTM_DEFAULT_PRECISION"), 0x1A02u);
  EXPECT_EQ(FirstModeWith("VTM_LA,"), 0x1A02u);
  EXPECT_EQ(FirstModeWith("VTM_LA, VTM_EP"), 0x1A02u);
  EXPECT_EQ(FirstModeWith("VTM_DOUBLE_CONSISTENT"), 0x1A02u);
  EXPECT_EQ(FirstModeWith("VTM_ERRMODE_STDERR"), 0x0402u);
  EXPECT_EQ(FirstModeWith("VTM_FLOAT_CONSISTENT,VTM_LA"), 0x1A11u);
  EXPECT_EQ(FirstModeWith(""), 0x1A02u);
}

TEST(SetMode, FieldRules) {
  std::thread([] {
    const uint32_t start = _vtmGetMode();
    EXPECT_EQ(start, 0x1A02u);
    EXPECT_EQ(_vtmSetMode(0), start);  // a query
    EXPECT_EQ(_vtmGetMode(), start);
    EXPECT_EQ(_vtmSetMode(0x10), start);  // consistency is not writable
    EXPECT_EQ(_vtmGetMode(), start);
    _vtmSetMode(0x0100);
    EXPECT_EQ(_vtmGetMode() & VTM_ERRMODE_MASK, 0x0100u);  // replaced as a whole
    _vtmSetMode(VTM_TRAP_OVERFLOW);
    _vtmSetMode(VTM_TRAP_INVALID);  // exchanged, never emptied
    EXPECT_EQ(_vtmGetMode() & VTM_TRAP_MASK, VTM_TRAP_INVALID);
    _vtmSetMode(0xF0000000u | 0x00030000u | 0x30u);  // bits outside the masks dropped
    EXPECT_EQ(_vtmGetMode(), 0x01000102u);
    _vtmSetMode(VTM_FLUSH_ZERO_ON | VTM_LA);
    EXPECT_EQ(_vtmGetMode(), 0x01280101u);
    _vtmSetMode(0x4);  // nonsense accuracy is stored, not refused
    EXPECT_EQ(nex_vtm_kernel_GetTTableIndex(), 3);
    EXPECT_EQ(nex_vtm_kernel_SetMode(0), _vtmGetMode());  // both names, one code
    EXPECT_EQ(nex_vtm_kernel_GetMode(), _vtmGetMode());
  }).join();
}

TEST(SetMode, ReachesNoOtherThread) {
  std::thread([] {
    _vtmSetMode(VTM_EP | VTM_ERRMODE_STDERR);
    uint32_t other = 0;
    std::thread([&] { other = _vtmGetMode(); }).join();
    EXPECT_EQ(other, 0x1A02u);
    EXPECT_EQ(_vtmGetMode(), 0x0403u);
  }).join();
}

TEST(TableIndex, FromTheModeWord) {
  std::thread([] {
    EXPECT_EQ(nex_vtm_kernel_GetTTableIndex(), 1);
    _vtmSetMode(VTM_LA);
    EXPECT_EQ(nex_vtm_kernel_GetTTableIndex(), 0);
    for (uintptr_t x : {uintptr_t{0}, uintptr_t{1}, ~uintptr_t{0}}) {
      EXPECT_EQ(nex_vtm_kernel_GetTTableIndexM(reinterpret_cast<const void*>(x), 0x1A03), 2);
    }
    EXPECT_EQ(nex_vtm_kernel_GetTTableIndexM(nullptr, 0x1A00), -1);
    EXPECT_EQ(nex_vtm_kernel_GetTTableIndexM(nullptr, 0x1A04), 3);
    EXPECT_EQ(_vtmGetMode() & 0xF, VTM_LA);  // M touched no state
  }).join();
}

TEST(ThreadState, FreshBlockAndInterfacePointer) {
  std::thread([] {
    VtmThreadState* s = nex::vtm::GetThreadState();
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->mode, 0u);
    EXPECT_EQ(s->err_status, 0);
    EXPECT_EQ(s->err_callback, nullptr);
    EXPECT_EQ(s, nex::vtm::GetThreadState());
    double data[4];
    EXPECT_EQ(_vtmSetInterfInputVectorPointer(data), data);
    EXPECT_EQ(s->interf_input_vector, data);
    EXPECT_EQ(nex_vtm_kernel_SetInterfInputVectorPointer(nullptr), nullptr);
    EXPECT_EQ(s->interf_input_vector, nullptr);
  }).join();
  EXPECT_EQ(dll_cpu_version(), 1);
}

TEST(ThreadState, ManyThreadsGetTheirOwnBlocks) {
  constexpr int kThreads = 16;
  VtmThreadState* seen[kThreads];
  std::thread threads[kThreads];
  std::latch all_alive(kThreads);  // no block is freed before all are seen
  for (int i = 0; i < kThreads; ++i) {
    threads[i] = std::thread([i, &seen, &all_alive] {
      _vtmSetMode(static_cast<uint32_t>(1 + i % 3));
      seen[i] = nex::vtm::GetThreadState();
      all_alive.arrive_and_wait();
      EXPECT_EQ(_vtmGetMode() & 0xF, static_cast<uint32_t>(1 + i % 3));
    });
  }
  for (auto& t : threads) t.join();
  for (int i = 0; i < kThreads; ++i)
    for (int j = i + 1; j < kThreads; ++j) EXPECT_NE(seen[i], seen[j]);
}

}  // namespace
