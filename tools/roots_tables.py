#!/usr/bin/python3
"""Writes src/vector_real/roots_data.cpp, the constant tables of the root kernels.

Run from the repository root:  /usr/bin/python3 tools/roots_tables.py

Every entry is computed with MPFR (gmpy2) at 200 bits and rounded once to the
stored format; split entries hold hi = round(v) and lo = round(v - hi).
"""
import gmpy2
from gmpy2 import mpfr
import mpmath

gmpy2.get_context().precision = 200
mpmath.mp.prec = 200

OUT = "src/vector_real/roots_data.cpp"


def dbl(v):
    return float(gmpy2.mpfr(v, 53))


def flt(v):
    # round to 24 bits, then print as a float literal
    return float(gmpy2.mpfr(v, 24))


def split(v):
    hi = dbl(v)
    lo = dbl(mpfr(v) - mpfr(hi))
    return hi, lo


def lit(x):
    return float.hex(x)


def sqrt_recip_rows():
    # g = 1/sqrt(f * c), c the centre of row i of [1, 2) cut in 256 rows,
    # f = 1 for an even exponent and 2 for an odd one.
    rows = []
    for f in (1, 2):
        row = []
        for i in range(256):
            c = mpfr(1) + (mpfr(i) + mpfr(0.5)) / 256
            row.append(flt(1 / gmpy2.sqrt(f * c)))
        rows.append(row)
    return rows


def sqrt_quadratic_rows():
    # 1/sqrt(1 + i/128 + u) for u in [0, 1/128), interpolated at the three
    # Chebyshev nodes of the row (within a small factor of the minimax
    # quadratic), coefficients of 1, u, u^2.
    rows = []
    w = mpmath.mpf(1) / 128
    for i in range(128):
        a = 1 + mpmath.mpf(i) / 128
        nodes = [w / 2 * (1 - mpmath.cos((2 * k + 1) * mpmath.pi / 6)) for k in range(3)]
        vals = [1 / mpmath.sqrt(a + u) for u in nodes]
        m = mpmath.matrix([[1, u, u * u] for u in nodes])
        c = mpmath.lu_solve(m, mpmath.matrix(vals))
        rows.append([float(mpmath.mpf(c[k])) for k in range(3)])
    return rows


def cbrt_rows():
    # Row j covers mantissas [1 + j/64, 1 + (j+1)/64). r is a 9-bit reciprocal
    # of the row centre, so m * r is exact in the working precision; the row
    # holds r, cbrt(1/r) and cbrt(r), the latter two split in hi and lo.
    rows = []
    for j in range(64):
        c = mpfr(1) + (mpfr(j) + mpfr(0.5)) / 64
        r = gmpy2.rint(512 / c) / 512
        rows.append((float(r), split(gmpy2.cbrt(1 / r)), split(gmpy2.cbrt(r))))
    return rows


def main():
    out = []
    out.append("// generated, do not edit: /usr/bin/python3 tools/roots_tables.py")
    out.append('#include "vector_real/roots_data.hpp"')
    out.append("")
    out.append("namespace nex::vtm::roots {")
    out.append("")
    out.append("alignas(64) const float kSqrtRecip[2][256] = {")
    for row in sqrt_recip_rows():
        out.append("    {")
        for k in range(0, 256, 4):
            out.append("        " + " ".join(lit(v) + "f," for v in row[k:k + 4]))
        out.append("    },")
    out.append("};")
    out.append("")
    out.append("alignas(64) const double kSqrtQuadratic[128][3] = {")
    for c in sqrt_quadratic_rows():
        out.append("    {" + ", ".join(lit(v) for v in c) + "},")
    out.append("};")
    out.append("")
    s2 = dbl(gmpy2.sqrt(mpfr(2)))
    out.append("// Indexed by the low bit of the biased exponent: sqrt(2) for even, 1 for odd.")
    out.append("const double kSqrtFactor[2] = {%s, %s};" % (lit(s2), lit(1.0)))
    out.append("")
    out.append("alignas(64) const CbrtRow kCbrt[64] = {")
    for r, (ch, cl), (ih, il) in cbrt_rows():
        out.append("    {%s, %s, %s, %s, %s}," % (lit(r), lit(ch), lit(cl), lit(ih), lit(il)))
    out.append("};")
    out.append("")
    out.append("// 2^(k/3) and 2^(-k/3), k = 0, 1, 2, as hi and lo.")
    for name, sgn in (("kCbrtScale", 1), ("kInvCbrtScale", -1)):
        vals = [split(gmpy2.exp2(mpfr(sgn * k) / 3)) for k in range(3)]
        out.append("const double %s[3][2] = {%s};" % (
            name, ", ".join("{%s, %s}" % (lit(h), lit(l)) for h, l in vals)))
    out.append("")
    out.append("}  // namespace nex::vtm::roots")
    with open(OUT, "w") as f:
        f.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
