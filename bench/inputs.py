"""Applications, packages and devices that are made on the spot."""
import json
import os
import random
import shutil
import time

from measuring import run

FILE_SIZE_MAX = 256 << 10  # so that one file in ten is about one byte in ten
SETTLING = 3  # seconds until a factory file is no longer too new to be remembered
EDITED_PART = 10  # one file of so many is edited
SYSTEM_FOLDERS = ("/usr/bin", "/usr/lib", "/usr/share")


def system_files():
    """Real files of this system, in an order that does not change."""
    for folder in SYSTEM_FOLDERS:
        for directory, names, files in os.walk(folder):
            names.sort()
            for name in sorted(files):
                path = os.path.join(directory, name)
                if not os.path.islink(path) and os.access(path, os.R_OK) and os.path.getsize(path) > 0:
                    yield path


def edited(content, chance):
    """A few places of it say something else, and one has grown."""
    content = bytearray(content)
    for _ in range(3):
        place = chance.randrange(len(content))
        content[place:place + 8] = chance.randbytes(min(8, len(content) - place))
    place = chance.randrange(len(content))
    content[place:place] = chance.randbytes(16)
    return bytes(content)


def write(path, content):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)


def manifest(name, version):
    return json.dumps({"bundleName": name, "versionCode": version, "versionName": f"{version}.0",
                       "module": "entry"}).encode()


def make_application(programs, folder, size):
    """Two versions of an application: half of it system files, of large ones the start, and half media, which do not
    compress; every tenth file is edited in the second. Gives their paths."""
    chance = random.Random(size)
    trees = [os.path.join(folder, f"v{version}") for version in (1, 2)]
    for version, tree in enumerate(trees, 1):
        write(os.path.join(tree, "manifest.json"), manifest("com.bench", version))
    made = number = 0
    files = system_files()
    while made < size:
        if made < size // 2:
            path = next(files, None)
            if path is None:
                raise SystemExit("this system has too few files for an application of that size")
            with open(path, "rb") as file:
                content = file.read(min(FILE_SIZE_MAX, size // 2 - made))
            name = f"files/{number}{os.path.splitext(path)[1]}"
        else:
            content = chance.randbytes(min(FILE_SIZE_MAX, size - made))
            name = f"media/{number}.bin"
        write(os.path.join(trees[0], name), content)
        write(os.path.join(trees[1], name), edited(content, chance) if number % EDITED_PART == 0 else content)
        made += len(content)
        number += 1
    packed = [tree + ".vab" for tree in trees]
    for tree, path in zip(trees, packed):
        run(programs.tvpk, "pack", tree, path)
        shutil.rmtree(tree)
    return packed


def make_small_applications(programs, folder, count):
    """Bundle files of two versions for many small applications; gives (name, old, new) for each."""
    applications = []
    for number in range(count):
        name = f"com.bench.app{number:04}"
        paths = []
        for version in (1, 2):
            tree = os.path.join(folder, "tree")
            write(os.path.join(tree, "manifest.json"), manifest(name, version))
            chance = random.Random(number)
            text = b"".join(b"line %d of %d\n" % (line, number) for line in range(400)) + chance.randbytes(2000)
            write(os.path.join(tree, "code.txt"), text + b"version %d\n" % version)
            path = os.path.join(folder, f"{name}.v{version}.vab")
            run(programs.tvpk, "pack", tree, path)
            shutil.rmtree(tree)
            paths.append(path)
        applications.append((name, *paths))
    return applications


def make_keys(programs, folder):
    keys = os.path.join(folder, "keys")
    run(programs.tvpk, "keygen", "--out", keys)
    return os.path.join(keys, "tavomend_private.pem"), os.path.join(keys, "zkkey_tvpk_v1.pem")


def factory_path(name):
    return f"/system/app/{name}/{name}.vab"


def make_device(programs, folder, public_key, applications):
    """A device whose factory applications are of version 1."""
    for name, old, *_ in applications:
        path = folder + factory_path(name)
        os.makedirs(os.path.dirname(path))
        shutil.copy(old, path)
    run(programs.tavomend, "--root", folder, "device", "init", "--base-version", "1.0.0", "--public-key", public_key)


def release_of(applications, patch="hot", **more):
    """A release file's content; more: what is said of each file."""
    return {
        "version": "patch01",
        "products": [{"model": "bench", "baseVersion": "1.0.0"}],
        "apps": [{"patch": patch, "files": [{"base": factory_path(name), "old": old, "new": new, **more}]}
                 for name, old, new in applications],
    }


def make_package(programs, folder, release, private_key, *options):
    """Gives the paths of the package and its signature."""
    os.makedirs(folder, exist_ok=True)
    path = os.path.join(folder, "release.json")
    with open(path, "w", encoding="utf-8") as file:
        json.dump(release, file)
    out = os.path.join(folder, "out")
    run(programs.tvpk, "make", path, "--key", private_key, "--out", out, *options)
    return os.path.join(out, "app.tvpk"), os.path.join(out, "tavomend_sign.bin")


class Copies:
    """Fresh copies of a device, for runs that change it. With the programs, each is one that stood for a while and was
    booted: it knows its factory files, which it does not believe of files that are as new as a copy's."""

    def __init__(self, device, programs=None):
        self.device = device
        self.copy = device + ".copy"
        self.programs = programs

    def fresh(self):
        shutil.rmtree(self.copy, ignore_errors=True)
        run("cp", "-a", self.device, self.copy)
        run("sync", "-f", self.copy)
        if self.programs is not None:
            time.sleep(SETTLING)
            run(self.programs.tavomend, "--root", self.copy, "boot")
        return self.copy
