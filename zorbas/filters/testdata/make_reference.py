#!/usr/bin/python3
"""Reference outputs for the filter tests, computed with scipy.

Run with Debian's interpreter (python3-scipy):  /usr/bin/python3 make_reference.py
It rewrites the .txt files beside it. The recursions run through scipy.signal.lfilter, their
starting states through scipy.signal.lfiltic; the stage coefficients are computed here from the
design formulas. Where scipy has the design itself (butter, cheby1, cheby2), the coefficients are
also compared with scipy's own sections (poles, zeros, gain), and scipy's own sections are run
over the curves for the C++ tests to compare with.

Storage follows the library: samples float32, arithmetic float64, each stage's output rounded to
float32 before the next stage reads it. The sine-Butterworth stages run as the plain in-place loop
that their recursion is, reading back the stored float32 outputs; written with the C library's
functions in the same order of operations, they give the library's result to the last bit.

Files:
  curves.txt      the four input curves (times and values of the real samples)
  conditions.txt  start and end conditions on their own: padded times, values and history
  cases.txt       every design, order, condition and direction
  scipy_design.txt  scipy's own butter/cheby1/cheby2 sections run over the curves
  resample.txt    a curve on irregular times resampled onto a uniform step by numpy.interp
"""
import math
import os
import sys

import numpy as np
import scipy.signal as sg

F32 = np.float32
PI = 3.141592653589793
HERE = os.path.dirname(os.path.abspath(__file__))

N_REAL = 64
DT = 1e-3
T0 = 0.25
PADS = (8, 0, 3)
ORDERS = (1, 2, 3, 4, 5, 8, 10)
IIR_CUTOFF = 60.0
RIPPLE = {1: 0.5, 2: 0.1}  # Chebyshev I passband epsilon, Chebyshev II stopband amplitude


def make_curves():
    i = np.arange(N_REAL)
    t = (T0 + i * DT).astype(F32)
    step = np.where(i < 16, 0.5, 2.0)
    pulse = np.where((i >= 10) & (i <= 40), 3.0 * np.sin(PI * (i - 10) / 30.0), 0.0)
    noise = np.random.default_rng(12345).standard_normal(N_REAL)
    tt = i * DT
    chirp = 0.5 + 2.0 * sg.chirp(tt, f0=5.0, t1=tt[-1], f1=200.0)
    return t, {"step": step.astype(F32), "pulse": pulse.astype(F32),
               "noise": noise.astype(F32), "chirp": chirp.astype(F32)}


def padded(t, v, pad):
    """The caller's arrays: real samples in the middle, zeroed room at each end."""
    count = len(v) + 2 * pad
    tt = np.zeros(count, F32)
    vv = np.zeros(count, F32)
    tt[pad:pad + len(v)] = t
    vv[pad:pad + len(v)] = v
    return tt, vv


# ---- end conditions -------------------------------------------------------------------------

def start_condition(t, v, pad, cond, nhist):
    step = float(t[pad + 1]) - float(t[pad])
    for i in range(pad, 0, -1):
        t[i - 1] = F32(float(t[i]) - step)
    h = np.zeros(max(nhist, 0))
    if cond == 0:
        v[:pad] = 0
    elif cond == 1:
        v[:pad] = v[pad]
        h[:] = float(v[0])
    elif cond == 2:
        for i in range(pad, 0, -1):
            v[pad - i] = v[pad + i]
        h[:] = v[1:nhist + 1]
    elif cond == 3:
        for i in range(pad, 0, -1):
            v[pad - i] = F32(2.0 * float(v[pad]) - float(v[pad + i]))
        h[:] = 2.0 * float(v[0]) - v[1:nhist + 1].astype(float)
    elif cond == 4:
        slope = float(v[pad + 1]) - float(v[pad])
        for i in range(pad, 0, -1):
            v[i - 1] = F32(float(v[i]) - slope)
        s = float(v[1]) - float(v[0])
        for k in range(nhist):  # a running sum, as the library accumulates it
            h[k] = (float(v[0]) - s) if k == 0 else h[k - 1] - s
    return h


