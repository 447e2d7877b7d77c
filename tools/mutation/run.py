# The mutation check: changes the product's sources one place at a time, rebuilds, and runs the fast
# tests until one fails. mutants.py says what is changed; survivors.txt says of every change that no
# test can notice why that is so. tools/mutation.sh is the command.
#
# Everything happens under build/mutation: "tree" is a copy of what is committed, "plain" and
# "sanitized" its builds, "results.json" what became of every mutant. A run that was interrupted
# goes on where it was. When the product is the same and the tests are not, only survivors are tried
# again.
import argparse
import collections
import io
import json
import os
import pathlib
import random
import re
import resource
import signal
import subprocess
import sys
import tarfile
import time

import mutants

HERE = pathlib.Path(__file__).parent
ROOT = HERE.parent.parent
PRODUCT = ['firewall_cpp', 'ipt_compiler', 'wrt_cppwrap']
MIB = 1 << 20

# The two builds. The tests as they run in ./check are kept for mutants that survived the others:
# sanitizers notice a change whose effect is undefined, and cost much time.
FLAGS = {
    'plain': ['-DCMAKE_CXX_FLAGS_DEBUG=-O0 -D_GLIBCXX_ASSERTIONS', '-DSANITIZE=OFF'],
    'sanitized': ['-DCMAKE_CXX_FLAGS_DEBUG=-O1 -D_GLIBCXX_ASSERTIONS', '-DSANITIZE=ON'],
}

# The fast tests: what is run of which program, by a name of their own. What takes seconds or more
# comes last or not at all. Names that begin with "sanitized" are of that build.
TESTS = {
    'compiler': ('product_compiler_test', '-*Long*:*Agree*:*Thousand*'),
    'compiler, long': ('product_compiler_test', '*Long*:*Agree*:-*Thousand*'),
    'literal': ('literal_test', 'LiteralCompiler.*:*/0:-*RichInFamilies*'),
    'literal, families': ('literal_test', '*RichInFamilies*/0'),
    'equivalence': ('equivalence_test', 'RandomPrograms.Mean*'),
    'driver': ('product_driver_test', '*'),
    'allocation': ('product_allocation_test', '*'),
    'blob': ('product_blob_test', '*'),
    'bus': ('product_bus_test', '*'),
    'configuration': ('product_config_test', '*'),
    'kovsel': ('kovsel_test', '*'),
    'sanitized compiler': ('product_compiler_test', '-*Long*:*Agree*:*Thousand*'),
    'sanitized configuration': ('product_config_test', '*'),
    'policy': ('policy_test', '-RandomHouseholds.*'),
    'golden': ('golden_test', '-AlteredByte*:DocPage*'),
}

# Which tests look at the mutants of which files. A file gets those of every row that fits, in this
# order, so that the likeliest one to fail comes first.
NEAREST = [
    ('ipt_compiler/hook_text.', ['allocation']),
    ('ipt_compiler/ipt_compiler.', ['driver']),
    ('ipt_compiler/', ['compiler', 'literal', 'driver', 'kovsel', 'configuration']),
    ('wrt_cppwrap/blob_msg', ['blob']),
    ('wrt_cppwrap/', ['configuration', 'bus']),
    ('firewall_cpp/nfnlq/', ['configuration']),
    ('firewall_cpp/kovsel/', ['kovsel']),
    ('firewall_cpp/xtables_lock', ['driver']),
    ('firewall_cpp/schedule', ['policy']),
    # What a mutant meets before it is called a survivor.
    ('ipt_compiler/', ['equivalence', 'literal, families', 'sanitized compiler', 'compiler, long']),
    ('wrt_cppwrap/', ['sanitized configuration']),
    ('firewall_cpp/nfnlq/', ['sanitized configuration']),
    ('', ['policy', 'golden']),
]


def git(*arguments):
    return subprocess.run(['git', '-c', 'safe.directory=*', '-C', ROOT, *arguments], check=True,
                          stdout=subprocess.PIPE).stdout


# The identity of what is committed in some directories.
def committed(paths):
    return git('rev-parse', *('HEAD:' + path for path in paths)).decode().split()


# Writes what is committed into the copy; files that are the same there keep their time.
def copy_tree(tree):
    archive = tarfile.open(fileobj=io.BytesIO(git('archive', 'HEAD')))
    names = set()
    for member in archive:
        if not member.isfile():
            continue
        names.add(tree / member.name)
        content = archive.extractfile(member).read()
        path = tree / member.name
        if not path.exists() or path.read_bytes() != content:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(content)
            path.chmod(member.mode)
    for path in tree.rglob('*'):
        if path.is_file() and path not in names:
            path.unlink()


