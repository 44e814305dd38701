#!/usr/bin/env python3
"""Make what users install: a ZIP, a Windows Installer package for each kind of Windows, and lists.

The same commit gives the same bytes: every time stamp is the commit's, every id is derived from
what it names, and files are taken in the order of their names. What OUT had before stays there until
all is made.

usage: make_package.py BUILD HELP OUT VERSION
  BUILD    build folder of the release preset
  HELP     folder with ZSupport.chm and reference.html
  OUT      folder for the packages; it is replaced
  VERSION  such as 1.0.0, which the version resources of library and monitor have to confirm
"""

import hashlib
import os
import re
import shutil
import subprocess
import sys
import time
import zipfile
from pathlib import Path

import installer
import inventory
import registration

ROOT = Path(__file__).resolve().parent.parent
PROGRAMS = ["calculator.exe", "customer.exe", "demo.exe", "regfree.exe"]
EARLIEST = 315532800  # 1980, where the time of ZIP files begins


def source_time():
    """When the sources were as they are: the commit's time, which an exported tree has in a file."""
    if "SOURCE_DATE_EPOCH" in os.environ:
        return int(os.environ["SOURCE_DATE_EPOCH"])
    exported = re.search(r"^time (\d+)$", (ROOT / "packaging/commit.txt").read_text(), re.M)
    if exported:
        return int(exported[1])
    git = subprocess.run(["git", "-C", ROOT, "log", "-1", "--format=%ct"], capture_output=True, text=True,
                         env={**os.environ, "GIT_CEILING_DIRECTORIES": str(ROOT.parent)})
    return int(git.stdout) if git.returncode == 0 else EARLIEST


def copy_text(source, target, version=None):
    """With the line ends of Windows, and the version in the names of packages."""
    text = source if isinstance(source, str) else source.read_text()
    if version:
        text = re.sub(r"\bZSupport([- ])\d+\.\d+\.\d+", rf"ZSupport\g<1>{version}", text)
    target.write_text(text, newline="\r\n")


def stage_samples(build, folder):
    """With all that is needed to build them, and built."""
    for sample in filter(Path.is_dir, (ROOT / "samples").iterdir()):
        shutil.copytree(sample, folder / sample.name)
    shutil.copyfile(ROOT / "samples/CMakeLists.txt", folder / "CMakeLists.txt")
    for name in "Thermometer.h", "Thermometer.tlb":
        shutil.copyfile(build / "samples" / name, folder / "thermometer" / name)
    (folder / "programs").mkdir()
    for name in PROGRAMS:
        shutil.copyfile(build / "samples" / name, folder / "programs" / name)


def stage(build, help_folder, folder, version):
    """Everything that users get, in the layout in which they get it."""
    folder.mkdir(parents=True)
    for source in (build / "src/ZSupport.dll", build / "monitor/ZSupportMonitor.exe",
                   build / "typelib/ZSupport.tlb", build / "typelib/ZSupport.h",
                   help_folder / "ZSupport.chm", help_folder / "reference.html"):
        shutil.copyfile(source, folder / source.name)
    for name in installer.VERSIONED.values():
        if installer.file_version(folder / name) != f"{version}.0":
            raise SystemExit(f"make_package.py: the version resource of {name} is not of {version}")
    (folder / "ZSupport.Library.manifest").write_text(registration.manifest(ROOT))
    copy_text(ROOT / "packaging/README.txt", folder / "README.txt", version)
    copy_text(ROOT / "packaging/LICENCE.txt", folder / "LICENCE.txt")
    copy_text(inventory.notices(), folder / "NOTICES.txt")
    shutil.copytree(ROOT / "packaging/policies", folder / "policies")
    stage_samples(build, folder / "samples")


def make_zip(path, folder, files, epoch):
    stamp = time.gmtime(epoch)[:6]
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for file in files:
            info = zipfile.ZipInfo(f"{folder.name}/{file.relative_to(folder).as_posix()}", stamp)
            info.external_attr = 0o644 << 16
            info.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(info, file.read_bytes())


def make(build, help_folder, out, version):
    epoch = max(source_time(), EARLIEST)
    folder = out / f"ZSupport-{version}"
    stage(build, help_folder, folder, version)
    files = sorted(path for path in folder.rglob("*") if path.is_file())
    for file in files:
        os.utime(file, (epoch, epoch))
    make_zip(out / f"{folder.name}.zip", folder, files, epoch)
    clock = ["env", "TZ=UTC", "faketime", "-f", time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(epoch))]
    for architecture in installer.TEMPLATES:
        installer.make_msi(out / f"{folder.name}-{architecture}.msi", folder, version, architecture, clock)
    (out / f"{folder.name}.spdx.json").write_text(inventory.spdx(folder, files, version, epoch))
    made = sorted(path for path in out.iterdir() if path.is_file())
    sums = [f"{hashlib.sha256(path.read_bytes()).hexdigest()}  {path.name}\n" for path in made]
    (out / "SHA256SUMS").write_text("".join(sums))


def main(build, help_folder, out, version):
    out = Path(out).resolve()
    new = out.with_name(out.name + ".new")
    shutil.rmtree(new, ignore_errors=True)
    make(Path(build).resolve(), Path(help_folder).resolve(), new, version)
    shutil.rmtree(out, ignore_errors=True)
    new.rename(out)
    print((out / "SHA256SUMS").read_text(), end="")


if __name__ == "__main__":
    if len(sys.argv) != 5:
        raise SystemExit(__doc__)
    main(*sys.argv[1:])
