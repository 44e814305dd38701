"""The Windows Installer packages: one description, one package for each kind of Windows.

wixl makes the database and the cabinet; what it cannot say is then written into the tables. Both
packages can be installed for one user or for the machine. Where they are told neither, they install
for the user, who needs no administrator for it.
"""

import hashlib
import struct
import subprocess
import tempfile
import uuid
from pathlib import Path
from xml.sax.saxutils import quoteattr

import registration
from msi_database import Database, short_names

ROOT = Path(__file__).resolve().parent.parent
NAMESPACE = uuid.UUID("5b2c7f60-93a1-4d0e-8a4f-1e6d7c3b9f28")
UPGRADE_CODE = "{E7A3C5D1-2B84-4F69-9C0D-6A1F8E3B5D72}"
TEMPLATES = {"x86": "Intel;1033", "x64": "x64;1033"}
COMPONENT_64_BIT = 256
SET_PROPERTY = 51
MEMORY = r"Software\Zarnow Instruments Ltd.\System\ZSupport\Setup"  # remembers the folder
# Files with a version resource of ours, by their ids.
VERSIONED = {"ZSupportDll": "ZSupport.dll", "ZSupportMonitor": "ZSupportMonitor.exe"}

# The installer sets ALLUSERS to nothing when it installs for a user; before that, 2 leaves the choice
# to the other property.
FOR_USER = "NOT ALLUSERS OR (ALLUSERS = 2 AND MSIINSTALLPERUSER = 1)"
FOR_MACHINE = f"NOT ({FOR_USER})"

# Name, number in the sequence, property, value, condition.
ACTIONS = [
    # Wine's installer, as it removes, does not know whom it had installed for.
    ("RestoreContext", 60, "ALLUSERS", "{}", "Installed AND ALLUSERS AND USERFOLDER AND NOT MACHINEFOLDER"),
    ("KeepUserFolder", 110, "INSTALLDIR", "[USERFOLDER]", f"NOT INSTALLDIR AND USERFOLDER AND ({FOR_USER})"),
    ("KeepMachineFolder", 111, "INSTALLDIR", "[MACHINEFOLDER]",
     f"NOT INSTALLDIR AND MACHINEFOLDER AND {FOR_MACHINE}"),
    ("ChooseUserFolder", 112, "INSTALLDIR", r"[LocalAppDataFolder]Programs\ZSupport",
     f"NOT INSTALLDIR AND ({FOR_USER})"),
    ("TellLocation", 1010, "ARPINSTALLLOCATION", "[INSTALLDIR]", ""),
    ("TellReadme", 1011, "ARPREADME", "[INSTALLDIR]README.txt", ""),
    ("TellHelp", 1012, "ARPHELPLINK", "[INSTALLDIR]reference.html", ""),
]
LAUNCH_CONDITIONS = {
    f"Installed OR NOT MACHINEFOLDER OR {FOR_MACHINE}":
        "ZSupport is installed for everybody on this machine, in [MACHINEFOLDER]. Replace that as an "
        "administrator with ALLUSERS=1, or remove it first.",
    f"Installed OR NOT USERFOLDER OR {FOR_USER}":
        "ZSupport is installed for [LogonUser] alone, in [USERFOLDER]. Replace that without ALLUSERS=1, "
        "or remove it first.",
}
ONLY_32_BIT = {
    "Installed OR NOT VersionNT64":
        "This package is for 32-bit Windows. On 64-bit Windows, install the one whose name ends with x64: "
        "it has the same library, and what 64-bit programs need to find it.",
}


def identity(name):
    """A GUID that is always the same for the same name."""
    return "{" + str(uuid.uuid5(NAMESPACE, name)).upper() + "}"


def file_version(path):
    """From the version resource: its fixed part begins with a signature and the structure's version."""
    data = path.read_bytes()
    high, low = struct.unpack_from("<II", data, data.index(struct.pack("<II", 0xFEEF04BD, 0x10000)) + 8)
    return f"{high >> 16}.{high & 0xFFFF}.{low >> 16}.{low & 0xFFFF}"


