"""What a registered ZSupport leaves in the registry, and the manifest that stands for it.

The library writes the same values when it registers itself (src/server/registration.cpp); a test
holds the two together. Ids come from the interface description. The interface of standard
collections, which the library describes where nobody else has, is not here: it belongs to everybody,
and an installation that is removed must not take it along.
"""

import re

VERSION = "1.0"
ASSEMBLY_VERSION = "1.0.0.0"  # what client manifests name; it changes with the interfaces
DUAL_MARSHALLER = "{00020424-0000-0000-C000-000000000046}"
DISPATCH_MARSHALLER = "{00020420-0000-0000-C000-000000000046}"
APPLICATION = "{8C6B1F0E-4D27-4A95-B3E8-2F7A90D5C614}"
CLASSES = ["Zollection", "GZSupport"]
INTERFACES = {"_Zollection": DUAL_MARSHALLER, "__Zollection": DISPATCH_MARSHALLER,
              "_GZSupport": DUAL_MARSHALLER}


class Ids:
    def __init__(self, root):
        self.text = (root / "typelib/ZSupport.idl").read_text()

    def of(self, kind, name):
        """The id in the attributes before a definition."""
        end = re.search(rf"\n  {kind} {name}\b\s*(:[^\n]*)?\n", self.text).start()
        return "{" + re.findall(r"uuid\(([-0-9A-F]+)\)", self.text[:end])[-1] + "}"

    def library(self):
        return "{" + re.search(r"uuid\(([-0-9A-F]+)\)", self.text)[1] + "}"

    def interface(self, name):
        return self.of("dispinterface" if name == "__Zollection" else "interface", name)


def class_rows(ids, name, module):
    class_id, prog_id, title = ids.of("coclass", name), f"ZSupport.{name}", f"ZSupport {name}"
    key = rf"Software\Classes\CLSID\{class_id}"
    yield key, "", title
    yield key, "AppID", APPLICATION
    yield rf"{key}\InprocServer32", "", module
    yield rf"{key}\InprocServer32", "ThreadingModel", "Apartment"
    yield rf"{key}\ProgID", "", f"{prog_id}.1"
    yield rf"{key}\VersionIndependentProgID", "", prog_id
    yield rf"{key}\TypeLib", "", ids.library()
    yield rf"{key}\Version", "", VERSION
    yield rf"{key}\Programmable", "", ""


def interface_rows(ids, name, marshaller):
    key = rf"Software\Classes\Interface\{ids.interface(name)}"
    yield key, "", name
    yield rf"{key}\ProxyStubClsid32", "", marshaller
    yield rf"{key}\TypeLib", "", ids.library()
    yield rf"{key}\TypeLib", "Version", VERSION


def rows(root, module, folder):
    """Key, name and value below HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER, in the 32-bit view."""
    ids = Ids(root)
    for name in CLASSES:
        yield from class_rows(ids, name, module)
    for name, marshaller in INTERFACES.items():
        yield from interface_rows(ids, name, marshaller)
    library = rf"Software\Classes\TypeLib\{ids.library()}\{VERSION}"
    yield library, "", "ZSupport shared support library"
    yield rf"{library}\0\win32", "", module
    yield rf"{library}\FLAGS", "", "0"
    yield rf"{library}\HELPDIR", "", folder
    application = rf"Software\Classes\AppID\{APPLICATION}"
    yield application, "", "ZSupport"
    yield application, "DllSurrogate", ""


def name_rows(root):
    """The names of the classes, which both views share.

    Wine tells a program of 64 bits that writes into the 32-bit view otherwise.
    """
    for name in CLASSES:
        prog_id = f"ZSupport.{name}"
        for alias in (f"{prog_id}.1", prog_id):
            yield rf"Software\Classes\{alias}", "", f"ZSupport {name}"
            yield rf"Software\Classes\{alias}\CLSID", "", Ids(root).of("coclass", name)
        yield rf"Software\Classes\{prog_id}\CurVer", "", f"{prog_id}.1"


def rows_for_64_bit(root):
    """What 64-bit programs have to find in their own view: classes that run in another process."""
    ids = Ids(root)
    for name in CLASSES:
        key = rf"Software\Classes\CLSID\{ids.of('coclass', name)}"
        yield key, "", f"ZSupport {name}"
        yield key, "AppID", APPLICATION
        yield rf"{key}\ProgID", "", f"ZSupport.{name}.1"
        yield rf"{key}\VersionIndependentProgID", "", f"ZSupport.{name}"
    for name, marshaller in INTERFACES.items():
        yield from interface_rows(ids, name, marshaller)


def machine_rows(module):
    """What only the machine's hive can have: the source in the system's event log."""
    key = r"SYSTEM\CurrentControlSet\Services\EventLog\Application\ZSupport"
    yield key, "EventMessageFile", module
    yield key, "TypesSupported", 7  # errors, warnings and information


def manifest(root):
    """For programs that use the library without registration.

    It is not named like the library: the system would look for it inside of the DLL.
    """
    ids = Ids(root)
    classes = "".join(
        f'    <comClass clsid="{ids.of("coclass", name)}" progid="ZSupport.{name}" tlbid="{ids.library()}"\n'
        f'              threadingModel="Apartment" description="ZSupport {name}">\n'
        f"      <progid>ZSupport.{name}.1</progid>\n"
        f"    </comClass>\n" for name in CLASSES)
    stubs = "".join(
        f'  <comInterfaceExternalProxyStub name="{name}" iid="{ids.interface(name)}" tlbid="{ids.library()}"\n'
        f'                                 proxyStubClsid32="{marshaller}"/>\n'
        for name, marshaller in INTERFACES.items())
    return f"""<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">
  <assemblyIdentity type="win32" name="ZSupport.Library" version="{ASSEMBLY_VERSION}" processorArchitecture="x86"/>
  <file name="ZSupport.dll">
{classes}    <typelib tlbid="{ids.library()}" version="{VERSION}" helpdir=""/>
  </file>
{stubs}</assembly>
"""
