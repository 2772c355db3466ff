#!/usr/bin/python3
"""Writes src/vector_real/trig_data.cpp: the bits of 1/pi and the table of
sines and cosines at multiples of pi/256, all from 2000-bit MPFR arithmetic.

Usage: /usr/bin/python3 tools/gen_trig_tables.py > src/vector_real/trig_data.cpp
"""
import gmpy2
from gmpy2 import mpfr

gmpy2.get_context().precision = 2000

WORDS = 40  # 1280 bits of 1/pi: enough for the largest double exponent


def recip_pi_words():
    v = 1 / gmpy2.const_pi()
    words = []
    for _ in range(WORDS):
        v *= 2**32
        w = int(gmpy2.floor(v))
        words.append(w)
        v -= w
    return words


def to_double(v):
    return float(v)  # round to nearest double


def split27(v):
    # v rounded to 27 significant bits, so that its product with a 26-bit
    # number is exact in double.
    if v == 0:
        return 0.0
    e, m = gmpy2.frexp(v)
    hi = gmpy2.rint(m * 2**27) / 2**27
    return float(hi * mpfr(2)**e)


def hexd(x):
    return float.hex(x)


def main():
    print("// generated, do not edit: /usr/bin/python3 tools/gen_trig_tables.py > src/vector_real/trig_data.cpp")
    print('#include "vector_real/trig_data.hpp"')
    print()
    print("namespace nex::vtm::trig {")
    print()
    print("// 1/pi = sum of kRecipPi[i] 2^(-32 (i + 1)), truncated.")
    print("alignas(64) const uint32_t kRecipPi[kRecipPiWords] = {")
    w = recip_pi_words()
    for i in range(0, WORDS, 4):
        print("    " + ", ".join("0x%08Xu" % x for x in w[i:i + 4]) + ",")
    print("};")
    print()
    print("// Row j: sin(j pi/256) high and low, cos(j pi/256) to 27 bits and the rest.")
    print("alignas(64) const double kSinCos256[512][4] = {")
    pi = gmpy2.const_pi()
    for j in range(512):
        a = pi * j / 256
        s = gmpy2.sin(a)
        c = gmpy2.cos(a)
        if j % 256 == 0:
            s = mpfr(0)
        if j % 256 == 128:
            c = mpfr(0)
        s_hi = to_double(s)
        s_lo = to_double(s - mpfr(s_hi))
        c_hi = split27(c)
        c_lo = to_double(c - mpfr(c_hi))
        print("    {%s, %s, %s, %s}," % tuple(hexd(v) for v in (s_hi, c_hi, s_lo, c_lo)))
    print("};")
    print()
    print("// Row E, for a float of biased exponent E (x = m 2^(E - 150), m an integer")
    print("// below 2^24): g = 2^(E - 150) 256/pi modulo 512, in four parts of 28 bits")
    print("// at the weights 2^8 .. 2^-19, 2^-20 .. 2^-47, 2^-48 .. 2^-75, 2^-76 .. 2^-103;")
    print("// m times a part is exact in double. Row 0 is zero.")
    print("alignas(64) const double kRecipPiSingle[256][4] = {")
    for e in range(256):
        if e == 0:
            parts = [0.0] * 4
        else:
            g = mpfr(2) ** (e - 150) * 256 / pi
            g = g - gmpy2.floor(g / 512) * 512
            parts = []
            rest = g
            for low in (19, 47, 75, 103):
                part = gmpy2.floor(rest * mpfr(2) ** low) / mpfr(2) ** low
                parts.append(float(part))
                rest -= part
        print("    {%s, %s, %s, %s}," % tuple(hexd(v) for v in parts))
    print("};")
    print()
    print("// Row E - kDoubleRowBase, for a double of biased exponent E >= 1042")
    print("// (x = m 2^(E - 1075), m an integer below 2^53): g = 2^(E - 1075) 256/pi")
    print("// modulo 512 in six parts of 26 bits at the weights 2^8 .. 2^-17,")
    print("// 2^-18 .. 2^-43, and so on down to 2^-147; halves of m of 27 and 26")
    print("// bits times a part are exact in double.")
    print("alignas(64) const double kRecipPiDouble[kDoubleRows][6] = {")
    for e in range(1042, 2047):
        g = mpfr(2) ** (e - 1075) * 256 / pi
        g = g - gmpy2.floor(g / 512) * 512
        parts = []
        rest = g
        for low in (17, 43, 69, 95, 121, 147):
            part = gmpy2.floor(rest * mpfr(2) ** low) / mpfr(2) ** low
            parts.append(float(part))
            rest -= part
        print("    {%s}," % ", ".join(hexd(v) for v in parts))
    print("};")
    print()
    print("}  // namespace nex::vtm::trig")


main()
