#!/usr/bin/env python3
"""Plants one small fault at a time, builds, runs the tests that could see it, and tells which faults went unseen.

    scripts/mutate.py --seed 7 --count 100            a sample over all rooms
    scripts/mutate.py --rooms package,state --seed 3  some rooms only
    scripts/mutate.py --list --rooms diff             what could be planted, nothing is run
    scripts/mutate.py --at state/idle_state.cpp:17    every fault of one line

Kinds of faults: drop a call, negate a condition, change a constant, swap two statements, return early (or the opposite
of a bool), drop a lock, drop a flush. All places in the sources of the rooms have the same chance. Left out is what
changes no behaviour: log lines, whose texts the tests look for one by one where they matter, swaps of two statements
neither of which writes what the other one names, constants that only say how large a buffer is or the size of none at
all, and the first value of a variable or member that is not constant: most have another one before anybody reads them. A
fault that does not compile is no fault and is replaced by the next of the sample.

The tree is copied to build/mutate/N (one copy a job), so the working tree stays as it is. Each test program runs as one
process until its first failure, in a mount namespace of its own where that is allowed, with everything but its
temporary folder read-only. A program that does not end in time counts as a failure. A lock that nobody misses then is
dropped once more in a build with ThreadSanitizer, for the tests with threads. Needs cmake, ninja and what the tests need.
"""
import argparse
import dataclasses
import os
import queue
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
ROOMS = ["handles", "platform", "formats", "diff", "ports", "common", "error", "tools", "bundle", "package", "state",
         "engine", "hosting", "apps"]
LOG = re.compile(r"\bTAVOMEND_LOG|\bHostMessage\(|\bKalogPrint\(")
SIZE_ONLY = re.compile(r"CHUNK_SIZE|BUFFER_SIZE|\breserve\(|max_load_factor")
LOCK = re.compile(r"^\s*(const\s+)?(auto|std::(lock_guard|unique_lock|scoped_lock)\S*)\s+\w+\s*(\(|=).*"
                  r"(utex|Hold\w*\()")
FLUSH = re.compile(r"(?:::|\b)(?:fsync|fdatasync|msync|\w*Sync\w*|\w*Flush\w*)\([^;{}]*?\)")
CALL = re.compile(r"^(\s+)(static_cast<void>\()?[A-Za-z_][\w:.\->\[\]()*&]*(<[\w:, ]+>)?\(.*\);$")
NOT_A_CALL = re.compile(r"^\s+(return|if|for|while|switch|case|else|delete|throw|using|typedef|static_assert|const|auto|"
                        r"constexpr|goto|new|explicit|virtual|friend|~)\b")
FUNCTION = re.compile(r"^(\s*)(?:\[\[nodiscard\]\]\s+)?(?:static |inline |constexpr |virtual )*"
                      r"(bool|void|int32_t|int|std::string|size_t)\s+(?:\w+::)*\w+\(.*\)(?: const)?(?: override)?\s*\{?$")
NUMBER = re.compile(r"(?<![\w.\"'%])(0x[0-9A-Fa-f]+|\d+)(?=[uUlL]*\b)(?![\w.]*\")")


@dataclasses.dataclass(frozen=True)
class Fault:
    file: str
    line: int  # 1-based, of the first line that changes
    kind: str
    old: tuple
    new: tuple

    def __str__(self):
        text = " / ".join(part.strip() for part in self.old)
        became = " / ".join(part.strip() for part in self.new) or "(nothing)"
        return f"{self.file}:{self.line}: {self.kind}: {text}  ->  {became}"


def without_strings(line):
    """The line with the insides of its literals blanked and its comment cut, at the same columns."""
    line = re.sub(r'"(\\.|[^"\\])*"', lambda m: '"' + "_" * (len(m.group()) - 2) + '"', line)
    line = re.sub(r"'(\\.|[^'\\])*'", lambda m: "'" + "_" * (len(m.group()) - 2) + "'", line)
    return re.sub(r"//.*", "", line)


def condition(code, start):
    """The end of the parenthesis that opens at start, or -1 when it goes on in the next line."""
    depth = 0
    for i in range(start, len(code)):
        depth += {"(": 1, ")": -1}.get(code[i], 0)
        if depth == 0:
            return i
    return -1


