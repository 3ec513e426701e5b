#!/usr/bin/env python3
"""crash_summary on the files that real runs of the demonstration job leave: ranks started by
this test with PMI_RANK (and ended with SIGKILL, as mpich's launcher ends them), and, when
mpiexec is installed, the same job under mpiexec -n 4."""
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SOLVER_JOB = None
SUMMARY = None


def summary(directory, ranks):
    out = subprocess.run([sys.executable, SUMMARY, directory, "--ranks", str(ranks)],
                         capture_output=True, text=True, check=True)
    return out.stdout


def clean_env(**extra):
    env = {k: v for k, v in os.environ.items()
           if k not in ("MPI_RANKID", "PMI_RANK", "VLD_ENABLE_WINDUMP", "VEL_DEBUG_POPUP",
                        "MRW_DEBUG_POPUP", "MC_RESULT", "VLD_DEBUGGER", "GRN_ODT_IN")}
    env.update(extra)
    return env


class RanksStartedHere(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="crash_summary")

    def tearDown(self):
        shutil.rmtree(self.dir, ignore_errors=True)

    def start(self, rank, *args):
        return subprocess.Popen([SOLVER_JOB, *args], cwd=self.dir, stdout=subprocess.DEVNULL,
                                stderr=subprocess.DEVNULL, env=clean_env(PMI_RANK=str(rank)))

    def test_one_rank_faults_and_the_launcher_kills_the_rest(self):
        procs = [self.start(r, "--fault", "segv", "--fault-rank", "2") for r in range(4)]
        self.assertEqual(procs[2].wait(timeout=60), -signal.SIGSEGV)
        for r in (0, 1, 3):
            procs[r].kill()
            procs[r].wait()
        lines = summary(self.dir, 4).splitlines()
        self.assertRegex(lines[0], r"^FIRST FAILURE  rank 2 \(pid %d\): Access violation: a read "
                         r"of the unmapped address 0x0 \(SIGSEGV, SEGV_MAPERR\)" % procs[2].pid)
        self.assertRegex(lines[1], r"^    at solver_job!.*ElementStiffness\(\)\+0x[0-9a-f]+ "
                         r"\[.*solver_job\.cc:\d+\]$")
        self.assertIn("NO REPORT      ranks 0-1, 3: ended without a report", lines[-1])

    def test_every_rank_terminated_is_listed_once(self):
        procs = [self.start(r, "--fault", "term") for r in range(4)]
        for p in procs:
            self.assertEqual(p.wait(timeout=60), -signal.SIGTERM)
        text = summary(self.dir, 4)
        self.assertEqual(text, "TERMINATED     ranks 0-3: received the TERM signal\n")

    def test_a_stack_overflow_names_its_phase(self):
        proc = self.start(0, "--fault", "stack")
        self.assertEqual(proc.wait(timeout=60), -signal.SIGSEGV)
        lines = summary(self.dir, 1).splitlines()
        self.assertRegex(lines[0], r"^FIRST FAILURE  rank 0 \(pid \d+\): Stack overflow: Runtime "
                         r"stack limit has been exceeded\.")
        self.assertTrue(any("AssembleRecursively" in l for l in lines[1:4]), lines)
        # The demonstration job marks its steps before it sets the crash phases: the last six.
        self.assertIn("    in phase ASSEMBLY, last phases paths | scratch-array | input | "
                      "element loop | ordering | assembly", lines)


@unittest.skipUnless(shutil.which("mpiexec"), "mpiexec (Debian's mpich) is not installed")
class UnderMpiexec(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="crash_summary_mpi")

    def tearDown(self):
        shutil.rmtree(self.dir, ignore_errors=True)

    def run_job(self, *args):
        return subprocess.run(["mpiexec", "-n", "4", SOLVER_JOB, *args], cwd=self.dir,
                              capture_output=True, text=True, timeout=120, env=clean_env())

    def test_segv_on_rank_2(self):
        job = self.run_job("--fault", "segv", "--fault-rank", "2")
        self.assertNotEqual(job.returncode, 0)
        lines = summary(self.dir, 4).splitlines()
        self.assertRegex(lines[0], r"^FIRST FAILURE  rank 2 \(pid \d+\): Access violation")
        self.assertRegex(lines[1], r"ElementStiffness.*solver_job\.cc:\d+\]$")
        self.assertIn("NO REPORT      ranks 0-1, 3", lines[-1])

    def test_term_on_every_rank_accounts_for_each_rank(self):
        job = self.run_job("--fault", "term")
        self.assertNotEqual(job.returncode, 0)
        text = summary(self.dir, 4)
        # Rank 0 sleeps no time and finishes its report; ranks still asleep are killed.
        self.assertRegex(text, r"^TERMINATED     ranks 0(-\d)?: received the TERM signal\n")
        listed = set()
        for m in re.finditer(r"ranks? ([0-9, -]+):", text):
            for part in m.group(1).split(", "):
                a, _, b = part.partition("-")
                listed.update(range(int(a), int(b or a) + 1))
        self.assertEqual(listed, {0, 1, 2, 3}, text)


if __name__ == "__main__":
    SOLVER_JOB, SUMMARY = sys.argv[1], sys.argv[2]
    unittest.main(argv=[sys.argv[0]] + sys.argv[3:])
