#!/usr/bin/python3
"""Rational fits for the inverse error function kernels.

Writes src/vector_real/erfinv_data.cpp. Run from the repository root:
    /usr/bin/python3 tools/erfinv_fit.py > src/vector_real/erfinv_data.cpp

Pieces (the kernels evaluate them in 64-bit extended arithmetic):
  central  erfinv(x) = x * P(z) / Q(z),  z = x^2,  |x| <= 0.6875
  tail k   erfcinv(q) = w * P(w) / Q(w),  w = sqrt(-ln q), q <= 0.3125,
           one piece per interval of w.
Each fit is a near-minimax rational in relative error: a linearised least
squares fit P - f Q on Chebyshev nodes, reweighted by 1/|Q| and by the error
of the previous pass (Lawson) until the error curve levels. The achieved
maximum relative error on a dense grid is printed beside each table.
"""
import sys
import mpmath as mp

mp.mp.dps = 60
DEBUG = False


def erfcinv_of_w(w):
    """y with erfc(y) = exp(-w^2), by Newton in the log domain."""
    w = mp.mpf(w)
    y = w if w > 2 else mp.erfinv(1 - mp.exp(-w * w))
    for _ in range(100):
        # F(y) = ln erfc(y) + w^2; F' = -2 exp(-y^2) / (sqrt(pi) erfc(y))
        e = mp.erfc(y)
        f = mp.log(e) + w * w
        d = -2 * mp.exp(-y * y) / (mp.sqrt(mp.pi) * e)
        step = f / d
        y -= step
        if abs(step) < mp.mpf(10) ** -50 * abs(y):
            break
    return y


def central_target(z):
    if z == 0:
        return 1 / (2 / mp.sqrt(mp.pi))
    x = mp.sqrt(z)
    return mp.erfinv(x) / x


def packed_target(z):
    """(erfinv(x) / x - sqrt(pi)/2) / z, z = x^2: the correction to the
    leading term that the packed double path adds."""
    c0 = mp.sqrt(mp.pi) / 2
    if z == 0:
        return c0 * mp.pi / 12
    return (central_target(z) - c0) / z


def split26(v):
    """v as hi + lo with hi on 26 significant bits (so that hi times a
    Dekker half of a double is exact) and lo the rest rounded to double."""
    m, e = mp.frexp(v)
    hi = mp.ldexp(mp.nint(mp.ldexp(m, 26)), e - 26)
    return hi, v - hi


def tail_target(w):
    return erfcinv_of_w(w) / w


def fit(f, lo, hi, np_, nq, nodes=160, passes=30):
    lo, hi = mp.mpf(lo), mp.mpf(hi)
    xs = [(lo + hi) / 2 + (hi - lo) / 2 * mp.cos(mp.pi * (k + mp.mpf(1) / 2) / nodes)
          for k in range(nodes)]
    ys = [f(x) for x in xs]
    # Scaled variable s in [-1, 1] keeps the system well conditioned; the
    # coefficients are converted to the plain variable at the end.
    ss = [(2 * x - lo - hi) / (hi - lo) for x in xs]
    weight = [mp.mpf(1)] * nodes
    best = None
    for _ in range(passes):
        rows, rhs = [], []
        for s, y, wt in zip(ss, ys, weight):
            r = [s ** i * wt / y for i in range(np_ + 1)]
            r += [-(s ** j) * wt for j in range(1, nq + 1)]
            rows.append(r)
            rhs.append(wt)
        sol = mp.qr_solve(mp.matrix(rows), mp.matrix(rhs))[0]
        p = [sol[i] for i in range(np_ + 1)]
        q = [mp.mpf(1)] + [sol[np_ + 1 + j] for j in range(nq)]
        errs = []
        for s, y in zip(ss, ys):
            errs.append(mp.polyval(p[::-1], s) / mp.polyval(q[::-1], s) / y - 1)
        m = max(abs(e) for e in errs)
        if DEBUG: sys.stderr.write(f"  pass {mp.nstr(m, 3)}\n")
        if best is None or m < best[0]:
            best = (m, p, q)
        # Lawson update: weights grow where the error is large.
        weight = [wt * mp.sqrt(abs(e) / m + mp.mpf(10) ** -30) for wt, e in zip(weight, errs)]
        tot = sum(weight)
        weight = [wt * nodes / tot for wt in weight]
    _, p, q = best
    # Convert from s = a x + b to x.
    a = 2 / (hi - lo)
    b = -(lo + hi) / (hi - lo)
    pc = to_plain(p, a, b)
    qc = to_plain(q, a, b)
    n0 = qc[0]
    pc = [c / n0 for c in pc]
    qc = [c / n0 for c in qc]
    # Dense check on the plain form.
    worst = 0
    for k in range(2001):
        x = lo + (hi - lo) * k / 2000
        e = abs(mp.polyval(pc[::-1], x) / mp.polyval(qc[::-1], x) / f(x) - 1)
        worst = max(worst, e)
    return pc, qc, worst


