"""Reads the ".use" tables that the resource monitor writes, one per rank of a job.

A table holds "!" lines (facts, the header, the timer summary), blank lines, banner lines of "*",
and one row per mark: phase, wall seconds, the mark, then a fixed number of values. The values'
count depends on the header: 28 without the mallinfo columns, 32 with them (the header names two
columns more than a row holds, which the monitor keeps on purpose). Load rows of the driver mode
have fewer values and are skipped, as are trace lines.
"""
import os
import re

PLAIN_VALUES = 28
MALLINFO_VALUES = 32


class Row:
    """One mark of one rank: wall and CPU seconds, working set and footprint in MB."""

    def __init__(self, rank, phase, mark, wall, cpu, memory_mb, footprint_mb):
        self.rank = rank
        self.phase = phase
        self.mark = mark
        self.wall = wall
        self.cpu = cpu
        self.memory_mb = memory_mb
        self.footprint_mb = footprint_mb


def rank_of(path):
    """job.use is rank 0, job.use.N rank N."""
    m = re.search(r'\.use\.(\d+)$', path)
    return int(m.group(1)) if m else 0


def read_table(path, rank=None):
    if rank is None:
        rank = rank_of(path)
    rows = []
    values = PLAIN_VALUES
    with open(path, encoding='utf-8', errors='replace') as f:
        for line in f:
            line = line.rstrip('\n')
            if line.startswith('!Phase,'):
                values = MALLINFO_VALUES if ',System,InUse,Free,' in line else PLAIN_VALUES
                continue
            if not line.strip() or line.startswith(('!', '*', ' ')) or ' : ' in line[:8]:
                continue
            tokens = [t for t in line.split() if t != 'HEAP_CORRUPTED']
            if len(tokens) < 3 + values:
                continue
            tail = tokens[-values:]
            try:
                numbers = [float(t) for t in tail]
                wall = float(tokens[1])
            except ValueError:
                continue
            mark = ' '.join(tokens[2:len(tokens) - values])
            rows.append(Row(rank, tokens[0], mark, wall, numbers[4], numbers[3] / 1024.0,
                            numbers[16] / 1024.0))
    return rows


def job_tables(directory, job=None):
    """The .use tables of a directory (of one job when `job` is given), by rank."""
    tables = {}
    for name in sorted(os.listdir(directory)):
        m = re.match(r'^(.*)\.use(?:\.(\d+))?$', name)
        if not m or m.group(1).endswith('.io'):
            continue
        if job is not None and m.group(1) != job:
            continue
        tables[int(m.group(2) or 0)] = os.path.join(directory, name)
    return tables
