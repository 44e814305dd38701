#!/usr/bin/env python3
"""What users read: the reference says what the interface description says, the help file holds a topic
for each help context of the type library, no link leads nowhere, the page is valid HTML, the README's commands exist, the policies are those of the settings.

usage: documents_test.py TYPELIB WORK_FOLDER
"""

import re
import shutil
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
failures = []


def expect(condition, what):
    if not condition:
        failures.append(what)


class Page:
    def __init__(self, text):
        self.ids, self.links, self.headings = (
            re.findall(pattern, text) for pattern in (r'\bid="([^"]*)"', r'href="([^"]*)"', r"<h1[^>]*>([^<]*)"))


def contexts_of(path):
    """Name and help context of every type and function."""
    library = Library(path)
    for typeinfo in library.typeinfos:
        yield library.type_name(typeinfo), library.word(typeinfo + 0x44)
        for (record, _), (_, name) in zip(library.functions(typeinfo), library.ids_and_names(typeinfo)):
            yield name, library.word(record + 24)


BASIC = {"long": "Long", "short": "Integer", "BSTR": "String", "VARIANT_BOOL": "Boolean", "double": "Double",
         "DATE": "Date", "VARIANT": "Variant", "IDispatch*": "Object", "IUnknown*": "Unknown",
         "IEnumVARIANT*": "IEnumVARIANT", "VERSIONSTAMP": "VersionStamp", "FOLDER": "csidl",
         "SUMMARY_PROPERTY": "sisPropertyID"}


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
        plain = re.sub(r"(ANY|REF|SAFEARRAY)\(|\)", "", written)
        is_object = plain.startswith("I") and plain.endswith("*") and "nstall" not in plain
        is_pointer = "REF" in written or plain.endswith("**" if is_object else "*")
        plain = plain[:-1] if plain.endswith("**" if is_object else "*") else plain
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
    for kind, name, body in re.findall(r"  (enum|struct) (\w+) \{(.*?)\}", IDL, re.DOTALL):
        pairs = re.findall(r"(\w+) = (\S+?),?\n", body) if kind == "enum" else (
            (field, BASIC[basic]) for basic, field in re.findall(r"(\w+) (\w+);", body))
        described |= {f"{BASIC.get(name, name)}.{entry} = {value}" for entry, value in pairs}
    said = set(re.findall(r"^`([^`]+)`$", reference, re.MULTILINE))
    for section in re.split(r"^#+ ", reference, flags=re.MULTILINE):
        name = section.split("\n")[0].split(" ")[-1]
        said |= {f"{name}.{entry} = {value}" for entry, value in
                 re.findall(r"^\| `(\S+)` \| (\S+) \|", section, re.MULTILINE)}
    for line in sorted(described ^ said):
        expect(False, f"only in the {'reference' if line in said else 'IDL'}: {line}")
    expect(len(described) > 180, f"only {len(described)} entries")
    # What misspells a member is refused by compilers.
    expect(IDL.count("object, dual, oleautomation, nonextensible") == 3, "extensible interfaces")


def test_help(typelib, work):
    for folder in ("once", "again"):
        make_help.main(work / folder)
    compiled = work / "once/ZSupport.chm"
    for name in ("ZSupport.chm", "reference.html"):
        expect((work / "once" / name).read_bytes() == (work / "again" / name).read_bytes(),
               f"{name} is not the same when made twice")
    pages_folder = work / "pages"
    subprocess.run(["extract_chmLib", compiled, pages_folder], check=True, stdout=subprocess.DEVNULL)
    pages = {path.name: Page(path.read_text()) for path in pages_folder.glob("*.html")}
    table, strings = ((pages_folder / name).read_bytes() for name in ("#IVB", "#STRINGS"))
    topics = {}
    for entry in range(4, len(table), 8):
        context, offset = (int.from_bytes(table[entry + at:entry + at + 4], "little") for at in (0, 4))
        topics[context] = strings[offset:strings.index(0, offset)].decode()
    named = list(contexts_of(typelib))
    expect(len(named) > 80, f"only {len(named)} names in the type library")
    for name, context in named:
        if name.startswith(("_Z", "_G", "__Z", "_Coll")) or name == "ZSupport":
            expect(topics.get(context) in pages, f"{name}: no topic for help context {context}")
        else:
            page = pages.get(topics.get(context))
            expect(page and page.headings == [name], f"{name}: help context {context} shows {topics.get(context)}")
    for name, page in {**pages, "reference": Page((work / "once/reference.html").read_text())}.items():
        for link in page.links:
            target, _, anchor = link.partition("#")
            there = pages.get(target) if target else page
            expect(there and (not anchor or anchor in there.ids), f"{name}: the link {link} leads nowhere")
    for path in [work / "once/reference.html", *pages_folder.glob("*.html")]:
        checked = subprocess.run(["tidy", "-q", "-e", path], capture_output=True, text=True)
        expect(checked.returncode == 0, f"{path.name}: {checked.stderr}")


def commands(path):
    """The lines of code blocks without a language, and the commands in the text."""
    text, language = path.read_text(), None
    found = re.findall(r"`((?:msiexec /|\./dev )[^`]+)`", text)
    for line in text.splitlines():
        if fence := re.match(r" *```(\w*)$", line):
            language = fence[1] if language is None else None
        elif language == "":
            found.append(line.strip())
    return found


def anchors(path):
    uses = {}
    headings = re.findall(r"^#+ (.*)", path.read_text(), re.MULTILINE)
    return {"", *(make_help.anchor_of(heading, uses) for heading in headings)}


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
    packaged = [line.strip() for line in (ROOT / "packaging/README.txt").read_text().splitlines()]
    for line in lines:
        if line.startswith(("msiexec", "regsvr32", "%")):
            expect(line in packaged, f"not in the packages' README: {line}")
    for document in [*ROOT.glob("*.md"), *(ROOT / "docs").glob("*.md")]:
        for link in re.findall(r"\]\((?!http)([^)]*)\)", document.read_text()):
            path, _, anchor = link.partition("#")
            target = document.parent / path if path else document
            there = anchors(target) if target.suffix == ".md" and target.exists() else {""}
            expect(target.exists() and anchor in there, f"{document.name}: {link}")


def test_policies():
    folder = ROOT / "packaging/policies"
    template = (folder / "ZSupport.admx").read_text()
    texts = ElementTree.parse(folder / "en-US/ZSupport.adml").getroot()
    there = {element.get("id") for element in texts.iter() if element.tag.endswith(("string", "presentation"))}
    said = set(re.findall(r"\$\((?:string|presentation)\.(\w+)\)", template))
    expect(said == there, f"template and texts: {sorted(said ^ there)}")
    reference = (ROOT / "docs/reference.md").read_text()
    keys = set(re.findall(r'key="([^"]*)"', template))
    expect(len(keys) == 1 and f"    {min(keys)}\n" in reference, f"keys of policies: {keys}")
    elements = ElementTree.fromstring(template.split("?>", 1)[1]).iter()
    for value in {e.get("valueName") for e in elements if e.tag.endswith(("enum", "text", "decimal"))} - {None}:
        expect(f"| {value} (" in reference, f"no such setting: {value}")


def main(typelib, work):
    work = Path(work).resolve()
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    test_help(Path(typelib), work)
    test_reference()
    test_csharp()
    test_readme()
    test_policies()
    for failure in failures:
        print("FAILED:", failure)
    return bool(failures)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
