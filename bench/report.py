#!/usr/bin/env python3
"""Writes docs/PERFORMANCE.md from what bench/run.sh measured.

Input is the results directory of one run.sh invocation:
  machine.env      key=value lines: compiler, build type, repetitions, date, work dir, ...
  load.tsv         phase<TAB>1-min<TAB>5-min<TAB>15-min load averages, one line per phase
  gbench/*.json    Google Benchmark JSON output, one file per bench program
  e2e.env          key=value lines of the end-to-end replay measurement (may be missing)
  mem.env          key=value lines of the one-hour recording (may be missing)
  mem_samples.tsv  seconds<TAB>open files<TAB>RSS KiB, sampled during that recording

Every figure on the page comes from these files; the texts per path are fixed and carry no
numbers of their own. A path whose benchmark is missing is reported as "not measured".
"""

import argparse
import glob
import json
import os
import platform
import statistics
import sys

HYDROPHONE_MBPS = 1.536  # 512 kS/s x 3 bytes, MB = 10^6 bytes
RSS_LIMIT_MB = 32.0

# One entry per hot path of the benchmark contract: the Google Benchmark name after
# "BM_Path_", its unit, what the anchor is, and the target. `target` is (what, op, value)
# with what = "ratio" (ours / anchor) or "ours" (the absolute figure), op ">=" or "<=";
# None means the figure is reported without a target.
PATHS = [
    {
        "key": "StreamParse",
        "title": "Stream parsing",
        "program": "stream_bench",
        "unit": "MB/s",
        "anchor": "memcpy into the ring",
        "target": ("ratio", ">=", 0.75),
        "what": "A generated hydrophone stream (512 kS/s x 24-bit: an event header every second, "
                "data frames of 1024 samples x 3 bytes) is pushed piece by piece into the host's "
                "ring buffer and decoded by the stream processor into messages, which the host "
                "drops. The anchor copies the same pieces into the ring and discards them. Both "
                "alternate in one benchmark loop.",
        "why": "Every sample byte has to leave the ring once, into the block that the decoded "
               "data chunk owns, so the parser moves each byte at least twice where the anchor "
               "moves it once; on top of that come the per-frame message objects and the state "
               "machine. A parser whose messages own their samples cannot get below the cost of "
               "that second copy.",
    },
    {
        "key": "WavRecord",
        "title": "WAV recording",
        "program": "wav_bench",
        "unit": "MB/s",
        "anchor": "write(2) per 3 KiB block",
        "target": ("ratio", ">=", 1.5),
        "what": "24-bit mono samples at 512 kS/s are recorded by the WAV writer in blocks of "
                "1024 samples (3 KiB), with the header's sizes patched every second of audio "
                "so that a file cut short stays readable; the anchor writes the same blocks "
                "with one write(2) each to a file on the same file system.",
        "why": "The writer gathers blocks into large writes, so it can only beat the anchor by "
               "the system calls it saves; when the page cache or the disk is the bottleneck "
               "(a loaded machine, dirty pages being written back), both sides wait for the "
               "same copies into the cache and the ratio sinks towards 1.",
    },
    {
        "key": "SpectrumLine",
        "title": "Spectrum lines",
        "program": "spectrum_line_bench",
        "unit": "ns per bin",
        "anchor": "std::to_chars + one write per line",
        "target": ("ratio", "<=", 2.0),
        "what": "One data line of 1024 spectrum bins is formatted and written to a spectrum "
                "file, one write per line; the anchor formats the same integers with "
                "std::to_chars into one buffer and writes it once.",
        "why": "The line must be byte-identical to the stream-based format, whose number "
               "formatting depends on the stream's state; what the writer spends beyond the "
               "anchor is that state handling and the character conversion of the file's "
               "encoding.",
    },
    {
        "key": "ControlEnquireResponse",
        "title": "Control frame: enquire response",
        "program": "control_bench",
        "unit": "ns per frame",
        "anchor": "memcpy of the frame",
        "target": ("ours", "<=", 500.0),
        "what": "An enquire response frame is built and parsed back (framing, CRC, payload "
                "record); the anchor copies the frame's bytes once.",
        "why": "A frame is a few hundred bytes: the fixed costs (allocating the message and "
               "payload objects, the CRC, the dispatch by response code) dominate, not the "
               "bytes.",
    },
    {
        "key": "ControlJobSetup20",
        "title": "Control frame: job setup of 20 tags",
        "program": "control_bench",
        "unit": "ns per frame",
        "anchor": "memcpy of the frame",
        "target": ("ours", "<=", 500.0),
        "what": "A job setup frame carrying 20 settings tags is built and parsed back; the "
                "anchor copies the frame's bytes once.",
        "why": "Each of the 20 tags is its own object, created through the tag factory on "
               "parsing; the per-tag allocation and dispatch dominate the time.",
    },
    {
        "key": "Crc16Portable/64",
        "title": "CRC-16, portable, 64 B",
        "program": "crc_bench",
        "unit": "GB/s",
        "anchor": "memcpy of the same bytes",
        "target": None,
        "what": "CRC-16 (polynomial 0x1021, the XMODEM variant) of a 64-byte block with the "
                "portable table-driven code; the anchor copies the same 64 bytes. At this size "
                "the call overhead shows, which is what a control frame pays.",
        "why": "",
    },
    {
        "key": "Crc16Portable/65536",
        "title": "CRC-16, portable, 64 KiB",
        "program": "crc_bench",
        "unit": "GB/s",
        "anchor": "memcpy of the same bytes",
        "target": ("ours", ">=", 1.4),
        "what": "The same CRC over 64 KiB with the portable code (eight bytes per step through "
                "eight tables); the anchor copies the same bytes.",
        "why": "A table-driven CRC is bound by its chain of dependent table loads, a few "
               "cycles per byte however the tables are laid out; only the carry-less-multiply "
               "path breaks that chain.",
    },
    {
        "key": "Crc16Clmul/64",
        "title": "CRC-16, carry-less multiply, 64 B",
        "program": "crc_bench",
        "unit": "GB/s",
        "anchor": "memcpy of the same bytes",
        "target": None,
        "what": "The CRC of a 64-byte block through the carry-less-multiply path chosen at run "
                "time when the CPU has it; the anchor copies the same bytes.",
        "why": "",
    },
    {
        "key": "Crc16Clmul/65536",
        "title": "CRC-16, carry-less multiply, 64 KiB",
        "program": "crc_bench",
        "unit": "GB/s",
        "anchor": "memcpy of the same bytes",
        "target": ("ours", ">=", 10.0),
        "what": "The CRC of 64 KiB through the carry-less-multiply path (folding 64 bytes per "
                "step, then a Barrett reduction); the anchor copies the same bytes.",
        "why": "The folding loop is bound by the multiplier's latency; on a shared virtual "
               "machine other jobs on the same core also take its cycles.",
    },
]

