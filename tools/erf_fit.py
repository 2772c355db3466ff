#!/usr/bin/python3
"""Polynomial fits of the error function kernels, written as extended
(80-bit) values into src/vector_real/erf_data.cpp.

  /usr/bin/python3 tools/erf_fit.py > src/vector_real/erf_data.cpp

Two kinds of piece, both Chebyshev interpolants (near-minimax) at 40
significant digits, converted to monomials and rounded to 64-bit
significands:
  * erf(x) / x = P(x^2) for 0 <= x <= 1, degree kErfDegree in t = x^2;
  * erfcx(x) = exp(x^2) erfc(x) on [k, k + 1], k = 1 .. 27, as a polynomial
    in s = x - (k + 1/2), degree up to 20, the least whose fit error is below 2^-72.
The script also prints, as comments, the fit error of every piece relative
to the function (the kernel's budget is 2^-64) and the underflow limits of
erfc (the arguments where the result leaves the normal range and where it
rounds to zero) for both types, and those of CdfNorm.
"""
import mpmath as mp

mp.mp.dps = 40
ERF_DEG = 14
TAIL_DEG = 20
PIECES = 27


def erfcx(x):
    return mp.exp(x * x) * mp.erfc(x)


def ext80(v):
    v = mp.mpf(v)
    if v == 0:
        return "{0x0ull, 0x0}"
    sign = 0x8000 if v < 0 else 0
    m, e = mp.frexp(abs(v))  # abs(v) = m * 2^e, 0.5 <= m < 1
    sig = int(mp.nint(m * mp.mpf(2) ** 64))
    if sig == 1 << 64:
        sig >>= 1
        e += 1
    return "{0x%016Xull, 0x%04X}" % (sig, sign | (16383 + e - 1))


def main():
    out = []
    out.append("// generated, do not edit: /usr/bin/python3 tools/erf_fit.py > src/vector_real/erf_data.cpp")
    out.append('#include "vector_real/erf_data.hpp"')
    out.append("")
    out.append("namespace nex::vtm::erf_data {")
    out.append("")
    f = lambda t: mp.erf(mp.sqrt(t)) / mp.sqrt(t) if t > 0 else 2 / mp.sqrt(mp.pi)
    p, err = mp.chebyfit(f, [0, 1], ERF_DEG + 1, error=True)
    out.append("// erf(x)/x in t = x^2 on [0, 1], highest power first; fit error %s relative" % mp.nstr(err / f(1), 3))
    out.append("const Ext80 kErfSmall[%d] = {" % (ERF_DEG + 1))
    for c in p:
        out.append("    %s,  // %s" % (ext80(c), mp.nstr(c, 20)))
    out.append("};")
    out.append("")
    out.append("// erfcx(x) on [k, k + 1] in s = x - k - 1/2, highest power first")
    out.append("const Ext80 kErfcTail[%d][%d] = {" % (PIECES, TAIL_DEG + 1))
    starts = []
    for k in range(1, PIECES + 1):
        c = mp.mpf(k) + mp.mpf(1) / 2
        # The lowest degree whose fit error is below 2^-72 relative (a
        # 256th of the extended format's unit), padded with leading zeros.
        for deg in range(6, TAIL_DEG + 1):
            p, err = mp.chebyfit(lambda s: erfcx(c + s), [-0.5, 0.5], deg + 1, error=True)
            if err / erfcx(k + 1) < mp.mpf(2) ** -72:
                break
        starts.append(TAIL_DEG - deg)
        out.append("    // [%d, %d]: degree %d, fit error %s relative" %
                   (k, k + 1, deg, mp.nstr(err / erfcx(k + 1), 3)))
        out.append("    {")
        for q in [0] * (TAIL_DEG - deg) + p:
            out.append("        %s," % ext80(q))
        out.append("    },")
    out.append("};")
    out.append("")
    out.append("// The first nonzero coefficient of each piece.")
    out.append("const unsigned char kErfcTailStart[%d] = {%s};" % (PIECES, ", ".join(map(str, starts))))
    out.append("")
    out.append("}  // namespace nex::vtm::erf_data")
    # Underflow limits, for the kernels' constants.
    for name, tiny, least in (("double", mp.mpf(2) ** -1022, mp.mpf(2) ** -1075),
                              ("single", mp.mpf(2) ** -126, mp.mpf(2) ** -150)):
        a = mp.findroot(lambda x: mp.log(mp.erfc(x)) - mp.log(tiny), 20)
        z = mp.findroot(lambda x: mp.log(mp.erfc(x)) - mp.log(least), 20)
        out.append("// %s: erfc(x) < least normal from x = %s; rounds to 0 above x = %s" %
                   (name, mp.nstr(a, 20), mp.nstr(z, 20)))
        cdf = lambda x: mp.erfc(-x / mp.sqrt(2)) / 2
        a = mp.findroot(lambda x: mp.log(cdf(x)) - mp.log(tiny), -30)
        z = mp.findroot(lambda x: mp.log(cdf(x)) - mp.log(least), -30)
        out.append("// %s: CdfNorm(x) < least normal below x = %s; rounds to 0 below x = %s" %
                   (name, mp.nstr(a, 20), mp.nstr(z, 20)))
    print("\n".join(out))


main()