def end_condition(t, v, pad, cond, nhist):
    count = len(v)
    step = float(t[1]) - float(t[0])
    for i in range(pad, 0, -1):
        t[count - i] = F32(float(t[count - i - 1]) + step)
    L = count - pad - 1
    h = np.zeros(max(nhist, 0))
    if cond == 0:
        v[L + 1:] = 0
    elif cond == 1:
        v[L + 1:] = v[L]
        h[:] = float(v[count - 1])
    elif cond == 2:
        for i in range(1, pad + 1):
            v[L + i] = v[L - i]
        h[:] = [float(v[count - 2 - k]) for k in range(nhist)]
    elif cond == 3:
        for i in range(1, pad + 1):
            v[L + i] = F32(2.0 * float(v[L]) - float(v[L - i]))
        h[:] = [2.0 * float(v[count - 1]) - float(v[count - 2 - k]) for k in range(nhist)]
    elif cond == 4:
        slope = float(v[L]) - float(v[L - 1])
        for i in range(pad):
            v[L + 1 + i] = F32(float(v[L + i]) + slope)
        s = float(v[count - 1]) - float(v[count - 2])
        for k in range(nhist):
            h[k] = (float(v[count - 1]) + s) if k == 0 else h[k - 1] + s
    return h


# ---- designs ---------------------------------------------------------------------------------