E2E_TEXT = {
    "what": "A waveform stream capture of a simulated 512 kS/s x 24-bit mono hydrophone is "
            "generated by bench/make_capture (the bytes `velrec --capture` keeps of the "
            "waveform port) and recorded again with `velrec --replay CAPTURE --out DIR`: "
            "read in 64 KiB pieces, decoded, written as one WAV file per minute of audio and "
            "read back for the checksum. The anchor is `cat CAPTURE > FILE` on the same file "
            "system, run just before and just after the replay (the mean of the two is used). "
            "Wall-clock time, the capture in the page cache. Hydrophones per core: the sample "
            "bytes recorded per second of wall time, divided by the 1.536 MB/s one such "
            "hydrophone sends (velrec decodes and writes on one thread).",
    "why": "velrec does three passes over every sample byte where cat does two: besides "
           "reading the capture and writing the WAV files, it reads each finished file back "
           "from disk and checksums its samples, so that the summary line vouches for what "
           "the files hold, not for what was handed to the writer (the figure the end-to-end "
           "tests compare with the simulator's). On top come the decode (about a third of "
           "the memcpy speed, see Stream parsing) and the copy into the writer's batch. The "
           "CPU time beside the wall time shows the share of system calls; the hydrophone "
           "count is far beyond what any one host records.",
}

MEM_TEXT = {
    "what": "`velrec --fast --duration SECONDS --period 60` records an hour (unless the run "
            "asked for another length) of the simulated "
            "device (waveform and spectrum) as fast as it can, under "
            "`/usr/bin/time -v`, which gives the peak resident set size. Meanwhile the script "
            "samples velrec's open file descriptors and resident size from /proc. Flat means: "
            "the most files open in the second half of the run is no more than in the first "
            "half (files are closed on rollover), and the peak resident size of the second "
            "half is within 10 % of the first half's.",
}


def read_env(path):
    out = {}
    if not os.path.exists(path):
        return out
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.rstrip("\n")
            if "=" in line:
                k, v = line.split("=", 1)
                out[k.strip()] = v.strip()
    return out


