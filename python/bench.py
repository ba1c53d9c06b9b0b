#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""One GetReaderVersion exchange against the simulated reader, from Python
(orvex.Link.OV_GetReaderVersion) and from C++ (the same method in a C++
loop on the same link), in one run: batches alternate, the row gives the
medians and what Python adds per call.

    PYTHONPATH=build/python python3 python/bench.py [CALLS_PER_BATCH] [BATCHES]
"""
import os
import statistics
import sys
import time

# The package is the built one (PYTHONPATH), not the sources beside this script.
sys.path = [p for p in sys.path if os.path.abspath(p or ".") != os.path.dirname(os.path.abspath(__file__))]
import orvex  # noqa: E402
from orvex import _orvex  # noqa: E402
from orvex.sim import Simulator  # noqa: E402


def main():
    n = int(sys.argv[1]) if len(sys.argv) > 1 else 2000
    batches = int(sys.argv[2]) if len(sys.argv) > 2 else 7
    with Simulator(cards=[]) as sim:
        link = orvex.Link(sim.path)
        call = link.OV_GetReaderVersion
        for _ in range(200):  # warm up both paths
            call(0)
        _orvex._cpp_version_loop(link, 0, 200)
        py, cpp = [], []
        for _ in range(batches):
            t0 = time.perf_counter()
            for _ in range(n):
                call(0)
            py.append((time.perf_counter() - t0) / n)
            cpp.append(_orvex._cpp_version_loop(link, 0, n) / n)
        link.close()
    p, c = statistics.median(py), statistics.median(cpp)
    print("| exchange | C++ | Python | Python adds |")
    print("|---|---|---|---|")
    print(f"| OV_GetReaderVersion, simulated reader on a pseudo-terminal | {c * 1e6:.1f} µs | "
          f"{p * 1e6:.1f} µs | {(p - c) * 1e6:.1f} µs |")


if __name__ == "__main__":
    main()
