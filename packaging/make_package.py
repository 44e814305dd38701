#!/usr/bin/env python3
"""Make the packages that users install: a ZIP and a Windows Installer package.

The same commit gives the same bytes: every time stamp is the commit's, every id is derived from
what it names, and files are taken in the order of their names.

usage: make_package.py BUILD OUT VERSION EPOCH
  BUILD    build folder of the release preset
  OUT      folder for the packages
  VERSION  such as 1.0.0
  EPOCH    seconds since 1970: the time of the commit
"""

import os
import re
import shutil
import subprocess
import sys
import time
import uuid
import zipfile
from pathlib import Path
from xml.sax.saxutils import quoteattr

import registration

ROOT = Path(__file__).resolve().parent.parent
NAMESPACE = uuid.UUID("5b2c7f60-93a1-4d0e-8a4f-1e6d7c3b9f28")
UPGRADE_CODE = "{E7A3C5D1-2B84-4F69-9C0D-6A1F8E3B5D72}"


def identity(name):
    """A GUID that is always the same for the same name."""
    return "{" + str(uuid.uuid5(NAMESPACE, name)).upper() + "}"


def stage(build, folder):
    """Everything that users get, in the layout in which they get it."""
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    for source in [build / "src/ZSupport.dll", build / "typelib/ZSupport.tlb",
                   build / "typelib/ZSupport.h", ROOT / "docs/reference.md",
                   ROOT / "packaging/LICENCE.txt"]:
        shutil.copyfile(source, folder / source.name)
    (folder / "ZSupport.Library.manifest").write_text(registration.manifest(ROOT))
    for sample in filter(Path.is_dir, (ROOT / "samples").iterdir()):
        shutil.copytree(sample, folder / "samples" / sample.name)
    return sorted(path for path in folder.rglob("*") if path.is_file())


def make_zip(path, folder, files, epoch):
    stamp = time.gmtime(epoch)[:6]
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for file in files:
            name = f"{folder.name}/{file.relative_to(folder).as_posix()}"
            info = zipfile.ZipInfo(name, stamp)
            info.external_attr = 0o644 << 16
            info.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(info, file.read_bytes())


def file_element(file, folder):
    relative = file.relative_to(folder).as_posix()
    name = "ZSupportDll" if relative == "ZSupport.dll" else "f" + uuid.uuid5(NAMESPACE, relative).hex
    return f'<File Id="{name}" Name={quoteattr(file.name)} Source={quoteattr(relative)} KeyPath="yes"/>'


def registry_element(key, name, value):
    attributes = f'Root="HKMU" Key={quoteattr(key)} Type="string" Value={quoteattr(value)}'
    return f"<RegistryValue {attributes}" + (f" Name={quoteattr(name)}/>" if name else "/>")


class Components:
    """Collects the directory tree and the components of each feature."""

    def __init__(self, folder):
        self.folder = folder
        self.references = {"Library": [], "Samples": []}

    def component(self, name, feature, content):
        self.references[feature].append(name)
        return f'<Component Id="{name}" Guid="{identity(name)}">{content}</Component>'

    def directory(self, path):
        """The files of a folder, a component each, and its folders."""
        xml = ""
        for entry in sorted(path.iterdir()):
            relative = entry.relative_to(self.folder).as_posix()
            name = "c" + uuid.uuid5(NAMESPACE, relative).hex
            if entry.is_dir():
                xml += f'<Directory Id="d{name}" Name={quoteattr(entry.name)}>{self.directory(entry)}</Directory>'
            elif relative == "ZSupport.dll":
                rows = registration.rows(ROOT, "[#ZSupportDll]", "[INSTALLDIR]")
                content = file_element(entry, self.folder) + "".join(registry_element(*row) for row in rows)
                xml += self.component("Server", "Library", content)
            else:
                feature = "Samples" if relative.startswith("samples/") else "Library"
                xml += self.component(name, feature, file_element(entry, self.folder))
        return xml

    def registry(self, name, rows):
        """A component of registry values alone; the first one tells whether it is there."""
        first = registry_element(*rows[0]).replace("/>", ' KeyPath="yes"/>')
        return self.component(name, "Library", first + "".join(registry_element(*row) for row in rows[1:]))


