"""A whole install beside the updaters that the distribution has: a signed update with one file of 58 MB."""
import os
import shutil

import inputs
from measuring import Side, run, side_by_side

SIZE = 58_000_000


class Other:
    """An updater with its own update made from the new file; what it writes is to be the new file."""

    def __init__(self, folder, new):
        self.folder = os.path.join(folder, self.name)
        self.target = os.path.join(self.folder, "target")
        self.new = new
        os.makedirs(self.folder)

    @classmethod
    def missing(cls):
        return [tool for tool in cls.tools if shutil.which(tool) is None]

    def file(self, name, content):
        path = os.path.join(self.folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(content)
        return path

    def certificate(self):
        run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "key.pem", "-out", "cert.pem",
            "-days", "30", "-subj", "/CN=bench", "-addext", "extendedKeyUsage=emailProtection,codeSigning",
            cwd=self.folder)


class SwUpdate(Other):
    """A file that is written as it is, and then moved in place."""
    name = "swupdate"
    tools = ["swupdate", "cpio"]

    def side(self):
        self.certificate()
        shutil.copy(self.new, self.folder)
        name = os.path.basename(self.new)
        digest = run("sha256sum", self.new).split()[0]
        self.file("sw-description", f"""software = {{
    version = "1.0";
    hardware-compatibility: [ "1.0" ];
    files: ( {{ filename = "{name}"; path = "{self.target}"; sha256 = "{digest}"; atomic-install = true; }} );
}}
""")
        run("openssl", "cms", "-sign", "-in", "sw-description", "-out", "sw-description.sig", "-signer", "cert.pem",
            "-inkey", "key.pem", "-outform", "DER", "-nosmimecap", "-binary", cwd=self.folder)
        run("sh", "-c", f"printf 'sw-description\\nsw-description.sig\\n{name}\\n' | cpio -o -H crc >update.swu",
            cwd=self.folder)
        return Side([["swupdate", "-H", "bench:1.0", "-k", f"{self.folder}/cert.pem", "-i",
                      f"{self.folder}/update.swu"]],
                    lambda: run("rm", "-f", self.target))


class Rauc(Other):
    """An image that goes to a slot, here a file; the service that installs is started and ended with it."""
    name = "rauc"
    tools = ["rauc", "mksquashfs", "dbus-run-session", "gdbus"]

    def side(self):
        self.certificate()
        self.file("content/manifest.raucm",
                  "[update]\ncompatible=bench\nversion=1\n\n[image.app]\nfilename=app.img\n")
        shutil.copy(self.new, os.path.join(self.folder, "content/app.img"))
        run("rauc", "bundle", "--cert=cert.pem", "--key=key.pem", "content", "update.raucb", cwd=self.folder)
        os.makedirs(os.path.join(self.folder, "mounts"))
        for slot in ("booted", "target"):
            run("truncate", "-s", str(os.path.getsize(self.new)), slot, cwd=self.folder)
        config = self.file("system.conf", f"""[system]
compatible=bench
bootloader=noop
mountprefix={self.folder}/mounts
bundle-formats=plain verity
[keyring]
path={self.folder}/cert.pem
[slot.rootfs.0]
device={self.folder}/booted
type=raw
bootname=booted
[slot.app.0]
device={self.target}
type=raw
""")
        script = self.file("install.sh", f"""export DBUS_STARTER_BUS_TYPE=session
rauc --conf={config} --override-boot-slot=booted service & service=$!
gdbus wait --session de.pengutronix.rauc && rauc install {self.folder}/update.raucb
code=$?
kill $service
wait $service
exit $code
""")
        return Side([["dbus-run-session", "--", "sh", script]])


def play(programs, report, folder, rounds):
    report.begin("A whole install: seconds of CPU and by the clock, peak in MiB; each ours and theirs",
                 [("updater", 24), ("CPU", 8), ("CPU", 8), ("wall", 8), ("wall", 8), ("peak", 6), ("peak", 6)])
    folder = os.path.join(folder, "install")
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    old, new = inputs.make_application(programs, folder, SIZE)
    private_key, public_key = inputs.make_keys(programs, folder)
    applications = [("com.bench", old, new)]
    device = os.path.join(folder, "device")
    inputs.make_device(programs, device, public_key, applications)
    package = inputs.make_package(programs, os.path.join(folder, "patch"),
                                  inputs.release_of(applications, whole=True), private_key)
    copies = inputs.Copies(device, programs)
    host = [programs.tavomend, "--root", copies.copy]
    ours = Side([[*host, "deliver", *package], [*host, "apply"]], copies.fresh)
    for updater in (SwUpdate, Rauc):
        if updater.missing():
            report.note(f"{updater.name} is left out: missing {', '.join(updater.missing())}")
            continue
        other = updater(folder, new)
        a, b = side_by_side(programs, ours, other.side(), rounds)
        run("cmp", new, other.target)
        report.row(other.name, a.cpu, b.cpu, a.wall, b.wall, int(a.peak) >> 10, int(b.peak) >> 10)
    shutil.rmtree(folder)
