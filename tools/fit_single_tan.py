#!/usr/bin/python3
"""Fits the rational form of the single-precision tangent of the packed path,
    tan(r) ~ r (1 + a t + b t^2) / (1 + c t + d t^2),  t = r^2,
on |r| <= 0.787 (pi/4 and the overshoot of a nearest integer found in single
precision), by least squares on the linearised residual
    a t + b t^2 - f c t - f d t^2 = f - 1,  f = tan(r)/r,
at Chebyshev nodes, and prints the coefficients and the largest relative
error of the form in exact arithmetic.

Usage: /usr/bin/python3 tools/fit_single_tan.py
"""
import mpmath as mp

mp.mp.prec = 200
R = mp.mpf("0.787")
N = 400
rows, rhs = [], []
for i in range(N):
    r = R * mp.cos(mp.pi * (i + mp.mpf(0.5)) / (2 * N))  # nodes in (0, R]
    t = r * r
    f = mp.tan(r) / r
    rows.append([t, t * t, -f * t, -f * t * t])
    rhs.append(f - 1)
sol, _ = mp.qr_solve(mp.matrix(rows), mp.matrix(rhs))
a, b, c, d = [sol[i] for i in range(4)]
coef = [float(v) for v in (a, b, c, d)]
worst = 0
for i in range(1, 4001):
    r = R * i / 4000
    t = mp.mpf(r) ** 2
    q = r * (1 + coef[0] * t + coef[1] * t * t) / (1 + coef[2] * t + coef[3] * t * t)
    worst = max(worst, abs(q / mp.tan(r) - 1))
for name, v in zip("abcd", coef):
    print("%s = %.17g" % (name, v))
print("max relative error %.3g (%.4f ulp of single)" % (float(worst), float(worst) * 2**24))