def product(folder, version):
    components = Components(folder)
    tree = (components.directory(folder)
            + components.registry("SharedInterface", registration.shared_interface_rows(ROOT))
            + components.registry("EventSource", registration.machine_rows("[#ZSupportDll]")))

    def feature(name, title, level):
        references = "".join(f'<ComponentRef Id="{name}"/>' for name in components.references[name])
        return f'<Feature Id="{name}" Title="{title}" Level="{level}">{references}</Feature>'

    return f"""<?xml version="1.0" encoding="utf-8"?>
<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
  <Product Id="{identity('product ' + version)}" Name="ZSupport" Version="{version}"
           Manufacturer="Zarnow Instruments Ltd." Language="1033" UpgradeCode="{UPGRADE_CODE}">
    <Package InstallerVersion="500" Compressed="yes" Description="ZSupport shared support library"/>
    <MajorUpgrade DowngradeErrorMessage="A newer version of ZSupport is installed."/>
    <Media Id="1" Cabinet="zsupport.cab" EmbedCab="yes"/>
    <Property Id="ALLUSERS" Value="1"/>
    <Directory Id="TARGETDIR" Name="SourceDir">
      <Directory Id="ProgramFilesFolder">
        <Directory Id="INSTALLDIR" Name="ZSupport">{tree}</Directory>
      </Directory>
    </Directory>
    {feature("Library", "ZSupport", 1)}
    {feature("Samples", "Sample programs", 1000)}
  </Product>
</Wix>
"""


# What wixl cannot say. The interface of standard collections belongs to everybody: it is described
# only where nobody else has described it.
QUERIES = [
    "UPDATE Registry SET Root = -1 WHERE Root = 4",
    "INSERT INTO InstallExecuteSequence (Action, Sequence) VALUES ('AppSearch', 50)",
    "INSERT INTO AppSearch (Property, Signature_) VALUES ('COLLECTIONLIBRARY', 'CollectionLibrary')",
    "INSERT INTO RegLocator (Signature_, Root, `Key`, Type) VALUES ('CollectionLibrary', 0, "
    "'Interface\\{A4C46780-499F-101B-BB78-00AA00383CBB}\\TypeLib', 2)",
    "UPDATE Component SET Condition = 'ALLUSERS = 1' WHERE Component = 'EventSource'",
    "UPDATE Component SET Condition = 'NOT COLLECTIONLIBRARY OR COLLECTIONLIBRARY = "
    "\"{EB457140-75E3-41DC-9BFB-3361FC42A7B6}\"' WHERE Component = 'SharedInterface'",
]


def make_msi(path, folder, version, epoch):
    source = path.with_suffix(".wxs")
    source.write_text(product(folder, version))
    clock = ["faketime", "-f", time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(epoch))]
    environment = {**os.environ, "TZ": "UTC"}
    subprocess.run([*clock, "wixl", "-o", path, source], cwd=folder, env=environment, check=True)
    for query in QUERIES:
        subprocess.run([*clock, "msibuild", path, "-q", query], env=environment, check=True)
    source.unlink()
    # The package code, which is random: of the same length, derived from the rest.
    data = path.read_bytes()
    summary = subprocess.run(["msiinfo", "suminfo", path], capture_output=True, text=True, check=True)
    code = re.search(r"\(UUID\): (\{.*\})", summary.stdout)[1].encode()
    if data.count(code) != 1:
        raise SystemExit("the package code does not stand once in the package")
    path.write_bytes(data.replace(code, identity(str(hash_of(data.replace(code, b"")))).encode()))


def hash_of(data):
    return uuid.uuid5(NAMESPACE, data.hex())


def main(build, out, version, epoch):
    out = Path(out).resolve()
    out.mkdir(parents=True, exist_ok=True)
    folder = out / f"ZSupport-{version}"
    files = stage(Path(build).resolve(), folder)
    for file in files:
        os.utime(file, (int(epoch), int(epoch)))
    make_zip(out / f"{folder.name}.zip", folder, files, int(epoch))
    make_msi(out / f"{folder.name}.msi", folder, version, int(epoch))
    for package in sorted(out.glob(f"{folder.name}.*")):
        print(package.name)


if __name__ == "__main__":
    if len(sys.argv) != 5:
        raise SystemExit(__doc__)
    main(*sys.argv[1:])