class Build:
    def __init__(self, work, jobs):
        self.tree, self.jobs = work / 'tree', jobs
        self.objects = {kind: work / kind for kind in FLAGS}
        self.temporary = work / 'tmp'
        self.durations = {}

    def configure(self):
        self.temporary.mkdir(parents=True, exist_ok=True)
        copy_tree(self.tree)
        for kind, flags in FLAGS.items():
            subprocess.run(
                ['cmake', '-G', 'Ninja', '-S', self.tree, '-B', self.objects[kind],
                 '-DBUILD_TESTING=ON', '-DPLATFORM=testbed', '-DCMAKE_BUILD_TYPE=Debug',
                 '-DCMAKE_C_FLAGS_DEBUG=-O0', '-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld',
                 '-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST', *flags],
                check=True, stdout=subprocess.DEVNULL)

    # Builds the program of those tests. Returns whether it compiles, and what the compiler said.
    def make(self, tests):
        done = subprocess.run(['ninja', '-C', self.objects[kind_of(tests)], '-j', str(self.jobs),
                               TESTS[tests][0]],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              errors='replace')
        if done.returncode < 0:
            raise KeyboardInterrupt
        return done.returncode == 0, done.stdout

    # Returns what failed of those tests, or nothing.
    def failure(self, tests):
        program, selection = TESTS[tests]
        usual = self.durations.get(tests, 60)

        def limit():
            # A mutant may loop, and fill the memory or the disk meanwhile.
            processor = int(5 * usual) + 5
            resource.setrlimit(resource.RLIMIT_CPU, (processor, processor))
            if kind_of(tests) == 'plain':  # the sanitizers reserve far more than they use
                resource.setrlimit(resource.RLIMIT_AS, (2048 * MIB, 2048 * MIB))
            resource.setrlimit(resource.RLIMIT_FSIZE, (64 * MIB, 64 * MIB))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        log = self.temporary / 'log'
        begun = time.monotonic()
        with open(log, 'wb') as output:
            process = subprocess.Popen(
                [self.objects[kind_of(tests)] / 'bin' / program, '--gtest_fail_fast',
                 '--gtest_filter=' + selection],
                stdin=subprocess.DEVNULL, stdout=output, stderr=output, preexec_fn=limit,
                start_new_session=True,
                env={**os.environ, 'TMPDIR': str(self.temporary),
                     'ASAN_OPTIONS': 'hard_rss_limit_mb=2048'})
            try:
                process.wait(timeout=30 + 20 * usual)
            except subprocess.TimeoutExpired:
                pass
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait()
        if process.returncode == 0:
            self.durations.setdefault(tests, time.monotonic() - begun)
            return None
        lines = log.read_text(errors='replace').split('\n')
        failed = [line[13:] for line in lines if line.startswith('[  FAILED  ]')]
        begun = [line[13:] for line in lines if line.startswith('[ RUN      ]')]
        return re.split(r',| \(', (failed or begun[-1:] or [tests])[0])[0]

    # What catches a mutant: None for nothing, '' when it does not compile.
    def trial(self, all_tests):
        for tests in all_tests:
            built, _ = self.make(tests)
            if not built:
                return ''
            failed = self.failure(tests)
            if failed:
                return failed
        return None


def kind_of(tests):
    return 'sanitized' if tests.startswith('sanitized') else 'plain'


def tests_for(file):
    rows = [tests for prefix, tests in NEAREST if file.startswith(prefix)]
    return list(dict.fromkeys(name for row in rows for name in row))


# The mutants of a file in the order in which they are taken: each rule in turn, by chance inside.
def shuffled(found, seed):
    by_rule = collections.defaultdict(list)
    for mutant in found:
        by_rule[mutant.rule].append(mutant)
    queues = []
    for rule in sorted(by_rule):
        generator = random.Random(f'{seed} {by_rule[rule][0].file} {rule}')
        generator.shuffle(by_rule[rule])
        queues.append(collections.deque(by_rule[rule]))
    random.Random(f'{seed} {found[0].file if found else ""}').shuffle(queues)
    order = []
    while queues:
        for queue in queues:
            order.append(queue.popleft())
        queues = [queue for queue in queues if queue]
    return order


# How many mutants each file gives: by its size, and some of every file.
def shares(sizes, count):
    total = sum(sizes.values()) or 1
    return {file: min(size, max(4, round(count * size / total))) for file, size in sizes.items()}


# The reasons of survivors.txt by the key of the mutant.
def read_reasons():
    reasons, key, reason = {}, [], []
    for line in (HERE / 'survivors.txt').read_text().split('\n') + ['']:
        if line.startswith('# '):
            continue
        if line.startswith('= '):
            reason.append(line[2:])
        elif line:
            key.append(line)
        elif key:
            reasons['\n'.join(key)] = ' '.join(reason)
            key, reason = [], []
    return reasons


