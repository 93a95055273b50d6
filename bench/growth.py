"""How costs grow from few applications to many: CPU seconds, and the exponent of a power of their number."""
import math
import os
import shutil

import inputs
from measuring import cost_of, median_of, run

IDLE_BUNDLES = 2000
IDLE_ROUNDS_MIN = 9  # of 40 ms each


def slope(points):
    """Of the straight line through the logarithms, by least squares."""
    xs = [math.log(x) for x, _ in points]
    ys = [math.log(max(y, 1e-4)) for _, y in points]
    x0, y0 = sum(xs) / len(xs), sum(ys) / len(ys)
    return sum((x - x0) * (y - y0) for x, y in zip(xs, ys)) / sum((x - x0) ** 2 for x in xs)


class Growth:
    def __init__(self, programs, folder, applications, keys):
        self.programs = programs
        self.folder = folder
        self.applications = applications
        self.private_key, self.public_key = keys

    def costs(self, count, rounds):
        """CPU seconds of each command with so many applications."""
        some = self.applications[:count]
        device = os.path.join(self.folder, f"device{count}")
        inputs.make_device(self.programs, device, self.public_key, some)
        costs = {}
        for patch in ("hot", "cold"):
            folder = os.path.join(self.folder, f"{patch}{count}")
            package = inputs.make_package(self.programs, folder, inputs.release_of(some, patch), self.private_key)
            tvpk, host = self.programs.tvpk, [self.programs.tavomend, "--root"]
            if patch == "hot":
                remade = os.path.join(folder, "again")
                costs["make"] = self.median(lambda: None, [tvpk, "make", os.path.join(folder, "release.json"), "--key",
                                                           self.private_key, "--out", remade], rounds)
                costs["verify"] = self.median(
                    lambda: None, [tvpk, "verify", *package, "--public-key", self.public_key], rounds)
            copies = inputs.Copies(device)
            delivered = [*host, copies.copy, "deliver", *package]
            costs[f"deliver, {patch}"] = self.median(copies.fresh, delivered, rounds)

            def after_delivery(copies=copies, delivered=delivered):
                copies.fresh()
                run(*delivered)

            command = "apply" if patch == "hot" else "boot"
            costs[f"{command}, {patch}"] = self.median(after_delivery, [*host, copies.copy, command], rounds)
            shutil.rmtree(copies.copy)
        shutil.rmtree(device)
        return costs

    def median(self, prepare, command, rounds):
        costs = []
        for _ in range(rounds):
            prepare()
            costs.append(cost_of(self.programs, command))
        return median_of(costs).cpu


def play(programs, report, folder, counts, rounds):
    folder = os.path.join(folder, "growth")
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    applications = inputs.make_small_applications(programs, folder, max(*counts, IDLE_BUNDLES))
    growth = Growth(programs, folder, applications, inputs.make_keys(programs, folder))
    by_command = {}
    for count in counts:
        for command, seconds in growth.costs(count, rounds).items():
            by_command.setdefault(command, []).append((count, seconds))
    report.begin("Growth: seconds of CPU by the number of applications, and the exponent",
                 [("command", 20), *((str(count), 8) for count in counts), ("all", 6), ("last", 6)])
    for command, points in by_command.items():
        report.row(command, *(seconds for _, seconds in points), round(slope(points), 2), round(slope(points[-2:]), 2))
    idle_boot(programs, report, growth, rounds)
    shutil.rmtree(folder)


def idle_boot(programs, report, growth, rounds):
    device = os.path.join(growth.folder, "idle")
    inputs.make_device(programs, device, growth.public_key, growth.applications[:IDLE_BUNDLES])
    boot = [programs.tavomend, "--root", device, "boot"]
    run(*boot)
    report.begin("A boot with nothing to do", [("bundles", 20), ("CPU s", 8), ("wall s", 8), ("MiB", 6)])
    cost = median_of([cost_of(programs, boot) for _ in range(max(rounds, IDLE_ROUNDS_MIN))])
    report.row(str(IDLE_BUNDLES), cost.cpu, cost.wall, int(cost.peak) >> 10)
