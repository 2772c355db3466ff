#!/usr/bin/env python3
"""Writes the read-only tables and split constants of the exponential kernels.

Every value is computed with MPFR (through gmpy2) at 256 bits and rounded
once to its storage format, to nearest:

  sExp          2^(j/64) / C2 as doubles, C2 the constant term of the
                monic quadratic of sExp (given by its bits below)
  dExpLow       2^(j/2^14) / D2 as 80-bit extended values, D2 the constant
                term of the monic cubic of dExp (given by its 80-bit pattern)
  dExpMiddle    2^(j/2^10), extended
  dExpHigh      2^(j/2^5), extended
  sExp2         2^(j/64) as a float pair hi + lo
  dExp2         2^(j/64) as a double pair hi + lo
  sExp10        2^(j/128) as a float pair
  dExp10        2^(j/128) as a double pair (also the table of Expm1)

and the split constants of the reductions (a high part with trailing zero
bits, so that k times it is exact for every k the kernel meets, and the
rounded rest). Before writing, the split constants are checked against
their published decimal forms.

Usage: /usr/bin/python3 tools/exp_tables.py > src/vector_real/exp_data.cpp
"""
import struct
import sys

import gmpy2
from gmpy2 import mpfr

CTX = gmpy2.get_context()
CTX.precision = 256


def rounded(v, bits):
    """v rounded to nearest with a significand of `bits` bits."""
    with gmpy2.local_context(gmpy2.context(), precision=bits) as _:
        return +v


def exact(v):
    with gmpy2.local_context(gmpy2.context(), precision=256) as _:
        return +v


def double_hex(v):
    return float(rounded(v, 53)).hex()


def float_literal(v):
    f = float(rounded(v, 24))
    assert struct.unpack("<f", struct.pack("<f", f))[0] == f
    return f.hex() + "f"


def ext80(v):
    """(exponent word, significand) of v rounded to 64 bits."""
    r = rounded(v, 64)
    assert r > 0
    man, exp = r.as_mantissa_exp()
    man, exp = int(man), int(exp)
    while man < (1 << 63):
        man <<= 1
        exp -= 1
    while man >= (1 << 64):
        assert man & 1 == 0
        man >>= 1
        exp += 1
    return 16383 + exp + 63, man


def from_ext80(exp_word, significand):
    return exact(mpfr(significand) * gmpy2.exp2(exp_word - 16383 - 63))


def from_double_bits(bits):
    return mpfr(struct.unpack("<d", struct.pack("<Q", bits))[0])


def split(v, hi_bits, lo_bits):
    hi = rounded(v, hi_bits)
    lo = rounded(exact(v - hi), lo_bits)
    return hi, lo


def check(name, value, published, digits):
    text = "%.*g" % (digits, float(value))
    if abs(float(value) - float(published)) > abs(float(published)) * 10 ** (1 - digits):
        sys.exit("%s: computed %s, published %s" % (name, text, published))


LN2 = gmpy2.log(mpfr(2))
LOG2E = exact(1 / LN2)
LOG10_2 = exact(LN2 / gmpy2.log(mpfr(10)))

C2 = from_double_bits(0x4010A6A6C7C4AE3A)
D2 = from_ext80(0x4003, 0x90222B58DB3C8E05)

# Split constants: (name, type, value of the high part, of the low part).
sexp10_hi, sexp10_lo = split(exact(LOG10_2 / 128), 10, 24)
check("sExp10 hi", sexp10_hi, "0.00235366821", 9)
check("sExp10 lo", sexp10_lo, "-1.87137175e-06", 9)
dexp10_hi, dexp10_lo = split(exact(LOG10_2 / 128), 36, 53)
check("dExp10 hi", dexp10_hi, "0.00235179684113973", 15)
check("dExp10 lo", dexp10_lo, "-1.48774441149721e-14", 15)
expm1_hi, expm1_lo = split(exact(LN2 / 128), 36, 53)
# The published constant of Expm1 is ln(2)/128 as one double; the kernel
# uses it split in two, so that k times the high part is exact.
check("Expm1", -rounded(exact(expm1_hi + expm1_lo), 53), "-0.0054152123481245725", 17)
# log2(e) with 11 significant bits, so that a double times it is exact in
# the 64-bit significand of the x87 unit, and the rest as an 80-bit value.
log2e_hi, log2e_lo = split(LOG2E, 11, 64)

out = []
w = out.append
w("// generated, do not edit: /usr/bin/python3 tools/exp_tables.py > src/vector_real/exp_data.cpp")
w("// Tables and split constants of the exponential kernels, rounded to nearest from")
w("// 256-bit MPFR values (see tools/exp_tables.py for the rules).")
w('#include "vector_real/exp_data.hpp"')
w("")
w("namespace nex::vtm::exp_data {")
w("")


def ext_row(v):
    e, m = ext80(v)
    return "{0x%016XULL, 0x%04X}" % (m, e)


w("alignas(16) const double sExp[64] = {")
for j in range(64):
    w("    %s," % double_hex(exact(gmpy2.exp2(mpfr(j) / 64) / C2)))
w("};")
w("")
for name, count, rule in (
    ("dExpLow", 16, lambda j: exact(gmpy2.exp2(mpfr(j) / 2**14) / D2)),
    ("dExpMiddle", 32, lambda j: gmpy2.exp2(mpfr(j) / 2**10)),
    ("dExpHigh", 32, lambda j: gmpy2.exp2(mpfr(j) / 2**5)),
):
    w("alignas(16) const Ext80 %s[%d] = {" % (name, count))
    for j in range(count):
        w("    %s," % ext_row(rule(j)))
    w("};")
    w("")

for name, count, kind in (("sExp2", 64, "float"), ("dExp2", 64, "double"),
                          ("sExp10", 128, "float"), ("dExp10", 128, "double")):
    bits = 24 if kind == "float" else 53
    lit = float_literal if kind == "float" else double_hex
    w("alignas(16) const Pair<%s> %s[%d] = {" % (kind, name, count))
    for j in range(count):
        v = gmpy2.exp2(mpfr(j) / count)
        hi, lo = split(v, bits, bits)
        w("    {%s, %s}," % (lit(hi), lit(lo)))
    w("};")
    w("")

w("const float kSExp10SplitHi = %s;" % float_literal(sexp10_hi))
w("const float kSExp10SplitLo = %s;" % float_literal(sexp10_lo))
w("const double kDExp10SplitHi = %s;" % double_hex(dexp10_hi))
w("const double kDExp10SplitLo = %s;" % double_hex(dexp10_lo))
w("const double kExpm1SplitHi = %s;" % double_hex(expm1_hi))
w("const double kExpm1SplitLo = %s;" % double_hex(expm1_lo))
w("const Ext80 kLog2eHi = %s;" % ext_row(log2e_hi))
w("const Ext80 kLog2eLo = %s;" % ext_row(log2e_lo))
w("")
w("}  // namespace nex::vtm::exp_data")
print("\n".join(out))