def butterworth(c, N):
    out = []
    for k in range(1, N // 2 + 1):
        s = -2 * c * np.cos((2 * k + N - 1) * PI / (2 * N))
        g = 1 / (c * c + s + 1)
        out.append((g, 2 * g, g, 2 * (1 - c * c) * g, (c * c - s + 1) * g))
    return out


def chebyshev1(c, N, e):
    r = np.exp(np.log((1 + np.sqrt(1 + e * e)) / e) / N)
    sh, ch, gain = (1 / r - r) / 2, (1 / r + r) / 2, 1 / np.sqrt(1 + e * e)
    out = []
    for k in range(1, N // 2 + 1):
        th = (2 * k - 1) * PI / (2 * N)
        u, v = sh * np.sin(th), ch * np.cos(th)
        m = u * u + v * v
        s = -2 * c * u
        g = 1 / (c * c + s + m)
        b0 = m * g * (gain if k == 1 else 1.0)
        out.append((b0, 2 * b0, b0, 2 * (m - c * c) * g, (c * c - s + m) * g))
    return out


def chebyshev2(c, N, e):
    q = 1 / e
    p = np.exp(np.log(q * q - 1) / (2 * N))
    r = np.exp(np.log(q + np.sqrt(q * q - 1)) / N)
    sh, ch = (1 / r - r) / 2, (1 / r + r) / 2
    out = []
    for k in range(1, N // 2 + 1):
        th = (2 * k - 1) * PI / (2 * N)
        w = np.cos(th) ** 2 * c * c
        u, v = sh * np.sin(th), ch * np.cos(th)
        D = (u * u + v * v) * c * c
        s = -2 * u * p * c
        g = 1 / (D + s + p * p)
        b0 = (w + p * p) * g
        out.append((b0, 2 * (p * p - w) * g, b0, 2 * (p * p - D) * g, (D - s + p * p) * g))
    return out, p


def run_stage(b, a, seq, x1, x2, y1, y2):
    """One recursion over seq (float64) from the given past inputs and outputs."""
    zi = sg.lfiltic(b, a, [y1, y2], [x1, x2])
    y, _ = sg.lfilter(b, a, np.asarray(seq, float), zi=zi)
    return y


def cascade(stages, t, v, pad, order, start, end, backward):
    count = len(v)
    h = start_condition(t, v, pad, start, order)

    def sweep(seg_view, hist):
        for k, (b0, b1, b2, a1, a2) in enumerate(stages, start=1):
            xa = 0 if k == 1 else 2 * k - 4
            y = run_stage([b0, b1, b2], [1, a1, a2], seg_view.astype(float),
                          hist[xa], hist[xa + 1], hist[2 * k - 2], hist[2 * k - 1])
            seg_view[:] = y.astype(F32)

    sweep(v[0:count - pad], h)
    if backward:
        sweep(v[::-1], end_condition(t, v, pad, end, order))


def sae(t, v, pad, cutoff, start, end, backward):
    count = len(v)
    c = np.tan(PI * (cutoff * 1.25) * DT)
    d, e = np.sqrt(2) * c, c * c
    g = 1 / (1 + d + e)
    f1, f2, a0 = 2 * (1 - e) * g, (d - e - 1) * g, e * g
    b, a = [a0, 2 * a0, a0], [1, -f1, -f2]
    start_condition(t, v, pad, start, 0)
    n = count - pad
    span = max(int(0.1 / (cutoff * DT)), 1)
    w = min(span, n, count - 1)  # the stretch never reaches past the array
    hh = w // 2 + 1
    base = 2.0 * float(v[0])
    x2, x1 = base - float(v[w]), base - float(v[w - 1])
    y1 = y2 = base - np.mean(v[hh:w + 1].astype(float))
    pre = [base - float(v[j]) for j in range(w - 2, 0, -1)]
    y = run_stage(b, a, np.concatenate([pre, v[:n].astype(float)]), x1, x2, y1, y2)
    v[:n] = y[len(pre):].astype(F32)
    if backward:
        end_condition(t, v, pad, end, 0)
        L = count - 1
        x2 = 2.0 * float(v[L]) - float(v[L - 2])
        x1 = 2.0 * float(v[L]) - float(v[L - 1])
        v[::-1] = run_stage(b, a, v[::-1].astype(float), x1, x2, x1, x2).astype(F32)


def sine_butterworth(cutoff, N):
    """p, q and the input scale, in plain float64 (math module: the C library's functions). The
    powers t^2 and t^4 are formed by multiplication."""
    x = math.sin(PI * DT * cutoff)
    dth, w = PI / N, 1 - x * x
    p, q, prod = [], [], 1.0
    for k in range(N // 2):
        s = x * math.sin(k * dth + 0.5 * dth)
        z = 0.5 * (math.sqrt(w * w + 4 * s * s) - w)
        t = math.sqrt(z + 1) + math.sqrt(z)
        t2 = t * t
        p.append(-2 * (2 * s * s / z - 1) / t2)
        q.append(1 / (t2 * t2))
        assert not (q[-1] > 1 or abs(p[-1]) - 1 > q[-1])
        prod *= 1 + p[-1] + q[-1]
    return p, q, math.pow(prod, 2.0 / N)


def sb_stage(y, scale, pk, qk):
    """One stage in place on a float32 view: the recursion reads back the stored outputs."""
    y[0] = F32(scale * float(y[0]))
    if len(y) > 1:
        y[1] = F32(scale * float(y[1]) - pk * float(y[0]))
    for i in range(2, len(y)):
        y[i] = F32(scale * float(y[i]) - pk * float(y[i - 1]) - qk * float(y[i - 2]))


def sb(t, v, pad, cutoff, order, start, end, backward, padding=True):
    p, q, scale = sine_butterworth(cutoff, order)

    def sweep(view):
        for pk, qk in zip(p, q):
            sb_stage(view, scale, pk, qk)

    if padding:
        start_condition(t, v, pad, start, 0)
    sweep(v)
    if backward:
        end_condition(t, v, pad, end, 0)
        sweep(v[::-1])


# ---- output ----------------------------------------------------------------------------------

def fmt(values, digits=9):
    return " ".join(f"{float(x):.{digits}g}" for x in values)


def write_curves(t, curves):
    with open(os.path.join(HERE, "curves.txt"), "w") as f:
        f.write(f"# n {N_REAL} dt {DT!r}: times, then one line per curve\n")
        f.write("times " + fmt(t) + "\n")
        for name, v in curves.items():
            f.write(name + " " + fmt(v) + "\n")


def write_conditions(t, curves):
    """start/end <cond> <pad> then times, values and 6 history values after the condition."""
    v0 = curves["chirp"]
    with open(os.path.join(HERE, "conditions.txt"), "w") as f:
        f.write("# <start|end> <condition> <pad> / times / values / history[6], chirp curve\n")
        for cond in (0, 1, 2, 3, 4, 7):
            for pad in (0, 5):
                for which in ("start", "end"):
                    tt, vv = padded(t, v0, pad)
                    vv[:pad] = 0.75  # the caller's padding, left alone by an unknown condition
                    vv[len(vv) - pad:] = 0.75
                    fn = start_condition if which == "start" else end_condition
                    h = fn(tt, vv, pad, cond, 6)
                    f.write(f"{which} {cond} {pad}\n{fmt(tt)}\n{fmt(vv)}\n{fmt(h, 17)}\n")


def write_cases(t, curves):
    """<design> <order> <start> <end> <backward> <curve> <pad> <cutoff> <ripple> / values."""
    names = list(curves)
    lines, n = [], 0

    def add(design, order, start, end, backward, pad, cutoff, ripple, run):
        nonlocal n
        curve = names[n % len(names)]
        n += 1
        tt, vv = padded(t, curves[curve], pad)
        run(tt, vv)
        lines.append(f"{design} {order} {start} {end} {int(backward)} {curve} {pad} "
                     f"{cutoff!r} {ripple!r}\n{fmt(vv)}\n")

    c = 1 / np.tan(PI * float(F32(IIR_CUTOFF)) * DT)
    for op in (0, 1, 2):
        for order in ORDERS:
            for cond in range(5):
                for backward in (False, True):
                    end = (cond + 2) % 5  # start and end differ, so a swap shows
                    pad = PADS[(order + cond) % len(PADS)]
                    if op == 0:
                        stages = butterworth(c, order)
                    elif op == 1:
                        stages = chebyshev1(c, order, float(F32(RIPPLE[1])))
                    else:
                        stages = chebyshev2(c, order, float(F32(RIPPLE[2])))[0]
                    ripple = RIPPLE.get(op, 0.0)
                    add(f"iir{op}", order, cond, end, backward, pad, IIR_CUTOFF, ripple,
                        lambda tt, vv: cascade(stages, tt, vv, pad, order, cond, end, backward))
    # Cut-offs for the primed stage: a stretch of 10 samples, of 1 (no pre-roll), of all of them.
    for cutoff in (10.0, 60.0, 0.5):
        for cond in range(5):
            for backward in (False, True):
                end = (cond + 2) % 5
                pad = PADS[cond % len(PADS)]
                add("sae", 2, cond, end, backward, pad, cutoff, 0.0,
                    lambda tt, vv: sae(tt, vv, pad, cutoff, cond, end, backward))
    for order in (2, 3, 4, 6):
        for cond in range(5):
            for backward in (False, True):
                end = (cond + 2) % 5
                pad = PADS[(order + cond) % len(PADS)]
                add("sb", order, cond, end, backward, pad, 40.0, 0.0,
                    lambda tt, vv: sb(tt, vv, pad, 40.0, order, cond, end, backward))
    for order in (2, 4, 5, 8):
        add("sbdep", order, 0, 0, False, 0, 40.0, 0.0,
            lambda tt, vv: sb(tt, vv, 0, 40.0, order, 0, 0, False, padding=False))
    with open(os.path.join(HERE, "cases.txt"), "w") as f:
        f.write(f"# {n} cases, dt {DT!r}; first line of each: design order start end backward "
                "curve pad cutoff ripple\n")
        f.writelines(lines)


def zpk_agreement(ours, theirs):
    """Digits to which two section lists have the same poles, zeros and gain."""
    z1, p1, k1 = sg.sos2zpk(np.array([[b0, b1, b2, 1, a1, a2] for b0, b1, b2, a1, a2 in ours]))
    z2, p2, k2 = sg.sos2zpk(theirs)
    err = max(np.max(np.abs(np.sort_complex(p1) - np.sort_complex(p2))),
              np.max(np.abs(np.sort_complex(z1) - np.sort_complex(z2))) / max(1, np.max(np.abs(z2))),
              abs(k1 - k2) / abs(k2))
    return -np.log10(max(err, 1e-17))


def write_scipy_design(t, curves):
    """scipy's own sections over each curve from rest, forward and forward-then-backward."""
    fc = float(F32(IIR_CUTOFF))
    c = 1 / np.tan(PI * fc * DT)
    wn = 2 * fc * DT
    out, worst = [], {}
    for op, name in ((0, "butter"), (1, "cheby1"), (2, "cheby2")):
        for order in (2, 4, 6, 8):
            if op == 0:
                ours, theirs = butterworth(c, order), sg.butter(order, wn, output="sos")
            elif op == 1:
                e = float(F32(RIPPLE[1]))
                ours = chebyshev1(c, order, e)
                theirs = sg.cheby1(order, 10 * np.log10(1 + e * e), wn, output="sos")
            else:
                e = float(F32(RIPPLE[2]))
                ours, p = chebyshev2(c, order, e)
                # Stopband attenuation -20 log10(e); the stopband edge lies at p times the
                # prewarped cut-off.
                ws = 2 / PI * np.arctan(p * np.tan(PI * fc * DT))
                theirs = sg.cheby2(order, -20 * np.log10(e), ws, output="sos")
            digits = zpk_agreement(ours, theirs)
            worst[name] = min(worst.get(name, 99), digits)
            for curve, v in curves.items():
                fwd = sg.sosfilt(theirs, v.astype(float))
                both = sg.sosfilt(theirs, fwd.astype(F32).astype(float)[::-1])[::-1]
                out.append(f"{name} {order} {curve}\n{fmt(fwd, 8)}\n{fmt(both, 8)}\n")
    with open(os.path.join(HERE, "scipy_design.txt"), "w") as f:
        f.write("# scipy.signal sections run from rest; per case: forward, then forward and "
                "backward\n")
        f.write("# poles, zeros and gain of the library's sections agree with scipy's to "
                + ", ".join(f"{k} {v:.1f}" for k, v in worst.items()) + " digits\n")
        f.writelines(out)
    return worst


def write_resample():
    """times / values of the irregular curve, then step, grid times, values and kept indexes."""
    i = np.arange(40)
    t = (T0 + i * DT + np.where(i % 3 == 1, 0.3 * DT, 0.0)).astype(F32)
    v = (np.sin(2 * PI * 30.0 * (t - T0)) + 0.1 * i).astype(F32)
    step = 0.5 * DT
    grid = []
    while F32(float(t[0]) + len(grid) * step) <= t[-1]:
        grid.append(F32(float(t[0]) + len(grid) * step))
    grid = np.array(grid)
    n = len(grid)
    out = np.interp(grid.astype(float), t.astype(float), v.astype(float)).astype(F32)
    kept = [k for k in range(n) if grid[k] in set(t.tolist())]
    with open(os.path.join(HERE, "resample.txt"), "w") as f:
        f.write("# irregular times / values / step / grid times / values / kept indexes\n")
        f.write(f"{fmt(t)}\n{fmt(v)}\n{step!r}\n{fmt(grid)}\n{fmt(out)}\n")
        f.write(" ".join(map(str, kept)) + "\n")


def main():
    t, curves = make_curves()
    write_curves(t, curves)
    write_conditions(t, curves)
    write_cases(t, curves)
    worst = write_scipy_design(t, curves)
    write_resample()
    print("design agreement with scipy (digits):", worst, file=sys.stderr)


if __name__ == "__main__":
    main()
