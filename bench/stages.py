"""The engine's stages, each beside the plain tool that does the same, on applications of several sizes."""
import os
import shutil

import inputs
from measuring import Side, hashed_by, run, side_by_side

COLUMNS = [("stage", 44), ("MiB", 5), ("ours s", 8), ("theirs s", 8), ("ratio", 6), ("wall", 8), ("wall", 8),
           ("peak", 8), ("peak", 8)]
MIB = 1 << 20
TOUCHED = 3  # times an application's size: more memory than either side takes up
KINDS = {"whole file": {"whole": True}, "plain difference": {}, "own difference": {}}


class Stages:
    def __init__(self, programs, report, folder, rounds):
        self.programs = programs
        self.report = report
        self.folder = folder
        self.rounds = rounds

    def compare(self, name, mib, ours, theirs):
        a, b = side_by_side(self.programs, ours, theirs, self.rounds, TOUCHED * mib)
        self.report.row(name, mib, a.cpu, b.cpu, round(a.cpu / max(b.cpu, 1e-4), 2), a.wall, b.wall, a.peak >> 10,
                        b.peak >> 10)
        return a

    def play(self, mib):
        folder = os.path.join(self.folder, f"stages{mib}")
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)
        old, new = inputs.make_application(self.programs, folder, mib * MIB)
        private_key, public_key = inputs.make_keys(self.programs, folder)
        applications = [("com.bench", old, new)]
        device = os.path.join(folder, "device")
        inputs.make_device(self.programs, device, public_key, applications)
        packages = {}
        for kind, words in KINDS.items():
            options = ["--plain"] if kind == "plain difference" else []
            packages[kind] = inputs.make_package(self.programs, os.path.join(folder, kind.replace(" ", "_")),
                                                 inputs.release_of(applications, **words), private_key, *options)
        # Both sides read the files where the device has them.
        place = os.path.join(device, "bench")
        os.makedirs(place)
        for path, name in zip((*packages["whole file"], old, new), ("app.tvpk", "sign.bin", "old.vab", "new.vab")):
            shutil.copy(path, os.path.join(place, name))
        self.single_stages(mib, device, place, public_key)
        for kind, package in packages.items():
            self.whole_way(mib, kind, package, inputs.Copies(device, self.programs), public_key)
        shutil.rmtree(folder)

    def ours(self, device, *words, gone=None):
        return Side([[self.programs.stage, device, *words]], lambda: remove(gone))

    def single_stages(self, mib, device, place, public_key):
        self.compare("signature (openssl dgst -verify)", mib,
                     self.ours(device, "verify", "/bench/app.tvpk", "/bench/sign.bin"),
                     Side([f"openssl dgst -sha256 -verify {public_key} -signature {place}/sign.bin {place}/app.tvpk"]))
        out = f"{place}/out"
        for method, level in (("stored", "-0"), ("deflated", "-6")):
            run("zip", "-q", "-j", level, f"{place}/{method}.zip", f"{place}/new.vab")
            self.compare(f"extraction, {method} (unzip)", mib,
                         self.ours(device, "extract", f"/bench/{method}.zip", "new.vab", "/bench/out", gone=out),
                         Side([f"unzip -q -o {place}/{method}.zip -d {place}/unzipped"],
                              lambda: remove(f"{place}/unzipped/new.vab")))
        self.compare("hash of a file (openssl dgst)", mib, self.ours(device, "hash", "/bench/new.vab"),
                     Side([f"openssl dgst -sha256 {place}/new.vab"]))
        old, new = f"{place}/old.vab", f"{place}/new.vab"
        frame, difference = f"{place}/frame", f"{place}/difference"
        run("zstd", "-q", "-f", "--long=31", f"--patch-from={old}", new, "-o", frame)
        run(self.programs.tvpk, "diff", old, new, difference)
        tool = f"zstd -q -d -f --long=31 --patch-from={old} {frame} -o {out}"
        self.compare("restore of a plain frame (zstd -d)", mib,
                     self.ours(device, "restore", "/bench/frame", "/bench/old.vab", "/bench/out", gone=out),
                     Side([tool], lambda: remove(out)))
        self.compare("restore of our own difference (and sha256sum)", mib,
                     self.ours(device, "restore", "/bench/difference", "/bench/old.vab", "/bench/out", gone=out),
                     Side([f"{tool} && sha256sum {out}"], lambda: remove(out)))
        copies = inputs.Copies(device, self.programs)
        self.compare("install (cp, sync, mv)", mib,
                     Side([[self.programs.stage, copies.copy, "install", "/bench/new.vab"]], copies.fresh),
                     Side([install_with_tools(f"{place}/new.vab", place)]))

    def whole_way(self, mib, kind, package, copies, public_key):
        """From a package beside the device to the application installed."""
        tavomend = [self.programs.tavomend, "--root", copies.copy]
        ours = [[*tavomend, "deliver", *package], [*tavomend, "apply"]]
        place = copies.device + ".tools"
        cost = self.compare(f"deliver and apply: {kind}", mib, Side(ours, copies.fresh),
                            Side([self.with_tools(kind, package, copies.device, place, public_key)],
                                 lambda: fresh_folder(place)))
        copies.fresh()
        size = os.path.getsize(package[0])
        hashed = hashed_by(self.programs, ours)
        new = os.path.getsize(os.path.join(copies.device, "bench/new.vab"))
        self.report.note(f"package {size}, new file {new}: {cost.read} bytes read, {cost.written} written, "
                         f"{hashed} hashed")

    @staticmethod
    def with_tools(kind, package, device, place, public_key):
        """The same by the tools that are there, one command a step."""
        steps = [f"cp {package[0]} {package[1]} {place}", f"sync {place}/app.tvpk",
                 f"openssl dgst -sha256 -verify {public_key} -signature {place}/tavomend_sign.bin {place}/app.tvpk",
                 f"unzip -q -o {place}/app.tvpk -d {place}/unzipped"]
        product = f"{place}/product"
        if kind == "whole file":
            steps.append(f"mv $(find {place}/unzipped -type f -size +100k) {product}")
        else:
            # The tools know the plain kind only.
            plain = f"{place}/theirs.zst"
            run("sh", "-c", f"mkdir -p {place} && zstd -q -f --long=31 --patch-from={device}/bench/old.vab "
                            f"{device}/bench/new.vab -o {device}.zst")
            steps += [f"cp {device}.zst {plain}",
                      f"zstd -q -d -f --long=31 --patch-from={device}/bench/old.vab {plain} -o {product}"]
        steps += [f"sha256sum {product}", install_with_tools(product, place)]
        return " && ".join(steps)


def install_with_tools(path, place):
    return f"cp {path} {place}/installed.new && sync {place}/installed.new && mv {place}/installed.new {place}/installed"


def remove(path):
    if path is not None and os.path.exists(path):
        os.remove(path)


def fresh_folder(path):
    shutil.rmtree(path, ignore_errors=True)
    os.makedirs(path)


def play(programs, report, folder, sizes, rounds):
    report.begin("Stages: seconds of CPU, seconds by the clock, peak in MiB; each ours and theirs", COLUMNS)
    for mib in sizes:
        Stages(programs, report, folder, rounds).play(mib)
