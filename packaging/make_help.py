#!/usr/bin/env python3
"""Make what users read from docs/reference.md: ZSupport.chm, which the type library names as its help
file, and reference.html, the same on one page, for screen and paper. The pictures beside the reference are
inside of both.

The help contexts are those of typelib/ZSupport.idl. A name in it without a heading in the reference is
an error, and so is a link that leads nowhere or a picture that is not there. The same source gives the
same bytes.

usage: make_help.py FOLDER      made when it is missing
"""

import base64
import html
import mimetypes
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
DOCS = ROOT / "docs"
TITLE = "ZSupport reference"
# The section of the reference in which a name is looked for, by the thousand of its help context.
SECTIONS = {1: "Zollection", 2: "Collection", 3: "Events of Zollection", 4: "GZSupport",
            5: "Enumerations", 6: "Records"}
# One style for both. The viewer of compiled help knows only what was known in its youth.
STYLE = """
body { font: 11pt/1.45 "Segoe UI", Tahoma, Arial, sans-serif; color: #222; margin: 1.5em auto;
       max-width: 52em; padding: 0 1.5em; }
h1, h2, h3, h4 { line-height: 1.2; margin: 1.6em 0 .5em; }
h2 { border-bottom: 2px solid #888; }
h3, h4 { border-bottom: 1px solid #ccc; }
code { font: 10pt Consolas, "Courier New", monospace; background: #f2f2f2; }
pre { background: #f2f2f2; padding: .6em .8em; overflow: auto; }
table { border-collapse: collapse; margin: 1em 0; }
th, td { border: 1px solid #bbb; padding: .2em .6em; text-align: left; vertical-align: top; }
a { color: #14509b; }
img { max-width: 100%; }
.path { color: #555; font-size: 9pt; margin: 0; }
nav { columns: 3 14em; font-size: 9.5pt; }
nav ul { list-style: none; padding-left: 1em; margin: 0; }
nav > ul { padding: 0; }
@media print {
  body { max-width: none; margin: 0; padding: 0; font-size: 9.5pt; }
  h2 { page-break-before: always; }
  h1, h2, h3, h4 { page-break-after: avoid; }
  pre, table { page-break-inside: avoid; }
  pre { white-space: pre-wrap; overflow: visible; }
  a { color: inherit; text-decoration: none; }
}
"""


class Topic:
    """A heading of the reference and what stands below it, up to the next heading."""

    def __init__(self, level, title, anchor, body, parent):
        self.level, self.title, self.anchor, self.body, self.parent = level, title, anchor, body, parent
        self.children = []
        if parent:
            parent.children.append(self)

    def path(self):
        return (self.parent.path() if self.parent else []) + [self]

    def page(self):
        return f"{self.anchor}.html"


def anchor_of(title, uses):
    """As the viewers of Markdown name it, so that the reference's own links fit everywhere."""
    anchor = re.sub(r"[^\w -]", "", title.lower()).replace(" ", "-")
    uses[anchor] = uses.get(anchor, -1) + 1
    return anchor + (f"-{uses[anchor]}" if uses[anchor] else "")


def topics():
    source = (DOCS / "reference.md").read_text()
    text = subprocess.run(["cmark-gfm", "-e", "table"], input=source, capture_output=True, text=True,
                          check=True).stdout
    _, *parts = re.split(r"<h([1-4])>(.*?)</h\1>\n", text)
    found, above, uses = [], [], {}
    for level, title, body in zip(map(int, parts[::3]), parts[1::3], parts[2::3]):
        title = html.unescape(re.sub(r"<.*?>", "", title))
        above = above[:level - 1]
        found.append(Topic(level, title, anchor_of(title, uses), body, above[-1] if above else None))
        above.append(found[-1])
    return found


