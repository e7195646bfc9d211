#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Plants faults in src/, one at a time, and reports which ones the fast tests catch.

    tests/mutation/mutate.py [--count N] [--jobs N] [--only TEXT] [--again] [--list]

A fault is one operator (a comparison made strict, an axis swapped, a statement left out, ...) at one place. Places
are ranked by a hash of their line, so that a change elsewhere in a file leaves the choice as it is. Each
file gets faults by its length. Verdicts go to build/mutation/results.txt, and faults listed there are not tried
again; equivalent.txt lists the faults that cannot change any result, with the reason. The faults go into copies of
the sources.
"""
import argparse
import collections
import datetime
import hashlib
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import threading

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / 'build/mutation'
EQUIVALENT = ROOT / 'tests/mutation/equivalent.txt'
TIMEOUT = 120  # seconds, ten times what all tests together take
SLOWER = 'Golden.*:Entries.*:*Fail*:Measured.*:Warped.*:Smoothed.*'
CHEAP_FIRST = [f'-*Matrix*:Soak.*:{SLOWER}', SLOWER, '*Matrix*:Soak.*']


def swap(one, other):
    return [(rf'\b(\w*){one}(\w*)\b', lambda m: m[1] + other + m[2]),
            (rf'\b(\w*){other}(\w*)\b', lambda m: m[1] + one + m[2])]


OPERATORS = {
    'strictness': [(r' < ', lambda m: ' <= '), (r' <= ', lambda m: ' < '), (r' > ', lambda m: ' >= '),
                   (r' >= ', lambda m: ' > ')],
    'condition': [(r' == ', lambda m: ' != '), (r' != ', lambda m: ' == '), (r' && ', lambda m: ' || '),
                  (r' \|\| ', lambda m: ' && '), (r'if \(!', lambda m: 'if (')],
    'off by one': [(r' ([+-]) (\d+)\b(?!\w)', lambda m: f' {m[1]} {int(m[2]) + 1}'),
                   (r' = (\d+);', lambda m: f' = {int(m[1]) + 1};'), (r', (\d+)\)', lambda m: f', {int(m[1]) + 1})')],
    'operands': [(r'(\w|\)) - (\w|\()', lambda m: f'{m[1]} + {m[2]}'), (r'(\w|\)) \+ (\w|\()', lambda m: f'{m[1]} - {m[2]}'),
                 (r'WrapSub(\d+)', lambda m: 'WrapAdd' + m[1]), (r'WrapAdd(\d+)', lambda m: 'WrapSub' + m[1])],
    'rounding': [(r' / 1024', lambda m: ' >> 10'), (r' / 64\b', lambda m: ' >> 6'), (r' >> (\d+)', lambda m: f' >> {int(m[1]) + 1}'),
                 (r' << (\d+)', lambda m: f' << {int(m[1]) - 1}'), (r'ShiftToZero64\((.+), (\w+)\)', lambda m: f'(({m[1]}) >> {m[2]})')],
    'axis': swap('Row', 'Col') + swap('Width', 'Height') + swap('CropX', 'CropY') + swap('RangeX', 'RangeY'),
    'plane': [(r'\[0\]', lambda m: '[1]'), (r'\[1\]', lambda m: '[0]')] + swap('ScratchInU', 'ScratchInV') +
             swap('pDstU', 'pDstV') + swap('lInLuma', 'lOutLuma'),
    'clamp': [(r'\b(Min32|Max32)\(', lambda m: {'Min32': 'Max32(', 'Max32': 'Min32('}[m[1]]),
              (r'Clamp32\((.+), (.+), (.+)\)', lambda m: f'({m[1]})')],
    'left out': [(r'^\s+(\w[\w>.\[\]-]* [-+|]?= [^;]*|\w+\([^;]*\));$', lambda m: ';'),
                 (r'^\s+if \(.*\) (return.*|continue|break);$', lambda m: ';')],
}
# Names that a fault may introduce into any file.
KEPT = set(re.findall(r'\w+', (ROOT / 'src/context.h').read_text() + (ROOT / 'src/platform/fixed.h').read_text()))


class Fault:
    def __init__(self, path, number, line, kind, which, match, make):
        self.path, self.number, self.kind = path, number, kind
        self.old, self.new = line, line[:match.start()] + make(match) + line[match.end():]
        text = f'{path}|{line.strip()}|{kind}|{which}|{match.start() - len(line) + len(line.lstrip())}'
        self.key = hashlib.sha1(text.encode()).hexdigest()[:10]

    def __str__(self):
        return f'{self.path}:{self.number} {self.kind}: {self.old.strip()}  =>  {self.new.strip()}'


def faults_of(path):
    """All faults of a file, in the order of trial."""
    found, seen = [], set()
    names = set(re.findall(r'\w+', (ROOT / path).read_text()))
    for number, line in enumerate((ROOT / path).read_text().split('\n'), 1):
        code = line.split('//')[0].rstrip()
        if not code.startswith('    ') and not re.match(r'(static inline|constexpr|const int)', code):
            continue
        if re.search(r'static_assert|template|__android_log_print|#|"|^\s+\{?mapping|M\(', code):
            continue
        for kind, operators in OPERATORS.items():
            for which, (pattern, make) in enumerate(operators):
                for match in re.finditer(pattern, code):
                    fault = Fault(path, number, code, kind, which, match, make)
                    known = set(re.findall(r'\b[A-Za-z_]\w+', fault.new)) <= names | KEPT
                    if known and fault.key not in seen:
                        seen.add(fault.key)
                        found.append(fault)
    # One of each kind, then a second of each, and so on.
    found.sort(key=lambda f: f.key)
    turns = collections.Counter()
    for fault in found:
        fault.turn = turns[fault.kind]
        turns[fault.kind] += 1
    return sorted(found, key=lambda f: (f.turn, f.key))


def sources():
    for path in sorted((ROOT / 'src').rglob('*')):
        if path.suffix == '.cpp' and not re.search('neon|camera_log', path.name) or path.name in ('fixed.h', 'map.h'):
            yield str(path.relative_to(ROOT)), len(path.read_text().split('\n'))


class Worker:
    def __init__(self, folder):
        self.tree = folder / 'tree'
        shutil.rmtree(folder, ignore_errors=True)  # an interrupted run leaves a fault's object behind
        shutil.copytree(ROOT, self.tree, ignore=shutil.ignore_patterns('build', '.git'))
        self.build = folder / 'build'
        self.run(['cmake', '-S', self.tree, '-B', self.build, '-DCMAKE_BUILD_TYPE=Release', '-DQUORVEL_TOOL=OFF'])
        if not self.compiles() or self.verdict() != 'MISSED':
            sys.exit('the tests fail without a fault')

    @staticmethod
    def run(command):
        limits = lambda: resource.setrlimit(resource.RLIMIT_AS, (6 << 30, 6 << 30))
        return subprocess.run(list(map(str, command)), capture_output=True, text=True, errors='replace',
                              timeout=TIMEOUT * 5 if command[0] == 'cmake' else TIMEOUT, preexec_fn=limits)

    def compiles(self):
        return self.run(['cmake', '--build', self.build, '--parallel', '2', '--target', 'quorvel_tests']).returncode == 0

    def verdict(self):
        for tests in CHEAP_FIRST:
            try:
                done = self.run([self.build / 'quorvel_tests', '--gtest_fail_fast', '--gtest_filter=' + tests])
            except subprocess.TimeoutExpired:
                return 'caught by time'
            if done.returncode:
                names = re.findall(r'\[  FAILED  \] ([\w./]+)', done.stdout) or re.findall(r'\[ RUN      \] ([\w./]+)', done.stdout)[-1:]
                return 'caught by ' + (names[0] if names else 'a crash')
        return 'MISSED'

    def judge(self, fault):
        """The verdict; None where the fault does not compile."""
        target = self.tree / fault.path
        original = target.read_text()
        lines = original.split('\n')
        lines[fault.number - 1] = fault.new
        target.write_text('\n'.join(lines))
        try:
            return self.verdict() if self.compiles() else None
        finally:
            target.write_text(original)


def read_results(path):
    results = {}
    for line in path.read_text().split('\n') if path.exists() else []:
        if line and not line.startswith('#'):
            key, verdict, place = line.split(' | ', 2)
            results[key] = verdict, place
    return results


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--count', type=int, default=220, help='faults to plant (default 220)')
    parser.add_argument('--jobs', type=int, default=1)
    parser.add_argument('--only', default='', help='files whose path matches this')
    parser.add_argument('--again', action='store_true', help='try the missed ones again')
    parser.add_argument('--list', action='store_true', help='print the verdicts so far')
    arguments = parser.parse_args()
    BUILD.mkdir(parents=True, exist_ok=True)
    log = BUILD / 'results.txt'
    results = read_results(log)
    equivalent = read_results(EQUIVALENT)
    files = list(sources())
    total = sum(lines for _, lines in files)
    lock = threading.Lock()
    plan = [(path, max(2, round(arguments.count * lines / total)), faults_of(path)) for path, lines in files]

    def verdict_of(fault):
        return results.get(fault.key, ('no program',))[0]

    def note(fault, verdict):
        with lock, log.open('a') as out:
            results[fault.key] = verdict, str(fault)
            out.write(f'{fault.key} | {verdict} | {fault}\n')
            print(verdict, fault, flush=True)

    def work(worker, queue):
        while True:
            with lock:
                if not queue:
                    return
                _, wanted, faults = queue.pop(0)
            for fault in faults:
                if wanted == 0:
                    break
                missed = verdict_of(fault) == 'MISSED' and fault.key not in equivalent
                if fault.key not in results or missed and arguments.again:
                    note(fault, worker.judge(fault) or 'no program')
                wanted -= verdict_of(fault) != 'no program'

    if not arguments.list:
        header = f'# {datetime.date.today()} {" ".join(sys.argv)}: key, verdict, place\n'
        queue = [entry for entry in plan if re.search(arguments.only, entry[0])]
        workers = [Worker(BUILD / str(i)) for i in range(arguments.jobs)]
        threads = [threading.Thread(target=work, args=(worker, queue)) for worker in workers]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        kept = sorted((place, key, verdict) for key, (verdict, place) in results.items())
        log.write_text(header + ''.join(f'{key} | {verdict} | {place}\n' for place, key, verdict in kept))

    for key in equivalent.keys() - {fault.key for _, _, faults in plan for fault in faults}:
        print('UNKNOWN', key, equivalent[key][1], '(its line has changed: remove it from equivalent.txt)')
    caught, missed = 0, []
    for path, wanted, faults in plan:
        tried = [f for f in faults if verdict_of(f) != 'no program'][:wanted]
        for fault in tried:
            caught += verdict_of(fault).startswith('caught')
            if verdict_of(fault) == 'MISSED' and fault.key not in equivalent:
                missed.append(fault)
            if arguments.list:
                print(fault.key, verdict_of(fault), fault)
    for fault in missed:
        print('MISSED', fault.key, fault)
    if caught + len(missed):
        print(f'{caught} of {caught + len(missed)} faults caught ({100 * caught / (caught + len(missed)):.1f} %), '
              f'besides those that change nothing')


main()