def fnum(v, digits=3):
    """A figure with about `digits` significant digits, no exponent for ordinary sizes."""
    if v is None:
        return "n/a"
    a = abs(v)
    if a >= 10 ** digits:
        return f"{v:,.0f}"
    if a == 0:
        return "0"
    decimals = 0
    while a < 10 ** (digits - 1) and decimals < 6:
        a *= 10
        decimals += 1
    return f"{v:.{decimals}f}"


def load_benchmarks(gbench_dir):
    """Runs by benchmark name (without aggregate suffixes), from every JSON file.

    Returns {name: {"program": str, "runs": [dict], "errors": [str]}}.
    """
    found = {}
    for path in sorted(glob.glob(os.path.join(gbench_dir, "*.json"))):
        program = os.path.splitext(os.path.basename(path))[0]
        try:
            with open(path, encoding="utf-8") as f:
                data = json.load(f)
        except (OSError, ValueError):
            continue  # the program crashed or wrote nothing: its paths stay "not measured"
        for b in data.get("benchmarks", []):
            if b.get("run_type", "iteration") != "iteration":
                continue  # medians are taken here, over the repetitions
            name = b.get("run_name", b.get("name", ""))
            entry = found.setdefault(name, {"program": program, "runs": [], "errors": []})
            if b.get("error_occurred") or b.get("skipped"):
                entry["errors"].append(b.get("error_message") or b.get("skip_message") or "skipped")
            else:
                entry["runs"].append(b)
    return found


def match(found, key):
    """The benchmark of a path: BM_Path_<key> itself or with arguments/options after a '/'."""
    base = "BM_Path_" + key
    for name in sorted(found):
        if name == base or name.startswith(base + "/"):
            return name, found[name]
    return None, None


def median_counter(runs, counter):
    vals = [float(r[counter]) for r in runs if counter in r]
    return statistics.median(vals) if vals else None


def verdict(target, ours, ratio, unit=""):
    """(target text, verdict text, missed?) for a figure."""
    if target is None:
        return "report", "reported", False
    what, op, value = target
    v = ratio if what == "ratio" else ours
    sign = op.replace(">=", "≥").replace("<=", "≤")
    label = f"ratio {sign} {value:g}" if what == "ratio" else f"{sign} {value:g} {unit}"
    if v is None:
        return label, "not measured", False
    if (op == ">=" and v >= value) or (op == "<=" and v <= value):
        return label, "**met**", False
    if op == ">=":
        short = (value - v) / value * 100
        return label, f"**missed** by {fnum(short, 2)} % (needs {fnum(value / v, 2)}x)" if v > 0 else "**missed**", True
    over = (v - value) / value * 100
    return label, f"**missed** by {fnum(over, 2)} % (over by {fnum(v / value, 2)}x)", True