def to_plain(c, a, b):
    """Coefficients of sum c_i (a x + b)^i in powers of x."""
    out = [mp.mpf(0)] * len(c)
    for i, ci in enumerate(c):
        for k in range(i + 1):
            out[k] += ci * mp.binomial(i, k) * a ** k * b ** (i - k)
    return out


def emit(name, pc, qc, worst, with_double):
    print(f"// max relative error of the fit on its interval: {mp.nstr(worst, 3)}")
    kinds = [("long double", "", "L")] + ([("double", "D", "")] if with_double else [])
    for ctype, suffix, lit in kinds:
        for tag, cs in (("P", pc), ("Q", qc)):
            print(f"extern const {ctype} k{name}{tag}{suffix}[{len(cs)}] = {{")
            for c in cs:
                digits = 25 if lit else 17
                print(f"    {mp.nstr(c, digits, min_fixed=1, max_fixed=0)}{lit},")
            print("};")


PIECES = [
    # name, function, lo, hi, numerator degree, denominator degree
    ("Central", central_target, 0, mp.mpf("0.6875") ** 2, 7, 7),
    ("Tail1", tail_target, "1.0625", 3, 8, 8),
    ("Tail2", tail_target, 3, 7, 8, 8),
    ("Tail3", tail_target, 7, 28, 8, 8),
]


def main():
    only = sys.argv[1:]
    print("// generated, do not edit: /usr/bin/python3 tools/erfinv_fit.py > src/vector_real/erfinv_data.cpp")
    print("// Rational coefficients of the inverse error function pieces, lowest power first.")
    print('#include "vector_real/erfinv_data.hpp"')
    print()
    print("namespace nex::vtm::erfinv {")
    print()
    for name, f, lo, hi, np_, nq in PIECES:
        if only and name not in only:
            continue
        pc, qc, worst = fit(f, lo, hi, np_, nq)
        sys.stderr.write(f"{name}: {mp.nstr(worst, 4)}\n")
        emit(name, pc, qc, worst, name == "Central")
        print()
    if not only or "Packed" in only:
        pc, qc, worst = fit(packed_target, 0, mp.mpf("0.25"), 5, 5)
        sys.stderr.write(f"Packed: {mp.nstr(worst, 4)}\n")
        print(f"// Packed double path: erfinv(x) = x (c + z P(z) / Q(z)), z = x^2, |x| <= 0.5.")
        print(f"// max relative error of the correction fit: {mp.nstr(worst, 3)}")
        for tag, cs in (("P", pc), ("Q", qc)):
            print(f"extern const double kPacked{tag}[{len(cs)}] = {{")
            for c in cs:
                print(f"    {mp.nstr(c, 17, min_fixed=1, max_fixed=0)},")
            print("};")
        c0 = mp.sqrt(mp.pi) / 2
        for name, v in (("kLead", c0), ("kNormLead", c0 * mp.sqrt(2))):
            hi, lo = split26(v)
            print(f"// {mp.nstr(v, 25)} as a 26-bit head and a tail")
            print(f"extern const double {name}[2] = {{{mp.nstr(hi, 17, min_fixed=1, max_fixed=0)}, "
                  f"{mp.nstr(lo, 17, min_fixed=1, max_fixed=0)}}};")
        print()
    print("}  // namespace nex::vtm::erfinv")


if __name__ == "__main__":
    main()
