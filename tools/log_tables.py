#!/usr/bin/env python3
"""Writes the constant tables of the logarithm kernels, computed with MPFR
(gmpy2) at 256 bits and rounded once to double.

Tables:
  kLnCubic, kLog10Cubic   256 rows of four doubles c0..c3: the cubic in the
      mantissa m in [1,2) that stands for ln m (log10 m) on [1 + j/256,
      1 + (j+1)/256). It is the Taylor cubic around a point p of the interval,
      multiplied out into powers of m. Row 0 expands around p = 1, so that
      ln 1 = 0 comes out exactly (-11/6, 3, -3/2, 1/3); row 255 around p = 2,
      so that for x just below 1 (m near 2, exponent -1) the cubic's error
      vanishes where the result does; every other row around the midpoint.
  kLnRow, kLog10Row       256 rows {hi, lo, rcp} for c = 1 + j/256:
      hi + lo = ln c (log10 c) in two parts, rcp = 1/c rounded.
  kLog2Grid, kLnGrid      385 rows {rcp, hi, lo} for c = k/512,
      k = 384..768 (c in [0.75, 1.5]): rcp = 1/c rounded, hi + lo = log2 c
      (ln c) with hi rounded to a multiple of 2^-42, so that an integer
      exponent (times a short ln 2 for ln) plus hi is exact in a double.
  kLog2Series, kInvLn2Lo  the Taylor coefficients of log2(1 + t) and the low
      part of 1/ln 2 beside its high part 1.44140625.

Usage: /usr/bin/python3 tools/log_tables.py > src/vector_real/log_data.cpp
"""
import sys

import gmpy2
from gmpy2 import mpfr

gmpy2.get_context().precision = 256

CMD = "/usr/bin/python3 tools/log_tables.py > src/vector_real/log_data.cpp"


def d(x):
    """Round to the nearest double and print as a C hex-float literal."""
    v = float(mpfr(x))
    return v.hex() if v != 0 else "0.0"


def round_to_multiple(x, q):
    return gmpy2.rint(x / q) * q


def cubic_rows(scale):
    """Taylor cubic of scale*ln m around p, multiplied out in powers of m."""
    rows = []
    for j in range(256):
        if j == 0:
            p = mpfr(1)
        elif j == 255:
            p = mpfr(2)
        else:
            p = 1 + (mpfr(j) + mpfr("0.5")) / 256
        a = 1 / p
        # ln p + a (m - p) - a^2/2 (m - p)^2 + a^3/3 (m - p)^3
        k0, k1, k2, k3 = gmpy2.log(p), a, -a * a / 2, a * a * a / 3
        c3 = k3
        c2 = k2 - 3 * k3 * p
        c1 = k1 - 2 * k2 * p + 3 * k3 * p * p
        c0 = k0 - k1 * p + k2 * p * p - k3 * p * p * p
        row = [float(c0 * scale), float(c1 * scale), float(c2 * scale), float(c3 * scale)]
        if j == 0:
            # log 1 = 0 exactly: the kernel forms (c3 m + c2) m^2 + (c1 m + c0)
            # in 53-bit arithmetic, and at m = 1 c1 + c0 (exact, as both are
            # below 4 with the same last place) cancels c3 + c2 rounded.
            row[0] = -(row[3] + row[2]) - row[1]
        rows.append(row)
    return rows


def split_rows(fn):
    rows = []
    for j in range(256):
        c = 1 + mpfr(j) / 256
        v = fn(c)
        hi = mpfr(float(v))
        lo = v - hi
        rows.append([hi, lo, 1 / c])
    return rows


def grid_rows(fn):
    rows = []
    q = mpfr(2) ** -42
    for k in range(384, 769):
        c = mpfr(k) / 512
        v = fn(c)
        hi = round_to_multiple(v, q)
        rows.append([1 / c, hi, v - hi])
    return rows


def emit(out, name, rows, width, comment):
    out.write(f"// {comment}\n")
    out.write(f"alignas(16) const double {name}[{len(rows)}][{width}] = {{\n")
    for r in rows:
        out.write("    {" + ", ".join(d(v) for v in r) + "},\n")
    out.write("};\n\n")


def main():
    out = sys.stdout
    ln10 = gmpy2.log(mpfr(10))
    out.write("// generated, do not edit: " + CMD + "\n")
    out.write("#include \"vector_real/log_data.hpp\"\n\nnamespace nex::vtm::logdata {\n\n")
    emit(out, "kLnCubic", cubic_rows(mpfr(1)), 4, "c0..c3 of the cubic for ln m, row j")
    emit(out, "kLog10Cubic", cubic_rows(1 / ln10), 4, "c0..c3 of the cubic for log10 m, row j")
    emit(out, "kLnRow", split_rows(gmpy2.log), 3, "hi, lo of ln(1 + j/256) and its reciprocal")
    emit(out, "kLog10Row", split_rows(gmpy2.log10), 3,
         "hi, lo of log10(1 + j/256) and the reciprocal of 1 + j/256")
    emit(out, "kLog2Grid", grid_rows(gmpy2.log2), 3, "1/c, log2 c (hi on 2^-42, lo), c = k/512")
    emit(out, "kLnGrid", grid_rows(gmpy2.log), 3, "1/c, ln c (hi on 2^-42, lo), c = k/512")
    inv_ln2 = 1 / gmpy2.log(mpfr(2))
    series = [(-1) ** (k + 1) * inv_ln2 / k for k in range(1, 7)]
    out.write("// (-1)^(k+1) / (k ln 2), k = 1..6: the Taylor coefficients of log2(1 + t)\n")
    out.write("alignas(16) const double kLog2Series[6] = {" + ", ".join(d(v) for v in series) + "};\n\n")
    out.write("// 1/ln 2 less its 9-bit high part 1.44140625\n")
    out.write("const double kInvLn2Lo = " + d(inv_ln2 - mpfr("1.44140625")) + ";\n\n")
    out.write("}  // namespace nex::vtm::logdata\n")


if __name__ == "__main__":
    main()
