#!/usr/bin/env python3
"""Tests of use_summary and use_plot: on small tables with known values, and on the tables that
the demonstration job leaves, single-process and, where mpiexec is installed, on four ranks.

usage: use_tools_test.py SOLVER_JOB
"""
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.realpath(__file__))
SOLVER_JOB = None
HEADER = ('!Phase,Wall,Mark,UserCPU,SysCPU,WSPEAK,WORKSPACE,CPU,QuotaPeakPagePool,QPagePool,QNPPP,'
          'QNPP,PageFaults,PeakPageFile,Handles,VirtBytes,VirtBytesPeakPID,0,Footprint,MaxFP,Read,'
          'Write,Sim_Read_Calls,Sim_Read_Time,BulkReadBytesReq,Sim_Read_Bytes,Sim_Write_Calls,'
          'Sim_Write_time,BulkWriteBytesReq,Sim_Write_Bytes\n')


def row(mark, wall, cpu, workspace_kb):
    values = [cpu, 0.0, workspace_kb, workspace_kb, cpu] + [0] * 9 + [1234, 0, 2048, 3] + [0, 0] + \
             [0] * 8
    return f'pre {wall:.1f} {mark} ' + ' '.join(str(v) for v in values) + ' \n'


def run(*args, env=None, cwd=None):
    return subprocess.run(args, capture_output=True, text=True, env=env, cwd=cwd, timeout=240)


def png_size(path):
    with open(path, 'rb') as f:
        head = f.read(24)
    assert head[:8] == b'\x89PNG\r\n\x1a\n', 'not a PNG'
    return struct.unpack('>II', head[16:24])


class KnownTables(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix='use_tools_')
        tables = {'job.use': [('pre-Start', 0.0, 0.1, 10240), ('solve', 10.0, 9.0, 20480)],
                  'job.use.1': [('pre-Start', 0.0, 0.1, 10240), ('solve', 14.0, 13.0, 81920)],
                  'job.use.2': [('pre-Start', 0.0, 0.1, 10240), ('solve', 12.0, 11.0, 40960)]}
        for name, rows in tables.items():
            with open(os.path.join(self.dir, name), 'w') as f:
                f.write('!Snapshot = \n\n' + HEADER)
                for r in rows:
                    f.write(row(*r))
                f.write('pre 1700000000.0 loadPre-End 0.0 0.0 0 0 0.0 0 0 0 0 0 0 0 0 0 0 0 0 0\n')
        open(os.path.join(self.dir, 'job.io.use'), 'w').write('!Phase,Mark\n')

    def tearDown(self):
        shutil.rmtree(self.dir)

    def test_summary_names_the_slow_and_the_fat_rank(self):
        out = run(os.path.join(HERE, 'use_summary'), self.dir)
        self.assertEqual(out.returncode, 0, out.stderr)
        lines = out.stdout.splitlines()
        self.assertEqual(lines[0], '3 rank(s): 0, 1, 2')
        solve = [l for l in lines if l.startswith('pre solve')]
        self.assertEqual(len(solve), 1, out.stdout)
        wall, cpu, mem = [p.split() for p in solve[0].split('|')[1:]]
        self.assertEqual(wall, ['10.0', '(r0)', '12.0', '14.0', '(r1)'])
        self.assertEqual(cpu, ['9.0', '(r0)', '11.0', '13.0', '(r1)'])
        self.assertEqual(mem, ['20.0', '(r0)', '46.7', '80.0', '(r1)'])
        self.assertFalse(any('loadPre-End' in l for l in lines), 'load rows are skipped')

    def test_plot_writes_a_png_of_the_asked_size(self):
        png = os.path.join(self.dir, 'job.png')
        out = run(os.path.join(HERE, 'use_plot'), png, self.dir, 'job')
        self.assertEqual(out.returncode, 0, out.stderr)
        self.assertIn('3 rank(s), 2 mark(s)', out.stdout)
        self.assertEqual(png_size(png), (800, 640))


class DemonstrationJob(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix='use_job_')
        self.env = dict(os.environ, VEL_RESOURCE_MONITOR='FULL', IO_RESOURCE_MONITOR='1')
        self.env.pop('PMI_RANK', None)

    def tearDown(self):
        shutil.rmtree(self.dir)

    def test_one_process_leaves_a_table_that_the_tools_read(self):
        out = run(SOLVER_JOB, env=self.env, cwd=self.dir)
        self.assertEqual(out.returncode, 0, out.stdout + out.stderr)
        self.assertTrue(os.path.exists(os.path.join(self.dir, 'plate_impact.use')), os.listdir(self.dir))
        self.assertTrue(os.path.exists(os.path.join(self.dir, 'plate_impact.io.use')))
        summary = run(os.path.join(HERE, 'use_summary'), self.dir, 'plate_impact')
        self.assertEqual(summary.returncode, 0, summary.stderr)
        marks = [l.split()[1] for l in summary.stdout.splitlines()[2:]]
        self.assertEqual(marks, ['pre-Start', 'strings', 'lists', 'mesh-ids', 'contact',
                                 'time-history', 'failures', 'paths', 'scratch-array', 'pre-End'])
        with open(os.path.join(self.dir, 'plate_impact.use')) as f:
            text = f.read()
        for timer in ('strings', 'mesh-ids', 'failures'):
            self.assertIn(f' {timer:>20}        1 ', text)

    @unittest.skipUnless(shutil.which('mpiexec'), 'mpiexec is not installed')
    def test_four_ranks_leave_one_table_each(self):
        out = run('mpiexec', '-n', '4', SOLVER_JOB, env=self.env, cwd=self.dir)
        self.assertEqual(out.returncode, 0, out.stdout + out.stderr)
        names = sorted(n for n in os.listdir(self.dir) if '.use' in n and '.io.' not in n)
        self.assertEqual(names, ['plate_impact.use', 'plate_impact.use.1', 'plate_impact.use.2',
                                 'plate_impact.use.3'])
        summary = run(os.path.join(HERE, 'use_summary'), self.dir, 'plate_impact')
        self.assertTrue(summary.stdout.startswith('4 rank(s): 0, 1, 2, 3'), summary.stdout)
        png = os.path.join(self.dir, 'ranks.png')
        self.assertEqual(run(os.path.join(HERE, 'use_plot'), png, self.dir).returncode, 0)
        self.assertEqual(png_size(png), (800, 640))


if __name__ == '__main__':
    SOLVER_JOB = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
