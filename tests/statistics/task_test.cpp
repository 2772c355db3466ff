// Task creation, deletion and the parameter editors.
#include <gtest/gtest.h>

#include <cstring>

#include "nex_core.h"
#include "nex_stats.h"

namespace {

struct TaskGuard {
  SSTask* t = nullptr;
  ~TaskGuard() {
    if (t) __vrsSSDeleteTask(&t);
  }
};

TEST(TaskCreate, StatusesInOrder) {
  SSTask* t = nullptr;
  int32_t p = 3, n = 10, rows = VRS_SS_STORAGE_ROWS, bad = 0x30000, zero = 0;
  double x[30] = {};
  EXPECT_EQ(__vrsdSSNewTask(&t, nullptr, &n, &rows, x, nullptr, nullptr, 0), VRS_SS_ERROR_BAD_P);
  EXPECT_EQ(__vrsdSSNewTask(&t, &zero, &n, &rows, x, nullptr, nullptr, 0), VRS_SS_ERROR_BAD_P);
  // The storage is tested before n, and must be one exact code.
  EXPECT_EQ(__vrsdSSNewTask(&t, &p, nullptr, nullptr, x, nullptr, nullptr, 0),
            VRS_SS_ERROR_NO_STORAGE);
  EXPECT_EQ(__vrsdSSNewTask(&t, &p, nullptr, &bad, x, nullptr, nullptr, 0),
            VRS_SS_ERROR_BAD_STORAGE);
  EXPECT_EQ(__vrsdSSNewTask(&t, &p, nullptr, &rows, x, nullptr, nullptr, 0), VRS_SS_ERROR_BAD_N);
  EXPECT_EQ(__vrsdSSNewTask(&t, &p, &zero, &rows, x, nullptr, nullptr, 0), VRS_SS_ERROR_BAD_N);
  EXPECT_EQ(t, nullptr);
  // Without x, n and the storage are not looked at.
  ASSERT_EQ(__vrsdSSNewTask(&t, &p, nullptr, &bad, nullptr, nullptr, nullptr, 0), 0);
  EXPECT_EQ(t->task_kind, 2);
  EXPECT_EQ(t->is_double, 1);
  EXPECT_EQ(__vrsSSDeleteTask(&t), 0);
  EXPECT_EQ(t, nullptr);
}

TEST(TaskCreate, WideIntegersAndSingleForm) {
  int64_t p = int64_t{1} << 32;  // low word 0: read at full width it is positive
  int64_t n = 5, cols = VRS_SS_STORAGE_COLS;
  float x[5] = {};
  TaskGuard g;
  ASSERT_EQ(__vrssSSNewTask(&g.t, &p, &n, &cols, x, nullptr, nullptr, 1), 0);
  EXPECT_EQ(g.t->is_double, 0);
  EXPECT_EQ(g.t->wide_ints, 1);
  EXPECT_EQ(g.t->x, static_cast<void*>(x));
  SSTask* t2 = nullptr;
  EXPECT_EQ(__vrssSSNewTask(&t2, &p, &n, &cols, x, nullptr, nullptr, 0), VRS_SS_ERROR_BAD_P);
}

TEST(TaskDelete, NullAddressAndOwnedMemory) {
  EXPECT_EQ(__vrsSSDeleteTask(nullptr), VRS_SS_ERROR_NULL_TASK);
  const long live = nex_serv_live_allocations();
  int32_t p = 2;
  SSTask* t = nullptr;
  ASSERT_EQ(__vrsdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  static int hook_calls = 0;
  t->cleanup_count = 1;
  t->cleanup_hook = [](SSTask*) { ++hook_calls; };
  EXPECT_EQ(__vrsSSDeleteTask(&t), 0);
  EXPECT_EQ(hook_calls, 1);
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

TEST(TaskCreate, AllocationFailureLeavesPointer) {
  int32_t p = 2;
  SSTask* t = reinterpret_cast<SSTask*>(0x1);
  nex_serv_set_allocation_failure(1);
  EXPECT_EQ(__vrsdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0),
            VRS_SS_ERROR_ALLOCATION);
  nex_serv_set_allocation_failure(0);
  EXPECT_EQ(t, reinterpret_cast<SSTask*>(0x1));
}

// The parameter table as published: identifier, integer (true) or array
// editor, status for a null pointer.
struct ParamRow {
  int id;
  bool integer;
  int status;
};
constexpr ParamRow kTable[] = {
    {1, true, -4001},   {2, true, -4002},   {3, false, -4032},  {4, true, -4044},
    {5, true, -4004},   {6, false, -4005},  {7, false, -4006},  {8, false, -4007},
    {9, false, -4008},  {10, false, -4009}, {11, false, -4010}, {12, false, -4011},
    {13, false, -4012}, {14, false, -4013}, {15, false, -4014}, {16, false, -4015},
    {17, false, -4016}, {18, false, -4017}, {19, false, -4018}, {20, true, -4044},
    {21, false, -4019}, {22, true, -4044},  {23, false, -4020}, {24, true, -4022},
    {25, false, -4021}, {26, false, -4023}, {27, false, -4024}, {28, true, -4038},
    {29, true, -4044},  {30, false, -4035}, {31, false, -4034}, {32, true, -4038},
    {33, false, -4037}, {34, true, -4044},  {35, false, -4036}, {36, true, -4044},
    {37, true, -4043},  {38, false, -4042}, {39, false, -4028}, {40, false, -4027},
    {41, true, -4040},  {42, false, -4039}, {43, false, -4041}, {44, true, -4044},
    {45, true, -4045},  {46, false, -4046}, {47, true, -4044},  {48, false, -4047},
    {49, true, -4044},  {50, true, -4049},  {51, false, -4048}, {52, true, -4052},
    {53, false, -4053}, {54, true, -4055},  {55, false, -4054}, {56, true, -4056},
    {57, false, -4057}, {58, true, -4061},  {59, false, -4062}, {60, false, -4071},
    {61, true, -4044},  {62, true, -4066},  {63, false, -4065}, {64, true, -4069},
    {65, false, -4068}, {66, false, -4070}, {67, false, -4006}, {68, false, -4075},
    {69, false, -4076}, {70, false, -4077}, {71, false, -4078}, {72, false, -4079},
    {73, false, -4080}, {74, false, -4081}, {75, true, -4044},  {76, false, -4082},
    {77, false, -4083}, {78, false, -4084}, {79, true, -4044},
};

using Editor = int (*)(SSTask*, int64_t, const void*);

class EditTaskTable : public ::testing::TestWithParam<ParamRow> {};

// Each identifier: the wrong editor answers -3 and stores nothing, a null
// pointer answers the table's status and stores nothing, a valid pointer is
// stored in exactly one field.
TEST_P(EditTaskTable, Identifier) {
  const ParamRow row = GetParam();
  int32_t p = 2;
  TaskGuard g;
  ASSERT_EQ(__vrsdSSNewTask(&g.t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  SSTask before;
  std::memcpy(&before, g.t, sizeof before);
  const Editor right = row.integer ? __vrsiSSEditTask : __vrsdSSEditTask;
  const Editor wrong[] = {row.integer ? __vrsdSSEditTask : __vrsiSSEditTask,
                          row.integer ? __vrssSSEditTask : __vrsiSSEditTask};
  int dummy = 0;
  for (Editor e : wrong) EXPECT_EQ(e(g.t, row.id, &dummy), VRS_SS_ERROR_BAD_PARAM_ID);
  EXPECT_EQ(right(g.t, row.id, nullptr), row.status);
  EXPECT_EQ(std::memcmp(&before, g.t, sizeof before), 0);
  EXPECT_EQ(right(g.t, row.id, &dummy), 0);
  int changed = 0;
  const auto* a =
      reinterpret_cast<void* const*>(reinterpret_cast<const char*>(&before) + offsetof(SSTask, p));
  const auto* b =
      reinterpret_cast<void* const*>(reinterpret_cast<const char*>(g.t) + offsetof(SSTask, p));
  for (size_t k = 0; k < (offsetof(SSTask, mah_first) - offsetof(SSTask, p)) / sizeof(void*); ++k)
    if (a[k] != b[k]) {
      ++changed;
      EXPECT_EQ(b[k], static_cast<void*>(&dummy));
    }
  changed += before.sorted != g.t->sorted;
  changed += before.sorted_storage != g.t->sorted_storage;
  EXPECT_EQ(changed, 1);
}

INSTANTIATE_TEST_SUITE_P(All, EditTaskTable, ::testing::ValuesIn(kTable),
                         [](const auto& info) { return "id" + std::to_string(info.param.id); });

TEST(EditTask, SpecificFieldsAndBadIdentifiers) {
  int32_t p = 2;
  TaskGuard g;
  ASSERT_EQ(__vrsdSSNewTask(&g.t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  double a[4];
  int32_t code = 0;
  EXPECT_EQ(__vrsdSSEditTask(g.t, VRS_SS_PARAM_SUM, a), 0);
  EXPECT_EQ(g.t->sum, static_cast<void*>(a));
  EXPECT_EQ(__vrssSSEditTask(g.t, VRS_SS_PARAM_CP, a), 0);
  EXPECT_EQ(g.t->cp, static_cast<void*>(a));
  EXPECT_EQ(__vrsiSSEditTask(g.t, VRS_SS_PARAM_SORTED_STORAGE, &code), 0);
  EXPECT_EQ(g.t->sorted_storage, static_cast<void*>(&code));
  for (int64_t id : {int64_t{0}, int64_t{80}, int64_t{-1}, (int64_t{1} << 32) | 7}) {
    EXPECT_EQ(__vrsdSSEditTask(g.t, id, a), VRS_SS_ERROR_BAD_PARAM_ID) << id;
    EXPECT_EQ(__vrsiSSEditTask(g.t, id, &code), VRS_SS_ERROR_BAD_PARAM_ID) << id;
  }
  EXPECT_EQ(__vrsdSSEditTask(nullptr, VRS_SS_PARAM_MEAN, a), VRS_SS_ERROR_NULL_TASK);
  EXPECT_EQ(__vrsiSSEditTask(nullptr, 0, a), VRS_SS_ERROR_NULL_TASK);
}

TEST(TypedEditors, StoreNonNullAndIgnoreNull) {
  int32_t p = 2;
  TaskGuard g;
  ASSERT_EQ(__vrsdSSNewTask(&g.t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  double m[2], c[4], s[2];
  int32_t st = VRS_SS_MATRIX_FULL;
  SSTask before;
  std::memcpy(&before, g.t, sizeof before);
  EXPECT_EQ(__vrsdSSEditMoments(g.t, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(__vrssSSEditMissingVals(g.t, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(std::memcmp(&before, g.t, sizeof before), 0);
  EXPECT_EQ(__vrsdSSEditCovCor(g.t, m, c, &st, nullptr, nullptr), 0);
  EXPECT_EQ(g.t->mean, static_cast<void*>(m));
  EXPECT_EQ(g.t->cov, static_cast<void*>(c));
  EXPECT_EQ(g.t->cov_storage, static_cast<void*>(&st));
  EXPECT_EQ(g.t->cor, nullptr);
  EXPECT_EQ(__vrssSSEditCP(g.t, nullptr, s, c, &st), 0);
  EXPECT_EQ(g.t->mean, static_cast<void*>(m));  // untouched by the null
  EXPECT_EQ(g.t->sum, static_cast<void*>(s));
  EXPECT_EQ(g.t->cp_storage, static_cast<void*>(&st));
  EXPECT_EQ(__vrsdSSEditPartialCovCor(g.t, &st, nullptr, nullptr, nullptr, nullptr, c, &st, m, &st),
            0);
  EXPECT_EQ(g.t->partial_cor, static_cast<void*>(m));
  EXPECT_EQ(g.t->partial_cor_storage, static_cast<void*>(&st));
  // Neither editor sets the pooled or group storages.
  EXPECT_EQ(__vrsdSSEditPooledCovariance(g.t, &st, m, c, &st, m, c), 0);
  EXPECT_EQ(g.t->pooled_storage, nullptr);
  EXPECT_EQ(g.t->group_cov_storage, nullptr);
  EXPECT_EQ(__vrsdSSEditMoments(nullptr, m, m, m, m, m, m, m), VRS_SS_ERROR_NULL_TASK);
}

}  // namespace
