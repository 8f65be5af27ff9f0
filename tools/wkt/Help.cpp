#include "tools/wkt/Help.h"

#include <cassert>

namespace wkt::tool {

namespace {

constexpr CommandHelp kHelp[] = {
    {"device", "Make and change devices on the desk", "", ""},
    {"device new", "Make a device and install the libraries on it",
     "The folder must not exist or be empty. Libraries are copied and the registry is written as "
     "an installer would.",
     "wkt device new pocket\n"
     "wkt device new pocket --zone Europe/Vienna --locale de-AT --clock 2026-03-01T08:00Z --log"},
    {"device show", "Show a device's settings", "", "wkt device show pocket --json"},
    {"device set", "Change a device's settings",
     "A clock that is named stands still; 'run' lets it go with the machine's again.",
     "wkt device set pocket --clock 2026-03-02T08:00Z\nwkt device set pocket --durability relaxed"},
    {"device fsck", "Look a device over and say what is wrong with it",
     "Settings, registry, file tree, object store and volumes are read, nothing is changed. Exit "
     "codes: 0 nothing is wrong, 1 "
     "something is, 4 there is no such folder.",
     "wkt device fsck pocket"},
    {"device registry", "A device's registry as text", "", ""},
    {"device registry export", "Write the registry, or one key with all below it", "",
     "wkt device registry export pocket 'HKEY_LOCAL_MACHINE\\SOFTWARE' >software.txt"},
    {"device registry import", "Add and replace keys and values",
     "What the text does not name stays. All of it is taken, or nothing when a line is wrong.",
     "wkt device registry import pocket software.txt"},
    {"job", "Daily jobs of a device or a partner", "", ""},
    {"favorite", "Favourite jobs of a device or a partner", "", ""},
    {"type", "Work types, projects, teamwork and persons of a device or a partner", "", ""},
    {"job list", "List records", "", "wkt job list pocket --from 2026-03-01 --to 2026-03-31"},
    {"job show", "Show one record with all its fields",
     "RECORD is a title, an identifier or #number.",
     "wkt job show pocket 'Weekly meeting'\nwkt job show pocket '#16777283' --json"},
    {"job add", "Add a record", "Times without offset are of the device's or the partner's zone.",
     "wkt job add pocket --title 'Weekly meeting' --start '2026-03-02 09:00' --end '2026-03-02 "
     "10:30'"},
    {"job change", "Change a record", "",
     "wkt job change desk 'Weekly meeting' --comment 'moved to room 4'"},
    {"job delete", "Delete a record", "", "wkt job delete pocket 'Weekly meeting'"},
    {"favorite list", "List records", "", "wkt favorite list pocket"},
    {"favorite show", "Show one record with all its fields", "", "wkt favorite show pocket Lunch"},
    {"favorite add", "Add a record", "", "wkt favorite add pocket --title Lunch"},
    {"favorite change", "Change a record", "", "wkt favorite change pocket Lunch --title Break"},
    {"favorite delete", "Delete a record", "", "wkt favorite delete pocket Lunch"},
    {"type list", "List records", "", "wkt type list pocket"},
    {"type show", "Show one record with all its fields", "", "wkt type show pocket Garden"},
    {"type add", "Add a record",
     "Kinds: 1 work type, 2 project (may have a parent), 3 person, 4 teamwork, 5 list.",
     "wkt type add pocket --kind 2 --name Garden\nwkt type add pocket --kind 2 --name Pond "
     "--parent Garden"},
    {"type change", "Change a record", "",
     "wkt type change desk Garden --comment 'behind the house'"},
    {"type delete", "Delete a record", "", "wkt type delete desk Garden"},
    {"sync", "Synchronise a device with a desktop partner",
     "Carries new, changed and deleted records both ways and reads back what travelled. The "
     "partner's folder is made when it is "
     "missing. A first run deletes nothing; deleting more than a quarter of a folder, and more "
     "than ten records, is refused "
     "without --allow-delete. Exit codes: 0 done, 1 done with conflicts, 2 usage, 3 some records "
     "failed, 4 failed and nothing "
     "changed, 5 refused.",
     "wkt sync pocket desk\n"
     "wkt sync pocket desk --dry-run\n"
     "wkt sync pocket office --partner 2 --conflict both\n"
     "wkt sync pocket desk --trace run.jsonl --json"},
    {"import", "Add records from a file",
     "Reads our own JSON, iCalendar, the detailed CSV of Toggl Track, and the CSV of a time clock "
     "whose columns are named with --in, --out and the others. All records are added, or none when "
     "one cannot be read; --skip-bad takes the others. Identifiers come from the file or derive "
     "from its rows, so that a second import adds nothing. Jobs that overlap are reported.",
     "wkt import pocket sample.json --dry-run\n"
     "wkt import pocket toggl.csv --zone Europe/Vienna\n"
     "wkt import desk calendar.ics\n"
     "wkt import pocket clock.csv --in Came --out Left --person-column Name\n"
     "wkt import pocket days.csv --separator ';' --date-column Day --in From --out To"},
    {"export", "Write records for other programs, to standard output",
     "JSON holds everything and can be imported again. CSV and iCalendar hold what people read: "
     "names in place of identifiers, projects with those above them.",
     "wkt export pocket >all.json\n"
     "wkt export desk --csv --from 2026-03-01 >march.csv\n"
     "wkt export desk --csv --folder types >types.csv\n"
     "wkt export desk --ics >jobs.ics"},
    {"backup", "Save a device or a partner in one file, checked", "",
     "wkt backup pocket pocket.wktb"},
    {"restore", "Put a backup in place",
     "Says first what it replaces, and replaces it only with --replace.",
     "wkt restore pocket pocket.wktb --replace"},
    {"packet", "Look into packets", "", ""},
    {"packet decode", "Show a packet field by field",
     "Where each field begins, its bytes, its value, and what it means. Both layouts are known.",
     "wkt packet decode job.packet\nwkt packet decode job.packet --json >job.json"},
    {"packet encode", "Make the packet of which decode --json was written",
     "Byte for byte, whatever the packet was.", "wkt packet encode job.json >job.packet"},
    {"packet explain", "Say what is wrong with a packet, and what the provider says to it",
     "Names the first thing that is wrong, and where. Exit code 1 when something is.",
     "wkt packet explain job.packet\nwkt packet explain job.packet --folder jobs"},
    {"packet get", "Write the packet that the provider makes of a record",
     "RECORD is a title, an identifier or #number.",
     "wkt packet get pocket 'Weekly meeting' >job.packet"},
    {"trace", "Look into recorded runs", "", ""},
    {"trace show", "Show a recorded run call by call",
     "A run is recorded by wkt sync with --trace.", "wkt trace show run.jsonl"},
    {"trace diff", "Show the first difference of two recorded runs",
     "The first call that differs, and what in it. Exit code 1 when there is one.",
     "wkt trace diff monday.jsonl tuesday.jsonl"},
    {"status", "Show a device's or partner's folders and its last runs", "",
     "wkt status pocket\nwkt status desk --json"},
    {"why", "Explain a record's flag characters and what the next run does with it",
     "RECORD is a title, an identifier or #number.", "wkt why pocket 'Weekly meeting'"},
    {"listen", "Stand in for the application and show the messages that a synchronisation sends",
     "Ends after --seconds, or when it is interrupted.", "wkt listen pocket --seconds 1"},
    {"man", "Write the manual page", "It holds what --help says of all commands.",
     "wkt man >wkt.1\nwkt man | man -l -"},
};

}  // namespace

std::span<const CommandHelp> AllHelp() {
  return kHelp;
}

const CommandHelp& HelpOf(std::string_view name) {
  for (const CommandHelp& help : kHelp) {
    if (name == help.name) {
      return help;
    }
  }
  assert(!"a command without help");
  return kHelp[0];
}

}  // namespace wkt::tool