def single_faults(code, line):
    """Faults within one line: (kind, new line)."""
    indent = re.match(r"\s*", line).group()
    if LOCK.search(code):
        yield "drop a lock", None
        return
    if CALL.match(code) and not NOT_A_CALL.match(code) and " = " not in code.split("(")[0]:
        yield ("drop a flush" if FLUSH.search(code) else "drop a call"), indent + ";"
    elif FLUSH.search(code) and not code.startswith(("bool", "void", "    [[nodiscard]]", "int")):
        found = FLUSH.search(code)
        rest = code[found.end():]
        value = "0" if re.match(r"\s*(==|!=) 0", rest) else "true"
        head = line[:found.start()]
        while re.search(r"[\w:]+(::|\.|->)$", head):
            head = re.sub(r"[\w:]+(::|\.|->)$", "", head)
        yield "drop a flush", head + value + line[found.end():]
    for keyword in re.finditer(r"\b(if|while)( constexpr)? \(", code):
        start = keyword.end() - 1
        end = condition(code, start)
        inside = line[start + 1:end]
        if end > 0 and ";" not in code[start:end] and not re.search(r"(const )?(auto|\w+\*?) ?[*&]?\w+ = ", inside):
            yield "negate a condition", line[:start] + "(!(" + inside + "))" + line[end + 1:]
    returned = re.match(r"^\s+return (.*);$", code)
    if returned and re.search(r"==|!=|<=|>=|&&|\|\||^!", returned.group(1)) and "?" not in code:
        yield "negate a condition", f"{indent}return !({line.strip()[len('return '):-1]});"
    for both in re.finditer(r"&&|\|\|", code):
        other = "||" if both.group() == "&&" else "&&"
        if not code.rstrip().endswith(("&&", "||")) or both.end() != len(code.rstrip()):
            yield "negate a condition", line[:both.start()] + other + line[both.end():]
    if not SIZE_ONLY.search(code):
        for flag in re.finditer(r"\b(true|false)\b", code):
            if returned and returned.group(1) in ("true", "false"):
                kind = "return the opposite"
            else:
                kind = "change a constant"
            yield kind, line[:flag.start()] + ("false" if flag.group() == "true" else "true") + line[flag.end():]
        for number in NUMBER.finditer(code):
            if code[:number.start(1)].endswith("nullptr, "):
                continue
            digits = number.group(1)
            is_octal = len(digits) > 1 and digits.isdigit() and digits.startswith("0")
            is_negative = re.search(r"(^|[(,=<>?:{ ])-$", code[:number.start(1)])  # then on to 0, and not past it
            value = f"0{int(digits, 8) + 1:o}" if is_octal else str(int(digits, 0) + (-1 if is_negative else 1))
            yield "change a constant", line[:number.start(1)] + value + line[number.end(1):]


def writes(code):
    """What a statement certainly writes to: the left side, or the object whose method it calls; None when unknown."""
    assigned = re.match(r"^\s+([\w.\->\[\]]+) [+|&-]?= ", code)
    called = re.match(r"^\s+([A-Za-z_][\w.\->]*)(\.|->)\w+\(", code)
    return (assigned or called).group(1) if assigned or called else None


def are_independent(first, second):
    """Neither writes what the other one names: swapping them would be no fault."""
    one, other = writes(first), writes(second)
    return bool(one and other and one not in second and other not in first)


def is_simple(code):
    return (CALL.match(code) and not NOT_A_CALL.match(code)) or re.match(r"^\s+[\w.\->\[\]]+ [+|&-]?= [^{}]*;$", code)


def is_first_value(code):
    declared = re.match(r"^\s+(?:mutable |volatile )?(?!const|return)[\w:<>]+ \w+ = -?\w+;\s*$", code)
    return bool(declared) and "const" not in code


def faults_of(file):
    with open(os.path.join(ROOT, file), encoding="utf-8") as source:
        lines = source.read().split("\n")
    found = []
    returns = None  # what the function under way gives back
    for i, line in enumerate(lines):
        code = without_strings(line)
        function = FUNCTION.match(code)
        if function and not code.endswith(";"):
            returns = (function.group(2), len(function.group(1)))
        if re.match(r"^(\s*)\}", code) and returns and len(re.match(r"\s*", code).group()) == returns[1]:
            returns = None
        if not code.strip() or code.lstrip().startswith(("#", "//", "static_assert", "template", "using ")):
            continue
        if LOG.search(line) or (i > 0 and LOG.search(lines[i - 1]) and not lines[i - 1].rstrip().endswith((";", "{"))):
            continue
        for kind, new in ([] if is_first_value(code) else single_faults(code, line)):
            found.append(Fault(file, i + 1, kind, (line,), () if new is None else (new,)))
        following = lines[i + 1] if i + 1 < len(lines) else ""
        after = without_strings(following)
        same_indent = re.match(r"\s*", line).group() == re.match(r"\s*", following).group()
        if is_simple(code) and is_simple(after) and same_indent and not LOG.search(following) and \
                line != following and not are_independent(code, after):
            found.append(Fault(file, i + 1, "swap two statements", (line, following), (following, line)))
        early = {"void": "return;", "bool": "return true;", "int32_t": "return 0;", "int": "return 0;",
                 "size_t": "return 0;", "std::string": 'return "";'}
        if returns and is_simple(code) and (i == 0 or lines[i - 1].rstrip().endswith((";", "{", "}"))):
            indent = re.match(r"\s*", line).group()
            found.append(Fault(file, i + 1, "return early", (line,), (indent + early[returns[0]], line)))
    return found


