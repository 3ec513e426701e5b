#!/usr/bin/env python3
"""Fails when an include runs up the library's floors.

Reads the floor table of docs/architecture.md, then every "zorbas/..." and "companions/..." include
of the tree's sources. An include into a higher floor than the including file's is an error, unless
the including file is a test and the line says `// up a floor: <why>`. With --plant, it checks
itself: it copies the floor table into a scratch tree, plants one upward include and one allowed
test include, and passes only if exactly the planted one is reported with its file and line.
"""
import os
import re
import shutil
import sys
import tempfile

INCLUDE = re.compile(r'^\s*#\s*include\s+"((?:zorbas|companions)/[^"]+)"(.*)$')
SOURCES = ('.h', '.hh', '.hpp', '.cc', '.cpp', '.c', '.inc')


def read_floors(root):
    text = open(os.path.join(root, 'docs', 'architecture.md'), encoding='utf-8').read()
    block = text.split('<!-- floors:begin -->', 1)[1].split('<!-- floors:end -->', 1)[0]
    floors = {}
    for line in block.splitlines():
        cells = [c.strip() for c in line.strip().strip('|').split('|')]
        if len(cells) >= 2 and cells[0].isdigit():
            floors[cells[1]] = int(cells[0])
    if not floors:
        sys.exit('no floor table found in docs/architecture.md')
    return floors


def folder_of(path, floors):
    parts = path.split('/')
    if len(parts) >= 2 and '/'.join(parts[:2]) in floors:
        return '/'.join(parts[:2])
    return None


def is_test(path):
    name = os.path.basename(path)
    return '_test.' in name or name.endswith('_test_models.h')


def check(root):
    floors = read_floors(root)
    errors = []
    for top in ('companions', 'zorbas'):
        for dirpath, _, files in os.walk(os.path.join(root, top)):
            for name in sorted(files):
                if not name.endswith(SOURCES):
                    continue
                full = os.path.join(dirpath, name)
                rel = os.path.relpath(full, root).replace(os.sep, '/')
                own = folder_of(rel, floors)
                if own is None:
                    errors.append(f'{rel}:1: folder {os.path.dirname(rel)} has no floor in docs/architecture.md')
                    continue
                with open(full, encoding='utf-8', errors='replace') as f:
                    for number, line in enumerate(f, 1):
                        m = INCLUDE.match(line)
                        if not m:
                            continue
                        target = folder_of(m.group(1), floors)
                        if target is None:
                            errors.append(f'{rel}:{number}: includes "{m.group(1)}", which is in no floor')
                        elif floors[target] > floors[own]:
                            if is_test(rel) and '// up a floor:' in m.group(2):
                                continue
                            errors.append(f'{rel}:{number}: includes "{m.group(1)}": {target} (floor '
                                          f'{floors[target]}) stands above {own} (floor {floors[own]})')
    return errors


def plant(root):
    scratch = tempfile.mkdtemp(prefix='floors_')
    try:
        os.makedirs(os.path.join(scratch, 'docs'))
        shutil.copy(os.path.join(root, 'docs', 'architecture.md'), os.path.join(scratch, 'docs'))
        base = os.path.join(scratch, 'zorbas', 'base')
        os.makedirs(base)
        with open(os.path.join(base, 'planted.h'), 'w') as f:
            f.write('#pragma once\n#include "zorbas/base/fine.h"\n#include "zorbas/frame/ZORBasShared.h"\n')
        with open(os.path.join(base, 'planted_test.cc'), 'w') as f:
            f.write('#include "zorbas/frame/ZORBasShared.h"  // up a floor: starts the library\n')
        errors = check(scratch)
        want = 'zorbas/base/planted.h:3: includes "zorbas/frame/ZORBasShared.h"'
        if len(errors) != 1 or not errors[0].startswith(want):
            print('the check did not catch the planted include as expected; it said:')
            print('\n'.join(errors) or '(nothing)')
            return 1
        print('caught: ' + errors[0])
        return 0
    finally:
        shutil.rmtree(scratch)


def main():
    args = sys.argv[1:]
    root = os.path.abspath(os.path.join(os.path.dirname(__file__), '..', '..'))
    if args and args[0] == '--plant':
        return plant(root)
    if args:
        root = os.path.abspath(args[0])
    errors = check(root)
    for e in errors:
        print(e)
    if errors:
        print(f'{len(errors)} include(s) run up the floors of docs/architecture.md')
        return 1
    print('every include keeps to its floor')
    return 0


if __name__ == '__main__':
    sys.exit(main())
