#!/usr/bin/env python3
"""What users read: the reference and the C# interfaces say what the interface description says, the help
file holds a topic for each context of the type library, no link leads nowhere, no picture is missing, the
README's commands exist, the policies are the settings'.

usage: documents_test.py TYPELIB WORK_FOLDER
"""

import re
import shutil
import struct
import subprocess
import sys
from xml.etree import ElementTree
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path += [str(ROOT / "packaging"), str(ROOT / "tools")]
sys.dont_write_bytecode = True
import make_help
from typelib import Library

IDL = re.sub(r'//.*|helpstring\("[^"]*"\)', "", (ROOT / "typelib/ZSupport.idl").read_text())


def expect(condition, what):
    if not condition:
        raise SystemExit(f"FAILED: {what}")


BASIC = {"long": "Long", "short": "Integer", "BSTR": "String", "VARIANT_BOOL": "Boolean", "double": "Double",
         "DATE": "Date", "VARIANT": "Variant", "IDispatch": "Object", "IUnknown": "Unknown",
         "VERSIONSTAMP": "VersionStamp", "FOLDER": "csidl", "SUMMARY_PROPERTY": "sisPropertyID"}


def members(name):
    """Kind, dispatch id, name and parameters (attributes, type, name) of each of an interface, in its order."""
    body = re.search(r"interface " + name + r"(?: : \w+)?\s*\{(.*?)\n  \}\n", IDL, re.DOTALL)[1]
    for attributes, member, parameters in re.findall(r"\[([^]]*)\]\s*(?:HRESULT|void) (\w+)\((.*?)\);",
                                                     body, re.DOTALL):
        kind = re.search(r"(?:prop(get|put))?", attributes)[1] or ""
        yield (kind, int(re.search(r"\bid\((.*?)\)", attributes)[1], 0), member,
               re.findall(r"\[(.*?)\]\s*(\S+?)\s+(\w+)(?=,|$)", parameters, re.DOTALL))


def signature(kind, name, parameters):
    """As Basic's users know it."""
    shown, result = [], ""
    for attributes, written, parameter in parameters:
        plain = re.sub(r"(ANY|REF|SAFEARRAY)\(|[)*]", "", written)
        is_pointer = "REF" in written or written.count("*") > (plain in ("IDispatch", "IUnknown", "IEnumVARIANT"))
        basic, array = BASIC.get(plain, plain), "()" if "SAFEARRAY" in written else ""
        if "retval" in attributes:
            result = f" As {basic}{array}"
            continue
        text = "" if is_pointer else "ByVal "
        text += ("Value" if kind == "put" and parameter == parameters[-1][2] else parameter) + f"{array} As {basic}"
        if preset := re.search(r"DEFAULT\((.*)\)", attributes):
            text += " = " + ({"0": "False", "-1": "True"}[preset[1]] if basic == "Boolean" else preset[1])
        shown.append(f"[{text}]" if "optional" in attributes else text)
    return {"get": "Property Get ", "put": "Property Let ", "": ""}[kind] + f"{name}({', '.join(shown)}){result}"


def test_reference():
    reference = (ROOT / "docs/reference.md").read_text()
    described = {signature(kind, name, parameters)
                 for interface in ("_Zollection", "_Collection", "__Zollection", "_GZSupport")
                 for kind, _, name, parameters in members(interface)}
    said = set(re.findall(r"^`([^`]+)`$", reference, re.MULTILINE))
    expect(described == said,
           f"only in the IDL: {described - said}, only in the reference: {said - described}")
    # What misspells a member is refused by compilers.
    expect(IDL.count("object, dual, oleautomation, nonextensible") == 3, "extensible interfaces")


def test_help(typelib, work):
    make_help.main(work / "help")
    pages = work / "pages"
    subprocess.run(["extract_chmLib", work / "help/ZSupport.chm", pages], check=True, stdout=subprocess.DEVNULL)
    table, strings = ((pages / name).read_bytes() for name in ("#IVB", "#STRINGS"))
    topics = {context: strings[offset:].partition(b"\0")[0].decode()
              for context, offset in struct.iter_unpack("<2I", table[4:])}
    library, named = Library(typelib), []
    for typeinfo in library.typeinfos:
        named.append((library.type_name(typeinfo), library.word(typeinfo + 0x44)))
        named += [(name, library.word(record + 24)) for (record, _), (_, name) in
                  zip(library.functions(typeinfo), library.ids_and_names(typeinfo))]
    for name, context in named:
        topic = topics.get(context, "")
        page = (pages / topic).read_text() if topic else ""
        has_own = not name.startswith(("_Z", "_G", "__Z", "_Coll")) and name != "ZSupport"
        expect(f">{name}</h1>" in page if has_own else page, f"{name}: help context {context} shows {topic}")
    paths = [work / "help/reference.html", *pages.glob("*.html")]
    for path in paths:
        checked = subprocess.run(["tidy", "-q", "-e", path], capture_output=True, text=True)
        expect(checked.returncode == 0, f"{path.name}: {checked.stderr}")
    return paths