def contexts(found):
    """The topic of each help context."""
    idl = (ROOT / "typelib/ZSupport.idl").read_text()
    result = {}
    for number, rest in re.findall(r"helpcontext\((\d+)\)(.*?\](?=\s).*?[({;])", idl, re.DOTALL):
        number = int(number)
        section = SECTIONS[number // 1000]
        name = section if number % 1000 == 0 else re.findall(r"\w+", rest.split("]", 1)[1])[-1]
        name = {"VERSIONSTAMP": "VersionStamp"}.get(name, name)
        below = [topic for topic in found
                 if topic.title == name and section in [above.title for above in topic.path()]]
        if len(below) != 1:
            raise SystemExit(f"docs/reference.md: {len(below)} headings {name} below {section}, not one")
        result[number] = below[0]
    return result


def document(title, body):
    return (f'<!DOCTYPE html>\n<html lang="en">\n<head>\n<meta charset="utf-8">\n<title>{html.escape(title)}'
            f"</title>\n<style>{STYLE}</style>\n</head>\n<body>\n{body}</body>\n</html>\n"
            ).encode("ascii", "xmlcharrefreplace")


def link(topic, target):
    return f'<a href="{target}">{html.escape(topic.title)}</a>'


def tree(topic, target):
    """The topics below one, as nested lists of links."""
    items = "".join(f"<li>{link(child, target(child))}{tree(child, target)}</li>\n"
                    for child in topic.children)
    return f"<ul>\n{items}</ul>\n" if items else ""


PICTURE = r'(?<=<img src=")[^"]*'


def pictures(found):
    return sorted({name for topic in found for name in re.findall(PICTURE, topic.body)})


def embedded(match):
    """A picture as a part of the page."""
    picture = DOCS / match[0]
    if not picture.is_file():
        raise SystemExit(f"docs/reference.md: no picture {match[0]}")
    kind, _ = mimetypes.guess_type(picture)
    return f"data:{kind};base64,{base64.b64encode(picture.read_bytes()).decode()}"


def one_page(found):
    body = ""
    for topic in found:
        body += f'<h{topic.level} id="{topic.anchor}">{html.escape(topic.title)}</h{topic.level}>\n'
        body += re.sub(PICTURE, embedded, topic.body)
        if topic is found[0]:
            body += f"<nav>\n{tree(topic, lambda child: '#' + child.anchor)}</nav>\n"
    return document(TITLE, body)


def help_page(topic, found):
    pages = {other.anchor: other.page() for other in found}
    body = re.sub(r'href="#([^"]*)"', lambda match: f'href="{pages[match[1]]}"', topic.body)
    path = " &gt; ".join(link(above, above.page()) for above in topic.path()[:-1])
    return document(topic.title, (f'<p class="path">{path}</p>\n' if path else "")
                    + f"<h1>{html.escape(topic.title)}</h1>\n{body}"
                    + tree(topic, lambda child: child.page()))


def site_map(items):
    return f'<!DOCTYPE HTML>\n<html>\n<body>\n<ul>\n{items}</ul>\n</body>\n</html>\n'


def entry(name, page):
    return (f'<li><object type="text/sitemap"><param name="Name" value="{html.escape(name)}">'
            f'<param name="Local" value="{page}"></object>\n')


def contents(topic):
    below = "".join(contents(child) for child in topic.children)
    return entry(topic.title, topic.page()) + (f"<ul>\n{below}</ul>\n" if below else "")


def index(found):
    """Members and types by name; with their class where several have a member of that name."""
    names = [topic.title for topic in found]
    entries = [(topic.title if names.count(topic.title) == 1
                else f"{topic.title} ({topic.path()[1].title})", topic.page()) for topic in found[1:]]
    return "".join(entry(*pair) for pair in sorted(entries, key=lambda pair: pair[0].lower()))


def project(found, by_context):
    lines = ["[OPTIONS]", "Compatibility=1.1 or later", "Compiled file=ZSupport.chm",
             "Contents file=ZSupport.hhc", "Index file=ZSupport.hhk", f"Default topic={found[0].page()}",
             f"Title={TITLE}", "Language=0x409 English (United States)", "Full-text search=Yes",
             "Binary TOC=No", "Binary Index=No", "", "[FILES]"]
    lines += [topic.page() for topic in found] + pictures(found)
    lines += ["", "[ALIAS]"] + [f"topic_{number}={topic.page()}" for number, topic in by_context.items()]
    lines += ["", "[MAP]"] + [f"#define topic_{number} {number}" for number in by_context]
    return "\n".join(lines) + "\n"


# The compiler notes the time, and in the topics of help contexts the folder in which it ran, where a
# viewer finds nothing. So it runs in a folder of this name, and what it wrote is set right.
FOLDER = "/proc/self/cwd/"
CONTENT, HEADER_LENGTH, CHUNK_SIZE = 0x58, 0x54, 4096
CONTEXT_FILE = b"\x05/#IVB"  # as the directory has it, its length in front


def word(data, offset, size=4):
    return int.from_bytes(data[offset:offset + size], "little")


def put(data, offset, value, size=4):
    data[offset:offset + size] = value.to_bytes(size, "little")


def packed(number):
    """A number as the directory has it: seven bits a byte, the highest first."""
    groups = [number & 0x7F]
    while number := number >> 7:
        groups.insert(0, 0x80 | number & 0x7F)
    return bytes(groups)


def without_time(data):
    put(data, 0x10, 0)
    stamp = b"\3\0\0\0\x0a\0\4\0"  # the beginning of #SYSTEM
    put(data, data.index(stamp, word(data, CONTENT)) + len(stamp), 0)


def with_context_file(data, contents):
    """Appends the table of help contexts, uncompressed, and lets the directory name this one."""
    old = CONTEXT_FILE + b"\1" + packed(0) + packed(len(contents))
    new = CONTEXT_FILE + b"\0" + packed(len(data) - word(data, CONTENT)) + packed(len(contents))
    first_chunk = word(data, 0x48) + HEADER_LENGTH
    place = data.index(old, first_chunk)
    chunk = place - (place - first_chunk) % CHUNK_SIZE
    end = chunk + CHUNK_SIZE
    growth, free = len(new) - len(old), word(data, chunk + 4)
    # At the chunk's end, backwards: the number of entries, and the places of every fifth.
    references = range(end - 4, end - 4 - 2 * ((word(data, end - 2, 2) - 1) // 5), -2)
    if free - growth < end - min(references):
        raise SystemExit("ZSupport.chm: no room in the directory for another table of contexts")
    data[place:end - free + growth] = new + data[place + len(old):end - free]
    put(data, chunk + 4, free - growth)
    for offset in references:
        if chunk + 20 + word(data, offset, 2) > place:
            put(data, offset, word(data, offset, 2) + growth, 2)
    data += contents
    put(data, word(data, 0x38) + 8, len(data), 8)


def compiled_help(found):
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        for topic in found:
            (folder / topic.page()).write_bytes(help_page(topic, found))
        for name in pictures(found):
            shutil.copyfile(DOCS / name, folder / name)
        (folder / "ZSupport.hhc").write_text(site_map(contents(found[0])))
        (folder / "ZSupport.hhk").write_text(site_map(index(found)))
        (folder / "ZSupport.hhp").write_text(project(found, contexts(found)))
        run(folder, "chmcmd", "--no-html-scan", FOLDER + "ZSupport.hhp")
        run(folder, "extract_chmLib", "ZSupport.chm", "made")
        table = bytearray((folder / "made/#IVB").read_bytes())
        for entry in range(4, len(table), 8):  # behind its length: contexts, and offsets of their topics
            put(table, entry + 4, word(table, entry + 4) + len(FOLDER))
        data = bytearray((folder / "ZSupport.chm").read_bytes())
        without_time(data)
        with_context_file(data, table)
        return data


def run(folder, *command):
    done = subprocess.run(command, cwd=folder, capture_output=True, text=True)
    if done.returncode:
        raise SystemExit(f"{command[0]}: {done.stdout}{done.stderr}")


def main(out):
    out = Path(out)
    out.mkdir(parents=True, exist_ok=True)
    found = topics()
    (out / "reference.html").write_bytes(one_page(found))
    (out / "ZSupport.chm").write_bytes(compiled_help(found))


if __name__ == "__main__":
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    main(sys.argv[1])
