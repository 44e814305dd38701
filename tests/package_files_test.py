#!/usr/bin/env python3
"""The packages as files: made again to the same bytes, listed truly, sound as databases, and with
samples that build from what is packed.

usage: package_files_test.py BUILD_ROOT VERSION     with the packages made
"""

import hashlib
import json
import re
import shutil
import subprocess
import sys
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def run(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def expect(condition, what):
    if not condition:
        raise SystemExit(f"package files test FAILED: {what}")


def exported(work):
    """The sources without git's knowledge; from a changed checkout, the sources themselves."""
    if subprocess.run(["git", "-C", ROOT, "diff", "--quiet", "HEAD"], capture_output=True).returncode:
        return ROOT
    subprocess.run(f"git -C '{ROOT}' archive --prefix=export/ HEAD | tar x -C '{work}'", shell=True, check=True)
    return work / "export"


def test_same_bytes(build, packages, work, version):
    made = build / "release", build / "help", work / "again"
    run(exported(work) / "packaging/make_package.py", *made, version)
    run("diff", "--recursive", packages, work / "again")
    run("sha256sum", "--check", "SHA256SUMS", cwd=packages)
    # A failure leaves what was there.
    broken = subprocess.run([ROOT / "packaging/make_package.py", *made, "0.9.0"], capture_output=True)
    expect(broken.returncode and (work / "again/SHA256SUMS").exists(), "a failure deletes the old packages")


def test_lists(packages, version):
    spdx = json.loads((packages / f"ZSupport-{version}.spdx.json").read_text())
    listed = {file["fileName"][2:]: file["checksums"][1]["checksumValue"] for file in spdx["files"]}
    with zipfile.ZipFile(packages / f"ZSupport-{version}.zip") as archive:
        packed = {name.split("/", 1)[1]: archive.read(name) for name in archive.namelist()}
    expect(listed == {name: hashlib.sha256(data).hexdigest() for name, data in packed.items()}, "the SPDX list")
    parts = {package["name"].split(" (")[0] for package in spdx["packages"]}
    expect({"C++ library", "compiler run-time", "mingw-w64 run-time", "winpthreads"} <= parts, f"parts: {parts}")
    notices = packed["NOTICES.txt"].decode()
    for words in "GCC RUNTIME LIBRARY EXCEPTION", "Lockless", "mingw-w64 project", "TERMS AND CONDITIONS":
        expect(words in notices, f"NOTICES.txt lacks {words}")
    for name in re.findall(r"^  (\w\S+[.\\][^\s,]*)", packed["README.txt"].decode(), re.M):
        expect(any(each.startswith(name.replace("\\", "/")) for each in packed), f"README.txt names {name}")


def rows(package, table):
    head, _, _, *lines = run("msiinfo", "export", package, table).rstrip("\n").split("\n")
    return [dict(zip(head.split("\t"), line.split("\t"))) for line in lines]


def test_database(package, version):
    hashed = {row["File_"] for row in rows(package, "MsiFileHash")}
    unhashed = {(row["FileName"].split("|")[-1], row["Version"], row["Language"])
                for row in rows(package, "File") if row["File"] not in hashed}
    expect(unhashed == {(name, f"{version}.0", "1033") for name in ("ZSupport.dll", "ZSupportMonitor.exe")},
           f"without a hash: {unhashed}")
    for row in rows(package, "File") + rows(package, "Directory") + rows(package, "Shortcut"):
        short = (row.get("FileName") or row.get("Name") or row["DefaultDir"]).split("|")[0]
        expect(re.fullmatch(r"[\w~-]{1,8}(\.[\w~-]{1,3})?|\.|SourceDir", short), f"short name {short}")
    values = {row["Property"]: row["Value"] for row in rows(package, "Property")}
    expect((values["ALLUSERS"], values["MSIINSTALLPERUSER"]) == ("2", "1"), "for whom")
    wide = [row for row in rows(package, "Component") if int(row["Attributes"]) & 256]
    system = "x64" if package.name.endswith("x64.msi") else "Intel"
    expect(len(wide) == (system == "x64") and f"Template: {system};1033" in run("msiinfo", "suminfo", package), system)


def test_samples(packages, work, version):
    with zipfile.ZipFile(packages / f"ZSupport-{version}.zip") as archive:
        archive.extractall(work)
    folder = work / f"ZSupport-{version}"
    # On a disk that knows no case, a header must not include itself by another spelling.
    paths = [str(path) for path in folder.rglob("*")]
    expect(len({path.lower() for path in paths}) == len(paths), "names that differ in case only")
    run("cmake", "-S", "samples", "-B", "build", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
        f"-DCMAKE_TOOLCHAIN_FILE={ROOT}/cmake/mingw-i686.cmake", cwd=folder)
    run("cmake", "--build", "build", cwd=folder)
    for program in (folder / "samples/programs").iterdir():
        expect((folder / "build" / program.name).exists(), f"{program.name} is not built")


def main(build, version):
    build = Path(build).resolve()
    packages, work = build / "package", build / "package-files-test"
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir()
    test_same_bytes(build, packages, work, version)
    test_lists(packages, version)
    for package in sorted(packages.glob("*.msi")):
        test_database(package, version)
    test_samples(packages, work, version)
    print("package files: all is well")


if __name__ == "__main__":
    main(*sys.argv[1:])
