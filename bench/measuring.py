"""Costs of commands, and tables of them."""
import collections
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# Of a command that takes little time a median of few runs says little: both sides run, with what prepares them, until
# so many seconds are over, or so many times.
SECONDS_MIN = 10
ROUNDS_MAX = 25

# Seconds by the clock and of CPU, peak in KiB, bytes read and written by system calls.
Cost = collections.namedtuple("Cost", "wall cpu peak read written")


class Programs:
    """Where a build has its programs."""

    def __init__(self, build):
        self.build = os.path.abspath(build)
        self.tvpk = os.path.join(self.build, "apps/tvpk/tvpk")
        self.tavomend = os.path.join(self.build, "apps/tavomend/tavomend")
        self.stage = os.path.join(self.build, "bench/bench_stage")
        self.measure = os.path.join(self.build, "bench/bench_measure")
        self.hash_count = os.path.join(self.build, "bench/libbench_hash_count.so")

    def make(self):
        subprocess.run(["cmake", "--build", self.build, "--target", "tvpk", "tavomend", "bench_stage", "bench_measure",
                        "bench_hash_count"], check=True, stdout=subprocess.DEVNULL)


def say(*words):
    print(*words, file=sys.stderr, flush=True)


def run(*command, **options):
    """For what prepares: its words are shown only when it fails."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)}: exit {done.returncode}\n{done.stdout}")
    return done.stdout


def cost_of(programs, command, touched=0):
    """The cost of one command, given as a list or as a line for the shell; a command that fails ends the benchmark.
    Before it, so many MiB of free memory are touched."""
    words = ["sh", "-c", command] if isinstance(command, str) else list(command)
    done = subprocess.run([programs.measure, str(touched), *words], stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{command}: exit {done.returncode}")
    wall, cpu, peak, read, written = done.stdout.split()
    return Cost(float(wall), float(cpu), int(peak), int(read), int(written))


def hashed_by(programs, commands):
    """The bytes that commands of ours hand to hashes; measured in a run of its own, for counting costs time."""
    with tempfile.NamedTemporaryFile("r") as report:
        environment = dict(os.environ, LD_PRELOAD=programs.hash_count, TAVOMEND_BENCH_HASHED=report.name)
        for command in commands:
            run(*command, env=environment)
        return sum(int(line) for line in report)


def sum_of(costs):
    """Of commands that run one after another."""
    return Cost(sum(c.wall for c in costs), sum(c.cpu for c in costs), max(c.peak for c in costs),
                sum(c.read for c in costs), sum(c.written for c in costs))


def median_of(costs):
    return Cost(*(type(values[0])(statistics.median(values)) for values in zip(*costs)))


class Side:
    """One of two ways to the same end: what puts things back, and the commands that are measured."""

    def __init__(self, commands, prepare=lambda: None):
        self.commands = commands
        self.prepare = prepare

    def once(self, programs, touched):
        self.prepare()
        return sum_of([cost_of(programs, command, touched) for command in self.commands])


def side_by_side(programs, ours, theirs, rounds, touched=0):
    """Alternating runs, at least so many, so that what else the machine does meets both; the first round only fills
    the caches."""
    sides = (ours, theirs)
    for side in sides:
        side.once(programs, touched)
    costs = ([], [])
    end = time.monotonic() + SECONDS_MIN
    while len(costs[0]) < rounds or (time.monotonic() < end and len(costs[0]) < ROUNDS_MAX):
        for kept, side in zip(costs, sides):
            kept.append(side.once(programs, touched))
    return median_of(costs[0]), median_of(costs[1])


class Report:
    """Rows as they come: a table for people, or a line of JSON for each."""

    def __init__(self, is_json):
        self.is_json = is_json

    def begin(self, title, columns):
        self.title, self.columns = title, columns
        if not self.is_json:
            print(f"\n{title}")
            print("  " + "  ".join(f"{name:>{width}}" if i else f"{name:<{width}}"
                                   for i, (name, width) in enumerate(columns)), flush=True)

    def row(self, *values):
        if self.is_json:
            names = [name for name, _ in self.columns]
            print(json.dumps({"table": self.title, **dict(zip(names, values))}), flush=True)
            return
        cells = []
        for i, (value, (_, width)) in enumerate(zip(values, self.columns)):
            text = "-" if value is None else f"{value:.3f}" if isinstance(value, float) else str(value)
            cells.append(f"{text:>{width}}" if i else f"{text:<{width}}")
        print("  " + "  ".join(cells), flush=True)

    def note(self, text):
        if self.is_json:
            print(json.dumps({"note": text}), flush=True)
        else:
            print(f"  {text}", flush=True)
