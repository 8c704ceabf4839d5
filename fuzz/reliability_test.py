#!/usr/bin/env python3
"""Checks how fuzz/reliability.py reads campaign logs: libFuzzer's final statistics, a run cut
short without them, and findings in the log or the artifacts folder."""

import os
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
import reliability  # noqa: E402

FINISHED = """INFO: Seed: 1
#4194304\tpulse  cov: 471 ft: 3069 corp: 293/44Kb lim: 2048 exec/s: 2700 rss: 510Mb
Done 10000000 runs in 3702 second(s)
stat::number_of_executed_units: 10000000
stat::average_exec_per_sec:     2701
stat::new_units_added:          12
"""

CUT = """INFO: Seed: 2
#1048576\tpulse  cov: 2600 ft: 18000 corp: 2000/1Mb lim: 4096 exec/s: 2100 rss: 550Mb
#2998011\tREDUCE cov: 2659 ft: 18448 corp: 2203/1258Kb lim: 4096 exec/s: 2124 rss: 553Mb L: 855/4085 MS: 1
"""

CRASH = FINISHED.replace("Done", "==42== ERROR: AddressSanitizer: heap-buffer-overflow\nDone")


class CampaignRowTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.campaign = self.dir.name

    def tearDown(self):
        self.dir.cleanup()

    def target(self, name, *logs, artifacts=()):
        work = os.path.join(self.campaign, name)
        os.makedirs(os.path.join(work, "artifacts"))
        for i, log in enumerate(logs):
            with open(os.path.join(work, "fuzz-%d.log" % i), "w") as f:
                f.write(log)
        for a in artifacts:
            open(os.path.join(work, "artifacts", a), "w").close()

    def test_final_statistics_give_executions_rate_and_seconds(self):
        self.target("t", FINISHED)
        row = reliability.campaign_row(self.campaign, "t")
        self.assertEqual((row.processes, row.execs, row.rate, row.seconds, row.findings, row.cut),
                         (1, 10000000, 2701, 3702, [], False))
        self.assertRegex(row.when, r"^\d{4}-\d\d-\d\d$")

    def test_a_run_cut_short_counts_up_to_its_last_status_line(self):
        self.target("t", CUT)
        row = reliability.campaign_row(self.campaign, "t")
        self.assertEqual((row.execs, row.rate, row.seconds, row.findings, row.cut), (2998011, 2124, 0, [], True))

    def test_the_processes_of_one_campaign_add_up(self):
        self.target("t", FINISHED.replace("10000000", "5000000"), CUT)
        row = reliability.campaign_row(self.campaign, "t")
        self.assertEqual((row.processes, row.execs, row.rate, row.seconds, row.findings, row.cut),
                         (2, 7998011, 2701 + 2124, 3702, [], True))

    def test_sanitizer_reports_and_artifacts_are_findings(self):
        self.target("t", CRASH, artifacts=["crash-abc"])
        findings = reliability.campaign_row(self.campaign, "t").findings
        self.assertEqual(len(findings), 2)
        self.assertIn("AddressSanitizer", findings[0])
        self.assertEqual(findings[1], "artifact crash-abc")

    def test_no_logs_is_no_row(self):
        self.assertIsNone(reliability.campaign_row(self.campaign, "absent"))


if __name__ == "__main__":
    unittest.main()
