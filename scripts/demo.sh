#!/bin/sh
# The main job, shown: demo.sh WKT WORK runs the built command in the folder WORK. Clocks stand and the
# sample is shipped, so the output is the same each time; docs/demo-transcript.txt holds it.
set -eu
sample=$(cd "$(dirname "$0")/.." && pwd)/data/sample/sample.json
wkt=$1
cd "$2"
ln -sf "$sample" sample.json
NO_COLOR=1 LC_ALL=C.UTF-8
WKT_CLOCK=2026-04-11T07:30:00Z
export NO_COLOR LC_ALL WKT_CLOCK

say() { printf '\n# %s\n' "$*"; }
run() {
  printf '$ wkt'
  for word; do
    case $word in *[!A-Za-z0-9_./:=@-]*) printf " '%s'" "$word" ;; *) printf ' %s' "$word" ;; esac
  done
  printf '\n'
  code=0
  "$wkt" "$@" 2>&1 || code=$?
  [ $code = 0 ] || printf '(exit code %d)\n' $code
}

printf '# A device, with the libraries installed and a winter and spring of somebody'"'"'s time on it\n'
run device new pocket --zone Europe/Vienna --locale de-AT --clock 2026-04-10T08:00:00Z --seed 1
run import pocket sample.json
run job list pocket --from 2026-03-12 --to 2026-03-16

say What a synchronisation would do, then the first one
run sync pocket desk --dry-run
run sync pocket desk

say A day later: edits on the device and on the desktop, one job on both
run device set pocket --clock 2026-04-11T08:00:00Z --json >/dev/null
run job add pocket --title 'Lilies for the pond' --start '2026-04-11 09:00' --end '2026-04-11 09:40' --project Pond --person Sam
run job change pocket 'Phone rings' --comment 'Wrong number'
run job delete pocket 'Day off'
run type change desk Office --comment 'Second floor'
run job change desk 'Phone rings' --title 'The phone rang'
run job delete desk 'Kürzester Eintrag: ß, Ü, ﬁ'
run sync pocket desk --conflict both

say A second partner of the same device
run sync pocket office --partner 2

say Where things stand
run status pocket
run status desk
run why pocket 'Lilies for the pond'
