// Dispatch records and exported entries of the vector functions, all
// generated from the function list (nex_vtm_functions.h).
//
// For each built function <f>: nex_vtm_kernel_<f>_ttab (three kernel
// pointers, slot = accuracy - 1) followed by nex_vtm_kernel_<f>_ctab (three
// cost floats for the layer above), and three entries under four names:
// _vtm<f> = _vtm<f>_HA (slot 1), _vtm<f>_21/_50 (slot 0), _vtm<f>_11/_26
// (slot 2). An entry is one indirect jump through its slot, leaving stack and
// arguments untouched so the kernel returns straight to the caller; pack and
// unpack entries first set the kernel's extra flag argument to 1; zPowx's
// entries call through a frame of their own.
#include <bit>
#include <cstddef>
#include <cstdint>

#include "nex_vtm.h"
#include "service/export.hpp"
#include "vector_frame/kernels.hpp"

namespace {

constexpr nex_vtm_ctab Costs(uint32_t c0, uint32_t c1, uint32_t c2) {
  return {{std::bit_cast<float>(c0), std::bit_cast<float>(c1), std::bit_cast<float>(c2)}};
}
// The figures are constants of the tables, stored as built.
static_assert(std::bit_cast<uint32_t>(111.2f) == 0x42DE6666u);
static_assert(std::bit_cast<uint32_t>(36.026f) == 0x42101AA0u);

}  // namespace