def registry_element(key, name, value, key_path=False):
    kind = "integer" if isinstance(value, int) else "string"
    attributes = f'Root="HKMU" Key={quoteattr(key)} Type="{kind}" Value={quoteattr(str(value))}'
    return (f"<RegistryValue {attributes}" + (f" Name={quoteattr(name)}" if name else "")
            + (' KeyPath="yes"/>' if key_path else "/>"))


class Components:
    """Collects the directory tree and the components of each feature."""

    def __init__(self, folder):
        self.folder = folder
        self.references = {"Library": [], "Monitor": [], "Samples": []}

    def component(self, name, feature, content):
        self.references[feature].append(name)
        return f'<Component Id="{name}" Guid="{identity(name)}">{content}</Component>'

    def file(self, path, relative, key):
        name, component, rows = f"f{key}", f"c{key}", []
        feature = "Samples" if relative.startswith("samples/") else "Library"
        if relative == "ZSupport.dll":
            name, component, rows = "ZSupportDll", "Server", [
                *registration.rows(ROOT, "[#ZSupportDll]", "[INSTALLDIR]"), (MEMORY, "Folder", "[INSTALLDIR]")]
        elif relative == "ZSupportMonitor.exe":
            name, component, feature = "ZSupportMonitor", "Monitor", "Monitor"
        element = f'<File Id="{name}" Name={quoteattr(path.name)} Source={quoteattr(relative)} KeyPath="yes"/>'
        return self.component(component, feature, element + "".join(registry_element(*row) for row in rows))

    def directory(self, path):
        """The files of a folder, a component each, and its folders."""
        xml = ""
        for entry in sorted(path.iterdir()):
            relative = entry.relative_to(self.folder).as_posix()
            key = uuid.uuid5(NAMESPACE, relative).hex
            if entry.is_dir():
                xml += f'<Directory Id="d{key}" Name={quoteattr(entry.name)}>{self.directory(entry)}</Directory>'
            else:
                xml += self.file(entry, relative, key)
        return xml

    def registry(self, name, rows):
        """A component of registry values alone; the first one tells whether it is there."""
        elements = (registry_element(*row, key_path=number == 0) for number, row in enumerate(rows))
        return self.component(name, "Library", "".join(elements))

    def start_menu(self):
        """The monitor's entry, the user's or everybody's as the installation is.

        It is a component of its own: an entry belongs to a registry value of those who see it, not to
        a file that has its place elsewhere.
        """
        return self.component("StartMenu", "Monitor", (
            '<Shortcut Id="MonitorEntry" Directory="ProgramMenuFolder" Name="ZSupport Monitor"'
            ' Description="Errors, traces and events in a window" Target="[#ZSupportMonitor]"'
            ' WorkingDirectory="INSTALLDIR"/>' + registry_element(MEMORY, "StartMenu", 1, key_path=True)))


def product(folder, version, code, architecture):
    components = Components(folder)
    tree = components.directory(folder) + components.registry(
        "EventSource", registration.machine_rows("[#ZSupportDll]")) + components.start_menu()
    names = registration.name_rows(ROOT)
    if architecture == "x64":
        tree += components.registry("Classes64", [*registration.rows_for_64_bit(ROOT), *names])
    else:
        tree += components.registry("Names", names)
    size = sum(path.stat().st_size for path in folder.rglob("*") if path.is_file()) // 1024 + 1

    def feature(name, title, level, below=""):
        references = "".join(f'<ComponentRef Id="{name}"/>' for name in components.references[name])
        return f'<Feature Id="{name}" Title="{title}" Level="{level}">{references}{below}</Feature>'

    return f"""<?xml version="1.0" encoding="utf-8"?>
<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
  <Product Id="{code}" Name="ZSupport" Version="{version}"
           Manufacturer="Zarnow Instruments Ltd." Language="1033" UpgradeCode="{UPGRADE_CODE}">
    <Package InstallerVersion="500" Compressed="yes" Description="ZSupport shared support library"/>
    <MajorUpgrade DowngradeErrorMessage="A newer version of ZSupport is installed."/>
    <Media Id="1" Cabinet="zsupport.cab" EmbedCab="yes"/>
    <Property Id="ALLUSERS" Value="2"/>
    <Property Id="MSIINSTALLPERUSER" Value="1"/>
    <Property Id="ARPCOMMENTS" Value="A collection that hears every event of its items, and a support class."/>
    <Property Id="ARPSIZE" Value="{size}"/>
    <Directory Id="TARGETDIR" Name="SourceDir">
      <Directory Id="ProgramFilesFolder">
        <Directory Id="INSTALLDIR" Name="ZSupport">{tree}</Directory>
      </Directory>
      <Directory Id="ProgramMenuFolder"/>
    </Directory>
    {feature("Library", "ZSupport", 1, feature("Monitor", "ZSupport monitor", 1))}
    {feature("Samples", "Sample programs", 1000)}
  </Product>
</Wix>
"""


