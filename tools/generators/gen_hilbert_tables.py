#!/usr/bin/env python3
"""Generates modules/hertzslider/hilberttables.inc: the frequency shifter's pairs of all-pass
chains, one pair per Character, whose outputs stand 90 degrees apart over a band.

Method. Each path is a chain of first-order all-pass sections; a section with its pole at the
prewarped frequency P has the phase -2 atan(W / P), W = tan(pi f / fs), and since the bilinear
transform maps that phase exactly, the design is done on W. The phase difference of the two
chains is made equiripple around 90 degrees over [W(low), W(high)] by Lawson's iteratively
reweighted least squares: Gauss-Newton steps on the log pole frequencies, with the weights of
the grid points multiplied by their error after each step, which drives the least-squares
solution to the minimax one. Poles alternate between the paths.

The module runs four second-order all-pass stages per path, so the poles of each path are
paired into stages. A Character with fewer distinct poles per path fills the rest with poles
shared by both paths (at the geometric centre of its band): a shared stage adds the same phase
to both paths and leaves their difference alone. Fewer distinct poles mean a narrower band or
more ripple, and so a louder mirror image: that is the difference between the Characters.

Each stage is written as the all-pass design's frequency and Q at 44100 Hz. A stage with real
poles p1, p2 has a1 = -(p1 + p2), a2 = p1 p2; the design's alpha = (1 - a2) / (1 + a2) and
cos w = (p1 + p2) / (1 + p1 p2) give w and Q = sin w / (2 alpha).

Usage: gen_hilbert_tables.py > modules/hertzslider/hilberttables.inc
(pure Python; takes about a minute)."""
import cmath
import math

RATE = 44100.0
STAGES_PER_PATH = 4

# name, distinct poles per path, band in Hz at 44100
CHARACTERS = [
    ("Clean", 8, 20.0, 20000.0),
    ("Soft", 7, 25.0, 19500.0),
    ("Rough", 5, 60.0, 14000.0),
    ("Ugly", 2, 200.0, 6000.0),
]


def warp(hz):
    return math.tan(math.pi * hz / RATE)


def section_lag(w, log_pole):
    return 2.0 * math.atan(w / math.exp(log_pole))


def difference(x, w):
    """Lag of the even-indexed (quadrature) chain minus lag of the odd-indexed (in-phase) one."""
    return sum((1.0 if j % 2 == 0 else -1.0) * section_lag(w, lp) for j, lp in enumerate(x))


def solve(a, b):
    n = len(b)
    m = [row[:] + [b[i]] for i, row in enumerate(a)]
    for c in range(n):
        p = max(range(c, n), key=lambda r: abs(m[r][c]))
        m[c], m[p] = m[p], m[c]
        for r in range(c + 1, n):
            f = m[r][c] / m[c][c]
            for k in range(c, n + 1):
                m[r][k] -= f * m[c][k]
    x = [0.0] * n
    for r in range(n - 1, -1, -1):
        x[r] = (m[r][n] - sum(m[r][k] * x[k] for k in range(r + 1, n))) / m[r][r]
    return x


def optimise(poles, w_low, w_high, points=300, iterations=150):
    grid = [w_low * (w_high / w_low) ** (i / (points - 1)) for i in range(points)]
    lo, hi = math.log(w_low) - 1.0, math.log(w_high) + 1.0
    x = [lo + (hi - lo) * (j + 0.5) / poles for j in range(poles)]
    weight = [1.0 / points] * points
    best = (float("inf"), x[:])
    for _ in range(iterations):
        err = [difference(x, w) - math.pi / 2 for w in grid]
        worst = max(abs(e) for e in err)
        if worst < best[0]:
            best = (worst, x[:])
        jac = []
        for w in grid:
            row = []
            for j, lp in enumerate(x):
                t = w / math.exp(lp)
                row.append((1.0 if j % 2 == 0 else -1.0) * (-2.0 * t / (1.0 + t * t)))
            jac.append(row)
        normal = [[sum(weight[i] * jac[i][a] * jac[i][b] for i in range(points)) + (1e-3 if a == b else 0.0)
                   for b in range(poles)] for a in range(poles)]
        grad = [-sum(weight[i] * jac[i][a] * err[i] for i in range(points)) for a in range(poles)]
        x = [a + b for a, b in zip(x, solve(normal, grad))]
        total = sum(weight[i] * abs(err[i]) for i in range(points))
        weight = [max(weight[i] * abs(err[i]) / total, 1e-12) for i in range(points)]
        total = sum(weight)
        weight = [v / total for v in weight]
    return best


def digital_pole(log_pole):
    p = math.exp(log_pole)
    return (1.0 - p) / (1.0 + p)


def stage(p1, p2):
    a2 = p1 * p2
    alpha = (1.0 - a2) / (1.0 + a2)
    w = math.acos((p1 + p2) / (1.0 + p1 * p2))
    return w * RATE / (2.0 * math.pi), math.sin(w) / (2.0 * alpha)


def stage_phase(freq, q, w):
    """Phase of the all-pass design (b0 = 1 - alpha, b1 = -2c, b2 = 1 + alpha over a0 = 1 + alpha,
    a1 = -2c, a2 = 1 - alpha) at w in radians per sample: the check of the table as written."""
    ws = 2.0 * math.pi * freq / RATE
    c, alpha = math.cos(ws), math.sin(ws) / (2.0 * q)
    z1 = cmath.exp(-1j * w)
    h = ((1 - alpha) - 2 * c * z1 + (1 + alpha) * z1 * z1) / ((1 + alpha) - 2 * c * z1 + (1 - alpha) * z1 * z1)
    return cmath.phase(h)


def path_stages(poles):
    poles = sorted(poles)
    return [stage(poles[i], poles[i + 1]) for i in range(0, len(poles), 2)]


def main():
    print("// Generated by tools/generators/gen_hilbert_tables.py; do not edit.")
    print("// Per Character: band (Hz at 44100), worst phase error over it (degrees), then the")
    print("// in-phase and the quadrature path's four all-pass stages as {frequency Hz, Q} at 44100 Hz.")
    for name, distinct, low, high in CHARACTERS:
        w_low, w_high = warp(low), warp(high)
        worst, x = optimise(2 * distinct, w_low, w_high)
        shared = [digital_pole(0.5 * (math.log(w_low) + math.log(w_high)))] * (2 * STAGES_PER_PATH - distinct)
        quadrature = [digital_pole(v) for v in x[0::2]] + shared
        in_phase = [digital_pole(v) for v in x[1::2]] + shared
        stages_i, stages_q = path_stages(in_phase), path_stages(quadrature)
        # Check the written stages themselves over the band, on a finer grid than the design's.
        grid = [2 * math.pi * low / RATE * (high / low) ** (i / 1999) for i in range(2000)]
        lag_i = [sum(stage_phase(f, q, w) for f, q in stages_i) for w in grid]
        lag_q = [sum(stage_phase(f, q, w) for f, q in stages_q) for w in grid]
        check = max(abs((a - b - math.pi / 2 + math.pi) % (2 * math.pi) - math.pi) for a, b in zip(lag_i, lag_q))
        assert check < worst * 1.02 + 1e-9, (name, check, worst)
        cells = ", ".join("{%.9g, %.9g}" % s for s in stages_i + stages_q)
        print('{"%s", %.6g, %.6g, %.6f, {%s}},' % (name, low, high, math.degrees(check), cells))


if __name__ == "__main__":
    main()