def machine_section(machine, loads):
    cpu = "unknown"
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as f:
            for line in f:
                if line.startswith("model name"):
                    cpu = line.split(":", 1)[1].strip()
                    break
    except OSError:
        pass
    mem = ""
    try:
        with open("/proc/meminfo", encoding="utf-8") as f:
            kb = int(f.readline().split()[1])
            mem = f"{kb / 1024 / 1024:.1f} GiB"
    except (OSError, ValueError, IndexError):
        pass
    lines = [
        "## Machine",
        "",
        f"- CPU: {cpu}, {os.cpu_count()} logical cores" + (f", {mem} RAM" if mem else ""),
        f"- System: {platform.system()} {platform.release()} ({platform.machine()})",
        f"- Compiler: {machine.get('compiler', 'unknown')}; build type {machine.get('build_type', '?')} "
        f"(preset `release`, {machine.get('cxx_flags', '-O3')})",
        f"- Date: {machine.get('date', '?')}",
        f"- Scratch directory of the replay and the hour of recording: {machine.get('fs', '?')}",
        f"- Google Benchmark: {machine.get('reps', '?')} repetitions per benchmark, medians; "
        f"filter `{machine.get('filter', '')}`",
    ]
    if loads:
        parts = [f"{phase} {one}" for phase, one, _five, _fifteen in loads]
        lines.append("- Load average (1 min) at each phase, other jobs included: " + ", ".join(parts))
        lines.append("  (the machine is shared; figures taken under load are lower and noisier, "
                     "the same-run ratios less so)")
    return lines


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--results", required=True, help="results directory written by run.sh")
    ap.add_argument("--out", required=True, help="page to write (docs/PERFORMANCE.md)")
    args = ap.parse_args()

    machine = read_env(os.path.join(args.results, "machine.env"))
    loads = []
    load_path = os.path.join(args.results, "load.tsv")
    if os.path.exists(load_path):
        with open(load_path, encoding="utf-8") as f:
            loads = [tuple(l.rstrip("\n").split("\t")) for l in f if l.count("\t") == 3]
    found = load_benchmarks(os.path.join(args.results, "gbench"))
    e2e = read_env(os.path.join(args.results, "e2e.env"))
    mem = read_env(os.path.join(args.results, "mem.env"))

    out = [
        "# Performance",
        "",
        "Generated by `bench/run.sh` (report by `bench/report.py`); do not edit by hand, run the "
        "script again. Every figure below comes from one run of that script on the machine "
        "described. Each hot path has one benchmark that measures our code and its anchor "
        "alternately in the same loop; the ratio is ours / anchor of that run.",
        "",
    ]
    out += machine_section(machine, loads)
    out += ["", "## Summary", "",
            "| Path | Ours | Anchor (same run) | Ratio | Target | Verdict |",
            "|---|---|---|---|---|---|"]

    details = []
    for p in PATHS:
        name, entry = match(found, p["key"])
        unit = p["unit"]
        ours = anchor = ratio = None
        spread = ""
        status = None
        if entry is None:
            status = "not measured"
        elif not entry["runs"]:
            status = "skipped: " + (entry["errors"][0] if entry["errors"] else "no runs")
        else:
            ours = median_counter(entry["runs"], "ours")
            anchor = median_counter(entry["runs"], "anchor")
            ratio = median_counter(entry["runs"], "ratio")
            if ours is None or anchor is None or ratio is None:
                status = "not measured (counters ours/anchor/ratio missing)"
            rs = [float(r["ratio"]) for r in entry["runs"] if "ratio" in r]
            if len(rs) > 1:
                spread = f"ratio over {len(rs)} repetitions: {fnum(min(rs))} to {fnum(max(rs))}"
        tgt, verd, missed = verdict(p["target"], ours, ratio, unit)
        if status:
            verd = status
            missed = False
        def cell(v):
            return "—" if v is None else f"{fnum(v)} {unit}"
        out.append(f"| {p['title']} | {cell(ours)} | {cell(anchor)} ({p['anchor']}) | "
                   f"{'—' if ratio is None else fnum(ratio)} | {tgt} | {verd} |")
        details.append(f"### {p['title']}")
        details.append("")
        details.append(f"Benchmark `{name or 'BM_Path_' + p['key']}` in `bench/{p['program']}.cpp`. " + p["what"])
        if spread:
            details += ["", spread.capitalize() + "."]
        if missed and p["why"]:
            details += ["", "Why the target is missed: " + p["why"]]
        details.append("")

    # End to end.
    e2e_missed = False
    if e2e.get("replay_seconds") and e2e.get("cat_seconds"):
        size = float(e2e["capture_bytes"])
        cat_s = [float(x) for x in e2e["cat_seconds"].split()]
        rep_s = float(e2e["replay_seconds"])
        cat_mbps = size / statistics.mean(cat_s) / 1e6
        rep_mbps = size / rep_s / 1e6
        ratio = rep_mbps / cat_mbps
        sample_bytes = float(e2e.get("sample_bytes", "0") or 0)
        phones = sample_bytes / rep_s / 1e6 / HYDROPHONE_MBPS if sample_bytes else None
        tgt, verd, e2e_missed = verdict(("ratio", ">=", 0.5), rep_mbps, ratio)
        if e2e.get("replay_rc", "0") != "0":
            verd, e2e_missed = f"velrec failed (exit {e2e['replay_rc']})", False
        ours_cell = f"{fnum(rep_mbps)} MB/s" + (f" = {fnum(phones)} hydrophones per core" if phones else "")
        out.append(f"| End to end: `velrec --replay` of {fnum(size / 2**20)} MiB | {ours_cell} | "
                   f"{fnum(cat_mbps)} MB/s (`cat` to a file) | {fnum(ratio)} | {tgt} | {verd} |")
        e2e_detail = [
            f"Capture: {int(size):,} bytes ({fnum(size / 2**20)} MiB, {e2e.get('size_note', '')}); "
            f"replay {fnum(rep_s)} s wall ({fnum(float(e2e.get('replay_cpu', '0')))} s CPU), "
            f"velrec peak RSS {fnum(float(e2e.get('replay_maxrss_kb', '0')) * 1024 / 1e6)} MB; "
            f"cat {' and '.join(fnum(s) + ' s' for s in cat_s)}; "
            f"{int(sample_bytes):,} sample bytes in {e2e.get('wav_files', '?')} WAV files.",
        ]
        cpu = float(e2e.get("replay_cpu", "0") or 0)
        if sample_bytes and cpu > 0:
            e2e_detail.append(f"By CPU time instead of wall time: {fnum(sample_bytes / cpu / 1e6)} MB/s of "
                              f"samples, {fnum(sample_bytes / cpu / 1e6 / HYDROPHONE_MBPS)} hydrophones per core.")
    else:
        out.append("| End to end: `velrec --replay` | not measured | | | ratio ≥ 0.5 | not measured |")
        e2e_detail = []

    # Memory.
    flat_note = []
    mem_s = int(mem.get("seconds", "3600") or 3600)
    mem_label = "one hour" if mem_s == 3600 else f"{mem_s} s"
    if mem.get("maxrss_kb"):
        rss_mb = float(mem["maxrss_kb"]) * 1024 / 1e6
        ok = rss_mb < RSS_LIMIT_MB
        verd = "**met**" if ok else f"**missed** by {fnum((rss_mb - RSS_LIMIT_MB) / RSS_LIMIT_MB * 100, 2)} %"
        if mem.get("rc", "0") != "0":
            verd = f"velrec failed (exit {mem['rc']})"
        out.append(f"| velrec peak RSS, {mem_label} `--fast` | {fnum(rss_mb)} MB | | | < {RSS_LIMIT_MB:g} MB | {verd} |")
        samples = []
        sp = os.path.join(args.results, "mem_samples.tsv")
        if os.path.exists(sp):
            with open(sp, encoding="utf-8") as f:
                for line in f:
                    parts = line.split()
                    if len(parts) == 3:
                        samples.append((float(parts[0]), int(parts[1]), int(parts[2])))
        if len(samples) >= 4:
            half = len(samples) // 2
            first, second = samples[:half], samples[half:]
            fd1, fd2 = max(s[1] for s in first), max(s[1] for s in second)
            rss1, rss2 = max(s[2] for s in first) * 1024 / 1e6, max(s[2] for s in second) * 1024 / 1e6
            fd_flat = fd2 <= fd1
            rss_flat = rss2 <= rss1 * 1.1
            out.append(f"| velrec open files, {mem_label} | {min(s[1] for s in samples)} to "
                       f"{max(s[1] for s in samples)} | | | flat | {'**met**' if fd_flat else '**missed**'} "
                       f"(most open: {fd1} first half, {fd2} second half) |")
            out.append(f"| velrec resident size, {mem_label} | {fnum(rss1)} MB first half, "
                       f"{fnum(rss2)} MB second half | | | flat | {'**met**' if rss_flat else '**missed**'} |")
            flat_note.append(f"{len(samples)} samples of open files and resident size over "
                             f"{fnum(samples[-1][0])} s of wall time.")
        else:
            out.append(f"| velrec open files, {mem_label} | not measured (run too short to sample) | | | flat | not measured |")
        flat_note.insert(0, f"Recording of {mem_label} of audio: {fnum(float(mem.get('wall', '0')))} s wall, {mem.get('files', '?')} files "
                            f"written, exit code {mem.get('rc', '?')}.")
        if mem.get("rss_why"):
            flat_note.append("What holds the memory: " + mem["rss_why"])
    else:
        out.append("| velrec peak RSS, one hour `--fast` | not measured | | | < 32 MB | not measured |")

    out += ["", "Units: MB = 10^6 bytes, GB = 10^9 bytes. A path whose benchmark is absent from its "
            "program is \"not measured\"; one that skipped itself (for instance the carry-less-"
            "multiply CRC on a CPU without it) says so.", "", "## The paths", ""]
    out += details
    out += ["### End to end: replay of a capture", "", E2E_TEXT["what"]]
    if e2e_detail:
        out += [""] + e2e_detail
    if e2e_missed:
        out += ["", "Why the target is missed: " + E2E_TEXT["why"]]
    out += ["", "### velrec memory over an hour", "", MEM_TEXT["what"]]
    if flat_note:
        out += ["", " ".join(flat_note)]
    out.append("")

    with open(args.out, "w", encoding="utf-8") as f:
        f.write("\n".join(out))
    return 0


if __name__ == "__main__":
    sys.exit(main())