def all_faults(rooms):
    files = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "--", *rooms], cwd=ROOT,
                           capture_output=True, text=True, check=True).stdout.split()
    return [fault for file in sorted(files) if re.search(r"\.(h|cpp)$", file) for fault in faults_of(file)]


class Worker:
    """A copy of the tree with a build of its own."""

    def __init__(self, number, threads):
        self.home = os.path.join(ROOT, "build", "mutate", str(number))
        self.source = os.path.join(self.home, "src")
        self.build = os.path.join(self.home, "build")
        self.temp = os.path.join(self.home, "tmp")
        self.threads = threads
        self.programs = {}  # test program: seconds that it takes
        self.inputs = {}

    def prepare(self):
        os.makedirs(self.home, exist_ok=True)
        shutil.rmtree(self.temp, ignore_errors=True)
        os.makedirs(self.temp)
        self.copy_tree()
        self.configure(self.build)
        self.run(["ninja", "-C", self.build])
        for target in self.test_programs(self.build):
            path = os.path.join(self.build, target)
            start = time.time()
            if not self.passes(path, 600):
                sys.exit(f"{target} fails without any fault; mend that first")
            self.programs[path] = time.time() - start
            listed = self.run(["ninja", "-C", self.build, "-t", "inputs", target])
            self.inputs[path] = {os.path.normpath(os.path.join(self.build, entry)) for entry in listed.split("\n")}

    def configure(self, build, *options):
        linker = next((name for name in ("mold", "lld") if shutil.which(name) or shutil.which("ld." + name)), None)
        flags = [f"-DCMAKE_{kind}_LINKER_FLAGS=-fuse-ld={linker}" for kind in ("EXE", "SHARED") if linker]
        if shutil.which("ccache"):
            flags.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
            os.environ.update(CCACHE_BASEDIR=self.home, CCACHE_NOHASHDIR="1")
        self.run(["cmake", "-S", self.source, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                  "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON",
                  "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST", *flags, *options])

    def test_programs(self, build):
        """The test programs that have been built."""
        programs = re.findall(r"^((?:tests|fuzz)/\S*_tests): CXX_EXECUTABLE",
                              self.run(["ninja", "-C", build, "-t", "targets", "all"]), re.M)
        return [program for program in programs if os.path.exists(os.path.join(build, program))]

    def seen_with_threads(self):
        """The program in which ThreadSanitizer sees the fault that is planted; empty when it sees nothing."""
        build = os.path.join(self.home, "thread")
        self.configure(build, "-DTAVOMEND_THREAD=ON")
        built = subprocess.run(["ninja", "-C", build, "-j", str(self.threads), "thread_tests"], capture_output=True,
                               check=False)
        for target in self.test_programs(build) if built.returncode == 0 else []:
            if not self.passes(os.path.join(build, target), 600, of_threads=True):
                return os.path.basename(target)
        return ""

    def copy_tree(self):
        files = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                               capture_output=True, text=True, check=True).stdout.split("\n")
        wanted = {file for file in files if file and os.path.isfile(os.path.join(ROOT, file))}
        for file in wanted:
            source, target = os.path.join(ROOT, file), os.path.join(self.source, file)
            with open(source, "rb") as stream:
                content = stream.read()
            if os.path.isfile(target):
                with open(target, "rb") as stream:
                    if stream.read() == content:
                        continue
            os.makedirs(os.path.dirname(target), exist_ok=True)
            shutil.copy(source, target)
        for folder, _, names in os.walk(self.source):
            for name in names:
                if os.path.relpath(os.path.join(folder, name), self.source) not in wanted:
                    os.remove(os.path.join(folder, name))

    @staticmethod
    def run(command):
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            sys.exit("\n".join([" ".join(command), done.stdout[-3000:], done.stderr[-3000:]]))
        return done.stdout

    def passes(self, program, limit, of_threads=False):
        command = [program, "--gtest_fail_fast", "--gtest_brief=1"]
        if CAN_UNSHARE:
            script = f'mount --bind "{self.temp}" /tmp && mount -o remount,bind,ro / && exec "$@"'
            command = ["unshare", "-m", "--propagation", "private", "sh", "-c", script, "sh", *command]
        environment = dict(os.environ, TMPDIR="/tmp" if CAN_UNSHARE else self.temp)

        def limits():
            os.setsid()
            signal.signal(signal.SIGINT, signal.SIG_DFL)  # ignored behind a shell's "&"
            if not of_threads:  # whose shadow memory takes more addresses than there is memory
                resource.setrlimit(resource.RLIMIT_AS, (8 << 30, 8 << 30))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        child = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=self.temp,
                                 stdin=subprocess.DEVNULL, env=environment, preexec_fn=limits)
        try:
            return child.wait(limit) == 0
        except subprocess.TimeoutExpired:
            return False
        finally:
            try:
                os.killpg(child.pid, 9)
            except ProcessLookupError:
                pass
            child.wait()

    def order(self, fault):
        """The programs that could see it: the room's own first, then the quick ones."""
        source = os.path.join(self.source, fault.file)
        seen = [program for program in self.programs
                if fault.file.endswith(".h") or source in self.inputs[program]]
        room = fault.file.split("/")[1 if fault.file.startswith("platform/") else 0]
        return sorted(seen, key=lambda program: (f"/unit/{room}/" not in program, self.programs[program]))

    def judge(self, fault):
        """ "killed", "survived" or "invalid", and by what. """
        path = os.path.join(self.source, fault.file)
        with open(path, encoding="utf-8") as source:
            whole = source.read()
        lines = whole.split("\n")
        at = fault.line - 1
        assert tuple(lines[at:at + len(fault.old)]) == fault.old, fault
        lines[at:at + len(fault.old)] = fault.new
        try:
            with open(path, "w", encoding="utf-8") as source:
                source.write("\n".join(lines))
            built = subprocess.run(["ninja", "-C", self.build, "-j", str(self.threads)], capture_output=True,
                                   check=False)
            if built.returncode != 0:
                return "invalid", ""
            for program in self.order(fault):
                if not self.passes(program, 30 + 5 * self.programs[program]):
                    return "killed", os.path.basename(program)
            seen = self.seen_with_threads() if fault.kind == "drop a lock" else ""
            return ("killed", "thread: " + seen) if seen else ("survived", "")
        finally:
            with open(path, "w", encoding="utf-8") as source:
                source.write(whole)
            for left in os.listdir(self.temp):
                shutil.rmtree(os.path.join(self.temp, left), ignore_errors=True)


