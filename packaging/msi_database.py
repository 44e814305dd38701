"""The tables of a Windows Installer database as rows, read and written through msitools."""

import re
import subprocess
import tempfile
from pathlib import Path

CATEGORIES = {
    "Condition": "Condition", "Version": "Version", "Language": "Language", "ComponentId": "Guid",
    "UpgradeCode": "Guid", "FileName": "Filename", "DefaultDir": "DefaultDir", "Cabinet": "Cabinet",
    "Key": "RegPath", "Value": "Formatted", "Target": "Formatted", "Description": "Text",
    "Shortcut.Name": "Filename", "Shortcut.Target": "Shortcut",
}
# Columns that name a row of another table, beside those named after it with an underscore.
REFERENCES = {"Directory_Parent": "Directory", "Feature_Parent": "Feature",
              "Signature_": "Signature;RegLocator"}
VALIDATION = """Table\tColumn\tNullable\tMinValue\tMaxValue\tKeyTable\tKeyColumn\tCategory\tSet\tDescription
s32\ts32\ts4\tI4\tI4\tS255\tI2\tS32\tS255\tS255
_Validation\tTable\tColumn"""


class Table:
    def __init__(self, text):
        lines = text.replace("\r", "").split("\n")
        self.head = lines[:3]
        self.columns, self.types = lines[0].split("\t"), lines[1].split("\t")
        self.rows = [dict(zip(self.columns, line.split("\t"))) for line in lines[3:] if line]

    def text(self):
        rows = ["\t".join(row[column] for column in self.columns) for row in self.rows]
        return "".join(line + "\r\n" for line in self.head + rows)


class Database:
    def __init__(self, path, clock):
        self.path, self.clock = path, clock
        self.tables = {}
        for name in self.ask("tables").split():
            if not name.startswith("_"):
                self.tables[name] = Table(self.ask("export", name))

    def ask(self, command, *arguments):
        return subprocess.run(["msiinfo", command, self.path, *arguments], check=True,
                              capture_output=True, text=True).stdout

    def rows(self, table):
        return self.tables[table].rows

    def add(self, table, *values):
        self.rows(table).append(dict(zip(self.tables[table].columns, map(str, values), strict=True)))

    def validation(self):
        """What validators want to know of each column."""
        table = Table(VALIDATION)
        for name, described in sorted(self.tables.items()):
            for column, kind in zip(described.columns, described.types):
                number = kind[0] in "iIjJ"
                limit = "2147483647" if kind[1:] == "4" else "32767"
                target = REFERENCES.get(column, column[:-1] if column.endswith("_") else "")
                known = target.split(";")[0] in self.tables
                category = "" if number else CATEGORIES.get(f"{name}.{column}") or CATEGORIES.get(
                    column, "Identifier" if kind[1:] in ("38", "72") else "Text")
                table.rows.append(dict(zip(table.columns, (
                    name, column, "Y" if kind[0].isupper() else "N", "-" + limit if number else "",
                    limit if number else "", target if known else "", "1" if known else "", category,
                    "", f"{column} of {name}"))))
        return table

    def save(self):
        with tempfile.TemporaryDirectory() as work:
            files = []
            for name, table in {**self.tables, "_Validation": self.validation()}.items():
                files.append(Path(work) / f"{name}.idt")
                files[-1].write_bytes(table.text().encode("cp1252"))
            imports = [argument for file in files for argument in ("-i", file)]
            subprocess.run([*self.clock, "msibuild", self.path, *imports], check=True)


def short_names(rows, column, place):
    """Gives each name that needs one a name of eight and three letters, unique in its place."""
    taken = {(place(row), row[column].upper()) for row in rows}
    for row in rows:
        name = row[column]
        if re.fullmatch(r"[\w~-]{1,8}(\.[\w~-]{1,3})?", name):
            continue
        stem, _, extension = name.upper().rpartition(".") if "." in name else (name.upper(), "", "")
        stem = re.sub(r"[^A-Z0-9_-]", "", stem)[:6]
        extension = "." + extension[:3] if extension else ""
        short = next(short for number in range(1, 10) if (
            place(row), short := f"{stem}~{number}{extension}") not in taken)
        taken.add((place(row), short))
        row[column] = f"{short}|{name}"
