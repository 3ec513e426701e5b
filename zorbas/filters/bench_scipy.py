#!/usr/bin/python3
"""scipy on the signal of filters_benchmark.cc: nanoseconds per stage per sample.

Run in the same session as the benchmark binary (see the head of filters_benchmark.cc):
    /usr/bin/python3 zorbas/filters/bench_scipy.py
The sections are those of the library: the 4th-order Butterworth (two sections) at 500 Hz with
a step of 1e-4 s, and the primed two-pole stage (one section, cut-off raised by 1.25). sosfilt is
the forward pass, sosfiltfilt forward and backward (with its own padding and steady-state start,
a small extra). Times are process CPU time, best of five.
"""
import time

import numpy as np
import scipy.signal as sg

PI = 3.141592653589793
SAMPLES = 10_000_000
PAD = 64
DT = 1e-4
CUTOFF = 500.0


def signal():
    i = np.arange(SAMPLES, dtype=np.float64)
    x = np.sin(0.0031 * i) + 0.3 * np.sin(0.113 * i) + 0.1 * np.sin(1.7 * i)
    out = np.zeros(SAMPLES + 2 * PAD, np.float32)
    out[PAD:PAD + SAMPLES] = x
    return out


def butterworth4():
    c = 1 / np.tan(PI * CUTOFF * DT)
    rows = []
    for k in (1, 2):
        s = -2 * c * np.cos((2 * k + 3) * PI / 8)
        g = 1 / (c * c + s + 1)
        rows.append([g, 2 * g, g, 1, 2 * (1 - c * c) * g, (c * c - s + 1) * g])
    return np.array(rows)


def sae():
    c = np.tan(PI * (CUTOFF * 1.25) * DT)
    d, e = np.sqrt(2) * c, c * c
    g = 1 / (1 + d + e)
    return np.array([[e * g, 2 * e * g, e * g, 1, -2 * (1 - e) * g, -(d - e - 1) * g]])


def best(fn, x):
    times = []
    for _ in range(5):
        y = x.copy()
        t0 = time.process_time()
        fn(y)
        times.append(time.process_time() - t0)
    return min(times)


def main():
    x = signal().astype(np.float64)  # scipy filters in the sections' precision
    n = len(x)
    print(f"scipy {__import__('scipy').__version__}, numpy {np.__version__}, {n} samples")
    print(f"{'case':<32}{'ms':>10}{'Msamples/s':>12}{'ns/stage/sample':>18}")
    for name, sos in (("butterworth4", butterworth4()), ("sae", sae())):
        stages = len(sos)
        for how, fn, passes in (("sosfilt", lambda y: sg.sosfilt(sos, y), 1),
                                ("sosfiltfilt", lambda y: sg.sosfiltfilt(sos, y), 2)):
            t = best(fn, x)
            print(f"{name + ' ' + how:<32}{t * 1e3:>10.1f}{n / t / 1e6:>12.1f}"
                  f"{t * 1e9 / (n * stages * passes):>18.3f}")


if __name__ == "__main__":
    main()
