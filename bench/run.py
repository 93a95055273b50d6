#!/usr/bin/env python3
"""Measures what the engine and the maker cost, side by side with the tools that one would otherwise use.

    bench/run.py                       stages, growth and the whole install; needs no network
    bench/run.py stages --sizes 4,64   one part
    bench/run.py pairs                 differences between published files, fetched by npm and apt-get
    bench/run.py pairs OLD NEW         differences between two files of your own
    bench/run.py install               a whole install beside other updaters of the distribution
    bench/run.py limits --numbers 0 200
                                       pairs 0 to 199 of endlessly many that are made by chance, of --least to the first
                                       of --sizes: is a difference ever larger than zstd's?

Every figure is the median of runs that alternate between ours and theirs. CPU is user and system together. Needs what
the build needs, and openssl, zip, unzip, zstd; for pairs npm, bsdiff and xdelta3; for install, as root, swupdate and
cpio, and rauc, dbus, libglib2.0-bin and squashfs-tools. What is missing is said and left out.
"""
import argparse
import os
import sys

import growth
import limits
import other_updaters
import pairs
import stages
from measuring import ROOT, Programs, Report

PARTS = ["stages", "growth", "pairs", "install", "limits"]
ON_REQUEST = ["pairs", "limits"]


def numbers(text):
    return [int(part) for part in text.split(",")]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("part", nargs="?", choices=PARTS, help="all but pairs and limits without it")
    parser.add_argument("files", nargs="*", metavar="FILE", help="two files for pairs")
    parser.add_argument("--build", default=os.path.join(ROOT, "build/default"), help="build folder")
    parser.add_argument("--sizes", type=numbers, default=[4, 64, 512], help="of applications, in MiB")
    parser.add_argument("--counts", type=numbers, default=[10, 100, 1000], help="of applications, for growth")
    parser.add_argument("--numbers", type=int, nargs=2, default=[0, 200], metavar=("FIRST", "END"),
                        help="of pairs, for limits")
    parser.add_argument("--least", type=int, default=0, help="MiB of the old file, for limits")
    parser.add_argument("--rounds", type=int, default=5,
                        help="runs that a median is taken of, at least: more of short ones")
    parser.add_argument("--json", action="store_true", help="a line of JSON for each row")
    options = parser.parse_args()
    if options.files and (options.part != "pairs" or len(options.files) != 2):
        parser.error("two files, and only for pairs")
    programs = Programs(options.build)
    programs.make()
    report = Report(options.json)
    cache = os.path.join(programs.build, "bench", "files")
    os.makedirs(cache, exist_ok=True)
    chosen = [options.part] if options.part else [part for part in PARTS if part not in ON_REQUEST]
    if "stages" in chosen:
        stages.play(programs, report, cache, options.sizes, options.rounds)
    if "growth" in chosen:
        growth.play(programs, report, cache, options.counts, options.rounds)
    if "install" in chosen:
        other_updaters.play(programs, report, cache, options.rounds)
    if "pairs" in chosen:
        pairs.play(programs, report, cache, options.files)
    if "limits" in chosen:
        is_kept = limits.play(programs, report, cache, range(*options.numbers), options.least << 20,
                              options.sizes[0] << 20)
        return 0 if is_kept else 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