class Run:
    def __init__(self, options, work):
        self.options, self.path = options, work / 'results.json'
        self.build = Build(work, options.jobs)
        product = committed(PRODUCT)
        tests = committed(['tests', 'testbed'])
        known = json.loads(self.path.read_text()) if self.path.exists() else {}
        if options.fresh or known.get('product') != product:
            known = {'results': {}}
        self.results = known['results']  # by key: the test that caught it, '' or None
        if known.get('tests') != tests:
            self.results = {key: caught for key, caught in self.results.items()
                            if caught is not None}
        self.known = {'product': product, 'tests': tests, 'results': self.results}

    def keep(self):
        self.path.with_suffix('.new').write_text(json.dumps(self.known, indent=1))
        self.path.with_suffix('.new').replace(self.path)

    def try_one(self, mutant, text, tests):
        path = self.build.tree / mutant.file
        path.write_text(mutant.apply(text))
        try:
            return self.build.trial(tests)
        finally:
            path.write_text(text)

    # The first `share` mutants of the file that compile.
    def take(self, file, text, order, share):
        taken = []
        for mutant in order:
            if len(taken) == share:
                break
            key = mutant.key(text)
            if key not in self.results:
                begun = time.monotonic()
                caught = self.try_one(mutant, text, tests_for(file))
                self.results[key] = caught
                self.keep()
                verdict = {None: 'SURVIVED', '': 'does not compile'}.get(caught, caught)
                line = text.count('\n', 0, mutant.start) + 1
                print(f'{file}:{line} {mutant.rule}: {verdict} '
                      f'({time.monotonic() - begun:.0f} s)', flush=True)
            if self.results[key] != '':
                taken.append(key)
        return taken


def parse_options():
    parser = argparse.ArgumentParser(prog='tools/mutation.sh', description='The mutation check.')
    parser.add_argument('--count', type=int, default=400, help='how many mutants, about (400)')
    parser.add_argument('--seed', type=int, default=1, help='which ones (1)')
    parser.add_argument('--only', metavar='FILE', help='only files whose path begins so, with as many as they have of all')
    parser.add_argument('--list', action='store_true', help='print the mutants, try none')
    parser.add_argument('--fresh', action='store_true', help='forget what earlier runs found')
    parser.add_argument('--jobs', type=int, default=os.cpu_count(), help='compilers side by side')
    return parser.parse_args()


def main():
    options = parse_options()
    begun = time.monotonic()
    print(f'seed {options.seed}')
    sources = {}
    for file in git('ls-tree', '-r', '--name-only', 'HEAD', *PRODUCT).decode().split():
        if file.endswith(('.cpp', '.h')):
            text = git('show', 'HEAD:' + file).decode()
            found = mutants.File(file, text).mutants()
            if found:
                sources[file] = (text, shuffled(found, options.seed))
    share = shares({file: len(order) for file, (_, order) in sources.items()}, options.count)
    sources = {file: source for file, source in sources.items()
               if file.startswith(options.only or '')}
    if options.list:
        for file, (text, order) in sources.items():
            for mutant in order[:share[file]]:
                print(f'\n{mutant.key(text)}\n({mutant.rule})')
        return 0

    work = ROOT / 'build' / 'mutation'
    run = Run(options, work)
    run.build.configure()
    for tests in dict.fromkeys(name for file in sources for name in tests_for(file)):
        built, output = run.build.make(tests)
        failed = run.build.failure(tests) if built else output
        if failed:
            print(f'the unchanged program fails: {failed}')
            return 2

    reasons = read_reasons()
    survivors = []
    total = caught = 0
    summary = []
    for file, (text, order) in sources.items():
        taken = run.take(file, text, order, share[file])
        lost = [key for key in taken if run.results[key] is None]
        total += len(taken)
        caught += len(taken) - len(lost)
        survivors += lost
        summary.append(f'{file}: {len(taken)} mutants, {len(taken) - len(lost)} caught')
    print('\n'.join(['', *summary, '']))
    for key in survivors:
        print(f'{key}\n= {reasons.get(key, "NOT EXPLAINED")}\n')
    unexplained = [key for key in survivors if key not in reasons]
    print(f'{total} mutants of seed {options.seed}, {caught} caught ({100 * caught / total:.1f} %), '
          f'{len(survivors)} survived, {len(unexplained)} of them without a reason; '
          f'{(time.monotonic() - begun) / 60:.0f} minutes')
    return 1 if unexplained or caught < 0.95 * total else 0


if __name__ == '__main__':
    sys.exit(main())
