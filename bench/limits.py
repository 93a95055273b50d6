"""Whether a difference is ever larger than what the zstd tool makes, on files of many kinds made by chance."""
import functools
import io
import math
import os
import random
import subprocess
import sys
import tempfile
import zipfile

from inputs import system_files
from measuring import run

COLUMNS = [("number", 6), ("old", 9), ("new", 9), ("ours", 9), ("zstd", 9), ("ratio", 6), ("kind", 60)]
ALLOWED = 64  # bytes
SHOWN = 20  # one pair of so many is, and each that is beyond
TOOLS = (["--patch-from={old}"], ["--single-thread", "--patch-from={old}"],
         ["--long=31", "--patch-from={old}"], ["--long=31", "--single-thread", "--patch-from={old}"])


def words(chance, size):
    lexicon = [bytes(chance.choices(b"etaoinshrdlucmfw", k=chance.randint(2, 9))) for _ in range(500)]
    text = bytearray()
    while len(text) < size:
        text += chance.choice(lexicon) + b" "
    return bytes(text[:size])


def records(chance, size):
    width = chance.choice((3, 8, 12, 20, 32, 100))
    common = chance.randbytes(chance.randrange(width))
    return b"".join(common + chance.randbytes(width - len(common)) for _ in range(size // width))


def ramps(chance, size):
    step, width = chance.randint(1, 70000), chance.choice((2, 3, 4, 8))
    limit = 1 << 8 * width
    return b"".join((number * step % limit).to_bytes(width, "little") for number in range(size // width))


def runs(chance, size):
    text = bytearray()
    while len(text) < size:
        text += bytes([chance.randrange(4)]) * chance.randint(1, 3000)
    return bytes(text[:size])


def letters(chance, size):
    return bytes(chance.choices(b"ab" if chance.random() < 0.5 else bytes(range(64)), k=size))


def log(chance, size):
    text = bytearray()
    time = 0
    while len(text) < size:
        time += chance.randrange(1000)
        text += b"%010d unit%02d: job %d took %d ms\n" % (time, chance.randrange(40), chance.randrange(99999),
                                                         chance.randrange(500))
    return bytes(text[:size])


@functools.lru_cache(maxsize=None)
def system_paths():
    return list(system_files())


def system(chance, size):
    text = bytearray()
    while len(text) < size:
        with open(chance.choice(system_paths()), "rb") as file:
            text += file.read(size - len(text))
    return bytes(text)


def noise(chance, size):
    return chance.randbytes(size)


def same(_, content):
    return content


def edited(chance, content):
    content = bytearray(content)
    for _ in range(1 + len(content) // chance.choice((20, 300, 5000, 100000))):
        place = chance.randrange(len(content) + 1)
        content[place:place + chance.randrange(4)] = chance.randbytes(chance.randrange(6))
    return bytes(content)


def every_ninth(chance, content):
    step, flip = chance.randint(2, 60), chance.randint(1, 255)
    content = bytearray(content)
    content[::step] = bytes(byte ^ flip for byte in content[::step])
    return bytes(content)


def shuffled(chance, content):
    size = chance.choice((12, 32, 200, 4096, 65536))
    parts = [content[at:at + size] for at in range(0, len(content), size)]
    chance.shuffle(parts)
    return b"".join(parts)


def cut(chance, content):
    start = chance.randrange(len(content) + 1)
    return content[start:start + chance.randrange(len(content) + 1)]


def doubled(_, content):
    return content + content


def backwards(_, content):
    return content[::-1]


def foreign(chance, content):
    return chance.choice(SOURCES)(chance, len(content))


def merged(chance, content):
    return content[len(content) // 2:] + foreign(chance, content[:len(content) // 2])


SOURCES = (words, records, ramps, runs, letters, log, system, noise)
CHANGES = (same, edited, edited, edited,  # as most updates are
           every_ninth, shuffled, cut, doubled, backwards, foreign, merged)


def archive_of(members, level):
    buffer = io.BytesIO()
    method = zipfile.ZIP_DEFLATED if level else zipfile.ZIP_STORED
    with zipfile.ZipFile(buffer, "w") as archive:
        for name, content in members:
            archive.writestr(zipfile.ZipInfo(name), content, method, level)
    return buffer.getvalue()


def pair(chance, least, size_max):
    """Two files and what they are."""
    size_min = max(least, chance.choice((1, size_max // 16)))  # edge cases are small, trouble is large
    size = round(math.exp(chance.uniform(math.log(size_min), math.log(size_max))))
    source, change = chance.choice(SOURCES), chance.choice(CHANGES)
    old = source(chance, size)
    new = change(chance, old)
    kind = f"{source.__name__} {change.__name__}"
    level = chance.choice((None, None, 0, 1, 6, 9))
    if level is None:
        return old, new, kind
    beside = chance.choice(SOURCES)(chance, chance.randrange(size + 1))
    return (archive_of([("a", old), ("b", beside)], level), archive_of([("b", beside), ("a", new)], level),
            f"{kind}, zip -{level}")


def size_by_tool(options, old, new):
    done = subprocess.run(["zstd", "-q", "-19", "-c", *(word.format(old=old) for word in options), new],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    return len(done.stdout) if done.returncode == 0 else sys.maxsize  # it refuses an empty old file


def play(programs, report, folder, numbers, least, size_max):
    """The same numbers give the same files, where the system's files are the same. Ends with failure when a difference
    is too large."""
    report.begin("Limits: our differences beside the smallest of the zstd tool's", COLUMNS)
    with tempfile.TemporaryDirectory(dir=folder) as place:
        beyond = sum(not is_small(programs, report, place, number, least, size_max) for number in numbers)
    report.note(f"{len(numbers)} pairs, {beyond} beyond {ALLOWED} bytes more than the tool's")
    return beyond == 0


def is_small(programs, report, place, number, least, size_max):
    old, new, out = (os.path.join(place, name) for name in ("old", "new", "out"))
    before, after, kind = pair(random.Random(number), least, size_max)
    for path, content in ((old, before), (new, after)):
        with open(path, "wb") as file:
            file.write(content)
    run(programs.tvpk, "diff", old, new, out)
    ours = os.path.getsize(out)
    theirs = min(size_by_tool(options, old, new) for options in TOOLS)
    if ours > theirs + ALLOWED or number % SHOWN == 0:
        report.row(number, len(before), len(after), ours, theirs, round(ours / theirs, 3), kind)
    return ours <= theirs + ALLOWED
