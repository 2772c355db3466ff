// The library's binary interface: record layouts, the dynamic symbol table,
// the dispatch records and the machine code of the entries.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "nex_vtm.h"

extern "C" int nex_abi_c_layout(long* out);
extern "C" float nex_abi_c_call(void);

namespace {

TEST(Layout, ErrorRecordIs144BytesWithFixedOffsetsInCAndCxx) {
  const long want[] = {144, 0, 4, 8, 16, 24, 32, 40, 104, 108, 112, 120, 128, 136};
  long got[16];
  ASSERT_EQ(nex_abi_c_layout(got), 15);
  for (int i = 0; i < 14; ++i) EXPECT_EQ(got[i], want[i]) << i;
  EXPECT_EQ(sizeof(VtmErrorRecord), 144u);
  EXPECT_EQ(offsetof(VtmErrorRecord, a1_im), 112u);
  EXPECT_EQ(got[14], static_cast<long>(sizeof(VtmThreadState)));
#if defined(__i386__)
  EXPECT_EQ(sizeof(VtmThreadState), 24u);  // six 32-bit words
#else
  EXPECT_EQ(sizeof(VtmThreadState), 32u);
#endif
}

TEST(Layout, CallableFromC) { EXPECT_EQ(nex_abi_c_call(), 2.5f - 1.0f + 1.25f); }

// ---- The function list ------------------------------------------------------------

struct Row {
  char type;
  std::string name, shape, kernels, cost;
  bool built;
};

std::vector<Row> Rows() {
  std::vector<Row> rows;
#define NEX_VTM_FUNCTION(t, name, shape, kernels, cost, built) \
  rows.push_back({#t[0], #name, #shape, #kernels, #cost, std::string(#built) == "Y"});
#include "nex_vtm_functions.h"
#undef NEX_VTM_FUNCTION
  return rows;
}

TEST(FunctionList, Has232TablesWithTheStatedSharing) {
  const auto rows = Rows();
  ASSERT_EQ(rows.size(), 232u);
  int per_type[4] = {}, three = 0, c1 = 0, c3 = 0, c111 = 0;
  std::set<std::string> unique;
  for (const Row& r : rows) {
    per_type[std::string("sdcz").find(r.type)]++;
    three += r.kernels == "THREE";
    c1 += r.cost == "C1";
    c3 += r.cost == "C3";
    c111 += r.cost == "C111";
    unique.insert(r.type + r.name);
  }
  EXPECT_EQ(unique.size(), 232u);
  EXPECT_EQ(per_type[0], 83);
  EXPECT_EQ(per_type[1], 83);
  EXPECT_EQ(per_type[2], 33);
  EXPECT_EQ(per_type[3], 33);
  EXPECT_EQ(three, 12);
  EXPECT_EQ(c1, 24);
  EXPECT_EQ(c3, 158);
  EXPECT_EQ(c111, 34);
}

// ---- The shared library's exports ---------------------------------------------------

std::string Suffix(char type, int slot) {
  const bool single = type == 's' || type == 'c';
  if (slot == 0) return single ? "_21" : "_50";
  return single ? "_11" : "_26";
}

std::set<std::string> ExpectedNames() {
  std::set<std::string> names = {"_vtmGetMode",
                                 "nex_vtm_kernel_GetMode",
                                 "_vtmSetMode",
                                 "nex_vtm_kernel_SetMode",
                                 "nex_vtm_kernel_GetTTableIndex",
                                 "nex_vtm_kernel_GetTTableIndexM",
                                 "_vtmSetInterfInputVectorPointer",
                                 "nex_vtm_kernel_SetInterfInputVectorPointer",
                                 "dll_cpu_version",
                                 "_vtmSetErrStatus",
                                 "nex_vtm_kernel_SetErrStatus",
                                 "_vtmGetErrStatus",
                                 "nex_vtm_kernel_GetErrStatus",
                                 "_vtmClearErrStatus",
                                 "nex_vtm_kernel_ClearErrStatus",
                                 "_vtmSetErrorCallBack",
                                 "nex_vtm_kernel_SetErrorCallBack",
                                 "_vtmGetErrorCallBack",
                                 "nex_vtm_kernel_GetErrorCallBack",
                                 "_vtmClearErrorCallBack",
                                 "nex_vtm_kernel_ClearErrorCallBack"};
  for (const Row& r : Rows()) {
    if (!r.built) continue;
    const std::string f = std::string(1, r.type) + r.name;
    for (const std::string& n : {"_vtm" + f, "_vtm" + f + "_HA", "_vtm" + f + Suffix(r.type, 0),
                                 "_vtm" + f + Suffix(r.type, 2), "nex_vtm_kernel_" + f + "_ttab",
                                 "nex_vtm_kernel_" + f + "_ctab"})
      names.insert(n);
  }
  // Other families list their names beside this test.
  for (const auto& entry : std::filesystem::directory_iterator(NEX_SOURCE_DIR "/tests/abi")) {
    const std::string file = entry.path().filename().string();
    if (file.rfind("symbols_", 0) != 0 || entry.path().extension() != ".txt") continue;
    std::ifstream in(entry.path());
    for (std::string line; std::getline(in, line);)
      if (!line.empty() && line[0] != '#') names.insert(line);
  }
  return names;
}

std::set<std::string> DynamicSymbols() {
  std::set<std::string> names;
  const std::string cmd = std::string("nm -D --defined-only ") + NEX_SHARED_LIB;
  FILE* p = popen(cmd.c_str(), "r");
  if (p == nullptr) return names;
  char line[512];
  while (std::fgets(line, sizeof line, p)) {
    char addr[64], type[8], name[400];
    if (std::sscanf(line, "%63s %7s %399s", addr, type, name) == 3) names.insert(name);
  }
  pclose(p);
  return names;
}

TEST(Symbols, ExportsEveryBuiltNameAndNothingOutsideTheFamily) {
  const std::set<std::string> have = DynamicSymbols();
  ASSERT_FALSE(have.empty()) << "nm failed on " << NEX_SHARED_LIB;
  const std::set<std::string> want = ExpectedNames();
  for (const std::string& n : want) EXPECT_TRUE(have.count(n)) << "missing export " << n;
  const char* prefixes[] = {"_vtm", "nex_vtm_kernel_", "dll_cpu_version", "__vrs", "_vrs", "vrs",
                            "Vrs", "__Reg", "nex_df_kernel_"};
  for (const std::string& n : have) {
    bool family = false;
    for (const char* p : prefixes) family |= n.rfind(p, 0) == 0;
    EXPECT_TRUE(family) << "export outside the family: " << n;
    EXPECT_TRUE(want.count(n)) << "export not in any list: " << n;
  }
}

// ---- Dispatch records and entry code, in the shared library ------------------------

class SharedLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    handle_ = dlopen(NEX_SHARED_LIB, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle_, nullptr) << dlerror();
  }
  void TearDown() override {
    if (handle_) dlclose(handle_);
  }
  void* sym(const std::string& name) { return dlsym(handle_, name.c_str()); }
  void* handle_ = nullptr;
};

uint32_t CostBits(const std::string& row, int slot) {
  const uint32_t c1[3] = {NEX_VTM_COST_C1}, c3[3] = {NEX_VTM_COST_C3};
  const uint32_t c111[3] = {NEX_VTM_COST_C111}, three[3] = {NEX_VTM_COST_C111_THREE};
  if (row == "C1") return c1[slot];
  if (row == "C3") return c3[slot];
  if (row == "C111") return c111[slot];
  if (row == "C111_THREE") return three[slot];
  const uint32_t spow[3] = {NEX_VTM_COST_C_SPOW}, spowr[3] = {NEX_VTM_COST_C_SPOWR};
  const uint32_t dpow[3] = {NEX_VTM_COST_C_DPOW}, dpowr[3] = {NEX_VTM_COST_C_DPOWR};
  if (row == "C_SPOW") return spow[slot];
  if (row == "C_SPOWR") return spowr[slot];
  if (row == "C_DPOW") return dpow[slot];
  if (row == "C_DPOWR") return dpowr[slot];
  return 0;
}

// Built rows of the function list, optionally without the pack/unpack rows.
int BuiltRows(bool without_packs) {
  int n = 0;
  for (const Row& r : Rows())
    n += r.built && !(without_packs && r.shape.find("PACK") != std::string::npos);
  return n;
}

TEST_F(SharedLibrary, TablesHoldTheirKernelsAndCostsSideBySide) {
  int checked = 0;
  for (const Row& r : Rows()) {
    if (!r.built) continue;
    const std::string f = std::string(1, r.type) + r.name;
    auto* t = static_cast<nex_vtm_ttab*>(sym("nex_vtm_kernel_" + f + "_ttab"));
    auto* c = static_cast<nex_vtm_ctab*>(sym("nex_vtm_kernel_" + f + "_ctab"));
    ASSERT_TRUE(t && c) << f;
    EXPECT_EQ(reinterpret_cast<char*>(c), reinterpret_cast<char*>(t) + sizeof(nex_vtm_ttab)) << f;
    for (int s = 0; s < 3; ++s) {
      EXPECT_NE(t->slot[s], nullptr);
      if (r.kernels != "THREE") {
        EXPECT_EQ(t->slot[s], t->slot[0]) << f;
      }
      EXPECT_EQ(std::bit_cast<uint32_t>(c->cost[s]), CostBits(r.cost, s)) << f << " slot " << s;
    }
    ++checked;
  }
  EXPECT_EQ(checked, BuiltRows(false));
  EXPECT_GE(checked, 88);  // every kernel built so far
}

// Decodes an entry and returns the address of the slot it jumps through, or
// null when the code is not the expected single indirect jump.
const void* JumpSlot(const unsigned char* p, bool pack) {
#if defined(__x86_64__)
  if (pack) {
    const unsigned char mov_r8d_1[6] = {0x41, 0xB8, 0x01, 0x00, 0x00, 0x00};
    if (std::memcmp(p, mov_r8d_1, 6) != 0) return nullptr;
    p += 6;
  }
  if (p[0] != 0xFF || p[1] != 0x25) return nullptr;  // jmp *disp32(%rip)
  int32_t disp;
  std::memcpy(&disp, p + 2, 4);
  return p + 6 + disp;
#else
  if (pack) return nullptr;  // 32-bit pack entries build a frame for the flag
  if (p[0] != 0xE8) return nullptr;  // call the pc thunk
  int32_t rel;
  std::memcpy(&rel, p + 1, 4);
  const unsigned char* thunk = p + 5 + rel;
  const unsigned char thunk_code[4] = {0x8B, 0x04, 0x24, 0xC3};  // mov (%esp),%eax; ret
  if (std::memcmp(thunk, thunk_code, 4) != 0) return nullptr;
  if (p[5] != 0xFF || p[6] != 0xA0) return nullptr;  // jmp *disp32(%eax)
  int32_t disp;
  std::memcpy(&disp, p + 7, 4);
  return p + 5 + disp;
#endif
}

TEST_F(SharedLibrary, EveryEntryIsOneIndirectJumpThroughItsSlot) {
  int checked = 0;
  for (const Row& r : Rows()) {
    if (!r.built) continue;
    const std::string f = std::string(1, r.type) + r.name;
    const bool pack = r.shape.find("PACK") != std::string::npos;
#if !defined(__x86_64__)
    if (pack) continue;
#endif
    auto* t = static_cast<nex_vtm_ttab*>(sym("nex_vtm_kernel_" + f + "_ttab"));
    const std::pair<std::string, int> entries[] = {{"_vtm" + f + Suffix(r.type, 0), 0},
                                                   {"_vtm" + f, 1},
                                                   {"_vtm" + f + "_HA", 1},
                                                   {"_vtm" + f + Suffix(r.type, 2), 2}};
    for (const auto& [name, slot] : entries) {
      auto* code = static_cast<const unsigned char*>(sym(name));
      ASSERT_NE(code, nullptr) << name;
      EXPECT_EQ(JumpSlot(code, pack), &t->slot[slot]) << name;
      ++checked;
    }
  }
#if defined(__x86_64__)
  EXPECT_EQ(checked, 4 * BuiltRows(false));
#else
  EXPECT_EQ(checked, 4 * BuiltRows(true));  // 32-bit pack entries build a frame
#endif
}

TEST_F(SharedLibrary, UnloadsAndReloadsCleanly) {
  using GetMode = uint32_t (*)();
  auto get = reinterpret_cast<GetMode>(sym("_vtmGetMode"));
  ASSERT_NE(get, nullptr);
  EXPECT_NE(get(), 0u);
  dlclose(handle_);
  handle_ = dlopen(NEX_SHARED_LIB, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle_, nullptr);
  get = reinterpret_cast<GetMode>(sym("_vtmGetMode"));
  EXPECT_NE(get(), 0u);
}

}  // namespace
