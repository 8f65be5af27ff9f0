#!/usr/bin/env python3
"""Reads what wkt wrote with programs that are not ours, and compares it with the JSON export.

    judge.py csv EXPORT.csv EXPORT.json FOLDER      Python's csv
    judge.py ics EXPORT.ics EXPORT.json             python3-icalendar
    judge.py source-ics SOURCE.ics EXPORT.json      the file that was imported
    judge.py source-toggl SOURCE.csv EXPORT.json ZONE

Prints how many records agree; exit code 1 and one line a difference when some do not.
"""
import csv
import datetime
import json
import sys
import zoneinfo

CSV_COLUMNS = {
    "jobs": {"id": "id", "day": "day", "title": "title", "comment": "comment",
             "work type": "resolved.workType", "project": "resolved.project",
             "teamwork": "resolved.teamwork", "persons": "resolved.persons"},
    "types": {"id": "id", "kind": "resolved.kind", "name": "resolved.name", "comment": "comment"},
}
CSV_COLUMNS["favorites"] = CSV_COLUMNS["jobs"]
CSV_INSTANTS = {"jobs": ["start", "end", "modified"], "favorites": ["start", "end", "modified"],
                "types": ["created", "modified"]}


def instant(text):
    return datetime.datetime.fromisoformat(text.replace("Z", "+00:00"))


def value(record, path):
    for name in path.split("."):
        record = record[name]
    return record


def as_calendar_text(text):
    """A calendar knows one kind of line end."""
    return text.replace("\r\n", "\n").replace("\r", "\n")


def judge_csv(name, export, folder):
    with open(name, encoding="utf-8", newline="") as file:
        rows = list(csv.DictReader(file, strict=True))
    with open(export, encoding="utf-8") as file:
        records = json.load(file)[folder]
    if len(rows) != len(records):
        yield f"{len(rows)} rows, {len(records)} records"
        return
    for row, record in zip(rows, records):
        for column, path in CSV_COLUMNS[folder].items():
            if row[column] != value(record, path):
                yield f"{record['id']}: {column} is {row[column]!r}, not {value(record, path)!r}"
        for column in CSV_INSTANTS[folder]:
            if instant(row[column]) != instant(record[column]):
                yield f"{record['id']}: {column} is {row[column]}, not {record[column]}"
            if row[column][-6] not in "+-":
                yield f"{record['id']}: {column} is {row[column]}, without offset"


def events(name):
    import icalendar
    with open(name, "rb") as file:
        calendar = icalendar.Calendar.from_ical(file.read())
    return [part for part in calendar.walk("VEVENT")]


def judge_ics(name, export):
    with open(export, encoding="utf-8") as file:
        jobs = json.load(file)["jobs"]
    found = events(name)
    if len(found) != len(jobs):
        yield f"{len(found)} events, {len(jobs)} jobs"
        return
    for event, job in zip(found, jobs):
        for what, got, expected in (
                ("uid", str(event["UID"]), job["id"]),
                ("summary", str(event["SUMMARY"]), as_calendar_text(job["title"])),
                ("description", str(event.get("DESCRIPTION", "")), as_calendar_text(job["comment"])),
                ("start", event["DTSTART"].dt, instant(job["start"])),
                ("end", event["DTEND"].dt, instant(job["end"])),
                # The library takes escaped commas for separators, too; there is one category at most.
                ("categories",
                 ",".join(map(str, event["CATEGORIES"].cats)) if "CATEGORIES" in event else "",
                 as_calendar_text(job["resolved"]["project"]))):
            if got != expected:
                yield f"{job['id']}: {what} is {got!r}, not {expected!r}"


def compare_multisets(expected, found):
    for key in sorted(set(expected) | set(found)):
        if expected.count(key) != found.count(key):
            yield f"{found.count(key)} times, expected {expected.count(key)}: {key}"


def read_jobs(export):
    with open(export, encoding="utf-8") as file:
        return [(instant(job["start"]).timestamp(), instant(job["end"]).timestamp(), job["title"],
                 job["comment"], job["resolved"]["project"]) for job in json.load(file)["jobs"]]


def judge_source_ics(name, export):
    expected = []
    for event in events(name):
        place, text = str(event.get("LOCATION", "")), str(event.get("DESCRIPTION", ""))
        start = event["DTSTART"]
        expected.append((start.dt.timestamp(), event.get("DTEND", start).dt.timestamp(),
                         str(event["SUMMARY"]), "\n".join(filter(None, [place, text])), ""))
    yield from compare_multisets(expected, read_jobs(export))


def judge_source_toggl(name, export, zone):
    zone = zoneinfo.ZoneInfo(zone)
    expected = []
    with open(name, encoding="utf-8", newline="") as file:
        for row in csv.DictReader(file, strict=True):
            start, end = (datetime.datetime.fromisoformat(f"{row[a + ' date']} {row[a + ' time']}")
                          .replace(tzinfo=zone).timestamp() for a in ("Start", "End"))
            comment = "\n".join(f"{a}: {row[a]}" for a in ("Task", "Tags") if row[a])
            expected.append((start, end, row["Description"], comment, row["Project"]))
    yield from compare_multisets(expected, read_jobs(export))


def main():
    judges = {"csv": judge_csv, "ics": judge_ics, "source-ics": judge_source_ics,
              "source-toggl": judge_source_toggl}
    differences = list(judges[sys.argv[1]](*sys.argv[2:]))
    print("\n".join(differences[:20]) or "agreed")
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main())
