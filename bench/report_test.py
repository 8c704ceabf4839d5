#!/usr/bin/env python3
"""Checks bench/report.py on hand-made results: which benchmark belongs to which path, the
medians over repetitions, the verdicts, and what a missing or failed measurement becomes."""

import json
import os
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
import report  # noqa: E402


def run(name, reps, **counters):
    """One repetition of a benchmark as Google Benchmark writes it."""
    return [dict({"name": name, "run_name": name, "run_type": "iteration"},
                 **{k: v[i] for k, v in counters.items()}) for i in range(reps)]


class ReportTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.results = self.dir.name
        os.makedirs(os.path.join(self.results, "gbench"))

    def tearDown(self):
        self.dir.cleanup()

    def write(self, name, text):
        with open(os.path.join(self.results, name), "w", encoding="utf-8") as f:
            f.write(text)

    def page(self):
        out = os.path.join(self.results, "page.md")
        subprocess.run([sys.executable, os.path.join(HERE, "report.py"), "--results", self.results,
                        "--out", out], check=True)
        with open(out, encoding="utf-8") as f:
            return f.read()

    def row(self, page, title):
        rows = [l for l in page.splitlines() if l.startswith(f"| {title} |")]
        self.assertEqual(len(rows), 1, title)
        return [c.strip() for c in rows[0].strip("|").split("|")]

    def test_arguments_select_their_own_benchmark(self):
        found = {n: {} for n in ["BM_Path_Crc16Portable/65536", "BM_Path_Crc16Portable/64/real_time",
                                 "BM_Path_StreamParseOld", "BM_Path_StreamParse"]}
        self.assertEqual(report.match(found, "Crc16Portable/64")[0], "BM_Path_Crc16Portable/64/real_time")
        self.assertEqual(report.match(found, "Crc16Portable/65536")[0], "BM_Path_Crc16Portable/65536")
        self.assertEqual(report.match(found, "StreamParse")[0], "BM_Path_StreamParse")
        self.assertEqual(report.match(found, "WavRecord"), (None, None))

    def test_verdicts_against_ratio_and_absolute_targets(self):
        cases = [
            (("ratio", ">=", 0.75), None, 0.75, "**met**", False),
            (("ratio", ">=", 0.75), None, 0.5, "**missed** by 33 % (needs 1.5x)", True),
            (("ratio", "<=", 2.0), None, 2.6, "**missed** by 30 % (over by 1.3x)", True),
            (("ours", "<=", 500.0), 499.0, 9.0, "**met**", False),
            (("ours", ">=", 10.0), None, None, "not measured", False),
            (None, 3.0, 1.0, "reported", False),
        ]
        for target, ours, ratio, text, missed in cases:
            _label, got, got_missed = report.verdict(target, ours, ratio, "GB/s")
            self.assertEqual((got, got_missed), (text, missed), (target, ours, ratio))

    def test_medians_skips_and_missing_programs_in_the_page(self):
        crc = (run("BM_Path_Crc16Portable/65536", 3, ours=[1.2, 1.5, 1.45], anchor=[12, 11, 13],
                   ratio=[0.1, 0.136, 0.121])
               # aggregates that Google Benchmark adds are ignored: the medians are taken here
               + [{"name": "BM_Path_Crc16Portable/65536_median", "run_name": "BM_Path_Crc16Portable/65536",
                   "run_type": "aggregate", "ours": 99.0, "anchor": 1.0, "ratio": 99.0}]
               + [{"name": "BM_Path_Crc16Clmul/65536", "run_name": "BM_Path_Crc16Clmul/65536",
                   "run_type": "iteration", "error_occurred": True, "error_message": "no carry-less multiply"}])
        self.write("gbench/crc_bench.json", json.dumps({"benchmarks": crc}))
        spec = run("BM_Path_SpectrumLine", 1, ours=[30.0], anchor=[10.0], ratio=[3.0])
        self.write("gbench/spectrum_line_bench.json", json.dumps({"benchmarks": spec}))
        self.write("gbench/stream_bench.json", '{"benchmarks": [')  # a program that crashed
        page = self.page()

        self.assertEqual(self.row(page, "CRC-16, portable, 64 KiB")[1:6],
                         ["1.45 GB/s", "12.0 GB/s (memcpy of the same bytes)", "0.121", "≥ 1.4 GB/s", "**met**"])
        self.assertIn("Ratio over 3 repetitions: 0.100 to 0.136.", page)
        self.assertEqual(self.row(page, "CRC-16, carry-less multiply, 64 KiB")[5], "skipped: no carry-less multiply")
        self.assertEqual(self.row(page, "Stream parsing")[5], "not measured")
        self.assertEqual(self.row(page, "Control frame: enquire response")[5], "not measured")
        spec_row = self.row(page, "Spectrum lines")
        self.assertEqual(spec_row[5], "**missed** by 50 % (over by 1.5x)")
        self.assertIn("Why the target is missed:", page.split("### Spectrum lines")[1].split("###")[0])
        self.assertNotIn("Why the target is missed:", page.split("### CRC-16, portable, 64 KiB")[1].split("###")[0])

    def test_end_to_end_and_memory_figures(self):
        self.write("e2e.env", "capture_bytes=100000000\ncat_seconds=0.05 0.15\nreplay_seconds=0.5\n"
                              "replay_rc=0\nreplay_cpu=0.25\nreplay_maxrss_kb=1000\n"
                              "sample_bytes=96000000\nwav_files=2\n")
        self.write("mem.env", "rc=0\nseconds=3600\nwall=60\nmaxrss_kb=40000\nfiles=120\n")
        # open files grow in the second half: a file left open at each rollover
        self.write("mem_samples.tsv", "".join(f"{t}\t{6 + t // 3}\t{20000}\n" for t in range(6)))
        page = self.page()
        e2e = self.row(page, "End to end: `velrec --replay` of 95.4 MiB")
        # 100 MB in 0.5 s against the mean cat time of 0.1 s; 96 MB of samples in 0.5 s
        self.assertEqual(e2e[1:6], ["200 MB/s = 125 hydrophones per core", "1,000 MB/s (`cat` to a file)",
                                    "0.200", "ratio ≥ 0.5", "**missed** by 60 % (needs 2.5x)"])
        self.assertIn("By CPU time instead of wall time: 384 MB/s of samples, 250 hydrophones per core.", page)
        self.assertEqual(self.row(page, "velrec peak RSS, one hour `--fast`")[1], "41.0 MB")
        self.assertEqual(self.row(page, "velrec peak RSS, one hour `--fast`")[5], "**missed** by 28 %")
        self.assertTrue(self.row(page, "velrec open files, one hour")[5].startswith("**missed**"))
        self.assertEqual(self.row(page, "velrec resident size, one hour")[5], "**met**")

    def test_nothing_measured_still_gives_a_page(self):
        page = self.page()
        for p in report.PATHS:
            self.assertEqual(self.row(page, p["title"])[5], "not measured")
        self.assertIn("| End to end: `velrec --replay` | not measured |", page)


if __name__ == "__main__":
    unittest.main()
