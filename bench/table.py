#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Turns the benchmark program's JSON output into the one table of figures.

Each benchmark run already reports medians of its own exchanges and the
ratios measured within that run; this script takes, for every figure, the
median over the repetitions and checks it against its goal."""
import json
import statistics
import sys
from collections import defaultdict

COMMANDS = {0: "GetReaderVersion", 1: "RequestCard", 2: "ReadaBlock (16 bytes)"}


def load(paths):
    runs = defaultdict(list)
    context = {}
    for path in paths:
        with open(path) as f:
            doc = json.load(f)
        context = context or doc.get("context", {})
        for b in doc["benchmarks"]:
            if b.get("run_type", "iteration") != "iteration" or b.get("error_occurred"):
                continue
            runs[b["run_name"]].append(b)
    return context, runs


def med(runs, name, key):
    vals = [r[key] for r in runs.get(name, []) if key in r]
    return statistics.median(vals) if vals else None


def fmt(v, digits=3):
    return "n/a" if v is None else f"{v:.{digits}f}"


def named(runs, prefix):
    """The one benchmark whose name starts with prefix ("BM_X/baud:19200"),
    whatever Google Benchmark appends to it (iterations, real_time)."""
    names = [n for n in runs if n == prefix or n.startswith(prefix + "/")]
    return names[0] if names else None


def tool_rows(runs, add):
    """Figure 7: the orvex program against orvex-sim (bench/tool)."""
    if not any(k.startswith("BM_Tool") for k in runs):
        add("7 orvex tool", "not measured: no orvex_bench_tool", "", "", "", "", None)
        return
    for prefix, what in (("BM_ToolMfcDump/baud:19200", "mfc dump, MIFARE Classic 1K, 19200"),
                         ("BM_ToolMfcDump/baud:38400", "mfc dump, MIFARE Classic 1K, 38400"),
                         ("BM_ToolNtagDump/baud:19200", "ntag dump, NTAG216, 19200")):
        n = named(runs, prefix)
        if n is None:
            add("7 orvex tool", what + ": no result", "", "", "", "", None)
            continue
        took, wire, ratio = med(runs, n, "tool_ms"), med(runs, n, "wire_ms"), med(runs, n, "ratio")
        frames = med(runs, n, "wire_frames")
        add("7 orvex tool", what, f"{fmt(took, 1)} ms",
            f"wire {fmt(wire, 1)} ms ({fmt(frames and frames / 2, 0)} exchanges)", fmt(ratio),
            "<= 1.10", None if ratio is None else ratio <= 1.10)
    n = named(runs, "BM_ToolNtagDump/baud:19200")
    if n is not None:
        wire, ratio = med(runs, n, "command_wire_ms"), med(runs, n, "command_ratio")
        frames = med(runs, n, "command_frames")
        add("7 orvex tool", "ntag dump, NTAG216, 19200, whole command", f"{fmt(med(runs, n, 'tool_ms'), 1)} ms",
            f"wire {fmt(wire, 1)} ms ({fmt(frames and frames / 2, 0)} exchanges)", fmt(ratio), "reported", None)
    n = named(runs, "BM_ToolScanWait/baud:19200")
    if n is None:
        add("7 orvex tool", "scan --wait: no result", "", "", "", "", None)
        return
    median = med(runs, n, "median_ms")
    worst = max((r["max_ms"] for r in runs[n] if "max_ms" in r), default=None)
    add("7 orvex tool", "scan --wait, card placed to line, 19200",
        f"median {fmt(median, 1)} ms, max {fmt(worst, 1)} ms", "", "", "<= 300 ms",
        None if worst is None else worst <= 300)


def main():
    context, runs = load(sys.argv[1:])
    rows = []  # (figure, what, measured, reference, ratio, goal, verdict)

    def add(fig, what, measured, reference, ratio, goal, ok):
        verdict = "-" if ok is None else ("met" if ok else "NOT MET")
        rows.append((fig, what, measured, reference, ratio, goal, verdict))

    for cmd, label in COMMANDS.items():
        n = f"BM_SoftwareFloor/cmd:{cmd}/real_time"
        lib, raw, ratio = med(runs, n, "lib_us"), med(runs, n, "raw_us"), med(runs, n, "ratio")
        add("1 software floor", label, f"{fmt(lib, 1)} us", f"raw {fmt(raw, 1)} us", fmt(ratio),
            "<= 1.10", None if ratio is None else ratio <= 1.10)
    for cmd, label in COMMANDS.items():
        n = f"BM_OwnedLinkFloor/cmd:{cmd}/real_time"
        own, dflt, ratio = med(runs, n, "owned_us"), med(runs, n, "default_us"), med(runs, n, "ratio")
        if ratio is None:
            continue
        add("1 software floor, own link", label, f"{fmt(own, 1)} us", f"process-wide {fmt(dflt, 1)} us",
            fmt(ratio), "<= 1.02", ratio <= 1.02)
    for baud in (9600, 19200, 38400):
        for cmd, label in COMMANDS.items():
            n = f"BM_WireFloor/cmd:{cmd}/baud:{baud}/real_time"
            lib, wire = med(runs, n, "lib_us"), med(runs, n, "wire_us")
            ratio, excess = med(runs, n, "ratio"), med(runs, n, "excess_us")
            raw = med(runs, n, "raw_us")
            add(f"2 wire floor {baud}", label,
                f"{fmt(lib and lib / 1000, 3)} ms (raw {fmt(raw and raw / 1000, 3)})",
                f"wire {fmt(wire and wire / 1000, 3)} ms",
                f"{fmt(ratio)} ({excess / 1000:+.2f} ms over 1.02x)" if excess is not None else "n/a",
                "<= 1.02x + 0.2 ms", None if excess is None else excess <= 200)
    n = "BM_Dump1K/baud:38400/real_time"
    dump, wire, ratio = med(runs, n, "dump_ms"), med(runs, n, "wire_ms"), med(runs, n, "ratio")
    raw = med(runs, n, "raw_ms")
    add("3 MIFARE 1K dump 38400", "16 auth + 64 reads", f"{fmt(dump, 1)} ms (raw {fmt(raw, 1)})",
        f"wire {fmt(wire, 1)} ms", fmt(ratio), "<= 1.05", None if ratio is None else ratio <= 1.05)
    for cmd, label in COMMANDS.items():
        n = f"BM_SoftwareFloor/cmd:{cmd}/real_time"
        lib, raw = med(runs, n, "lib_cpu_us"), med(runs, n, "raw_cpu_us")
        add("4 CPU per exchange", label + " (no pacing)", f"{fmt(lib, 1)} us",
            f"raw {fmt(raw, 1)} us", fmt(lib and raw and lib / raw), "reported", None)
        n = f"BM_WireFloor/cmd:{cmd}/baud:9600/real_time"
        lib, raw = med(runs, n, "lib_cpu_us"), med(runs, n, "raw_cpu_us")
        add("4 CPU per exchange", label + " (9600)", f"{fmt(lib, 1)} us", f"raw {fmt(raw, 1)} us",
            fmt(lib and raw and lib / raw), "reported", None)
    for split, label in ((0, "whole answer 500 ms late"), (1, "head at once, rest 500 ms late")):
        n = f"BM_SlowAnswer/split:{split}/real_time"
        cpu, wait, pct = med(runs, n, "cpu_us"), med(runs, n, "wait_ms"), med(runs, n, "cpu_pct")
        add("4 CPU while waiting", label, f"{fmt(cpu, 1)} us", f"wait {fmt(wait, 1)} ms",
            f"{fmt(pct, 4)} %", "< 1 %", None if pct is None else pct < 1.0)
    if any(k.startswith("BM_Hid") for k in runs):
        for k in sorted(r for r in runs if r.startswith("BM_Hid")):
            reports = med(runs, k, "reports")
            what = "OV_GetReaderVersion" if "data:2/" in k else "OV_ReadReaderMemory, 120 bytes"
            add("5 USB HID", f"{what} ({fmt(reports, 0)} report(s))", f"{fmt(med(runs, k, 'lib_ms'), 2)} ms",
                f"pauses {fmt(med(runs, k, 'pause_ms'), 1)} ms", fmt(med(runs, k, "ratio")),
                "reported", None)
    else:
        add("5 USB HID", "not measured: no emulated USB device", "", "", "", "", None)
    for bench, what, args in (("BM_EncodeFrame", "encode, {}-byte data field", (16, 192, 1040)),
                              ("BM_DecodeAnswer", "decode, {}-byte answer", (16, 192, 1039))):
        for arg in args:
            n = f"{bench}/{arg}"
            ips, bps = med(runs, n, "items_per_second"), med(runs, n, "bytes_per_second")
            add("6 frame codec", what.format(arg), f"{fmt(ips and ips / 1e6, 2)} M frames/s",
                f"{fmt(bps and bps / 1e6, 0)} MB/s", "", "reported", None)
    for name, label in (("BM_LibraryDes/triple:0", "DES, library"),
                        ("BM_OpenSslDes/schedule_each:0", "DES, OpenSSL, key schedule once"),
                        ("BM_OpenSslDes/schedule_each:1", "DES, OpenSSL, key schedule per block"),
                        ("BM_LibraryDes/triple:1", "two-key triple-DES, library"),
                        ("BM_OpenSslTripleDes/schedule_each:0", "two-key triple-DES, OpenSSL, schedule once"),
                        ("BM_OpenSslTripleDes/schedule_each:1", "two-key triple-DES, OpenSSL, schedule per block")):
        ips = med(runs, name, "items_per_second")
        add("6 DES", label, f"{fmt(ips and ips / 1e6, 2)} M blocks/s", "", "", "reported", None)

    tool_rows(runs, add)

    head = ("figure", "what", "measured", "reference", "ratio", "goal", "verdict")
    widths = [max(len(str(r[i])) for r in rows + [head]) for i in range(len(head))]
    line = "  ".join("-" * w for w in widths)
    print(f"{context.get('num_cpus', '?')} CPUs at {context.get('mhz_per_cpu', '?')} MHz, "
          f"load {', '.join(f'{x:.2f}' for x in context.get('load_avg', []))}; "
          f"medians over {max((len(v) for v in runs.values()), default=0)} repetitions")
    print("  ".join(str(h).ljust(w) for h, w in zip(head, widths)))
    print(line)
    for r in rows:
        print("  ".join(str(c).ljust(w) for c, w in zip(r, widths)))


if __name__ == "__main__":
    main()