#define NEX_K(sym) reinterpret_cast<nex_vtm_kernel_fn>(&sym)
#define NEX_SLOTS_ONE(t, name) \
  {NEX_K(nex_vtm_k_##t##name), NEX_K(nex_vtm_k_##t##name), NEX_K(nex_vtm_k_##t##name)}
#define NEX_SLOTS_THREE(t, name) \
  {NEX_K(nex_vtm_k_##t##name##_la), NEX_K(nex_vtm_k_##t##name##_ha), NEX_K(nex_vtm_k_##t##name##_ep)}
#define NEX_SLOTS_AS_D(t, name) \
  {NEX_K(nex_vtm_k_d##name), NEX_K(nex_vtm_k_d##name), NEX_K(nex_vtm_k_d##name)}

// The records: each function's table and cost row stand together in one
// hidden object, and the two exported names label its two halves. The
// entries address the hidden object PC-relative, with no GOT load.
struct NexVtmRecord {
  nex_vtm_ttab ttab;
  nex_vtm_ctab ctab;
};
static_assert(offsetof(NexVtmRecord, ctab) == sizeof(nex_vtm_ttab));

#define NEX_STR_(x) #x
#define NEX_STR(x) NEX_STR_(x)
#if defined(__x86_64__)
#define NEX_TTAB_BYTES "24"
#else
#define NEX_TTAB_BYTES "12"
#endif
#define NEX_ASM_DATA_LABEL(sym, record, offset, size)                                 \
  ".globl " sym "\n\t.type " sym ",@object\n\t.set " sym "," record "+" offset "\n\t" \
  ".size " sym "," size "\n"

#define NEX_VTM_RECORDS(t, name, kernels, cost)                                         \
  extern "C" {                                                                          \
  NEX_HIDDEN NexVtmRecord nex_vtm_record_##t##name = {{NEX_SLOTS_##kernels(t, name)},   \
                                                      Costs(NEX_VTM_COST_##cost)};      \
  }                                                                                     \
  asm(NEX_ASM_DATA_LABEL(NEX_STR(nex_vtm_kernel_##t##name##_ttab),                      \
                         NEX_STR(nex_vtm_record_##t##name), "0", NEX_TTAB_BYTES)        \
          NEX_ASM_DATA_LABEL(NEX_STR(nex_vtm_kernel_##t##name##_ctab),                  \
                             NEX_STR(nex_vtm_record_##t##name), NEX_TTAB_BYTES, "12"));
#define NEX_VTM_FUNCTION(t, name, shape, kernels, cost, built) \
  NEX_VTM_IF_BUILT(built, NEX_VTM_RECORDS(t, name, kernels, cost))
#include "nex_vtm_functions.h"
#undef NEX_VTM_FUNCTION

// ---- Entries -----------------------------------------------------------------

#define NEX_NAME_LA(t, name) NEX_STR(NEX_VTM_CAT3(_vtm##t, name, NEX_VTM_SUFFIX_LA_##t))
#define NEX_NAME_EP(t, name) NEX_STR(NEX_VTM_CAT3(_vtm##t, name, NEX_VTM_SUFFIX_EP_##t))

#if defined(__x86_64__)
#define NEX_SLOT_BYTES "8"
// jmp *table+slot(%rip): one load and one jump.
#define NEX_ASM_JUMP(sym, tab, slot, pre)                                             \
  ".globl " sym "\n\t.type " sym ",@function\n\t.p2align 4\n" sym ":\n\t" pre         \
  "jmp *" tab "+" slot "*" NEX_SLOT_BYTES "(%rip)\n\t.size " sym ",.-" sym "\n"
// The pack kernels' fifth argument (the flag) travels in r8.
#define NEX_PRE_FLAG "movl $1, %r8d\n\t"
#else
#define NEX_SLOT_BYTES "4"
// 32-bit position-independent code has no PC-relative operand: the entry
// takes its own address into eax (free at a call boundary) and jumps.
#define NEX_ASM_JUMP(sym, tab, slot, pre)                                                  \
  ".globl " sym "\n\t.type " sym ",@function\n\t.p2align 4\n" sym ":\n\t" pre              \
  "call nex_vtm_pc_thunk_ax\n1:\tjmp *" tab "+" slot "*" NEX_SLOT_BYTES "-1b(%eax)\n\t"     \
  ".size " sym ",.-" sym "\n"
asm(".section .text.nex_vtm_pc_thunk_ax,\"ax\",@progbits\n\t.hidden nex_vtm_pc_thunk_ax\n\t"
    ".type nex_vtm_pc_thunk_ax,@function\nnex_vtm_pc_thunk_ax:\n\tmovl (%esp), %eax\n\tret\n\t"
    ".size nex_vtm_pc_thunk_ax,.-nex_vtm_pc_thunk_ax\n\t.text\n");
#endif

#define NEX_ASM_ALIAS(alias, sym) \
  ".globl " alias "\n\t.type " alias ",@function\n\t.set " alias "," sym "\n"

#define NEX_ASM_ENTRIES(t, name, pre)                                                    \
  asm(".text\n" NEX_ASM_JUMP(NEX_NAME_LA(t, name), NEX_STR(nex_vtm_record_##t##name), \
                             "0", pre)                                                   \
          NEX_ASM_JUMP(NEX_STR(_vtm##t##name), NEX_STR(nex_vtm_record_##t##name), "1", \
                       pre)                                                              \
              NEX_ASM_ALIAS(NEX_STR(_vtm##t##name##_HA), NEX_STR(_vtm##t##name))         \
                  NEX_ASM_JUMP(NEX_NAME_EP(t, name),                                     \
                               NEX_STR(nex_vtm_record_##t##name), "2", pre));

// Entries written in C++: a call through the slot from a frame of their own.
#define NEX_CPP_ENTRY(t, name, shape, sym, index, ...)                                       \
  NEX_EXPORT void sym(NEX_VTM_ENTRY_PARAMS(t, shape)) {                                     \
    using Fn = void (*)(NEX_VTM_KERNEL_PARAMS(t, shape));                                   \
    reinterpret_cast<Fn>(nex_vtm_record_##t##name.ttab.slot[index])(__VA_ARGS__);          \
  }
#define NEX_CPP_ENTRIES(t, name, shape, ...)                                                \
  NEX_CPP_ENTRY(t, name, shape, NEX_VTM_CAT3(_vtm##t, name, NEX_VTM_SUFFIX_LA_##t), 0,      \
                __VA_ARGS__)                                                                \
  NEX_CPP_ENTRY(t, name, shape, _vtm##t##name, 1, __VA_ARGS__)                              \
  NEX_CPP_ENTRY(t, name, shape, NEX_VTM_CAT3(_vtm##t, name, NEX_VTM_SUFFIX_EP_##t), 2,      \
                __VA_ARGS__)                                                                \
  NEX_EXPORT void _vtm##t##name##_HA(NEX_VTM_ENTRY_PARAMS(t, shape))                        \
      __attribute__((alias(NEX_STR(_vtm##t##name))));

#define NEX_ENTRY_JUMP(t, name) NEX_ASM_ENTRIES(t, name, "")
#if defined(__x86_64__)
#define NEX_ENTRY_PACK(t, name, ...) NEX_ASM_ENTRIES(t, name, NEX_PRE_FLAG)
#else
// A 32-bit caller owns the stack word past its last argument, so the flag
// cannot be written there: these entries pass it from a frame of their own.
#define NEX_ENTRY_PACK(t, name, shape, ...) NEX_CPP_ENTRIES(t, name, shape, __VA_ARGS__, 1)
#endif

#define NEX_ENTRY_ONE(t, name) NEX_ENTRY_JUMP(t, name)
#define NEX_ENTRY_TWO(t, name) NEX_ENTRY_JUMP(t, name)
#define NEX_ENTRY_TWO_OUT(t, name) NEX_ENTRY_JUMP(t, name)
#define NEX_ENTRY_LINFRAC(t, name) NEX_ENTRY_JUMP(t, name)
#define NEX_ENTRY_C2R(t, name) NEX_ENTRY_JUMP(t, name)
#define NEX_ENTRY_R2C(t, name) NEX_ENTRY_JUMP(t, name)
#define NEX_ENTRY_POWX(t, name) NEX_ENTRY_POWX_##t(name)
#define NEX_ENTRY_POWX_s(name) NEX_ENTRY_JUMP(s, name)
#define NEX_ENTRY_POWX_d(name) NEX_ENTRY_JUMP(d, name)
#define NEX_ENTRY_POWX_c(name) NEX_ENTRY_JUMP(c, name)
// zPowx: the complex exponent is passed by value (four words); the entry
// builds a fresh frame and copies the arguments in order.
#define NEX_ENTRY_POWX_z(name) NEX_CPP_ENTRIES(z, name, POWX, n, a, b, r)
#define NEX_ENTRY_PACKI(t, name) NEX_ENTRY_PACK(t, name, PACKI, n, a, inc, y)
#define NEX_ENTRY_PACKV(t, name) NEX_ENTRY_PACK(t, name, PACKV, n, a, ix, y)
#define NEX_ENTRY_PACKM(t, name) NEX_ENTRY_PACK(t, name, PACKM, n, a, mask, y)
#define NEX_ENTRY_UNPACKI(t, name) NEX_ENTRY_PACK(t, name, UNPACKI, n, a, y, inc)
#define NEX_ENTRY_UNPACKV(t, name) NEX_ENTRY_PACK(t, name, UNPACKV, n, a, y, ix)
#define NEX_ENTRY_UNPACKM(t, name) NEX_ENTRY_PACK(t, name, UNPACKM, n, a, y, mask)

#define NEX_VTM_FUNCTION(t, name, shape, kernels, cost, built) \
  NEX_VTM_IF_BUILT(built, NEX_ENTRY_##shape(t, name))
#include "nex_vtm_functions.h"
#undef NEX_VTM_FUNCTION