CAN_UNSHARE = subprocess.run(["unshare", "-m", "true"], capture_output=True, check=False).returncode == 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seed", type=int, default=1, help="of the sample")
    parser.add_argument("--count", type=int, default=100, help="how many faults that compile")
    parser.add_argument("--rooms", default=",".join(ROOMS), help="folders, with commas between them")
    parser.add_argument("--at", action="append", default=[], help="FILE or FILE:LINE; every fault there")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, help="copies of the tree")
    parser.add_argument("--list", action="store_true", help="show the faults, run nothing")
    options = parser.parse_args()
    faults = all_faults(options.rooms.split(","))
    if options.at:
        places = [place.partition(":") for place in options.at]
        faults = [fault for fault in faults
                  if any(fault.file == file and line in ("", str(fault.line)) for file, _, line in places)]
        options.count = len(faults)
    else:
        random.Random(options.seed).shuffle(faults)
    if options.list:
        print("\n".join(str(fault) for fault in sorted(faults, key=lambda fault: (fault.file, fault.line))))
        print(f"{len(faults)} faults")
        return 0
    waiting = queue.Queue()
    for fault in faults:
        waiting.put(fault)
    verdicts = {}
    lock = threading.Lock()

    def work(worker):
        while True:
            with lock:
                done = sum(verdict != "invalid" for verdict, _ in verdicts.values())
                if done >= options.count or waiting.empty():
                    return
                fault = waiting.get()
                verdicts[fault] = ("running", "")
            start = time.time()
            verdict = worker.judge(fault)
            with lock:
                verdicts[fault] = verdict
                if verdict[0] != "invalid":
                    print(f"{verdict[0]:9}{verdict[1]:24}{time.time() - start:5.0f} s  {fault}", flush=True)

    jobs = max(1, min(options.jobs, len(faults)))
    workers = [Worker(number, max(1, (os.cpu_count() or 1) // jobs)) for number in range(jobs)]
    for worker in workers:
        worker.prepare()
    threads = [threading.Thread(target=work, args=(worker,)) for worker in workers]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    survived = [fault for fault, verdict in verdicts.items() if verdict[0] == "survived"]
    killed = sum(verdict[0] == "killed" for verdict in verdicts.values())
    print("\nsurvived:" if survived else "")
    for fault in sorted(survived, key=lambda fault: (fault.file, fault.line)):
        print(f"  {fault}")
    print(f"{killed} killed, {len(survived)} survived of {killed + len(survived)} faults (seed {options.seed})")
    return 0


if __name__ == "__main__":
    sys.exit(main())
