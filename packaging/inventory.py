"""What is inside the packages: the licences of what is linked in, and a list for machines (SPDX).

What is linked in belongs to Debian packages; their own copyright files tell its licences.
"""

import hashlib
import json
import subprocess
import time
import uuid
from pathlib import Path

COMPILER = "i686-w64-mingw32-g++-posix"
# Part, the libraries that hold it, licence.
LINKED = [
    ("C++ library", ["libstdc++.a"], "GPL-3.0-or-later WITH GCC-exception-3.1"),
    ("compiler run-time", ["libgcc.a", "libgcc_eh.a"], "GPL-3.0-or-later WITH GCC-exception-3.1"),
    ("mingw-w64 run-time", ["libmingw32.a", "libmingwex.a"], "LicenseRef-mingw-w64"),
    ("winpthreads", ["libwinpthread.a"], "MIT AND BSD-3-Clause"),
]
HEAD = """What is linked into ZSupport.dll, ZSupportMonitor.exe and the sample programs, and its licences

{parts}

The run-time of the compiler is under the GNU General Public License with the GCC Runtime Library
Exception, which lets programs of any licence be made with it. Nothing else is linked in; what
belongs to Windows is called where it is. Below are Debian's own copyright files of these packages,
whole, and the licence that they refer to.
"""


def ask(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()


def linked_parts():
    """Part, Debian package, its version, licence."""
    for part, libraries, licence in LINKED:
        for library in libraries[:1]:
            path = Path(ask(COMPILER, f"-print-file-name={library}")).resolve()
            package = ask("dpkg", "-S", str(path)).split(":")[0]
            yield part, package, ask("dpkg-query", "-W", "-f=${Version}", package), licence


def notices():
    parts = list(linked_parts())
    lines = [f"  {part:20}{licence:42}{package} {version}" for part, package, version, licence in parts]
    text = HEAD.format(parts="\n".join(lines))
    seen = set()
    files = [Path(f"/usr/share/doc/{package}/copyright") for _, package, _, _ in parts]
    for file in [*files, Path("/usr/share/common-licenses/GPL-3")]:
        content = file.read_text()
        if content not in seen:
            seen.add(content)
            text += f"\n{'=' * 100}\n{file}\n{'=' * 100}\n\n{content}"
    return text


def spdx_package(number, name, version, licence, **more):
    return {"SPDXID": f"SPDXRef-Package-{number}", "name": name, "versionInfo": version,
            "downloadLocation": "NOASSERTION", "licenseConcluded": licence, "licenseDeclared": licence,
            "copyrightText": "NOASSERTION", "filesAnalyzed": False, **more}


def spdx_file(number, file, folder):
    data = file.read_bytes()
    return {"SPDXID": f"SPDXRef-File-{number}", "fileName": f"./{file.relative_to(folder).as_posix()}",
            "checksums": [{"algorithm": name, "checksumValue": hashlib.new(name, data).hexdigest()}
                          for name in ("SHA1", "SHA256")],
            "licenseConcluded": "NOASSERTION", "licenseInfoInFiles": ["NOASSERTION"],
            "copyrightText": "NOASSERTION"}


def extracted(identifier, name, text):
    return {"licenseId": identifier, "name": name, "extractedText": text}


def spdx(folder, files, version, epoch):
    listed = [spdx_file(number, file, folder) for number, file in enumerate(files, 1)]
    sums = sorted(each["checksums"][0]["checksumValue"].lower() for each in listed)
    verification = hashlib.sha1("".join(sums).encode()).hexdigest()
    library = spdx_package(0, "ZSupport", version, "LicenseRef-ZSupport", filesAnalyzed=True,
                           licenseInfoFromFiles=["NOASSERTION"], supplier="Organization: Zarnow Instruments Ltd.",
                           packageVerificationCode={"packageVerificationCodeValue": verification})
    linked = [spdx_package(number, f"{part} ({package})", its_version, licence, supplier="Organization: Debian")
              for number, (part, package, its_version, licence) in enumerate(linked_parts(), 1)]
    relations = [("SPDXRef-DOCUMENT", "DESCRIBES", library), *((library["SPDXID"], "CONTAINS", file) for file in listed),
                 *((library["SPDXID"], "STATIC_LINK", package) for package in linked)]
    return json.dumps({
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"ZSupport-{version}",
        "documentNamespace": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, verification + version)}",
        "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(epoch)),
                         "creators": ["Organization: Zarnow Instruments Ltd.", "Tool: make_package.py"]},
        "packages": [library, *linked], "files": listed,
        "relationships": [{"spdxElementId": element, "relationshipType": kind, "relatedSpdxElement": other["SPDXID"]}
                          for element, kind, other in relations],
        "hasExtractedLicensingInfos": [
            extracted("LicenseRef-ZSupport", "The licence of ZSupport", (folder / "LICENCE.txt").read_text()),
            extracted("LicenseRef-mingw-w64", "The licences of the mingw-w64 run-time",
                      Path("/usr/share/doc/mingw-w64-i686-dev/copyright").read_text())],
    }, indent=1) + "\n"
