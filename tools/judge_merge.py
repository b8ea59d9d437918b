#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares how `redraft` reads tables and fills pages with their records with what other programs read.

Of each table a letter that names every column is filled with all records. The count of the records and the letters' text
must be those that follow from the fields as Miller and sqlite3 read them, and of a spreadsheet as xlsx2csv does; the
same table as text, JSON and spreadsheet must give the same letters. Filters must leave the records that the same
condition in SQL leaves. Made-up tables are always among them.

usage: judge_merge.py REDRAFT FOLDER [TABLE...]
    TABLE: a .csv, .tsv, .json or .xlsx file in UTF-8 of which the first row names the columns.
"""
import csv
import datetime
import io
import json
import os
import random
import subprocess
import sys
import zipfile
from xml.sax.saxutils import escape

MADE_UP_LETTERS = 300
MOST_LETTERS = 2000
SEPARATOR = "\u2016"


def make_table(name):
    chance = random.Random(name)
    letters = "abcdefgh\u00e9\u00fc\u017e\u03b1\u65e5"

    def word():
        return "".join(chance.choice(letters) for _ in range(chance.randint(1, 9)))

    rows = [["id", "name", "quoted", "amount", "day", "remark"]]
    for number in range(MADE_UP_LETTERS):
        quoted = chance.choice([word() + ', "' + word() + '"', word() + "; " + word(), "", '"', word()])
        rows.append([str(number + 1), word(), quoted, f"{chance.randint(-999, 9999)}.{chance.randint(1, 9)}",
                     f"20{chance.randint(10, 24)}-{chance.randint(1, 12):02}-{chance.randint(1, 28):02}",
                     " ".join(word() for _ in range(chance.randint(0, 6)))])
    return rows


def write_delimited(path, rows, delimiter):
    with open(path, "w", encoding="utf-8", newline="") as file:
        csv.writer(file, delimiter=delimiter, lineterminator="\n").writerows(rows)


def write_json(path, rows):
    with open(path, "w", encoding="utf-8") as file:
        json.dump([dict(zip(rows[0], row)) for row in rows[1:]], file, ensure_ascii=False)


def write_spreadsheet(path, rows):
    """Texts are shared, numbers and days are numbers, as spreadsheet programs write them."""
    shared, lines = {}, []
    for number, row in enumerate(rows, 1):
        cells = []
        for column, text in enumerate(row):
            place = f'r="{chr(65 + column)}{number}"'
            if number > 1 and column in (0, 3):
                cells.append(f"<c {place}><v>{text}</v></c>")
            elif number > 1 and column == 4:
                year, month, day = (int(part) for part in text.split("-"))
                days = (datetime.date(year, month, day) - datetime.date(1899, 12, 30)).days
                cells.append(f'<c {place} s="1"><v>{days}</v></c>')
            elif text:
                cells.append(f'<c {place} t="s"><v>{shared.setdefault(text, len(shared))}</v></c>')
        lines.append(f'<row r="{number}">{"".join(cells)}</row>')
    main = "http://schemas.openxmlformats.org/spreadsheetml/2006/main"
    types = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
    packages = "http://schemas.openxmlformats.org/package/2006"
    kinds = {"worksheet": "worksheets/sheet1.xml", "sharedStrings": "sharedStrings.xml", "styles": "styles.xml"}
    content = "application/vnd.openxmlformats-officedocument.spreadsheetml."
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as file:
        file.writestr("[Content_Types].xml", f'<Types xmlns="{packages}/content-types">'
                      '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
                      '<Default Extension="xml" ContentType="application/xml"/>'
                      f'<Override PartName="/xl/workbook.xml" ContentType="{content}sheet.main+xml"/>'
                      f'<Override PartName="/xl/sharedStrings.xml" ContentType="{content}sharedStrings+xml"/>'
                      f'<Override PartName="/xl/styles.xml" ContentType="{content}styles+xml"/>'
                      f'<Override PartName="/xl/worksheets/sheet1.xml" ContentType="{content}worksheet+xml"/></Types>')
        file.writestr("_rels/.rels", f'<Relationships xmlns="{packages}/relationships"><Relationship Id="rId1" '
                      f'Type="{types}/officeDocument" Target="xl/workbook.xml"/></Relationships>')
        file.writestr("xl/workbook.xml", f'<workbook xmlns="{main}" xmlns:r="{types}"><sheets>'
                      '<sheet name="Table" sheetId="1" r:id="rId1"/></sheets></workbook>')
        file.writestr("xl/_rels/workbook.xml.rels", f'<Relationships xmlns="{packages}/relationships">' + "".join(
            f'<Relationship Id="rId{number}" Type="{types}/{kind}" Target="{target}"/>'
            for number, (kind, target) in enumerate(kinds.items(), 1)) + "</Relationships>")
        file.writestr("xl/styles.xml", f'<styleSheet xmlns="{main}"><numFmts count="1"><numFmt numFmtId="164" '
                      'formatCode="yyyy\\-mm\\-dd"/></numFmts><cellXfs count="2"><xf numFmtId="0"/><xf numFmtId="164"/>'
                      '</cellXfs></styleSheet>')
        file.writestr("xl/sharedStrings.xml", f'<sst xmlns="{main}">' + "".join(
            f'<si><t xml:space="preserve">{escape(text)}</t></si>' for text in shared) + "</sst>")
        file.writestr("xl/worksheets/sheet1.xml",
                      f'<worksheet xmlns="{main}"><sheetData>{"".join(lines)}</sheetData></worksheet>')


def run(*arguments, **options):
    done = subprocess.run(arguments, capture_output=True, text=True, encoding="utf-8", check=False, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(arguments)}: {done.stderr}")
    return done.stdout


def read_delimited(text):
    return list(csv.reader(io.StringIO(text, newline="")))


def as_table(records, names):
    """Of JSON objects, which need not have all members."""
    return [names] + [["" if record.get(name) is None else str(record[name]) for name in names] for record in records]


def read_by_miller(path, delimiter, columns):
    text = run("mlr", "--infer-none", "--icsv", "--ifs", delimiter, "--ocsv", "--implicit-csv-header",
               "--headerless-csv-output", "--allow-ragged-csv-input", "unsparsify", path)
    return [row[:columns] + [""] * (columns - len(row)) for row in read_delimited(text) if any(row)]


def read_by_sqlite(path, delimiter, columns):
    """Into columns without names, the first record as all others."""
    names = ", ".join(f"c{number}" for number in range(columns))
    text = run("sqlite3", ":memory:", f"CREATE TABLE records({names})", ".mode csv",
               f'.separator "{delimiter}"'.replace("\t", "\\t"), f".import '{path}' records", '.separator ","',
               "SELECT * FROM records")
    return [row for row in read_delimited(text) if any(row)]


def read_by_xlsx2csv(path):
    rows = read_delimited(run("xlsx2csv", "-f", "%Y-%m-%d", path))
    while rows and not any(rows[-1]):
        rows.pop()
    return [row + [""] * (len(rows[0]) - len(row)) for row in rows]


class Judge:
    def __init__(self, program):
        self.program, self.failed = program, 0

    def redraft(self, *arguments):
        return run(self.program, *arguments)

    def say(self, what, is_good, detail=""):
        self.failed += not is_good
        print(f"merge: {what}: {'equal' if is_good else 'DIFFERENT ' + detail}")

    def link(self, table, names):
        """A letter that names every column, linked to the table."""
        with open("letter.txt", "w", encoding="utf-8") as file:
            file.write(SEPARATOR + SEPARATOR.join("{{" + name + "}}" for name in names) + SEPARATOR + "\n")
        self.redraft("import", "letter.txt", "-o", "letter.redraft", "--force")
        self.redraft("link", "letter.redraft", table)

    def describe(self):
        return json.loads(self.redraft("info", "letter.redraft", "--json"))["sources"][0]

    def fill(self, columns):
        """The fields of all letters."""
        self.redraft("merge", "letter.redraft", "-o", "letters.redraft", "--force")
        fields = self.redraft("text", "letters.redraft").split(SEPARATOR)
        # A line end stands behind each letter, and nothing before the first.
        return [fields[at:at + columns] for at in range(1, len(fields) - 1, columns + 1)]

    def compare(self, what, rows, expected):
        same = rows == expected
        where = next((at for at, (a, b) in enumerate(zip(rows, expected)) if a != b), min(len(rows), len(expected)))
        self.say(what, same, "" if same else f"{len(rows)} and {len(expected)} records, first at {where}: "
                 f"{rows[where:where + 1]} and {expected[where:where + 1]}")

    def compare_letters(self, name, path, tables):
        """`tables`: who read it, and the rows."""
        self.link(path, tables[0][1][0])
        source = self.describe()
        names = [column["name"] for column in source["columns"]]
        # Columns without a name, or with that of another one, are given one.
        self.say(f"{name}, columns", len(names) == len(tables[0][1][0]) and all(
            name in ("", own) or name in tables[0][1][0][:at]
            for at, (name, own) in enumerate(zip(tables[0][1][0], names))), str(names))
        self.link(path, names)
        letters = self.fill(len(names)) if len(tables[0][1]) <= MOST_LETTERS + 1 else None
        for reader, table in tables:
            self.say(f"{name}, count of {reader}", source["unfiltered"] == len(table) - 1,
                     f"{source['unfiltered']} and {len(table) - 1}")
            if letters is not None:
                spell = spell_numbers if reader == "xlsx2csv" else list
                self.compare(f"{name}, letters with the fields of {reader}", spell(letters), spell(table[1:]))
        return letters


def spell_numbers(rows):
    """Numbers of spreadsheets are spelt in many ways, such as 0.0004, 4E-4 and 4.0E-04."""
    def spell(text):
        try:
            return repr(float(text))
        except ValueError:
            return text
    return [[spell(text) for text in row] for row in rows]


def judge_made_up(judge):
    rows = make_table("merge")
    letters = {}
    for name, delimiter in (("comma.csv", ","), ("semicolon.csv", ";"), ("tab.tsv", "\t")):
        write_delimited(name, rows, delimiter)
        letters[name] = judge.compare_letters(name, name, [
            ("Python", rows), ("Miller", read_by_miller(name, delimiter, len(rows[0]))),
            ("sqlite3", read_by_sqlite(name, delimiter, len(rows[0])))])
    write_json("table.json", rows)
    letters["table.json"] = judge.compare_letters("table.json", "table.json", [("Python", rows)])
    write_spreadsheet("table.xlsx", rows)
    letters["table.xlsx"] = judge.compare_letters("table.xlsx", "table.xlsx",
                                                  [("Python", rows), ("xlsx2csv", read_by_xlsx2csv("table.xlsx"))])
    for name in letters:
        judge.compare(f"{name} and comma.csv", letters[name], letters["comma.csv"])


# Filters, and what in SQL leaves the same records.
FILTERS = [
    ([{"type": "records", "rules": [{"clauses": [{"field": "amount", "operator": "greater", "value": "1000"},
                                                 {"field": "name", "operator": "contains", "value": "a"}]}]}],
     "WHERE CAST(amount AS REAL) > 1000 AND instr(name, 'a') > 0"),
    ([{"type": "records", "combine": "any", "rules": [
        {"clauses": [{"field": "quoted", "operator": "empty"}]},
        {"clauses": [{"field": "day", "operator": "greaterOrEqual", "value": "2020-02-01"},
                     {"field": "day", "operator": "less", "value": "2021-02-01"}]}]}],
     "WHERE quoted = '' OR (day >= '2020-02-01' AND day < '2021-02-01')"),
    ([{"type": "records", "rules": [{"combine": "none", "clauses": [
        {"field": "remark", "operator": "beginsWith", "value": "a"}, {"field": "amount", "operator": "lessOrEqual", "value": "0"},
        {"field": "name", "operator": "endsWith", "value": "b"}]}]}],
     "WHERE NOT (substr(remark, 1, 1) = 'a' OR CAST(amount AS REAL) <= 0 OR substr(name, -1) = 'b')"),
    ([{"type": "process", "action": "skip", "rule": {"clauses": [{"field": "amount", "operator": "less", "value": "5000"}]}},
      {"type": "sort", "field": "amount", "ascending": False}],
     "WHERE NOT CAST(amount AS REAL) < 5000 ORDER BY CAST(amount AS REAL) DESC, CAST(id AS INTEGER)"),
    ([{"type": "selected", "records": "0-9,20,150-299"},
      {"type": "records", "rules": [{"clauses": [{"field": "amount", "operator": "notEqual", "value": "0"}]}]}],
     "WHERE id IN (1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 21) OR CAST(id AS INTEGER) BETWEEN 151 AND 300"),
]


def judge_filters(judge):
    write_delimited("filtered.csv", make_table("filters"), ",")
    for number, (filters, condition) in enumerate(FILTERS, 1):
        judge.link("filtered.csv", ["id"])
        for each in filters:
            judge.redraft("do", "letter.redraft", "add-data-merge-filter", "source=0", "filter=" + json.dumps(each))
        expected = read_delimited(run("sqlite3", ":memory:", ".mode csv", ".import 'filtered.csv' records",
                                      "SELECT id FROM records " + condition))
        judge.say(f"filter {number}, count of sqlite3", judge.describe()["records"] == len(expected),
                  f"{judge.describe()['records']} and {len(expected)}")
        judge.compare(f"filter {number}, letters of the records of sqlite3", judge.fill(1), expected)


def find_rows(path):
    """Of a file that someone names, as the program that reads its kind reads it."""
    kind = os.path.splitext(path)[1].lower()
    if kind == ".xlsx":
        return [("xlsx2csv", read_by_xlsx2csv(path))]
    if kind == ".json":
        records = json.load(open(path, encoding="utf-8"))
        names = list(dict.fromkeys(name for record in records for name in record))
        return [("Python", as_table(records, names))]
    text = open(path, encoding="utf-8-sig", newline="").read()
    delimiter = "\t" if kind == ".tsv" else csv.Sniffer().sniff(text[:10000], ",;\t|").delimiter
    columns = len(next(csv.reader(io.StringIO(text, newline=""), delimiter=delimiter)))
    return [("Miller", read_by_miller(path, delimiter, columns)), ("sqlite3", read_by_sqlite(path, delimiter, columns))]


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    judge = Judge(os.path.abspath(sys.argv[1]))
    tables = [os.path.abspath(path) for path in sys.argv[3:]]
    os.makedirs(sys.argv[2], exist_ok=True)
    os.chdir(sys.argv[2])
    judge_made_up(judge)
    judge_filters(judge)
    for path in tables:
        judge.compare_letters(os.path.basename(path), path, find_rows(path))
    sys.exit(1 if judge.failed else 0)


if __name__ == "__main__":
    main()
