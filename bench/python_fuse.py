#!/usr/bin/python3
"""What fusing in Python costs: kavelin.fuse of arrays, against the same run in C++ without Python, and against a loop in
Python that gives a filter its samples one by one.

    PYTHONPATH=build/release/lib/python3/dist-packages bench/python_fuse.py build/release/bin/bench_fuse_arrays

Medians of as many runs, in turns, with the least and the greatest; ns of processor time a row, of all threads.
"""
import argparse
import resource
import statistics
import subprocess
import time

import numpy as np

import kavelin


def motion(n):
    """A unit that turns about the vertical and back, in a field."""
    t = np.arange(n) * 0.01
    angle = 0.5 * np.sin(t)
    zero = np.zeros(n)
    acc = np.column_stack([zero, zero, np.full(n, 9.81)])
    gyr = np.column_stack([zero, zero, 0.5 * np.cos(t)])
    mag = np.column_stack([20 * np.cos(angle), -20 * np.sin(angle), np.full(n, -40.0)])
    return t, acc, gyr, mag


def by_samples(t, acc, gyr, mag):
    f = kavelin.Filter("FilterSO3Attitude")
    for i in range(len(t)):
        f.push("3a", t[i], acc[i])
        f.push("3g", t[i], gyr[i])
        f.push("3m", t[i], mag[i])
        f.process()
        f.pop("attitudeQ")


def ns_a_row(work, n):
    start = time.process_time()
    work()
    return (time.process_time() - start) * 1e9 / n


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", help="bench_fuse_arrays: the run in C++")
    parser.add_argument("--rows", type=int, default=1_000_000)
    parser.add_argument("--runs", type=int, default=5)
    options = parser.parse_args()
    n = options.rows
    arrays = motion(n)
    t, acc, gyr, mag = arrays
    kavelin.fuse(t[:1000], acc=acc[:1000], gyr=gyr[:1000], mag=mag[:1000])
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    kavelin.fuse(t, acc=acc, gyr=gyr, mag=mag)
    grown = (resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before) * 1024 / n
    part = [array[:n // 20] for array in arrays]  # slow, and the same at any length
    rows = {"C++": [], "kavelin.fuse": [], "push, process, pop": []}
    for _ in range(options.runs):
        rows["C++"].append(float(subprocess.run([options.program, str(n)], check=True, text=True,
                                                capture_output=True).stdout))
        rows["kavelin.fuse"].append(ns_a_row(lambda: kavelin.fuse(t, acc=acc, gyr=gyr, mag=mag), n))
        rows["push, process, pop"].append(ns_a_row(lambda: by_samples(*part), len(part[0])))
    plain = statistics.median(rows["C++"])
    print(f"{'':20}{'ns a row':>10}{'least':>10}{'greatest':>10}{'x C++':>8}")
    for name, times in rows.items():
        median = statistics.median(times)
        print(f"{name:20}{median:10.0f}{min(times):10.0f}{max(times):10.0f}{median / plain:8.2f}")
    print(f"memory of a run: {grown:.0f} bytes a row; the arrays have {sum(array.nbytes for array in arrays) / n:.0f}")


main()