def test_links(paths):
    anchors, links = {}, []
    for path in paths:
        text, uses = path.read_text(), {}
        anchors[path] = re.findall(r'\bid="([^"]*)"', text) if path.suffix == ".html" else [
            make_help.anchor_of(heading, uses) for heading in re.findall(r"^#+ (.*)", text, re.MULTILINE)]
        links += [(path, link) for link in re.findall(r'(?:\]\(|(?:href|src)=")(?!http|data:)([^)"]*)', text)]
    for path, link in links:
        target, _, anchor = link.partition("#")
        there = (path.parent / target).resolve() if target else path
        expect(there.exists() and (not anchor or anchor in anchors[there]), f"{path.name}: {link} leads nowhere")


def commands(path):
    """The lines of code blocks without a language, and the commands in the text."""
    text = path.read_text()
    blocks = re.findall(r"^ *```(\w*)\n(.*?)^ *```$", text, re.DOTALL | re.MULTILINE)
    return re.findall(r"`((?:msiexec /|\./dev )[^`]+)`", text) + [
        line.strip() for language, block in blocks if not language for line in block.splitlines()]


def test_csharp():
    """One member off, and calls go astray."""
    source = (ROOT / "samples/csharp/ZSupport.cs").read_text()
    for name in ("_Zollection", "_GZSupport", "__Zollection"):
        body = re.search(rf"interface {name} \{{(.*?)\n\}}", source, re.DOTALL)[1]
        found = [(int(number, 0), member) for number, member in re.findall(
            r"\[DispId\((.*?)\)\]\s*(?:\[return:.*?\]\s*)?[\w.[\]]+ (?:[gp]et_|put_)?(\w+)", body)]
        wanted = [(number, member) for _, number, member, _ in members(name)]
        expect(list(dict.fromkeys(found)) == list(dict.fromkeys(wanted)), f"{name} in C#: {found}")


def test_readme():
    usage = subprocess.run([ROOT / "dev", "help"], capture_output=True, text=True, check=True).stdout
    known = set(re.findall(r"^  (\w+)", usage, re.MULTILINE))
    lines = commands(ROOT / "README.md") + commands(ROOT / "docs/administration.md")
    said = {line.split()[1] for line in lines if line.startswith("./dev ")}
    expect({"demo", "test", "package"} <= said <= known, f"README says ./dev {said}, there are {known}")
    packaged = (ROOT / "packaging/README.txt").read_text()
    for line in lines:
        if line.startswith(("msiexec", "regsvr32", "%")):
            expect(f"    {line}\n" in packaged, f"not in the packages' README: {line}")


def test_policies():
    template, texts = ((ROOT / "packaging/policies" / name).read_text()
                       for name in ("ZSupport.admx", "en-US/ZSupport.adml"))
    for text in template, texts:
        ElementTree.fromstring(text.encode())
    there = set(re.findall(r'<(?:string|presentation) id="(\w+)"', texts))
    said = set(re.findall(r"\$\((?:string|presentation)\.(\w+)\)", template))
    expect(said == there, f"template and texts: {sorted(said ^ there)}")
    reference = (ROOT / "docs/reference.md").read_text()
    for key in re.findall(r'key="([^"]*)"', template):
        expect(f"    {key}\n" in reference, f"no such key: {key}")
    for value in re.findall(r'<(?:enum|text|decimal) [^>]*valueName="([^"]*)"', template):
        expect(f"| {value} (" in reference, f"no such setting: {value}")


def main(typelib, work):
    work = Path(work).resolve()
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    test_links([*test_help(typelib, work), *ROOT.glob("*.md"), *(ROOT / "docs").glob("*.md")])
    test_reference()
    test_csharp()
    test_readme()
    test_policies()


if __name__ == "__main__":
    main(*sys.argv[1:])
