#!/usr/bin/python3
"""Writes src/vector_real/trigpi_data.hpp: the polynomial coefficients of the
double-precision kernels of sin and cos in half-turns and degrees, and the
constants of their exact reductions.

The double kernels reduce to p = pi * r with |p| <= pi/4 (a little more for
the degree forms, whose quadrant index comes from a rounded product), and
evaluate
    sin p = p + p t P(t),        cos p = 1 - t/2 + t^2 Q(t),      t = p^2.
P and Q are near-minimax fits (Chebyshev interpolation, mpmath.chebyfit) on
[0, T] with T = kPMax^2; the degree of each fit is the smallest that reaches
the slot's target, printed beside it. Run from the repository root:
    /usr/bin/python3 tools/trigpi_coeffs.py > src/vector_real/trigpi_data.hpp
"""
import mpmath as mp

mp.mp.prec = 256
P_MAX = mp.mpf('0.81')  # covers 46 degrees: 45 plus the slack of a rounded quadrant
T_MAX = P_MAX ** 2


def p_of(t):
    if t == 0:
        return mp.mpf(-1) / 6
    s = mp.sqrt(t)
    return (mp.sin(s) / s - 1) / t


def q_of(t):
    if t == 0:
        return mp.mpf(1) / 24
    s = mp.sqrt(t)
    return (mp.cos(s) - 1 + t / 2) / t ** 2


# slot: (terms of P, terms of Q). The relative error of the series part is
# about T * max|error of P| for sin and T^2 * max|error of Q| for cos.
SLOTS = {'Ha': (7, 7), 'La': (6, 6), 'Ep': (4, 3)}


def fit(f, terms):
    coeffs, err = mp.chebyfit(f, [0, T_MAX], terms, error=True)
    return [mp.mpf(c) for c in reversed(coeffs)], err  # lowest order first


def hexfloat(x):
    return float(x).hex()


def split(x):
    hi = mp.mpf(float(x))
    return float(hi), float(x - hi)


def main():
    out = []
    out.append('// generated, do not edit: /usr/bin/python3 tools/trigpi_coeffs.py > '
               'src/vector_real/trigpi_data.hpp')
    out.append('#pragma once')
    out.append('')
    out.append('namespace nex::vtm::trigpi {')
    out.append('')
    for slot, (np_, nq) in SLOTS.items():
        pc, pe = fit(p_of, np_)
        qc, qe = fit(q_of, nq)
        out.append('// sin: %d terms, relative error of the series about 2^%.1f; '
                   'cos: %d terms, about 2^%.1f' %
                   (np_, float(mp.log(pe * T_MAX, 2)), nq, float(mp.log(qe * T_MAX ** 2, 2))))
        out.append('inline constexpr double k%sSin[%d] = {%s};' %
                   (slot, np_, ', '.join(hexfloat(c) for c in pc)))
        out.append('inline constexpr double k%sCos[%d] = {%s};' %
                   (slot, nq, ', '.join(hexfloat(c) for c in qc)))
        out.append('')
    pi_hi, pi_lo = split(mp.pi)
    d_hi, d_lo = split(mp.pi / 180)
    s_hi, s_lo = split(mp.mpf(-1) / 6)
    out.append('// -1/6, the leading coefficient of the sine series, as a sum of two doubles.')
    out.append('inline constexpr double kSixthHi = %s, kSixthLo = %s;' % (s_hi.hex(), s_lo.hex()))
    out.append('')
    out.append('// pi and pi/180 as sums of two doubles.')
    out.append('inline constexpr double kPiHi = %s, kPiLo = %s;' % (pi_hi.hex(), pi_lo.hex()))
    out.append('inline constexpr double kDegHi = %s, kDegLo = %s;' % (d_hi.hex(), d_lo.hex()))
    out.append('')
    out.append('// 2^j mod 45 for j = 0..11 (2 has order 12 modulo 45), for the exact')
    out.append('// reduction of huge integers modulo 360 = 8 * 45.')
    out.append('inline constexpr unsigned kPow2Mod45[12] = {%s};' %
               ', '.join(str(pow(2, j, 45)) for j in range(12)))
    out.append('')
    out.append('}  // namespace nex::vtm::trigpi')
    print('\n'.join(out))


if __name__ == '__main__':
    main()
