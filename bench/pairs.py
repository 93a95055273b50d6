"""Differences between published files: size, and the cost of making and of applying, beside other differs."""
import glob
import os
import shutil
import subprocess
import tarfile

from measuring import cost_of, run, say

COLUMNS = [("pair", 38), ("differ", 8), ("old", 11), ("new", 11), ("size", 10), ("make s", 8), ("wall", 8), ("MiB", 6),
           ("apply s", 8), ("wall", 8), ("MiB", 6)]

# Each: a command that makes $DIFF from $OLD and $NEW, and one that makes $OUT from $OLD and $DIFF.
DIFFERS = {
    "zstd": ('zstd -q -f --patch-from="$OLD" -19 --long=31 "$NEW" -o "$DIFF"',
             'zstd -q -f -d --patch-from="$OLD" --long=31 "$DIFF" -o "$OUT"'),
    "bsdiff": ('bsdiff "$OLD" "$NEW" "$DIFF"', 'bspatch "$OLD" "$OUT" "$DIFF"'),
    "xdelta3": ('xdelta3 -q -f -e -9 -S lzma -B 2147483648 -s "$OLD" "$NEW" "$DIFF"',
                'xdelta3 -q -f -d -B 2147483648 -s "$OLD" "$DIFF" "$OUT"'),
    "ours": ('"$TVPK" diff "$OLD" "$NEW" "$DIFF"', '"$TVPK" patch "$DIFF" "$OLD" "$OUT"'),
}


def npm(cache, package, version):
    """The folder of a package; nothing where it cannot be fetched."""
    folder = os.path.join(cache, f"{package}-{version}".replace("/", "_"))
    if not os.path.isdir(folder):
        part = folder + ".part"
        shutil.rmtree(part, ignore_errors=True)
        os.makedirs(part)
        if shutil.which("npm") is None or subprocess.run(
                ["npm", "pack", "--silent", f"{package}@{version}"], cwd=part, stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL, check=False).returncode != 0:
            say(f"{package} {version} cannot be fetched with npm: left out")
            return None
        archive = glob.glob(os.path.join(part, "*.tgz"))[0]
        with tarfile.open(archive) as tar:
            tar.extractall(part)
        os.remove(archive)
        os.rename(part, folder)
    return folder


def deb(cache, package, version):
    """The same of a Debian package; the archive keeps few old versions."""
    folder = os.path.join(cache, f"{package}-{version}")
    if not os.path.isdir(folder):
        part = folder + ".part"
        shutil.rmtree(part, ignore_errors=True)
        os.makedirs(part)
        if subprocess.run(["apt-get", "download", "-qq", f"{package}={version}"], cwd=part, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, check=False).returncode != 0:
            say(f"{package} {version} is not in the package archives of this machine (any more): left out")
            return None
        archive = glob.glob(os.path.join(part, "*.deb"))[0]
        run("dpkg-deb", "-x", archive, part)
        os.remove(archive)
        os.rename(part, folder)
    return folder


def file_in(folder, suffix):
    return next(path for path in sorted(glob.glob(os.path.join(folder, "**"), recursive=True))
                if path.endswith(suffix) and os.path.isfile(path))


def packed(programs, folder):
    """A package's folder as a bundle file."""
    path = folder + ".vab"
    if not os.path.exists(path):
        with open(os.path.join(folder, "package", "manifest.json"), "w", encoding="utf-8") as manifest:
            manifest.write('{"bundleName": "com.bench", "versionCode": 1, "versionName": "1", "module": "entry"}')
        run(programs.tvpk, "pack", os.path.join(folder, "package"), path)
    return path


def published(programs, cache):
    """Name, old and new file of each pair that can be had."""
    def pair(name, fetch, package, versions, pick):
        folders = [fetch(cache, package, version) for version in versions]
        if None not in folders:
            yield f"{name} {versions[0]} {versions[1]}", *(pick(folder) for folder in folders)

    def apk(folder):
        return file_in(folder, folder.rsplit("-", 1)[1] + ".apk" if "uiautomator2" in folder else ".apk")

    def library(folder):
        return file_in(folder, ".node")

    def jar(folder):
        return os.path.realpath(os.path.join(folder, "usr/share/java/tomcat10-catalina.jar"))

    def whole(folder):
        return packed(programs, folder)

    yield from pair("settings", npm, "io.appium.settings", ("8.0.6", "8.0.8"), apk)
    yield from pair("settings", npm, "io.appium.settings", ("7.1.9", "7.1.11"), apk)
    yield from pair("catalina.jar", deb, "libtomcat10-java", ("10.1.55-1~deb12u1", "10.1.60-1~deb12u1"), jar)
    yield from pair("uiautomator2-server", npm, "appium-uiautomator2-server", ("6.0.0", "10.6.6"), apk)
    for machine in ("arm64", "x64"):  # a native library by itself
        yield from pair(f"library for {machine}", npm, f"@rollup/rollup-linux-{machine}-gnu", ("4.40.0", "4.44.0"),
                        library)
        yield from pair(f"library for {machine}, packed", npm, f"lightningcss-linux-{machine}-gnu", ("1.31.1", "1.32.0"),
                        whole)
    yield from pair("monaco-editor", npm, "monaco-editor", ("0.56.0", "0.57.0"), whole)
    yield from pair("onnxruntime-node", npm, "onnxruntime-node", ("1.29.0", "1.30.0"), whole)


def compare(programs, report, cache, name, old, new):
    paths = {"OLD": old, "NEW": new, "DIFF": os.path.join(cache, "difference"), "OUT": os.path.join(cache, "outcome"),
             "TVPK": programs.tvpk}
    os.environ.update(paths)
    for differ, (make, apply) in DIFFERS.items():
        for path in (paths["DIFF"], paths["OUT"]):
            if os.path.exists(path):
                os.remove(path)
        if differ != "ours" and shutil.which(differ) is None:
            report.note(f"{differ} is not installed")
            continue
        made = cost_of(programs, "exec " + make)
        size = os.path.getsize(paths["DIFF"])
        applied = cost_of(programs, "exec " + apply)
        run("cmp", new, paths["OUT"])
        report.row(name, differ, os.path.getsize(old), os.path.getsize(new), size, made.cpu, made.wall,
                   made.peak >> 10, applied.cpu, applied.wall, applied.peak >> 10)


def play(programs, report, cache, files):
    report.begin("Pairs: sizes in bytes, seconds of CPU and by the clock, peak with mapped files", COLUMNS)
    if files:
        compare(programs, report, cache, os.path.basename(files[1]), *map(os.path.abspath, files))
        return
    for name, old, new in published(programs, cache):
        compare(programs, report, cache, name, old, new)