def complete_files(database, folder):
    """Versions, which decide at upgrades and repairs, and short names."""
    for row in database.rows("File"):
        if row["File"] in VERSIONED:
            row["Version"], row["Language"] = file_version(folder / VERSIONED[row["File"]]), "1033"
    hashes = database.rows("MsiFileHash")
    hashes[:] = [row for row in hashes if row["File_"] not in VERSIONED]
    place = {row["Component"]: row["Directory_"] for row in database.rows("Component")}
    short_names(database.rows("File"), "FileName", lambda row: place[row["Component_"]])
    short_names(database.rows("Shortcut"), "Name", lambda row: row["Directory_"])
    own = [row for row in database.rows("Directory") if row["DefaultDir"] not in (".", "SourceDir")]
    short_names(own, "DefaultDir", lambda row: row["Directory_Parent"])


def complete_rules(database, architecture):
    """For whom, where to, and instead of what."""
    for row in database.rows("Registry"):
        row["Root"] = "-1" if row["Root"] == "4" else row["Root"]
    for row in database.rows("Component"):
        if row["Component"] == "EventSource":
            row["Condition"] = FOR_MACHINE
        if row["Component"] == "Classes64":
            row["Attributes"] = str(int(row["Attributes"]) | COMPONENT_64_BIT)
    for row in database.rows("Upgrade"):
        if row["ActionProperty"] == "WIX_UPGRADE_DETECTED":
            row["Attributes"] = str(1 | 512)  # migrate features; up to and including this version
    for name, root in ("USERFOLDER", 1), ("MACHINEFOLDER", 2):
        database.add("AppSearch", name, name)
        database.add("RegLocator", name, root, MEMORY, "Folder", 2)
    conditions = {**LAUNCH_CONDITIONS, **(ONLY_32_BIT if architecture == "x86" else {})}
    for condition, message in conditions.items():
        database.add("LaunchCondition", condition, message)
    for name, number, target, value, condition in ACTIONS:
        database.add("CustomAction", name, SET_PROPERTY, target, value, "")
        for sequence in "InstallExecuteSequence", "InstallUISequence":
            database.add(sequence, name, condition, number)
    for sequence in "InstallExecuteSequence", "InstallUISequence":
        database.add(sequence, "AppSearch", "", 50)
    for row in database.rows("Property"):
        if row["Property"] == "SecureCustomProperties":
            row["Value"] += ";INSTALLDIR;USERFOLDER;MACHINEFOLDER"


def make_msi(path, folder, version, architecture, clock):
    """clock: the command before a command that makes it see the packages' own time."""
    content = hashlib.sha256((product(folder, version, "", architecture) + clock[-1]).encode())
    for file in sorted(folder.rglob("*")):
        if file.is_file():
            content.update(file.read_bytes())
    # Other bytes are another product, which replaces one of the same version.
    code = identity("product " + content.hexdigest())
    with tempfile.TemporaryDirectory() as work:
        source = Path(work) / "product.wxs"
        source.write_text(product(folder, version, code, architecture))
        subprocess.run([*clock, "wixl", "-o", path, source], cwd=folder, check=True)
    database = Database(path, clock)
    complete_files(database, folder)
    complete_rules(database, architecture)
    database.save()
    subprocess.run([*clock, "msibuild", path, "-s", "ZSupport shared support library",
                    "Zarnow Instruments Ltd.", TEMPLATES[architecture], identity("package " + code)], check=True)
